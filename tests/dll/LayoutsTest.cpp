// Caller structures through SetPexParam and GetPexParam on the property-store
// route: the words the store receives, written out by hand, and the round trip,
// for one layout of each kind (the layouts of every id are the core's to test).
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>

#include "SimulatedEndpointTest.h"
#include "Words.h"

namespace kelix::test {
namespace {

class LayoutsTest : public SimulatedEndpointTest {
protected:
    void SetUp() override {
        SimulatedEndpointTest::SetUp();
        handle = OpenSpeakers();
    }
    void TearDown() override { EXPECT_EQ(dll.Close(handle), S_OK); }
    wchar_t* handle = nullptr;
};

TEST_F(LayoutsTest, StoredWordsAndRoundTripOfEachLayoutKind) {
    const auto b = [](int k) { return Iota(20, 1000 + 100 * k); };
    struct Case {
        std::int32_t id;
        PROPERTYKEY key;
        std::vector<std::int32_t> caller;
        std::vector<std::int32_t> stored;
        bool roundTrip;
    };
    const Case cases[] = {
        {1114, PexTuningKey(13), Join({{3}, Iota(20, 1), Iota(20, 21)}),
         Join({{3, 20}, Iota(20, 1), {20}, Iota(20, 21)}), true},
        {1119, PexTuningKey(18), Join({{2}, Iota(20, 1), b(0), b(1), b(2), b(3), b(4), b(5), b(6), b(7), b(8), b(9)}),
         Join({{2, 20}, Iota(20, 1), {20}, b(0), {20}, b(1), {20}, b(2), {20}, b(3), {20}, b(4), {20}, b(5), {20}, b(6),
               {20}, b(7), {20}, b(8), {20}, b(9)}),
         true},
        {1161, PexTuningKey(64), Join({Iota(10, 1), Iota(32, 100)}), Join({Iota(10, 1), {32}, Iota(32, 100)}), false},
        {2116, KreloTuningKey(17), Join({{2}, Iota(6, 1), Iota(6, 7)}), Join({{2, 6}, Iota(6, 1), {6}, Iota(6, 7)}), true},
        {2122, KreloTuningKey(22), Iota(8, 80), Join({{8}, Iota(8, 80)}), true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.id);
        std::vector<std::uint8_t> caller = Bytes(c.caller);
        ASSERT_EQ(dll.Set(handle, c.id, caller.data(), static_cast<UINT32>(caller.size()), 1), S_OK);
        EXPECT_EQ(StoredWords(c.key), c.stored);
        if (!c.roundTrip) continue;

        // The caller's size, with room enough: what the library asks for.
        UINT32 size = 0;
        EXPECT_EQ(dll.Get(handle, c.id, nullptr, &size, 1), E_INVALIDARG);
        ASSERT_LE(size, 4096u);
        std::vector<std::uint8_t> read(std::max<size_t>(size, caller.size()), 0xAA);
        size = static_cast<UINT32>(read.size());
        ASSERT_EQ(dll.Get(handle, c.id, read.data(), &size, 1), S_OK);
        read.resize(caller.size());
        EXPECT_EQ(read, caller);
    }
}

TEST_F(LayoutsTest, FilterConfiguration) {
    // Five bytes: stored as the count and two words, zero-padded.
    std::vector<std::uint8_t> five = {5, 0, 0, 0, 0x11, 0x22, 0x33, 0x44, 0x55};
    ASSERT_EQ(dll.Set(handle, 2105, five.data(), 9, 1), S_OK);
    EXPECT_EQ(StoredWords(KreloTuningKey(5)), (std::vector<std::int32_t>{5, 0x44332211, 0x55}));
    std::vector<std::uint8_t> read(12, 0xAA);
    UINT32 size = 12;
    ASSERT_EQ(dll.Get(handle, 2105, read.data(), &size, 1), S_OK);
    EXPECT_EQ(read, (std::vector<std::uint8_t>{5, 0, 0, 0, 0x11, 0x22, 0x33, 0x44, 0x55, 0, 0, 0}));

    // Above capacity: logged, the caller's count cleared, an empty configuration stored.
    std::vector<std::uint8_t> large = Bytes({2045});
    large.resize(4 + 2045, 0x77);
    ASSERT_EQ(dll.Set(handle, 2105, large.data(), static_cast<UINT32>(large.size()), 1), S_OK);
    EXPECT_EQ(StoredWords(KreloTuningKey(5)), std::vector<std::int32_t>{0});
    EXPECT_EQ(large[0], 0);
    EXPECT_TRUE(log.Has(2, kExports, L"`anonymous-namespace'::ConvertParameterToPropVariant",
                        L"Filter config is too large to set, capacity = 2044 bytes, asked = 2045. Clear filter config "
                        L"to null."));

    // A stored configuration above capacity reads back cleared.
    std::vector<std::int32_t> stored(600, 0x01010101);
    stored[0] = 3000;
    PROPVARIANT value;
    value.vt = VT_VECTOR | VT_I4;
    value.cal.cElems = static_cast<ULONG>(stored.size());
    value.cal.pElems = reinterpret_cast<LONG*>(stored.data());
    ASSERT_EQ(speakers.SetValue(KreloTuningKey(5), value), S_OK);
    std::vector<std::uint8_t> big(2400, 0xAA);
    size = 2400;
    EXPECT_EQ(dll.Get(handle, 2105, big.data(), &size, 1), S_OK);
    EXPECT_EQ(std::count(big.begin(), big.end(), 0), 2400);
    EXPECT_TRUE(log.Has(2, kExports, L"`anonymous-namespace'::CopyValueToOutputBuffer",
                        L"Filter config is too large to get, capacity = 2044 bytes, asked = 3000. Clear filter config "
                        L"to null."));

    // The filter byte count is unsigned: a "negative" one is above capacity, cleared and stored empty.
    std::vector<std::uint8_t> negative = Bytes({-1});
    ASSERT_EQ(dll.Set(handle, 2105, negative.data(), 4, 1), S_OK);
    EXPECT_EQ(negative, Bytes({0}));
    EXPECT_EQ(StoredWords(KreloTuningKey(5)), std::vector<std::int32_t>{0});
}

}  // namespace
}  // namespace kelix::test
