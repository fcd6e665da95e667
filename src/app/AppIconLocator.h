#pragma once

#include "scanning/AppDetectionService.h"

#include <QHash>
#include <QObject>

// Finds the icon a model application shows on this desktop, from the Icon= key of
// its desktop entry: an icon-theme name or the path of an image file. The views use
// the answer as an image source; for an application that is not installed, or whose
// icon cannot be found, they draw the "questionmark.app.dashed" symbol instead.
class AppIconLocator : public QObject
{
    Q_OBJECT
public:
    explicit AppIconLocator(AppSearchLocations locations = AppSearchLocations::forThisMachine(),
                            QObject *parent = nullptr);

    // "image://icon/theme/<name>" or "file:///<path>" for a source key such as "ollama";
    // empty when there is no icon to show (and for custom and unknown keys).
    Q_INVOKABLE QString iconSource(const QString &sourceKey);

public slots:
    // Applications come and go between scans: look again next time.
    void forget();

private:
    QString locate(const QString &sourceKey) const;

    AppDetectionService m_detection;
    QHash<QString, QString> m_found;
};
