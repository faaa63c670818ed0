#include <gtest/gtest.h>

#include "Words.h"

#include <cstring>
#include <numeric>
#include <vector>

#include "core/ValueLayouts.h"

namespace kelix {
namespace {

using test::Bytes;
using test::Iota;
using test::Join;

// Each layout's exact size against one byte less: ParameterModelTest's round trip. `words`, when
// given, are the stored words; the filter configuration's padding and the DRC metadata among them.
TEST(CallerToStoredTest, CountedLayoutsRefuseCountsThatDoNotFit) {
    struct Case {
        ParameterId id;
        std::vector<std::int32_t> caller;
        std::uint32_t size;
        bool valid;
        std::vector<std::int32_t> words = {};
    };
    const Case cases[] = {
        {1156, {7, 2, 10, 11}, 16, true},   {1156, {7, 3, 10, 11}, 16, false},  {1156, {7, -1}, 8, false},
        {1156, {7}, 4, false},              {2107, {2, 5, 6}, 12, true},        {2107, {3, 5, 6}, 12, false},
        {2107, {-2, 5, 6}, 12, false},      {2107, {0x40000000}, 4, false},     {2116, {1, 1, 2, 3, 4, 5, 6}, 28, true},
        {2116, {1, 1, 2, 3, 4, 5, 6}, 27, false}, {2116, {-1}, 4, false},       {2105, {5, 0, 0}, 9, true},
        {2105, {5, 0, 0}, 8, false},        {2105, {0}, 3, false},
        {1156, {7, 0}, 8, true},            {2107, {0}, 4, true},               {2116, {0}, 4, true},  // no items
        // The filter byte count is unsigned: a "negative" one is above capacity and cleared.
        {2105, {-5}, 4, true},
        {2105, {5, 0x04030201, static_cast<std::int32_t>(0xEEEEEE05)}, 9, true, {5, 0x04030201, 0x05}},
        {1162, Iota(18, 1), 72, true, Iota(18, 1)}, {1162, Iota(18, 1), 0, true, std::vector<std::int32_t>(18, 0)},
        {1162, Iota(18, 1), 71, false},     {1105, {7}, 0, false},
    };
    for (const Case& c : cases) {
        std::vector<std::uint8_t> bytes = Bytes(c.caller);
        const StoredValue stored = CallerToStored(c.id, bytes.data(), c.size);
        SCOPED_TRACE(testing::Message() << c.id << " size " << c.size);
        EXPECT_EQ(stored.status, c.valid ? LayoutStatus::Ok : LayoutStatus::InvalidArgument);
        if (!c.words.empty()) EXPECT_EQ(stored.words, c.words);
        if (c.id == 2105 && c.valid) EXPECT_EQ(stored.filterCleared.has_value(), c.caller[0] < 0);
    }
    EXPECT_EQ(CallerToStored(1105, nullptr, 4).status, LayoutStatus::InvalidArgument);
    EXPECT_EQ(CallerToStored(1114, nullptr, 164).status, LayoutStatus::InvalidArgument);
    EXPECT_EQ(CallerToStored(1162, nullptr, 0).words, std::vector<std::int32_t>(18, 0));
    // Every id outside the layouts, the other KRELO ids among them, is a scalar from the first word.
    for (ParameterId id : {1105, 2104, 2106, 2110, 2121, 3002, 999}) {
        std::vector<std::uint8_t> word = Bytes({-42});
        const StoredValue stored = CallerToStored(id, word.data(), 4);
        EXPECT_TRUE(stored.scalar) << id;
        EXPECT_EQ(stored.value, -42) << id;
    }
}

// A client thread may change its count between the two steps: the words
// written are those measured, into storage of exactly that many words.
TEST(CallerToStoredTest, WritesWhatWasMeasuredWhateverTheCountSaysLater) {
    struct Case {
        ParameterId id;
        std::vector<std::int32_t> caller;  // room for the larger count
        std::size_t countWord;
        std::int32_t laterCount;
        std::vector<std::int32_t> stored;
    };
    const Case cases[] = {
        {1156, {7, 1, 10, 11, 12}, 1, 3, {7, 1, 10}},
        {2107, {1, 5, 6, 7}, 0, 3, {1, 5}},
        {2116, {1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 0, 2, {1, 6, 1, 2, 3, 4, 5, 6}},
        {2105, {4, 0x04030201, 0x08070605}, 0, 8, {4, 0x04030201}},
    };
    for (const Case& c : cases) {
        std::vector<std::uint8_t> bytes = Bytes(c.caller);
        const auto size = static_cast<std::uint32_t>(bytes.size());
        const StoredShape shape = MeasureStored(c.id, bytes.data(), size);
        ASSERT_EQ(shape.status, LayoutStatus::Ok) << c.id;
        std::memcpy(bytes.data() + c.countWord * 4, &c.laterCount, 4);
        std::vector<std::int32_t> words(shape.wordCount);
        WriteStored(c.id, bytes.data(), size, shape, words.data());
        EXPECT_EQ(words, c.stored) << c.id;
    }
}

TEST(CallerToStoredTest, FilterConfigurationCapacityAndPadding) {
    std::vector<std::uint8_t> caller = Bytes({2045});
    caller.resize(4 + 2045, 0xEE);
    const StoredValue cleared = CallerToStored(2105, caller.data(), static_cast<std::uint32_t>(caller.size()));
    ASSERT_EQ(cleared.status, LayoutStatus::Ok);
    EXPECT_EQ(cleared.filterCleared, 2045);
    EXPECT_EQ(cleared.words, std::vector<std::int32_t>{0});
    EXPECT_EQ(caller[0], 0);  // the caller's count is cleared
    EXPECT_EQ(caller[4], 0xEE);

    std::vector<std::uint8_t> full = Bytes({2044});
    full.resize(4 + 2044, 1);
    EXPECT_EQ(CallerToStored(2105, full.data(), 2048).words.size(), 512u);
}

TEST(StoredToCallerTest, SizeNegotiation) {
    struct Case {
        ParameterId id;
        std::uint32_t storedBytes;
        std::uint32_t callerSize;
        std::uint32_t need;  // 0: fits
    };
    const Case cases[] = {
        {1105, 4, 2, 4},        {1105, 4, 3, 4},     {1105, 4, 4, 0},      {1114, 172, 163, 164}, {1114, 172, 164, 0},
        {1119, 928, 883, 884},  {1123, 340, 323, 324}, {1161, 172, 167, 168}, {1162, 72, 71, 72},  {2105, 12, 11, 12},
        {2107, 12, 11, 12},     {2108, 168, 159, 160}, {2109, 84, 79, 80},  {2116, 8, 99, 100},    {2116, 8, 100, 0},
        {2122, 36, 31, 32},
        // A stored value shorter than its layout asks for more than any buffer holds.
        {1114, 4, 4096, 0xFFFFFFFC},
    };
    for (const Case& c : cases) {
        const std::vector<std::uint8_t> stored(c.storedBytes, 0);
        std::vector<std::uint8_t> buffer(c.callerSize, 0xAA);
        std::uint32_t size = c.callerSize;
        const CopyResult result = StoredToCaller(c.id, stored.data(), c.storedBytes, buffer.data(), &size);
        if (c.need == 0) {
            EXPECT_EQ(result.status, LayoutStatus::Ok) << c.id;
            EXPECT_EQ(size, c.callerSize) << c.id;
        } else {
            EXPECT_EQ(result.status, LayoutStatus::InvalidArgument) << c.id;
            EXPECT_EQ(size, c.need) << c.id;
            // The caller's buffer is zeroed first, whatever the outcome.
            EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 0), static_cast<long>(buffer.size())) << c.id;
        }
    }
    std::uint32_t size = 0;
    EXPECT_EQ(StoredToCaller(1105, nullptr, 0, nullptr, &size).status, LayoutStatus::InvalidArgument);
    EXPECT_EQ(size, 4u);
}

TEST(StoredToCallerTest, PartialOutputModeNegotiatesItsWholeValue) {
    std::vector<std::uint8_t> buffer(20, 0xAA);
    std::uint32_t size = 20;
    EXPECT_EQ(StoredToCaller(1156, nullptr, 0, buffer.data(), &size).status, LayoutStatus::InvalidArgument);
    EXPECT_EQ(size, 20u);  // a null value leaves the size alone, after the buffer was zeroed
    EXPECT_EQ(buffer, std::vector<std::uint8_t>(20, 0));

    const std::vector<std::uint8_t> stored = Bytes({9, 3, 10, 11, 12});
    for (std::uint32_t small : {0u, 8u, 19u}) {
        size = small;
        EXPECT_EQ(StoredToCaller(1156, stored.data(), 20, buffer.data(), &size).status, LayoutStatus::InvalidArgument);
        EXPECT_EQ(size, 20u) << small;
    }
    size = 20;
    EXPECT_EQ(StoredToCaller(1156, stored.data(), 20, buffer.data(), &size).status, LayoutStatus::Ok);
    EXPECT_EQ(buffer, stored);

    const std::vector<std::uint8_t> none = Bytes({9, 0});
    size = 7;
    EXPECT_EQ(StoredToCaller(1156, none.data(), 8, buffer.data(), &size).status, LayoutStatus::InvalidArgument);
    EXPECT_EQ(size, 8u);
}

TEST(StoredToCallerTest, CompressorTuningHoldsFourRecords) {
    std::vector<std::int32_t> words{5};
    for (int record = 0; record < 5; ++record) words = Join({words, {6}, Iota(6, record * 10)});
    const std::vector<std::uint8_t> stored = Bytes(words);
    std::vector<std::uint8_t> buffer(100, 0xAA);
    std::uint32_t size = 100;
    EXPECT_EQ(StoredToCaller(2116, stored.data(), static_cast<std::uint32_t>(stored.size()), buffer.data(), &size).status,
              LayoutStatus::OutOfMemory);
    std::vector<std::int32_t> expected(25, 0);
    expected[0] = 5;
    EXPECT_EQ(buffer, Bytes(expected));
}

TEST(StoredToCallerTest, FilterConfigurationAboveCapacityIsCleared) {
    std::vector<std::uint8_t> stored = Bytes({2045});
    stored.resize(4 + 2048, 7);
    std::vector<std::uint8_t> buffer(stored.size(), 0xAA);
    auto size = static_cast<std::uint32_t>(buffer.size());
    const CopyResult result = StoredToCaller(2105, stored.data(), size, buffer.data(), &size);
    EXPECT_EQ(result.status, LayoutStatus::Ok);
    EXPECT_EQ(result.filterCleared, 2045u);
    EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 0), static_cast<long>(buffer.size()));
}

TEST(StoredToCallerTest, CopiesStayInsideTheStoredBytes) {
    // Stored values shorter than their counts claim: only what is there is copied.
    struct Case {
        ParameterId id;
        std::vector<std::int32_t> stored;
        std::uint32_t callerSize;
        std::vector<std::int32_t> expected;
    };
    const Case cases[] = {
        {2107, {100, 1, 2}, 12, {100, 1, 2}},
        {1123, {4, 20, 1, 2}, 324, Join({{4, 1, 2}, std::vector<std::int32_t>(78, 0)})},  // arrays past the end
        {2105, {400, 0x01020304}, 8, {400, 0x01020304}},
        {1161, Join({Iota(10, 1), {1000}, {77}}), 48, Join({Iota(10, 1), {77, 0}})},
        {1114, Join({{3, 20}, Iota(20, 1), {20}, {50}}), 100, Join({{3}, Iota(20, 1), {50}, {0, 0, 0}})},
        {1119, Join({{1, 20}, Iota(20, 1), {20}, Iota(19, 100)}), 884, Join({{1}, Iota(20, 1), std::vector<std::int32_t>(200, 0)})},
    };
    for (const Case& c : cases) {
        const std::vector<std::uint8_t> stored = Bytes(c.stored);
        std::vector<std::uint8_t> buffer(c.callerSize, 0xAA);
        std::uint32_t size = c.callerSize;
        ASSERT_EQ(StoredToCaller(c.id, stored.data(), static_cast<std::uint32_t>(stored.size()), buffer.data(), &size).status,
                  LayoutStatus::Ok) << c.id;
        EXPECT_EQ(buffer, Bytes(c.expected)) << c.id;
    }
}

}  // namespace
}  // namespace kelix
