#pragma once

#include <windows.h>
#include <devicetopology.h>

#include <memory>
#include <vector>

#include "sim/TopologyModel.h"
#include "sim/TrackedObject.h"

namespace sim {

// A part of a device topology: a connector (IPart with IConnector) or a subunit (IPart with
// ISubunit). Every hand-out makes a new object over the part's model.
class Part final : public IPart, public IConnector, public ISubUnit, private TrackedObject {
public:
    static HRESULT Create(std::shared_ptr<PlatformState> state, PartModel& model, REFIID riid, void** out) noexcept;
    // The model behind a simulated part; null for any other object.
    static PartModel* ModelOf(IUnknown* part) noexcept;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IPart
    HRESULT STDMETHODCALLTYPE GetName(LPWSTR* name) override;
    HRESULT STDMETHODCALLTYPE GetLocalId(UINT* id) override;
    HRESULT STDMETHODCALLTYPE GetGlobalId(LPWSTR* id) override;
    HRESULT STDMETHODCALLTYPE GetPartType(PartType* type) override;
    HRESULT STDMETHODCALLTYPE GetSubType(GUID* subType) override;
    HRESULT STDMETHODCALLTYPE GetControlInterfaceCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetControlInterface(UINT index, IControlInterface** control) override;
    HRESULT STDMETHODCALLTYPE EnumPartsIncoming(IPartsList** parts) override;
    HRESULT STDMETHODCALLTYPE EnumPartsOutgoing(IPartsList** parts) override;
#ifdef __MINGW32__
    HRESULT STDMETHODCALLTYPE GetTopologyObjects(IDeviceTopology** topology) override;
#else
    HRESULT STDMETHODCALLTYPE GetTopologyObject(IDeviceTopology** topology) override;
#endif
    HRESULT STDMETHODCALLTYPE Activate(DWORD clsContext, REFIID iid, void** out) override;
    HRESULT STDMETHODCALLTYPE RegisterControlChangeCallback(REFGUID riid, IControlChangeNotify* notify) override;
    HRESULT STDMETHODCALLTYPE UnregisterControlChangeCallback(IControlChangeNotify* notify) override;

    // IConnector
    HRESULT STDMETHODCALLTYPE GetType(ConnectorType* type) override;
    HRESULT STDMETHODCALLTYPE GetDataFlow(DataFlow* flow) override;
    HRESULT STDMETHODCALLTYPE ConnectTo(IConnector* other) override;
    HRESULT STDMETHODCALLTYPE Disconnect() override;
    HRESULT STDMETHODCALLTYPE IsConnected(BOOL* connected) override;
    HRESULT STDMETHODCALLTYPE GetConnectedTo(IConnector** other) override;
    HRESULT STDMETHODCALLTYPE GetConnectorIdConnectedTo(LPWSTR* id) override;
    HRESULT STDMETHODCALLTYPE GetDeviceIdConnectedTo(LPWSTR* id) override;

private:
    Part(std::shared_ptr<PlatformState> state, PartModel& model) noexcept;
    ~Part() override = default;
    // QueryInterface without the failure point.
    HRESULT Query(REFIID riid, void** out) noexcept;

    PartModel& model_;
};

// IPartsList: the parts that were neighbours (or on a signal path) when it was made.
class PartsList final : public IPartsList, private TrackedObject {
public:
    static HRESULT Create(std::shared_ptr<PlatformState> state, std::vector<PartModel*> parts, REFIID riid,
                          void** out) noexcept;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IPartsList
    HRESULT STDMETHODCALLTYPE GetCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetPart(UINT index, IPart** part) override;

private:
    PartsList(std::shared_ptr<PlatformState> state, std::vector<PartModel*> parts) noexcept;
    ~PartsList() override = default;

    const std::vector<PartModel*> parts_;
};

}  // namespace sim
