#pragma once

#include <windows.h>
#include <devicetopology.h>

#include <memory>

#include "sim/TopologyModel.h"
#include "sim/TrackedObject.h"

namespace sim {

// IDeviceTopology of an endpoint or a KS filter. Every hand-out makes a new object over the
// topology's model.
class DeviceTopology final : public IDeviceTopology, private TrackedObject {
public:
    static HRESULT Create(std::shared_ptr<PlatformState> state, TopologyModel& model, REFIID riid,
                          void** out) noexcept;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IDeviceTopology
    HRESULT STDMETHODCALLTYPE GetConnectorCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetConnector(UINT index, IConnector** connector) override;
    HRESULT STDMETHODCALLTYPE GetSubunitCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetSubunit(UINT index, ISubUnit** subunit) override;
    HRESULT STDMETHODCALLTYPE GetPartById(UINT id, IPart** part) override;
    HRESULT STDMETHODCALLTYPE GetDeviceId(LPWSTR* deviceId) override;
    // The parts from `from` to `to` along the signal, both parts of this topology; a part is a
    // path to itself. No path: E_NOTFOUND (0x80070490).
    HRESULT STDMETHODCALLTYPE GetSignalPath(IPart* from, IPart* to, BOOL rejectMixedPaths, IPartsList** parts) override;

private:
    DeviceTopology(std::shared_ptr<PlatformState> state, TopologyModel& model) noexcept;
    ~DeviceTopology() override = default;

    TopologyModel& model_;
};

}  // namespace sim
