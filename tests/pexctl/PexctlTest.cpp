// pexctl as a user runs it: a separate process, its exit code, standard
// output and standard error; every --json output goes through a JSON parser.
#include <windows.h>

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "PexctlRun.h"
#include "core/ParameterReference.h"

namespace {

using namespace pexctl_test;

const std::string kSpeakers = "{0.0.0.00000000}.{6b1d7c40-5c2e-4f0a-9d3e-0a1b2c3d4e01}";

// Each bad input: exit code 2 and what the message says, on stderr, or as
// the error object of --json on stdout. Both forms come from one error path:
// the cases take them in turn.
TEST(PexctlTest, BadInputsSayWhatIsWrong) {
    struct Case {
        std::vector<std::string> args;
        std::string message;
    };
    const Case cases[] = {
        {{"get", "1500"}, "unknown parameter \"1500\"; `pexctl params` lists them"},
        {{"--type", "ui4", "set", "pex_postgain", "-1"}, "\"-1\" is out of range 0..4294967295"},
        {{"--trace", "0", "list"}, "--trace"},
        {{"--route", "sideways", "list"}, "--route"},
        {{"--type", "r8", "list"}, "--type"},
        {{"get", "pex_postgain", "extra"}, "not expected: extra"},
        {{"frobnicate"}, "unknown command \"frobnicate\" (commands: list, get,"},
        {{}, "A subcommand is required"},
        {{"set", "krelo_filter_config", "3000"}, "krelo_filter_config is a structure: give a JSON object with the fields size, data"},
        {{"set", "krelo_filter_config", R"({"size": 3000, "data": []})"}, "\"size\" says 3000 but \"data\" has 0"},
        {{"set", "pex_ieq_bands", "{\"count\": "}, "the value is not valid JSON"},
        {{"set", "pex_ieq_bands", "@Z:/nonexistent/bands.json"}, "cannot read the value file \"Z:/nonexistent/bands.json\""},
        {{"--type", "ui4", "set", "pex_ieq_bands", "{}"}, "--type applies to scalar values"},
        {{"set", "pex_version", "1"}, "pex_version is read-only"},
        {{"get", "pex_direct_request"}, "pex_direct_request cannot be read"},
        {{"--route", "dsp", "get", "ns_bypass"}, "ns_bypass is served by the store route only; use --route store"},
        {{"--route", "store", "get", "krelo_vis_bands"}, "krelo_vis_bands is served by the DSP route only; use --route dsp"},
        {{"--device", "nowhere", "get", "pex_postgain"}, "no render endpoint matches --device \"nowhere\"; `pexctl list` shows the render endpoints"},
        {{"--device", "simulated", "get", "pex_postgain"}, "--device \"simulated\" matches 4 endpoints"},
    };
    for (const Case& c : cases) {
        const auto args = Simulated(c.args);
        if ((&c - cases) % 2 == 0) {
            const Outcome text = Pexctl(args);
            EXPECT_EQ(text.exitCode, 2u) << Describe(args, text);
            EXPECT_NE(text.err.find("pexctl: "), std::string::npos) << Describe(args, text);
            EXPECT_NE(text.err.find(c.message), std::string::npos) << Describe(args, text);
            EXPECT_EQ(text.out, "") << Describe(args, text);
            continue;
        }
        auto jsonArgs = args;
        jsonArgs.insert(jsonArgs.begin(), "--json");
        const Outcome json = Pexctl(jsonArgs);
        EXPECT_EQ(json.exitCode, 2u) << Describe(jsonArgs, json);
        const Json document = Parse(jsonArgs, json);
        ASSERT_EQ(document.value("errors", Json::array()).size(), 1u) << Describe(jsonArgs, json);
        EXPECT_NE(document["errors"][0].at("message").get<std::string>().find(c.message), std::string::npos)
            << Describe(jsonArgs, json);
        EXPECT_TRUE(document["errors"][0].at("hresult").is_null()) << Describe(jsonArgs, json);
    }
}

// Platform failures: exit 1 (3 when another route or parameter succeeded),
// the parameter, the route, the HRESULT with its text, and the cause in words.
TEST(PexctlTest, FailuresNameRouteResultAndCause) {
    const std::string headphones = "1";
    const std::string lineOut = "GER\xC3\x84T";  // any case, beyond ASCII
    struct Case {
        std::vector<std::string> args;
        DWORD exitCode;
        std::string message;
        std::string route;
        std::string hresult;
    };
    const Case cases[] = {
        {{"get", "pex_postgain"}, 1, "(the endpoint holds no value for it)", "store", "0x80004005"},
        {{"--device", headphones, "--route", "dsp", "set", "pex_postgain", "1"}, 1,
         "writing pex_postgain on the dsp route failed: 0x80070057 ", "dsp", "0x80070057"},
        {{"--device", headphones, "--route", "dsp", "get", "krelo_post_gain"}, 1,
         "(the KRELO family is not on this endpoint's DSP)", "dsp", "0x80070057"},
        {{"--device", headphones, "--route", "both", "set", "pex_postgain", "1"}, 3,
         "(the PEX family is not on this endpoint's DSP)", "dsp", "0x80070057"},
        {{"--device", lineOut, "set", "pex_postgain", "1"}, 1,
         "(the endpoint's property store was opened read-only)", "store", ""},
    };
    for (const Case& c : cases) {
        const auto args = Simulated(c.args);
        const Outcome text = Pexctl(args);
        EXPECT_EQ(text.exitCode, c.exitCode) << Describe(args, text);
        EXPECT_NE(text.err.find(c.message), std::string::npos) << Describe(args, text);

        auto jsonArgs = args;
        jsonArgs.insert(jsonArgs.begin(), "--json");
        const Outcome json = Pexctl(jsonArgs);
        EXPECT_EQ(json.exitCode, c.exitCode) << Describe(jsonArgs, json);
        const Json document = Parse(jsonArgs, json);
        EXPECT_TRUE(HasError(document, c.message)) << Describe(jsonArgs, json);
        const Json errors = document.value("errors", Json::array());
        ASSERT_FALSE(errors.empty()) << Describe(jsonArgs, json);
        EXPECT_EQ(errors.back().at("route"), c.route) << Describe(jsonArgs, json);
        if (!c.hresult.empty()) {
            EXPECT_EQ(errors.back().at("hresult"), c.hresult) << Describe(jsonArgs, json);
        }
    }
}

// A structure written as JSON (inline and from a file) on both routes reads
// back field for field; the --json output of get is what set takes.
TEST(PexctlTest, StructuresRoundTripByField) {
    Json bands = {{"count", 3}, {"a", Json::array()}, {"b", Json::array()}};
    for (int i = 0; i < 20; ++i) {
        bands["a"].push_back(1000 + i);
        bands["b"].push_back(-i);
    }
    const Json records = {{"records", {{1, 2, 3, 4, 5, 6}, {-1, -2, -3, -4, -5, 0x7FFFFFFF}}}};
    std::vector<std::uint8_t> filter(2044);
    for (size_t i = 0; i < filter.size(); ++i) filter[i] = static_cast<std::uint8_t>(i * 7);
    const Json filterConfig = {{"data", filter}};
    const std::wstring file = Directory() + L"pexctl-records.json";
    std::ofstream(file.c_str(), std::ios::binary) << records.dump();
    char path[MAX_PATH];
    WideCharToMultiByte(CP_UTF8, 0, file.c_str(), -1, path, MAX_PATH, nullptr, nullptr);

    struct Case {
        std::string parameter;
        std::string route;
        std::string value;
        Json expected;
    };
    const Case cases[] = {
        {"pex_ieq_bands", "both", bands.dump(), bands},
        {"krelo_mb_compressor_tuning", "both", std::string("@") + path,
         {{"n", 2}, {"records", records["records"]}}},
        {"krelo_filter_config", "both", filterConfig.dump(), {{"size", 2044}, {"data", filter}}},
        {"krelo_regulator_thresholds", "dsp", Json{{"a", bands["a"]}, {"b", bands["b"]}}.dump(),
         {{"a", bands["a"]}, {"b", bands["b"]}}},
        {"pex_partial_output_mode", "dsp", R"({"first": 4, "v": [7, 8, 9]})",
         {{"first", 4}, {"n", 3}, {"v", {7, 8, 9}}}},
        {"pex_postgain", "both", "0x10", 16},
    };
    for (const Case& c : cases) {
        // The simulated platform lives as long as one pexctl process: the
        // value set echoes is the one it sent (demo reads values back).
        const auto set = Simulated({"--json", "--route", c.route, "set", c.parameter, c.value});
        const Outcome written = Pexctl(set);
        ASSERT_EQ(written.exitCode, 0u) << Describe(set, written);
        const Json result = Json::parse(written.out);
        EXPECT_EQ(result.at("value"), c.expected) << Describe(set, written);
        EXPECT_EQ(result.at("written").size(), c.route == "both" ? 2u : 1u) << Describe(set, written);
    }
    DeleteFileW(file.c_str());
}

// demo writes and reads back through one process, so the values that come
// back are the ones the library stored: on the store route and on the DSP.
TEST(PexctlTest, DemoReadsBackWhatItWrote) {
    const Outcome run = Pexctl(Simulated({"--json", "demo"}));
    ASSERT_EQ(run.exitCode, 0u) << Describe({"demo"}, run);
    const Json steps = Json::parse(run.out).at("steps");
    ASSERT_EQ(steps.size(), 16u);
    for (size_t i = 0; i + 1 < steps.size(); ++i) {
        if (steps[i]["command"] != "set" || steps[i + 1]["command"] != "get") continue;
        const std::string route = steps[i]["written"][0];
        EXPECT_EQ(steps[i + 1].at(route), steps[i].at("value")) << steps[i + 1].dump();
    }
    EXPECT_EQ(Json::parse(run.out)["steps"][8].at("store"), "pex2.10");
    EXPECT_EQ(Json::parse(run.out)["modules"][1].at("version"), "1.4.2");

    const Outcome text = Pexctl(Simulated({"--trace", "4", "demo"}));
    EXPECT_EQ(text.exitCode, 0u) << text.err;
    EXPECT_NE(text.out.find("pex_ieq_bands:\n  count = 2\n  a = 100, 110,"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("krelo_version = krelo1.4\n"), std::string::npos) << text.out;
    EXPECT_NE(text.err.find("DspController::Open: DSP module index:"), std::string::npos) << text.err;
}

// Every command's --json output is one JSON document, names with a quote, a
// backslash and letters beyond ASCII included; stderr is UTF-8 as well.
TEST(PexctlTest, EveryCommandSpeaksJsonAndUtf8) {
    const std::string gereat = "Line \"Out\" \\ Ger\xC3\xA4t\xE2\x82\xAC (Kelix3 simulated)";
    struct Case {
        std::vector<std::string> args;
        std::string key;
        Json value;  // null: any
    };
    const Case cases[] = {
        {{"--route", "dsp", "get", "krelo_version"}, "dsp", "1.4.2"},
        {{"--route", "dsp", "get", "pex_module_id"}, "dsp", nullptr},
        {{"set", "1105", "-6"}, "written", nullptr},
        {{"--route", "both", "dump"}, "dsp", nullptr},
        {{"modules"}, "modules", nullptr},
        {{"params"}, "parameters", nullptr},
        {{"set", "pex_postgain", "--", "-7"}, "value", -7},  // `--` ends the options
    };
    for (const Case& c : cases) {
        auto args = Simulated(c.args);
        args.insert(args.begin(), "--json");
        const Outcome run = Pexctl(args);
        EXPECT_EQ(run.exitCode, 0u) << Describe(args, run);
        const Json document = Parse(args, run);
        EXPECT_TRUE(document.contains(c.key)) << Describe(args, run);
        if (!c.value.is_null()) {
            EXPECT_EQ(document.value(c.key, Json()), c.value) << Describe(args, run);
        }
    }
    const Json list = Json::parse(Pexctl(Simulated({"--json", "list"})).out).at("endpoints");
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(list[0].at("id"), kSpeakers);
    EXPECT_EQ(list[0].at("default"), true);
    EXPECT_EQ(list[0].at("formFactorName"), "speakers");
    EXPECT_EQ(list[0].at("pexVersion"), "pex2.10");
    EXPECT_EQ(list[0].at("kreloVersion"), "krelo1.4");
    EXPECT_EQ(list[2].at("name"), gereat);
    EXPECT_EQ(list[3].at("state"), "unplugged");

    const Outcome ambiguous = Pexctl(Simulated({"--device", "(Kelix3", "get", "pex_postgain"}));
    EXPECT_NE(ambiguous.err.find("[2] " + gereat), std::string::npos) << ambiguous.err;
}

TEST(PexctlTest, HelpVersionAndParameterReference) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"-h"}, "Exit codes:"}, {{"--help"}, "Exit codes:"}, {{"help"}, "Exit codes:"},
        {{"get", "--help"}, "PARAM"}, {{"--version"}, "pexctl 1."},
    };
    for (const auto& [args, text] : cases) {
        const Outcome run = Pexctl(args);
        EXPECT_EQ(run.exitCode, 0u) << Describe(args, run);
        EXPECT_NE(run.out.find(text), std::string::npos) << Describe(args, run);
        EXPECT_EQ(run.err, "") << Describe(args, run);
    }
    EXPECT_EQ(Pexctl({"params", "--markdown"}).out, kelix::ParameterReferenceMarkdown());
}

// Wine's own audio, as ctest sets up its ALSA configuration: no device and
// so no endpoint at all (the null device's one endpoint: SnapshotCommandsTest).
TEST(PexctlWineTest, NoEndpoint) {
    const Outcome missing = Pexctl({"get", "pex_postgain"});
    EXPECT_EQ(missing.exitCode, 1u) << missing.err;
    EXPECT_NE(missing.err.find("pexctl: no active render endpoint (the default-endpoint lookup answered 0x80070490 "),
              std::string::npos)
        << missing.err;
    const Outcome json = Pexctl({"--json", "get", "pex_postgain"});
    EXPECT_TRUE(HasError(Parse({"--json", "get", "pex_postgain"}, json), "no active render endpoint")) << json.out;
    const Outcome empty = Pexctl({"--json", "list"});
    EXPECT_EQ(empty.exitCode, 0u);
    EXPECT_EQ(Parse({"--json", "list"}, empty).value("endpoints", Json::array()).size(), 0u) << empty.out;
}

}  // namespace
