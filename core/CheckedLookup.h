// Checked lookup in a constant table: a missing key is a programming fault,
// reported as the container's out-of-range error with one text on every toolchain.
#pragma once

#include <stdexcept>

namespace kelix {

template <typename Map, typename Key>
const auto& CheckedAt(const Map& map, const Key& key) {
    const auto found = map.find(key);
    if (found == map.end()) throw std::out_of_range("invalid map<K, T> key");
    return found->second;
}

}  // namespace kelix
