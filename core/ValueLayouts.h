// Caller value layouts: the structures a client passes to SetPexParam and
// receives from GetPexParam, and the 32-bit word vectors the property store
// holds for them, in which every array is preceded by its own length word.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/ParameterCatalogue.h"

namespace kelix {

// Capacity of the filter configuration (2105), in bytes, both directions.
inline constexpr std::uint32_t kFilterConfigCapacity = 2044;

enum class LayoutStatus {
    Ok,
    InvalidArgument,  // bad caller input, or a buffer too small for the value (size then says what is needed)
    OutOfMemory,      // a compressor tuning with more records than the caller structure holds
};

// Caller bytes -> stored value, in two steps so that the words can go straight
// into storage the caller owns: MeasureStored checks the caller's bytes and
// says what they make, WriteStored writes the words.
struct StoredShape {
    LayoutStatus status = LayoutStatus::Ok;
    bool scalar = true;                        // a scalar is stored as VT_I4, everything else as a VT_I4 vector
    std::int32_t value = 0;                    // the scalar
    std::uint32_t wordCount = 0;               // the vector's length in words
    std::uint32_t count = 0;                   // the caller's count (1156, 2105, 2107, 2116)
    std::optional<std::int32_t> filterCleared; // 2105 above capacity: the byte count asked for
};

// No byte beyond `size` is read. A caller structure shorter than its layout
// is refused and the caller's bytes are left as they are: fixed layouts need
// the whole structure, scalars 4 bytes, and layouts sized by a count (1156,
// 2107, 2116) their header and every counted item. A filter configuration
// (2105) counts its bytes unsigned: above capacity it is cleared (the
// caller's byte count is set to 0 and an empty configuration stored),
// otherwise the counted bytes must lie within `size`. A null value is
// refused, except by 1162, which stores 18 zero words for a null value or a
// size of 0.
StoredShape MeasureStored(ParameterId id, std::uint8_t* value, std::uint32_t size);

// Writes the `wordCount` words of a vector that MeasureStored accepted, from
// the same `value` and `size`, and no more whatever the caller's bytes say now.
void WriteStored(ParameterId id, const std::uint8_t* value, std::uint32_t size, const StoredShape& shape,
                 std::int32_t* words);

// Both steps, into a vector of its own.
struct StoredValue : StoredShape {
    std::vector<std::int32_t> words;
};
StoredValue CallerToStored(ParameterId id, std::uint8_t* value, std::uint32_t size);

// Stored value -> caller bytes. `data` and `dataBytes` are the stored value's
// bytes (4 for a scalar). The caller's buffer is zeroed for its size first;
// when it is null or smaller than the value needs, *size receives the needed
// size and InvalidArgument is the result (1156 without stored data leaves
// *size as it is). On success *size is left as the caller gave it. Every copy
// stays inside both the stored bytes and the caller's size.
struct CopyResult {
    LayoutStatus status = LayoutStatus::Ok;
    std::optional<std::uint32_t> filterCleared;  // 2105 above capacity: the byte count found
};
CopyResult StoredToCaller(ParameterId id, const std::uint8_t* data, std::uint32_t dataBytes, std::uint8_t* buffer,
                          std::uint32_t* size);

}  // namespace kelix
