#pragma once

#include <windows.h>

#include <memory>

#include "API/Kelix3PexControl/PolicyConfig.h"
#include "sim/TrackedObject.h"

namespace sim {

// The policy-configuration object: serves each simulated endpoint's FX store
// (and device store) by device id, as Windows' own serves the effect registrations.
class PolicyConfig final : public kelix::IPolicyConfigVistaClient, private TrackedObject {
public:
    static HRESULT Create(std::shared_ptr<PlatformState> state, REFIID riid, void** out) noexcept;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IPolicyConfigVistaClient
    HRESULT STDMETHODCALLTYPE Unused3() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused4() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused5() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused7() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused8() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPropertyValue(LPCWSTR deviceId, BOOL fxStore, const PROPERTYKEY& key,
                                               PROPVARIANT* value) override;

private:
    explicit PolicyConfig(std::shared_ptr<PlatformState> state) noexcept;
};

}  // namespace sim
