#pragma once
// The log checker: one reading of a call log through the viewer's walk, kept as what a person asks
// for first (counts, calls by method, errors and warnings grouped by text with the calls they stand
// in) and, for CI dashboards, the top-level calls with the findings inside them. Nothing of the
// record tree is kept: memory is that of the groups, not of the log.
#include <regex>
#include <string>
#include <vector>

namespace tarv {

// A call a finding stands in: the innermost call around it ("" when it stands outside every call).
struct LogPlace {
    std::string call;
    std::string object;
    long count = 0;
};

// The error or warning records of one text.
struct LogFinding {
    std::string text;
    bool warning = false;
    long count = 0;
    std::vector<LogPlace> places;   // in order of first appearance
};

// One top-level call, with the errors and warnings inside it (index into `findings` and the nested
// path of calls down to the record).
struct LogCase {
    std::string call;
    std::string object;
    struct Hit {
        size_t finding;
        std::string path;
    };
    std::vector<Hit> hits;
};

struct MethodCount {
    std::string method;
    bool in = true;
    long count = 0;
};

struct LogReport {
    enum class State {
        complete,    // read to its end
        cutOff,      // a log that ends before its document does (the writing process died)
        damaged,     // read to its end, but the parser had to repair it
        unreadable,  // could not be opened or is no XML
        notALog,     // XML, but not a call log
    };
    std::string path;
    State state = State::complete;
    std::string problem;   // what is wrong when the state is not `complete`
    long records = 0;
    long callsIn = 0;
    long callsOut = 0;
    long notes = 0;
    long errors = 0;
    long warnings = 0;
    int deepestNesting = 0;               // calls inside calls: 1 for top-level calls only
    std::vector<MethodCount> calls;       // most frequent first, then by method
    std::vector<LogFinding> findings;     // in order of first appearance
    std::vector<LogCase> cases;           // top-level calls, only when asked for
};

struct CheckOptions {
    bool warningsFail = false;
    std::vector<std::string> ignorePatterns;   // ECMAScript regular expressions, searched in error texts
    std::vector<std::regex> ignore;            // the same, compiled by `compileIgnorePatterns`
};

// Compiles the patterns; false with `error` set when one is no valid expression.
bool compileIgnorePatterns(CheckOptions& options, std::string& error);

// Reads the log at `path` once. `keepCases` keeps the top-level calls (for JUnit).
LogReport readLogReport(const std::string& path, bool keepCases);

// Whether a finding fails the check: an error not matched by an ignore pattern, a warning only
// when warnings count.
bool failsCheck(const LogFinding& finding, const CheckOptions& options);

// Exit code of a check: 0 no failing record, 1 failing records, 2 a log that could not be read whole.
int checkVerdict(const LogReport& report, const CheckOptions& options);

// The reports. `check` adds the verdict and marks ignored findings; without it they are summaries.
std::string textReport(const LogReport& report, const CheckOptions& options, bool check);
std::string jsonReport(const LogReport& report, const CheckOptions& options, bool check);
std::string junitReport(const LogReport& report, const CheckOptions& options);

} // namespace tarv
