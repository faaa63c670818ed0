// Cost of a property-store write and read through the exports, on the
// simulated platform, with the log off and with a text listener at each level:
// with no listener a call formats nothing.
#include <windows.h>
#include <objbase.h>

#include <cstdio>
#include <string>

#include "Kelix3PexControl.h"
#include "sim/Platform.h"

namespace {

constexpr wchar_t kEndpoint[] = L"{0.0.0.00000000}.{be0c4000-0000-4000-8000-000000000001}";

template <typename Function>
void Resolve(HMODULE module, const char* name, Function& function) {
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

double NanosecondsPerPair(const wchar_t* level, int iterations) {
    wchar_t path[MAX_PATH];
    GetTempPathW(MAX_PATH, path);
    const std::wstring logFile = std::wstring(path) + L"kelix3pex-bench.log";
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", level);
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_FILE", logFile.c_str());

    HMODULE dll = LoadLibraryW(L"Kelix3PexControl.dll");
    if (dll == nullptr) return -1;
    decltype(&OpenPexControl) open;
    decltype(&ClosePexControl) close;
    decltype(&SetPexParam) set;
    decltype(&GetPexParam) get;
    Resolve(dll, "OpenPexControl", open);
    Resolve(dll, "ClosePexControl", close);
    Resolve(dll, "SetPexParam", set);
    Resolve(dll, "GetPexParam", get);

    wchar_t* handle = nullptr;
    double result = -1;
    if (SUCCEEDED(open(&handle, kEndpoint))) {
        const auto pairs = [&](int count) {
            for (int i = 0; i < count; ++i) {
                INT32 value = i;
                UINT32 size = sizeof value;
                set(handle, KELIX_PEX_POSTGAIN, &value, sizeof value, KELIX_ROUTE_PROPERTY_STORE);
                get(handle, KELIX_PEX_POSTGAIN, &value, &size, KELIX_ROUTE_PROPERTY_STORE);
            }
        };
        pairs(iterations / 10);  // warm-up
        LARGE_INTEGER frequency, start, end;
        QueryPerformanceFrequency(&frequency);
        QueryPerformanceCounter(&start);
        pairs(iterations);
        QueryPerformanceCounter(&end);
        result = 1e9 * static_cast<double>(end.QuadPart - start.QuadPart) / static_cast<double>(frequency.QuadPart) /
                 iterations;
        close(handle);
    }
    FreeLibrary(dll);
    DeleteFileW(logFile.c_str());
    return result;
}

}  // namespace

int main() {
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
    {
        sim::Platform platform;
        platform.AddEndpoint({kEndpoint});
        sim::Installation installed(platform);
        std::printf("%-44s %12s %10s\n", "SetPexParam + GetPexParam (store route)", "ns/pair", "pairs");
        const struct {
            const wchar_t* level;
            const char* name;
            int iterations;
        } runs[] = {{nullptr, "no listener", 200000}, {L"3", "text listener, warnings (no lines)", 200000},
                    {L"4", "text listener, information (2 lines)", 50000}};
        NanosecondsPerPair(nullptr, 20000);  // the first load pays for Wine's and the DLL's start-up
        for (const auto& run : runs) {
            std::printf("%-44s %12.0f %10d\n", run.name, NanosecondsPerPair(run.level, run.iterations), run.iterations);
        }
    }
    CoUninitialize();
    return 0;
}
