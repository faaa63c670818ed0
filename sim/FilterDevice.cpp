#include "sim/FilterDevice.h"

#include <devicetopology.h>

#include <new>
#include <utility>

#include "sim/DeviceTopology.h"
#include "sim/KsControl.h"

namespace sim {

HRESULT ActivateTopologyInterface(const std::shared_ptr<PlatformState>& state, TopologyModel& model, REFIID iid,
                                  void** out) noexcept {
    if (iid == __uuidof(IDeviceTopology)) return DeviceTopology::Create(state, model, iid, out);
    if (iid == __uuidof(IKsControl) && model.dsp != nullptr) return KsControl::Create(state, model, iid, out);
    return E_NOINTERFACE;
}

FilterDevice::FilterDevice(std::shared_ptr<PlatformState> state, TopologyModel& model) noexcept
    : TrackedObject(std::move(state), Kind::Device), model_(model) {}

HRESULT FilterDevice::Create(std::shared_ptr<PlatformState> state, TopologyModel& model, REFIID riid,
                             void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    return Hand(new (std::nothrow) FilterDevice(std::move(state), model), riid, out);
}

HRESULT FilterDevice::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == __uuidof(IMMDevice)) {
        *out = static_cast<IMMDevice*>(this);
        AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

ULONG FilterDevice::AddRef() { return AddRefTracked(); }

ULONG FilterDevice::Release() { return ReleaseTracked(); }

HRESULT FilterDevice::Activate(REFIID iid, DWORD /*clsCtx*/, PROPVARIANT* /*activationParams*/, void** out) {
    ClearOut(out);
    if (const HRESULT hr = Enter("IMMDevice::Activate"); FAILED(hr)) return hr;
    if (out == nullptr) return E_POINTER;
    return ActivateTopologyInterface(State(), model_, iid, out);
}

HRESULT FilterDevice::OpenPropertyStore(DWORD /*stgmAccess*/, IPropertyStore** store) {
    ClearOut(store);
    if (const HRESULT hr = Enter("IMMDevice::OpenPropertyStore"); FAILED(hr)) return hr;
    return store == nullptr ? E_POINTER : E_NOTIMPL;
}

HRESULT FilterDevice::GetId(LPWSTR* id) {
    ClearOut(id);
    if (const HRESULT hr = Enter("IMMDevice::GetId"); FAILED(hr)) return hr;
    if (id == nullptr) return E_POINTER;
    return TaskMemCopy(model_.deviceId, id);
}

HRESULT FilterDevice::GetState(DWORD* state) {
    if (const HRESULT hr = Enter("IMMDevice::GetState"); FAILED(hr)) return hr;
    if (state == nullptr) return E_POINTER;
    *state = DEVICE_STATE_ACTIVE;
    return S_OK;
}

}  // namespace sim
