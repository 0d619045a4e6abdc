#pragma once
// The one walk over a log document. libxml2's pull reader goes through the file once, and each
// element is handed on at once to a sink as an item of the record tree (text, icon, parent, whether
// it has children), each self-closing error or warning also as a row of the error list, in document
// order. Nothing is kept in between: the viewer's sink inserts straight into its tree and list
// controls, a command-line checker's sink counts or prints. The walk knows no windows; what it has
// to tell the user goes to the sink as finished messages.
#include <cstdint>
#include <string>

namespace tarv {

// Indexes of the item images in the shared image list.
enum LogImage : int {
    imageInfo = 2,
    imageError = 3,
    imageCallIn = 4,
    imageCallOut = 5,
    imageArgumentIn = 6,
    imageArgumentOut = 7,
    imageValue = 8,
    imageWarning = 10,
};

// Something the walk tells the user: a caption and a text as a message box shows them.
struct LogReaderMessage {
    enum class Kind {
        parserMessage,  // the parser's message about the document, at `line`; the walk goes on
        cannotOpen,     // the file could not be opened: nothing was read
        cannotRead,     // no reader could be made on the file: nothing was read
        parseFailed,    // the parse ended early: what was handed on so far stays
    };
    Kind kind;
    const char* caption;
    std::string text;
    int line = 0;       // for parser messages
};

class LogSink {
public:
    // The sink's own handle of an item; null stands for the invisible root of the tree.
    using Item = void*;

    virtual ~LogSink() = default;
    // Adds an item as the last child of `parent` and returns its handle.
    virtual Item insertItem(Item parent, const std::string& text, int image, bool hasChildren) = 0;
    // Adds a row at the end of the error list, linked to the item of the same record.
    virtual void addListRow(const std::string& text, int image, Item item) = 0;
    virtual void report(const LogReaderMessage& message) = 0;
    // The name of the document's outermost element, once, before anything inside it; a log's is
    // "tarvlogdocument". The viewer shows any document; a checker tells a log from other XML.
    virtual void documentElement(const char* /*name*/) {}

    // A file above 50000 bytes shows its progress: begun hidden before the reader exists, shown
    // once it does, set at end tags to whole percentages that only grow, ended after the parse.
    virtual void progressBegin(int64_t /*fileLength*/) {}
    virtual void progressShow() {}
    virtual void progressSet(int /*percent*/) {}
    virtual void progressEnd() {}
};

// Files above this many bytes show their progress.
constexpr int64_t kProgressThreshold = 50000;

// Reads the log document at `path` (narrow, in the ANSI code page) into `sink`, refusing to share
// the file while it reads: a log that is still being written cannot be read. Returns the length of
// the longest item text handed on, 0 if none.
int32_t parseLogFile(const std::string& path, LogSink& sink);

} // namespace tarv
