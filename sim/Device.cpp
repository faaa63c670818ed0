#include "sim/Device.h"

#include <new>
#include <utility>

#include "sim/FilterDevice.h"
#include "sim/PropertyStore.h"

namespace sim {

Device::Device(std::shared_ptr<PlatformState> state, Endpoint& endpoint) noexcept
    : TrackedObject(std::move(state), Kind::Device), endpoint_(endpoint) {}

HRESULT Device::Create(std::shared_ptr<PlatformState> state, Endpoint& endpoint, REFIID riid, void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    return Hand(new (std::nothrow) Device(std::move(state), endpoint), riid, out);
}

HRESULT Device::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == __uuidof(IMMDevice)) {
        *out = static_cast<IMMDevice*>(this);
    } else if (riid == __uuidof(IMMEndpoint)) {
        *out = static_cast<IMMEndpoint*>(this);
    } else {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

ULONG Device::AddRef() { return AddRefTracked(); }

ULONG Device::Release() { return ReleaseTracked(); }

HRESULT Device::Activate(REFIID iid, DWORD /*clsCtx*/, PROPVARIANT* /*activationParams*/, void** out) {
    ClearOut(out);
    if (const HRESULT hr = Enter("IMMDevice::Activate"); FAILED(hr)) return hr;
    if (out == nullptr) return E_POINTER;
    return ActivateInterface(iid, out);
}

HRESULT Device::ActivateInterface(REFIID iid, void** out) noexcept {
    TopologyModel* topology = State()->Topology(endpoint_.Id());
    if (topology == nullptr) return E_NOINTERFACE;  // no DSP attached: no device topology, like Wine's endpoints
    return ActivateTopologyInterface(State(), *topology, iid, out);
}

HRESULT Device::OpenPropertyStore(DWORD stgmAccess, IPropertyStore** store) {
    ClearOut(store);
    if (const HRESULT hr = Enter("IMMDevice::OpenPropertyStore"); FAILED(hr)) return hr;
    if (store == nullptr) return E_POINTER;
    if (stgmAccess != STGM_READ && stgmAccess != STGM_WRITE && stgmAccess != STGM_READWRITE) return E_INVALIDARG;
    switch (endpoint_.Access()) {
        case StoreAccess::ReadWrite:
            break;
        case StoreAccess::ReadOnly:
            if (stgmAccess != STGM_READ) return E_ACCESSDENIED;
            break;
        case StoreAccess::None:
            return E_ACCESSDENIED;
    }
    return PropertyStore::Create(State(), endpoint_, stgmAccess, __uuidof(IPropertyStore),
                                 reinterpret_cast<void**>(store));
}

HRESULT Device::GetId(LPWSTR* id) {
    ClearOut(id);
    if (const HRESULT hr = Enter("IMMDevice::GetId"); FAILED(hr)) return hr;
    if (id == nullptr) return E_POINTER;
    return TaskMemCopy(endpoint_.Id(), id);
}

HRESULT Device::GetState(DWORD* state) {
    if (const HRESULT hr = Enter("IMMDevice::GetState"); FAILED(hr)) return hr;
    if (state == nullptr) return E_POINTER;
    *state = endpoint_.State();
    return S_OK;
}

HRESULT Device::GetDataFlow(EDataFlow* flow) {
    if (const HRESULT hr = Enter("IMMEndpoint::GetDataFlow"); FAILED(hr)) return hr;
    if (flow == nullptr) return E_POINTER;
    *flow = endpoint_.Flow();
    return S_OK;
}

}  // namespace sim
