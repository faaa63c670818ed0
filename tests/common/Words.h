// Writing 32-bit word sequences out by hand in tests: runs of counted values,
// joined parts, and their little-endian bytes. Header-only, for the native and
// the Windows tests alike.
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <numeric>
#include <vector>

namespace kelix::test {

// count words first, first + 1, ...
inline std::vector<std::int32_t> Iota(std::size_t count, std::int32_t first) {
    std::vector<std::int32_t> words(count);
    std::iota(words.begin(), words.end(), first);
    return words;
}

inline std::vector<std::int32_t> Join(std::initializer_list<std::vector<std::int32_t>> parts) {
    std::vector<std::int32_t> all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

inline std::vector<std::uint8_t> Bytes(const std::vector<std::int32_t>& words) {
    std::vector<std::uint8_t> bytes(words.size() * 4);
    if (!words.empty()) std::memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

}  // namespace kelix::test
