#include "cli/SourceArgument.h"

#include "catalogue/ModelSourceDefinition.h"

#include <QStringList>

namespace {
struct Choice
{
    QString kind;
    QString name;
};

// Every built-in source in scan order, then the folders the user added, which have no
// one name of their own (each is named after its folder).
QList<Choice> choices()
{
    QList<Choice> all;
    for (const ModelSourceDefinition &definition : ModelSourceDefinition::all())
        all.append({definition.tool.key(), definition.displayName});
    all.append({SourceTool(SourceTool::Kind::custom).key(), {}});
    return all;
}
} // namespace

std::optional<SourceTool::Kind> SourceArgument::parse(const QString &text)
{
    for (const Choice &choice : choices()) {
        if (text.compare(choice.kind, Qt::CaseInsensitive) == 0
            || (!choice.name.isEmpty() && text.compare(choice.name, Qt::CaseInsensitive) == 0))
            return SourceTool::kindFromKey(choice.kind);
    }
    return std::nullopt;
}

QString SourceArgument::accepted()
{
    QStringList kinds;
    QStringList names;
    for (const Choice &choice : choices()) {
        kinds << choice.kind;
        if (!choice.name.isEmpty())
            names << (choice.name.contains(QLatin1Char(' ')) ? QLatin1Char('"') + choice.name + QLatin1Char('"') : choice.name);
    }
    return QStringLiteral("%1, or a name: %2 (any case)").arg(kinds.join(QStringLiteral(", ")), names.join(QStringLiteral(", ")));
}

QString SourceArgument::table()
{
    const QList<Choice> all = choices();
    // The names line up one column after the longest kind.
    qsizetype width = 0;
    for (const Choice &choice : all)
        width = std::max(width, choice.kind.size() + 1);
    QString lines;
    for (const Choice &choice : all) {
        const QString name = choice.name.isEmpty() ? QStringLiteral("your folders (folders add)") : choice.name;
        lines += QStringLiteral("  %1 %2\n").arg(choice.kind, -int(width)).arg(name);
    }
    return lines;
}
