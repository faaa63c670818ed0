// gtest main for Windows test programs: the thread enters COM first, as a
// client of the library must. The multithreaded apartment: under Wine a
// single-threaded one starts a desktop process that holds the test's output
// pipe open for a second after every test. Output is unbuffered: a program that
// is ended from outside still shows how far it came.
#include <windows.h>
#include <objbase.h>

#include <gtest/gtest.h>

#include <cstdio>

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    testing::InitGoogleTest(&argc, argv);
    const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(hr)) {
        std::fprintf(stderr, "CoInitializeEx failed: 0x%08lX\n", static_cast<unsigned long>(hr));
        return 2;
    }
    const int result = RUN_ALL_TESTS();
    CoUninitialize();
    return result;
}
