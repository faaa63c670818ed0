#include <gtest/gtest.h>

#include "Words.h"

#include <cstring>
#include <numeric>

#include "core/DspValueShaping.h"

namespace kelix {
namespace {

using test::Bytes;
using test::Iota;
using test::Join;

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
        {1114, false, Join({{1, 20}, Iota(20, 1)}), Join({{1, 20}, Iota(20, 1)})},
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

TEST(ParseModuleVersionTest, ThreeNumbersOrNothing) {
    using Version = std::array<int, 3>;
    EXPECT_EQ(ParseModuleVersion(L"1.4.1"), (Version{1, 4, 1}));
    EXPECT_EQ(ParseModuleVersion(L"1.3.1-lite"), (Version{1, 3, 1}));
    EXPECT_EQ(ParseModuleVersion(L"2.10.0-lite"), (Version{2, 10, 0}));
    EXPECT_EQ(ParseModuleVersion(L"2.10"), std::nullopt);
    EXPECT_EQ(ParseModuleVersion(L"1,4,1"), std::nullopt);
    EXPECT_EQ(ParseModuleVersion(L""), std::nullopt);
    EXPECT_EQ(ParseModuleVersion(L"krelo-amd"), std::nullopt);
}

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

TEST(ShapeDspReplyTest, RepliesIntoCallerBuffers) {
    const std::vector<std::uint8_t> tuning(720, 0x5A);
    const ReadCase cases[] = {
        {"one word", 2104, L"1.4.2", Bytes({-3}), 4, LayoutStatus::Ok, 4, Bytes({-3})},
        {"one word, short buffer", 2104, L"1.4.2", Bytes({-3}), 3, LayoutStatus::InvalidArgument, 4, {}},
        {"tuning info below 1.4.1", 2125, L"1.3.1", tuning, 160, LayoutStatus::Ok, 160,
         std::vector<std::uint8_t>(160, 0x5A)},
        {"tuning info of 1.4.1", 2125, L"1.4.1", tuning, 160, LayoutStatus::InvalidArgument, 720, {}},
        {"tuning info, version not parsed", 2125, L"2.10", tuning, 719, LayoutStatus::InvalidArgument, 720, {}},
        {"vis bands, 40 bytes", 2126, L"1.4.2", std::vector<std::uint8_t>(80, 1), 40, LayoutStatus::InvalidArgument,
         80, {}},
        {"vis bands, short reply", 2126, L"1.4.2", std::vector<std::uint8_t>(40, 1), 80, LayoutStatus::Ok, 80,
         std::vector<std::uint8_t>(80, 0xEE)},
        {"drc metadata as sent", 1162, L"2.10.0-lite", Bytes(Iota(18, 1)), 72, LayoutStatus::Ok, 72, Bytes(Iota(18, 1))},
        {"thresholds as sent", 2108, L"1.4.2", Bytes({1, 2, 3}), 12, LayoutStatus::Ok, 12, Bytes({1, 2, 3})},
        {"filter configuration", 2105, L"1.4.2", {3, 0, 0, 0, 7, 8, 9, 0}, 7, LayoutStatus::Ok, 7,
         {3, 0, 0, 0, 7, 8, 9}},
        {"gains of 1.0.0", 2107, L"1.0.0", Bytes({5, 6}), 12, LayoutStatus::Ok, 12, Bytes({2, 5, 6})},
        {"gains of 1.0.0, short buffer", 2107, L"1.0.0", Bytes({5, 6}), 11, LayoutStatus::InvalidArgument, 12, {}},
        {"gains with their count", 2107, L"1.4.2", Bytes({2, 5, 6}), 12, LayoutStatus::Ok, 12, Bytes({2, 5, 6})},
        {"ieq bands", 1114, L"2.10.0-lite", Bytes(Join({{2, 20}, Iota(20, 1), {20}, Iota(20, 21)})), 164,
         LayoutStatus::Ok, 164, Bytes(Join({{2}, Iota(40, 1)}))},
        {"ieq bands, short buffer", 1114, L"2.10.0-lite", Bytes(Join({{2, 20}, Iota(20, 1), {20}, Iota(20, 21)})), 163,
         LayoutStatus::InvalidArgument, 164, std::vector<std::uint8_t>(163, 0xEE)},
        {"regulator tuning", 1123, L"2.10.0-lite",
         Bytes(Join({{4, 20}, Iota(20, 1), {20}, Iota(20, 21), {20}, Iota(20, 41), {20}, Iota(20, 61)})), 332,
         LayoutStatus::Ok, 324, Bytes(Join({{4}, Iota(80, 1), {0, 0}}))},
        {"regulator tuning, short buffer", 1123, L"2.10.0-lite",
         Bytes(Join({{4, 20}, Iota(20, 1), {20}, Iota(20, 21), {20}, Iota(20, 41), {20}, Iota(20, 61)})), 323,
         LayoutStatus::InvalidArgument, 324, std::vector<std::uint8_t>(323, 0xEE)},
        {"partial output mode", 1141, L"2.10.0-lite", Bytes({4, 9, 2, 30, 31}), 16, LayoutStatus::Ok, 16,
         Bytes({9, 2, 30, 31})},
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

TEST(DefaultDspReplyTest, RepliesOfUnwrittenIndicesFitTheirReads) {
    struct Case {
        std::uint32_t index;
        ParameterId id;
        const wchar_t* version;
        std::size_t replyBytes;
        std::uint32_t callerBytes;  // what the read of the id then takes
    };
    const Case cases[] = {
        {30, 2125, L"1.3.1", 160, 160}, {30, 2125, L"1.4.2", 720, 720}, {31, 2126, L"1.4.2", 80, 80},
        {41, 2127, L"1.4.2", 352, 352}, {42, 2128, L"1.4.2", 4, 4},      {142, 1114, L"2.10.0-lite", 172, 164},
        {153, 1123, L"2.10.0-lite", 340, 332}, {130, 1141, L"2.10.0-lite", 12, 8},
    };
    for (const Case& c : cases) {
        const std::vector<std::uint8_t> reply = DefaultDspReply(c.index, c.version);
        EXPECT_EQ(reply.size(), c.replyBytes) << c.index;
        std::vector<std::uint8_t> buffer(c.callerBytes, 0xEE);
        const DspReadResult result = ShapeDspReply(c.id, reply.data(), static_cast<std::uint32_t>(reply.size()),
                                                   c.version, buffer.data(), c.callerBytes);
        EXPECT_EQ(result.status, LayoutStatus::Ok) << c.index;
        EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 0), static_cast<long>(buffer.size())) << c.index;
    }
    EXPECT_TRUE(DefaultDspReply(21, L"1.4.2").empty());
}

}  // namespace
}  // namespace kelix
