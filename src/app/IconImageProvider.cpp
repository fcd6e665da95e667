#include "app/IconImageProvider.h"

#include "app/SymbolIcons.h"

#include <QColor>
#include <QPainter>

namespace {
constexpr int defaultSide = 64;

QIcon themeIcon(const QStringList &names)
{
    for (const QString &name : names) {
        const QIcon icon = QIcon::fromTheme(name);
        if (!icon.isNull())
            return icon;
    }
    return {};
}

// Symbolic icons are drawn in one colour; keep their shape and paint it over.
void recolour(QImage &image, const QColor &colour)
{
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), colour);
}
} // namespace

IconImageProvider::IconImageProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}

QIcon IconImageProvider::symbolIcon(const QString &symbol)
{
    return themeIcon(SymbolIcons::themeNames(symbol));
}

QImage IconImageProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    const QSize side(requestedSize.width() > 0 ? requestedSize.width() : defaultSide,
                     requestedSize.height() > 0 ? requestedSize.height() : defaultSide);
    const QStringList parts = id.split(QLatin1Char('/'));
    const QString kind = parts.value(0);
    QIcon icon;
    if (kind == QLatin1String("symbol"))
        icon = symbolIcon(parts.value(1));
    else if (kind == QLatin1String("theme"))
        icon = QIcon::fromTheme(parts.mid(1).join(QLatin1Char('/')));

    QImage image(side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    if (!icon.isNull()) {
        QPainter painter(&image);
        icon.paint(&painter, image.rect());
    }
    if (kind == QLatin1String("symbol") && parts.size() > 2) {
        const QColor colour = QColor::fromString(QLatin1Char('#') + parts.value(2));
        if (colour.isValid())
            recolour(image, colour);
    }
    if (size)
        *size = image.size();
    return image;
}
