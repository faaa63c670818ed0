// A client's own test against a simulated machine: the DLL as shipped, the
// laptop profile installed into this process, a gain written and read back,
// and what the DLL left in the endpoint's store checked through the machine.
//
// Built against the release archives with the toolchain that built them (examples/CMakeLists.txt:
// find_package(Kelix3PexControl CONFIG REQUIRED COMPONENTS Sim) and the targets
// Kelix3PexControl::Kelix3PexControl and Kelix3PexControl::Sim), then run on a shipped profile:
//   simulated_machine_example profiles/laptop-speakers.json
#include <windows.h>
#include <objbase.h>

#include <cstdio>
#include <string>

#include "Kelix3PexControl.h"
#include "sim/SimulatedMachine.h"

namespace {

int failures = 0;

void Check(bool ok, const char* what, HRESULT hr = S_OK) {
    std::printf("%s %s (0x%08lX)\n", ok ? "ok  " : "FAIL", what, static_cast<unsigned long>(hr));
    if (!ok) ++failures;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: ClientTest PROFILE.json\n");
        return 2;
    }
    wchar_t profile[MAX_PATH] = {};
    MultiByteToWideChar(CP_ACP, 0, argv[1], -1, profile, MAX_PATH);
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 2;
    {
        const auto machine = sim::SimulatedMachine::FromFile(profile);
        wchar_t* handle = nullptr;
        HRESULT hr = OpenPexControl(&handle, nullptr);  // the profile's default endpoint
        Check(hr == S_OK, "open the default endpoint", hr);
        if (SUCCEEDED(hr)) {
            INT32 gain = -4;
            hr = SetPexParam(handle, KELIX_PEX_POSTGAIN, &gain, sizeof gain, KELIX_ROUTE_BOTH);
            Check(hr == S_OK, "set pex_postgain on both routes", hr);
            INT32 read = 0;
            UINT32 size = sizeof read;
            hr = GetPexParam(handle, KELIX_PEX_POSTGAIN, &read, &size, KELIX_ROUTE_PROPERTY_STORE);
            Check(hr == S_OK && read == -4, "read it back from the store", hr);
            const std::string stored = machine->StoredValue(handle, "{F112024A-FE30-42A8-80AB-8DD825A06F78},4");
            Check(stored.find("\"value\":-4") != std::string::npos, "the endpoint's store holds -4");
            hr = ClosePexControl(handle);
            Check(hr == S_OK, "close", hr);
        }
        Check(machine->Calls("IPropertyStore::SetValue") == 1, "one store write");
    }
    CoUninitialize();
    std::printf("%d failed\n", failures);
    return failures == 0 ? 0 : 1;
}
