// The DLL's overhead over the platform calls it wraps, measured from outside as
// a client sees it: the client-ready DLL loaded through its exports, on the
// simulated platform (whose own cost is small, so the library's shows), with
// logging off. Each row alternates the DLL and a baseline that makes the same
// platform calls directly, in one process; rows go to standard output as
// Markdown table rows, progress to standard error.
//
//   dll_bench.exe [path of Kelix3PexControl.dll]
#include <windows.h>
#include <devicetopology.h>
#include <mmdeviceapi.h>
#include <objbase.h>
#include <propsys.h>
#include <wrl/client.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "AllocationCounter.h"
#include "Kelix3PexControl.h"
#include "bench/Ratio.h"
#include "core/DspParameterTables.h"
#include "core/ParameterCatalogue.h"
#include "core/PpApiRequests.h"
#include "sim/EndpointProperties.h"
#include "sim/Platform.h"

using Microsoft::WRL::ComPtr;

namespace {

// The module list of every simulated DSP: a PEX module and a KRELO module.
constexpr GUID kPexModule = {0xD11B4F61, 0x42FA, 0x43BB, {0x99, 0x7C, 0x8D, 0x2B, 0x02, 0x6D, 0x11, 0xC8}};    // "2.10.0-lite"
constexpr GUID kKreloModule = {0xCBDD3DB0, 0x85AE, 0x4466, {0xB1, 0x8D, 0x50, 0x4F, 0xD8, 0xE7, 0x08, 0x2B}};  // "1.4.2"
constexpr UINT32 kPexType = 1;
constexpr UINT32 kKreloType = 2;
constexpr UINT32 kOffloadPin = 1;
constexpr UINT32 kFormFactorIndex = 127;

// PKEY_AudioEndpoint_FormFactor
constexpr PROPERTYKEY kFormFactorKey = {{0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 0};

PROPERTYKEY KeyOf(kelix::ParameterId id) {
    const kelix::ParameterLookup row = kelix::LookupParameter(id);
    PROPERTYKEY key;
    std::memcpy(&key.fmtid, &row.key.fmtid, sizeof key.fmtid);
    key.pid = row.key.pid;
    return key;
}

kelix::Guid Portable(const GUID& guid) {
    kelix::Guid portable;
    std::memcpy(&portable, &guid, sizeof portable);
    return portable;
}

double Now() {
    static const double nanosecondsPerTick = [] {
        LARGE_INTEGER frequency;
        QueryPerformanceFrequency(&frequency);
        return 1e9 / static_cast<double>(frequency.QuadPart);
    }();
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) * nanosecondsPerTick;
}

template <typename Body>
double Timed(long iterations, Body body) {
    const double start = Now();
    for (long i = 0; i < iterations; ++i) body(i);
    return Now() - start;
}

std::wstring EndpointId(int number) {
    wchar_t id[80];
    _snwprintf(id, 80, L"{0.0.0.00000000}.{be0c4000-0000-4000-8000-%012x}", number + 1);
    return id;
}

// A simulated machine: `endpoints` render endpoints, each with a DSP of its own
// carrying a PEX and a KRELO module. Requests are not recorded: a benchmark
// sends millions.
struct Machine {
    explicit Machine(int endpoints) {
        for (int i = 0; i < endpoints; ++i) {
            ids.push_back(EndpointId(i));
            sim::Endpoint& endpoint = platform.AddEndpoint({ids.back()});
            wchar_t guid[40];
            _snwprintf(guid, 40, L"{5E1F0A11-0000-4000-8000-%012X}", 0xA001 + i);
            sim::DescribeEndpoint(endpoint, guid, 1, L"Speakers");
            sim::Dsp& dsp =
                platform.AddDsp({.modules = {{.id = kPexModule, .type = kPexType, .name = "pex", .version = "2.10"},
                                             {.id = kKreloModule, .type = kKreloType, .name = "krelo", .version = "1.4"}},
                                 .recordRequests = false});
            platform.AttachDsp(endpoint, dsp);
        }
    }
    // Platform calls so far, every simulated method together.
    long Calls() const {
        long calls = 0;
        for (const std::string& method : platform.CalledMethods()) calls += platform.Calls(method);
        return calls;
    }
    sim::Platform platform;
    std::vector<std::wstring> ids;
};

struct Exports {
    HMODULE module = nullptr;
    decltype(&OpenPexControl) open = nullptr;
    decltype(&ClosePexControl) close = nullptr;
    decltype(&SetPexParam) set = nullptr;
    decltype(&GetPexParam) get = nullptr;

    template <typename Function>
    void Resolve(const char* name, Function& function) {
        function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    }
    explicit Exports(const std::wstring& path) {
        module = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        if (module == nullptr) return;
        Resolve("OpenPexControl", open);
        Resolve("ClosePexControl", close);
        Resolve("SetPexParam", set);
        Resolve("GetPexParam", get);
    }
    ~Exports() {
        if (module != nullptr) FreeLibrary(module);
    }
};

// What the baseline needs of an endpoint: its store and its DSP's control, opened directly.
struct DirectAccess {
    explicit DirectAccess(const std::wstring& id) {
        ComPtr<IMMDeviceEnumerator> enumerator;
        ComPtr<IMMDevice> device;
        if (FAILED(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator))) ||
            FAILED(enumerator->GetDevice(id.c_str(), &device)) ||
            FAILED(device->OpenPropertyStore(STGM_READWRITE, &store)) ||
            FAILED(device->Activate(__uuidof(IKsControl), CLSCTX_ALL, nullptr, &control))) {
            store.Reset();
            control.Reset();
        }
    }
    ComPtr<IPropertyStore> store;
    ComPtr<IKsControl> control;
};

// One parameter write as the DSP route makes it, sent directly: a 73-byte SET
// and a value buffer kept from call to call (length word, value, zeros).
struct DirectWrite {
    DirectWrite(UINT32 type, const GUID& module, UINT32 index)
        : record(kelix::PpModuleParameterRequest(kelix::kKsPropertySet, {kOffloadPin, type, Portable(module)}, index, 1)),
          buffer(kelix::kPpParameterBufferSize, 0) {}
    HRESULT Send(IKsControl* control, INT32 value) {
        const UINT32 length = sizeof value;
        std::memcpy(buffer.data(), &length, 4);
        std::memcpy(buffer.data() + 4, &value, 4);
        alignas(KSPROPERTY) BYTE property[kelix::kPpModuleParameterRequestSize];
        std::memcpy(property, record.data(), record.size());
        ULONG returned = 0;
        return control->KsProperty(reinterpret_cast<PKSPROPERTY>(property), static_cast<ULONG>(record.size()),
                                   buffer.data(), static_cast<ULONG>(buffer.size()), &returned);
    }
    kelix::KsRecord<kelix::kPpModuleParameterRequestSize> record;
    std::vector<BYTE> buffer;
};

UINT32 ReadStore(IPropertyStore* store, const PROPERTYKEY& key) {
    PROPVARIANT value;
    PropVariantInit(&value);
    store->GetValue(key, &value);
    const UINT32 word = value.ulVal;
    PropVariantClear(&value);
    return word;
}

__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...) {
    char text[200];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

// P1: a store-route pair through the exports against SetValue + GetValue on the same simulated store.
void StorePair(const Exports& dll, Machine& machine, wchar_t* handle) {
    DirectAccess direct(machine.ids[0]);
    const PROPERTYKEY key = KeyOf(1105);
    const bench::Side measured = [&](long n) {
        return Timed(n, [&](long i) {
            INT32 value = static_cast<INT32>(i);
            UINT32 size = sizeof value;
            dll.set(handle, KELIX_PEX_POSTGAIN, &value, sizeof value, KELIX_ROUTE_PROPERTY_STORE);
            dll.get(handle, KELIX_PEX_POSTGAIN, &value, &size, KELIX_ROUTE_PROPERTY_STORE);
        });
    };
    const bench::Side baseline = [&](long n) {
        return Timed(n, [&](long i) {
            PROPVARIANT value;
            value.vt = VT_I4;
            value.lVal = static_cast<INT32>(i);
            direct.store->SetValue(key, value);
            PropVariantInit(&value);
            direct.store->GetValue(key, &value);
            PropVariantClear(&value);
        });
    };
    const long before = machine.Calls();
    measured(100);
    const double calls = static_cast<double>(machine.Calls() - before) / 100;
    bench::PrintRow("P1", "store Set+Get pair (1105) / IPropertyStore SetValue+GetValue",
                    bench::MeasureRatio(measured, baseline), 2.0,
                    Format("%.0f platform calls per pair (expected 2)", calls));
}

// P2: a DSP-route scalar set through the exports against the calls the route
// requires, made directly: the two form-factor store reads and the KsProperty
// writes (PEX: form factor, then the value; KRELO: the value).
void DspSet(const Exports& dll, Machine& machine, wchar_t* handle, INT32 id, bool pex) {
    DirectAccess direct(machine.ids[0]);
    const PROPERTYKEY overrideKey = KeyOf(kelix::kParameterFormFactorOverride);
    const UINT32 type = pex ? kPexType : kKreloType;
    const GUID& module = pex ? kPexModule : kKreloModule;
    DirectWrite formFactor(type, module, kFormFactorIndex);
    DirectWrite parameter(type, module, static_cast<UINT32>(kelix::LookupDspRoute(id)->index));
    const bench::Side measured = [&](long n) {
        return Timed(n, [&](long i) {
            INT32 value = static_cast<INT32>(i & 0xF);
            dll.set(handle, id, &value, sizeof value, KELIX_ROUTE_DSP);
        });
    };
    const bench::Side baseline = [&](long n) {
        return Timed(n, [&](long i) {
            UINT32 endpointFormFactor = ReadStore(direct.store.Get(), kFormFactorKey);
            const UINT32 override = ReadStore(direct.store.Get(), overrideKey);
            if (override != 0) endpointFormFactor = override;
            if (pex) formFactor.Send(direct.control.Get(), static_cast<INT32>(endpointFormFactor));
            parameter.Send(direct.control.Get(), static_cast<INT32>(i & 0xF));
        });
    };
    const long reads = machine.platform.Calls("IPropertyStore::GetValue");
    const long sends = machine.platform.Calls("IKsControl::KsProperty");
    const long before = machine.Calls();
    measured(100);
    const double perCall = static_cast<double>(machine.Calls() - before) / 100;
    const double readsPerCall = static_cast<double>(machine.platform.Calls("IPropertyStore::GetValue") - reads) / 100;
    const double sendsPerCall = static_cast<double>(machine.platform.Calls("IKsControl::KsProperty") - sends) / 100;
    const int expectedSends = pex ? 2 : 1;
    const bool exact = perCall == 2 + expectedSends && readsPerCall == 2 && sendsPerCall == expectedSends;
    std::string notes = Format("%.0f platform calls per set: %.0f store reads + %.0f KsProperty", perCall, readsPerCall,
                               sendsPerCall);
    notes += exact ? " (exactly those required)" : " (NOT the calls required)";
    const std::string what = std::string(pex ? "PEX" : "KRELO") + " DSP set (" + std::to_string(id) +
                             ") / its 2 store reads + " + std::to_string(expectedSends) + " KsProperty";
    bench::Ratio ratio = bench::MeasureRatio(measured, baseline);
    if (!exact) ratio.median = 1e9;  // calls beyond those required cannot meet the goal
    bench::PrintRow("P2", what, ratio, 2.0, notes);
}

// P3: open + close on a machine of 64 endpoints, each with a DSP, against 64
// times the same on a machine of one.
void OpenClose(const Exports& dll) {
    constexpr int kEndpoints = 64;
    Machine many(kEndpoints);
    Machine one(1);
    const auto side = [&](Machine& machine) {
        return [&dll, &machine](long n) {
            sim::Installation installed(machine.platform);
            const auto openClose = [&](long) {
                wchar_t* handle = nullptr;
                if (SUCCEEDED(dll.open(&handle, machine.ids[0].c_str()))) dll.close(handle);
            };
            openClose(0);  // the first open after the platform changed drops the other platform's modules
            return Timed(n, openClose);
        };
    };
    const auto callsPerOpen = [&](Machine& machine) {
        sim::Installation installed(machine.platform);
        wchar_t* handle = nullptr;
        const long before = machine.Calls();
        dll.open(&handle, machine.ids[0].c_str());
        const long calls = machine.Calls() - before;
        dll.close(handle);
        return static_cast<double>(calls);
    };
    const double manyCalls = callsPerOpen(many);
    const double oneCalls = callsPerOpen(one);
    bench::PrintRow("P3", "open+close, 64 endpoints with DSPs / 64 x 1 endpoint",
                    bench::MeasureRatio(side(many), side(one), kEndpoints), 1.5,
                    Format("platform calls per open: %.0f on 1 endpoint, %.0f on 64 (%.1f per endpoint)", oneCalls,
                           manyCalls, manyCalls / kEndpoints));
}

// P5: the DLL's own heap allocations per call, logging off.
void Allocations(const Exports& dll, wchar_t* handle) {
    bench::AllocationCounter counter(dll.module);
    constexpr long kCalls = 1000;
    struct Case {
        const char* what;
        INT32 id;
        bool pair;
    };
    const Case cases[] = {{"store Set+Get pair (1105)", KELIX_PEX_POSTGAIN, true},
                          {"PEX DSP set (1105)", KELIX_PEX_POSTGAIN, false},
                          {"KRELO DSP set (2104)", 2104, false}};
    for (const Case& c : cases) {
        const auto run = [&](long n) {
            for (long i = 0; i < n; ++i) {
                INT32 value = static_cast<INT32>(i & 0xF);
                UINT32 size = sizeof value;
                if (c.pair) {
                    dll.set(handle, c.id, &value, sizeof value, KELIX_ROUTE_PROPERTY_STORE);
                    dll.get(handle, c.id, &value, &size, KELIX_ROUTE_PROPERTY_STORE);
                } else {
                    dll.set(handle, c.id, &value, sizeof value, KELIX_ROUTE_DSP);
                }
            }
        };
        run(10);  // anything made once is made
        counter.Reset();
        run(kCalls);
        const double perCall = static_cast<double>(counter.Count()) / kCalls;
        const bool met = c.pair ? counter.Count() == 0 : counter.Largest() < kelix::kPpParameterBufferSize;
        std::string notes = Format("largest %.0f bytes", static_cast<double>(counter.Largest()));
        notes += "; counted: " + counter.Patched();
        bench::PrintCountRow("P5", std::string("heap allocations per ") + c.what, Format("%.2f", perCall),
                             c.pair ? "0" : "no 64,004-byte buffer per call", met, notes);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::wstring path = L"Kelix3PexControl.dll";
    if (argc > 1) {
        wchar_t wide[MAX_PATH];
        MultiByteToWideChar(CP_ACP, 0, argv[1], -1, wide, MAX_PATH);
        path = wide;
    }
    // Logging off: no text listener (and no event-tracing session under test).
    SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", nullptr);
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
    int status = 0;
    {
        const Exports dll(path);
        if (dll.module == nullptr || dll.open == nullptr) {
            std::fprintf(stderr, "cannot load %ls (%lu)\n", path.c_str(), GetLastError());
            status = 1;
        } else {
            {
                Machine machine(1);
                sim::Installation installed(machine.platform);
                wchar_t* handle = nullptr;
                if (FAILED(dll.open(&handle, machine.ids[0].c_str()))) {
                    std::fprintf(stderr, "cannot open the simulated endpoint\n");
                    status = 1;
                } else {
                    StorePair(dll, machine, handle);
                    DspSet(dll, machine, handle, KELIX_PEX_POSTGAIN, true);
                    DspSet(dll, machine, handle, 2104, false);
                    Allocations(dll, handle);
                    dll.close(handle);
                }
            }
            if (status == 0) OpenClose(dll);
        }
    }
    CoUninitialize();
    return status;
}
