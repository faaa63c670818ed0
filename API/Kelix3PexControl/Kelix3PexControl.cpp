// The five exports: the handle, routing by flags and parameter id, and the
// conversion between caller buffers and PROPVARIANTs.
#include "Kelix3PexControl.h"

#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <cstring>
#include <cwchar>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "ApoController.h"
#include "CallLock.h"
#include "ComError.h"
#include "CoTaskMemString.h"
#include "DspController.h"
#include "Int32VectorPropVariant.h"
#include "KsProperty.h"
#include "PolicyConfig.h"
#include "ProcessExit.h"
#include "PropVariantOwner.h"
#include "PropVariantView.h"
#include "GuidConversion.h"
#include "RegKeyOwner.h"
#include "SonavelDspKrelo.h"
#include "TraceLogger.h"
#include "core/FxTables.h"
#include "core/ParameterFamily.h"
#include "core/ValueLayouts.h"

using Microsoft::WRL::ComPtr;
using namespace kelix;

namespace {

constexpr wchar_t kLogSourcePath[] = L"API\\Kelix3PexControl\\Kelix3PexControl.cpp";

constexpr UINT32 kDirectRequestSize = 8;

// The default render endpoint of the console role; empty when there is none.
std::wstring GetDefaultDeviceId() {
    constexpr wchar_t kFunction[] = L"`anonymous-namespace'::GetDefaultDeviceId";
    ComPtr<IMMDeviceEnumerator> enumerator;
    HRESULT hr = CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator));
    if (FAILED(hr)) {
        KELIX_LOG(kLevelError, kFunction, L"Create instance for MMDeviceEnumerator failed: [0x%.8x]%s", KELIX_HR(hr));
        return {};
    }
    ComPtr<IMMDevice> device;
    hr = enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &device);
    if (FAILED(hr)) {
        KELIX_LOG(kLevelError, kFunction, L"Failed to get default device. [0x%.8x]%s", KELIX_HR(hr));
        return {};
    }
    CoTaskMemString id;
    hr = device->GetId(id.Receive());
    if (FAILED(hr) || id.Get() == nullptr) {
        KELIX_LOG(kLevelError, kFunction, L"Failed to get device ID of default device. [0x%.8x]%s", KELIX_HR(hr));
        return {};
    }
    return id.Get();
}

HRESULT FromLayoutStatus(LayoutStatus status) {
    switch (status) {
        case LayoutStatus::Ok: return S_OK;
        case LayoutStatus::OutOfMemory: return E_OUTOFMEMORY;
        case LayoutStatus::InvalidArgument: break;
    }
    return E_INVALIDARG;
}

// Caller bytes -> PROPVARIANT: VT_I4 for a scalar, a VT_I4 vector for the array layouts.
HRESULT ConvertParameterToPropVariant(ParameterId id, void* value, UINT32 size, PROPVARIANT* out) {
    auto* bytes = static_cast<std::uint8_t*>(value);
    const StoredShape stored = MeasureStored(id, bytes, size);
    if (stored.filterCleared) {
        KELIX_LOG(kLevelError, L"`anonymous-namespace'::ConvertParameterToPropVariant",
                  L"Filter config is too large to set, capacity = %d bytes, asked = %d. Clear filter config to null.",
                  static_cast<int>(kFilterConfigCapacity), *stored.filterCleared);
    }
    if (stored.status != LayoutStatus::Ok) return FromLayoutStatus(stored.status);
    if (!stored.scalar) {  // the words go straight into the PROPVARIANT's own elements
        const HRESULT hr = InitInt32VectorPropVariant(stored.wordCount, out);
        if (SUCCEEDED(hr)) WriteStored(id, bytes, size, stored, reinterpret_cast<std::int32_t*>(out->cal.pElems));
        return hr;
    }
    out->vt = VT_I4;
    out->lVal = stored.value;
    return S_OK;
}

// PROPVARIANT -> caller bytes, with the needed size written back when the buffer is too small.
HRESULT CopyValueToOutputBuffer(ParameterId id, void* buffer, UINT32* size, const PROPVARIANT& value) {
    const StoredBytes stored = StoredBytesOf(value);
    const CopyResult result = StoredToCaller(id, stored.data, stored.size, static_cast<std::uint8_t*>(buffer), size);
    if (result.filterCleared) {
        KELIX_LOG(kLevelError, L"`anonymous-namespace'::CopyValueToOutputBuffer",
                  L"Filter config is too large to get, capacity = %d bytes, asked = %d. Clear filter config to null.",
                  static_cast<int>(kFilterConfigCapacity), static_cast<int>(*result.filterCleared));
    }
    return FromLayoutStatus(result.status);
}

// The class ids held by one FX key of the endpoint, in order.
std::vector<std::wstring> CollectClassIds(IPolicyConfigVistaClient* policy, const wchar_t* deviceId,
                                          const PROPERTYKEY& key) {
    std::vector<std::wstring> classIds;
    PropVariantOwner value;
    if (FAILED(policy->GetPropertyValue(deviceId, TRUE, key, value.Receive()))) return classIds;
    const PROPVARIANT& v = value.Get();
    const VARTYPE base = v.vt & VT_TYPEMASK;
    if (base != VT_LPWSTR && base != VT_BSTR) return classIds;
    if ((v.vt & VT_VECTOR) != 0) {
        // A vector of LPWSTR or BSTR: the element pointers lie alike; a missing one ends the list.
        for (ULONG i = 0; i < v.calpwstr.cElems; ++i) {
            const wchar_t* element = base == VT_LPWSTR ? v.calpwstr.pElems[i] : v.cabstr.pElems[i];
            if (element == nullptr) break;
            classIds.emplace_back(element);
        }
    } else if (v.vt == VT_LPWSTR || v.vt == VT_BSTR) {
        const wchar_t* text = v.vt == VT_LPWSTR ? v.pwszVal : v.bstrVal;
        classIds.emplace_back(text != nullptr ? text : L"");
    }
    return classIds;
}

// The version the wrapper effect of an FX slot names in the registry, if any.
std::optional<std::wstring_view> WrappedApoVersion(std::wstring_view slot) {
    RegKeyOwner key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Sonavel\\Wrapper\\", 0, KEY_READ, key.Receive()) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    const std::wstring name(slot);
    DWORD bytes = 0;
    if (RegGetValueW(key.Get(), nullptr, name.c_str(), RRF_RT_REG_SZ, nullptr, nullptr, &bytes) != ERROR_SUCCESS) {
        key.Abandon();  // left open on this path, as the detection always has
        return std::nullopt;
    }
    std::wstring text(bytes / sizeof(wchar_t) + 1, L'\0');
    bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    if (RegGetValueW(key.Get(), nullptr, name.c_str(), RRF_RT_REG_SZ, nullptr, text.data(), &bytes) != ERROR_SUCCESS) {
        key.Abandon();
        return std::nullopt;
    }
    text.resize(wcsnlen(text.c_str(), text.size()));
    return LookupApoVersion(LowerAscii(text));
}

// Version name of the effect installed on the endpoint for the family of a
// version query id; empty when none is recognised.
std::wstring GetApoVersion(const wchar_t* deviceId, ParameterId id) {
    ComPtr<IPolicyConfigVistaClient> policy;
    const HRESULT hr = CoCreateInstance(kClsidPolicyConfig, nullptr, CLSCTX_INPROC_SERVER, kIidPolicyConfigVistaClient,
                                        reinterpret_cast<void**>(policy.GetAddressOf()));
    if (FAILED(hr)) {
        KELIX_LOG(kLevelError, L"`anonymous-namespace'::GetApoVersion",
                  L"Cannot create instance for IPolicyConfigVistaClient. [0x%.8x]%s", KELIX_HR(hr));
        return {};
    }
    for (const PropertyKey& probe : ProbeKeysFor(id)) {
        for (const std::wstring& classId : CollectClassIds(policy.Get(), deviceId, ToPropertyKey(probe))) {
            const std::wstring lower = LowerAscii(classId);
            if (const auto version = LookupApoVersion(lower)) return std::wstring(*version);
            const auto slot = LookupFxSlot(lower);
            if (!slot) continue;
            if (const auto wrapped = WrappedApoVersion(*slot)) return std::wstring(*wrapped);
        }
    }
    return {};
}

wchar_t* CopyHandle(const std::wstring& deviceId) {
    auto* handle = new wchar_t[deviceId.size() + 1]();
    wcsncpy(handle, deviceId.c_str(), deviceId.size());
    return handle;
}

// The direct module request (1003, 2003): PP request 5 to the selected module,
// carrying the module's working word, which is then cleared. The caller's
// eight bytes are required but are not what is sent.
HRESULT DirectRequest(wchar_t* handle, ParameterId id, const void* value, UINT32 size, UINT32 flags) {
    if (size != kDirectRequestSize || (flags & kRouteDsp) == 0 || value == nullptr) return E_INVALIDARG;
    const HRESULT selected = DspController::SelectModule(handle, id);
    if (FAILED(selected)) return selected;
    ModuleEntry* module = CSonavelDspKrelo::Instance().SelectedModule();
    if (module == nullptr) return E_FAIL;
    if (module->IsAmd != 0) return E_NOTIMPL;  // modules of the AMD set take no direct request
    const PpModuleAddress address{module->PinId, module->ModuleType, ToPortableGuid(module->ModuleId)};
    ULONG returned = 0;
    const HRESULT hr = SendKsProperty(module->KsControl, PpModuleRequest(kPpModuleRequest, kKsPropertySet, address),
                                      &module->WorkingWord, sizeof module->WorkingWord, &returned);
    if (FAILED(hr)) return hr;
    module->WorkingWord = 0;
    return hr;
}

// A PROPVARIANT write on the routes of flags; with both, the DSP result is the one returned.
HRESULT SetVariant(wchar_t* handle, ParameterId id, const PROPVARIANT& value, UINT32 flags) {
    HRESULT hr = S_OK;
    if ((flags & kRoutePropertyStore) != 0) hr = ApoController::SetParameter(handle, id, value);
    if ((flags & kRouteDsp) == 0) return hr;
    if (DspController::FamilyMissing(handle, id)) return E_INVALIDARG;
    const UINT formFactor = ApoController::GetFormFactor(handle);
    return DspController::SetParameter(handle, id, value, formFactor);
}

// The version text is copied with its terminator, and only into a buffer that
// holds both; a null or smaller buffer learns that size (2L + 2). On success
// the size is the text's byte count without the terminator (2L).
HRESULT GetVersion(wchar_t* handle, ParameterId id, void* buffer, UINT32* size) {
    const std::wstring version = GetApoVersion(handle, id);
    const UINT32 available = *size;
    const auto textBytes = static_cast<UINT32>(version.size() * sizeof(wchar_t));
    const UINT32 need = textBytes + sizeof(wchar_t);
    if (buffer == nullptr || available < need) {
        *size = need;
        return E_INVALIDARG;
    }
    std::memcpy(buffer, version.c_str(), need);
    *size = textBytes;
    return S_OK;
}

// Holds the library's lock for the whole call (the lock lets this thread in again);
// no exception crosses an export.
template <typename Body>
HRESULT Guarded(Body body) noexcept {
    const CallLock::Scope locked;
    try {
        return body();
    } catch (const ComError& error) {
        return error.Error();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

}  // namespace

extern "C" {

// Runs before the library's static objects are destroyed; reserved is non-null
// when the process is exiting rather than unloading the library.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
    if (reason == DLL_PROCESS_DETACH) NoteProcessDetach(reserved != nullptr);
    return TRUE;
}

HRESULT OpenPexControl(wchar_t** handle, const wchar_t* deviceId) {
    if (handle == nullptr) return E_INVALIDARG;
    return Guarded([&] {
        const std::wstring id = deviceId != nullptr ? std::wstring(deviceId) : GetDefaultDeviceId();
        if (ApoController::Invalidated(id.c_str())) {  // the device was removed since it was opened
            KELIX_LOG(kLevelWarning, L"OpenPexControl",
                      L"The property store of device[%s] answered that the device was removed; it is opened again.",
                      id.c_str());
            ApoController::Close(id.c_str());
            DspController::Close(id.c_str());
        }
        const HRESULT hr = ApoController::Open(id.c_str());
        if (SUCCEEDED(hr)) {
            DspController::Open(id.c_str());  // an endpoint without DSP modules still opens
            *handle = CopyHandle(id);
        }
        return hr;
    });
}

HRESULT ClosePexControl(wchar_t* handle) {
    if (handle == nullptr) return E_INVALIDARG;
    return Guarded([&] {
        const HRESULT hr = ApoController::Close(handle);
        if (FAILED(hr)) return hr;  // the handle stays valid and may be closed again
        DspController::Close(handle);
        delete[] handle;
        if (!ApoController::AnyOpen()) DspController::ReleaseModules();  // as the next open would
        return hr;
    });
}

HRESULT SetPexVariantParam(wchar_t* handle, INT32 id, const PROPVARIANT* value, UINT32 flags) {
    if (handle == nullptr || value == nullptr) return E_INVALIDARG;
    return Guarded([&] { return SetVariant(handle, id, *value, flags); });
}

HRESULT SetPexParam(wchar_t* handle, INT32 id, void* value, UINT32 size, UINT32 flags) {
    if (handle == nullptr) return E_INVALIDARG;
    return Guarded([&] {
        if (IsDirectRequestId(id)) return DirectRequest(handle, id, value, size, flags);
        PropVariantOwner variant;
        const HRESULT converted = ConvertParameterToPropVariant(id, value, size, variant.Receive());
        if (FAILED(converted)) return converted;
        return SetVariant(handle, id, variant.Get(), flags);
    });
}

HRESULT GetPexParam(wchar_t* handle, INT32 id, void* buffer, UINT32* size, UINT32 flags) {
    if (handle == nullptr || size == nullptr) return E_INVALIDARG;
    return Guarded([&] {
        HRESULT hr = S_OK;
        if ((flags & kRoutePropertyStore) != 0) {
            // The version query never reaches the DSP route.
            if (IsVersionQueryId(id)) return GetVersion(handle, id, buffer, size);
            PropVariantOwner value;
            hr = ApoController::GetParameter(handle, id, value.Receive());
            if (FAILED(hr)) return hr;
            if (value.Get().vt == VT_EMPTY) return E_FAIL;
            hr = CopyValueToOutputBuffer(id, buffer, size, value.Get());
            if (FAILED(hr)) return hr;
        }
        if ((flags & kRouteDsp) == 0) return hr;
        if (DspController::FamilyMissing(handle, id)) return E_INVALIDARG;
        return DspController::GetParameter(handle, id, buffer, size);
    });
}

}  // extern "C"
