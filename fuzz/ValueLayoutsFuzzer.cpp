// Both directions of the caller value layouts over arbitrary ids, sizes and
// bytes. Buffers are allocated at exactly their stated size, so ASan reports
// any access past them; fixed layouts, which are read at their fixed size
// whatever the caller says, get at least that many bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/ValueLayouts.h"

namespace {

constexpr kelix::ParameterId kIds[] = {1105, 1114, 1119, 1122, 1123, 1156, 1161, 1162, 1170,
                                       2105, 2107, 2108, 2109, 2116, 2122, 3002};
constexpr std::size_t kLargestFixedLayout = 884;

bool SizedByCount(kelix::ParameterId id) {
    return id == 1156 || id == 2105 || id == 2107 || id == 2116;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) return 0;
    const kelix::ParameterId id = kIds[data[0] % std::size(kIds)];
    const bool inbound = (data[1] & 1) != 0;
    const std::uint32_t callerSize = (std::uint32_t{data[2]} << 8 | data[3]) % 4200;
    const std::vector<std::uint8_t> bytes(data + 4, data + size);

    if (inbound) {
        const std::size_t allocated = SizedByCount(id) ? bytes.size() : std::max(bytes.size(), kLargestFixedLayout);
        std::vector<std::uint8_t> value(allocated, 0);
        if (!bytes.empty()) std::memcpy(value.data(), bytes.data(), bytes.size());
        const auto stated = static_cast<std::uint32_t>(bytes.size());
        (void)kelix::CallerToStored(id, value.empty() ? nullptr : value.data(), stated);
    } else {
        std::vector<std::uint8_t> buffer(callerSize);
        std::uint32_t bufferSize = callerSize;
        (void)kelix::StoredToCaller(id, bytes.empty() ? nullptr : bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                    buffer.empty() ? nullptr : buffer.data(), &bufferSize);
    }
    return 0;
}
