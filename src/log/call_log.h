#pragma once
// The XML call log: one log document per exported package instance or logged unit operation,
// written record by record and flushed after each, so that it is readable up to its last record
// when the process dies.
//
// Every record operation does nothing while `stream` is null (a detached or closed log), and then
// leaves `depth` unchanged. Not thread-safe: all proxies of a log live on the server's STA thread.
#include "capeopen.h"
#include "log/text_buffer.h"

#include <windows.h>
#include <ole2.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace tarv {

class CallLog {
public:
    // Creates the log on an already open stream (taking it over and switching it to binary mode:
    // the log writes CR LF line ends itself), writes the XML prolog,
    // the root start tag and the three opening info records. Heap-allocated; `refCount` starts at 0.
    static CallLog* open(std::FILE* stream, const char* objectName, const char* objectType,
                         const char* logPath);

    CallLog(const CallLog&) = delete;
    CallLog& operator=(const CallLog&) = delete;

    // Ends the document and closes the stream, then runs the close hook (the open-log prompt).
    // Safe to call twice.
    void close();
    // close(), then frees the escape buffer and the strings, and deletes this object.
    void destroy();

    // Escapes text for an attribute value into the shared escape buffer. Sets *suppressed to 1 if a
    // byte was dropped (below 0x20 or at/above 0x80), else 0. Valid until the next escape().
    const char* escape(const char* text, int* suppressed);
    // Writes `depth` blanks into the record being written (nothing while detached).
    void indent();

    void writeInfo(const char* text);
    void writeError(const char* text);
    void writeWarning(const char* text);

    // isInput: non-zero writes direc="in", zero "out".
    void beginFunc(int isInput, const char* methodName, const char* objectName);
    // Closing records of a func: on failure an error record with the status name and the failure
    // text (asked of `calledInterface` when not null), then </func>.
    void endFunc(HRESULT status, IUnknown* calledInterface);

    // Scalar, string and enumeration arguments.
    void argShort(const char* name, int isInput, short value);
    void argVariantBool(const char* name, int isInput, VARIANT_BOOL value);
    void argBool(const char* name, int isInput, BOOL value);
    void argLong(const char* name, int isInput, LONG value);
    void argDouble(const char* name, int isInput, double value);
    void argString(const char* name, int isInput, BSTR value);
    void argInterfacePointer(const char* name, int isInput, IUnknown* value);
    void argInterface(const char* name, int isInput, IUnknown* value);
    void argCalculationFlags(const char* name, int isInput, int flags);
    void argValidationStatus(const char* name, int isInput, CapeValidationStatus value);
    void argPortType(const char* name, int isInput, CapePortType value);
    void argReactionType(const char* name, int isInput, CapeReactionType value);
    void argReactionRateBasis(const char* name, int isInput, CapeReactionRateBasis value);
    void argPortDirection(const char* name, int isInput, CapePortDirection value);
    void argParamMode(const char* name, int isInput, CapeParamMode value);
    void argParamType(const char* name, int isInput, CapeParamType value);

    // VARIANT and array arguments. expected 0xFFFF means any type (no check). The VARIANT stays
    // the caller's and is not changed.
    static constexpr VARTYPE anyType = 0xFFFF;
    void argVariant(const char* name, int isInput, const VARIANT& value, VARTYPE expected, int emptyAllowed);
    void writeValue(const VARIANT& value);
    static std::string vartypeName(VARTYPE vt);

    // Status and interface texts.
    static std::string statusName(HRESULT status);
    static std::string interfaceName(REFIID iid);
    // info record for an interface query that a proxy passed on or turned down (silent for
    // IOriginalObject64).
    void queryInterface(const char* objectName, REFIID iid, HRESULT status);

    // Recovery after a fault. A fault inside a record (a component's value that cannot be read, a
    // name query that crashes) unwinds through this object without running any of its cleanup.
    // mark() notes where a func record stands; recover() then puts the log back there: it
    // restores a stream suspended since the mark, releases array locks taken since it, drops an
    // unfinished line, and closes the elements opened since it at their own depths, so that the
    // next record stands inside that func as if nothing had happened.
    struct Mark {
        std::size_t elements = 0;
        std::size_t locks = 0;
        bool suspended = false;
    };
    Mark mark() const { return {open_.size(), lockedArrays_.size(), suspended_ != nullptr}; }
    void recover(const Mark& mark);

    const std::string& objectName() const { return objectName_; }
    const std::string& logPath() const { return logPath_; }
    bool isOpen() const { return stream_ != nullptr; }
    unsigned depth() const { return depth_; }
    // Size of the escape buffer: starts at 1024, grows in steps of 1024, never shrinks.
    int32_t escapeCapacity() const { return escapeCapacity_; }

    // Reference count of the proxies that hold this log (plain, not atomic). The last release
    // destroys it.
    void addRef() { ++refCount_; }
    void release() { if (--refCount_ == 0) destroy(); }
    int32_t refCount() const { return refCount_; }

    // Runs after close() has written the end tag and closed the stream: the host installs the
    // "Open log file" prompt here.
    using CloseHook = void (*)(const CallLog& log);
    static void setCloseHook(CloseHook hook);

private:
    CallLog(std::FILE* stream, const char* objectName, const char* logPath);
    ~CallLog();

    // Record text goes into `pending_` and reaches the stream in one write with a flush at the end
    // of each record, so the file always ends at a record boundary. Long array values are written
    // through in pieces and flushed once at their end.
    void put(const char* text, std::size_t length) { pending_.append(text, length); }
    void put(const char* text) { pending_.append(text); }
    template <std::size_t N>
    void putLiteral(const char (&text)[N]) { pending_.append(text, N - 1); }
    void putArgval(const char* value);
    void flush();
    void writeThrough();

    void record(const char* open, std::size_t openLength, const char* text, const char* warning,
                std::size_t warningLength);
    // The element stack of the record in progress, so that recover() can close what a fault left
    // open. Each entry is an element whose start tag was written, with the depth of that tag.
    enum class Element : unsigned char { Func, Arg, Argval };
    struct OpenElement {
        Element kind;
        uint32_t depth;
    };
    void opened(Element kind) { open_.push_back({kind, depth_}); }
    void closed() { if (!open_.empty()) open_.pop_back(); }

    void beginArg(const char* name, const char* direction, const char* type);
    void endArg();
    void simpleArg(const char* name, const char* direction, const char* type, const char* value);
    void enumArg(const char* name, const char* direction, const char* type, int value,
                 const char* const* names, int count);
    void writeScalar(const VARIANT& value);
    void writeArray(const VARIANT& value);
    template <VARTYPE Type>
    void writeNumbers(SAFEARRAY* array, LONG lowerBound, LONG count);
    template <VARTYPE Type, class T>
    void writeNumber(T value);
    // Wide text up to its first NUL in the thread's ANSI code page, between quotes if asked,
    // into `narrow_`.
    const char* narrowed(const wchar_t* text, bool quoted);
    // The flag prefix ("VT_ARRAY|", ...) and the base type's name.
    static void vartypeParts(VARTYPE vt, const char** prefix, const char** base);
    void putVartypeName(VARTYPE vt);

    std::FILE* stream_ = nullptr;
    std::FILE* suspended_ = nullptr;   // the stream while argInterface asks an object for its name
    std::vector<OpenElement> open_;
    std::vector<SAFEARRAY*> lockedArrays_;
    std::string objectName_;
    std::string logPath_;
    char* escapeBuffer_ = nullptr;
    int32_t escapeCapacity_ = 1024;
    uint32_t depth_ = 0;
    int32_t refCount_ = 0;
    TextBuffer pending_;
    std::string narrow_;
    std::string text_;
};

// Message text of a status code from the system, else "error code 0x%08X".
std::wstring systemErrorText(HRESULT status);
// Description of a CAPE-OPEN failure asked of the failed object (ECapeUser, then ECapeRoot, then
// the fixed description of the code); codes outside the CAPE-OPEN block go to systemErrorText.
std::wstring capeErrorText(IUnknown* failedObject, HRESULT status);

// A borrowed (or owned) one-dimensional array inside a VARIANT, with its bounds.
struct ArrayView {
    VARIANT value;           // bitwise copy; owned only when `owned` is set
    bool owned = false;
    int32_t lowerBound = 0;
    int32_t count = 0;

    explicit ArrayView(const VARIANT& v, bool takeOwnership = false);
    ~ArrayView();
    ArrayView(const ArrayView&) = delete;
    ArrayView& operator=(const ArrayView&) = delete;

    // Whether the view may be walked as a one-dimensional array of expectedElement; sets
    // lowerBound and count. On failure *failureText says why.
    bool check(VARTYPE expectedElement, std::string* failureText);
};

} // namespace tarv
