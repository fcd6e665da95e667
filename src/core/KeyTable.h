#pragma once

#include <QStringList>
#include <initializer_list>
#include <optional>
#include <utility>

// The names of an enumeration's values as a person types them on a command line:
// found in any mix of upper and lower case, listed in table order.
template <typename Value>
class KeyTable
{
public:
    KeyTable(std::initializer_list<std::pair<Value, QString>> entries) : m_entries(entries) {}

    std::optional<Value> find(const QString &text) const
    {
        for (const auto &[value, name] : m_entries) {
            if (text.compare(name, Qt::CaseInsensitive) == 0)
                return value;
        }
        return std::nullopt;
    }

    QString name(Value value) const
    {
        for (const auto &[candidate, name] : m_entries) {
            if (candidate == value)
                return name;
        }
        return {};
    }

    QStringList names() const
    {
        QStringList all;
        for (const auto &entry : m_entries)
            all << entry.second;
        return all;
    }

private:
    QList<std::pair<Value, QString>> m_entries;
};
