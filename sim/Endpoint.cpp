#include "sim/Endpoint.h"

#include <stdexcept>

namespace sim {

namespace {

bool IsSingleState(DWORD state) {
    return state == DEVICE_STATE_ACTIVE || state == DEVICE_STATE_DISABLED ||
           state == DEVICE_STATE_NOTPRESENT || state == DEVICE_STATE_UNPLUGGED;
}

}  // namespace

Endpoint::Endpoint(EndpointConfig config)
    : id_(std::move(config.id)), flow_(config.flow), state_(config.state), access_(config.access) {
    if (id_.empty()) throw std::invalid_argument("endpoint id must not be empty");
    if (flow_ != eRender && flow_ != eCapture) throw std::invalid_argument("endpoint flow must be eRender or eCapture");
    if (!IsSingleState(state_)) throw std::invalid_argument("endpoint state must be one DEVICE_STATE_* value");
}

const std::wstring& Endpoint::Id() const { return id_; }

EDataFlow Endpoint::Flow() const { return flow_; }

void Endpoint::SetAccess(StoreAccess access) {
    std::lock_guard lock(mutex_);
    access_ = access;
}

StoreAccess Endpoint::Access() const {
    std::lock_guard lock(mutex_);
    return access_;
}

void Endpoint::SetState(DWORD state) {
    if (!IsSingleState(state)) throw std::invalid_argument("endpoint state must be one DEVICE_STATE_* value");
    std::lock_guard lock(mutex_);
    state_ = state;
}

DWORD Endpoint::State() const {
    std::lock_guard lock(mutex_);
    return state_;
}

void Endpoint::Remove() {
    std::lock_guard lock(mutex_);
    if (removed_) return;
    removed_ = true;
    ++removals_;
    stateBeforeRemoval_ = state_;
    state_ = DEVICE_STATE_NOTPRESENT;
}

void Endpoint::Restore() {
    std::lock_guard lock(mutex_);
    if (!removed_) return;
    removed_ = false;
    state_ = stateBeforeRemoval_ == DEVICE_STATE_NOTPRESENT ? DEVICE_STATE_ACTIVE : stateBeforeRemoval_;
}

unsigned Endpoint::Ticket() const {
    std::lock_guard lock(mutex_);
    return removals_;
}

bool Endpoint::Present(unsigned ticket) const {
    std::lock_guard lock(mutex_);
    return !removed_ && ticket == removals_;
}

HRESULT Endpoint::SetValue(const PROPERTYKEY& key, const PROPVARIANT& value) { return values_.Set(key, value); }

HRESULT Endpoint::GetValue(const PROPERTYKEY& key, PROPVARIANT* out) const { return values_.Get(key, out); }

bool Endpoint::Has(const PROPERTYKEY& key) const { return values_.Has(key); }

size_t Endpoint::ValueCount() const { return values_.Count(); }

bool Endpoint::KeyAt(size_t index, PROPERTYKEY* key) const { return values_.KeyAt(index, key); }

HRESULT Endpoint::SetFxValue(const PROPERTYKEY& key, const PROPVARIANT& value) { return fxValues_.Set(key, value); }

HRESULT Endpoint::GetFxValue(const PROPERTYKEY& key, PROPVARIANT* out) const { return fxValues_.Get(key, out); }

}  // namespace sim
