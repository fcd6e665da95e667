#pragma once

#include <QIcon>
#include <QQuickImageProvider>

// Draws icon-theme icons for the views as "image://icon/...":
//   symbol/<symbol>            a window symbol through SymbolIcons' table
//   symbol/<symbol>/<rrggbb>   the same, recoloured (symbolic icons are one-colour shapes)
//   theme/<name>               any icon-theme name as it is, in its own colours
// An icon the theme cannot find is drawn as a transparent square of the asked size.
class IconImageProvider : public QQuickImageProvider
{
public:
    static constexpr char providerName[] = "icon";

    IconImageProvider();
    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;

    // The icon the theme has for a window symbol, or a null icon.
    static QIcon symbolIcon(const QString &symbol);
};
