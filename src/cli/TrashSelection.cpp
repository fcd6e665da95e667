#include "cli/TrashSelection.h"

#include "cli/SourceArgument.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

QString TrashSelection::Selector::describe() const
{
    if (!path.isEmpty())
        return QStringLiteral("--path ") + path;
    QString text = QStringLiteral("--name ") + name;
    if (source)
        text += QStringLiteral(" --source ") + SourceTool(*source).key();
    return text;
}

std::optional<TrashSelection> TrashSelection::parse(const QStringList &arguments, QString *error)
{
    TrashSelection selection;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        const bool takesValue = argument == QLatin1String("--name") || argument == QLatin1String("--source")
            || argument == QLatin1String("--path");
        if (takesValue && i + 1 >= arguments.size()) {
            *error = QStringLiteral("%1 needs a value").arg(argument);
            return std::nullopt;
        }
        if (argument == QLatin1String("--dry-run")) {
            selection.dryRun = true;
        } else if (argument == QLatin1String("--yes")) {
            selection.assumeYes = true;
        } else if (argument == QLatin1String("--json")) {
            selection.asJson = true;
        } else if (argument == QLatin1String("--all-matching")) {
            selection.allMatching = true;
        } else if (argument == QLatin1String("--name")) {
            selection.m_selectors.append({arguments[++i], std::nullopt, {}});
        } else if (argument == QLatin1String("--path")) {
            const QString path = arguments[++i];
            selection.m_selectors.append({{}, std::nullopt, QDir::cleanPath(QFileInfo(path).absoluteFilePath())});
        } else if (argument == QLatin1String("--source")) {
            const QString value = arguments[++i];
            const std::optional<SourceTool::Kind> kind = SourceArgument::parse(value);
            if (!kind) {
                *error = QStringLiteral("unknown source '%1'; use %2").arg(value, SourceArgument::accepted());
                return std::nullopt;
            }
            if (selection.m_selectors.isEmpty() || selection.m_selectors.last().name.isEmpty()
                || selection.m_selectors.last().source) {
                *error = QStringLiteral("--source must follow a --name");
                return std::nullopt;
            }
            selection.m_selectors.last().source = kind;
        } else {
            *error = QStringLiteral("unknown argument '%1'").arg(argument);
            return std::nullopt;
        }
    }
    if (selection.m_selectors.isEmpty()) {
        *error = QStringLiteral("name the models with --name NAME or --path PATH");
        return std::nullopt;
    }
    return selection;
}

QList<QUuid> TrashSelection::match(const QList<DetectedModel> &models, QStringList *unmatched,
                                   QList<Ambiguity> *ambiguous) const
{
    QSet<QUuid> chosen;
    for (const Selector &selector : m_selectors) {
        QList<DetectedModel> matches;
        std::copy_if(models.begin(), models.end(), std::back_inserter(matches), [&](const DetectedModel &model) {
            return selector.path.isEmpty()
                ? model.displayName == selector.name && (!selector.source || model.sourceTool.kind() == *selector.source)
                : model.filePaths.value(0) == selector.path;
        });
        if (matches.isEmpty())
            unmatched->append(selector.describe());
        // A name typed once must not move several models the user may not have meant.
        if (matches.size() > 1 && selector.path.isEmpty() && !allMatching)
            ambiguous->append({selector.describe(), matches});
        for (const DetectedModel &model : std::as_const(matches))
            chosen.insert(model.id);
    }
    QList<QUuid> ordered;
    for (const DetectedModel &model : models) {
        if (chosen.contains(model.id))
            ordered.append(model.id);
    }
    return ordered;
}
