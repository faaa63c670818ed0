#include "sim/TrackedObject.h"

#include <utility>

namespace sim {

TrackedObject::TrackedObject(std::shared_ptr<PlatformState> state, Kind kind) noexcept
    : state_(std::move(state)), kind_(kind) {
    state_->ledger.Born(kind_);
}

TrackedObject::~TrackedObject() { state_->ledger.Died(kind_); }

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
