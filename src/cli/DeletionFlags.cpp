#include "cli/DeletionFlags.h"

bool DeletionFlags::take(const QString &argument)
{
    bool *flag = argument == QLatin1String("--dry-run") ? &dryRun
        : argument == QLatin1String("--yes")            ? &assumeYes
        : argument == QLatin1String("--json")           ? &asJson
                                                        : nullptr;
    if (flag)
        *flag = true;
    return flag != nullptr;
}
