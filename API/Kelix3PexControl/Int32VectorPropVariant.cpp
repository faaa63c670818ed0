#include "Int32VectorPropVariant.h"

#include <objbase.h>

#include <cstring>

namespace kelix {

HRESULT InitInt32VectorPropVariant(const std::vector<std::int32_t>& words, PROPVARIANT* value) {
    PropVariantInit(value);
    const size_t bytes = words.size() * sizeof(std::int32_t);
    auto* elements = static_cast<LONG*>(CoTaskMemAlloc(bytes != 0 ? bytes : 1));
    if (elements == nullptr) return E_OUTOFMEMORY;
    if (bytes != 0) std::memcpy(elements, words.data(), bytes);
    value->vt = VT_VECTOR | VT_I4;
    value->cal.cElems = static_cast<ULONG>(words.size());
    value->cal.pElems = elements;
    return S_OK;
}

}  // namespace kelix
