#include "ApoController.h"

#include <audioclient.h>
#include <mmdeviceapi.h>
#include <propsys.h>
#include <wrl/client.h>

#include <cstring>
#include <string>

#include "BstrOwner.h"
#include "ComError.h"
#include "PropVariantOwner.h"
#include "PropVariantView.h"
#include "GuidConversion.h"
#include "PropertyStoreTable.h"
#include "TraceLogger.h"

using Microsoft::WRL::ComPtr;

namespace kelix {
namespace {

constexpr wchar_t kLogSourcePath[] = L"API\\Kelix3PexControl\\ApoController.cpp";

constexpr UINT kFormFactorSpeakers = 1;
constexpr UINT kFormFactorHeadphones = 3;
constexpr UINT kFormFactorHeadset = 5;
constexpr UINT kFormFactorUnknown = 10;

// PKEY_AudioEndpoint_FormFactor
constexpr PROPERTYKEY kEndpointFormFactorKey = {
    {0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 0};

unsigned long long Address(const void* pointer) {
    return static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer));
}

// The format id as registry text, in a BSTR as the log lines have always carried it.
BstrOwner FormatIdText(const PROPERTYKEY& key) {
    wchar_t text[64] = {};
    StringFromGUID2(key.fmtid, text, 64);
    BSTR copy = SysAllocString(text);
    if (copy == nullptr) throw ComError(E_OUTOFMEMORY);
    return BstrOwner(copy);
}

// A store that answers AUDCLNT_E_DEVICE_INVALIDATED belongs to a removed device for good.
void NoteInvalidated(const wchar_t* deviceId, HRESULT hr) {
    if (hr == AUDCLNT_E_DEVICE_INVALIDATED) PropertyStoreTable::Instance().MarkInvalidated(deviceId);
}

// SetParameter and GetParameter differ only in the store call and the verb of their lines.
enum class Access { Set, Get };

HRESULT AccessParameter(Access access, const wchar_t* deviceId, ParameterId id, PROPVARIANT* value) {
    const wchar_t* function = access == Access::Set ? L"ApoController::SetParameter" : L"ApoController::GetParameter";
    IPropertyStore* store = PropertyStoreTable::Instance().Find(deviceId);
    if (store == nullptr) {
        KELIX_LOG(kLevelError, function, L"Property store for device[%s] is not opened.", deviceId);
        return E_FAIL;
    }
    const ParameterLookup row = LookupParameter(id);
    if (!row.found) {
        KELIX_LOG(kLevelError, function, L"Parameter id[%d] is not valid", id);
        return E_FAIL;
    }
    const PROPERTYKEY key = ToPropertyKey(row.key);
    const HRESULT hr = access == Access::Set ? store->SetValue(key, *value) : store->GetValue(key, value);
    NoteInvalidated(deviceId, hr);

    TraceLogger& logger = TraceLogger::Instance();
    if (SUCCEEDED(hr)) {
        if (logger.IsEnabled(kLevelInformation, kKeywordPexControl)) {
            const BstrOwner fmtid = FormatIdText(key);
            const std::wstring valueText = PropVariantText(id, *value);
            KELIX_LOG(kLevelInformation, function,
                      access == Access::Set ? L"Set property key [%s, %s, %d]: %s" : L"Get property key [%s, %s, %d]: %s",
                      std::wstring(row.name).c_str(), fmtid.Get(), static_cast<int>(key.pid), valueText.c_str());
        }
    } else if (logger.IsEnabled(kLevelWarning, kKeywordPexControl)) {
        const BstrOwner fmtid = FormatIdText(key);
        KELIX_LOG(kLevelWarning, function,
                  access == Access::Set ? L"Set property key [%s, %s, %d] failed: [0x%.8x]%s"
                                        : L"Get property key [%s, %s, %d] failed: [0x%.8x]%s",
                  std::wstring(row.name).c_str(), fmtid.Get(), static_cast<int>(key.pid), KELIX_HR(hr));
    }
    return hr;
}

}  // namespace

HRESULT ApoController::Open(const wchar_t* deviceId) {
    constexpr wchar_t kFunction[] = L"ApoController::Open";
    PropertyStoreTable& table = PropertyStoreTable::Instance();
    if (table.Find(deviceId) != nullptr) {
        KELIX_LOG(kLevelInformation, kFunction, L"Property store for device[%s] is already opened.", deviceId);
        return S_OK;
    }
    ComPtr<IMMDeviceEnumerator> enumerator;
    HRESULT hr = CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator));
    if (FAILED(hr)) {
        KELIX_LOG(kLevelError, kFunction, L"Failed to create device enumerator: [0x%.8x]%s", KELIX_HR(hr));
        return hr;
    }
    ComPtr<IMMDevice> device;
    hr = enumerator->GetDevice(deviceId, &device);
    if (FAILED(hr)) {
        KELIX_LOG(kLevelError, kFunction, L"Failed to find device[%s]: [0x%.8x]%s", deviceId, KELIX_HR(hr));
        return hr;
    }
    ComPtr<IPropertyStore> store;
    HRESULT result = device->OpenPropertyStore(STGM_READWRITE, &store);
    if (FAILED(result)) {
        KELIX_LOG(kLevelWarning, kFunction,
                  L"Failed to open property store in read write mode, try read only mode again: [0x%.8x]%s",
                  KELIX_HR(result));
        store.Reset();
        hr = device->OpenPropertyStore(STGM_READ, &store);
        if (FAILED(hr)) {
            KELIX_LOG(kLevelError, kFunction, L"Failed to open property store in read only mode: [0x%.8x]%s",
                      KELIX_HR(hr));
            return hr;
        }
        result = S_FALSE;  // open for reading only: a success the caller can tell apart
    } else {
        result = S_OK;
    }
    const unsigned long long address = Address(store.Get());
    table.Insert(deviceId, std::move(store));
    KELIX_LOG(kLevelInformation, kFunction, L"Property store for device[%s] is [0x%.16llx]", deviceId, address);
    return result;
}

HRESULT ApoController::Close(const wchar_t* deviceId) {
    constexpr wchar_t kFunction[] = L"ApoController::Close";
    IPropertyStore* released = PropertyStoreTable::Instance().Remove(deviceId);
    if (released == nullptr) {
        KELIX_LOG(kLevelWarning, kFunction, L"Property store for device[%s] is not opened.", deviceId);
        return S_OK;
    }
    KELIX_LOG(kLevelInformation, kFunction, L"Property store[0x%.16llx] for device[%s] is closed", Address(released),
              deviceId);
    return S_OK;
}

bool ApoController::AnyOpen() { return !PropertyStoreTable::Instance().Empty(); }

bool ApoController::Invalidated(const wchar_t* deviceId) { return PropertyStoreTable::Instance().Invalidated(deviceId); }

HRESULT ApoController::SetParameter(const wchar_t* deviceId, ParameterId id, const PROPVARIANT& value) {
    return AccessParameter(Access::Set, deviceId, id, const_cast<PROPVARIANT*>(&value));
}

HRESULT ApoController::GetParameter(const wchar_t* deviceId, ParameterId id, PROPVARIANT* value) {
    return AccessParameter(Access::Get, deviceId, id, value);
}

UINT ApoController::GetFormFactor(const wchar_t* deviceId) {
    constexpr wchar_t kFunction[] = L"ApoController::GetFormFactor";
    IPropertyStore* store = PropertyStoreTable::Instance().Find(deviceId);
    if (store == nullptr) {
        KELIX_LOG(kLevelError, kFunction, L"Property store for device[%s] is not opened.", deviceId);
        return kFormFactorUnknown;
    }
    // Both properties are plain numbers, read from the union without a type check.
    PROPVARIANT value;
    PropVariantInit(&value);
    HRESULT hr = store->GetValue(kEndpointFormFactorKey, &value);
    NoteInvalidated(deviceId, hr);
    if (FAILED(hr)) {
        KELIX_LOG(kLevelError, kFunction, L"Get audio endpoint form factor failed. [0x%.8x]%s", KELIX_HR(hr));
        return kFormFactorUnknown;
    }
    UINT formFactor = value.ulVal;
    KELIX_LOG(kLevelInformation, kFunction, L"formFactor = [%d]", formFactor);
    if (formFactor == kFormFactorHeadset) {
        formFactor = kFormFactorHeadphones;
        KELIX_LOG(kLevelInformation, kFunction, L"Headset will be considered as headphone, formFactor changes to [%d]",
                  formFactor);
    }
    PropVariantClear(&value);
    UINT override = 0;
    static const PROPERTYKEY overrideKey = ToPropertyKey(LookupParameter(kParameterFormFactorOverride).key);
    hr = store->GetValue(overrideKey, &value);
    if (hr == S_OK && value.vt != VT_EMPTY) {
        override = value.ulVal;
        KELIX_LOG(kLevelInformation, kFunction, L"FormFactorOverride = [%d]", override);
    }
    PropVariantClear(&value);
    if (override == 0) return formFactor;
    return override == kFormFactorHeadphones ? kFormFactorHeadphones : kFormFactorSpeakers;
}

}  // namespace kelix
