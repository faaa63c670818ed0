#pragma once

#include <windows.h>
#include <mmdeviceapi.h>

#include <memory>

#include "sim/TopologyModel.h"
#include "sim/TrackedObject.h"

namespace sim {

// IMMDevice of a KS filter of the device topology, as IMMDeviceEnumerator::GetDevice gives it
// for the id that IDeviceTopology::GetDeviceId names: it activates the filter's IDeviceTopology
// and its IKsControl. It has no property store and no IMMEndpoint.
class FilterDevice final : public IMMDevice, private TrackedObject {
public:
    static HRESULT Create(std::shared_ptr<PlatformState> state, TopologyModel& model, REFIID riid,
                          void** out) noexcept;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IMMDevice
    HRESULT STDMETHODCALLTYPE Activate(REFIID iid, DWORD clsCtx, PROPVARIANT* activationParams, void** out) override;
    HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD stgmAccess, IPropertyStore** store) override;
    HRESULT STDMETHODCALLTYPE GetId(LPWSTR* id) override;
    HRESULT STDMETHODCALLTYPE GetState(DWORD* state) override;

private:
    FilterDevice(std::shared_ptr<PlatformState> state, TopologyModel& model) noexcept;
    ~FilterDevice() override = default;

    TopologyModel& model_;
};

// What Activate makes of a topology's device: its IDeviceTopology, or the IKsControl of its
// DSP. E_NOINTERFACE for anything else.
HRESULT ActivateTopologyInterface(const std::shared_ptr<PlatformState>& state, TopologyModel& model, REFIID iid,
                                  void** out) noexcept;

}  // namespace sim
