#pragma once

#include <windows.h>
#include <unknwn.h>

#include <atomic>
#include <memory>

#include "sim/PlatformState.h"

namespace sim {

// Class object of CLSID_MMDeviceEnumerator: each CreateInstance makes a new enumerator of the
// platform. Not in the ledger: COM holds it for as long as it is registered.
class ClassFactory final : public IClassFactory {
public:
    explicit ClassFactory(std::shared_ptr<PlatformState> state) noexcept;
    ClassFactory(const ClassFactory&) = delete;
    ClassFactory& operator=(const ClassFactory&) = delete;

    // IUnknown
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    // IClassFactory
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** out) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

private:
    virtual ~ClassFactory() = default;

    const std::shared_ptr<PlatformState> state_;
    std::atomic<ULONG> references_{1};
};

}  // namespace sim
