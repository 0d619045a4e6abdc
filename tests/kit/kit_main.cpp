#include <windows.h>
#include <ole2.h>

#include <gtest/gtest.h>

#include <cstring>

// The child side of the fault tests (kit_test.cpp).
int raiseFaultInChild(const char* fault);

int main(int argc, char** argv)
{
    if (argc == 3 && std::strcmp(argv[1], "--raise") == 0) return raiseFaultInChild(argv[2]);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    testing::InitGoogleTest(&argc, argv);
    int rc = RUN_ALL_TESTS();
    CoUninitialize();
    return rc;
}
