#pragma once

#include "app/ApplicationShell.h"
#include "state/AppViewModel.h"
#include "support/ControlledScans.h"

#include <QAccessible>
#include <QDBusConnection>
#include <QMetaEnum>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSet>
#include <QTest>

// The real main window over a view model the test controls, offscreen. It finds what
// a person sees by objectName, in the item tree and in open sheets and menus, and
// presses on it with the mouse or the keyboard as a person would.
class WindowUnderTest
{
public:
    // The real core over `machine`; with `scans`, every scan waits for the test to end it.
    explicit WindowUnderTest(StashwellCore::Machine machine, ControlledScans *scans = nullptr)
        : viewModel(std::make_shared<StashwellCore>(std::move(machine))),
          shell(viewModel, ApplicationShell::Desktop{noBus()})
    {
        if (scans)
            scans->attach(viewModel);
        configureOnce();
        loaded = shell.load();
        if (loaded) {
            window()->resize(980, 680);
            window()->show();
            loaded = QTest::qWaitForWindowExposed(window());
        }
    }

    // Style, icon theme and renderer are chosen once per process, before any window.
    static void configureOnce()
    {
        static const bool configured = [] {
            QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
            ApplicationShell::configureApplication();
            return true;
        }();
        Q_UNUSED(configured);
    }

    // No session bus: the desktop integration takes its fallbacks.
    static QDBusConnection noBus() { return QDBusConnection(QStringLiteral("stashwell-tests-without-a-bus")); }

    QQuickWindow *window() const { return shell.mainWindow(); }
    QQuickWindow *preferences() const { return find<QQuickWindow>(QStringLiteral("preferencesWindow")); }

    // What happens when the window first appears: appearance, scan, probe, welcome.
    void appear() { shell.show(); }

    bool waitForScan(int timeoutMs = 20000)
    {
        return QTest::qWaitFor([this] { return viewModel.scanState() != AppViewModel::ScanState::scanning; },
                               timeoutMs);
    }

    template<typename T = QObject>
    T *find(const QString &name, QObject *from = nullptr) const
    {
        QSet<QObject *> seen;
        const QList<QObject *> found = findAll(name, from ? from : window(), seen);
        for (QObject *object : found) {
            if (auto *typed = qobject_cast<T *>(object))
                return typed;
        }
        return nullptr;
    }

    QQuickItem *item(const QString &name, QObject *from = nullptr) const { return find<QQuickItem>(name, from); }

    // The shown text of a label, button or chip found by name.
    QString text(const QString &name, QObject *from = nullptr) const
    {
        const QObject *object = find(name, from);
        return object ? object->property("text").toString() : QStringLiteral("<no %1>").arg(name);
    }

    // Visible on screen: itself and every item above it visible, inside an open popup if any.
    static bool shown(const QQuickItem *item) { return item && item->isVisible() && item->window(); }
    bool shown(const QString &name, QObject *from = nullptr) const { return shown(item(name, from)); }

    static bool isOpen(const QObject *popup) { return popup && popup->property("opened").toBool(); }
    bool isOpen(const QString &name) const { return isOpen(find(name)); }

    static void click(QQuickItem *target, Qt::MouseButton button = Qt::LeftButton)
    {
        QVERIFY2(target, "nothing to click");
        QVERIFY2(shown(target), "the item is not on screen");
        const QPointF centre = target->mapToScene(QPointF(target->width() / 2, target->height() / 2));
        QTest::mouseClick(target->window(), button, Qt::NoModifier, centre.toPoint());
    }
    void click(const QString &name, Qt::MouseButton button = Qt::LeftButton, QObject *from = nullptr) const
    {
        click(item(name, from), button);
    }

    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier, QQuickWindow *target = nullptr) const
    {
        QTest::keyClick(target ? target : window(), key, modifiers);
    }

    // What a screen reader is told about an item, from its accessible interface:
    // "Role: name", or "<nothing>" when no item or none of its parents is accessible.
    static QString spoken(QQuickItem *item)
    {
        QAccessibleInterface *accessible = nullptr;
        for (; item && !accessible; item = item->parentItem())
            accessible = QAccessible::queryAccessibleInterface(item);
        if (!accessible)
            return QStringLiteral("<nothing>");
        return QStringLiteral("%1: %2").arg(QString::fromLatin1(QMetaEnum::fromType<QAccessible::Role>().valueToKey(accessible->role())),
                                            accessible->text(QAccessible::Name));
    }
    QString focus(QQuickWindow *target = nullptr) const
    {
        return spoken((target ? target : window())->activeFocusItem());
    }
    // Presses Tab until the keyboard is back where it started, saying each stop on the way.
    QStringList tabStops(QQuickWindow *target = nullptr) const
    {
        target = target ? target : window();
        QStringList stops;
        QQuickItem *first = target->activeFocusItem();
        do {
            stops << spoken(target->activeFocusItem());
            key(Qt::Key_Tab, Qt::NoModifier, target);
        } while (target->activeFocusItem() != first && stops.size() < 30);
        return stops;
    }

    AppViewModel viewModel;
    ApplicationShell shell;
    bool loaded = false;

private:
    static QList<QObject *> findAll(const QString &name, QObject *from, QSet<QObject *> &seen)
    {
        QList<QObject *> found;
        if (!from || seen.contains(from))
            return found;
        seen.insert(from);
        if (from->objectName() == name)
            found.append(from);
        for (QObject *child : from->children())
            found += findAll(name, child, seen);
        if (auto *item = qobject_cast<QQuickItem *>(from)) {
            for (QQuickItem *child : item->childItems())
                found += findAll(name, child, seen);
        }
        if (auto *window = qobject_cast<QQuickWindow *>(from))
            found += findAll(name, window->contentItem(), seen);
        // A popup's panel lives in its own item while closed.
        const QVariant popupItem = from->property("contentItem");
        if (auto *content = popupItem.value<QQuickItem *>())
            found += findAll(name, content, seen);
        return found;
    }
};
