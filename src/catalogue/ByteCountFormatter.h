#pragma once

#include <QString>

// Sizes as a file manager shows them: decimal units (1 KB = 1000 bytes), whole
// kilobytes, one decimal for megabytes, two for larger units, trailing zeros dropped.
namespace ByteCountFormatter {
QString format(qint64 bytes);
}
