// Parameter id families and the special ids of the exported API.
#pragma once

#include <cstdint>

namespace kelix {

inline constexpr std::int32_t kPexVersionId = 1001;
inline constexpr std::int32_t kPexDirectRequestId = 1003;
inline constexpr std::int32_t kKreloVersionId = 2001;
inline constexpr std::int32_t kKreloDirectRequestId = 2003;

// PEX is 1001..1998 and KRELO 2001..2998; ids below a base wrap around in the
// unsigned difference and fall outside.
constexpr bool IsPexId(std::int32_t id) {
    return static_cast<std::uint32_t>(id) - 1001u <= 997u;
}
constexpr bool IsKreloId(std::int32_t id) {
    return static_cast<std::uint32_t>(id) - 2001u <= 997u;
}

constexpr bool IsVersionQueryId(std::int32_t id) {
    return id == kPexVersionId || id == kKreloVersionId;
}
constexpr bool IsDirectRequestId(std::int32_t id) {
    return id == kPexDirectRequestId || id == kKreloDirectRequestId;
}

// Route flags word.
inline constexpr std::uint32_t kRoutePropertyStore = 0x1;
inline constexpr std::uint32_t kRouteDsp = 0x2;

}  // namespace kelix
