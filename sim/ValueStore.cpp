#include "sim/ValueStore.h"

#include <new>

namespace sim {

size_t ValueStore::IndexLocked(const PROPERTYKEY& key) const {
    for (size_t i = 0; i < values_.size(); ++i) {
        if (values_[i].first.pid == key.pid && IsEqualGUID(values_[i].first.fmtid, key.fmtid)) return i;
    }
    return kAbsent;
}

HRESULT ValueStore::Set(const PROPERTYKEY& key, const PROPVARIANT& value) {
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

HRESULT ValueStore::Get(const PROPERTYKEY& key, PROPVARIANT* out) const {
    if (out == nullptr) return E_POINTER;
    std::lock_guard lock(mutex_);
    if (const size_t index = IndexLocked(key); index != kAbsent) return values_[index].second.CopyTo(out);
    PropVariantInit(out);
    return S_OK;
}

bool ValueStore::Has(const PROPERTYKEY& key) const {
    std::lock_guard lock(mutex_);
    return IndexLocked(key) != kAbsent;
}

size_t ValueStore::Count() const {
    std::lock_guard lock(mutex_);
    return values_.size();
}

bool ValueStore::KeyAt(size_t index, PROPERTYKEY* key) const {
    std::lock_guard lock(mutex_);
    if (index >= values_.size()) return false;
    *key = values_[index].first;
    return true;
}

}  // namespace sim
