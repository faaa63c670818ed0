#include "sim/DeviceEnumerator.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "sim/Device.h"
#include "sim/DeviceCollection.h"
#include "sim/FilterDevice.h"

namespace sim {

namespace {

// E_NOTFOUND of the MMDevice API: no such device, or no default device.
const HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);  // not constexpr: an inline function in the Windows SDK

// An endpoint id as the MMDevice API forms them, "{0.0.0.00000000}.{guid}": a braced run of
// digits and dots, a dot and a braced name. Anything else is refused as an argument, not
// looked up.
bool IsEndpointId(std::wstring_view id) {
    const size_t close = id.find(L"}.{");
    return id.size() > 5 && id.front() == L'{' && id.back() == L'}' && close != std::wstring_view::npos && close > 1 &&
           id.substr(1, close - 1).find_first_not_of(L"0123456789.") == std::wstring_view::npos &&
           id.find_first_of(L"{}", close + 3) == id.size() - 1;
}

}  // namespace

DeviceEnumerator::DeviceEnumerator(std::shared_ptr<PlatformState> state) noexcept
    : TrackedObject(std::move(state), Kind::DeviceEnumerator) {}

HRESULT DeviceEnumerator::Create(std::shared_ptr<PlatformState> state, REFIID riid, void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    std::unique_lock lock(state->enumeratorMutex);
    if (state->liveEnumerator != nullptr) return state->liveEnumerator->QueryInterface(riid, out);
    auto* created = new (std::nothrow) DeviceEnumerator(std::move(state));
    if (created == nullptr) return E_OUTOFMEMORY;
    const HRESULT hr = created->QueryInterface(riid, out);
    if (SUCCEEDED(hr)) created->State()->liveEnumerator = created;
    lock.unlock();
    created->Release();  // the creation reference; Release takes the lock
    return hr;
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

ULONG DeviceEnumerator::Release() {
    // Under the lock, so that Create never hands out an enumerator whose last reference is going.
    const std::shared_ptr<PlatformState> state = State();
    const std::lock_guard lock(state->enumeratorMutex);
    const bool live = state->liveEnumerator == this;
    const ULONG left = ReleaseTracked();
    if (left == 0 && live) state->liveEnumerator = nullptr;
    return left;
}

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
    return IsEndpointId(id) ? kNotFound : E_INVALIDARG;
}

HRESULT DeviceEnumerator::RegisterEndpointNotificationCallback(IMMNotificationClient* client) {
    if (const HRESULT hr = Enter("IMMDeviceEnumerator::RegisterEndpointNotificationCallback"); FAILED(hr)) return hr;
    if (client == nullptr) return E_POINTER;
    try {
        const std::lock_guard lock(clientsMutex_);
        clients_.push_back(client);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT DeviceEnumerator::UnregisterEndpointNotificationCallback(IMMNotificationClient* client) {
    if (const HRESULT hr = Enter("IMMDeviceEnumerator::UnregisterEndpointNotificationCallback"); FAILED(hr)) return hr;
    if (client == nullptr) return E_POINTER;
    const std::lock_guard lock(clientsMutex_);
    const auto found = std::find(clients_.begin(), clients_.end(), client);
    if (found == clients_.end()) return kNotFound;  // never registered, or removed already
    clients_.erase(found);
    return S_OK;
}

}  // namespace sim
