#include "log/clock.h"

namespace tarv {

namespace {
LocalTimeSource currentSource = nullptr;
}

void localTime(SYSTEMTIME* out)
{
    if (currentSource)
        currentSource(out);
    else
        GetLocalTime(out);
}

LocalTimeSource setLocalTimeSource(LocalTimeSource source)
{
    LocalTimeSource previous = currentSource;
    currentSource = source;
    return previous;
}

} // namespace tarv
