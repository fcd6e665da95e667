#pragma once

#include "catalogue/SourceTool.h"

#include <QString>
#include <optional>

// The value of --source as a person types it: a source's kind ("lmStudio") or the name
// the report shows ("LM Studio"), in any mix of upper and lower case. The accepted
// values come from the table of sources, so a new source is accepted and listed at once.
class SourceArgument
{
public:
    static std::optional<SourceTool::Kind> parse(const QString &text);
    // The accepted values on one line, for an error message.
    static QString accepted();
    // One line per source, kind and name, for --help.
    static QString table();
};
