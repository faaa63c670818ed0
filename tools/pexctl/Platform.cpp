#include "Platform.h"

#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "API/Kelix3PexControl/PropVariantOwner.h"
#include "Kelix3PexControl.h"
#include "core/DspBlobLayouts.h"
#include "core/HResultText.h"
#include "core/ParameterFamily.h"

using Microsoft::WRL::ComPtr;

namespace pexctl {
namespace {

// PKEY_Device_FriendlyName and PKEY_AudioEndpoint_FormFactor.
constexpr PROPERTYKEY kFriendlyNameKey = {{0xA45C254E, 0xDF1C, 0x4EFD, {0x80, 0x20, 0x67, 0xD1, 0x46, 0xA8, 0x50, 0xE0}}, 14};
constexpr PROPERTYKEY kFormFactorKey = {{0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 0};

std::string EffectVersion(const std::u16string& id, kelix::ParameterId versionId) {
    Session session;
    if (FAILED(session.Open(id))) return "";
    const ReadResult read = Read(session.Handle(), *kelix::FindParameter(versionId), KELIX_ROUTE_PROPERTY_STORE);
    if (FAILED(read.hr)) return "";
    return ValueToJson(*kelix::FindParameter(versionId), read.bytes).get<std::string>();
}

}  // namespace

std::u16string ToU16(const wchar_t* text) {
    return text == nullptr ? std::u16string() : std::u16string(reinterpret_cast<const char16_t*>(text));
}
std::wstring ToWide(std::u16string_view text) { return std::wstring(text.begin(), text.end()); }

std::string HResultText(HRESULT hr) {
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        static_cast<DWORD>(hr), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::wstring message = length != 0 ? std::wstring(text, length) : kelix::FallbackHResultText(static_cast<std::uint32_t>(hr));
    if (text != nullptr) LocalFree(text);
    while (!message.empty() && (message.back() == L'\n' || message.back() == L'\r' || message.back() == L' ')) {
        message.pop_back();
    }
    char code[16];
    std::snprintf(code, sizeof code, "0x%08lX", static_cast<unsigned long>(hr));
    return std::string(code) + " " + Utf16ToUtf8(ToU16(message.c_str()));
}

EndpointList ListEndpoints(bool withVersions) {
    EndpointList list;
    ComPtr<IMMDeviceEnumerator> enumerator;
    list.hr = CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator));
    if (FAILED(list.hr)) return list;
    std::u16string defaultId;
    ComPtr<IMMDevice> defaultDevice;
    list.defaultHr = enumerator->GetDefaultAudioEndpoint(eRender, eConsole, &defaultDevice);
    if (SUCCEEDED(list.defaultHr)) {
        wchar_t* id = nullptr;
        list.defaultHr = defaultDevice->GetId(&id);
        if (SUCCEEDED(list.defaultHr)) defaultId = ToU16(id);
        CoTaskMemFree(id);
    }
    ComPtr<IMMDeviceCollection> devices;
    list.hr = enumerator->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE | DEVICE_STATE_DISABLED | DEVICE_STATE_UNPLUGGED,
                                             &devices);
    if (FAILED(list.hr)) return list;
    UINT count = 0;
    list.hr = devices->GetCount(&count);
    if (FAILED(list.hr)) return list;
    for (UINT i = 0; i < count; ++i) {
        ComPtr<IMMDevice> device;
        wchar_t* id = nullptr;
        if (FAILED(devices->Item(i, &device)) || FAILED(device->GetId(&id))) continue;
        Endpoint endpoint;
        endpoint.index = list.endpoints.size();
        endpoint.id = ToU16(id);
        CoTaskMemFree(id);
        endpoint.isDefault = !defaultId.empty() && endpoint.id == defaultId;
        DWORD state = 0;
        if (SUCCEEDED(device->GetState(&state))) endpoint.state = state;
        ComPtr<IPropertyStore> store;
        if (SUCCEEDED(device->OpenPropertyStore(STGM_READ, &store))) {
            kelix::PropVariantOwner name;
            if (SUCCEEDED(store->GetValue(kFriendlyNameKey, name.Receive())) && name.Get().vt == VT_LPWSTR) {
                endpoint.name = ToU16(name.Get().pwszVal);
            }
            kelix::PropVariantOwner formFactor;
            if (SUCCEEDED(store->GetValue(kFormFactorKey, formFactor.Receive())) && formFactor.Get().vt == VT_UI4) {
                endpoint.formFactor = formFactor.Get().ulVal;
            }
        }
        if (withVersions && endpoint.state == DEVICE_STATE_ACTIVE) {
            endpoint.pexVersion = EffectVersion(endpoint.id, kelix::kPexVersionId);
            endpoint.kreloVersion = EffectVersion(endpoint.id, kelix::kKreloVersionId);
        }
        list.endpoints.push_back(std::move(endpoint));
    }
    return list;
}

HRESULT Session::Open(const std::u16string& deviceId) {
    const std::wstring id = ToWide(deviceId);
    const HRESULT hr = OpenPexControl(&handle_, id.c_str());
    readOnly_ = hr == S_FALSE;
    return hr;
}

Session::~Session() {
    if (handle_ != nullptr) ClosePexControl(handle_);
}

HRESULT Session::Close() {
    const HRESULT hr = ClosePexControl(handle_);
    if (SUCCEEDED(hr)) handle_ = nullptr;
    return hr;
}

// Far above every value a parameter can hold (the largest, a module reply, is 64,000 bytes).
constexpr std::uint32_t kLargestValue = 1u << 20;

ReadResult Read(wchar_t* handle, const kelix::ParameterDescription& parameter, UINT32 route) {
    ReadResult result;
    // Start from the structure's own size; counted layouts and texts learn theirs from the first answer.
    const std::optional<std::uint32_t> fixed = kelix::StructureSize(parameter, nullptr, 0);
    std::uint32_t size = parameter.kind == kelix::ValueKind::Text ? 128 : parameter.id == 2116 ? 100 : fixed.value_or(0);
    for (;;) {
        // Two spare bytes: room for a text's terminator whichever way a size is counted.
        result.bytes.assign(size + 2, 0);
        UINT32 answered = size;
        result.hr = GetPexParam(handle, parameter.id, size != 0 ? result.bytes.data() : nullptr, &answered, route);
        if (result.hr == E_INVALIDARG && answered > size) {
            // A value that asks for more than any layout holds is one the store keeps in
            // another shape (a scalar under an array id, say): a failed read, not an allocation.
            if (answered > kLargestValue) {
                result.bytes.clear();
                return result;
            }
            size = answered;  // the needed size: grow and read again
            continue;
        }
        result.bytes.resize(SUCCEEDED(result.hr) ? std::min(answered, size) : 0);
        return result;
    }
}

HRESULT WriteStore(wchar_t* handle, const kelix::ParameterDescription& parameter, std::vector<std::uint8_t> bytes,
                   ScalarType type, bool& cleared) {
    cleared = false;
    if (parameter.kind == kelix::ValueKind::Scalar && type != ScalarType::Default) {
        PROPVARIANT value;
        PropVariantInit(&value);
        value.vt = type == ScalarType::UI4 ? VT_UI4 : VT_I4;
        std::memcpy(&value.ulVal, bytes.data(), 4);
        return SetPexVariantParam(handle, parameter.id, &value, KELIX_ROUTE_PROPERTY_STORE);
    }
    const std::vector<std::uint8_t> given = bytes;
    const HRESULT hr = SetPexParam(handle, parameter.id, bytes.empty() ? nullptr : bytes.data(),
                                   static_cast<UINT32>(bytes.size()), KELIX_ROUTE_PROPERTY_STORE);
    cleared = bytes != given;  // the library clears a filter configuration it cannot hold
    return hr;
}

HRESULT WriteDsp(wchar_t* handle, const kelix::ParameterDescription& parameter, std::vector<std::uint8_t> bytes) {
    if (!parameter.dspBlob) {
        return SetPexParam(handle, parameter.id, bytes.data(), static_cast<UINT32>(bytes.size()), KELIX_ROUTE_DSP);
    }
    std::optional<std::vector<std::uint8_t>> blob =
        kelix::CallerToDspBlob(parameter.id, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    if (!blob) return E_INVALIDARG;
    PROPVARIANT value;
    PropVariantInit(&value);
    value.vt = VT_BLOB;
    value.blob.cbSize = static_cast<ULONG>(blob->size());
    value.blob.pBlobData = blob->data();
    return SetPexVariantParam(handle, parameter.id, &value, KELIX_ROUTE_DSP);
}

bool FamilyOnDsp(wchar_t* handle, kelix::ParameterId id) {
    // A version read on the DSP route with no buffer: a present module answers
    // with the size its text needs, a missing family leaves the size alone.
    const kelix::ParameterId version = kelix::IsPexId(id) ? kelix::kPexVersionId : kelix::kKreloVersionId;
    UINT32 size = 0;
    const HRESULT hr = GetPexParam(handle, version, nullptr, &size, KELIX_ROUTE_DSP);
    return SUCCEEDED(hr) || size != 0;
}

}  // namespace pexctl
