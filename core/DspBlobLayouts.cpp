#include "core/DspBlobLayouts.h"

#include <algorithm>
#include <cstring>

#include "core/ValueLayouts.h"

namespace kelix {
namespace {

constexpr ParameterId kPartialOutputModeOnDsp = 1141;
constexpr ParameterId kFilterConfig = 2105;

constexpr ParameterId kBlobIds[] = {1114, 1123, 1141, 1162, 2105, 2107, 2108, 2109, 2116, 2122};

std::vector<std::uint8_t> WordBytes(const std::vector<std::int32_t>& words) {
    std::vector<std::uint8_t> bytes(words.size() * 4);
    if (!bytes.empty()) std::memcpy(bytes.data(), words.data(), bytes.size());
    return bytes;
}

}  // namespace

bool TakesDspBlob(ParameterId id) { return std::find(std::begin(kBlobIds), std::end(kBlobIds), id) != std::end(kBlobIds); }

std::optional<std::vector<std::uint8_t>> CallerToDspBlob(ParameterId id, const std::uint8_t* caller,
                                                         std::uint32_t size) {
    if (!TakesDspBlob(id)) return std::nullopt;
    if (caller == nullptr) size = 0;
    // A private copy: the store's conversion clears an oversized filter count in place.
    std::vector<std::uint8_t> bytes(caller, caller + size);
    if (id == kPartialOutputModeOnDsp) {
        // The store's layout of 1156 is [first, n, v[n]] as the caller gives it.
        const StoredValue stored = CallerToStored(1156, bytes.data(), size);
        if (stored.status != LayoutStatus::Ok) return std::nullopt;
        std::vector<std::int32_t> words{static_cast<std::int32_t>(stored.words.size())};
        words.insert(words.end(), stored.words.begin(), stored.words.end());
        return WordBytes(words);
    }
    const StoredValue stored = CallerToStored(id, bytes.empty() ? nullptr : bytes.data(), size);
    if (stored.status != LayoutStatus::Ok || stored.scalar || stored.filterCleared) return std::nullopt;
    std::vector<std::uint8_t> blob = WordBytes(stored.words);
    if (id == kFilterConfig) blob.resize(4 + static_cast<std::uint32_t>(stored.words[0]));  // no padding
    return blob;
}

}  // namespace kelix
