#pragma once
// Where a log file goes, who opens it, and how the user gets from a closed log to a viewer.
#include "log/call_log.h"

#include <string>

namespace tarv {

// Picks the path of a new log: a Save dialog with `title`, or with the automatic location option
// a fresh numbered name in "TARV logs" on the user's Desktop. Reads the options afresh. Returns 1
// with the path, or 0 when no log is to be made (cancelled, or no Desktop).
int chooseLogFile(std::string* path, const char* title);

// The creator's sequence: choose a path with `title`, open the file (denying other writers), and
// make the log on it. Null when the user declined or the file could not be opened (the user has
// been told then); the object then runs without a log.
CallLog* createLogFile(const char* title, const char* objectName, const char* objectType);

// Installs the question asked when a log closes ("Open log file ...?"), which starts the viewer on
// Yes. Asked only if the prompt option, as last read, is on.
void installLogClosePrompt();

} // namespace tarv
