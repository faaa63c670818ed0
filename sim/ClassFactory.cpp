#include "sim/ClassFactory.h"

#include <utility>

#include "sim/TrackedObject.h"

namespace sim {

ClassFactory::ClassFactory(std::shared_ptr<PlatformState> state, const char* createMethod, Creator create) noexcept
    : state_(std::move(state)), createMethod_(createMethod), create_(create) {}

HRESULT ClassFactory::QueryInterface(REFIID riid, void** out) {
    ClearOut(out);
    if (out == nullptr) return E_POINTER;
    if (riid == __uuidof(IUnknown) || riid == __uuidof(IClassFactory)) {
        *out = static_cast<IClassFactory*>(this);
        AddRef();
        return S_OK;
    }
    return E_NOINTERFACE;
}

ULONG ClassFactory::AddRef() { return ++references_; }

ULONG ClassFactory::Release() {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
}

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** out) {
    ClearOut(out);
    if (const HRESULT hr = state_->methods.Enter(createMethod_); FAILED(hr)) return hr;
    if (out == nullptr) return E_POINTER;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    return create_(state_, riid, out);
}

HRESULT ClassFactory::LockServer(BOOL /*lock*/) {
    return state_->methods.Enter("IClassFactory::LockServer");
}

}  // namespace sim
