// Entry point for MinGW toolchains whose startup code calls only main (clang's driver
// there has no -municode): main hands wmain the wide command line, as Windows splits it.
#include <windows.h>
#include <shellapi.h>

int wmain(int argc, wchar_t** argv);

int main() {
    int argc = 0;
    wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
    if (argv == nullptr) return 1;
    const int result = wmain(argc, argv);
    LocalFree(argv);
    return result;
}
