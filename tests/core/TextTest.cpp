#include <gtest/gtest.h>

#include "Words.h"

#include <string>
#include <vector>

#include "core/DeviceIdOrder.h"
#include "core/Guid.h"
#include "core/HResultText.h"
#include "core/ValueText.h"

namespace kelix {
namespace {

using test::Bytes;

// Each text made by one call, against the text it must be.
TEST(TextTest, ListsTrimmedMessagesGuidsAndFallbackTexts) {
    const std::int32_t words[] = {7, -1, 2147483647, INT32_MIN};
    const std::uint8_t bytes[] = {0, 255, 16};
    const std::pair<std::wstring, const wchar_t*> cases[] = {
        {Int32ListText(words, 4), L"7, -1, 2147483647, -2147483648"}, {Int32ListText(words, 1), L"7"},
        {Int32ListText(words, 0), L"NULL"}, {Int32ListText(nullptr, 3), L"NULL"},
        {ByteListText(bytes, 3), L"0, 255, 16"}, {ByteListText(nullptr, 0), L"NULL"},
        // Counted values by parameter: a remainder under four bytes is not shown; the filter configuration is bytes.
        {CountedValueText(1105, nullptr, 8), L"NULL"}, {CountedValueText(1105, Bytes({5, -6}).data(), 8), L"5, -6"},
        {CountedValueText(1105, Bytes({5, -6}).data(), 7), L"5"}, {CountedValueText(1105, Bytes({5}).data(), 3), L"NULL"},
        {CountedValueText(1114, Bytes({1, 2, 3}).data(), 11), L"1, 2"},
        {CountedValueText(2105, Bytes({5, 200}).data(), 5), L"5, 0, 0, 0, 200"},
        {CountedValueText(2105, nullptr, 0), L"NULL"},
        {TrimSystemMessage(L"Invalid parameter.\r\n"), L"Invalid parameter."},
        {TrimSystemMessage(L"Two\r\n\r\n"), L"Two\r\n"}, {TrimSystemMessage(L"Bare\n"), L"Bare"},
        {TrimSystemMessage(L"None"), L"None"}, {TrimSystemMessage(L""), L""},
        {GuidText(Guid{}), L"{00000000-0000-0000-0000-000000000000}"},
        {FallbackHResultText(0x80040201), L"IDispatch error #1"}, {FallbackHResultText(0x1), L"Unknown error 0x1"},
        {FallbackHResultText(0x8004FFFF), L"IDispatch error #65023"}, {FallbackHResultText(0x0), L"Unknown error 0x0"},
        {FallbackHResultText(0x80040200), L"Unknown error 0x80040200"},  // low word minus 0x200 is zero
        {FallbackHResultText(0x80050000), L"Unknown error 0x80050000"},
        {FallbackHResultText(0x800401FF), L"Unknown error 0x800401FF"},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].first, cases[i].second) << "row " << i;
}

int Sign(int value) { return (value > 0) - (value < 0); }

// The device-id order against the ordinal order of std::wstring_view, at every position where
// the word-at-a-time scan could go wrong.
TEST(DeviceIdOrderTest, OrdersAsOrdinalComparison) {
    const std::wstring id = L"{0.0.0.00000000}.{5e1f0a11-0000-4000-8000-00000000a001}";
    std::wstring high = id;
    high[9] = static_cast<wchar_t>(0xFFFF);  // above every ASCII code unit
    const struct {
        std::wstring a;
        std::wstring b;
    } cases[] = {
        {id, id},
        {id, id.substr(0, id.size() - 1)},                      // a prefix, ending inside a step
        {id.substr(0, 8), id.substr(0, 9)},                     // a prefix, ending on a step
        {L"", id},
        {id, std::wstring(id).replace(0, 1, L"}")},             // first unit
        {id, std::wstring(id).replace(5, 1, L"1")},             // inside the first step
        {id, std::wstring(id).replace(id.size() - 2, 1, L"2")}, // in the tail after the last step
        {id, high},
        {L"ab", L"abc"},
    };
    for (const auto& c : cases) {
        const int expected = Sign(std::wstring_view(c.a).compare(c.b));
        EXPECT_EQ(CompareDeviceIds(c.a, c.b), expected);
        EXPECT_EQ(CompareDeviceIds(c.b, c.a), -expected);
        EXPECT_EQ(DeviceIdLess{}(c.a, c.b), expected < 0);
    }
}

}  // namespace
}  // namespace kelix
