#include "proxy/barrier.h"

#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace tarv {

namespace {

struct CodeText {
    unsigned int code;
    const char* text;
};

constexpr CodeText seTexts[] = {
    {0x80000002u,
     "EXCEPTION_DATATYPE_MISALIGNMENT: The thread tried to read or write data that is misaligned on "
     "hardware that does not provide alignment. For example, 16-bit values must be aligned on "
     "2-byte boundaries; 32-bit values on 4-byte boundaries, and so on."},
    {0x80000003u, "EXCEPTION_BREAKPOINT: A breakpoint was encountered."},
    {0x80000004u,
     "EXCEPTION_SINGLE_STEP: A trace trap or other single-instruction mechanism signaled that one "
     "instruction has been executed."},
    {0xC0000005u,
     "EXCEPTION_ACCESS_VIOLATION: The thread tried to read from or write to a virtual address for "
     "which it does not have the appropriate access."},
    {0xC0000006u,
     "EXCEPTION_IN_PAGE_ERROR: The thread tried to access a page that was not present, and the "
     "system was unable to load the page. For example, this exception might occur if a network "
     "connection is lost while running a program over the network."},
    {0xC000001Du,
     "EXCEPTION_ILLEGAL_INSTRUCTION: The thread tried to execute an invalid instruction."},
    {0xC0000025u,
     "EXCEPTION_NONCONTINUABLE_EXCEPTION: The thread tried to continue execution after a "
     "noncontinuable exception occurred."},
    {0xC0000026u,
     "EXCEPTION_INVALID_DISPOSITION: An exception handler returned an invalid disposition to the "
     "exception dispatcher. Programmers using a high-level language such as C should never "
     "encounter this exception."},
    {0xC000008Cu,
     "EXCEPTION_ARRAY_BOUNDS_EXCEEDED: The thread tried to access an array element that is out of "
     "bounds and the underlying hardware supports bounds checking."},
    {0xC000008Du,
     "EXCEPTION_FLT_DENORMAL_OPERAND: One of the operands in a floating-point operation is "
     "denormal. A denormal value is one that is too small to represent as a standard "
     "floating-point value."},
    {0xC000008Eu,
     "EXCEPTION_FLT_DIVIDE_BY_ZERO: The thread tried to divide a floating-point value by a "
     "floating-point divisor of zero."},
    {0xC000008Fu,
     "EXCEPTION_FLT_INEXACT_RESULT: The result of a floating-point operation cannot be represented "
     "exactly as a decimal fraction."},
    {0xC0000090u,
     "EXCEPTION_FLT_INVALID_OPERATION: This exception represents any floating-point exception not "
     "included in this list."},
    {0xC0000091u,
     "EXCEPTION_FLT_OVERFLOW: The exponent of a floating-point operation is greater than the "
     "magnitude allowed by the corresponding type."},
    {0xC0000092u,
     "EXCEPTION_FLT_STACK_CHECK: The stack overflowed or underflowed as the result of a "
     "floating-point operation."},
    {0xC0000093u,
     "EXCEPTION_FLT_UNDERFLOW: The exponent of a floating-point operation is less than the "
     "magnitude allowed by the corresponding type."},
    {0xC0000094u,
     "EXCEPTION_INT_DIVIDE_BY_ZERO: The thread tried to divide an integer value by an integer "
     "divisor of zero."},
    {0xC0000095u,
     "EXCEPTION_INT_OVERFLOW: The result of an integer operation caused a carry out of the most "
     "significant bit of the result."},
    {0xC0000096u,
     "EXCEPTION_PRIV_INSTRUCTION: The thread tried to execute an instruction whose operation is not "
     "allowed in the current machine mode."},
    {0xC00000FDu, "EXCEPTION_STACK_OVERFLOW: The thread used up its stack."},
};

constexpr unsigned int msvcCppCode = 0xE06D7363u;     // C++ exception of the MSVC runtime
constexpr unsigned int gccCodeMask = 0xF0FFFFFFu;      // libgcc's codes: 0x2?474343
constexpr unsigned int gccCodeBase = 0x20474343u;
constexpr unsigned int stackOverflowCode = 0xC00000FDu;

// Room the system keeps for handling a stack overflow on a guarded thread: enough for the
// exception dispatch, our handler and the unwind back to the barrier.
constexpr ULONG overflowReserve = 64 * 1024;
// A thrown text longer than this is cut: it still names the fault, and a pointer into a large
// readable region without a terminator can't run away with the log.
constexpr std::size_t maxThrownText = 64 * 1024;

// ---- Memory checks for what a foreign exception record points at ------------------------------

bool readableProtection(DWORD protect)
{
    if (protect & (PAGE_GUARD | PAGE_NOACCESS)) return false;
    return (protect & (PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READ |
                       PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY)) != 0;
}

// End of the readable committed region that holds `address`, or 0 if it is not readable.
std::uintptr_t readableUntil(std::uintptr_t address)
{
    MEMORY_BASIC_INFORMATION info;
    if (address == 0 || !VirtualQuery(reinterpret_cast<const void*>(address), &info, sizeof info))
        return 0;
    if (info.State != MEM_COMMIT || !readableProtection(info.Protect)) return 0;
    return reinterpret_cast<std::uintptr_t>(info.BaseAddress) + info.RegionSize;
}

bool readable(std::uintptr_t address, std::size_t size)
{
    const std::uintptr_t end = address + size;
    if (address == 0 || end < address) return false;
    while (address < end) {
        const std::uintptr_t until = readableUntil(address);
        if (!until) return false;
        address = until;
    }
    return true;
}

// Copies the NUL-terminated text at `address` as far as memory is readable. False if it has no
// terminator there (nor within maxThrownText).
bool copyText(std::uintptr_t address, std::string& out)
{
    out.clear();
    while (out.size() < maxThrownText) {
        const std::uintptr_t until = readableUntil(address);
        if (!until) return false;
        const std::size_t span = std::min<std::uintptr_t>(until - address,
                                                          maxThrownText - out.size());
        const char* p = reinterpret_cast<const char*>(address);
        if (const void* nul = std::memchr(p, 0, span)) {
            out.append(p, static_cast<const char*>(nul) - p);
            return true;
        }
        out.append(p, span);
        address += span;
    }
    return true;
}

// The loaded image at `base`, for checking the image-relative addresses of an MSVC exception.
class Image {
public:
    explicit Image(std::uintptr_t base)
    {
        if (!readable(base, sizeof(IMAGE_DOS_HEADER))) return;
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        if (dos->e_magic != IMAGE_DOS_SIGNATURE || dos->e_lfanew <= 0) return;
        const std::uintptr_t ntAddress = base + static_cast<std::uintptr_t>(dos->e_lfanew);
        if (!readable(ntAddress, sizeof(IMAGE_NT_HEADERS64))) return;
        const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(ntAddress);
        if (nt->Signature != IMAGE_NT_SIGNATURE ||
            nt->OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC)
            return;
        base_ = base;
        size_ = nt->OptionalHeader.SizeOfImage;
    }

    // Address of `size` readable bytes at `rva` inside the image, or 0.
    std::uintptr_t at(std::int32_t rva, std::size_t size) const
    {
        if (!base_ || rva <= 0) return 0;
        const auto offset = static_cast<std::uintptr_t>(rva);
        if (offset > size_ || size > size_ - offset) return 0;
        return readable(base_ + offset, size) ? base_ + offset : 0;
    }

private:
    std::uintptr_t base_ = 0;
    std::uintptr_t size_ = 0;
};

// The x64 layout of the MSVC runtime's throw description; addresses are image-relative.
struct ThrowInfo {
    std::uint32_t attributes;
    std::int32_t unwind;
    std::int32_t forwardCompat;
    std::int32_t catchableTypes;
};
struct CatchableType {
    std::uint32_t properties;
    std::int32_t type;
    std::int32_t thisDisplacement[3];
    std::int32_t sizeOrOffset;
    std::int32_t copy;
};
constexpr std::size_t typeNameOffset = 2 * sizeof(void*);  // after the vtable and spare pointers
constexpr std::size_t maxTypeName = 4096;

bool isStringTypeName(const std::string& name)
{
    return name == ".PEAD" || name == ".PEBD" || name == ".PAD" || name == ".PBD";
}

// The text of an MSVC C++ exception if it threw a char pointer. Reads nothing it has not checked.
bool msvcThrownText(const EXCEPTION_RECORD& record, std::string& text)
{
    if (record.NumberParameters < 4) return false;
    const ULONG_PTR magic = record.ExceptionInformation[0];
    if (magic != 0x19930520 && magic != 0x19930521 && magic != 0x19930522) return false;
    const std::uintptr_t object = record.ExceptionInformation[1];
    const std::uintptr_t throwInfoAddress = record.ExceptionInformation[2];
    const Image image(record.ExceptionInformation[3]);

    if (!readable(throwInfoAddress, sizeof(ThrowInfo))) return false;
    const auto* throwInfo = reinterpret_cast<const ThrowInfo*>(throwInfoAddress);
    const std::uintptr_t array = image.at(throwInfo->catchableTypes, 2 * sizeof(std::int32_t));
    if (!array) return false;
    const auto* arrayFields = reinterpret_cast<const std::int32_t*>(array);
    if (arrayFields[0] < 1) return false;
    // The first catchable type is the exact type of the thrown object.
    const std::uintptr_t catchable = image.at(arrayFields[1], sizeof(CatchableType));
    if (!catchable) return false;
    const auto* exact = reinterpret_cast<const CatchableType*>(catchable);
    const std::uintptr_t descriptor = image.at(exact->type, typeNameOffset + 1);
    if (!descriptor) return false;

    std::string name;
    if (!copyText(descriptor + typeNameOffset, name) || name.size() > maxTypeName ||
        !isStringTypeName(name))
        return false;
    if (!readable(object, sizeof(const char*))) return false;
    const auto thrown = *reinterpret_cast<const std::uintptr_t*>(object);
    return thrown && copyText(thrown, text);
}

// ---- The guarded frame -------------------------------------------------------------------------

// Shared by the trampoline's caller, its callee and its exception handler.
struct FrameState {
    detail::ForwardThunk thunk = nullptr;
    void* forward = nullptr;
    BarrierFault::Kind kind = BarrierFault::Kind::None;
    unsigned code = 0;
    EXCEPTION_RECORD record;  // copy of what the handler saw, for the translator; set with kind
    std::string* text = nullptr;  // the fault's text, written only when something was caught
};

// Where the trampoline keeps the FrameState pointer: above the callee's home area, relative to
// the frame's stack pointer after its prologue (the establisher frame).
constexpr std::size_t stateSlot = 32;

bool isGccCode(unsigned code) { return (code & gccCodeMask) == gccCodeBase; }

// Records what the frame handler caught. Runs during exception dispatch, before the unwind, while
// everything the record points at still exists.
void capture(FrameState& state, const EXCEPTION_RECORD& record) noexcept
{
    state.code = record.ExceptionCode;
    state.record = record;
    state.record.ExceptionRecord = nullptr;
    if (record.ExceptionCode != msvcCppCode) {
        state.kind = BarrierFault::Kind::Structured;
        return;
    }
    state.kind = BarrierFault::Kind::Other;
    try {
        if (msvcThrownText(record, *state.text)) state.kind = BarrierFault::Kind::Text;
    } catch (...) {
        state.text->clear();
    }
}

// The trampoline's callee: catches what g++ throws, here and in other g++ modules, before it could
// reach the trampoline's handler (libgcc's unwinder could not be sent to the landing point).
HRESULT callForward(void* p)
{
    auto& state = *static_cast<FrameState*>(p);
    try {
        return state.thunk(state.forward);
    } catch (const char* text) {
        // The pointer is the component's: its text is read only as far as memory is readable.
        state.kind = BarrierFault::Kind::Other;
        try {
            if (copyText(reinterpret_cast<std::uintptr_t>(text), *state.text)) state.kind = BarrierFault::Kind::Text;
            else state.text->clear();
        } catch (...) {
            state.text->clear();
        }
    } catch (...) {
        state.kind = BarrierFault::Kind::Other;
    }
    return E_UNEXPECTED;
}

// What the barrier keeps per thread: the undo registrations of UndoOnFault, innermost last. Made
// at a thread's first guarded call and kept for the thread's life (a system TLS slot: one fast
// lookup per call).
struct ThreadState {
    struct Entry {
        UndoOnFault::Undo undo;
        void* context;
    };
    std::vector<Entry> undo;
};

// Stack overflows are survivable only if the thread keeps a reserve for their handling and has
// its guard page armed, once per thread.
ThreadState& threadState()
{
    static const DWORD slot = TlsAlloc();
    if (void* state = TlsGetValue(slot)) return *static_cast<ThreadState*>(state);
    auto* state = new ThreadState;
    state->undo.reserve(16);
    TlsSetValue(slot, state);
    ULONG reserve = overflowReserve;
    SetThreadStackGuarantee(&reserve);
    _resetstkoflw();
    return *state;
}

// Runs, newest first, what was registered above `mark` and is left after a fault. Each undo runs
// under a barrier of its own: it may touch the component that has just failed.
void undoAbove(ThreadState& state, std::size_t mark) noexcept
{
    while (state.undo.size() > mark) {
        const ThreadState::Entry entry = state.undo.back();
        state.undo.pop_back();
        BarrierFault ignored;
        guardedCall([&]() -> HRESULT {
            entry.undo(entry.context);
            return S_OK;
        }, ignored);
    }
}

} // namespace

extern "C" {
// barrier_x64.S
HRESULT tarv_barrier_enter(HRESULT (*callee)(void*), void* state);
void tarv_barrier_landing();

// The trampoline frame's exception handler: claims every exception that reaches it, records it
// and unwinds to the landing point, which makes the trampoline return E_UNEXPECTED.
EXCEPTION_DISPOSITION tarv_barrier_handler(EXCEPTION_RECORD* record, void* frame, CONTEXT*,
                                           DISPATCHER_CONTEXT* dispatch)
{
    if (record->ExceptionFlags & EXCEPTION_UNWIND) return ExceptionContinueSearch;
    // libgcc's own exceptions are caught in callForward. One that still gets here was not meant
    // for a catch clause (a forced unwind) and can't be unwound to the landing point safely.
    if (isGccCode(record->ExceptionCode)) return ExceptionContinueSearch;
    auto& state = **reinterpret_cast<FrameState**>(static_cast<char*>(frame) + stateSlot);
    capture(state, *record);
    RtlUnwindEx(frame, reinterpret_cast<void*>(&tarv_barrier_landing), record,
                reinterpret_cast<void*>(static_cast<ULONG_PTR>(E_UNEXPECTED)),
                dispatch->ContextRecord, dispatch->HistoryTable);
    return ExceptionContinueSearch;  // not reached
}
} // extern "C"

SE_Exception::SE_Exception(unsigned int code) : code_(code), text_(seExceptionText(code)) {}

const char* seExceptionText(unsigned int code) noexcept
{
    for (const auto& entry : seTexts)
        if (entry.code == code) return entry.text;
    return "Unknown SEH exception";
}

void translateSeException(unsigned int code, EXCEPTION_POINTERS*)
{
    throw SE_Exception(code);
}

UndoOnFault::UndoOnFault(Undo undo, void* context) : exceptions_(std::uncaught_exceptions())
{
    threadState().undo.push_back({undo, context});
}

UndoOnFault::~UndoOnFault()
{
    std::vector<ThreadState::Entry>& undo = threadState().undo;
    const ThreadState::Entry entry = undo.back();
    undo.pop_back();
    // Unwound by a g++ exception: the registered work is undone here, on the way out.
    if (std::uncaught_exceptions() > exceptions_) entry.undo(entry.context);
}

std::string BarrierFault::recordText() const
{
    switch (kind) {
    case Kind::Structured: return "Uncaught SEH exception during function call: " + text;
    case Kind::Text: return "Uncaught exception during function call: " + text;
    case Kind::Other: return "Uncaught exception during function call";
    case Kind::None: break;
    }
    return {};
}

namespace detail {

HRESULT guardedInvoke(ForwardThunk thunk, void* forward, BarrierFault& fault) noexcept
{
    fault.kind = BarrierFault::Kind::None;
    fault.code = 0;
    fault.text.clear();
    ThreadState& thread = threadState();
    const std::size_t undoMark = thread.undo.size();
    FrameState state;
    state.thunk = thunk;
    state.forward = forward;
    state.text = &fault.text;
    const HRESULT result = tarv_barrier_enter(&callForward, &state);
    if (state.kind == BarrierFault::Kind::None) return result;

    // Back on the barrier's own stack: the frames that faulted are gone, and with them any
    // destructor that would have cleaned up after them.
    if (state.code == stackOverflowCode) _resetstkoflw();
    undoAbove(thread, undoMark);
    fault.kind = state.kind;
    fault.code = state.code;
    if (state.kind == BarrierFault::Kind::Structured) {
        EXCEPTION_POINTERS pointers{&state.record, nullptr};
        try {
            translateSeException(state.code, &pointers);
        } catch (SE_Exception e) {
            fault.text = e.text();
        } catch (...) {
            fault.text.clear();  // out of memory for the text
        }
    }
    return E_UNEXPECTED;
}

} // namespace detail

} // namespace tarv
