#include "cli/KeepSelection.h"

#include "cli/SourceArgument.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

std::optional<KeepSelection> KeepSelection::parse(const QStringList &arguments, QString *error)
{
    KeepSelection selection;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        const bool takesValue = argument == QLatin1String("--path") || argument == QLatin1String("--source");
        if (takesValue && i + 1 >= arguments.size()) {
            *error = QStringLiteral("%1 needs a value").arg(argument);
            return std::nullopt;
        }
        if (takesValue && (!selection.m_path.isEmpty() || selection.m_source)) {
            *error = QStringLiteral("name the copy to keep once, with --path PATH or --source KIND");
            return std::nullopt;
        }
        if (selection.take(argument)) {
        } else if (argument == QLatin1String("--path")) {
            selection.m_path = QDir::cleanPath(QFileInfo(arguments[++i]).absoluteFilePath());
        } else if (argument == QLatin1String("--source")) {
            const QString value = arguments[++i];
            selection.m_source = SourceArgument::parse(value);
            if (!selection.m_source) {
                *error = QStringLiteral("unknown source '%1'; use %2").arg(value, SourceArgument::accepted());
                return std::nullopt;
            }
        } else {
            *error = QStringLiteral("unknown argument '%1'").arg(argument);
            return std::nullopt;
        }
    }
    if (selection.m_path.isEmpty() && !selection.m_source) {
        *error = QStringLiteral("name the copy to keep with --path PATH or --source KIND");
        return std::nullopt;
    }
    return selection;
}

QList<DetectedModel> KeepSelection::kept(const QList<DetectedModel> &models, QStringList *notKept) const
{
    if (!m_path.isEmpty()) {
        const auto found = std::find_if(models.begin(), models.end(),
                                        [&](const DetectedModel &model) { return model.filePaths.value(0) == m_path; });
        if (found == models.end())
            notKept->append(QStringLiteral("no model matches --path %1").arg(m_path));
        else if (!found->duplicateGroup)
            notKept->append(QStringLiteral("%1 has no copies: it is in no group of duplicates").arg(m_path));
        else
            return {*found};
        return {};
    }
    // Each group's copies in the source, groups in the order of their first members.
    QList<QUuid> groups;
    QHash<QUuid, QList<DetectedModel>> inSource;
    for (const DetectedModel &model : models) {
        if (!model.duplicateGroup)
            continue;
        if (!groups.contains(*model.duplicateGroup))
            groups.append(*model.duplicateGroup);
        if (model.sourceTool.kind() == *m_source)
            inSource[*model.duplicateGroup].append(model);
    }
    QList<DetectedModel> kept;
    for (const QUuid &group : std::as_const(groups)) {
        const QList<DetectedModel> copies = inSource.value(group);
        if (copies.size() == 1)
            kept.append(copies.first());
        else if (copies.size() > 1)
            notKept->append(QStringLiteral("%1 has %2 copies in %3; name the one to keep with --path")
                                .arg(copies.first().displayName).arg(copies.size()).arg(SourceTool(*m_source).description()));
    }
    return kept;
}
