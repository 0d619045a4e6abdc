#pragma once
// Logs as the server writes them, made by CallLog itself: rounds of a simulator's calls into a
// package with the package's calls back to the material nested inside them, string and double
// arrays, interface-query notes, warnings and failures.
#include <string>

namespace viewertest {

// Writes a complete log of `rounds` rounds to `path`, with `arraySize` values in each array.
// Each round holds 2 warnings and 1 error.
void writeSampleLog(const std::string& path, int rounds, int arraySize = 20);

} // namespace viewertest
