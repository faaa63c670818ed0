// The order of the per-endpoint tables: device ids compared ordinally, code unit
// by code unit ("ab" before "abc"), as std::wstring_view compares them. Equal
// leading runs, which make up most of two endpoint ids of one machine, are
// passed over eight bytes at a time.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kelix {

inline int CompareDeviceIds(std::wstring_view a, std::wstring_view b) {
    constexpr std::size_t kUnitsPerStep = sizeof(std::uint64_t) / sizeof(wchar_t);
    const std::size_t common = std::min(a.size(), b.size());
    std::size_t i = 0;
    for (; i + kUnitsPerStep <= common; i += kUnitsPerStep) {
        std::uint64_t x, y;
        std::memcpy(&x, a.data() + i, sizeof x);
        std::memcpy(&y, b.data() + i, sizeof y);
        if (x != y) break;
    }
    for (; i < common; ++i) {
        if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
    }
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

// Transparent: a table keyed by std::wstring is searched with the caller's text as it is.
struct DeviceIdLess {
    using is_transparent = void;
    bool operator()(std::wstring_view a, std::wstring_view b) const { return CompareDeviceIds(a, b) < 0; }
};

}  // namespace kelix
