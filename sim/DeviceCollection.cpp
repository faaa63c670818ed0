#include "sim/DeviceCollection.h"

#include <new>
#include <utility>

#include "sim/Device.h"

namespace sim {

DeviceCollection::DeviceCollection(std::shared_ptr<PlatformState> state, std::vector<Endpoint*> endpoints) noexcept
    : TrackedObject(std::move(state), Kind::DeviceCollection), endpoints_(std::move(endpoints)) {}

HRESULT DeviceCollection::Create(std::shared_ptr<PlatformState> state, std::vector<Endpoint*> endpoints, REFIID riid,
                                 void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    return Hand(new (std::nothrow) DeviceCollection(std::move(state), std::move(endpoints)), riid, out);
}

HRESULT DeviceCollection::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == __uuidof(IMMDeviceCollection)) {
        *out = static_cast<IMMDeviceCollection*>(this);
        AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

ULONG DeviceCollection::AddRef() { return AddRefTracked(); }

ULONG DeviceCollection::Release() { return ReleaseTracked(); }

HRESULT DeviceCollection::GetCount(UINT* count) {
    if (const HRESULT hr = Enter("IMMDeviceCollection::GetCount"); FAILED(hr)) return hr;
    if (count == nullptr) return E_POINTER;
    *count = static_cast<UINT>(endpoints_.size());
    return S_OK;
}

HRESULT DeviceCollection::Item(UINT index, IMMDevice** device) {
    ClearOut(device);
    if (const HRESULT hr = Enter("IMMDeviceCollection::Item"); FAILED(hr)) return hr;
    if (device == nullptr) return E_POINTER;
    if (index >= endpoints_.size()) return E_INVALIDARG;
    return Device::Create(State(), *endpoints_[index], __uuidof(IMMDevice), reinterpret_cast<void**>(device));
}

}  // namespace sim
