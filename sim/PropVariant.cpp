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

namespace {

// What lies behind the last element of a string vector handed out: the class id of a known
// effect, so that a reader that reads past cElems takes it for an answer and shows it.
const wchar_t kPastTheEnd[] = L"{d9916f9d-99f7-11e7-bf21-6c0b849889e1}";

// Moves a copied string vector's elements into an array one slot longer, that slot
// kPastTheEnd. PropVariantClear frees cElems elements and the array, never that slot.
HRESULT WithCanary(PROPVARIANT& copy) noexcept {
    if (copy.vt != (VT_VECTOR | VT_LPWSTR) && copy.vt != (VT_VECTOR | VT_BSTR)) return S_OK;
    const ULONG count = copy.calpwstr.cElems;  // cabstr has the same layout
    auto* elements = static_cast<LPWSTR*>(CoTaskMemAlloc((count + 1) * sizeof(LPWSTR)));
    if (elements == nullptr) return E_OUTOFMEMORY;
    if (count > 0) std::memcpy(elements, copy.calpwstr.pElems, count * sizeof(LPWSTR));
    elements[count] = const_cast<LPWSTR>(kPastTheEnd);
    CoTaskMemFree(copy.calpwstr.pElems);
    copy.calpwstr.pElems = elements;
    return S_OK;
}

}  // namespace

HRESULT PropVariant::CopyTo(PROPVARIANT* out) const noexcept {
    if (out == nullptr) return E_POINTER;
    PropVariantInit(out);
    HRESULT hr = PropVariantCopy(out, &value_);
    if (FAILED(hr)) {
        PropVariantInit(out);  // may alias our memory: hand back VT_EMPTY
        return hr;
    }
    hr = WithCanary(*out);
    if (FAILED(hr)) PropVariantClear(out);
    return hr;
}

}  // namespace sim
