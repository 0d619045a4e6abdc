// The null pointer is read from volatile storage at run time, so the optimiser cannot drop the read.
#include "kit/kit.h"

namespace kit {
namespace {

volatile int* volatile gNull = nullptr;
volatile int gSink = 0;

__attribute__((noinline, noipa)) void readNull()
{
    gSink = *gNull;
}

} // namespace

Fault::Fault(Kind kind, std::string text) : kind_(kind), text_(std::make_shared<const std::string>(std::move(text))) {}

Fault Fault::ThrowText(std::string text)
{
    return Fault(Kind::ThrowText, std::move(text));
}

void Fault::raise() const
{
    switch (kind_) {
    case Kind::AccessViolation: readNull(); break;
    case Kind::ThrowText: throw text_->c_str();
    }
    // Only reached if the platform let a fault pass silently.
    throw "kit fault did not fault";
}

} // namespace kit
