// A VT_VECTOR | VT_I4 PROPVARIANT of `count` elements for the caller to fill,
// allocated with CoTaskMemAlloc so that PropVariantClear frees it. The library's own
// equivalent of InitPropVariantFromInt32Vector, which not every platform the
// DLL runs on implements.
#pragma once

#include <windows.h>
#include <propidl.h>

#include <cstdint>

namespace kelix {

HRESULT InitInt32VectorPropVariant(std::uint32_t count, PROPVARIANT* value);

}  // namespace kelix
