#include "sim/PolicyConfig.h"

#include <new>
#include <utility>

namespace sim {

PolicyConfig::PolicyConfig(std::shared_ptr<PlatformState> state) noexcept
    : TrackedObject(std::move(state), Kind::PolicyConfig) {}

HRESULT PolicyConfig::Create(std::shared_ptr<PlatformState> state, REFIID riid, void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    return Hand(new (std::nothrow) PolicyConfig(std::move(state)), riid, out);
}

HRESULT PolicyConfig::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == kelix::kIidPolicyConfigVistaClient) {
        *out = static_cast<kelix::IPolicyConfigVistaClient*>(this);
        AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

ULONG PolicyConfig::AddRef() { return AddRefTracked(); }

ULONG PolicyConfig::Release() { return ReleaseTracked(); }

HRESULT PolicyConfig::GetPropertyValue(LPCWSTR deviceId, BOOL fxStore, const PROPERTYKEY& key, PROPVARIANT* value) {
    if (const HRESULT hr = Enter("IPolicyConfigVistaClient::GetPropertyValue"); FAILED(hr)) return hr;
    if (deviceId == nullptr || value == nullptr) return E_POINTER;
    const Endpoint* endpoint = State()->Find(deviceId);
    if (endpoint == nullptr) return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    return fxStore ? endpoint->GetFxValue(key, value) : endpoint->GetValue(key, value);
}

}  // namespace sim
