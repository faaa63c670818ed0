#include "sim/Endpoint.h"

#include <new>
#include <stdexcept>

namespace sim {

namespace {

bool SameKey(const PROPERTYKEY& a, const PROPERTYKEY& b) {
    return a.pid == b.pid && IsEqualGUID(a.fmtid, b.fmtid);
}

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

size_t Endpoint::IndexLocked(const PROPERTYKEY& key) const {
    for (size_t i = 0; i < values_.size(); ++i) {
        if (SameKey(values_[i].first, key)) return i;
    }
    return kAbsent;
}

HRESULT Endpoint::SetValue(const PROPERTYKEY& key, const PROPVARIANT& value) {
    PropVariant copy;
    const HRESULT hr = copy.Assign(value);
    if (FAILED(hr)) return hr;
    std::lock_guard lock(mutex_);
    if (const size_t index = IndexLocked(key); index != kAbsent) {
        values_[index].second = std::move(copy);
        return S_OK;
    }
    try {
        values_.emplace_back(key, std::move(copy));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT Endpoint::GetValue(const PROPERTYKEY& key, PROPVARIANT* out) const {
    if (out == nullptr) return E_POINTER;
    std::lock_guard lock(mutex_);
    if (const size_t index = IndexLocked(key); index != kAbsent) return values_[index].second.CopyTo(out);
    PropVariantInit(out);
    return S_OK;
}

bool Endpoint::Has(const PROPERTYKEY& key) const {
    std::lock_guard lock(mutex_);
    return IndexLocked(key) != kAbsent;
}

size_t Endpoint::ValueCount() const {
    std::lock_guard lock(mutex_);
    return values_.size();
}

bool Endpoint::KeyAt(size_t index, PROPERTYKEY* key) const {
    std::lock_guard lock(mutex_);
    if (index >= values_.size()) return false;
    *key = values_[index].first;
    return true;
}

}  // namespace sim
