#pragma once

#include <windows.h>
#include <propsys.h>

#include <memory>

#include "sim/Endpoint.h"
#include "sim/TrackedObject.h"

namespace sim {

// IPropertyStore of an endpoint, opened in one STGM mode. Reads and writes go straight to the
// endpoint's values, so every store of the endpoint sees them at once; Commit has nothing left
// to do but is counted like every method.
class PropertyStore final : public IPropertyStore, private TrackedObject {
public:
    static HRESULT Create(std::shared_ptr<PlatformState> state, Endpoint& endpoint, DWORD stgmAccess, REFIID riid,
                          void** out) noexcept;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IPropertyStore
    HRESULT STDMETHODCALLTYPE GetCount(DWORD* count) override;
    HRESULT STDMETHODCALLTYPE GetAt(DWORD index, PROPERTYKEY* key) override;
    HRESULT STDMETHODCALLTYPE GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override;
    HRESULT STDMETHODCALLTYPE SetValue(REFPROPERTYKEY key, REFPROPVARIANT value) override;
    HRESULT STDMETHODCALLTYPE Commit() override;

private:
    PropertyStore(std::shared_ptr<PlatformState> state, Endpoint& endpoint, DWORD stgmAccess) noexcept;
    ~PropertyStore() override = default;

    bool Writable() const noexcept { return access_ == STGM_WRITE || access_ == STGM_READWRITE; }

    // Enter, then AUDCLNT_E_DEVICE_INVALIDATED once the endpoint was removed since the store opened.
    HRESULT EnterPresent(std::string_view method) const noexcept;

    Endpoint& endpoint_;
    const DWORD access_;
    const unsigned ticket_;
};

}  // namespace sim
