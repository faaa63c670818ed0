#pragma once

#include <windows.h>
#include <mmdeviceapi.h>

#include <memory>
#include <vector>

#include "sim/TrackedObject.h"

namespace sim {

// IMMDeviceCollection: the endpoints that matched when it was made, in the order added.
class DeviceCollection final : public IMMDeviceCollection, private TrackedObject {
public:
    static HRESULT Create(std::shared_ptr<PlatformState> state, std::vector<Endpoint*> endpoints, REFIID riid,
                          void** out) noexcept;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IMMDeviceCollection
    HRESULT STDMETHODCALLTYPE GetCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE Item(UINT index, IMMDevice** device) override;

private:
    DeviceCollection(std::shared_ptr<PlatformState> state, std::vector<Endpoint*> endpoints) noexcept;
    ~DeviceCollection() override = default;

    const std::vector<Endpoint*> endpoints_;
};

}  // namespace sim
