// The main of the test binaries: GoogleTest in a single-threaded COM apartment.
#include <windows.h>
#include <ole2.h>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    testing::InitGoogleTest(&argc, argv);
    int rc = RUN_ALL_TESTS();
    CoUninitialize();
    return rc;
}
