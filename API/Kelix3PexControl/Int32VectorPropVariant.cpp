#include "Int32VectorPropVariant.h"

#include <objbase.h>

namespace kelix {

HRESULT InitInt32VectorPropVariant(std::uint32_t count, PROPVARIANT* value) {
    PropVariantInit(value);
    const size_t bytes = size_t{count} * sizeof(LONG);
    auto* elements = static_cast<LONG*>(CoTaskMemAlloc(bytes != 0 ? bytes : 1));
    if (elements == nullptr) return E_OUTOFMEMORY;
    value->vt = VT_VECTOR | VT_I4;
    value->cal.cElems = count;
    value->cal.pElems = elements;
    return S_OK;
}

}  // namespace kelix
