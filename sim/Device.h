#pragma once

#include <windows.h>
#include <mmdeviceapi.h>

#include <memory>

#include "sim/Endpoint.h"
#include "sim/TrackedObject.h"

namespace sim {

// IMMDevice (with IMMEndpoint) of one endpoint. Each call of GetDevice, Item or
// GetDefaultAudioEndpoint makes a new object; all objects of an endpoint share its values.
class Device final : public IMMDevice, public IMMEndpoint, private TrackedObject {
public:
    static HRESULT Create(std::shared_ptr<PlatformState> state, Endpoint& endpoint, REFIID riid, void** out) noexcept;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IMMDevice
    HRESULT STDMETHODCALLTYPE Activate(REFIID iid, DWORD clsCtx, PROPVARIANT* activationParams, void** out) override;
    HRESULT STDMETHODCALLTYPE OpenPropertyStore(DWORD stgmAccess, IPropertyStore** store) override;
    HRESULT STDMETHODCALLTYPE GetId(LPWSTR* id) override;
    HRESULT STDMETHODCALLTYPE GetState(DWORD* state) override;

    // IMMEndpoint
    HRESULT STDMETHODCALLTYPE GetDataFlow(EDataFlow* flow) override;

private:
    Device(std::shared_ptr<PlatformState> state, Endpoint& endpoint) noexcept;
    ~Device() override = default;

    // The interfaces Activate can make for this endpoint: with a DSP attached, its device topology
    // and the DSP's IKsControl; without one, none.
    HRESULT ActivateInterface(REFIID iid, void** out) noexcept;

    Endpoint& endpoint_;
};

}  // namespace sim
