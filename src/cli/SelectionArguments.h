#pragma once

#include "core/ModelSelection.h"

#include <QJsonObject>
#include <QStringList>

// The options that pick and order entries, shared by scan, verify and trash: --sort,
// --reverse, --limit, --only, --larger-than, --smaller-than, --older-than, --newer-than and
// --source, read into a ModelSelection. A later value of the same option replaces an
// earlier one, except --only and --source, which add to theirs.
class SelectionArguments
{
public:
    enum class Read { notSelector, taken, failed };
    // Reads the option at arguments[*index] when it is one of these, with its value, and
    // moves *index to the last argument it used; a value that does not parse sets `error`
    // to a message naming the option and an example.
    Read read(const QStringList &arguments, qsizetype *index, QString *error);

    const ModelSelection &selection() const { return m_selection; }
    // What was asked for, for scripts: {"only": ["leftovers"], "olderThan": 604800, ...},
    // sizes in bytes and ages in seconds; empty when nothing was.
    QJsonObject json() const;
    // The options as given ("--only leftovers --older-than 7d"), for messages.
    QString typed() const { return m_typed.join(QLatin1Char(' ')); }

private:
    ModelSelection m_selection;
    QStringList m_typed;
};
