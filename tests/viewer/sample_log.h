#pragma once
// Logs made by CallLog itself: a simulator's calls into a package with its calls back to the material
// nested inside, arrays, interface-query notes, warnings and failures.
#include <string>

namespace viewertest {

// A complete log of `rounds` rounds (2 warnings and 1 error each), `arraySize` values in each array.
void writeSampleLog(const std::string& path, int rounds, int arraySize = 20);

} // namespace viewertest
