// ApoController::GetFormFactor on simulated stores: the endpoint's form factor,
// headsets taken as headphones, and the override of the effect's settings.
#include <windows.h>

#include <gtest/gtest.h>

#include <optional>

#include "ApoController.h"
#include "DllUnderTest.h"
#include "LogCapture.h"
#include "sim/Platform.h"

namespace kelix {
namespace {

constexpr wchar_t kEndpoint[] = L"{0.0.0.00000000}.{f0f0f0f0-0000-4000-8000-000000000001}";
constexpr PROPERTYKEY kFormFactorKey = {{0x1DA5D803, 0xD492, 0x4EDD, {0x8C, 0x23, 0xE0, 0xC0, 0xFF, 0xEE, 0x7F, 0x0E}}, 0};
constexpr PROPERTYKEY kOverrideKey = {{0xDD0DF94B, 0x53A2, 0x4A92, {0x85, 0x4E, 0x91, 0xF4, 0x2E, 0x28, 0xFD, 0x7B}}, 0};

// The logger of this process registers once: the capture is set up before any test runs.
test::LogCapture* capture = nullptr;
class CaptureEnvironment : public testing::Environment {
public:
    void SetUp() override { capture = new test::LogCapture(5); }
    void TearDown() override { delete capture; }
};
const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new CaptureEnvironment);

void Store(sim::Endpoint& endpoint, const PROPERTYKEY& key, ULONG value) {
    PROPVARIANT variant;
    variant.vt = VT_UI4;
    variant.ulVal = value;
    ASSERT_EQ(endpoint.SetValue(key, variant), S_OK);
}

TEST(FormFactorTest, EndpointValueHeadsetRuleAndOverride) {
    struct Case {
        const char* name;
        std::optional<ULONG> endpoint;
        std::optional<ULONG> override;
        UINT expected;
        std::vector<std::wstring> lines;  // information lines, in order
    };
    const Case cases[] = {
        {"headset, no override", 5, std::nullopt, 3,
         {L"formFactor = [5]", L"Headset will be considered as headphone, formFactor changes to [3]"}},
        {"speakers, override headphones", 1, 3, 3, {L"formFactor = [1]", L"FormFactorOverride = [3]"}},
        {"headphones, override 2", 3, 2, 1, {L"formFactor = [3]", L"FormFactorOverride = [2]"}},
        {"headphones, override 0", 3, 0, 3, {L"formFactor = [3]", L"FormFactorOverride = [0]"}},
        {"unknown, no override", 10, std::nullopt, 10, {L"formFactor = [10]"}},
        {"headset, override headset", 5, 5, 1,
         {L"formFactor = [5]", L"Headset will be considered as headphone, formFactor changes to [3]",
          L"FormFactorOverride = [5]"}},
        {"no property at all", std::nullopt, std::nullopt, 0, {L"formFactor = [0]"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sim::Platform platform;
        sim::Endpoint& endpoint = platform.AddEndpoint({kEndpoint});
        if (c.endpoint) Store(endpoint, kFormFactorKey, *c.endpoint);
        if (c.override) Store(endpoint, kOverrideKey, *c.override);
        sim::Installation installed(platform);
        ASSERT_EQ(ApoController::Open(kEndpoint), S_OK);
        capture->Clear();
        EXPECT_EQ(ApoController::GetFormFactor(kEndpoint), c.expected);
        std::vector<std::wstring> lines;
        for (const test::LogLine& line : capture->Lines()) {
            EXPECT_EQ(line.level, 4);
            EXPECT_EQ(line.function, L"ApoController::GetFormFactor");
            lines.push_back(line.message);
        }
        EXPECT_EQ(lines, c.lines);
        EXPECT_EQ(ApoController::Close(kEndpoint), S_OK);
        EXPECT_EQ(platform.TotalReferences(), 0);
    }
}

TEST(FormFactorTest, FailuresGiveUnknown) {
    sim::Platform platform;
    sim::Endpoint& endpoint = platform.AddEndpoint({kEndpoint});
    Store(endpoint, kFormFactorKey, 1);
    Store(endpoint, kOverrideKey, 3);
    sim::Installation installed(platform);

    capture->Clear();
    EXPECT_EQ(ApoController::GetFormFactor(kEndpoint), 10u);
    EXPECT_TRUE(capture->Has(2, L"ApoController.cpp", L"ApoController::GetFormFactor",
                             L"Property store for device[" + std::wstring(kEndpoint) + L"] is not opened."));

    ASSERT_EQ(ApoController::Open(kEndpoint), S_OK);
    platform.FailMethod("IPropertyStore::GetValue", E_UNEXPECTED, 1);
    EXPECT_EQ(ApoController::GetFormFactor(kEndpoint), 10u);
    EXPECT_TRUE(capture->Has(2, L"ApoController.cpp", L"ApoController::GetFormFactor",
                             L"Get audio endpoint form factor failed. [0x8000ffff]" + test::SystemText(E_UNEXPECTED)));
    platform.ClearFailures();
    EXPECT_EQ(ApoController::GetFormFactor(kEndpoint), 3u);
    EXPECT_EQ(ApoController::Close(kEndpoint), S_OK);
}

}  // namespace
}  // namespace kelix
