#include <gtest/gtest.h>

#include "Words.h"

#include <algorithm>

#include "core/DspBlobLayouts.h"
#include "core/DspValueShaping.h"

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
        {2105, filter, filter},                                   // no padding
        {2105, oversized, std::nullopt},
        {2116, Bytes(Join({{1}, Iota(6, 1)})), Bytes(Join({{1, 6}, Iota(6, 1)}))},
        {2122, Bytes(Iota(8, 1)), Bytes(Join({{8}, Iota(8, 1)}))},
        {1105, Bytes({1}), std::nullopt},         // a scalar: VT_I4
    };
    for (const Case& c : cases) {
        const std::vector<std::uint8_t> before = c.caller;
        EXPECT_EQ(CallerToDspBlob(c.id, c.caller.data(), static_cast<std::uint32_t>(c.caller.size())), c.blob) << c.id;
        EXPECT_EQ(c.caller, before) << c.id;
    }
    EXPECT_EQ(CallerToDspBlob(1162, nullptr, 0), Bytes(std::vector<std::int32_t>(18, 0)));
}

TEST(ReshapeBlobForDspTest, BytesSentPerParameter) {
    struct Case {
        ParameterId id;
        bool version100;
        std::vector<std::int32_t> blob;
        std::vector<std::int32_t> sent;
    };
    const Case cases[] = {
        {2108, false, {2, 11, 12, 13, 14}, {11, 12, 14}},
        {2108, false, {0, 11, 12}, {12}},
        {2108, false, {7, 11, 12}, {11, 12}},  // a position past the end removes nothing more
        {2108, false, {-1, 11}, {11}},
        {2116, false, Join({{2, 6}, Iota(6, 1), {6}, Iota(6, 7)}), Join({{2}, Iota(12, 1)})},
        {2116, false, {5, 6, 1}, {5, 1}},  // more records claimed than sent
        {2109, false, Join({{20}, Iota(20, 1)}), Iota(20, 1)},
        {2122, true, Join({{8}, Iota(8, 1)}), Iota(8, 1)},
        {2107, true, {3, 1, 2, 3}, {1, 2, 3}},
        {2107, false, {3, 1, 2, 3}, {3, 1, 2, 3}},
    };
    for (const Case& c : cases) {
        const std::vector<std::uint8_t> blob = Bytes(c.blob);
        EXPECT_EQ(ReshapeBlobForDsp(c.id, blob.data(), static_cast<std::uint32_t>(blob.size()), c.version100),
                  Bytes(c.sent))
            << c.id;
    }
    const std::uint8_t odd[] = {1, 0, 0, 0, 9, 0, 0, 0, 0xAB};
    EXPECT_EQ(ReshapeBlobForDsp(2108, odd, sizeof odd, false), (std::vector<std::uint8_t>{9, 0, 0, 0, 0xAB}));
    EXPECT_TRUE(ReshapeBlobForDsp(2109, odd, 3, false).empty());
    EXPECT_TRUE(ReshapeBlobForDsp(2105, nullptr, 12, false).empty());
}

TEST(ShapeDspReplyTest, RepliesIntoCallerBuffers) {
    struct ReadCase {
        const char* name;
        ParameterId id;
        const wchar_t* version;
        std::vector<std::uint8_t> reply;
        std::uint32_t callerSize;
        LayoutStatus status;
        std::uint32_t size;                  // written back
        std::vector<std::uint8_t> expected;  // the caller's buffer afterwards (checked when non-empty)
    };
    const std::vector<std::uint8_t> tuning(720, 0x5A);
    const ReadCase cases[] = {
        {"one word", 2104, L"1.4.2", Bytes({-3}), 4, LayoutStatus::Ok, 4, Bytes({-3})},
        {"one word, short buffer", 2104, L"1.4.2", Bytes({-3}), 3, LayoutStatus::InvalidArgument, 4, {}},
        {"tuning info below 1.4.1", 2125, L"1.3.1", tuning, 160, LayoutStatus::Ok, 160, {&tuning[0], &tuning[160]}},
        {"tuning info of 1.4.1", 2125, L"1.4.1", tuning, 160, LayoutStatus::InvalidArgument, 720, {}},
        {"tuning info, version not parsed", 2125, L"2.10", tuning, 719, LayoutStatus::InvalidArgument, 720, {}},
        {"tuning info, numbers not parted by points", 2125, L"1,3,1", tuning, 160, LayoutStatus::InvalidArgument, 720, {}},
        {"vis bands, 40 bytes", 2126, L"1.4.2", std::vector<std::uint8_t>(80, 1), 40, LayoutStatus::InvalidArgument,
         80, {}},
        {"vis bands, short reply", 2126, L"1.4.2", std::vector<std::uint8_t>(40, 1), 80, LayoutStatus::Ok, 80,
         std::vector<std::uint8_t>(80, 0xEE)},
        {"thresholds as sent", 2108, L"1.4.2", Bytes({1, 2, 3}), 12, LayoutStatus::Ok, 12, Bytes({1, 2, 3})},
        // Counts inside the reply are clamped to it; a larger buffer is told the structure's size.
        {"filter configuration", 2105, L"1.4.2", {9, 0, 0, 0, 7, 8}, 6, LayoutStatus::Ok, 6, {2, 0, 0, 0, 7, 8}},
        {"gains", 2107, L"1.4.2", Bytes({5, 6, 7}), 12, LayoutStatus::Ok, 12, Bytes({2, 6, 7})},
        {"regulator tuning", 1123, L"2.10.0-lite",
         Bytes(Join({{4, 20}, Iota(20, 1), {20}, Iota(20, 21), {20}, Iota(20, 41), {20}, Iota(20, 61)})), 332,
         LayoutStatus::Ok, 324, Bytes(Join({{4}, Iota(80, 1), {0, 0}}))},
        {"other ids copy nothing and report the reply's size", 2110, L"1.4.2", Bytes({1, 2, 3}), 8,
         LayoutStatus::Ok, 12, std::vector<std::uint8_t>(8, 0xEE)},
    };
    for (const ReadCase& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::uint8_t> buffer(c.callerSize, 0xEE);
        const DspReadResult result = ShapeDspReply(c.id, c.reply.data(), static_cast<std::uint32_t>(c.reply.size()),
                                                   c.version, buffer.data(), c.callerSize);
        EXPECT_EQ(result.status, c.status);
        EXPECT_EQ(result.size, c.size);
        // A successful read that copies reports no more than the buffer holds.
        if (result.status == LayoutStatus::Ok && result.copied) EXPECT_LE(result.size, c.callerSize);
        if (!c.expected.empty()) EXPECT_EQ(buffer, c.expected);
    }
}

// A module's reply for an index never written holds the caller structure of zeros, in the
// module's layout, and reads back as that.
TEST(DefaultDspReplyTest, RepliesOfUnwrittenIndicesAreZeroStructures) {
    const struct {
        std::uint32_t index;
        ParameterId id;
        const wchar_t* version;
        std::uint32_t callerBytes;
    } cases[] = {
        {30, 2125, L"1.3.1", 160}, {30, 2125, L"1.4.2", 720}, {31, 2126, L"1.4.2", 80},       {41, 2127, L"1.4.2", 352},
        {42, 2128, L"1.4.2", 4},   {142, 1114, L"2.10.0-lite", 164}, {153, 1123, L"2.10.0-lite", 324},
        {130, 1141, L"2.10.0-lite", 8},
    };
    for (const auto& c : cases) {
        std::vector<std::uint8_t> buffer(c.callerBytes, 0);
        const std::vector<std::uint8_t> reply = DefaultDspReply(c.index, c.version);
        EXPECT_EQ(reply, CallerToDspBlob(c.id, buffer.data(), c.callerBytes).value_or(buffer)) << c.index;
        std::fill(buffer.begin(), buffer.end(), 0xEE);
        const DspReadResult result = ShapeDspReply(c.id, reply.data(), static_cast<std::uint32_t>(reply.size()),
                                                   c.version, buffer.data(), c.callerBytes);
        EXPECT_EQ(result.status, LayoutStatus::Ok) << c.index;
        EXPECT_EQ(result.size, c.callerBytes) << c.index;
        EXPECT_EQ(buffer, std::vector<std::uint8_t>(c.callerBytes, 0)) << c.index;
    }
    EXPECT_TRUE(DefaultDspReply(21, L"1.4.2").empty());
}

}  // namespace
}  // namespace kelix
