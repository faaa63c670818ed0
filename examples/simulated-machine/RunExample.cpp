// The example program set_and_get on a simulated machine: the machine of the profile given
// installed into this process, then the example's own main, unchanged.
//   set_and_get_simulated profiles/laptop-speakers.json
#include <windows.h>
#include <objbase.h>

#include <cstdio>
#include <exception>

#include "sim/SimulatedMachine.h"

extern "C" int set_and_get_main(void);

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: set_and_get_simulated PROFILE.json\n");
        return 2;
    }
    wchar_t profile[MAX_PATH] = {};
    MultiByteToWideChar(CP_ACP, 0, argv[1], -1, profile, MAX_PATH);
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 2;
    int result = 2;
    try {
        const auto machine = sim::SimulatedMachine::FromFile(profile);
        result = set_and_get_main();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "set_and_get_simulated: %s\n", error.what());
    }
    CoUninitialize();
    return result;
}
