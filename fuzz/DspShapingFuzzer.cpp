// DSP value shaping over arbitrary ids, versions and bytes: blobs reshaped for
// a module and module replies shaped into caller buffers, every buffer
// allocated at exactly its stated size.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/DspValueShaping.h"

namespace {

constexpr kelix::ParameterId kIds[] = {1114, 1123, 1141, 1162, 2104, 2105, 2107, 2108,
                                       2109, 2110, 2116, 2122, 2125, 2126, 2127, 2128};
const wchar_t* const kVersions[] = {L"1.0.0", L"1.3.1", L"1.4.1", L"1.4.2-lite", L"2.10.0-lite", L"2.10", L""};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) return 0;
    const kelix::ParameterId id = kIds[data[0] % std::size(kIds)];
    const std::wstring version = kVersions[data[1] % std::size(kVersions)];
    const std::uint32_t callerSize = (std::uint32_t{data[2]} << 8 | data[3]) % 1024;
    const std::vector<std::uint8_t> bytes(data + 4, data + size);
    const auto length = static_cast<std::uint32_t>(bytes.size());

    (void)kelix::ReshapeBlobForDsp(id, bytes.empty() ? nullptr : bytes.data(), length, version == L"1.0.0");
    std::vector<std::uint8_t> buffer(callerSize);
    (void)kelix::ShapeDspReply(id, bytes.empty() ? nullptr : bytes.data(), length, version,
                               buffer.empty() ? nullptr : buffer.data(), callerSize);
    return 0;
}
