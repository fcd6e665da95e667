#pragma once

#include "catalogue/DetectedModel.h"

#include <QCollator>
#include <optional>

// An order a person can ask for: largest first, by name, newest first, by source, or most
// parameters first (a model whose count is unknown after every counted one);
// `window` is the list's own order and never moves a row. Used as a "comes before" test
// with a stable sort, so ties keep the order they had.
class ModelOrder
{
public:
    enum class Key { window, size, name, date, source, parameters };

    explicit ModelOrder(Key key);

    bool operator()(const DetectedModel &a, const DetectedModel &b) const;
    Key key() const { return m_key; }

    // "size", "name", "date", "source" in any case; "window" is no order to ask for.
    static std::optional<Key> fromKey(const QString &text);
    static QString key(Key key);
    static QStringList acceptedKeys(); // size, name, date, source, parameters

private:
    Key m_key;
    QCollator m_names; // names and custom folders as a file manager sorts them
};
