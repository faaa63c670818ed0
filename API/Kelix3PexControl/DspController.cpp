#include "DspController.h"

#include <cstring>
#include <cwchar>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>
#include <utility>

#include "BstrOwner.h"
#include "ComError.h"
#include "GuidConversion.h"
#include "SonavelDspKrelo.h"
#include "TraceLogger.h"
#include "TraceScope.h"
#include "core/DeviceIdOrder.h"
#include "core/DspParameterTables.h"
#include "core/DspValueShaping.h"
#include "core/FxTables.h"
#include "core/Guid.h"
#include "core/ParameterFamily.h"
#include "core/ValueText.h"

namespace kelix {
namespace {

constexpr wchar_t kLogSourcePath[] = L"API\\Kelix3PexControl\\DspController.cpp";

constexpr INT32 kNoModule = -10;
constexpr wchar_t kPexModuleVersion[] = L"2.10.0-lite";

// What names a module entry whatever became of the list since: the endpoint's device id as
// the entry holds it, the module id, and the pin and property set that reach the module.
// The list is rebuilt by every open, so positions in it do not last.
struct ModuleIdentity {
    std::wstring deviceId;
    GUID moduleId{};
    UINT32 pinId = 0;
    UINT32 isAmd = 0;
    mutable size_t position = 0;  // where it was found last: checked first

    explicit ModuleIdentity(const ModuleEntry& entry)
        : deviceId(entry.DeviceID != nullptr ? entry.DeviceID : L""),
          moduleId(entry.ModuleId),
          pinId(entry.PinId),
          isAmd(entry.IsAmd) {}
    bool Names(const ModuleEntry& entry) const {
        return IsEqualGUID(entry.ModuleId, moduleId) && entry.PinId == pinId && entry.IsAmd == isAmd &&
               entry.DeviceID != nullptr && SysStringLen(entry.DeviceID) == deviceId.size() &&
               std::wmemcmp(entry.DeviceID, deviceId.data(), deviceId.size()) == 0;
    }
};

// The PEX and KRELO modules of an opened device, as found when it was opened.
struct OpenedModules {
    std::optional<ModuleIdentity> pex;
    std::optional<ModuleIdentity> krelo;
};

// Opened devices by device id. Looked up by the caller's text as it is: a lookup makes no string.
using DeviceTable = std::map<std::wstring, OpenedModules, DeviceIdLess>;
DeviceTable& OpenedDevices() {
    static DeviceTable devices;
    return devices;
}

// The position of a module in the current list; kNoModule when it is not there any more.
INT32 PositionOf(const std::optional<ModuleIdentity>& module) {
    if (!module) return kNoModule;
    const std::vector<ModuleEntry>& list = CSonavelDspKrelo::Instance().Modules();
    if (module->position < list.size() && module->Names(list[module->position])) {
        return static_cast<INT32>(module->position);
    }
    for (size_t i = 0; i < list.size(); ++i) {
        if (module->Names(list[i])) {
            module->position = i;
            return static_cast<INT32>(i);
        }
    }
    return kNoModule;
}

// The module of an id's family: PEX for 1001..1998, KRELO for 2001..2998.
const std::optional<ModuleIdentity>* ModuleFor(const OpenedModules& modules, ParameterId id) {
    if (id >= 1001 && id < 1999) return &modules.pex;
    if (id >= 2001 && id <= 2998) return &modules.krelo;
    return nullptr;
}

bool SameText(BSTR a, BSTR b) { return VarBstrCmp(a, b, LOCALE_USER_DEFAULT, 0) == static_cast<HRESULT>(VARCMP_EQ); }

BstrOwner MakeOwnedBstr(const wchar_t* text) { return BstrOwner(MakeBstr(text)); }

// A text answer of a read: the needed size (terminator included) first, then the text.
HRESULT CopyText(const std::wstring& text, void* buffer, UINT32* size) {
    const UINT32 available = *size;
    const auto need = static_cast<UINT32>((text.size() + 1) * sizeof(wchar_t));
    *size = need;
    if (buffer == nullptr || available < need) return E_INVALIDARG;
    std::memcpy(buffer, text.c_str(), need);
    return S_OK;
}

HRESULT CopyWord(UINT32 word, void* buffer, UINT32* size) {
    const UINT32 available = *size;
    *size = sizeof word;
    if (buffer == nullptr || available < sizeof word) return E_INVALIDARG;
    std::memcpy(buffer, &word, sizeof word);
    return S_OK;
}

// Lower-case registry form of a module id, e.g. "{0ebd8505-17bb-4ae7-ad76-e86f99a425e9}".
std::wstring ModuleIdText(const GUID& id) { return LowerAscii(GuidText(ToPortableGuid(id))); }

}  // namespace

HRESULT DspController::Open(const wchar_t* deviceId) {
    constexpr wchar_t kFunction[] = L"DspController::Open";
    KELIX_TRACE_SCOPE(kFunction);
    CSonavelDspKrelo& dsp = CSonavelDspKrelo::Instance();
    const HRESULT hr = dsp.RefreshModules();
    if (FAILED(hr)) {
        KELIX_LOG(kLevelWarning, kFunction, L"RefreshModules of DSP failed: [0x%.8x]%s", KELIX_HR(hr));
        return hr;
    }
    if (OpenedDevices().contains(std::wstring_view(deviceId))) {
        KELIX_LOG(kLevelInformation, kFunction, L"DSP module for device[%s] is already opened.", deviceId);
        return hr;
    }
    std::pair<INT32, INT32> modules{kNoModule, kNoModule};  // positions in the list as it is now
    UINT32 count = 0;
    dsp.GetModuleCount(&count);
    const BstrOwner device = MakeOwnedBstr(deviceId);
    const BstrOwner pexVersion = MakeOwnedBstr(kPexModuleVersion);
    // An empty id names no endpoint, whatever an entry holds.
    for (UINT32 i = 0; i < count && deviceId[0] != L'\0'; ++i) {
        BstrOwner moduleDevice, friendlyName, version;
        GUID endpointGuid;
        UINT32 formFactor = 0, moduleType = 0;
        if (FAILED(dsp.GetModuleInfo(i, moduleDevice.Receive(), &endpointGuid, &formFactor, friendlyName.Receive(),
                                     &moduleType, version.Receive()))) {
            continue;
        }
        if (!SameText(moduleDevice.Get(), device.Get())) continue;
        (SameText(version.Get(), pexVersion.Get()) ? modules.first : modules.second) = static_cast<INT32>(i);
    }
    if (modules.first == kNoModule && modules.second == kNoModule) {
        KELIX_LOG(kLevelWarning, kFunction, L"Could not find the dsp module for the device [%s]", deviceId);
        return hr;
    }
    const std::vector<ModuleEntry>& list = dsp.Modules();
    OpenedModules opened;
    if (modules.first != kNoModule) opened.pex.emplace(list[static_cast<size_t>(modules.first)]);
    if (modules.second != kNoModule) opened.krelo.emplace(list[static_cast<size_t>(modules.second)]);
    OpenedDevices().emplace(deviceId, std::move(opened));
    KELIX_LOG(kLevelInformation, kFunction, L"DSP module index: %s[%d, %d]", deviceId, modules.first, modules.second);
    return hr;
}

HRESULT DspController::Close(const wchar_t* deviceId) {
    constexpr wchar_t kFunction[] = L"DspController::Close";
    KELIX_TRACE_SCOPE(kFunction);
    const auto device = OpenedDevices().find(std::wstring_view(deviceId));
    if (device == OpenedDevices().end()) {
        KELIX_LOG(kLevelWarning, kFunction, L"DSP module for device[%s] is not opened.", deviceId);
    } else {
        OpenedDevices().erase(device);
    }
    return S_OK;
}

void DspController::ReleaseModules() {
    KELIX_LOG(kLevelInformation, L"DspController::ReleaseModules", L"No endpoint is open: the module list is cleared.");
    CSonavelDspKrelo::Instance().ClearModuleList();
}

bool DspController::FamilyMissing(const wchar_t* deviceId, ParameterId id) {
    const bool pex = IsPexId(id);
    if (!pex && !IsKreloId(id)) return false;
    const auto device = OpenedDevices().find(std::wstring_view(deviceId));
    if (device == OpenedDevices().end()) return true;
    const std::optional<ModuleIdentity>& module = pex ? device->second.pex : device->second.krelo;
    if (!module) return true;
    if (PositionOf(module) != kNoModule) return false;
    KELIX_LOG(kLevelWarning, L"DspController::FamilyMissing", L"The %s module of device[%s] is no longer in the module list.",
              pex ? L"PEX" : L"KRELO", deviceId);
    return true;
}

HRESULT DspController::SelectModule(const wchar_t* deviceId, ParameterId id) {
    constexpr wchar_t kFunction[] = L"DspController::SelectModule";
    KELIX_TRACE_SCOPE(kFunction);
    const auto device = OpenedDevices().find(std::wstring_view(deviceId));
    if (device == OpenedDevices().end()) {
        KELIX_LOG(kLevelWarning, kFunction, L"DSP module for device[%s] is not opened.", deviceId);
        return E_FAIL;
    }
    const std::optional<ModuleIdentity>* module = ModuleFor(device->second, id);
    const INT32 index = module != nullptr ? PositionOf(*module) : kNoModule;
    if (index == kNoModule) return E_INVALIDARG;
    return CSonavelDspKrelo::Instance().SelectModule(index);
}

HRESULT DspController::SetParameter(const wchar_t* deviceId, ParameterId id, const PROPVARIANT& value,
                                    UINT formFactor) {
    constexpr wchar_t kFunction[] = L"DspController::SetParameter";
    KELIX_TRACE_SCOPE(kFunction);
    const std::optional<DspRoute> route = LookupDspRoute(id);
    if (!route) {
        KELIX_LOG(kLevelWarning, kFunction, L"DSP module does NOT support this parameter. ID: [%d]", id);
        return E_INVALIDARG;
    }
    if (value.vt != VT_I4 && value.vt != VT_BLOB) return E_INVALIDARG;
    if (value.vt == VT_BLOB && value.blob.pBlobData == nullptr && value.blob.cbSize != 0) return E_INVALIDARG;
    HRESULT hr = SelectModule(deviceId, id);
    if (FAILED(hr)) return hr;
    CSonavelDspKrelo& dsp = CSonavelDspKrelo::Instance();
    if (IsPexId(id)) dsp.SetFormFactor(formFactor);  // every PEX write pushes the form factor first

    // A scalar goes as its own four bytes; only a blob is reshaped into a copy.
    std::vector<std::uint8_t> reshaped;
    std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(&value.lVal), 4);
    if (value.vt == VT_BLOB) {
        reshaped = ReshapeBlobForDsp(id, value.blob.pBlobData, value.blob.cbSize, dsp.SelectedIsVersion100());
        bytes = reshaped;
    }
    if (id == 1002 || id == 2002) {
        // A bypass of 0 enables the module, any other value disables it.
        std::int32_t bypass = 0;
        if (bytes.size() >= 4) std::memcpy(&bypass, bytes.data(), 4);
        hr = dsp.SetModuleEnable(bypass == 0);
    } else {
        hr = dsp.SetModuleParam(static_cast<UINT32>(route->index), bytes.data(), static_cast<UINT32>(bytes.size()));
    }
    TraceLogger& logger = TraceLogger::Instance();
    if (SUCCEEDED(hr) && logger.IsEnabled(kLevelInformation, kKeywordPexControl)) {
        const std::wstring text = value.vt == VT_I4 ? std::to_wstring(value.lVal)
                                  : id == 2105      ? ByteListText(bytes.data(), bytes.size())
                                                    : Int32WordsText(bytes.data(), bytes.size() / 4);
        KELIX_LOG(kLevelInformation, kFunction, L"Set %s: %s", route->name, text.c_str());
    } else if (FAILED(hr)) {
        KELIX_LOG(kLevelError, kFunction, L"Set %s failed. [0x%.8x]%s", route->name, KELIX_HR(hr));
    }
    return hr;
}

HRESULT DspController::GetParameter(const wchar_t* deviceId, ParameterId id, void* buffer, UINT32* size) {
    constexpr wchar_t kFunction[] = L"DspController::GetParameter";
    KELIX_TRACE_SCOPE(kFunction);
    HRESULT hr = SelectModule(deviceId, id);
    if (FAILED(hr)) return hr;
    CSonavelDspKrelo& dsp = CSonavelDspKrelo::Instance();
    const ModuleEntry* module = dsp.SelectedModule();
    switch (id) {
        case 1001:
        case 2001:
            if (module == nullptr) return E_FAIL;
            return CopyText(module->ModuleVersion != nullptr ? module->ModuleVersion : L"", buffer, size);
        case 1007:
        case 2005:
            if (module == nullptr) return E_FAIL;
            return CopyText(module->ModuleName != nullptr ? module->ModuleName : L"", buffer, size);
        case 1006:
        case 2004:
            if (module == nullptr) return E_FAIL;
            return CopyText(ModuleIdText(module->ModuleId), buffer, size);
        case 1008:
        case 2006:
            if (module == nullptr) return E_FAIL;
            return CopyWord(module->ModuleType, buffer, size);
        case 1002:
        case 2002: {  // the bypass state: the module's enable flag inverted
            if (buffer == nullptr || *size < 4) return CopyWord(0, buffer, size);  // the size asked for, E_INVALIDARG
            *size = sizeof(UINT32);  // the size is set before the module is asked
            UINT32 enabled = 0;
            hr = dsp.GetModuleEnable(&enabled);
            if (FAILED(hr)) return hr;
            return CopyWord(enabled == 0, buffer, size);
        }
        default:
            break;
    }
    const std::optional<DspRoute> route = LookupDspRoute(id);
    if (!route) {
        KELIX_LOG(kLevelWarning, kFunction, L"DSP module does NOT support this parameter. ID: [%d]", id);
        return E_INVALIDARG;
    }
    BYTE* reply = dsp.ReplyBuffer();
    hr = dsp.GetModuleParam(reply, static_cast<UINT32>(route->index));
    if (FAILED(hr)) {
        KELIX_LOG(kLevelError, kFunction, L"Get %s failed. [0x%.8x]%s", route->name, KELIX_HR(hr));
        return hr;
    }
    std::uint32_t length;
    std::memcpy(&length, reply, 4);
    length = std::min<std::uint32_t>(length, kModuleReplySize - 4);
    const UINT32 available = *size;
    const DspReadResult result =
        ShapeDspReply(id, reply + 4, length, module != nullptr && module->ModuleVersion ? module->ModuleVersion : L"",
                      static_cast<std::uint8_t*>(buffer), available);
    *size = result.size;
    if (result.status != LayoutStatus::Ok) {
        KELIX_LOG(kLevelWarning, kFunction,
                  L"Get %s failed. Input buffer[%d] is too small. Please reallocate buffer[%d.]", route->name,
                  available, result.size);
        return E_INVALIDARG;
    }
    if (!result.copied) return hr;
    if (length == 4) {
        std::int32_t word;
        std::memcpy(&word, buffer, 4);
        KELIX_LOG(kLevelInformation, kFunction, L"Get %s: %d", route->name, word);
    } else if (TraceLogger::Instance().IsEnabled(kLevelInformation, kKeywordPexControl)) {
        const std::wstring text =
            Int32WordsText(static_cast<const std::uint8_t*>(buffer), std::min(result.size, available) / 4);
        KELIX_LOG(kLevelInformation, kFunction, L"Get %s: %s", route->name, text.c_str());
    }
    return hr;
}

}  // namespace kelix
