#pragma once

#include <windows.h>
#include <mmdeviceapi.h>

#include <memory>
#include <mutex>
#include <vector>

#include "sim/TrackedObject.h"

namespace sim {

// IMMDeviceEnumerator over the platform's endpoints. As on Windows, it is one object per
// process: Create hands out the live enumerator while anyone holds it (the same pointer, one
// reference count), and a new one only after the last reference went. Notification callbacks
// are kept for Unregister and never called: the simulated endpoints do not change on their own.
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

    std::mutex clientsMutex_;
    std::vector<IMMNotificationClient*> clients_;  // not AddRef'd, as on Windows
};

}  // namespace sim
