#pragma once
// The local time of the process as the log sees it: the opening record of a log and the names of
// log files. Tests replace the source to get fixed dates.
#include <windows.h>

namespace tarv {

void localTime(SYSTEMTIME* out);

using LocalTimeSource = void (*)(SYSTEMTIME* out);
// Replaces the source (nullptr restores GetLocalTime) and returns the previous one.
LocalTimeSource setLocalTimeSource(LocalTimeSource source);

} // namespace tarv
