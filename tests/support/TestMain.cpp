// gtest main for Windows test programs: the thread enters COM first, as a
// client of the library must. The multithreaded apartment: under Wine a
// single-threaded one starts a desktop process that holds the test's output
// pipe open for a second after every test. Output is unbuffered: a program that
// is ended from outside still shows how far it came. A fault nothing handles
// (an access violation in the library) ends the program at once with the
// exception code as its status: Wine's debugger, started otherwise, prints a
// backtrace and sometimes leaves status 0, which would count as a pass.
#include <windows.h>
#include <objbase.h>

#include <gtest/gtest.h>

#include <cstdio>

namespace {

LONG WINAPI EndOnUnhandledFault(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    std::fprintf(stderr, "unhandled exception 0x%08lX at %p: the test program ends\n",
                 static_cast<unsigned long>(record.ExceptionCode), record.ExceptionAddress);
    std::fflush(nullptr);
    TerminateProcess(GetCurrentProcess(), record.ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    SetUnhandledExceptionFilter(EndOnUnhandledFault);
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
