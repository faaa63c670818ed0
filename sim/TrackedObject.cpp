#include "sim/TrackedObject.h"

#include <objbase.h>

#include <cstring>
#include <utility>

namespace sim {

TrackedObject::TrackedObject(std::shared_ptr<PlatformState> state, Kind kind) noexcept
    : state_(std::move(state)), kind_(kind) {
    state_->ledger.Born(kind_);
}

TrackedObject::~TrackedObject() { state_->ledger.Died(kind_); }

HRESULT TaskMemCopy(const std::wstring& text, LPWSTR* out) noexcept {
    const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    auto* copy = static_cast<LPWSTR>(CoTaskMemAlloc(bytes));
    if (copy == nullptr) return E_OUTOFMEMORY;
    std::memcpy(copy, text.c_str(), bytes);
    *out = copy;
    return S_OK;
}

ULONG TrackedObject::AddRefTracked() noexcept {
    state_->ledger.AddRef(kind_);
    return ++references_;
}

ULONG TrackedObject::ReleaseTracked() noexcept {
    state_->ledger.Release(kind_);
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
}

}  // namespace sim
