#include "viewer/log_reader.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <libxml/xmlreader.h>

#include <cstring>
#include <mutex>
#include <vector>

namespace tarv {
namespace {

// Recover from what can be recovered, drop blank text, never touch the network.
constexpr int kReaderOptions = XML_PARSE_RECOVER | XML_PARSE_NOBLANKS | XML_PARSE_NONET;
static_assert(kReaderOptions == 2305);

constexpr int kStartOfElement = XML_READER_TYPE_ELEMENT;
constexpr int kEndOfElement = XML_READER_TYPE_END_ELEMENT;

const char kRoot[] = "tarvlogdocument";
const char kNoInformation[] = "<no information>";

// libxml2's global state is made by the first parse and freed after each parse, but never while
// another viewer's thread is still parsing: xmlCleanupParser under a running parse would pull its
// dictionaries and locks away.
class ParserUse {
public:
    ParserUse()
    {
        std::lock_guard<std::mutex> guard(lock());
        ++count();
        xmlCheckVersion(20600);
    }
    ~ParserUse()
    {
        std::lock_guard<std::mutex> guard(lock());
        if (--count() == 0) xmlCleanupParser();
    }
    ParserUse(const ParserUse&) = delete;
    ParserUse& operator=(const ParserUse&) = delete;

private:
    static std::mutex& lock()
    {
        static std::mutex m;
        return m;
    }
    static int& count()
    {
        static int n = 0;
        return n;
    }
};

bool named(const xmlChar* name, const char* expected)
{
    return std::strcmp(reinterpret_cast<const char*>(name), expected) == 0;
}

class Walk {
public:
    Walk(const std::string& path, LogSink& sink) : path_(path), sink_(sink) {}

    int32_t run();

private:
    void startElement();
    void endElement();
    // Inserts the element held back by pendingOpen below currentParent, which it then becomes.
    void insertPending(bool hasChildren);
    LogSink::Item insert(bool hasChildren);
    // itemText and itemIcon of the element in hand.
    void describe(const xmlChar* name);
    // Appends the attribute's value, or "<no information>" when the element has none.
    void appendAttribute(const char* name);
    bool attributeIs(const char* name, const char* expected);
    void updateProgress();
    void report(LogReaderMessage::Kind kind, const char* caption, std::string text, int line = 0);

    static void parserMessage(void* walk, const char* message, xmlParserSeverities,
                              xmlTextReaderLocatorPtr locator);

    const std::string& path_;
    LogSink& sink_;
    xmlTextReaderPtr reader_ = nullptr;
    int fd_ = -1;

    LogSink::Item currentParent_ = nullptr;
    std::vector<LogSink::Item> parentStack_;
    std::string itemText_;
    int itemIcon_ = imageValue;
    bool pendingOpen_ = false;
    int32_t maxItemLength_ = 0;

    bool progress_ = false;
    int64_t fileLength_ = 0;
    int lastPercent_ = 0;
    bool rootSeen_ = false;
};

int32_t Walk::run()
{
    int err = _sopen_s(&fd_, path_.c_str(), _O_RDONLY | _O_TEXT | _O_RANDOM, _SH_DENYRW, _S_IREAD);
    if (err != 0) {
        report(LogReaderMessage::Kind::cannotOpen, "File error:",
               "Failed to open \"" + path_ + "\" for reading: " + std::strerror(err));
        return 0;
    }
    fileLength_ = _filelengthi64(fd_);
    if (fileLength_ > kProgressThreshold) {
        progress_ = true;
        sink_.progressBegin(fileLength_);
    }

    ParserUse parser;
    // The reader leaves the descriptor to its owner: it is closed here after the reader is freed.
    reader_ = xmlReaderForFd(fd_, nullptr, nullptr, kReaderOptions);
    if (!reader_) {
        _close(fd_);
        report(LogReaderMessage::Kind::cannotRead, "Error:", "Failed to open file for reading");
        if (progress_) sink_.progressEnd();
        return 0;
    }
    if (progress_) sink_.progressShow();
    pendingOpen_ = false;
    xmlTextReaderSetErrorHandler(reader_, &Walk::parserMessage, this);

    int result;
    while ((result = xmlTextReaderRead(reader_)) == 1) {
        int type = xmlTextReaderNodeType(reader_);
        if (type == kStartOfElement) startElement();
        else if (type == kEndOfElement) endElement();
    }
    xmlFreeTextReader(reader_);
    reader_ = nullptr;
    _close(fd_);
    if (result != 0)
        report(LogReaderMessage::Kind::parseFailed, "Parse Error:", "XML parse error in \"" + path_ + "\"");
    if (progress_) sink_.progressEnd();
    return maxItemLength_;
}

void Walk::startElement()
{
    const xmlChar* name = xmlTextReaderConstName(reader_);
    if (name && !rootSeen_) {
        rootSeen_ = true;
        sink_.documentElement(reinterpret_cast<const char*>(name));
    }
    if (!name || named(name, kRoot)) return;
    if (pendingOpen_) insertPending(true);
    describe(name);
    if (xmlTextReaderIsEmptyElement(reader_) == 1) {
        LogSink::Item item = insert(false);
        if (itemIcon_ == imageError || itemIcon_ == imageWarning) sink_.addListRow(itemText_, itemIcon_, item);
    } else {
        pendingOpen_ = true;
    }
}

void Walk::endElement()
{
    const xmlChar* name = xmlTextReaderConstName(reader_);
    if (!name || named(name, kRoot)) return;
    // An element that ends before any child, such as an arg of an empty VARIANT, is a leaf.
    if (pendingOpen_) insertPending(false);
    if (!parentStack_.empty()) {
        currentParent_ = parentStack_.back();
        parentStack_.pop_back();
    }
    if (progress_) updateProgress();
}

void Walk::insertPending(bool hasChildren)
{
    LogSink::Item item = insert(hasChildren);
    parentStack_.push_back(currentParent_);
    currentParent_ = item;
    pendingOpen_ = false;
}

LogSink::Item Walk::insert(bool hasChildren)
{
    LogSink::Item item = sink_.insertItem(currentParent_, itemText_, itemIcon_, hasChildren);
    if (static_cast<int64_t>(itemText_.size()) > maxItemLength_) maxItemLength_ = static_cast<int32_t>(itemText_.size());
    return item;
}

void Walk::describe(const xmlChar* name)
{
    itemText_.clear();
    struct Record {
        const char* name;
        int image;
    };
    static const Record records[] = {
        {"info", imageInfo}, {"error", imageError}, {"warning", imageWarning}, {"argval", imageValue}};
    for (const Record& r : records) {
        if (!named(name, r.name)) continue;
        appendAttribute("value");
        itemIcon_ = r.image;
        return;
    }
    if (named(name, "func")) {
        appendAttribute("name");
        itemText_ += " (";
        appendAttribute("object");
        itemText_ += ')';
        itemIcon_ = attributeIs("direc", "in") ? imageCallIn : imageCallOut;
        return;
    }
    if (named(name, "arg")) {
        appendAttribute("name");
        itemText_ += " (type: ";
        appendAttribute("type");
        itemText_ += ')';
        itemIcon_ = attributeIs("direc", "in") ? imageArgumentIn : imageArgumentOut;
        return;
    }
    // An element the writer never makes: its name and the values of its attributes, in order.
    itemText_ = reinterpret_cast<const char*>(name);
    int count = xmlTextReaderAttributeCount(reader_);
    for (int i = 0; i < count; ++i) {
        itemText_ += ' ';
        if (xmlChar* value = xmlTextReaderGetAttributeNo(reader_, i)) {
            itemText_ += reinterpret_cast<const char*>(value);
            xmlFree(value);
        }
    }
    itemIcon_ = imageValue;
}

void Walk::appendAttribute(const char* name)
{
    xmlChar* value = xmlTextReaderGetAttribute(reader_, reinterpret_cast<const xmlChar*>(name));
    if (!value) {
        itemText_ += kNoInformation;
        return;
    }
    itemText_ += reinterpret_cast<const char*>(value);
    xmlFree(value);
}

bool Walk::attributeIs(const char* name, const char* expected)
{
    xmlChar* value = xmlTextReaderGetAttribute(reader_, reinterpret_cast<const xmlChar*>(name));
    if (!value) return false;
    bool same = named(value, expected);
    xmlFree(value);
    return same;
}

// The bar moves in whole percentages of the file read so far, never backwards.
void Walk::updateProgress()
{
    int64_t position = _telli64(fd_);
    if (position < 0) return;
    int percent = static_cast<int>(position * 100 / fileLength_);
    if (percent <= lastPercent_) return;
    sink_.progressSet(percent);
    lastPercent_ = percent;
}

void Walk::report(LogReaderMessage::Kind kind, const char* caption, std::string text, int line)
{
    sink_.report(LogReaderMessage{kind, caption, std::move(text), line});
}

// Every message of the parser, warnings included, goes to the user; the parser then goes on as it
// decides.
void Walk::parserMessage(void* walk, const char* message, xmlParserSeverities, xmlTextReaderLocatorPtr locator)
{
    auto* self = static_cast<Walk*>(walk);
    int line = xmlTextReaderLocatorLineNumber(locator);
    self->report(LogReaderMessage::Kind::parserMessage, "Parse error: ",
                 "Parse error in \"" + self->path_ + "\", line " + std::to_string(line) + ": " + (message ? message : ""),
                 line);
}

} // namespace

int32_t parseLogFile(const std::string& path, LogSink& sink)
{
    return Walk(path, sink).run();
}

} // namespace tarv
