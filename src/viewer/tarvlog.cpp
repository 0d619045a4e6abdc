// tarvlog: a call log checked from scripts and CI.
//   tarvlog summary LOG [--format text|json|junit] [--output FILE]
//   tarvlog check LOG [--format text|json|junit] [--output FILE] [--warnings-fail] [--ignore PATTERN]...
// Exit codes: 0 the log is whole and (check) has no failing record; 1 (check) it has failing
// records; 2 the log cannot be read whole (missing, locked, cut off, damaged, not a log) or the
// command line is wrong.
#include "viewer/log_check.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

int usage(const char* problem)
{
    std::fprintf(stderr,
                 "tarvlog: %s\n"
                 "usage: tarvlog summary LOG [--format text|json|junit] [--output FILE]\n"
                 "       tarvlog check LOG [--format text|json|junit] [--output FILE] [--warnings-fail]\n"
                 "                         [--ignore PATTERN]...\n"
                 "exit codes: 0 passed, 1 failing records (check), 2 log not readable whole or bad usage\n",
                 problem);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) return usage(argc < 2 ? "no command" : "no log file");
    const std::string command = argv[1];
    if (command != "summary" && command != "check") return usage(("unknown command \"" + command + "\"").c_str());
    const bool check = command == "check";

    std::string log, format = "text", output;
    tarv::CheckOptions options;
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        auto value = [&](std::string& into) {
            if (i + 1 >= argc) return false;
            into = argv[++i];
            return true;
        };
        if (a == "--format") {
            if (!value(format)) return usage("--format needs text, json or junit");
        } else if (a == "--output") {
            if (!value(output)) return usage("--output needs a file");
        } else if (check && a == "--warnings-fail") {
            options.warningsFail = true;
        } else if (check && a == "--ignore") {
            std::string pattern;
            if (!value(pattern)) return usage("--ignore needs a pattern");
            options.ignorePatterns.push_back(pattern);
        } else if (a.size() > 1 && a[0] == '-' && a[1] == '-') {
            return usage(("unknown option \"" + a + "\"").c_str());
        } else if (log.empty()) {
            log = a;
        } else {
            return usage("more than one log file");
        }
    }
    if (log.empty()) return usage("no log file");
    if (format != "text" && format != "json" && format != "junit")
        return usage(("unknown format \"" + format + "\"").c_str());
    std::string error;
    if (!tarv::compileIgnorePatterns(options, error)) return usage(error.c_str());

    const tarv::LogReport report = tarv::readLogReport(log, format == "junit");
    const std::string text = format == "json"    ? tarv::jsonReport(report, options, check)
                             : format == "junit" ? tarv::junitReport(report, options)
                                                 : tarv::textReport(report, options, check);
    FILE* out = stdout;
    if (!output.empty() && !(out = std::fopen(output.c_str(), "wb"))) {
        std::fprintf(stderr, "tarvlog: cannot write \"%s\": %s\n", output.c_str(), std::strerror(errno));
        return 2;
    }
    std::fwrite(text.data(), 1, text.size(), out);
    if (out != stdout) std::fclose(out);
    if (report.state != tarv::LogReport::State::complete && format != "text")
        std::fprintf(stderr, "tarvlog: %s: %s\n", log.c_str(), report.problem.c_str());
    if (!check) return report.state == tarv::LogReport::State::complete ? 0 : 2;
    return tarv::checkVerdict(report, options);
}
