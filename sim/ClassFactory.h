#pragma once

#include <windows.h>
#include <unknwn.h>

#include <atomic>
#include <memory>

#include "sim/PlatformState.h"

namespace sim {

// Class object of a simulated class (the device enumerator, the policy-configuration object):
// each CreateInstance makes a new object of the platform. Not in the ledger: COM holds it for
// as long as it is registered.
class ClassFactory final : public IClassFactory {
public:
    using Creator = HRESULT (*)(std::shared_ptr<PlatformState> state, REFIID riid, void** out) noexcept;
    // createMethod: the method name under which CreateInstance is counted and failed.
    ClassFactory(std::shared_ptr<PlatformState> state, const char* createMethod, Creator create) noexcept;
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
    const char* const createMethod_;
    const Creator create_;
    std::atomic<ULONG> references_{1};
};

}  // namespace sim
