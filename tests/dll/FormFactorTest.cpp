// ApoController::GetFormFactor on simulated stores: the endpoint's form factor,
// headsets taken as headphones, the override of the effect's settings, and
// "unknown" (10) when the store cannot be read.
#include <windows.h>

#include <gtest/gtest.h>

#include <optional>
#include <utility>

#include "ApoController.h"
#include "DllUnderTest.h"
#include "LogCapture.h"
#include "sim/Platform.h"

namespace kelix {
namespace {

constexpr wchar_t kEndpoint[] = L"{0.0.0.00000000}.{f0f0f0f0-0000-4000-8000-000000000001}";
constexpr PROPERTYKEY kFormFactorKey = {{0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 0};
constexpr PROPERTYKEY kOverrideKey = {{0xDD0DF94B, 0x53A2, 0x4A92, {0x85, 0x4E, 0x91, 0xF4, 0x2E, 0x28, 0xFD, 0x7B}}, 0};

// The logger of this process registers once, at its first line: the capture is set up before.
const test::LogCapture capture;

TEST(FormFactorTest, EndpointValueHeadsetRuleOverrideAndFailures) {
    const std::wstring kHeadsetLine = L"Headset will be considered as headphone, formFactor changes to [3]";
    struct Case {
        const char* name;
        std::optional<ULONG> endpoint, override;
        bool opened;
        HRESULT readFails;  // of the first store read
        UINT expected;
        std::vector<std::pair<int, std::wstring>> lines;  // level and message, in order
    };
    const Case cases[] = {
        {"headset, no override", 5, {}, true, S_OK, 3, {{4, L"formFactor = [5]"}, {4, kHeadsetLine}}},
        {"speakers, override headphones", 1, 3, true, S_OK, 3, {{4, L"formFactor = [1]"}, {4, L"FormFactorOverride = [3]"}}},
        {"headphones, override 2", 3, 2, true, S_OK, 1, {{4, L"formFactor = [3]"}, {4, L"FormFactorOverride = [2]"}}},
        {"headphones, override 0", 3, 0, true, S_OK, 3, {{4, L"formFactor = [3]"}, {4, L"FormFactorOverride = [0]"}}},
        {"unknown, no override", 10, {}, true, S_OK, 10, {{4, L"formFactor = [10]"}}},
        {"headset, override headset", 5, 5, true, S_OK, 1,
         {{4, L"formFactor = [5]"}, {4, kHeadsetLine}, {4, L"FormFactorOverride = [5]"}}},
        {"no property at all", {}, {}, true, S_OK, 0, {{4, L"formFactor = [0]"}}},
        {"store not opened", 1, 3, false, S_OK, 10,
         {{2, L"Property store for device[" + std::wstring(kEndpoint) + L"] is not opened."}}},
        {"form factor unreadable", 1, 3, true, E_UNEXPECTED, 10,
         {{2, L"Get audio endpoint form factor failed. [0x8000ffff]" + test::SystemText(E_UNEXPECTED)}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Platform platform;
        sim::Endpoint& endpoint = platform.AddEndpoint({kEndpoint});
        for (const auto& [key, value] : {std::pair{kFormFactorKey, c.endpoint}, std::pair{kOverrideKey, c.override}}) {
            if (!value) continue;
            PROPVARIANT variant;
            variant.vt = VT_UI4;
            variant.ulVal = *value;
            ASSERT_EQ(endpoint.SetValue(key, variant), S_OK);
        }
        sim::Installation installed(platform);
        if (c.opened) { ASSERT_EQ(ApoController::Open(kEndpoint), S_OK); }
        if (c.readFails != S_OK) platform.FailMethod("IPropertyStore::GetValue", c.readFails, 1);
        capture.Clear();
        EXPECT_EQ(ApoController::GetFormFactor(kEndpoint), c.expected);
        std::vector<std::pair<int, std::wstring>> lines;
        for (const test::LogLine& line : capture.Lines()) {
            EXPECT_EQ(line.function, L"ApoController::GetFormFactor");
            lines.emplace_back(line.level, line.message);
        }
        EXPECT_EQ(lines, c.lines);
        if (c.opened) { EXPECT_EQ(ApoController::Close(kEndpoint), S_OK); }
        EXPECT_EQ(platform.TotalReferences(), 0);
    }
}

}  // namespace
}  // namespace kelix
