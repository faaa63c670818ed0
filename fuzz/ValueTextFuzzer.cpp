// Value text over arbitrary bytes and counts: never reads past the given size.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/ValueText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) return 0;
    std::int32_t id;
    std::memcpy(&id, data, sizeof id);
    // An exact-size copy, so that ASan sees any read past the end.
    const std::vector<std::uint8_t> value(data + 4, data + size);
    const auto count = static_cast<std::uint32_t>(value.size());
    (void)kelix::CountedValueText(id % 2 == 0 ? 2105 : id, value.data(), count);
    return 0;
}
