#include "cli/SelectionArguments.h"

#include "cli/ScanReport.h"
#include "cli/SourceArgument.h"
#include "core/FilterValues.h"

#include <QJsonArray>

namespace {
struct Option
{
    const char *name;
    bool (*apply)(ModelSelection &, const QString &value); // false when the value does not parse
    QString (*refusal)(const QString &value);              // what the value is not, and an example
};

bool setSize(std::optional<qint64> &field, const QString &value)
{
    field = FilterValues::parseSize(value);
    return field.has_value();
}

bool setAge(std::optional<qint64> &field, const QString &value)
{
    field = FilterValues::parseAge(value);
    return field.has_value();
}

QString sizeRefusal(const QString &value)
{
    return QStringLiteral("'%1' is not a size; write for example 500MB, 2GB, 1.5GiB or 4096 (bytes)").arg(value);
}

QString ageRefusal(const QString &value)
{
    return QStringLiteral("'%1' is not an age; write a number and s, m (minutes), h, d or w, for example 90d, 12h or 2w").arg(value);
}

// Every selector that takes a value; --reverse is the only one without.
const QList<Option> &options()
{
    static const QList<Option> table{
        {"--sort", [](ModelSelection &s, const QString &v) {
             const std::optional<ModelOrder::Key> key = ModelOrder::fromKey(v);
             s.order = key.value_or(s.order);
             return key.has_value();
         }, [](const QString &v) {
             return QStringLiteral("unknown order '%1'; use %2, for example --sort size").arg(v, ModelOrder::acceptedKeys().join(QStringLiteral(", ")));
         }},
        {"--limit", [](ModelSelection &s, const QString &v) {
             bool ok = false;
             const qlonglong count = v.toLongLong(&ok);
             if (ok && count > 0)
                 s.limit = count;
             return ok && count > 0;
         }, [](const QString &v) {
             return QStringLiteral("'%1' is not a count; write a whole number of 1 or more, for example --limit 10").arg(v);
         }},
        {"--only", [](ModelSelection &s, const QString &v) {
             const std::optional<ModelSelection::Kind> kind = ModelSelection::kindFromKey(v);
             if (kind && !s.kinds.contains(*kind))
                 s.kinds.append(*kind);
             return kind.has_value();
         }, [](const QString &v) {
             return QStringLiteral("unknown kind '%1'; use %2, for example --only leftovers")
                 .arg(v, ModelSelection::acceptedKinds().join(QStringLiteral(", ")));
         }},
        {"--source", [](ModelSelection &s, const QString &v) {
             const std::optional<SourceTool::Kind> kind = SourceArgument::parse(v);
             if (kind && !s.sources.contains(*kind))
                 s.sources.append(*kind);
             return kind.has_value();
         }, [](const QString &v) { return QStringLiteral("unknown source '%1'; use %2").arg(v, SourceArgument::accepted()); }},
        {"--larger-than", [](ModelSelection &s, const QString &v) { return setSize(s.largerThan, v); }, sizeRefusal},
        {"--smaller-than", [](ModelSelection &s, const QString &v) { return setSize(s.smallerThan, v); }, sizeRefusal},
        {"--older-than", [](ModelSelection &s, const QString &v) { return setAge(s.olderThan, v); }, ageRefusal},
        {"--newer-than", [](ModelSelection &s, const QString &v) { return setAge(s.newerThan, v); }, ageRefusal},
    };
    return table;
}
} // namespace

SelectionArguments::Read SelectionArguments::read(const QStringList &arguments, qsizetype *index, QString *error)
{
    const QString &name = arguments[*index];
    if (name == QLatin1String("--reverse")) {
        m_selection.reversed = true;
        m_typed << name;
        return Read::taken;
    }
    const auto option = std::find_if(options().begin(), options().end(),
                                     [&](const Option &candidate) { return name == QLatin1String(candidate.name); });
    if (option == options().end())
        return Read::notSelector;
    if (*index + 1 >= arguments.size()) {
        *error = QStringLiteral("%1 needs a value").arg(name);
        return Read::failed;
    }
    const QString value = arguments[++*index];
    if (!option->apply(m_selection, value)) {
        *error = name + QStringLiteral(": ") + option->refusal(ScanReport::printable(value));
        return Read::failed;
    }
    m_typed << name << value;
    return Read::taken;
}

QJsonObject SelectionArguments::json() const
{
    QJsonObject object;
    const ModelSelection &s = m_selection;
    if (s.order != ModelOrder::Key::window)
        object.insert(QStringLiteral("sort"), ModelOrder::key(s.order));
    if (s.reversed)
        object.insert(QStringLiteral("reverse"), true);
    if (s.limit)
        object.insert(QStringLiteral("limit"), *s.limit);
    QJsonArray kinds;
    for (const ModelSelection::Kind kind : s.kinds)
        kinds.append(ModelSelection::key(kind));
    if (!kinds.isEmpty())
        object.insert(QStringLiteral("only"), kinds);
    QJsonArray sources;
    for (const SourceTool::Kind kind : s.sources)
        sources.append(SourceTool(kind).key());
    if (!sources.isEmpty())
        object.insert(QStringLiteral("sources"), sources);
    const std::pair<const char *, std::optional<qint64>> bounds[] = {
        {"largerThan", s.largerThan}, {"smallerThan", s.smallerThan}, {"olderThan", s.olderThan}, {"newerThan", s.newerThan}};
    for (const auto &[key, value] : bounds) {
        if (value)
            object.insert(QLatin1String(key), *value);
    }
    return object;
}
