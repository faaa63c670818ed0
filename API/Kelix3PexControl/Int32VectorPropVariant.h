// A VT_VECTOR | VT_I4 PROPVARIANT from 32-bit words, allocated with
// CoTaskMemAlloc so that PropVariantClear frees it. The library's own
// equivalent of InitPropVariantFromInt32Vector, which not every platform the
// DLL runs on implements.
#pragma once

#include <windows.h>
#include <propidl.h>

#include <cstdint>
#include <vector>

namespace kelix {

HRESULT InitInt32VectorPropVariant(const std::vector<std::int32_t>& words, PROPVARIANT* value);

}  // namespace kelix
