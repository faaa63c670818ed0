#include <gtest/gtest.h>

#include <vector>

#include "Values.h"

namespace pexctl {
namespace {

TEST(ValuesTest, IntegersAreStrict) {
    struct Case {
        const char* text;
        std::int64_t low, high;
        std::optional<std::int64_t> value;
    };
    const Case cases[] = {
        {"010", -100, 100, 10},  {"-6", -100, 100, -6},     {"0x1F", 0, 100, 31},  {"-0x10", -100, 100, -16},
        {"+7", 0, 9, 7},         {"2147483647", INT32_MIN, INT32_MAX, 2147483647},
        {"2147483648", INT32_MIN, INT32_MAX, std::nullopt},   {"4294967295", INT32_MIN, INT32_MAX, std::nullopt},
        {"4294967295", 0, UINT32_MAX, 4294967295},            {"99999999999999999999999", 0, UINT32_MAX, std::nullopt},
        {"-99999999999999999999", INT32_MIN, 0, std::nullopt}, {"", 0, 9, std::nullopt},
        {"0x", 0, 9, std::nullopt}, {"1e3", 0, 9999, std::nullopt}, {" 1", 0, 9, std::nullopt},
        {"1 ", 0, 9, std::nullopt}, {"0x1G", 0, 99, std::nullopt},  {"--1", -9, 9, std::nullopt},
    };
    for (const Case& c : cases) {
        std::string error;
        EXPECT_EQ(ParseInteger(c.text, c.low, c.high, error), c.value) << '"' << c.text << '"';
        EXPECT_EQ(error.empty(), c.value.has_value()) << '"' << c.text << "\": " << error;
    }
}

// Values as get shows them go back through set unchanged, structures by field.
TEST(ValuesTest, JsonValuesRoundTripThroughTheCallerBytes) {
    const struct {
        const char* parameter;
        const char* json;
    } cases[] = {
        {"pex_postgain", "-6"},
        {"krelo_audio_optimizer_gains", R"({"n":3,"v":[1,-2,3]})"},
        {"krelo_mb_compressor_tuning", R"({"n":1,"records":[[1,2,3,4,5,6]]})"},
        {"krelo_filter_config", R"({"size":3,"data":[0,128,255]})"},
        {"pex_tuning_partial_output_mode", R"({"first":9,"n":0,"v":[]})"},
        {"krelo_regulator_stress_amount", R"({"v":[1,2,3,4,5,6,7,-2147483648]})"},
    };
    for (const auto& c : cases) {
        const kelix::ParameterDescription& parameter = *kelix::FindParameter(c.parameter);
        const ParsedValue parsed = ParseValue(parameter, c.json, ScalarType::Default);
        ASSERT_EQ(parsed.error, "") << c.parameter;
        EXPECT_EQ(ValueToJson(parameter, parsed.bytes).dump(), c.json) << c.parameter;
    }
    const kelix::ParameterDescription& postgain = *kelix::FindParameter("pex_postgain");
    EXPECT_EQ(ValueToJson(postgain, ParseValue(postgain, "4294967295", ScalarType::UI4).bytes, true), 4294967295u);
    const kelix::ParameterDescription& version = *kelix::FindParameter("krelo_version");
    const std::vector<std::uint8_t> text{'1', 0, '.', 0, '4', 0, 0, 0, 'x', 0};  // ends at the NUL
    EXPECT_EQ(ValueToJson(version, text), "1.4");
}

TEST(ValuesTest, DevicesByDefaultIndexIdAndName) {
    std::vector<Endpoint> endpoints(3);
    endpoints[0] = {0, u"{0.0.0.00000000}.{aa}", u"Speakers (Realtek)", false, 1, 1, "", ""};
    endpoints[1] = {1, u"{0.0.0.00000000}.{bb}", u"Lautsprecher Ger\u00E4t \U0001F50A", true, 1, 1, "", ""};
    endpoints[2] = {2, u"{0.0.0.00000000}.{cc}", u"Speakers (USB)", false, 8, 1, "", ""};
    struct Case {
        const char* selector;
        int index;  // -1: an error
        const char* error;
    };
    const Case cases[] = {
        {"default", 1, ""},
        {"2", 2, ""},
        {"3", -1, "no render endpoint has the index 3; `pexctl list` shows the render endpoints"},
        {"{0.0.0.00000000}.{AA}", 0, ""},
        {"usb", 2, ""},
        {"GER\xC3\x84T \xF0\x9F\x94\x8A", 1, ""},  // beyond ASCII, a surrogate pair among them
        {"speakers", -1, "--device \"speakers\" matches 2 endpoints; give more of the name, the index or the id:\n"
                         "  [0] Speakers (Realtek) {0.0.0.00000000}.{aa}\n  [2] Speakers (USB) {0.0.0.00000000}.{cc}"},
        {"hdmi", -1, "no render endpoint matches --device \"hdmi\"; `pexctl list` shows the render endpoints"},
        {"", -1, "no render endpoint matches"},
    };
    for (const Case& c : cases) {
        const Selection selection = SelectEndpoint(endpoints, c.selector);
        EXPECT_EQ(selection.endpoint == nullptr ? -1 : static_cast<int>(selection.endpoint->index), c.index) << c.selector;
        EXPECT_EQ(selection.error.substr(0, std::string(c.error).size()), c.error) << c.selector;
    }
    endpoints[1].isDefault = false;
    EXPECT_EQ(SelectEndpoint(endpoints, "default").error, "no active render endpoint");
}

}  // namespace
}  // namespace pexctl
