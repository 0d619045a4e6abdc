#include "log/call_log.h"

#include "com/bstr.h"
#include "com/com_ptr.h"
#include "log/clock.h"
#include "log/number_format.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <new>
#include <type_traits>

namespace tarv {

namespace {

CallLog::CloseHook closeHook = nullptr;

const char* direction(int isInput) { return isInput ? "in" : "out"; }

#define TARV_SUPPRESSED(what)                                                                      \
    "<warning value=\"One or more non-printable characters suppressed in above " what              \
    " (these cannot be stored in XML)\"/>\r\n"

constexpr char infoSuppressed[] = TARV_SUPPRESSED("info string");
constexpr char errorSuppressed[] = TARV_SUPPRESSED("error string");
constexpr char warningSuppressed[] = TARV_SUPPRESSED("warning string");
constexpr char objectNameSuppressed[] = TARV_SUPPRESSED("object name");
constexpr char stringValueSuppressed[] = TARV_SUPPRESSED("string value");

#undef TARV_SUPPRESSED

// The old CAPE-OPEN empty value: the most negative finite double.
bool isOldEmpty(double v) { return v == -1.7976931348623157e308; }

// NaN of any payload: exponent all ones, mantissa not zero.
bool isNaN(double v)
{
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return (bits & 0x7FF0000000000000ull) == 0x7FF0000000000000ull && (bits & 0x000FFFFFFFFFFFFFull) != 0;
}

bool isMalformedBstr(BSTR s) { return SysStringLen(s) != std::wcslen(s); }

// What escape() does with each byte: 0 copy, 1 drop, 2.. the entity below.
constexpr const char* entities[] = {nullptr, nullptr, "&quot;", "&amp;", "&apos;", "&lt;", "&gt;"};
constexpr unsigned char entityLengths[] = {0, 0, 6, 5, 6, 4, 4};

struct EscapeClasses {
    unsigned char of[256];
    constexpr EscapeClasses() : of()
    {
        for (int c = 0; c < 256; ++c) of[c] = (c < 0x20 || c >= 0x80) ? 1 : 0;
        of[0x22] = 2;
        of[0x26] = 3;
        of[0x27] = 4;
        of[0x3C] = 5;
        of[0x3E] = 6;
    }
};
constexpr EscapeClasses escapeClasses;

constexpr size_t writeThroughSize = 64 * 1024;

} // namespace

void CallLog::setCloseHook(CloseHook hook) { closeHook = hook; }

CallLog::CallLog(std::FILE* stream, const char* objectName, const char* logPath)
    : stream_(stream), objectName_(objectName ? objectName : ""), logPath_(logPath ? logPath : ""),
      escapeBuffer_(new char[1024]), escapeCapacity_(1024)
{
    escapeBuffer_[0] = '\0';
    narrow_.reserve(256);
    text_.reserve(256);
}

CallLog::~CallLog() { delete[] escapeBuffer_; }

CallLog* CallLog::open(std::FILE* stream, const char* objectName, const char* objectType,
                       const char* logPath)
{
    // The log writes its own CR LF line ends: the stream must not translate them again.
    if (stream) _setmode(_fileno(stream), _O_BINARY);
    CallLog* log = new CallLog(stream, objectName, logPath);
    // Both lines go out with the first record, in one write.
    log->putLiteral("<?xml version=\"1.0\" standalone=\"yes\"?>\r\n<tarvlogdocument>\r\n");

    SYSTEMTIME now;
    localTime(&now);
    char area[256];
    int dateLength = GetDateFormatA(LOCALE_SYSTEM_DEFAULT, 0, &now, "MMMM dd',' yyyy", area, 255);
    size_t used = dateLength > 0 ? static_cast<size_t>(dateLength) - 1 : 0;
    area[used] = '\0';
    if (used + 3 < sizeof area) {
        std::memcpy(area + used, ", ", 3);
        used += 2;
        if (GetTimeFormatA(LOCALE_SYSTEM_DEFAULT, 0, &now, "HH:mm", area + used,
                           static_cast<int>(sizeof area - used)) <= 0)
            area[used] = '\0';
    }

    std::string text = "TARV Logging started at ";
    text += area;
    log->writeInfo(text.c_str());
    text = "Creating ";
    text += log->objectName_;
    log->writeInfo(text.c_str());
    text = "Object type: ";
    text += objectType ? objectType : "";
    log->writeInfo(text.c_str());
    if (!stream) log->pending_.clear();   // detached from the start: nothing is ever written
    return log;
}

void CallLog::close()
{
    if (!stream_) return;
    std::FILE* stream = stream_;
    stream_ = nullptr;
    // The log is already detached, so this record never reaches the file; that is intended.
    std::string destroying = "Destroying " + objectName_;
    writeInfo(destroying.c_str());

    putLiteral("</tarvlogdocument>\r\n");
    std::fwrite(pending_.data(), 1, pending_.size(), stream);
    pending_.clear();
    std::fclose(stream);

    if (closeHook) closeHook(*this);
}

void CallLog::destroy()
{
    close();
    delete this;
}

void CallLog::flush()
{
    if (stream_) {
        if (!pending_.empty()) std::fwrite(pending_.data(), 1, pending_.size(), stream_);
        std::fflush(stream_);
    }
    pending_.clear();
}

void CallLog::writeThrough()
{
    if (stream_) std::fwrite(pending_.data(), 1, pending_.size(), stream_);
    pending_.clear();
}

const char* CallLog::escape(const char* text, int* suppressed)
{
    int flag = 0;
    int32_t length = 0;
    if (text) {
        // The buffer grows by 1024 bytes whenever fewer than 16 are left before the next input
        // byte. Growing one step at a time copies the buffer at each step, which is quadratic in
        // a long value; so the output length is measured first and the buffer grown once to the
        // capacity those steps would have reached.
        int64_t before = 0, total = 0;
        for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p; ++p) {
            before = total;
            total += entityLengths[escapeClasses.of[*p]] + (escapeClasses.of[*p] == 0 ? 1 : 0);
        }
        if (before >= escapeCapacity_ - 16) {
            const int64_t steps = (before - (escapeCapacity_ - 16)) / 1024 + 1;
            const int64_t capacity = escapeCapacity_ + 1024 * steps;
            if (capacity > INT32_MAX) throw std::bad_alloc();
            char* larger = new char[static_cast<size_t>(capacity)];
            delete[] escapeBuffer_;
            escapeBuffer_ = larger;
            escapeCapacity_ = static_cast<int32_t>(capacity);
        }
        for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p; ++p) {
            unsigned char kind = escapeClasses.of[*p];
            if (kind == 0) {
                escapeBuffer_[length++] = static_cast<char>(*p);
            } else if (kind == 1) {
                flag = 1;
            } else {
                std::memcpy(escapeBuffer_ + length, entities[kind], entityLengths[kind]);
                length += entityLengths[kind];
            }
        }
    }
    escapeBuffer_[length] = '\0';
    if (suppressed) *suppressed = flag;
    return escapeBuffer_;
}

void CallLog::indent()
{
    // Callers only indent inside a record of an attached log; on a detached one the blanks would
    // never be written anyway.
    if (stream_) pending_.appendBlanks(depth_);
}

void CallLog::record(const char* open, size_t openLength, const char* text, const char* warning,
                     size_t warningLength)
{
    if (!stream_) return;
    indent();
    int suppressed;
    const char* escaped = escape(text, &suppressed);
    put(open, openLength);
    put(escaped);
    putLiteral("\"/>\r\n");
    if (suppressed) put(warning, warningLength);
    flush();
}

void CallLog::writeInfo(const char* text)
{
    static constexpr char open[] = "<info value=\"";
    record(open, sizeof open - 1, text, infoSuppressed, sizeof infoSuppressed - 1);
}

void CallLog::writeError(const char* text)
{
    static constexpr char open[] = "<error value=\"";
    record(open, sizeof open - 1, text, errorSuppressed, sizeof errorSuppressed - 1);
}

void CallLog::writeWarning(const char* text)
{
    static constexpr char open[] = "<warning value=\"";
    record(open, sizeof open - 1, text, warningSuppressed, sizeof warningSuppressed - 1);
}

void CallLog::beginFunc(int isInput, const char* methodName, const char* objectName)
{
    if (!stream_) return;
    indent();
    // Two steps, each through the one escape buffer; only the object name's flag counts.
    int suppressed;
    putLiteral("<func name=\"");
    put(escape(methodName, &suppressed));
    putLiteral("\" direc=\"");
    put(direction(isInput));
    putLiteral("\" ");
    putLiteral("object=\"");
    put(escape(objectName, &suppressed));
    putLiteral("\">\r\n");
    opened(Element::Func);
    ++depth_;
    if (suppressed) putLiteral(objectNameSuppressed);
    flush();
}

void CallLog::endFunc(HRESULT status, IUnknown* calledInterface)
{
    if (!stream_) return;
    if (status < 0) {
        text_ = statusName(status);
        text_ += ": ";
        text_ += toNarrow(calledInterface ? capeErrorText(calledInterface, status)
                                          : systemErrorText(status));
        indent();
        int suppressed;
        putLiteral("<error value=\"");
        put(escape(text_.c_str(), &suppressed));
        putLiteral("\"/>\r\n");
        if (suppressed) putLiteral(errorSuppressed);
    }
    if (depth_ > 0) --depth_;
    closed();
    indent();
    putLiteral("</func>\r\n");
    flush();
}

// --- Scalar, string and enumeration arguments ---------------------------------------------------

void CallLog::putArgval(const char* value)
{
    putLiteral("<argval value=\"");
    put(value);
    putLiteral("\"/>\r\n");
}

// Skeleton steps 1 to 3: the arg start tag and the indentation of its argval.
void CallLog::beginArg(const char* name, const char* dir, const char* type)
{
    indent();
    int suppressed;
    putLiteral("<arg name=\"");
    put(escape(name, &suppressed));
    putLiteral("\" direc=\"");
    put(dir);
    putLiteral("\" type=\"");
    put(type);
    putLiteral("\">\r\n");
    opened(Element::Arg);
    ++depth_;
    indent();
}

// Skeleton steps 5 to 7.
void CallLog::endArg()
{
    --depth_;
    closed();
    indent();
    putLiteral("</arg>\r\n");
    flush();
}

void CallLog::simpleArg(const char* name, const char* dir, const char* type, const char* value)
{
    if (!stream_) return;
    beginArg(name, dir, type);
    putArgval(value);
    endArg();
}

void CallLog::argShort(const char* name, int, short value)
{
    char text[integerTextMax + 1];
    *formatInteger(text, value) = '\0';
    simpleArg(name, "out", "short", text);
}

void CallLog::argVariantBool(const char* name, int isInput, VARIANT_BOOL value)
{
    if (!stream_) return;
    beginArg(name, direction(isInput), "VARIANT_BOOL");
    putArgval(value ? "VARIANT_TRUE" : "VARIANT_FALSE");
    if (value != VARIANT_FALSE && value != VARIANT_TRUE) {
        // writeError indents once more: the record stands at twice the depth.
        indent();
        writeError("A value other than VARIANT_TRUE is used");
    }
    endArg();
}

void CallLog::argBool(const char* name, int, BOOL value)
{
    simpleArg(name, "in", "BOOL", value ? "TRUE" : "FALSE");
}

void CallLog::argLong(const char* name, int isInput, LONG value)
{
    char text[integerTextMax + 1];
    *formatInteger(text, value) = '\0';
    simpleArg(name, direction(isInput), "long", text);
}

void CallLog::argDouble(const char* name, int isInput, double value)
{
    if (!stream_) return;
    beginArg(name, direction(isInput), "double");
    if (isOldEmpty(value) || isNaN(value)) {
        putArgval("N/A");
        if (isOldEmpty(value)) writeWarning("Old value for CapeDoubleEmpty used; should be NaN");
    } else {
        char text[doubleTextMax + 1];
        *formatDouble(text, value) = '\0';
        putArgval(text);
    }
    endArg();
}

const char* CallLog::narrowed(const wchar_t* text, bool quoted)
{
    narrow_.clear();
    if (quoted) narrow_ += '"';
    size_t length = std::wcslen(text);
    if (length > 0) {
        size_t start = narrow_.size();
        // At most three bytes per UTF-16 unit in any ANSI code page, UTF-8 included.
        narrow_.resize(start + 3 * length);
        int n = WideCharToMultiByte(CP_THREAD_ACP, 0, text, static_cast<int>(length),
                                    narrow_.data() + start, static_cast<int>(3 * length), nullptr,
                                    nullptr);
        narrow_.resize(start + static_cast<size_t>(n > 0 ? n : 0));
    }
    if (quoted) narrow_ += '"';
    return narrow_.c_str();
}

void CallLog::argString(const char* name, int isInput, BSTR value)
{
    if (!stream_) return;
    beginArg(name, direction(isInput), "string");
    int suppressed;
    const char* escaped = escape(value ? narrowed(value, true) : "<NULL>", &suppressed);
    putLiteral("<argval value=\"");
    put(escaped);
    putLiteral("\"/>\r\n");
    if (suppressed) putLiteral(stringValueSuppressed);
    --depth_;
    if (value && isMalformedBstr(value)) writeError("Not a valid BSTR value");
    closed();
    indent();
    putLiteral("</arg>\r\n");
    flush();
}

void CallLog::argInterfacePointer(const char* name, int, IUnknown* value)
{
    if (!stream_) return;
    beginArg(name, "in", "interface");
    if (value) {
        putLiteral("<argval value=\"interface pointer 0x");
        char address[pointerTextMax];
        put(address, static_cast<size_t>(formatPointer(address, value) - address));
        putLiteral("\"/>\r\n");
    } else {
        putArgval("NULL");
    }
    endArg();
}

void CallLog::argInterface(const char* name, int isInput, IUnknown* value)
{
    if (!stream_) return;
    beginArg(name, direction(isInput), "interface");
    if (!value) {
        putArgval("NULL");
        endArg();
        return;
    }
    int suppressed = 0;
    text_ = "interface";
    // Detached while the object is asked for its name, so that a proxy of this log answering the
    // queries writes nothing. A fault in the object leaves the stream in suspended_, where
    // recover() finds it.
    suspended_ = stream_;
    stream_ = nullptr;
    {
        ComPtr<ICapeIdentification> identification;
        if (SUCCEEDED(value->QueryInterface(IID_ICapeIdentification, identification.putVoid())) &&
            identification) {
            BSTR componentName = nullptr;
            if (SUCCEEDED(identification->get_ComponentName(&componentName)) && componentName &&
                SysStringLen(componentName) > 0) {
                text_ += " to object &quot;";
                text_ += escape(narrowed(componentName, false), &suppressed);
                text_ += "&quot;";
            }
            SysFreeString(componentName);
        }
    }
    stream_ = suspended_;
    suspended_ = nullptr;
    text_ += " (address 0x";
    char address[pointerTextMax];
    text_.append(address, static_cast<size_t>(formatPointer(address, value) - address));
    text_ += ')';
    putArgval(text_.c_str());
    if (suppressed) putLiteral(objectNameSuppressed);
    endArg();
}

void CallLog::argCalculationFlags(const char* name, int, int flags)
{
    // The parts "CAPE_LOG_FUGACITY_COEFFICIENTS|", "CAPE_T_DERIVATIVE|", "CAPE_P_DERIVATIVE|" and
    // "CAPE_MOLE_NUMBERS_DERIVATIVES|" are joined and then cut down to the substring from the last
    // character on: any set of known bits comes out as the lone separator, only unknown bits as
    // nothing. Readers of logs know this form; it stays.
    const char* text = flags == 0 ? "CAPE_NO_CALCULATION" : (flags & 0xF) ? "|" : "";
    simpleArg(name, "in", "int", text);
}

void CallLog::enumArg(const char* name, const char* dir, const char* type, int value,
                      const char* const* names, int count)
{
    if (!stream_) return;
    beginArg(name, dir, type);
    if (value >= 0 && value < count) {
        putArgval(names[value]);
    } else {
        // Written as by the format "%0xX": lower-case hexadecimal and a capital X. The error comes
        // before the value, after the value's indentation, so the argval starts in the first column.
        char text[32];
        char* end = std::to_chars(text, text + sizeof text - 2, static_cast<unsigned>(value), 16).ptr;
        *end++ = 'X';
        *end = '\0';
        char message[64] = "Invalid value for ";
        std::strncat(message, type, sizeof message - std::strlen(message) - 1);
        writeError(message);
        putArgval(text);
    }
    endArg();
}

void CallLog::argValidationStatus(const char* name, int, CapeValidationStatus value)
{
    static const char* const names[] = {"CAPE_NOT_VALIDATED", "CAPE_INVALID", "CAPE_VALID"};
    enumArg(name, "out", "CapeValidationStatus", value, names, 3);
}

void CallLog::argPortType(const char* name, int, CapePortType value)
{
    static const char* const names[] = {"CAPE_MATERIAL", "CAPE_ENERGY", "CAPE_INFORMATION", "CAPE_ANY"};
    enumArg(name, "out", "CapePortType", value, names, 4);
}

void CallLog::argReactionType(const char* name, int, CapeReactionType value)
{
    static const char* const names[] = {"CAPE_EQUILIBRIUM", "CAPE_KINETIC"};
    enumArg(name, "out", "CapeReactionType", value, names, 2);
}

void CallLog::argReactionRateBasis(const char* name, int, CapeReactionRateBasis value)
{
    static const char* const names[] = {"CAPE_HOMOGENEOUS", "CAPE_HETEROGENEOUS"};
    enumArg(name, "out", "CapeReactionRateBasis", value, names, 2);
}

void CallLog::argPortDirection(const char* name, int isInput, CapePortDirection value)
{
    static const char* const names[] = {"CAPE_INLET", "CAPE_OUTLET", "CAPE_INLET_OUTLET"};
    enumArg(name, direction(isInput), "CapePortDirection", value, names, 3);
}

void CallLog::argParamMode(const char* name, int isInput, CapeParamMode value)
{
    static const char* const names[] = {"CAPE_INPUT", "CAPE_OUTPUT", "CAPE_INPUT_OUTPUT"};
    enumArg(name, direction(isInput), "CapeParamMode", value, names, 3);
}

void CallLog::argParamType(const char* name, int, CapeParamType value)
{
    static const char* const names[] = {"CAPE_REAL", "CAPE_INT", "CAPE_OPTION", "CAPE_BOOLEAN",
                                        "CAPE_ARRAY"};
    enumArg(name, "out", "CapeParamType", value, names, 5);
}

// --- VARIANT and array arguments -----------------------------------------------------------------

void CallLog::vartypeParts(VARTYPE vt, const char** prefix, const char** base)
{
    // Each flag replaces the prefix gathered so far: of several, only the last tested shows.
    *prefix = "";
    if (vt & VT_ARRAY) *prefix = "VT_ARRAY|";
    if (vt & VT_VECTOR) *prefix = "VT_VECTOR|";
    if (vt & VT_BYREF) *prefix = "VT_BYREF|";
    if (vt & VT_RESERVED) *prefix = "VT_RESERVED|";

#define TARV_VT(name) case name: *base = #name; return
    switch (vt & VT_TYPEMASK) {
        TARV_VT(VT_EMPTY); TARV_VT(VT_NULL); TARV_VT(VT_I2); TARV_VT(VT_I4); TARV_VT(VT_R4);
        TARV_VT(VT_R8); TARV_VT(VT_CY); TARV_VT(VT_DATE); TARV_VT(VT_BSTR); TARV_VT(VT_DISPATCH);
        TARV_VT(VT_ERROR); TARV_VT(VT_BOOL); TARV_VT(VT_VARIANT); TARV_VT(VT_UNKNOWN);
        TARV_VT(VT_DECIMAL); TARV_VT(VT_I1); TARV_VT(VT_UI1); TARV_VT(VT_UI2); TARV_VT(VT_UI4);
        TARV_VT(VT_I8); TARV_VT(VT_UI8); TARV_VT(VT_INT); TARV_VT(VT_UINT); TARV_VT(VT_VOID);
        TARV_VT(VT_HRESULT); TARV_VT(VT_PTR); TARV_VT(VT_SAFEARRAY); TARV_VT(VT_CARRAY);
        TARV_VT(VT_USERDEFINED); TARV_VT(VT_LPSTR); TARV_VT(VT_LPWSTR); TARV_VT(VT_RECORD);
        TARV_VT(VT_INT_PTR); TARV_VT(VT_UINT_PTR); TARV_VT(VT_FILETIME); TARV_VT(VT_BLOB);
        TARV_VT(VT_STREAM); TARV_VT(VT_STORAGE); TARV_VT(VT_STREAMED_OBJECT);
        TARV_VT(VT_STORED_OBJECT); TARV_VT(VT_BLOB_OBJECT); TARV_VT(VT_CF); TARV_VT(VT_CLSID);
        TARV_VT(VT_VERSIONED_STREAM); TARV_VT(VT_BSTR_BLOB);
    default: *base = "<unknown>"; return;
    }
#undef TARV_VT
}

std::string CallLog::vartypeName(VARTYPE vt)
{
    const char* prefix;
    const char* base;
    vartypeParts(vt, &prefix, &base);
    return std::string(prefix) + base;
}

void CallLog::putVartypeName(VARTYPE vt)
{
    const char* prefix;
    const char* base;
    vartypeParts(vt, &prefix, &base);
    put(prefix);
    put(base);
}

void CallLog::argVariant(const char* name, int isInput, const VARIANT& value, VARTYPE expected,
                         int emptyAllowed)
{
    if (!stream_) return;
    indent();
    int suppressed;
    putLiteral("<arg name=\"");
    put(escape(name, &suppressed));
    putLiteral("\" direc=\"");
    put(direction(isInput));
    putLiteral("\" type=\"");
    // Not escaped: "<unknown>" breaks the document, as it always has.
    putVartypeName(value.vt);
    putLiteral("\">\r\n");
    opened(Element::Arg);

    VARIANT copy = value;
    writeValue(copy);

    if (expected != anyType && expected != value.vt &&
        !(value.vt == VT_EMPTY && (expected & VT_ARRAY) && emptyAllowed)) {
        std::string message = "Invalid type for argument ";
        message += name ? name : "";
        message += ": expected ";
        message += vartypeName(expected);
        writeError(message.c_str());
    }
    closed();
    indent();
    putLiteral("</arg>\r\n");
    flush();
}

void CallLog::writeValue(const VARIANT& value)
{
    if (!stream_) return;
    if (value.vt == VT_EMPTY) {
        flush();
        return;
    }
    ++depth_;
    if (value.vt & VT_ARRAY)
        writeArray(value);
    else
        writeScalar(value);
    --depth_;
    flush();
}

void CallLog::writeScalar(const VARIANT& value)
{
    const char* text;
    if (value.vt == VT_BSTR) {
        if (!value.bstrVal) {
            text = "<EMPTY STRINGVAL>";
        } else {
            text = narrowed(value.bstrVal, true);
            if (isMalformedBstr(value.bstrVal)) writeError("Not a valid BSTR value");
        }
    } else if (value.vt == VT_R8 && (isOldEmpty(value.dblVal) || isNaN(value.dblVal))) {
        // The old-value warning of this path compares the type tag with the constant and never
        // holds: no warning here.
        text = "N/A";
    } else {
        VARIANT converted;
        VariantInit(&converted);
        if (FAILED(VariantChangeType(&converted, const_cast<VARIANT*>(&value), 0, VT_BSTR)))
            text = "<unable to format value>";
        else if (!converted.bstrVal)
            text = "<NULL>";
        else
            text = narrowed(converted.bstrVal, false);
        VariantClear(&converted);
    }
    indent();
    int suppressed;
    const char* escaped = escape(text, &suppressed);
    putLiteral("<argval value=\"");
    put(escaped);
    putLiteral("\"/>\r\n");
    if (suppressed) putLiteral(stringValueSuppressed);
}

void CallLog::writeArray(const VARIANT& value)
{
    SAFEARRAY* array = value.parray;
    if (value.vt & VT_BYREF) array = value.pparray ? *value.pparray : nullptr;

    UINT dimensions = array ? SafeArrayGetDim(array) : 0;
    char number[integerTextMax + 1];
    if (dimensions != 1) {
        *formatInteger(number, dimensions) = '\0';
        std::string message = "Multi-dimensional values not supported by logger. Value has ";
        message += number;
        message += " dimensions";
        writeWarning(message.c_str());
        return;
    }
    LONG lower = 0, upper = 0;
    SafeArrayGetLBound(array, 1, &lower);
    char message[64] = "Lower bound: ";
    *formatInteger(message + 13, lower) = '\0';
    writeInfo(message);
    SafeArrayGetUBound(array, 1, &upper);
    std::strcpy(message, "Upper bound: ");
    *formatInteger(message + 13, upper) = '\0';
    writeInfo(message);

    const VARTYPE element = value.vt & ~VT_ARRAY;
    switch (element) {
    case VT_I2: case VT_I4: case VT_R8: case VT_BSTR: case VT_DISPATCH: case VT_BOOL: case VT_VARIANT:
        break;
    default:
        writeWarning("Value type is not supported by logger");
        return;
    }

    ArrayView view(value);
    std::string failure;
    if (!view.check(element, &failure)) {
        writeError(("Type check error: " + failure).c_str());
        return;
    }

    switch (element) {
    case VT_I2: writeNumbers<VT_I2>(array, view.lowerBound, view.count); return;
    case VT_I4: writeNumbers<VT_I4>(array, view.lowerBound, view.count); return;
    case VT_R8: writeNumbers<VT_R8>(array, view.lowerBound, view.count); return;
    case VT_BOOL: writeNumbers<VT_BOOL>(array, view.lowerBound, view.count); return;
    default: break;
    }

    // Strings, objects and VARIANTs are fetched one by one, as copies. The copy goes into room
    // large enough for any element the array's own size says it has, so that an array whose
    // elements are not what its tag claims cannot write past the value it is read into.
    union Cell {
        BSTR string;
        IDispatch* object;
        VARIANT variant;
        unsigned char bytes[64];
    };
    if (array->cbElements > sizeof(Cell)) {
        writeWarning("Value type is not supported by logger");
        return;
    }
    for (LONG i = 0; i < view.count; ++i) {
        LONG index = view.lowerBound + i;
        Cell cell;
        std::memset(&cell, 0, sizeof cell);
        switch (element) {
        case VT_BSTR: {
            SafeArrayGetElement(array, &index, &cell);
            BSTR v = cell.string;
            indent();
            int suppressed;
            const char* escaped = escape(v ? narrowed(v, true) : "<NULL>", &suppressed);
            putLiteral("<argval value=\"");
            put(escaped);
            putLiteral("\"/>\r\n");
            if (suppressed) putLiteral(stringValueSuppressed);
            if (v && isMalformedBstr(v)) writeError("Not a valid BSTR value");
            SysFreeString(v);
            break;
        }
        case VT_DISPATCH: {
            SafeArrayGetElement(array, &index, &cell);
            IDispatch* v = cell.object;
            indent();
            putArgval(v ? "interface pointer" : "NULL");
            // Released without a test: a null element faults here and the fault goes to the
            // calling proxy's exception barrier. The volatile read keeps it an ordinary access
            // violation.
            IDispatch* volatile object = v;
            object->Release();
            break;
        }
        case VT_VARIANT: {
            SafeArrayGetElement(array, &index, &cell);
            VARIANT& v = cell.variant;
            indent();
            putLiteral("<argval value=\"");
            putVartypeName(v.vt);
            putLiteral("\">\r\n");
            opened(Element::Argval);
            writeValue(v);
            closed();
            indent();
            putLiteral("</argval>\r\n");
            VariantClear(&v);
            break;
        }
        }
        if (pending_.size() >= writeThroughSize) writeThrough();
    }
}

template <VARTYPE Type, class T>
void CallLog::writeNumber(T v)
{
    static constexpr char open[] = "<argval value=\"";
    static constexpr char close[] = "\"/>\r\n";
    if constexpr (Type == VT_R8) {
        if (isOldEmpty(v) || isNaN(v)) {
            indent();
            putArgval("N/A");
            if (isOldEmpty(v)) writeWarning("Old value for CapeDoubleEmpty used: should be NaN");
            return;
        }
    }
    char* p = pending_.room(depth_ + sizeof open + doubleTextMax + sizeof close);
    std::memset(p, ' ', depth_);
    p += depth_;
    std::memcpy(p, open, sizeof open - 1);
    p += sizeof open - 1;
    if constexpr (Type == VT_R8) {
        p = formatDouble(p, v);
    } else if constexpr (Type == VT_BOOL) {
        const char* word = v ? "TRUE" : "FALSE";
        std::size_t n = v ? 4 : 5;
        std::memcpy(p, word, n);
        p += n;
    } else {
        p = formatInteger(p, v);
    }
    std::memcpy(p, close, sizeof close - 1);
    pending_.commit(p + sizeof close - 1);
    if (pending_.size() >= writeThroughSize) writeThrough();
}

// Elements of a plain number type: one line each, composed straight into the record buffer and
// written through in large pieces without a flush. An array that holds what its tag says is read in
// place; one whose elements are of another size, or that carries another type of its own, is read
// element by element, each by its own size, so that nothing past its end is ever read.
template <VARTYPE Type>
void CallLog::writeNumbers(SAFEARRAY* array, LONG lowerBound, LONG count)
{
    using T = std::conditional_t<Type == VT_R8, double, std::conditional_t<Type == VT_I4, LONG, SHORT>>;
    if (count <= 0) return;
    VARTYPE own = Type;
    if ((array->fFeatures & FADF_HAVEVARTYPE) && FAILED(SafeArrayGetVartype(array, &own))) own = VT_EMPTY;
    if (array->cbElements == sizeof(T) && own == Type) {
        void* data = nullptr;
        if (FAILED(SafeArrayAccessData(array, &data))) return;
        lockedArrays_.push_back(array);
        const T* values = static_cast<const T*>(data);
        for (LONG i = 0; i < count; ++i) writeNumber<Type>(values[i]);
        lockedArrays_.pop_back();
        SafeArrayUnaccessData(array);
        return;
    }
    const std::size_t size = std::min<std::size_t>(array->cbElements, sizeof(T));
    for (LONG i = 0; i < count; ++i) {
        LONG index = lowerBound + i;
        void* cell = nullptr;
        T v{};
        if (SUCCEEDED(SafeArrayPtrOfIndex(array, &index, &cell)) && cell) std::memcpy(&v, cell, size);
        writeNumber<Type>(v);
    }
}

void CallLog::recover(const Mark& mark)
{
    if (suspended_ && !mark.suspended) {
        stream_ = suspended_;
        suspended_ = nullptr;
    }
    while (lockedArrays_.size() > mark.locks) {
        SafeArrayUnaccessData(lockedArrays_.back());
        lockedArrays_.pop_back();
    }
    if (!stream_) {
        if (open_.size() > mark.elements) open_.resize(mark.elements);
        return;
    }
    // Whatever stands after the last complete line was cut short by the fault.
    const char* data = pending_.data();
    std::size_t keep = pending_.size();
    while (keep > 0 && data[keep - 1] != '\n') --keep;
    pending_.truncate(keep);
    static constexpr const char* endTags[] = {"</func>\r\n", "</arg>\r\n", "</argval>\r\n"};
    while (open_.size() > mark.elements) {
        const OpenElement element = open_.back();
        open_.pop_back();
        depth_ = element.depth;
        indent();
        put(endTags[static_cast<int>(element.kind)]);
    }
    depth_ = mark.elements > 0 ? open_[mark.elements - 1].depth + 1 : 0;
    flush();
}

// --- ArrayView ------------------------------------------------------------------------------------

ArrayView::ArrayView(const VARIANT& v, bool takeOwnership) : value(v), owned(takeOwnership) {}

ArrayView::~ArrayView()
{
    if (owned) VariantClear(&value);
}

bool ArrayView::check(VARTYPE expectedElement, std::string* failureText)
{
    auto fail = [&](std::string text) {
        if (failureText) *failureText = std::move(text);
        return false;
    };
    if (value.vt == VT_EMPTY) {
        lowerBound = 0;
        count = 0;
        return true;
    }
    if (value.vt != (VT_ARRAY | expectedElement)) {
        const char* word;
        switch (expectedElement) {
        case VT_I2: word = "short"; break;
        case VT_I4: word = "long"; break;
        case VT_R8: word = "double precision"; break;
        case VT_BSTR: word = "string"; break;
        case VT_VARIANT: word = "VARIANT"; break;
        case VT_EMPTY: word = "EMPTY"; break;
        default: word = "<unknown>"; break;
        }
        return fail(std::string("Expected an array of type ") + word);
    }
    if (!value.parray || SafeArrayGetDim(value.parray) != 1)
        return fail("unexpected dimension; 1-dimensional array expected");
    LONG lower = 0, upper = 0;
    if (FAILED(SafeArrayGetLBound(value.parray, 1, &lower))) return fail("failed to get lower bound");
    if (FAILED(SafeArrayGetUBound(value.parray, 1, &upper))) return fail("failed to get upper bound");
    lowerBound = lower;
    count = upper + 1 - lower;
    return true;
}

} // namespace tarv
