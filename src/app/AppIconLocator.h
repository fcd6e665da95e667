#pragma once

#include <QObject>

class AppViewModel;

// The icon a model application shows on this desktop, from the Icon= key of its
// desktop entry as the last scan found it: an icon-theme name or the path of an
// image file. The views use
// the answer as an image source; for an application that is not installed, or whose
// icon cannot be found, they draw the "questionmark.app.dashed" symbol instead.
class AppIconLocator : public QObject
{
    Q_OBJECT
public:
    explicit AppIconLocator(const AppViewModel &viewModel, QObject *parent = nullptr);

    // "image://icon/theme/<name>" or "file:///<path>" for a source key such as "ollama";
    // empty when there is no icon to show (and for custom and unknown keys).
    Q_INVOKABLE QString iconSource(const QString &sourceKey) const;

private:
    const AppViewModel &m_viewModel;
};
