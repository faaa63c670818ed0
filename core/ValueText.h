// Value text of log lines: elements as plain decimal numbers joined by ", ".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "core/ParameterCatalogue.h"

namespace kelix {

// "NULL" for a null list or a zero count.
std::wstring Int32ListText(const std::int32_t* values, std::size_t count);
std::wstring ByteListText(const std::uint8_t* bytes, std::size_t count);

// Same as Int32ListText over `count` 32-bit words read from possibly unaligned bytes.
std::wstring Int32WordsText(const std::uint8_t* bytes, std::size_t count);

// Text of a counted value of `size` bytes: the filter configuration (2105) as
// bytes, every other parameter as size / 4 signed 32-bit words (a remainder of
// fewer than four bytes is not shown).
std::wstring CountedValueText(ParameterId id, const std::uint8_t* data, std::uint32_t size);

}  // namespace kelix
