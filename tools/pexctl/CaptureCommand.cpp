// capture: the machine pexctl runs on, written as a simulated machine profile
// (sim/MachineProfile.h) that answers list, dump, modules and save as it does.
// Everything is read the way the library reads it: the enumerator and the
// endpoints' property stores, the FX store through the policy configuration,
// the wrapper values in the registry, and the DSP through the library's exports.
#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <fmt/format.h>

#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "API/Kelix3PexControl/GuidConversion.h"
#include "API/Kelix3PexControl/PolicyConfig.h"
#include "API/Kelix3PexControl/PropVariantOwner.h"
#include "Commands.h"
#include "EndpointClient.h"
#include "Files.h"
#include "Kelix3PexControl.h"
#include "Platform.h"
#include "core/DspBlobLayouts.h"
#include "core/DspValueShaping.h"
#include "core/FxTables.h"
#include "core/KnownModules.h"
#include "core/ParameterFamily.h"
#include "sim/MachineProfile.h"

using Microsoft::WRL::ComPtr;

namespace pexctl {
namespace {

constexpr PROPERTYKEY kFormFactorKey = {{0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 0};
constexpr PROPERTYKEY kEndpointGuidKey = {{0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 4};
constexpr PROPERTYKEY kDeviceDescKey = {{0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 2};
constexpr PROPERTYKEY kInterfaceNameKey = {{0x026E516E, 0xB814, 0x414B, {0x83, 0xCD, 0x85, 0x6D, 0x6F, 0xEF, 0x48, 0x22}}, 2};

struct CaptureOptions {
    std::string path;
};

bool SameKey(const PROPERTYKEY& a, const PROPERTYKEY& b) { return IsEqualGUID(a.fmtid, b.fmtid) && a.pid == b.pid; }

std::wstring Text(const PROPVARIANT& value) {
    return value.vt == VT_LPWSTR && value.pwszVal != nullptr ? value.pwszVal : L"";
}

// Every value of the endpoint's store, and the fields the profile names
// beside them (all values stay in "values", which the reader lets stand over
// the fields). The store's access as a standard user meets it.
void CaptureStore(IMMDevice& device, sim::ProfileWriter::EndpointFields& fields, sim::ProfileWriter& writer,
                  int& unkept) {
    ComPtr<IPropertyStore> writable;
    ComPtr<IPropertyStore> store;
    if (SUCCEEDED(device.OpenPropertyStore(STGM_READWRITE, &writable))) {
        store = writable;
    } else if (FAILED(device.OpenPropertyStore(STGM_READ, &store))) {
        fields.store = "none";
    } else {
        fields.store = "readonly";
    }
    // Twice over the store: the fields first, as the endpoint's entry starts with them.
    DWORD count = 0;
    if (store == nullptr || FAILED(store->GetCount(&count))) count = 0;
    for (const bool fieldsDone : {false, true}) {
        if (fieldsDone) writer.AddEndpoint(fields);
        for (DWORD i = 0; i < count; ++i) {
            PROPERTYKEY key{};
            kelix::PropVariantOwner value;
            if (FAILED(store->GetAt(i, &key)) || FAILED(store->GetValue(key, value.Receive()))) continue;
            const PROPVARIANT& v = value.Get();
            if (fieldsDone) {
                if (!writer.Value(key, v)) ++unkept;
                continue;
            }
            if (SameKey(key, kFormFactorKey) && v.vt == VT_UI4) fields.formFactor = v.ulVal;
            if (SameKey(key, kEndpointGuidKey) && !Text(v).empty()) fields.guid = Text(v);
            if (SameKey(key, kDeviceDescKey)) fields.description = Text(v);
            if (SameKey(key, kInterfaceNameKey)) fields.interfaceName = Text(v);
        }
    }
}

// The FX keys the version detection probes, and the wrapper value of each FX
// slot they name. A vector of class ids is kept as its first recognised one.
void CaptureFx(const std::wstring& id, sim::ProfileWriter& writer, std::map<std::wstring, std::wstring>& wrapper) {
    ComPtr<kelix::IPolicyConfigVistaClient> policy;
    if (FAILED(CoCreateInstance(kelix::kClsidPolicyConfig, nullptr, CLSCTX_INPROC_SERVER, kelix::kIidPolicyConfigVistaClient,
                                reinterpret_cast<void**>(policy.GetAddressOf())))) {
        return;
    }
    std::set<DWORD> done;
    for (const kelix::ParameterId family : {kelix::kPexVersionId, kelix::kKreloVersionId}) {
        for (const kelix::PropertyKey& probe : kelix::ProbeKeysFor(family)) {
            if (!done.insert(probe.pid).second) continue;
            kelix::PropVariantOwner value;
            if (FAILED(policy->GetPropertyValue(id.c_str(), TRUE, kelix::ToPropertyKey(probe), value.Receive()))) continue;
            const PROPVARIANT& v = value.Get();
            std::vector<std::wstring> classIds;
            if (v.vt == VT_LPWSTR && v.pwszVal != nullptr) classIds.emplace_back(v.pwszVal);
            if (v.vt == (VT_VECTOR | VT_LPWSTR)) {
                for (ULONG i = 0; i < v.calpwstr.cElems && v.calpwstr.pElems[i] != nullptr; ++i) {
                    classIds.emplace_back(v.calpwstr.pElems[i]);
                }
            }
            if (classIds.empty()) continue;
            std::wstring chosen = classIds.front();
            for (const std::wstring& classId : classIds) {
                const std::wstring lower = kelix::LowerAscii(classId);
                if (kelix::LookupApoVersion(lower) || kelix::LookupFxSlot(lower)) {
                    chosen = classId;
                    break;
                }
            }
            writer.Fx(probe.pid, chosen);
            const auto slot = kelix::LookupFxSlot(kelix::LowerAscii(chosen));
            if (!slot) continue;
            const std::wstring name(*slot);
            DWORD bytes = 0;
            if (RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Sonavel\\Wrapper", name.c_str(), RRF_RT_REG_SZ, nullptr,
                             nullptr, &bytes) != ERROR_SUCCESS) {
                continue;
            }
            std::wstring text(bytes / sizeof(wchar_t) + 1, L'\0');
            bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
            if (RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Sonavel\\Wrapper", name.c_str(), RRF_RT_REG_SZ, nullptr,
                             text.data(), &bytes) == ERROR_SUCCESS) {
                text.resize(wcsnlen(text.c_str(), text.size()));
                wrapper[name] = text;
            }
        }
    }
}

std::wstring TextOf(const ReadResult& read) {
    std::wstring text(read.bytes.size() / 2, L'\0');
    std::memcpy(text.data(), read.bytes.data(), text.size() * 2);
    text.resize(wcsnlen(text.c_str(), text.size()));
    return text;
}

// The module of each family the library selects on the endpoint's DSP, and
// every DSP value it reads. A module answers the bytes it holds, and the
// library hands most replies over as they are (DspReplyLayout: Value,
// InformationBlock), so those reads are the bytes held. The replies it shapes
// (the ieq bands and regulator tuning, which lose their length words, and the
// partial output mode, its word count) are put back as a write of the value
// read would send them: through the library's own blob layout and reshaping
// (CallerToDspBlob, ReshapeBlobForDsp).
void CaptureDsp(const std::u16string& id, sim::ProfileWriter& writer, std::vector<std::string>& unread) {
    Session session;
    if (FAILED(session.Open(id))) return;
    for (const kelix::ParameterId version : {kelix::kPexVersionId, kelix::kKreloVersionId}) {
        if (!FamilyOnDsp(session.Handle(), version)) continue;
        const kelix::ParameterId base = kelix::IsPexId(version) ? 1000 : 2000;
        const auto read = [&](kelix::ParameterId parameter) {
            return Read(session.Handle(), *kelix::FindParameter(parameter), KELIX_ROUTE_DSP);
        };
        sim::ProfileWriter::ModuleFields module;
        const std::wstring moduleVersion = TextOf(read(version));
        module.version = sim::Utf8(moduleVersion);
        const bool pex = kelix::IsPexId(version);
        module.name = sim::Utf8(TextOf(read(pex ? 1007 : 2005)));
        const ReadResult type = read(pex ? 1008 : 2006);
        if (type.bytes.size() >= 4) std::memcpy(&module.type, type.bytes.data(), 4);
        CLSIDFromString(TextOf(read(pex ? 1006 : 2004)).c_str(), &module.id);
        for (const kelix::KnownModule& row : kelix::AmdModules()) {
            module.amd = module.amd || IsEqualGUID(kelix::ToGuid(row.id), module.id);
        }
        // The bypass is the module's enable state, not a parameter it holds.
        const ReadResult bypass = read(base + 2);
        std::int32_t bypassed = 0;
        if (bypass.bytes.size() >= 4) std::memcpy(&bypassed, bypass.bytes.data(), 4);
        module.enabled = bypassed == 0;
        for (const kelix::ParameterDescription& parameter : kelix::ParameterModel()) {
            if (!parameter.dsp || !parameter.dspIndex || !parameter.Readable() || parameter.id == base + 2 ||
                kelix::IsPexId(parameter.id) != pex) {
                continue;
            }
            const ReadResult value = read(parameter.id);
            if (FAILED(value.hr)) {
                unread.push_back(parameter.name + ": " + HResultText(value.hr));
                continue;
            }
            const auto index = static_cast<UINT32>(*parameter.dspIndex);
            std::vector<BYTE> held = value.bytes;
            const kelix::ReplyLayout layout = kelix::DspReplyLayout(index);
            if (layout == kelix::ReplyLayout::StoreLayout1114 || layout == kelix::ReplyLayout::StoreLayout1123 ||
                layout == kelix::ReplyLayout::CountedWords) {
                const auto blob = kelix::CallerToDspBlob(parameter.id, value.bytes.data(),
                                                         static_cast<std::uint32_t>(value.bytes.size()));
                if (!blob) {
                    unread.push_back(parameter.name + ": a value that fits no blob layout");
                    continue;
                }
                held = kelix::ReshapeBlobForDsp(parameter.id, blob->data(), static_cast<std::uint32_t>(blob->size()),
                                                moduleVersion == L"1.0.0");
            }
            module.parameters.emplace_back(index, std::move(held));
        }
        writer.Module(module);
    }
}

int RunCapture(const CaptureOptions& options, const GlobalOptions& global, Output& out) {
    std::u16string only;
    if (!global.device.empty()) {
        const EndpointList list = ListEndpoints(false);
        const Selection selection = SelectEndpoint(list.endpoints, global.device);
        if (selection.endpoint == nullptr) return out.Usage(selection.error);
        only = selection.endpoint->id;
    }
    ComPtr<IMMDeviceEnumerator> enumerator;
    ComPtr<IMMDeviceCollection> devices;
    HRESULT hr = CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator));
    if (SUCCEEDED(hr)) hr = enumerator->EnumAudioEndpoints(eRender, DEVICE_STATEMASK_ALL, &devices);
    UINT count = 0;
    if (SUCCEEDED(hr)) hr = devices->GetCount(&count);
    if (FAILED(hr)) {
        out.Failure("", "", hr, "listing the render endpoints failed: " + HResultText(hr));
        return out.Finish(Json::object());
    }
    std::u16string defaultId;
    ComPtr<IMMDevice> fallback;
    if (SUCCEEDED(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &fallback))) {
        wchar_t* id = nullptr;
        if (SUCCEEDED(fallback->GetId(&id))) defaultId = ToU16(id);
        CoTaskMemFree(id);
    }

    sim::ProfileWriter writer;
    std::map<std::wstring, std::wstring> wrapper;
    Json captured = Json::array();
    int unkept = 0;
    std::vector<std::string> unread;
    for (UINT i = 0; i < count; ++i) {
        ComPtr<IMMDevice> device;
        wchar_t* rawId = nullptr;
        if (FAILED(devices->Item(i, &device)) || FAILED(device->GetId(&rawId))) continue;
        const std::u16string id = ToU16(rawId);
        CoTaskMemFree(rawId);
        if (!only.empty() && id != only) continue;
        sim::ProfileWriter::EndpointFields fields;
        fields.id = ToWide(id);
        // The endpoint's GUID, unless its store says it: what follows the id's "}.".
        const size_t dot = fields.id.rfind(L"}.");
        fields.guid = dot != std::wstring::npos ? fields.id.substr(dot + 2) : L"{00000000-0000-0000-0000-000000000000}";
        fields.isDefault = id == defaultId;
        DWORD state = 0;
        if (SUCCEEDED(device->GetState(&state))) fields.state = state;
        CaptureStore(*device.Get(), fields, writer, unkept);
        CaptureFx(fields.id, writer, wrapper);
        CaptureDsp(id, writer, unread);
        captured.push_back(sim::Utf8(fields.id));
        out.Line(fmt::format("captured {}", sim::Utf8(fields.id)));
    }
    for (const auto& [name, value] : wrapper) writer.Wrapper(name, value);
    if (unkept != 0) out.Line(fmt::format("{} stored values of types a profile does not keep were left out", unkept));
    for (const std::string& value : unread) out.Line("left out, the DSP did not read it: " + value);
    if (!WriteFileReplacing(options.path, writer.Text())) {
        const HRESULT written = HRESULT_FROM_WIN32(GetLastError());
        out.Failure("", "", written, "writing \"" + options.path + "\" failed: " + HResultText(written));
        return out.Finish(Json::object());
    }
    out.Success();
    return out.Finish({{"profile", options.path}, {"endpoints", captured}, {"unkeptValues", unkept},
                       {"unreadDspValues", unread}});
}

}  // namespace

void AddCaptureCommand(CLI::App& app, Context& context) {
    const auto options = std::make_shared<CaptureOptions>();
    CLI::App* command = AddCommand(app, "capture",
                                   "write this machine's render endpoints, stored values, effects and DSP modules as a "
                                   "simulated machine profile (for --simulate)");
    command->add_option("PROFILE", options->path, "the profile file to write")->required();
    command->callback([&context, options] {
        context.run = [&context, options](Output& out) { return RunCapture(*options, context.options, out); };
    });
}

}  // namespace pexctl
