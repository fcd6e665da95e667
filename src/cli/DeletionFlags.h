#pragma once

#include <QString>

// The flags of the commands that move models to the Trash (trash, keep-one).
struct DeletionFlags
{
    bool dryRun = false;    // list every file that would move, and move nothing
    bool assumeYes = false; // move without asking
    bool asJson = false;    // print one JSON object instead of text

    // Takes `argument` when it is one of these flags.
    bool take(const QString &argument);
};
