#include "cli/TrashSelection.h"

#include "cli/SourceArgument.h"

#include <QDir>
#include <QFileInfo>

QString TrashSelection::Selector::describe() const
{
    if (!path.isEmpty())
        return QStringLiteral("--path ") + path;
    QString text = QStringLiteral("--name ") + name;
    if (source)
        text += QStringLiteral(" --source ") + SourceTool(*source).key();
    return text;
}

bool TrashSelection::Selector::names(const DetectedModel &model) const
{
    return path.isEmpty() ? model.displayName == name && (!source || model.sourceTool.kind() == *source)
                          : model.filePaths.value(0) == path;
}

std::optional<TrashSelection> TrashSelection::parse(const QStringList &arguments, QString *error)
{
    TrashSelection selection;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        // Right after --name NAME, --source narrows that name; anywhere else it narrows
        // the whole selection, as it does for scan.
        const bool narrowsName = argument == QLatin1String("--source") && i >= 2 && arguments[i - 2] == QLatin1String("--name");
        const bool takesValue = argument == QLatin1String("--name") || argument == QLatin1String("--path") || narrowsName;
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
        } else if (narrowsName) {
            const QString value = arguments[++i];
            const std::optional<SourceTool::Kind> kind = SourceArgument::parse(value);
            if (!kind) {
                *error = QStringLiteral("unknown source '%1'; use %2").arg(value, SourceArgument::accepted());
                return std::nullopt;
            }
            selection.m_selectors.last().source = kind;
        } else {
            const SelectionArguments::Read read = selection.selectors.read(arguments, &i, error);
            if (read == SelectionArguments::Read::failed)
                return std::nullopt;
            if (read == SelectionArguments::Read::notSelector) {
                *error = QStringLiteral("unknown argument '%1'").arg(argument);
                return std::nullopt;
            }
        }
    }
    // An order alone picks nothing: something must say which models.
    if (selection.m_selectors.isEmpty() && !selection.selectors.selection().isNarrowed()) {
        *error = QStringLiteral("name the models with --name NAME or --path PATH, or pick them with --only, --source, "
                                "--larger-than, --smaller-than, --older-than, --newer-than or --limit");
        return std::nullopt;
    }
    return selection;
}

QList<DetectedModel> TrashSelection::match(const QList<DetectedModel> &models, const QDateTime &now, QStringList *unmatched,
                                           QList<Ambiguity> *ambiguous) const
{
    const ModelSelection &filters = selectors.selection();
    for (const Selector &selector : m_selectors) {
        if (std::none_of(models.begin(), models.end(),
                         [&](const DetectedModel &model) { return selector.names(model) && filters.matches(model, now); })) {
            const QString given = selectors.typed();
            unmatched->append(given.isEmpty() ? selector.describe() : selector.describe() + QStringLiteral(" with ") + given);
        }
    }
    QList<DetectedModel> named;
    std::copy_if(models.begin(), models.end(), std::back_inserter(named), [&](const DetectedModel &model) {
        return m_selectors.isEmpty()
            || std::any_of(m_selectors.begin(), m_selectors.end(), [&](const Selector &selector) { return selector.names(model); });
    });
    QList<DetectedModel> chosen;
    for (const qsizetype row : filters.select(named, now))
        chosen.append(named[row]);

    // A name typed once must not move several models the user may not have meant.
    for (const Selector &selector : m_selectors) {
        QList<DetectedModel> matches;
        std::copy_if(chosen.begin(), chosen.end(), std::back_inserter(matches),
                     [&](const DetectedModel &model) { return selector.names(model); });
        if (matches.size() > 1 && selector.path.isEmpty() && !allMatching)
            ambiguous->append({selector.describe(), matches});
    }
    return chosen;
}
