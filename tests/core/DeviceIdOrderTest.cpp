// The device-id order against the ordinal order of std::wstring_view, at every
// position where the word-at-a-time scan could go wrong.
#include <gtest/gtest.h>

#include <string>

#include "core/DeviceIdOrder.h"

namespace kelix {
namespace {

int Sign(int value) { return (value > 0) - (value < 0); }

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
        {L"abd", L"abc"},
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
