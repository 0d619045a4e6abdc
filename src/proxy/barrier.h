#pragma once
// The exception barrier around a call into a foreign component. Whatever the component raises and
// does not handle itself - a hardware fault, a g++ exception, a C++ exception of the MSVC runtime -
// ends at the barrier, is described in a BarrierFault, and becomes E_UNEXPECTED for the caller.
//
// The call runs in a frame of a small assembly trampoline whose exception handler works like an
// MSVC __except (EXCEPTION_EXECUTE_HANDLER): it is asked only about exceptions that no inner frame
// handled, so the component's own try/catch and __try/__except keep working, and the component's
// MSVC frames run their destructors while the stack is unwound to the barrier. Exceptions raised
// outside the guarded call are not the barrier's business.
#include <windows.h>

#include <exception>
#include <memory>
#include <string>
#include <type_traits>

namespace tarv {

// A structured (hardware) exception with the message text for its code. Copyable; thrown by value.
class SE_Exception {
public:
    explicit SE_Exception(unsigned int code);

    unsigned int code() const noexcept { return code_; }
    const std::string& text() const noexcept { return text_; }

private:
    unsigned int code_;
    std::string text_;
};

// The message text for an exception code: "EXCEPTION_ACCESS_VIOLATION: ..." and so on, and
// "Unknown SEH exception" for a code outside the table.
const char* seExceptionText(unsigned int code) noexcept;

// The structured-exception translator: throws SE_Exception for the code. The barrier hands it the
// exception it caught once the stack is unwound, so the translator is the one place where
// structured exceptions become C++ exceptions. `pointers` may be null.
[[noreturn]] void translateSeException(unsigned int code, EXCEPTION_POINTERS* pointers);

// What the barrier caught, if anything.
struct BarrierFault {
    enum class Kind {
        None,        // the call came back normally
        Structured,  // hardware fault or other structured exception: `text` from SE_Exception
        Text,        // a thrown char* (g++ or MSVC): `text` is the thrown text
        Other,       // any other thrown value
    };

    Kind kind = Kind::None;
    unsigned code = 0;  // exception code; 0 for a g++ throw
    std::string text;

    explicit operator bool() const noexcept { return kind != Kind::None; }
    // The text of the error record for the fault; empty for Kind::None.
    std::string recordText() const;
};

// Work to undo if a fault unwinds through the code that registered it: an object made for the
// call in progress and not yet handed over, say. The unwind of a hardware fault or of an MSVC C++
// exception runs none of our destructors, so the barrier that catches the fault runs the undo
// itself, newest first, before it returns; a g++ exception runs it from the destructor here. On a
// normal exit the registration simply ends: the code has done its own cleanup by then.
class UndoOnFault {
public:
    using Undo = void (*)(void* context);
    UndoOnFault(Undo undo, void* context);
    ~UndoOnFault();
    UndoOnFault(const UndoOnFault&) = delete;
    UndoOnFault& operator=(const UndoOnFault&) = delete;

private:
    int exceptions_;
};

namespace detail {
using ForwardThunk = HRESULT (*)(void* forward);
HRESULT guardedInvoke(ForwardThunk thunk, void* forward, BarrierFault& fault) noexcept;
} // namespace detail

// Runs forward() under the barrier: the call of a foreign method, or any of our own code that
// reads what a foreign component handed over. Returns its result, or E_UNEXPECTED if the barrier
// caught something, which `fault` then describes (`fault` is reset first). What was registered
// with UndoOnFault inside has been undone by then. Out-arguments that the foreign code had not
// written when it failed keep their values; resources it held are lost. The thread is prepared
// for stack overflows at its first guarded call.
template <class F>
HRESULT guardedCall(F&& forward, BarrierFault& fault)
{
    using Forward = std::remove_reference_t<F>;
    return detail::guardedInvoke(
        [](void* f) -> HRESULT { return (*static_cast<Forward*>(f))(); },
        const_cast<void*>(static_cast<const void*>(std::addressof(forward))), fault);
}

} // namespace tarv
