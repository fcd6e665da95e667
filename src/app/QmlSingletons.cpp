#include "app/QmlSingletons.h"

namespace QmlSingletons {

ApplicationShell &shellOf(QQmlEngine *engine)
{
    auto *shell = qobject_cast<ApplicationShell *>(engine->property(ApplicationShell::engineProperty).value<QObject *>());
    if (!shell)
        qFatal("a Stashwell view was loaded by an engine no ApplicationShell owns");
    return *shell;
}

} // namespace QmlSingletons
