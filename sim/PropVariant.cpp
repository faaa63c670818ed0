#include "sim/PropVariant.h"

#include <cstring>

namespace sim {

PropVariant::PropVariant() noexcept { PropVariantInit(&value_); }

PropVariant::~PropVariant() { PropVariantClear(&value_); }

PropVariant::PropVariant(PropVariant&& other) noexcept {
    std::memcpy(&value_, &other.value_, sizeof value_);
    PropVariantInit(&other.value_);
}

PropVariant& PropVariant::operator=(PropVariant&& other) noexcept {
    if (this != &other) {
        PropVariantClear(&value_);
        std::memcpy(&value_, &other.value_, sizeof value_);
        PropVariantInit(&other.value_);
    }
    return *this;
}

HRESULT PropVariant::Assign(const PROPVARIANT& source) noexcept {
    PROPVARIANT copy;
    PropVariantInit(&copy);
    const HRESULT hr = PropVariantCopy(&copy, &source);
    if (FAILED(hr)) {
        // A failed copy may still alias the source's memory: forget it rather than clear it.
        PropVariantInit(&copy);
        return hr;
    }
    PropVariantClear(&value_);
    std::memcpy(&value_, &copy, sizeof value_);
    return S_OK;
}

HRESULT PropVariant::CopyTo(PROPVARIANT* out) const noexcept {
    if (out == nullptr) return E_POINTER;
    PropVariantInit(out);
    const HRESULT hr = PropVariantCopy(out, &value_);
    if (FAILED(hr)) PropVariantInit(out);  // may alias our memory: hand back VT_EMPTY
    return hr;
}

}  // namespace sim
