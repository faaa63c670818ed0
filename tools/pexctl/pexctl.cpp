// pexctl: command-line client of Kelix3PexControl.dll.
//
//   pexctl [options] list                    render endpoints, the default marked
//   pexctl [options] get PARAM               read a parameter (id or name, e.g. pex_postgain)
//   pexctl [options] set PARAM VALUE...      write 32-bit integers (a scalar, or a caller structure)
//   pexctl [options] dump                    read every catalogue parameter
//   pexctl [options] modules                 the endpoint's PEX and KRELO modules on the DSP
//   pexctl [options] demo                    a short session: open, write and read, close
//
// Options: --simulate (the built-in simulated endpoints), --device ID (default:
// the default render endpoint), --route store|dsp|both, --trace LEVEL (1-5:
// the library's log on standard error), --json.
#include <windows.h>
#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <optional>
#include <string>
#include <vector>

#include "Kelix3PexControl.h"
#include "SimulatedDevice.h"
#include "core/ParameterCatalogue.h"
#include "core/ParameterFamily.h"

using Microsoft::WRL::ComPtr;

namespace {

// PKEY_Device_FriendlyName
constexpr PROPERTYKEY kFriendlyNameKey = {{0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 14};

struct Options {
    bool simulate = false;
    bool json = false;
    std::optional<std::wstring> device;
    UINT32 route = KELIX_ROUTE_PROPERTY_STORE;
    std::wstring trace;
    std::vector<std::wstring> command;
};

void Print(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    wchar_t buffer[4096];
    const int length = _vsnwprintf(buffer, 4095, format, args);
    va_end(args);
    buffer[4095] = L'\0';
    if (length < 0) return;
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, buffer, -1, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, buffer, -1, text.data(), bytes, nullptr, nullptr);
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

std::wstring ErrorText(HRESULT hr) {
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(hr), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::wstring message = length != 0 ? std::wstring(text, length) : L"";
    if (text != nullptr) LocalFree(text);
    while (!message.empty() && (message.back() == L'\n' || message.back() == L'\r')) message.pop_back();
    wchar_t code[16];
    _snwprintf(code, 16, L"0x%08lX", static_cast<unsigned long>(hr));
    return message.empty() ? code : std::wstring(code) + L" " + message;
}

int Fail(const std::wstring& what, HRESULT hr) {
    std::fwprintf(stderr, L"pexctl: %ls failed: %ls\n", what.c_str(), ErrorText(hr).c_str());
    return 1;
}

int Usage() {
    std::fputs(
        "usage: pexctl [--simulate] [--device ID] [--route store|dsp|both] [--trace 1-5] [--json] COMMAND\n"
        "  list                 render endpoints, the default marked with *\n"
        "  get PARAM            read a parameter by id or name (e.g. 1105 or pex_postgain)\n"
        "  set PARAM VALUE...   write one or more 32-bit integers\n"
        "  dump                 read every catalogue parameter\n"
        "  modules              the endpoint's PEX and KRELO modules on the DSP\n"
        "  demo                 open, write and read a few parameters, close\n",
        stderr);
    return 2;
}

// Ids that the exports serve without a catalogue row.
const struct {
    kelix::ParameterId id;
    const wchar_t* name;
} kSpecialIds[] = {
    {KELIX_PEX_VERSION, L"pex_version"},         {KELIX_PEX_DIRECT_REQUEST, L"pex_direct_request"},
    {KELIX_PEX_MODULE_ID, L"pex_module_id"},     {KELIX_PEX_MODULE_NAME, L"pex_module_name"},
    {KELIX_PEX_MODULE_TYPE, L"pex_module_type"}, {KELIX_KRELO_VERSION, L"krelo_version"},
    {KELIX_KRELO_DIRECT_REQUEST, L"krelo_direct_request"}, {KELIX_KRELO_MODULE_ID, L"krelo_module_id"},
    {KELIX_KRELO_MODULE_NAME, L"krelo_module_name"},       {KELIX_KRELO_MODULE_TYPE, L"krelo_module_type"},
    // Served by the DSP route only.
    {KELIX_PEX_PARTIAL_OUTPUT_MODE, L"pex_partial_output_mode"},
    {KELIX_KRELO_REGULATOR_TUNING_INFO, L"krelo_regulator_tuning_info"},
    {KELIX_KRELO_VIS_BANDS, L"krelo_vis_bands"},
    {KELIX_KRELO_MB_COMPRESSOR_TUNING_INFO, L"krelo_mb_compressor_tuning_info"},
    {KELIX_KRELO_LIMITER_GAIN, L"krelo_limiter_gain"},
};

std::optional<kelix::ParameterId> ParseParameter(const std::wstring& text) {
    wchar_t* end = nullptr;
    const long number = std::wcstol(text.c_str(), &end, 10);
    if (!text.empty() && *end == L'\0') return static_cast<kelix::ParameterId>(number);
    for (const auto& [id, info] : kelix::ParameterCatalogue()) {
        if (text == info.name) return id;
    }
    for (const auto& special : kSpecialIds) {
        if (text == special.name) return special.id;
    }
    return std::nullopt;
}

std::wstring ParameterName(kelix::ParameterId id) {
    const kelix::ParameterLookup row = kelix::LookupParameter(id);
    if (row.found) return std::wstring(row.name);
    for (const auto& special : kSpecialIds) {
        if (special.id == id) return special.name;
    }
    return std::to_wstring(id);
}

// An open handle, closed when it goes.
class Session {
public:
    HRESULT Open(const Options& options) {
        return OpenPexControl(&handle_, options.device ? options.device->c_str() : nullptr);
    }
    ~Session() {
        if (handle_ != nullptr) ClosePexControl(handle_);
    }
    HRESULT Close() {
        const HRESULT hr = ClosePexControl(handle_);
        if (SUCCEEDED(hr)) handle_ = nullptr;
        return hr;
    }
    wchar_t* Handle() const { return handle_; }

private:
    wchar_t* handle_ = nullptr;
};

// Reads a parameter, growing the buffer to the size the library asks for.
HRESULT Read(wchar_t* handle, kelix::ParameterId id, UINT32 route, std::vector<BYTE>& value) {
    value.assign(4, 0);
    for (int attempt = 0; attempt < 2; ++attempt) {
        UINT32 size = static_cast<UINT32>(value.size());
        const HRESULT hr = GetPexParam(handle, id, value.data(), &size, route);
        if (hr == E_INVALIDARG && size > value.size()) {
            value.assign(size + sizeof(wchar_t), 0);  // room for a text's terminator
            continue;
        }
        if (SUCCEEDED(hr) && kelix::IsVersionQueryId(id)) value.resize(size);
        return hr;
    }
    return E_INVALIDARG;
}

std::wstring ValueText(kelix::ParameterId id, const std::vector<BYTE>& value, bool json) {
    if (kelix::IsVersionQueryId(id)) {
        std::wstring text(reinterpret_cast<const wchar_t*>(value.data()), value.size() / sizeof(wchar_t));
        if (json) return L"\"" + text + L"\"";
        return text.empty() ? L"(no effect detected)" : text;
    }
    std::wstring text = json && value.size() > 4 ? L"[" : L"";
    for (size_t offset = 0; offset + 4 <= value.size(); offset += 4) {
        INT32 word;
        std::memcpy(&word, value.data() + offset, 4);
        if (offset != 0) text += L", ";
        text += std::to_wstring(word);
    }
    if (json && value.size() > 4) text += L"]";
    return text;
}

int List(const Options& options) {
    ComPtr<IMMDeviceEnumerator> enumerator;
    HRESULT hr = CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator));
    if (FAILED(hr)) return Fail(L"creating the device enumerator", hr);
    std::wstring defaultId;
    ComPtr<IMMDevice> defaultDevice;
    if (SUCCEEDED(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &defaultDevice))) {
        wchar_t* id = nullptr;
        if (SUCCEEDED(defaultDevice->GetId(&id))) defaultId = id;
        CoTaskMemFree(id);
    }
    ComPtr<IMMDeviceCollection> devices;
    hr = enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, &devices);
    if (FAILED(hr)) return Fail(L"listing the render endpoints", hr);
    UINT count = 0;
    devices->GetCount(&count);
    if (options.json) Print(L"[");
    for (UINT i = 0; i < count; ++i) {
        ComPtr<IMMDevice> device;
        wchar_t* id = nullptr;
        if (FAILED(devices->Item(i, &device)) || FAILED(device->GetId(&id))) continue;
        std::wstring name;
        ComPtr<IPropertyStore> store;
        if (SUCCEEDED(device->OpenPropertyStore(STGM_READ, &store))) {
            PROPVARIANT value;
            PropVariantInit(&value);
            if (SUCCEEDED(store->GetValue(kFriendlyNameKey, &value)) && value.vt == VT_LPWSTR) {
                name = value.pwszVal;
            }
            PropVariantClear(&value);
        }
        const bool isDefault = defaultId == id;
        if (options.json) {
            Print(L"%s{\"id\": \"%s\", \"name\": \"%s\", \"default\": %s}", i ? L", " : L"", id, name.c_str(),
                  isDefault ? L"true" : L"false");
        } else {
            Print(L"%s %s  %s\n", isDefault ? L"*" : L" ", id, name.c_str());
        }
        CoTaskMemFree(id);
    }
    if (options.json) Print(L"]\n");
    return 0;
}

int Get(const Options& options, Session& session, kelix::ParameterId id) {
    std::vector<BYTE> value;
    const HRESULT hr = Read(session.Handle(), id, options.route, value);
    if (FAILED(hr)) return Fail(L"reading " + ParameterName(id), hr);
    if (options.json) {
        Print(L"{\"id\": %d, \"name\": \"%s\", \"value\": %s}\n", id, ParameterName(id).c_str(),
              ValueText(id, value, true).c_str());
    } else {
        Print(L"%s = %s\n", ParameterName(id).c_str(), ValueText(id, value, false).c_str());
    }
    return 0;
}

int Set(const Options& options, Session& session, kelix::ParameterId id, const std::vector<std::wstring>& words) {
    std::vector<INT32> value;
    for (const std::wstring& word : words) {
        wchar_t* end = nullptr;
        const long long number = std::wcstoll(word.c_str(), &end, 0);
        if (word.empty() || *end != L'\0' || number < INT32_MIN || number > UINT32_MAX) {
            std::fwprintf(stderr, L"pexctl: not a 32-bit integer: %ls\n", word.c_str());
            return 2;
        }
        value.push_back(static_cast<INT32>(number));
    }
    const HRESULT hr = SetPexParam(session.Handle(), id, value.data(),
                                   static_cast<UINT32>(value.size() * sizeof(INT32)), options.route);
    if (FAILED(hr)) return Fail(L"writing " + ParameterName(id), hr);
    if (!options.json) Print(L"%s set\n", ParameterName(id).c_str());
    return 0;
}

int Dump(const Options& options, Session& session) {
    if (options.json) Print(L"{");
    bool first = true;
    for (const auto& [id, info] : kelix::ParameterCatalogue()) {
        std::vector<BYTE> value;
        const HRESULT hr = Read(session.Handle(), id, options.route, value);
        const std::wstring text = SUCCEEDED(hr) ? ValueText(id, value, options.json)
                                  : hr == E_FAIL ? (options.json ? L"null" : L"(not set)")
                                                 : (options.json ? L"\"" + ErrorText(hr) + L"\"" : ErrorText(hr));
        if (options.json) {
            Print(L"%s\"%s\": %s", first ? L"" : L", ", info.name, text.c_str());
        } else {
            Print(L"%5d %-48s %s\n", id, info.name, text.c_str());
        }
        first = false;
    }
    if (options.json) Print(L"}\n");
    return 0;
}

int Modules(const Options& options, Session& session) {
    const struct {
        const wchar_t* family;
        kelix::ParameterId version, name, id, type;
    } families[] = {{L"PEX", KELIX_PEX_VERSION, KELIX_PEX_MODULE_NAME, KELIX_PEX_MODULE_ID, KELIX_PEX_MODULE_TYPE},
                    {L"KRELO", KELIX_KRELO_VERSION, KELIX_KRELO_MODULE_NAME, KELIX_KRELO_MODULE_ID,
                     KELIX_KRELO_MODULE_TYPE}};
    if (options.json) Print(L"[");
    bool first = true;
    for (const auto& family : families) {
        std::vector<BYTE> version, name, id, type;
        if (FAILED(Read(session.Handle(), family.version, KELIX_ROUTE_DSP, version))) {
            if (!options.json) Print(L"%-6s (no module)\n", family.family);
            continue;
        }
        Read(session.Handle(), family.name, KELIX_ROUTE_DSP, name);
        Read(session.Handle(), family.id, KELIX_ROUTE_DSP, id);
        Read(session.Handle(), family.type, KELIX_ROUTE_DSP, type);
        const auto text = [](const std::vector<BYTE>& bytes) {
            return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()),
                                wcsnlen(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2));
        };
        UINT32 moduleType = 0;
        if (type.size() >= 4) std::memcpy(&moduleType, type.data(), 4);
        if (options.json) {
            Print(L"%s{\"family\": \"%s\", \"version\": \"%s\", \"name\": \"%s\", \"id\": \"%s\", \"type\": %u}",
                  first ? L"" : L", ", family.family, text(version).c_str(), text(name).c_str(), text(id).c_str(),
                  moduleType);
        } else {
            Print(L"%-6s %-12s %-10s %s type %u\n", family.family, text(version).c_str(), text(name).c_str(),
                  text(id).c_str(), moduleType);
        }
        first = false;
    }
    if (options.json) Print(L"]\n");
    return 0;
}

int Demo(const Options& options, Session& session) {
    Print(L"Opened endpoint %s\n", session.Handle());
    // Scalars, then an array parameter: a band count and two arrays of 20 values.
    std::vector<std::wstring> bands{L"2"};
    for (int i = 0; i < 40; ++i) bands.push_back(std::to_wstring(i < 20 ? 100 + i * 10 : -i));
    const struct {
        kelix::ParameterId id;
        std::vector<std::wstring> value;
    } writes[] = {{KELIX_PEX_POSTGAIN, {L"-6"}},
                  {KELIX_PEX_BYPASS, {L"0"}},
                  {KELIX_KRELO_POST_GAIN, {L"3"}},
                  {KELIX_PEX_IEQ_BANDS, bands}};
    for (const auto& write : writes) {
        if (const int failed = Set(options, session, write.id, write.value)) return failed;
        if (const int failed = Get(options, session, write.id)) return failed;
    }
    if (const int failed = Get(options, session, KELIX_PEX_VERSION)) return failed;
    if (const int failed = Get(options, session, KELIX_KRELO_VERSION)) return failed;
    // The same parameters on the effect's modules on the DSP.
    Print(L"DSP modules:\n");
    if (const int failed = Modules(options, session)) return failed;
    Options dsp = options;
    dsp.route = KELIX_ROUTE_BOTH;
    if (const int failed = Set(dsp, session, KELIX_PEX_POSTGAIN, {L"-4"})) return failed;
    dsp.route = KELIX_ROUTE_DSP;
    if (const int failed = Get(dsp, session, KELIX_PEX_POSTGAIN)) return failed;
    if (const int failed = Set(dsp, session, KELIX_KRELO_BYPASS, {L"1"})) return failed;
    if (const int failed = Get(dsp, session, KELIX_KRELO_BYPASS)) return failed;
    const HRESULT hr = session.Close();
    if (FAILED(hr)) return Fail(L"closing the endpoint", hr);
    Print(L"Closed\n");
    return 0;
}

std::optional<Options> ParseOptions(int argc, wchar_t** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::wstring arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == L"--simulate") {
            options.simulate = true;
        } else if (arg == L"--json") {
            options.json = true;
        } else if (arg == L"--device" && hasValue) {
            options.device = argv[++i];
        } else if (arg == L"--trace" && hasValue) {
            options.trace = argv[++i];
        } else if (arg == L"--route" && hasValue) {
            const std::wstring route = argv[++i];
            if (route == L"store") options.route = KELIX_ROUTE_PROPERTY_STORE;
            else if (route == L"dsp") options.route = KELIX_ROUTE_DSP;
            else if (route == L"both") options.route = KELIX_ROUTE_BOTH;
            else return std::nullopt;
        } else if (arg.starts_with(L"--")) {
            return std::nullopt;
        } else {
            options.command.push_back(arg);
        }
    }
    if (options.command.empty()) return std::nullopt;
    return options;
}

int Run(const Options& options) {
    const std::wstring& verb = options.command[0];
    if (verb == L"list") return List(options);

    std::optional<kelix::ParameterId> id;
    if (verb == L"get" || verb == L"set") {
        if (options.command.size() < (verb == L"get" ? 2u : 3u)) return Usage();
        id = ParseParameter(options.command[1]);
        if (!id) {
            std::fwprintf(stderr, L"pexctl: unknown parameter %ls\n", options.command[1].c_str());
            return 2;
        }
    } else if (verb != L"dump" && verb != L"demo" && verb != L"modules") {
        return Usage();
    }

    Session session;
    const HRESULT hr = session.Open(options);
    if (FAILED(hr)) return Fail(L"opening " + (options.device ? *options.device : L"the default endpoint"), hr);
    if (verb == L"get") return Get(options, session, *id);
    if (verb == L"set") return Set(options, session, *id, {options.command.begin() + 2, options.command.end()});
    if (verb == L"dump") return Dump(options, session);
    if (verb == L"modules") return Modules(options, session);
    return Demo(options, session);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const std::optional<Options> options = ParseOptions(argc, argv);
    if (!options) return Usage();
    // The library reads its log settings when it first logs, which is after this.
    if (!options->trace.empty()) SetEnvironmentVariableW(L"KELIX3PEX_LOG_LEVEL", options->trace.c_str());

    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
    int result = 0;
    {
        pexctl::SimulatedDevice simulated;
        if (options->simulate) {
            const HRESULT hr = simulated.Install();
            if (FAILED(hr)) return Fail(L"installing the simulated platform", hr);
        }
        result = Run(*options);
    }
    CoUninitialize();
    return result;
}
