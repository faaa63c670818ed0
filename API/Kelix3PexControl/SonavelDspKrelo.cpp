#include "SonavelDspKrelo.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <span>

#include "GuidConversion.h"
#include "KsProperty.h"
#include "TraceLogger.h"
#include "TraceScope.h"

namespace kelix {
namespace {

constexpr wchar_t kLogSourcePath[] = L"API\\Kelix3PexControl\\SonavelDspKrelo.cpp";

constexpr UINT32 kFormFactorIndex = 127;

PpModuleAddress AddressOf(const ModuleEntry& module) {
    return {module.PinId, module.ModuleType, ToPortableGuid(module.ModuleId)};
}

// Reads of the information blocks go with a trailing byte of 0, every other read with 1.
std::uint8_t ReadTrailingByte(UINT32 index) {
    return index == 30 || index == 31 || index == 41 || index == 42 ? 0 : 1;
}

const wchar_t* Text(BSTR text) { return text != nullptr ? text : L""; }

}  // namespace

bool IsValidParameter(UINT32 index, const VersionList& list, const wchar_t* friendlyName) {
    constexpr wchar_t kFunction[] = L"IsValidParameter";
    if (!IsIndexInList(static_cast<std::int32_t>(index), list)) {
        KELIX_LOG(kLevelWarning, kFunction, L"Failed to set PP module parameter!: [0x%.8x]%s", KELIX_HR(E_INVALIDARG));
        return false;
    }
    KELIX_LOG(kLevelInformation, kFunction, L"%s - [%s]", friendlyName,
              (*list.names)[static_cast<std::int32_t>(index) - list.base].c_str());
    return true;
}

CSonavelDspKrelo& CSonavelDspKrelo::Instance() {
    static CSonavelDspKrelo instance;
    return instance;
}

HRESULT CSonavelDspKrelo::RefreshModules() {
    KELIX_TRACE_SCOPE(L"CSonavelDspKrelo::RefreshModules");
    ClearModuleList();
    RefreshModuleList();  // what discovery found, or why not, shows in the log only
    return S_OK;
}

HRESULT CSonavelDspKrelo::GetModuleCount(UINT32* count) {
    *count = static_cast<UINT32>(modules_.size());
    KELIX_LOG(kLevelInformation, L"CSonavelDspKrelo::GetModuleCount", L"Module count = %d", *count);
    return S_OK;
}

HRESULT CSonavelDspKrelo::GetModuleInfo(UINT32 index, BSTR* deviceId, GUID* endpointGuid, UINT32* formFactor,
                                        BSTR* friendlyName, UINT32* moduleType, BSTR* moduleVersion) {
    if (index >= modules_.size()) return E_FAIL;
    const ModuleEntry& module = modules_[index];
    *deviceId = CopyBstr(module.DeviceID);
    *endpointGuid = module.EndpointGuid;
    *formFactor = module.FormFactor;
    *friendlyName = CopyBstr(module.FriendlyName);
    *moduleType = module.ModuleType;
    *moduleVersion = CopyBstr(module.ModuleVersion);
    wchar_t guid[64] = {};
    StringFromGUID2(module.EndpointGuid, guid, 64);
    KELIX_LOG(kLevelInformation, L"CSonavelDspKrelo::GetModuleInfo",
              L"DeviceID = %s, EndpointGuid = %s, FormFactor = %d, FriendlyName = %s, ModuleType = %d, "
              L"ModuleVersion = %s",
              Text(*deviceId), guid, *formFactor, Text(*friendlyName), *moduleType, Text(*moduleVersion));
    return S_OK;
}

HRESULT CSonavelDspKrelo::SelectModule(INT32 index) {
    const auto count = static_cast<INT32>(modules_.size());
    if (count == 0 || index < -1 || index >= count) return E_FAIL;
    selectedIndex_ = index;
    KELIX_LOG(kLevelInformation, L"CSonavelDspKrelo::SelectModule", L"Selected index of module = %d", index);
    return S_OK;
}

HRESULT CSonavelDspKrelo::SonavelModuleExist(IUnknown* collection, UINT32 deviceIndex, UINT32 connectorIndex) {
    KELIX_TRACE_SCOPE(L"CSonavelDspKrelo::SonavelModuleExist");
    return CPPAPIHelper::SonavelModuleExist(collection, deviceIndex, connectorIndex);
}

const ModuleEntry* CSonavelDspKrelo::SelectedModule() const {
    if (modules_.empty()) return nullptr;
    if (selectedIndex_ == -1) return &modules_.front();
    if (selectedIndex_ < 0 || static_cast<size_t>(selectedIndex_) >= modules_.size()) return nullptr;
    return &modules_[static_cast<size_t>(selectedIndex_)];
}

ModuleEntry* CSonavelDspKrelo::SelectedModule() {
    return const_cast<ModuleEntry*>(static_cast<const CSonavelDspKrelo*>(this)->SelectedModule());
}

bool CSonavelDspKrelo::SelectedIsVersion100() const {
    const ModuleEntry* module = SelectedModule();
    if (module == nullptr) return false;
    BSTR version = SysAllocString(L"1.0.0");
    const bool same = VarBstrCmp(module->ModuleVersion, version, LOCALE_USER_DEFAULT, 0) == VARCMP_EQ;
    SysFreeString(version);
    return same;
}

// Applies an operation to the selected module, or with -1 to every module in
// order, stopping at the first failure.
template <typename Operation>
HRESULT CSonavelDspKrelo::ForEachSelected(Operation operation) {
    if (modules_.empty()) return E_FAIL;
    if (selectedIndex_ == -1) {
        HRESULT hr = S_OK;
        for (ModuleEntry& module : modules_) {
            hr = operation(module);
            if (FAILED(hr)) return hr;
        }
        return hr;
    }
    ModuleEntry* module = SelectedModule();
    return module != nullptr ? operation(*module) : E_FAIL;
}

HRESULT CSonavelDspKrelo::SetModuleParam(UINT32 index, const BYTE* data, UINT32 size) {
    return ForEachSelected([&](ModuleEntry& module) { return SetModuleParam(module, index, data, size); });
}

HRESULT CSonavelDspKrelo::SetModuleParam(ModuleEntry& module, UINT32 index, const BYTE* data, UINT32 size) {
    constexpr wchar_t kFunction[] = L"CSonavelDspKrelo::SetModuleParam";
    if (index < kInitInfoCount) {
        KELIX_LOG(kLevelInformation, kFunction, L"%s - [%s]", Text(module.FriendlyName), InitInfoName(index).c_str());
    } else if (!IsValidParameter(index, SelectVersionList(Text(module.ModuleVersion)), Text(module.FriendlyName))) {
        return E_INVALIDARG;
    }
    // A value that does not fit behind the length word, or a missing one, is refused.
    const size_t bufferSize = module.IsAmd != 0 ? kAmdParameterBufferSize : kPpParameterBufferSize;
    if (data == nullptr && size != 0) return E_INVALIDARG;
    const std::span<std::uint8_t> value = valueBuffer_.Fill(bufferSize, std::span<const std::uint8_t>(data, size));
    if (value.empty()) return E_INVALIDARG;
    const HRESULT hr =
        module.IsAmd != 0
            ? SendKsProperty(module.KsControl,
                             AmdParameterRequest(kKsPropertySet, ToPortableGuid(module.ModuleId), module.ModuleType, index),
                             value.data(), static_cast<ULONG>(value.size()))
            : SendKsProperty(module.KsControl, PpModuleParameterRequest(kKsPropertySet, AddressOf(module), index, 1),
                             value.data(), static_cast<ULONG>(value.size()));
    if (FAILED(hr)) KELIX_LOG(kLevelWarning, kFunction, L"Failed to set PP module parameter!: [0x%.8x]%s", KELIX_HR(hr));
    return hr;
}

HRESULT CSonavelDspKrelo::GetModuleParam(BYTE* buffer, UINT32 index) {
    constexpr wchar_t kFunction[] = L"CSonavelDspKrelo::GetModuleParam";
    ModuleEntry* module = SelectedModule();
    if (module == nullptr) return E_FAIL;
    // The reply is only what the driver returns this time: nothing of an earlier reply stays
    // in the buffer, and the length word never reaches past the bytes it reported.
    std::memset(buffer, 0, kModuleReplySize);
    HRESULT hr;
    ULONG returned = 0;
    if (module->IsAmd == 0) {
        hr = SendKsProperty(module->KsControl,
                            PpModuleParameterRequest(kKsPropertyGet, AddressOf(*module), index, ReadTrailingByte(index)),
                            buffer, kModuleReplySize, &returned);
        returned = std::min<ULONG>(returned, kModuleReplySize);
    } else {
        std::array<std::uint8_t, kAmdParameterBufferSize> scratch{};
        hr = SendKsProperty(module->KsControl,
                            AmdParameterRequest(kKsPropertyGet, ToPortableGuid(module->ModuleId), module->ModuleType, index),
                            scratch.data(), static_cast<ULONG>(scratch.size()), &returned);
        returned = std::min<ULONG>(returned, static_cast<ULONG>(scratch.size()));
        if (SUCCEEDED(hr)) std::memcpy(buffer, scratch.data(), returned);
    }
    if (FAILED(hr)) {
        KELIX_LOG(kLevelWarning, kFunction, L"Failed to get PP module parameter %d: [0x%.8x]%s", index, KELIX_HR(hr));
        return hr;
    }
    const std::uint32_t length =
        returned < 4 ? 0 : std::min<std::uint32_t>(ReadU32(std::span<const std::uint8_t>(buffer, 4), 0), returned - 4);
    std::memcpy(buffer, &length, 4);
    KELIX_LOG(kLevelInformation, kFunction, L"Get module parameter succeed.");
    return hr;
}

HRESULT CSonavelDspKrelo::SetModuleEnable(UINT32 enable) {
    return ForEachSelected([&](ModuleEntry& module) { return SetModuleEnable(module, enable); });
}

HRESULT CSonavelDspKrelo::SetModuleEnable(ModuleEntry& module, UINT32 enable) {
    constexpr wchar_t kFunction[] = L"CSonavelDspKrelo::SetModuleEnable";
    HRESULT hr = S_FALSE;  // an AMD module takes no enable request
    if (module.IsAmd == 0) {
        BYTE flag = enable != 0 ? 1 : 0;
        hr = SendKsProperty(module.KsControl, PpModuleEnableRequest(kKsPropertySet, AddressOf(module), 1), &flag, 1);
        if (FAILED(hr)) {
            KELIX_LOG(kLevelWarning, kFunction, L"Set module status failed: [0x%.8x]%s", KELIX_HR(hr));
            return hr;
        }
    }
    KELIX_LOG(kLevelInformation, kFunction, L"Set module status succeed.");
    return hr;
}

HRESULT CSonavelDspKrelo::GetModuleEnable(UINT32* enabled) {
    constexpr wchar_t kFunction[] = L"CSonavelDspKrelo::GetModuleEnable";
    ModuleEntry* module = SelectedModule();
    if (module == nullptr) return E_FAIL;
    if (module->IsAmd != 0) {
        *enabled = 1;
    } else {
        BYTE flag = 0;
        const HRESULT hr =
            SendKsProperty(module->KsControl, PpModuleEnableRequest(kKsPropertyGet, AddressOf(*module), 0), &flag, 1);
        if (FAILED(hr)) {
            KELIX_LOG(kLevelWarning, kFunction, L"Failed to get PP module parameter!: [0x%.8x]%s", KELIX_HR(hr));
            return hr;
        }
        *enabled = flag;
    }
    KELIX_LOG(kLevelInformation, kFunction, L"Get module status succeed. %d", *enabled);
    return S_OK;
}

HRESULT CSonavelDspKrelo::SetFormFactor(UINT32 formFactor) {
    const HRESULT hr = SetModuleParam(kFormFactorIndex, reinterpret_cast<const BYTE*>(&formFactor), sizeof formFactor);
    if (SUCCEEDED(hr)) {
        KELIX_LOG(kLevelInformation, L"CSonavelDspKrelo::SetFormFactor", L"Set pex_nelp-endpoint-form-facotr: %d",
                  formFactor);
    }
    return hr;
}

}  // namespace kelix
