// The VT_BLOB a client writes for an array parameter on the DSP route. A
// module keeps the words it is sent and answers them on a read, which gives
// the caller's structure back; so the blob of each id is the module's own
// layout of that structure:
//   - 1114, 1123, 2108, 2109, 2116, 2122: the property store's word vector of
//     the caller structure, every array preceded by its length word (2108,
//     2109, 2116 and 2122 lose those words on the way to the module);
//   - 1141: the caller's [first, n, v[n]] behind the count of words that follow;
//   - 1162, 2105, 2107: the caller structure itself (2105 exactly 4 + N bytes).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/ParameterCatalogue.h"

namespace kelix {

// Whether id takes a VT_BLOB on the DSP route (every other id there is a VT_I4 scalar).
bool TakesDspBlob(ParameterId id);

// The blob for a caller structure of `size` bytes; nothing when id takes no
// blob, or the structure is shorter than its layout or its counts say, or a
// filter configuration is above capacity. The caller's bytes are not changed.
std::optional<std::vector<std::uint8_t>> CallerToDspBlob(ParameterId id, const std::uint8_t* caller,
                                                         std::uint32_t size);

}  // namespace kelix
