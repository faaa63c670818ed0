// The five exports: the handle, routing by flags and parameter id, and the
// conversion between caller buffers and PROPVARIANTs.
#include "Kelix3PexControl.h"

#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <cstring>
#include <cwchar>
#include <new>
#include <string>

#include "ApoController.h"
#include "ComError.h"
#include "CoTaskMemString.h"
#include "DspController.h"
#include "PropVariantOwner.h"
#include "PropVariantView.h"
#include "TraceLogger.h"
#include "core/ParameterFamily.h"

using Microsoft::WRL::ComPtr;
using namespace kelix;

namespace {

constexpr wchar_t kLogSourcePath[] = L"API\\Kelix3PexControl\\Kelix3PexControl.cpp";

constexpr UINT32 kScalarSize = 4;
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

// Caller bytes -> PROPVARIANT: a scalar is VT_I4 from the caller's first word.
bool ConvertParameterToPropVariant(ParameterId, const void* value, UINT32, PROPVARIANT* out) {
    std::int32_t word;
    std::memcpy(&word, value, sizeof word);
    out->vt = VT_I4;
    out->lVal = word;
    return true;
}

// PROPVARIANT -> caller bytes, with the needed size written back when the buffer is too small.
HRESULT CopyValueToOutputBuffer(ParameterId, void* buffer, UINT32* size, const PROPVARIANT& value) {
    if (buffer != nullptr) std::memset(buffer, 0, *size);
    if (buffer == nullptr || *size < kScalarSize) {
        *size = kScalarSize;
        return E_INVALIDARG;
    }
    std::memcpy(buffer, &value.lVal, kScalarSize);
    return S_OK;
}

// Version name of the effect installed on the endpoint; empty while no effect is detected.
std::wstring GetApoVersion(const wchar_t*, ParameterId) {
    return {};
}

wchar_t* CopyHandle(const std::wstring& deviceId) {
    auto* handle = new wchar_t[deviceId.size() + 1]();
    wcsncpy(handle, deviceId.c_str(), deviceId.size());
    return handle;
}

bool FamilyMissing(const DspFamilies& families, ParameterId id) {
    return (!families.pexAvailable && IsPexId(id)) || (!families.kreloAvailable && IsKreloId(id));
}

HRESULT DirectRequest(wchar_t* handle, ParameterId id, const void* value, UINT32 size, UINT32 flags) {
    if (size != kDirectRequestSize || (flags & kRouteDsp) == 0 || value == nullptr) return E_INVALIDARG;
    return DspController::SelectModule(handle, id);
}

HRESULT GetVersion(wchar_t* handle, ParameterId id, void* buffer, UINT32* size) {
    const std::wstring version = GetApoVersion(handle, id);
    const UINT32 available = *size;
    const auto textBytes = static_cast<UINT32>(version.size() * sizeof(wchar_t));
    *size = textBytes;
    // The caller offers room for the terminator as well, which is copied too.
    if (buffer == nullptr || available < textBytes) return E_INVALIDARG;
    std::memcpy(buffer, version.c_str(), textBytes + sizeof(wchar_t));
    return S_OK;
}

// No exception crosses an export.
template <typename Body>
HRESULT Guarded(Body body) noexcept {
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

HRESULT OpenPexControl(wchar_t** handle, const wchar_t* deviceId) {
    if (handle == nullptr) return E_INVALIDARG;
    return Guarded([&] {
        const std::wstring id = deviceId != nullptr ? std::wstring(deviceId) : GetDefaultDeviceId();
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
        return hr;
    });
}

HRESULT SetPexVariantParam(wchar_t* handle, INT32 id, const PROPVARIANT* value, UINT32 flags) {
    if (handle == nullptr || value == nullptr) return E_INVALIDARG;
    return Guarded([&] {
        HRESULT hr = S_OK;
        if ((flags & kRoutePropertyStore) != 0) hr = ApoController::SetParameter(handle, id, *value);
        if ((flags & kRouteDsp) == 0) return hr;
        // With both routes the DSP result is the one returned.
        if (FamilyMissing(DspController::Families(handle), id)) return E_INVALIDARG;
        const UINT formFactor = ApoController::GetFormFactor(handle);
        return DspController::SetParameter(handle, id, *value, formFactor);
    });
}

HRESULT SetPexParam(wchar_t* handle, INT32 id, void* value, UINT32 size, UINT32 flags) {
    if (handle == nullptr) return E_INVALIDARG;
    return Guarded([&] {
        if (IsDirectRequestId(id)) return DirectRequest(handle, id, value, size, flags);
        if (value == nullptr) return E_INVALIDARG;
        PropVariantOwner variant;
        if (!ConvertParameterToPropVariant(id, value, size, &variant.Get())) return E_INVALIDARG;
        return SetPexVariantParam(handle, id, &variant.Get(), flags);
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
        if (FamilyMissing(DspController::Families(handle), id)) return E_INVALIDARG;
        return DspController::GetParameter(handle, id, buffer, size);
    });
}

}  // extern "C"
