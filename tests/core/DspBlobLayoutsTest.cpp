#include <gtest/gtest.h>

#include "Words.h"

#include "core/DspBlobLayouts.h"

namespace kelix {
namespace {

using test::Bytes;
using test::Iota;
using test::Join;

TEST(DspBlobLayoutsTest, BlobsAreTheModulesLayoutOfTheCallerStructure) {
    struct Case {
        ParameterId id;
        std::vector<std::uint8_t> caller;
        std::optional<std::vector<std::uint8_t>> blob;
    };
    std::vector<std::uint8_t> filter = Bytes({5, 0x04030201, 0x05});
    filter.resize(9);
    std::vector<std::uint8_t> oversized = Bytes({2045});
    oversized.resize(4 + 2045);
    const Case cases[] = {
        {1114, Bytes(Join({{2}, Iota(40, 1)})), Bytes(Join({{2, 20}, Iota(20, 1), {20}, Iota(20, 21)}))},
        {1141, Bytes({7, 2, 30, 31}), Bytes({4, 7, 2, 30, 31})},  // the count of words that follow first
        {1141, Bytes({7, 3, 30, 31}), std::nullopt},             // n claims more than was given
        {2105, filter, filter},                                   // no padding
        {2105, oversized, std::nullopt},
        {2116, Bytes(Join({{1}, Iota(6, 1)})), Bytes(Join({{1, 6}, Iota(6, 1)}))},
        {2122, Bytes(Iota(8, 1)), Bytes(Join({{8}, Iota(8, 1)}))},
        {2122, Bytes(Iota(7, 1)), std::nullopt},  // shorter than the structure
        {1105, Bytes({1}), std::nullopt},         // a scalar: VT_I4
    };
    for (const Case& c : cases) {
        const std::vector<std::uint8_t> before = c.caller;
        EXPECT_EQ(CallerToDspBlob(c.id, c.caller.data(), static_cast<std::uint32_t>(c.caller.size())), c.blob) << c.id;
        EXPECT_EQ(c.caller, before) << c.id;
    }
    EXPECT_EQ(CallerToDspBlob(1162, nullptr, 0), Bytes(std::vector<std::int32_t>(18, 0)));
}

}  // namespace
}  // namespace kelix
