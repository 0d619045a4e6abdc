#include "log_fixture.h"

#include <windows.h>
#include <ole2.h>

#include <gtest/gtest.h>

#include <cstring>

int crashChild(const char* path);

int main(int argc, char** argv)
{
    // Child of the crash test: writes a few records and dies without closing the log.
    if (argc == 3 && std::strcmp(argv[1], "--write-then-die") == 0) return crashChild(argv[2]);

    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    testing::InitGoogleTest(&argc, argv);
    int rc = RUN_ALL_TESTS();
    CoUninitialize();
    return rc;
}
