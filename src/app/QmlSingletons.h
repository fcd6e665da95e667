#pragma once

// The objects the views share, registered with the Stashwell QML module as singletons
// (`AppViewModel.startScan()` in a view). Each is made by C++ before the views load
// and handed to the engine of the shell that owns it, so the types themselves need
// no QML and the same process can hold several windows of several shells (tests).

#include "app/AppIconLocator.h"
#include "app/AppearanceSettings.h"
#include "app/ApplicationShell.h"
#include "app/FileManagerReveal.h"
#include "app/FolderAccessHelp.h"
#include "state/AppViewModel.h"

#include <QQmlEngine>

namespace QmlSingletons {
// The shell whose engine asks; the engine carries a pointer to it.
ApplicationShell &shellOf(QQmlEngine *engine);
// Hands an object the shell owns to QML without giving QML its ownership.
template<typename T>
T *shared(T *object)
{
    QJSEngine::setObjectOwnership(object, QJSEngine::CppOwnership);
    return object;
}
} // namespace QmlSingletons

struct AppViewModelForeign
{
    Q_GADGET
    QML_FOREIGN(AppViewModel)
    QML_SINGLETON
    QML_NAMED_ELEMENT(AppViewModel)
public:
    static AppViewModel *create(QQmlEngine *engine, QJSEngine *)
    {
        return QmlSingletons::shared(&QmlSingletons::shellOf(engine).viewModel());
    }
};

struct AppearanceForeign
{
    Q_GADGET
    QML_FOREIGN(AppearanceSettings)
    QML_SINGLETON
    QML_NAMED_ELEMENT(Appearance)
public:
    static AppearanceSettings *create(QQmlEngine *engine, QJSEngine *)
    {
        return QmlSingletons::shared(&QmlSingletons::shellOf(engine).appearance());
    }
};

struct FileManagerForeign
{
    Q_GADGET
    QML_FOREIGN(FileManagerReveal)
    QML_SINGLETON
    QML_NAMED_ELEMENT(FileManager)
public:
    static FileManagerReveal *create(QQmlEngine *engine, QJSEngine *)
    {
        return QmlSingletons::shared(&QmlSingletons::shellOf(engine).fileManager());
    }
};

struct AppIconsForeign
{
    Q_GADGET
    QML_FOREIGN(AppIconLocator)
    QML_SINGLETON
    QML_NAMED_ELEMENT(AppIcons)
public:
    static AppIconLocator *create(QQmlEngine *engine, QJSEngine *)
    {
        return QmlSingletons::shared(&QmlSingletons::shellOf(engine).appIcons());
    }
};

struct FolderAccessForeign
{
    Q_GADGET
    QML_FOREIGN(FolderAccessHelp)
    QML_SINGLETON
    QML_NAMED_ELEMENT(FolderAccess)
public:
    static FolderAccessHelp *create(QQmlEngine *engine, QJSEngine *)
    {
        return QmlSingletons::shared(&QmlSingletons::shellOf(engine).accessHelp());
    }
};

struct ShellForeign
{
    Q_GADGET
    QML_FOREIGN(ApplicationShell)
    QML_SINGLETON
    QML_NAMED_ELEMENT(Shell)
public:
    static ApplicationShell *create(QQmlEngine *engine, QJSEngine *)
    {
        return QmlSingletons::shared(&QmlSingletons::shellOf(engine));
    }
};
