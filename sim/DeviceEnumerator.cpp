#include "sim/DeviceEnumerator.h"

#include <new>
#include <utility>
#include <vector>

#include "sim/Device.h"
#include "sim/DeviceCollection.h"
#include "sim/FilterDevice.h"

namespace sim {

namespace {

// E_NOTFOUND of the MMDevice API: no such device, or no default device.
const HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);  // not constexpr: an inline function in the Windows SDK

}  // namespace

DeviceEnumerator::DeviceEnumerator(std::shared_ptr<PlatformState> state) noexcept
    : TrackedObject(std::move(state), Kind::DeviceEnumerator) {}

HRESULT DeviceEnumerator::Create(std::shared_ptr<PlatformState> state, REFIID riid, void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    return Hand(new (std::nothrow) DeviceEnumerator(std::move(state)), riid, out);
}

HRESULT DeviceEnumerator::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == __uuidof(IMMDeviceEnumerator)) {
        *out = static_cast<IMMDeviceEnumerator*>(this);
        AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

ULONG DeviceEnumerator::AddRef() { return AddRefTracked(); }

ULONG DeviceEnumerator::Release() { return ReleaseTracked(); }

HRESULT DeviceEnumerator::EnumAudioEndpoints(EDataFlow flow, DWORD stateMask, IMMDeviceCollection** devices) {
    ClearOut(devices);
    if (const HRESULT hr = Enter("IMMDeviceEnumerator::EnumAudioEndpoints"); FAILED(hr)) return hr;
    if (devices == nullptr) return E_POINTER;
    if (flow != eRender && flow != eCapture && flow != eAll) return E_INVALIDARG;
    if ((stateMask & ~DWORD{DEVICE_STATEMASK_ALL}) != 0) return E_INVALIDARG;
    try {
        std::vector<Endpoint*> matching = State()->Matching(flow, stateMask);
        return DeviceCollection::Create(State(), std::move(matching), __uuidof(IMMDeviceCollection),
                                        reinterpret_cast<void**>(devices));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT DeviceEnumerator::GetDefaultAudioEndpoint(EDataFlow flow, ERole role, IMMDevice** endpoint) {
    ClearOut(endpoint);
    if (const HRESULT hr = Enter("IMMDeviceEnumerator::GetDefaultAudioEndpoint"); FAILED(hr)) return hr;
    if (endpoint == nullptr) return E_POINTER;
    if (flow != eRender && flow != eCapture) return E_INVALIDARG;
    if (role < eConsole || role >= ERole_enum_count) return E_INVALIDARG;
    Endpoint* chosen = State()->Default(flow, role);
    if (chosen == nullptr) return kNotFound;
    return Device::Create(State(), *chosen, __uuidof(IMMDevice), reinterpret_cast<void**>(endpoint));
}

HRESULT DeviceEnumerator::GetDevice(LPCWSTR id, IMMDevice** device) {
    ClearOut(device);
    if (const HRESULT hr = Enter("IMMDeviceEnumerator::GetDevice"); FAILED(hr)) return hr;
    if (id == nullptr || device == nullptr) return E_POINTER;
    if (Endpoint* found = State()->Find(id); found != nullptr) {
        return Device::Create(State(), *found, __uuidof(IMMDevice), reinterpret_cast<void**>(device));
    }
    // The KS filters of the device topologies are devices too.
    if (TopologyModel* filter = State()->Topology(id); filter != nullptr) {
        return FilterDevice::Create(State(), *filter, __uuidof(IMMDevice), reinterpret_cast<void**>(device));
    }
    return kNotFound;
}

HRESULT DeviceEnumerator::RegisterEndpointNotificationCallback(IMMNotificationClient* client) {
    if (const HRESULT hr = Enter("IMMDeviceEnumerator::RegisterEndpointNotificationCallback"); FAILED(hr)) return hr;
    return client == nullptr ? E_POINTER : S_OK;
}

HRESULT DeviceEnumerator::UnregisterEndpointNotificationCallback(IMMNotificationClient* client) {
    if (const HRESULT hr = Enter("IMMDeviceEnumerator::UnregisterEndpointNotificationCallback"); FAILED(hr)) return hr;
    return client == nullptr ? E_POINTER : S_OK;
}

}  // namespace sim
