// Reads a PROPVARIANT the way the library's texts and layouts do: a scalar
// (VT_I4, VT_UI4) or a counted value, that is the count word after the type
// tag and the data pointer after it.
#pragma once

#include <windows.h>
#include <propidl.h>

#include <cstdint>
#include <string>

#include "core/ParameterCatalogue.h"

namespace kelix {

struct CountedValue {
    const std::uint8_t* data = nullptr;
    std::uint32_t count = 0;  // the count word as stored: bytes of a blob, elements of a vector
};

bool IsScalar(const PROPVARIANT& value);

// The stored bytes of a value as the caller layouts read them: the 4 bytes of
// a scalar, the cbSize bytes of a blob, every element's bytes of a vector of
// fixed-size numbers; nothing for any other type.
struct StoredBytes {
    const std::uint8_t* data = nullptr;
    std::uint32_t size = 0;
};
StoredBytes StoredBytesOf(const PROPVARIANT& value);

// For VT_BLOB and vectors the count word and data pointer; every other type
// carries no counted data and gives an empty value, so nothing is ever read
// through a field that is not a pointer to counted data.
CountedValue CountedView(const PROPVARIANT& value);

// The value text of the store's information lines: a scalar as a signed decimal
// number, anything else as a counted value (CountedValueText), "NULL" when empty.
std::wstring PropVariantText(ParameterId id, const PROPVARIANT& value);

}  // namespace kelix
