#include "core/ModelOrder.h"

#include "core/KeyTable.h"
#include "core/ModelSections.h"

namespace {
const KeyTable<ModelOrder::Key> &keys()
{
    static const KeyTable<ModelOrder::Key> table{
        {ModelOrder::Key::size, QStringLiteral("size")},
        {ModelOrder::Key::name, QStringLiteral("name")},
        {ModelOrder::Key::date, QStringLiteral("date")},
        {ModelOrder::Key::source, QStringLiteral("source")},
        {ModelOrder::Key::parameters, QStringLiteral("parameters")},
    };
    return table;
}
qint64 parameterCount(const DetectedModel &model)
{
    return model.details && model.details->parameters ? *model.details->parameters : -1;
}
} // namespace

ModelOrder::ModelOrder(Key key) : m_key(key), m_names(ModelSection::nameCollator())
{
}

bool ModelOrder::operator()(const DetectedModel &a, const DetectedModel &b) const
{
    switch (m_key) {
    case Key::window: return false;
    case Key::size: return a.sizeBytes > b.sizeBytes;
    case Key::name: return m_names.compare(a.displayName, b.displayName) < 0;
    case Key::date: return a.lastModified > b.lastModified;
    case Key::source: return ModelSection::sourceComesBefore(a.sourceTool, b.sourceTool, m_names);
    case Key::parameters: return parameterCount(a) > parameterCount(b);
    }
    return false;
}

std::optional<ModelOrder::Key> ModelOrder::fromKey(const QString &text)
{
    return keys().find(text);
}

QString ModelOrder::key(Key key)
{
    return key == Key::window ? QStringLiteral("window") : keys().name(key);
}

QStringList ModelOrder::acceptedKeys()
{
    return keys().names();
}
