#include "deletion/DeletionResult.h"

#include "catalogue/ByteCountFormatter.h"

QString DeletionResult::messageText() const
{
    if (moved == 0)
        return QStringLiteral("No models were moved to Trash");
    // The plural follows the number asked for, not the number moved.
    return QStringLiteral("%1 of %2 model%3 moved to Trash. %4 failed.")
        .arg(moved)
        .arg(requested)
        .arg(requested == 1 ? QString() : QStringLiteral("s"))
        .arg(failures.size());
}

QString DeletionResult::informativeText() const
{
    QStringList lines;
    for (const DeleteFailure &failure : failures)
        lines << failure.modelName + QStringLiteral(" - ") + failure.reason;
    return lines.join(QLatin1Char('\n'));
}

QString DeletionResult::successText() const
{
    return QStringLiteral("%1 model%2 moved to Trash. You can restore files from Trash if needed.")
        .arg(moved)
        .arg(moved == 1 ? QString() : QStringLiteral("s"));
}

QString DeletionResult::successText(qint64 spaceFreed) const
{
    return QStringLiteral("%1 model%2 moved to Trash. Emptying the Trash gives back %3.")
        .arg(moved)
        .arg(moved == 1 ? QString() : QStringLiteral("s"), ByteCountFormatter::format(spaceFreed));
}
