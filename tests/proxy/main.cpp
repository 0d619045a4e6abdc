#include <windows.h>
#include <ole2.h>
#include <gtest/gtest.h>
#include <cstring>

namespace tarv::test {
int faultOutsideBarrier();   // barrier_test.cpp: faults outside any guarded call and is expected to die
}

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--fault-outside-barrier") == 0)
        return tarv::test::faultOutsideBarrier();
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    testing::InitGoogleTest(&argc, argv);
    int rc = RUN_ALL_TESTS();
    CoUninitialize();
    return rc;
}
