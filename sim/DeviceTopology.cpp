#include "sim/DeviceTopology.h"

#include <new>
#include <utility>

#include "sim/Part.h"

namespace sim {

DeviceTopology::DeviceTopology(std::shared_ptr<PlatformState> state, TopologyModel& model) noexcept
    : TrackedObject(std::move(state), Kind::DeviceTopology), model_(model) {}

HRESULT DeviceTopology::Create(std::shared_ptr<PlatformState> state, TopologyModel& model, REFIID riid,
                               void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    return Hand(new (std::nothrow) DeviceTopology(std::move(state), model), riid, out);
}

HRESULT DeviceTopology::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == __uuidof(IDeviceTopology)) {
        *out = static_cast<IDeviceTopology*>(this);
        AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

ULONG DeviceTopology::AddRef() { return AddRefTracked(); }

ULONG DeviceTopology::Release() { return ReleaseTracked(); }

HRESULT DeviceTopology::GetConnectorCount(UINT* count) {
    if (const HRESULT hr = Enter("IDeviceTopology::GetConnectorCount"); FAILED(hr)) return hr;
    if (count == nullptr) return E_POINTER;
    *count = static_cast<UINT>(model_.connectors.size());
    return S_OK;
}

HRESULT DeviceTopology::GetConnector(UINT index, IConnector** connector) {
    ClearOut(connector);
    if (const HRESULT hr = Enter("IDeviceTopology::GetConnector"); FAILED(hr)) return hr;
    if (connector == nullptr) return E_POINTER;
    if (index >= model_.connectors.size()) return E_INVALIDARG;
    return Part::Create(State(), *model_.connectors[index], __uuidof(IConnector), reinterpret_cast<void**>(connector));
}

HRESULT DeviceTopology::GetSubunitCount(UINT* count) {
    if (const HRESULT hr = Enter("IDeviceTopology::GetSubunitCount"); FAILED(hr)) return hr;
    if (count == nullptr) return E_POINTER;
    *count = static_cast<UINT>(model_.subunits.size());
    return S_OK;
}

HRESULT DeviceTopology::GetSubunit(UINT index, ISubUnit** subunit) {
    ClearOut(subunit);
    if (const HRESULT hr = Enter("IDeviceTopology::GetSubunit"); FAILED(hr)) return hr;
    if (subunit == nullptr) return E_POINTER;
    if (index >= model_.subunits.size()) return E_INVALIDARG;
    return Part::Create(State(), *model_.subunits[index], __uuidof(ISubUnit), reinterpret_cast<void**>(subunit));
}

HRESULT DeviceTopology::GetPartById(UINT id, IPart** part) {
    ClearOut(part);
    if (const HRESULT hr = Enter("IDeviceTopology::GetPartById"); FAILED(hr)) return hr;
    if (part == nullptr) return E_POINTER;
    PartModel* found = model_.FindPart(id);
    if (found == nullptr) return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    return Part::Create(State(), *found, __uuidof(IPart), reinterpret_cast<void**>(part));
}

HRESULT DeviceTopology::GetDeviceId(LPWSTR* deviceId) {
    ClearOut(deviceId);
    if (const HRESULT hr = Enter("IDeviceTopology::GetDeviceId"); FAILED(hr)) return hr;
    if (deviceId == nullptr) return E_POINTER;
    return TaskMemCopy(model_.deviceId, deviceId);
}

HRESULT DeviceTopology::GetSignalPath(IPart* from, IPart* to, BOOL /*rejectMixedPaths*/, IPartsList** parts) {
    ClearOut(parts);
    if (const HRESULT hr = Enter("IDeviceTopology::GetSignalPath"); FAILED(hr)) return hr;
    if (from == nullptr || to == nullptr || parts == nullptr) return E_POINTER;
    PartModel* start = Part::ModelOf(from);
    PartModel* end = Part::ModelOf(to);
    if (start == nullptr || end == nullptr || start->topology != &model_ || end->topology != &model_) {
        return E_INVALIDARG;
    }
    try {
        std::vector<PartModel*> path = model_.SignalPath(start, end);
        if (path.empty()) return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
        return PartsList::Create(State(), std::move(path), __uuidof(IPartsList), reinterpret_cast<void**>(parts));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace sim
