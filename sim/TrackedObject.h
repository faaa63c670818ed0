#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "sim/Ledger.h"
#include "sim/PlatformState.h"

namespace sim {

// Base of every simulated COM object: the reference count, reported to the platform's ledger,
// and the shared platform state. An object starts with one reference and deletes itself when
// the last one is released.
class TrackedObject {
public:
    TrackedObject(const TrackedObject&) = delete;
    TrackedObject& operator=(const TrackedObject&) = delete;

protected:
    TrackedObject(std::shared_ptr<PlatformState> state, Kind kind) noexcept;
    virtual ~TrackedObject();

    ULONG AddRefTracked() noexcept;
    ULONG ReleaseTracked() noexcept;

    // Counts a call of method and returns its injected failure, or S_OK.
    HRESULT Enter(std::string_view method) const noexcept { return state_->methods.Enter(method); }
    const std::shared_ptr<PlatformState>& State() const noexcept { return state_; }

private:
    const std::shared_ptr<PlatformState> state_;
    const Kind kind_;
    std::atomic<ULONG> references_{1};
};

// Null-on-failure for interface and string out-parameters: set before any other work.
template <class T>
void ClearOut(T** out) noexcept {
    if (out != nullptr) *out = nullptr;
}

// A CoTaskMemAlloc copy of text for a string out-parameter (GetId and the like).
HRESULT TaskMemCopy(const std::wstring& text, LPWSTR* out) noexcept;

// Hands a new object (holding its creation reference) to the caller as riid, then drops the
// creation reference: the caller ends up with the only reference, or the object is gone. An
// object whose QueryInterface is a counted method hands itself out through its own `query`.
template <class Object>
HRESULT Hand(Object* object, REFIID riid, void** out,
             HRESULT (Object::*query)(REFIID, void**) = &Object::QueryInterface) noexcept {
    if (object == nullptr) return E_OUTOFMEMORY;
    const HRESULT hr = (object->*query)(riid, out);
    object->Release();
    return hr;
}

}  // namespace sim
