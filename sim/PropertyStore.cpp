#include "sim/PropertyStore.h"

#include <new>
#include <utility>

namespace sim {

PropertyStore::PropertyStore(std::shared_ptr<PlatformState> state, Endpoint& endpoint, DWORD stgmAccess) noexcept
    : TrackedObject(std::move(state), Kind::PropertyStore), endpoint_(endpoint), access_(stgmAccess), ticket_(endpoint.Ticket()) {}

HRESULT PropertyStore::EnterPresent(std::string_view method) const noexcept {
    if (const HRESULT hr = Enter(method); FAILED(hr)) return hr;
    return endpoint_.Present(ticket_) ? S_OK : kDeviceInvalidated;
}

HRESULT PropertyStore::Create(std::shared_ptr<PlatformState> state, Endpoint& endpoint, DWORD stgmAccess,
                              REFIID riid, void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    return Hand(new (std::nothrow) PropertyStore(std::move(state), endpoint, stgmAccess), riid, out);
}

HRESULT PropertyStore::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == __uuidof(IPropertyStore)) {
        *out = static_cast<IPropertyStore*>(this);
        AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

ULONG PropertyStore::AddRef() { return AddRefTracked(); }

ULONG PropertyStore::Release() { return ReleaseTracked(); }

HRESULT PropertyStore::GetCount(DWORD* count) {
    if (const HRESULT hr = EnterPresent("IPropertyStore::GetCount"); FAILED(hr)) return hr;
    if (count == nullptr) return E_POINTER;
    *count = static_cast<DWORD>(endpoint_.ValueCount());
    return S_OK;
}

HRESULT PropertyStore::GetAt(DWORD index, PROPERTYKEY* key) {
    if (const HRESULT hr = EnterPresent("IPropertyStore::GetAt"); FAILED(hr)) return hr;
    if (key == nullptr) return E_POINTER;
    return endpoint_.KeyAt(index, key) ? S_OK : E_INVALIDARG;
}

HRESULT PropertyStore::GetValue(REFPROPERTYKEY key, PROPVARIANT* value) {
    if (const HRESULT hr = EnterPresent("IPropertyStore::GetValue"); FAILED(hr)) return hr;
    if (value == nullptr) return E_POINTER;
    return endpoint_.GetValue(key, value);
}

HRESULT PropertyStore::SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) {
    if (const HRESULT hr = EnterPresent("IPropertyStore::SetValue"); FAILED(hr)) return hr;
    if (!Writable()) return STG_E_ACCESSDENIED;
    return endpoint_.SetValue(key, value);
}

HRESULT PropertyStore::Commit() {
    if (const HRESULT hr = EnterPresent("IPropertyStore::Commit"); FAILED(hr)) return hr;
    return Writable() ? S_OK : STG_E_ACCESSDENIED;
}

}  // namespace sim
