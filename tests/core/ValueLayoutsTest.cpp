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

std::vector<std::int32_t> Zeros(std::size_t count) { return std::vector<std::int32_t>(count, 0); }

// Counts that cannot hold, and what is stored in place of the caller's words. Exact sizes, one
// byte less and empty counts: ParameterModelTest's round trip.
TEST(CallerToStoredTest, CountedLayoutsRefuseCountsThatDoNotFit) {
    struct Case {
        ParameterId id;
        std::vector<std::int32_t> caller;
        std::uint32_t size;
        bool valid;
        std::vector<std::int32_t> words = {};
    };
    const std::vector<std::int32_t> full = Join({{2044}, std::vector<std::int32_t>(511, -1)});
    const Case cases[] = {
        {1156, {7, -1}, 8, false}, {1156, {7}, 4, false}, {2107, {-2, 5, 6}, 12, false}, {2107, {0x40000000}, 4, false},
        {2116, {-1}, 4, false},    {1105, {7}, 0, false},
        // The filter byte count is unsigned: a "negative" one is above capacity and cleared.
        {2105, {-5}, 4, true},
        {2105, {5, 0x04030201, static_cast<std::int32_t>(0xEEEEEE05)}, 9, true, {5, 0x04030201, 0x05}},
        {1162, Iota(18, 1), 0, true, std::vector<std::int32_t>(18, 0)},
        // At capacity the filter configuration fills 512 words; above it, the caller's count is cleared in place.
        {2105, full, 2048, true, full},
        {2105, Join({{2045}, std::vector<std::int32_t>(512, -1)}), 2049, true, {0}},
    };
    for (const Case& c : cases) {
        std::vector<std::uint8_t> bytes = Bytes(c.caller);
        const StoredValue stored = CallerToStored(c.id, bytes.data(), c.size);
        SCOPED_TRACE(testing::Message() << c.id << " size " << c.size);
        EXPECT_EQ(stored.status, c.valid ? LayoutStatus::Ok : LayoutStatus::InvalidArgument);
        if (!c.words.empty()) EXPECT_EQ(stored.words, c.words);
        if (c.id == 2105 && c.valid) {
            const bool cleared = static_cast<std::uint32_t>(c.caller[0]) > 2044;
            EXPECT_EQ(stored.filterCleared.has_value(), cleared);
            EXPECT_EQ(bytes, Bytes(cleared ? Join({{0}, {c.caller.begin() + 1, c.caller.end()}}) : c.caller));
        }
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

// What the round trip's structures do not show: a scalar, the init info, a stored value shorter
// than its layout, and no value at all.
TEST(StoredToCallerTest, SizeNegotiation) {
    struct Case {
        ParameterId id;
        std::uint32_t storedBytes;
        std::uint32_t callerSize;
        std::uint32_t need;  // 0: fits
    };
    const Case cases[] = {
        {1105, 4, 2, 4}, {1105, 4, 3, 4}, {1105, 4, 4, 0}, {1161, 172, 167, 168}, {1161, 172, 168, 0},
        // A stored value shorter than its layout asks for more than any buffer holds.
        {1114, 4, 4096, 0xFFFFFFFC},
    };
    for (const Case& c : cases) {
        const std::vector<std::uint8_t> stored(c.storedBytes, 0);
        std::vector<std::uint8_t> buffer(c.callerSize, 0xAA);
        std::uint32_t size = c.callerSize;
        const CopyResult result = StoredToCaller(c.id, stored.data(), c.storedBytes, buffer.data(), &size);
        EXPECT_EQ(result.status, c.need == 0 ? LayoutStatus::Ok : LayoutStatus::InvalidArgument) << c.id;
        EXPECT_EQ(size, c.need == 0 ? c.callerSize : c.need) << c.id;
        // The caller's buffer is zeroed first, whatever the outcome.
        EXPECT_EQ(buffer, std::vector<std::uint8_t>(c.callerSize, 0)) << c.id;
    }
    std::uint32_t size = 0;
    EXPECT_EQ(StoredToCaller(1105, nullptr, 0, nullptr, &size).status, LayoutStatus::InvalidArgument);
    EXPECT_EQ(size, 4u);
    // The partial output mode without a value has no size to tell: it leaves the caller's.
    std::vector<std::uint8_t> buffer(20, 0xAA);
    size = 20;
    EXPECT_EQ(StoredToCaller(1156, nullptr, 0, buffer.data(), &size).status, LayoutStatus::InvalidArgument);
    EXPECT_EQ(size, 20u);
    EXPECT_EQ(buffer, std::vector<std::uint8_t>(20, 0));
}

// Stored values whose counts claim more than is there copy only what is; what cannot be handed
// over leaves the buffer zeroed but for the count.
TEST(StoredToCallerTest, CopiesStayInsideTheStoredBytes) {
    std::vector<std::int32_t> fiveRecords{5};
    for (int record = 0; record < 5; ++record) fiveRecords = Join({fiveRecords, {6}, Iota(6, record * 10)});
    struct Case {
        ParameterId id;
        std::vector<std::int32_t> stored;
        std::uint32_t callerSize;
        std::vector<std::int32_t> expected;
        LayoutStatus status = LayoutStatus::Ok;
        std::optional<std::uint32_t> filterCleared = {};
    };
    const Case cases[] = {
        {2107, {100, 1, 2}, 12, {100, 1, 2}},
        {1123, {4, 20, 1, 2}, 324, Join({{4, 1, 2}, Zeros(78)})},  // arrays past the end
        {2105, {400, 0x01020304}, 8, {400, 0x01020304}},
        {1161, Join({Iota(10, 1), {1000}, {77}}), 48, Join({Iota(10, 1), {77, 0}})},
        {1114, Join({{3, 20}, Iota(20, 1), {20}, {50}}), 100, Join({{3}, Iota(20, 1), {50}, {0, 0, 0}})},
        {1119, Join({{1, 20}, Iota(20, 1), {20}, Iota(19, 100)}), 884, Join({{1}, Iota(20, 1), Zeros(200)})},
        {2116, fiveRecords, 100, Join({{5}, Zeros(24)}), LayoutStatus::OutOfMemory},
        {2105, Join({{2045}, std::vector<std::int32_t>(512, 7)}), 2052, Zeros(513), LayoutStatus::Ok, 2045},
    };
    for (const Case& c : cases) {
        const std::vector<std::uint8_t> stored = Bytes(c.stored);
        std::vector<std::uint8_t> buffer(c.callerSize, 0xAA);
        std::uint32_t size = c.callerSize;
        const auto storedBytes = static_cast<std::uint32_t>(stored.size());
        const CopyResult result = StoredToCaller(c.id, stored.data(), storedBytes, buffer.data(), &size);
        EXPECT_EQ(result.status, c.status) << c.id;
        EXPECT_EQ(result.filterCleared, c.filterCleared) << c.id;
        EXPECT_EQ(buffer, Bytes(c.expected)) << c.id;
    }
}

}  // namespace
}  // namespace kelix
