#include "sim/Part.h"

#include <new>
#include <utility>

#include "sim/DeviceTopology.h"
#include "sim/Selector.h"

namespace sim {

namespace {

// Answered by simulated parts only: the IPart of the object, to find its model.
// {6C2F3F2E-5D0B-4E39-9A57-3F1B1B6E0A11}
constexpr GUID kSimulatedPart = {0x6C2F3F2E, 0x5D0B, 0x4E39, {0x9A, 0x57, 0x3F, 0x1B, 0x1B, 0x6E, 0x0A, 0x11}};

}  // namespace

Part::Part(std::shared_ptr<PlatformState> state, PartModel& model) noexcept
    : TrackedObject(std::move(state), Kind::Part), model_(model) {}

HRESULT Part::Create(std::shared_ptr<PlatformState> state, PartModel& model, REFIID riid, void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    // The platform's own hand-out is no caller's query: it is neither counted nor failed.
    return Hand(new (std::nothrow) Part(std::move(state), model), riid, out, &Part::Query);
}

PartModel* Part::ModelOf(IUnknown* part) noexcept {
    if (part == nullptr) return nullptr;
    IPart* simulated = nullptr;
    if (FAILED(part->QueryInterface(kSimulatedPart, reinterpret_cast<void**>(&simulated)))) return nullptr;
    PartModel* model = &static_cast<Part*>(simulated)->model_;
    simulated->Release();
    return model;
}

// A caller's query between a connector's IPart and IConnector is a method of the table: an
// injected failure answers E_NOINTERFACE, as a query can only fail on Windows, with the out
// pointer null and no reference taken.
HRESULT Part::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    const bool connectorSide = riid == __uuidof(IConnector);
    if (connectorSide || (riid == __uuidof(IPart) && model_.type == Connector)) {
        if (FAILED(Enter(connectorSide ? "IPart::QueryInterface(IConnector)" : "IConnector::QueryInterface(IPart)")))
            return E_NOINTERFACE;
    }
    return Query(riid, out);
}

HRESULT Part::Query(REFIID riid, void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == __uuidof(IPart) || riid == kSimulatedPart) {
        *out = static_cast<IPart*>(this);
    } else if (riid == __uuidof(IConnector) && model_.type == Connector) {
        *out = static_cast<IConnector*>(this);
    } else if (riid == __uuidof(ISubUnit) && model_.type == Subunit) {
        *out = static_cast<ISubUnit*>(this);
    } else {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

ULONG Part::AddRef() { return AddRefTracked(); }

ULONG Part::Release() { return ReleaseTracked(); }

HRESULT Part::GetName(LPWSTR* name) {
    ClearOut(name);
    if (const HRESULT hr = Enter("IPart::GetName"); FAILED(hr)) return hr;
    if (name == nullptr) return E_POINTER;
    return TaskMemCopy(model_.name, name);
}

HRESULT Part::GetLocalId(UINT* id) {
    if (const HRESULT hr = Enter("IPart::GetLocalId"); FAILED(hr)) return hr;
    if (id == nullptr) return E_POINTER;
    *id = model_.localId;
    return S_OK;
}

HRESULT Part::GetGlobalId(LPWSTR* id) {
    ClearOut(id);
    if (const HRESULT hr = Enter("IPart::GetGlobalId"); FAILED(hr)) return hr;
    if (id == nullptr) return E_POINTER;
    try {
        return TaskMemCopy(model_.GlobalId(), id);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT Part::GetPartType(PartType* type) {
    if (const HRESULT hr = Enter("IPart::GetPartType"); FAILED(hr)) return hr;
    if (type == nullptr) return E_POINTER;
    *type = model_.type;
    return S_OK;
}

HRESULT Part::GetSubType(GUID* subType) {
    if (const HRESULT hr = Enter("IPart::GetSubType"); FAILED(hr)) return hr;
    if (subType == nullptr) return E_POINTER;
    *subType = GUID_NULL;
    return S_OK;
}

HRESULT Part::GetControlInterfaceCount(UINT* count) {
    if (const HRESULT hr = Enter("IPart::GetControlInterfaceCount"); FAILED(hr)) return hr;
    if (count == nullptr) return E_POINTER;
    *count = 0;
    return S_OK;
}

HRESULT Part::GetControlInterface(UINT /*index*/, IControlInterface** control) {
    ClearOut(control);
    if (const HRESULT hr = Enter("IPart::GetControlInterface"); FAILED(hr)) return hr;
    return control == nullptr ? E_POINTER : E_INVALIDARG;
}

HRESULT Part::EnumPartsIncoming(IPartsList** parts) {
    ClearOut(parts);
    if (const HRESULT hr = Enter("IPart::EnumPartsIncoming"); FAILED(hr)) return hr;
    if (parts == nullptr) return E_POINTER;
    try {
        return PartsList::Create(State(), model_.incoming, __uuidof(IPartsList), reinterpret_cast<void**>(parts));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT Part::EnumPartsOutgoing(IPartsList** parts) {
    ClearOut(parts);
    if (const HRESULT hr = Enter("IPart::EnumPartsOutgoing"); FAILED(hr)) return hr;
    if (parts == nullptr) return E_POINTER;
    try {
        return PartsList::Create(State(), model_.outgoing, __uuidof(IPartsList), reinterpret_cast<void**>(parts));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

#ifdef __MINGW32__
HRESULT Part::GetTopologyObjects(IDeviceTopology** topology) {
#else
HRESULT Part::GetTopologyObject(IDeviceTopology** topology) {
#endif
    ClearOut(topology);
    if (const HRESULT hr = Enter("IPart::GetTopologyObject"); FAILED(hr)) return hr;
    if (topology == nullptr) return E_POINTER;
    return DeviceTopology::Create(State(), *model_.topology, __uuidof(IDeviceTopology),
                                  reinterpret_cast<void**>(topology));
}

HRESULT Part::Activate(DWORD /*clsContext*/, REFIID iid, void** out) {
    ClearOut(out);
    if (const HRESULT hr = Enter("IPart::Activate"); FAILED(hr)) return hr;
    if (out == nullptr) return E_POINTER;
    if (iid == __uuidof(IAudioInputSelector) && model_.selector == Selector::Input) {
        return InputSelector::Create(State(), model_, iid, out);
    }
    if (iid == __uuidof(IAudioOutputSelector) && model_.selector == Selector::Output) {
        return OutputSelector::Create(State(), model_, iid, out);
    }
    return E_NOINTERFACE;
}

HRESULT Part::RegisterControlChangeCallback(REFGUID /*riid*/, IControlChangeNotify* notify) {
    if (const HRESULT hr = Enter("IPart::RegisterControlChangeCallback"); FAILED(hr)) return hr;
    return notify == nullptr ? E_POINTER : S_OK;
}

HRESULT Part::UnregisterControlChangeCallback(IControlChangeNotify* notify) {
    if (const HRESULT hr = Enter("IPart::UnregisterControlChangeCallback"); FAILED(hr)) return hr;
    return notify == nullptr ? E_POINTER : S_OK;
}

HRESULT Part::GetType(ConnectorType* type) {
    if (const HRESULT hr = Enter("IConnector::GetType"); FAILED(hr)) return hr;
    if (type == nullptr) return E_POINTER;
    *type = model_.connectorType;
    return S_OK;
}

HRESULT Part::GetDataFlow(DataFlow* flow) {
    if (const HRESULT hr = Enter("IConnector::GetDataFlow"); FAILED(hr)) return hr;
    if (flow == nullptr) return E_POINTER;
    *flow = model_.flow;
    return S_OK;
}

// The topology is fixed: connections are made by the platform, not by clients.
HRESULT Part::ConnectTo(IConnector* /*other*/) {
    if (const HRESULT hr = Enter("IConnector::ConnectTo"); FAILED(hr)) return hr;
    return E_NOTIMPL;
}

HRESULT Part::Disconnect() {
    if (const HRESULT hr = Enter("IConnector::Disconnect"); FAILED(hr)) return hr;
    return E_NOTIMPL;
}

HRESULT Part::IsConnected(BOOL* connected) {
    if (const HRESULT hr = Enter("IConnector::IsConnected"); FAILED(hr)) return hr;
    if (connected == nullptr) return E_POINTER;
    *connected = model_.connectedTo != nullptr ? TRUE : FALSE;
    return S_OK;
}

HRESULT Part::GetConnectedTo(IConnector** other) {
    ClearOut(other);
    if (const HRESULT hr = Enter("IConnector::GetConnectedTo"); FAILED(hr)) return hr;
    if (other == nullptr) return E_POINTER;
    if (model_.connectedTo == nullptr) return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    return Part::Create(State(), *model_.connectedTo, __uuidof(IConnector), reinterpret_cast<void**>(other));
}

HRESULT Part::GetConnectorIdConnectedTo(LPWSTR* id) {
    ClearOut(id);
    if (const HRESULT hr = Enter("IConnector::GetConnectorIdConnectedTo"); FAILED(hr)) return hr;
    if (id == nullptr) return E_POINTER;
    if (model_.connectedTo == nullptr) return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    try {
        return TaskMemCopy(model_.connectedTo->GlobalId(), id);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT Part::GetDeviceIdConnectedTo(LPWSTR* id) {
    ClearOut(id);
    if (const HRESULT hr = Enter("IConnector::GetDeviceIdConnectedTo"); FAILED(hr)) return hr;
    if (id == nullptr) return E_POINTER;
    if (model_.connectedTo == nullptr) return HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
    return TaskMemCopy(model_.connectedTo->topology->deviceId, id);
}

PartsList::PartsList(std::shared_ptr<PlatformState> state, std::vector<PartModel*> parts) noexcept
    : TrackedObject(std::move(state), Kind::PartsList), parts_(std::move(parts)) {}

HRESULT PartsList::Create(std::shared_ptr<PlatformState> state, std::vector<PartModel*> parts, REFIID riid,
                          void** out) noexcept {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    return Hand(new (std::nothrow) PartsList(std::move(state), std::move(parts)), riid, out);
}

HRESULT PartsList::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == __uuidof(IPartsList)) {
        *out = static_cast<IPartsList*>(this);
        AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

ULONG PartsList::AddRef() { return AddRefTracked(); }

ULONG PartsList::Release() { return ReleaseTracked(); }

HRESULT PartsList::GetCount(UINT* count) {
    if (const HRESULT hr = Enter("IPartsList::GetCount"); FAILED(hr)) return hr;
    if (count == nullptr) return E_POINTER;
    *count = static_cast<UINT>(parts_.size());
    return S_OK;
}

HRESULT PartsList::GetPart(UINT index, IPart** part) {
    ClearOut(part);
    if (const HRESULT hr = Enter("IPartsList::GetPart"); FAILED(hr)) return hr;
    if (part == nullptr) return E_POINTER;
    if (index >= parts_.size()) return E_INVALIDARG;
    return Part::Create(State(), *parts_[index], __uuidof(IPart), reinterpret_cast<void**>(part));
}

}  // namespace sim
