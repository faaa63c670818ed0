#pragma once

#include <windows.h>
#include <mmdeviceapi.h>

#include <memory>

#include "sim/TrackedObject.h"

namespace sim {

// IMMDeviceEnumerator over the platform's endpoints. Notification callbacks are accepted and
// never called: the simulated endpoints do not change on their own.
class DeviceEnumerator final : public IMMDeviceEnumerator, private TrackedObject {
public:
    static HRESULT Create(std::shared_ptr<PlatformState> state, REFIID riid, void** out) noexcept;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IMMDeviceEnumerator
    HRESULT STDMETHODCALLTYPE EnumAudioEndpoints(EDataFlow flow, DWORD stateMask, IMMDeviceCollection** devices) override;
    HRESULT STDMETHODCALLTYPE GetDefaultAudioEndpoint(EDataFlow flow, ERole role, IMMDevice** endpoint) override;
    HRESULT STDMETHODCALLTYPE GetDevice(LPCWSTR id, IMMDevice** device) override;
    HRESULT STDMETHODCALLTYPE RegisterEndpointNotificationCallback(IMMNotificationClient* client) override;
    HRESULT STDMETHODCALLTYPE UnregisterEndpointNotificationCallback(IMMNotificationClient* client) override;

private:
    explicit DeviceEnumerator(std::shared_ptr<PlatformState> state) noexcept;
    ~DeviceEnumerator() override = default;
};

}  // namespace sim
