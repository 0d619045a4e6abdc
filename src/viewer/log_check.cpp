#include "viewer/log_check.h"

#include "viewer/log_reader.h"

#include <windows.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <unordered_map>

namespace tarv {
namespace {

const char kLogRoot[] = "tarvlogdocument";

// A call's item text is "method (object)": method names hold no " (".
void splitCall(const std::string& text, std::string& method, std::string& object)
{
    const size_t open = text.find(" (");
    if (open == std::string::npos) {
        method = text;
        object.clear();
        return;
    }
    method.assign(text, 0, open);
    const size_t end = text.size() > open + 2 && text.back() == ')' ? text.size() - 1 : text.size();
    object.assign(text, open + 2, end - (open + 2));
}

// The walk hands items in document order, and only an open element can be the parent of the next
// one, so the open path is all the sink keeps: an item's handle is its depth, and an item inserted
// at depth d takes the place of whatever was open there and below.
class ReportSink : public LogSink {
public:
    ReportSink(LogReport& report, bool keepCases) : r_(report), keepCases_(keepCases) {}

    // Called for every record of logs of millions: the open path's levels and the key buffer are
    // reused, so that a record costs no allocation once the path has been this deep before.
    Item insertItem(Item parent, const std::string& text, int image, bool) override
    {
        const size_t depth = static_cast<size_t>(reinterpret_cast<uintptr_t>(parent));
        if (open_.size() <= depth) open_.resize(depth + 1);
        ++r_.records;
        Level& level = open_[depth];
        level.image = image;
        level.caseIndex = depth == 0 ? noCase : open_[0].caseIndex;
        level.callDepth = depth == 0 ? 0 : open_[depth - 1].callDepth;
        level.text.clear();
        switch (image) {
        case imageCallIn:
        case imageCallOut: {
            const bool in = image == imageCallIn;
            (in ? r_.callsIn : r_.callsOut) += 1;
            level.text = text;
            level.callDepth += 1;
            r_.deepestNesting = std::max(r_.deepestNesting, level.callDepth);
            key_.assign(1, in ? 'i' : 'o');
            key_.append(text, 0, text.find(" ("));
            auto counted = methods_.find(key_);
            if (counted == methods_.end()) methods_.emplace(key_, 1);
            else ++counted->second;
            if (depth == 0 && keepCases_) {
                std::string method, object;
                splitCall(text, method, object);
                level.caseIndex = r_.cases.size();
                r_.cases.push_back(LogCase{std::move(method), std::move(object), {}});
            }
            break;
        }
        case imageInfo:
            ++r_.notes;
            break;
        case imageError:
        case imageWarning:
            finding(text, image == imageWarning, depth);
            break;
        default:
            break;
        }
        return reinterpret_cast<Item>(static_cast<uintptr_t>(depth + 1));
    }

    void addListRow(const std::string&, int, Item) override {}

    void report(const LogReaderMessage& m) override
    {
        switch (m.kind) {
        case LogReaderMessage::Kind::parserMessage:
            if (firstParserMessage_.empty()) firstParserMessage_ = m.text;
            lastParserMessage_ = m.text;
            lastLine_ = m.line;
            break;
        case LogReaderMessage::Kind::cannotOpen:
        case LogReaderMessage::Kind::cannotRead:
            unreadable_ = m.text;
            break;
        case LogReaderMessage::Kind::parseFailed:
            failed_ = true;
            break;
        }
    }

    void documentElement(const char* name) override { root_ = name; }

    void finish()
    {
        for (auto& [key, count] : methods_) r_.calls.push_back(MethodCount{key.substr(1), key[0] == 'i', count});
        std::sort(r_.calls.begin(), r_.calls.end(), [](const MethodCount& a, const MethodCount& b) {
            if (a.count != b.count) return a.count > b.count;
            if (a.method != b.method) return a.method < b.method;
            return a.in && !b.in;
        });
        using State = LogReport::State;
        if (!unreadable_.empty()) {
            r_.state = State::unreadable;
            r_.problem = openProblem();
        } else if (root_.empty() && !endsClosed()) {
            r_.state = State::unreadable;
            r_.problem = "no XML document could be read from it" + detail(firstParserMessage_);
        } else if (!root_.empty() && root_ != kLogRoot) {
            r_.state = State::notALog;
            r_.problem = "not a TARV64 call log: its outermost element is <" + root_ + ">, not <" + kLogRoot + ">";
        } else if (failed_ && !endsClosed()) {
            r_.state = State::cutOff;
            r_.problem = "the log is cut off at line " + std::to_string(lastLine_) +
                         ": it ends before its closing tag, as the log of a process that died (crashed or was "
                         "killed) while logging does; " + std::to_string(r_.records) +
                         " records were read before the cut" + detail(lastParserMessage_);
        } else if (failed_) {
            r_.state = State::damaged;
            r_.problem = "the log is damaged at line " + std::to_string(lastLine_) + ": it is not well-formed there; " +
                         std::to_string(r_.records) + " records were read before it" + detail(firstParserMessage_);
        } else if (!firstParserMessage_.empty()) {
            r_.state = State::damaged;
            r_.problem = "the log is damaged: the parser repaired it to read it to its end" + detail(firstParserMessage_);
        }
    }

private:
    static constexpr size_t noCase = static_cast<size_t>(-1);
    struct Level {
        int image = 0;
        int callDepth = 0;     // calls open down to and including this item
        size_t caseIndex = noCase;
        std::string text;      // calls only
    };

    static std::string detail(const std::string& parserMessage)
    {
        if (parserMessage.empty()) return {};
        // The reader's text is "Parse error in "PATH", line N: MESSAGE"; the path is said already.
        std::string message = parserMessage;
        const size_t colon = message.find(": ", message.find("\", line "));
        if (colon != std::string::npos) message.erase(0, colon + 2);
        while (!message.empty() && (message.back() == '\n' || message.back() == '\r')) message.pop_back();
        return " (parser: " + message + ")";
    }

    // Whether the file's last bytes are the log's closing tag: a log of a process that died is the
    // only one without it.
    bool endsClosed() const
    {
        std::FILE* f = std::fopen(r_.path.c_str(), "rb");
        if (!f) return false;
        char tail[64] = {};
        size_t n = 0;
        if (_fseeki64(f, 0, SEEK_END) == 0) {
            const long long length = _ftelli64(f);
            const long long from = length > 48 ? length - 48 : 0;
            if (_fseeki64(f, from, SEEK_SET) == 0) n = std::fread(tail, 1, sizeof tail - 1, f);
        }
        std::fclose(f);
        std::string text(tail, n);
        while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
        const std::string closing = std::string("</") + kLogRoot + ">";
        return text.size() >= closing.size() && text.compare(text.size() - closing.size(), closing.size(), closing) == 0;
    }

    std::string openProblem() const
    {
        if (GetFileAttributesA(r_.path.c_str()) == INVALID_FILE_ATTRIBUTES) return "no such file";
        // The reader refuses to share the file, as the server does while it writes a log.
        return "cannot be opened (" + unreadable_.substr(unreadable_.rfind(": ") + 2) +
               "); a log that TARV64 is still writing stays locked until the logged object is released";
    }

    // A finding at `depth`, below the open calls of the levels above it.
    void finding(const std::string& text, bool warning, size_t depth)
    {
        const Level& level = open_[depth];
        (warning ? r_.warnings : r_.errors) += 1;
        auto [at, added] = findingIndex_.try_emplace((warning ? "w" : "e") + text, r_.findings.size());
        if (added) r_.findings.push_back(LogFinding{text, warning, 0, {}});
        LogFinding& f = r_.findings[at->second];
        ++f.count;

        std::string call, object;
        for (size_t i = depth; i-- > 0;)
            if (!open_[i].text.empty()) {
                splitCall(open_[i].text, call, object);
                break;
            }
        auto place = std::find_if(f.places.begin(), f.places.end(),
                                  [&](const LogPlace& p) { return p.call == call && p.object == object; });
        if (place == f.places.end()) place = f.places.insert(f.places.end(), LogPlace{call, object, 0});
        ++place->count;

        if (!keepCases_) return;
        size_t caseIndex = level.caseIndex;
        if (caseIndex == noCase) {
            // Records outside every call gather in one case of their own.
            if (outsideCase_ == noCase) {
                outsideCase_ = r_.cases.size();
                r_.cases.push_back(LogCase{"(outside any call)", "", {}});
            }
            caseIndex = outsideCase_;
        }
        std::string path;
        for (size_t i = 0; i < depth; ++i)
            if (!open_[i].text.empty()) path += open_[i].text + " > ";
        r_.cases[caseIndex].hits.push_back(LogCase::Hit{at->second, path + text});
    }

    LogReport& r_;
    bool keepCases_;
    std::vector<Level> open_;       // the open path by depth; deeper levels are kept for reuse
    std::string key_;
    std::unordered_map<std::string, long> methods_;   // "i" or "o", then the method
    std::unordered_map<std::string, size_t> findingIndex_;
    size_t outsideCase_ = noCase;
    std::string root_;
    std::string unreadable_;
    std::string firstParserMessage_;
    std::string lastParserMessage_;
    int lastLine_ = 0;
    bool failed_ = false;
};

const char* stateName(LogReport::State s)
{
    switch (s) {
    case LogReport::State::complete: return "complete";
    case LogReport::State::cutOff: return "cut-off";
    case LogReport::State::damaged: return "damaged";
    case LogReport::State::unreadable: return "unreadable";
    case LogReport::State::notALog: return "not-a-log";
    }
    return "";
}

bool ignored(const LogFinding& f, const CheckOptions& options)
{
    if (f.warning) return false;
    for (const std::regex& pattern : options.ignore)
        if (std::regex_search(f.text, pattern)) return true;
    return false;
}

std::string json(const std::string& text)
{
    std::string out = "\"";
    for (unsigned char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char escape[8];
                std::snprintf(escape, sizeof escape, "\\u%04x", c);
                out += escape;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out + "\"";
}

std::string xml(const std::string& text)
{
    std::string out;
    for (unsigned char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default:
            if (c < 0x20 && c != '\n' && c != '\t') out += ' ';   // not allowed in XML 1.0
            else out += static_cast<char>(c);
        }
    }
    return out;
}

std::string placeText(const LogPlace& p)
{
    if (p.call.empty()) return "outside any call";
    return "in " + p.call + (p.object.empty() ? "" : " (" + p.object + ")");
}

long failing(const LogReport& r, const CheckOptions& options)
{
    long n = 0;
    for (const LogFinding& f : r.findings)
        if (failsCheck(f, options)) n += f.count;
    return n;
}

} // namespace

bool compileIgnorePatterns(CheckOptions& options, std::string& error)
{
    options.ignore.clear();
    for (const std::string& p : options.ignorePatterns) {
        try {
            options.ignore.emplace_back(p, std::regex::ECMAScript);
        } catch (const std::regex_error& e) {
            error = "bad --ignore pattern \"" + p + "\": " + e.what();
            return false;
        }
    }
    return true;
}

LogReport readLogReport(const std::string& path, bool keepCases)
{
    LogReport report;
    report.path = path;
    ReportSink sink(report, keepCases);
    parseLogFile(path, sink);
    sink.finish();
    return report;
}

bool failsCheck(const LogFinding& f, const CheckOptions& options)
{
    if (f.warning) return options.warningsFail;
    return !ignored(f, options);
}

int checkVerdict(const LogReport& r, const CheckOptions& options)
{
    if (r.state != LogReport::State::complete) return 2;
    return failing(r, options) > 0 ? 1 : 0;
}

std::string textReport(const LogReport& r, const CheckOptions& options, bool check)
{
    std::string out;
    char line[512];
    out += "log: " + r.path + "\n";
    if (r.state != LogReport::State::complete) out += std::string("problem: ") + r.problem + "\n";
    if (check) {
        const int verdict = checkVerdict(r, options);
        const long failures = failing(r, options);
        if (verdict == 2)
            out += "verdict: cannot check (" + std::string(stateName(r.state)) + ")\n";
        else if (verdict == 1)
            out += "verdict: FAILED, " + std::to_string(failures) + " failing record" + (failures == 1 ? "" : "s") + "\n";
        else
            out += "verdict: passed\n";
    }
    std::snprintf(line, sizeof line,
                  "records: %ld; calls: %ld in, %ld out, nested at most %d deep; notes: %ld; errors: %ld; warnings: %ld\n",
                  r.records, r.callsIn, r.callsOut, r.deepestNesting, r.notes, r.errors, r.warnings);
    out += line;
    if (!check && !r.calls.empty()) {
        out += "calls by method:\n";
        for (const MethodCount& m : r.calls) {
            std::snprintf(line, sizeof line, "  %7ld  %-3s  ", m.count, m.in ? "in" : "out");
            out += line + m.method + "\n";
        }
    }
    for (bool warnings : {false, true}) {
        bool first = true;
        for (const LogFinding& f : r.findings) {
            if (f.warning != warnings) continue;
            if (first) out += warnings ? "warnings:\n" : "errors:\n";
            first = false;
            std::snprintf(line, sizeof line, "  %7ld  ", f.count);
            out += line + f.text;
            if (check && !f.warning && ignored(f, options)) out += "  [ignored]";
            out += "\n";
            for (const LogPlace& p : f.places) {
                std::snprintf(line, sizeof line, "           %ld x ", p.count);
                out += line + placeText(p) + "\n";
            }
        }
    }
    return out;
}

std::string jsonReport(const LogReport& r, const CheckOptions& options, bool check)
{
    std::string out = "{\n";
    out += "  \"log\": " + json(r.path) + ",\n";
    out += "  \"state\": " + json(stateName(r.state)) + ",\n";
    out += "  \"problem\": " + (r.state == LogReport::State::complete ? std::string("null") : json(r.problem)) + ",\n";
    if (check) {
        const int verdict = checkVerdict(r, options);
        out += "  \"verdict\": " + json(verdict == 0 ? "passed" : verdict == 1 ? "failed" : "cannot-check") + ",\n";
        out += "  \"exitCode\": " + std::to_string(verdict) + ",\n";
        out += "  \"failures\": " + std::to_string(failing(r, options)) + ",\n";
    }
    out += "  \"counts\": {\"records\": " + std::to_string(r.records) + ", \"callsIn\": " + std::to_string(r.callsIn) +
           ", \"callsOut\": " + std::to_string(r.callsOut) + ", \"notes\": " + std::to_string(r.notes) +
           ", \"errors\": " + std::to_string(r.errors) + ", \"warnings\": " + std::to_string(r.warnings) +
           ", \"deepestNesting\": " + std::to_string(r.deepestNesting) + "},\n";
    out += "  \"calls\": [";
    for (size_t i = 0; i < r.calls.size(); ++i) {
        const MethodCount& m = r.calls[i];
        out += std::string(i ? ",\n" : "\n") + "    {\"method\": " + json(m.method) + ", \"direction\": " +
               json(m.in ? "in" : "out") + ", \"count\": " + std::to_string(m.count) + "}";
    }
    out += r.calls.empty() ? "],\n" : "\n  ],\n";
    out += "  \"findings\": [";
    for (size_t i = 0; i < r.findings.size(); ++i) {
        const LogFinding& f = r.findings[i];
        out += std::string(i ? ",\n" : "\n") + "    {\"kind\": " + json(f.warning ? "warning" : "error") +
               ", \"text\": " + json(f.text) + ", \"count\": " + std::to_string(f.count);
        if (check) out += std::string(", \"fails\": ") + (failsCheck(f, options) ? "true" : "false");
        out += ", \"places\": [";
        for (size_t j = 0; j < f.places.size(); ++j) {
            const LogPlace& p = f.places[j];
            out += std::string(j ? ", " : "") + "{\"call\": " + (p.call.empty() ? "null" : json(p.call)) +
                   ", \"object\": " + (p.call.empty() ? "null" : json(p.object)) + ", \"count\": " +
                   std::to_string(p.count) + "}";
        }
        out += "]}";
    }
    out += r.findings.empty() ? "]\n" : "\n  ]\n";
    return out + "}\n";
}

std::string junitReport(const LogReport& r, const CheckOptions& options)
{
    long failures = 0, tests = static_cast<long>(r.cases.size());
    for (const LogCase& c : r.cases)
        failures += std::any_of(c.hits.begin(), c.hits.end(),
                                [&](const LogCase::Hit& h) { return failsCheck(r.findings[h.finding], options); });
    const bool whole = r.state == LogReport::State::complete;
    if (!whole) ++tests;

    std::string body;
    long number = 0;
    for (const LogCase& c : r.cases) {
        ++number;
        const std::string classname = c.object.empty() ? "log" : c.object;
        body += "    <testcase classname=\"" + xml(classname) + "\" name=\"" + xml(std::to_string(number) + " " + c.call) +
                "\"";
        std::string inner;
        for (const LogCase::Hit& h : c.hits) {
            const LogFinding& f = r.findings[h.finding];
            if (!failsCheck(f, options)) continue;
            inner += "      <failure type=\"" + std::string(f.warning ? "warning" : "error") + "\" message=\"" + xml(f.text) +
                     "\">" + xml(h.path) + "</failure>\n";
        }
        body += inner.empty() ? "/>\n" : ">\n" + inner + "    </testcase>\n";
    }
    if (!whole)
        body += "    <testcase classname=\"log\" name=\"log read to its end\">\n      <error type=\"" +
                std::string(stateName(r.state)) + "\" message=\"" + xml(r.problem) + "\"/>\n    </testcase>\n";

    const std::string counts = " tests=\"" + std::to_string(tests) + "\" failures=\"" + std::to_string(failures) +
                               "\" errors=\"" + std::to_string(whole ? 0 : 1) + "\"";
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"tarvlog\"" + counts + ">\n" +
           "  <testsuite name=\"" + xml(r.path) + "\"" + counts + ">\n" + body + "  </testsuite>\n</testsuites>\n";
}

} // namespace tarv
