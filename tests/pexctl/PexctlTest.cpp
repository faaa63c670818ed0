// pexctl as a user runs it: a separate process, its exit code, standard
// output and standard error; every --json output goes through a JSON parser.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PexctlRun.h"
#include "core/ParameterReference.h"

namespace {

using namespace pexctl_test;

// A bad input (exit 2) says what is wrong, with no HRESULT; each case in text or as the error
// object of --json in turn, both forms coming from one error path. The texts of the layouts'
// counts and of the device selection: the native tests of those.
std::vector<Case> BadInputs() {
    const std::string gereat = "Line \"Out\" \\ Ger\xC3\xA4t\xE2\x82\xAC (Kelix3 simulated)";
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"get", "1500"}, "unknown parameter \"1500\"; `pexctl params` lists them"},
        {{"--type", "ui4", "set", "pex_postgain", "-1"}, "\"-1\" is out of range 0..4294967295"},
        {{"--trace", "0", "list"}, "--trace"},
        {{"--route", "sideways", "list"}, "--route"},
        {{"--type", "r8", "list"}, "--type"},
        {{"get", "pex_postgain", "extra"}, "not expected: extra"},
        {{"frobnicate"}, "unknown command \"frobnicate\" (commands: list, get,"},
        {{}, "A subcommand is required"},
        {{"set", "krelo_filter_config", "3000"}, "krelo_filter_config is a structure: give a JSON object with the fields size, data"},
        {{"set", "pex_ieq_bands", "{\"count\": "}, "the value is not valid JSON"},
        {{"set", "pex_ieq_bands", "@Z:/nonexistent/bands.json"}, "cannot read the value file \"Z:/nonexistent/bands.json\""},
        {{"--type", "ui4", "set", "pex_ieq_bands", "{}"}, "--type applies to scalar values"},
        {{"set", "pex_version", "1"}, "pex_version is read-only"},
        {{"get", "pex_direct_request"}, "pex_direct_request cannot be read"},
        {{"--route", "dsp", "get", "ns_bypass"}, "ns_bypass is served by the store route only; use --route store"},
        {{"--route", "store", "get", "krelo_vis_bands"}, "krelo_vis_bands is served by the DSP route only; use --route dsp"},
        {{"--device", "(Kelix3", "get", "pex_postgain"}, "[2] " + gereat},  // names beyond ASCII on stderr
    };
    std::vector<Case> runs;
    for (const auto& [args, message] : cases) {
        if (runs.size() % 2 == 0) {
            runs.push_back({args, 2, {message}, {}});
            continue;
        }
        std::vector<std::string> json = args;
        json.insert(json.begin(), "--json");
        runs.push_back({json, 2, {}, {"/errors/0/hresult=null\n", message}});
    }
    return runs;
}

TEST(PexctlTest, RunsAnswerWithExitCodeAndTexts) {
    const Json bands = Bands(1000);
    const Json records = {{"records", {{1, 2, 3, 4, 5, 6}, {-1, -2, -3, -4, -5, 0x7FFFFFFF}}}};
    const TemporaryFile recordsFile("records.json", records.dump()), saved("saved.json");
    // Machine profiles that do not read, one whose device is removed while a command runs (its
    // store answers AUDCLNT_E_DEVICE_INVALIDATED), and a snapshot of a format this build does not read.
    std::string removing = ShippedProfile("laptop-speakers.json");
    removing.insert(1, R"("failures": [{"method": "IPropertyStore::SetValue", "hresult": "0x88890004"}], )");
    const std::string unreadable = R"({"format": 1, "endpoints": [{"id": "a", "guid": "x", "friendlyName": "A"}]})";
    const TemporaryFile badProfile("bad-machine.json", unreadable), noProfile("no-machine.json"),
        removed("removed-machine.json", removing), format2("format-2.json", R"({"format": 2, "parameters": []})");
    // A DSP that refuses every parameter write; a snapshot of a store value and of a PEX and a KRELO DSP value.
    std::string refusing = ShippedProfile("laptop-speakers.json");
    refusing.insert(refusing.find("\"modules\": ["), R"("failures": [{"request": "ParameterSet", "hresult": "0x8007001F"}], )");
    const Json entries = {{{"name", "pex_postgain"}, {"route", "store"}, {"value", 5}},
                          {{"name", "pex_postgain"}, {"route", "dsp"}, {"value", 5}},
                          {{"name", "krelo_peak_level"}, {"route", "dsp"}, {"value", 5}}};
    const TemporaryFile refusingMachine("refusing-machine.json", refusing), amd("amd.json", ShippedProfile("amd-laptop.json")),
        values("values.json", Json{{"format", 1}, {"endpoint", {{"id", "x"}}}, {"parameters", entries}}.dump());
    // A value set echoes is the one it sent: the simulated platform lives as long as one run.
    const auto set = [](const std::string& route, const std::string& name, const std::string& value, const Json& echo) {
        const Json written = route == "both" ? Json{"store", "dsp"} : Json{route};
        return Case{{"--json", "--route", route, "set", name, value}, 0, {},
                   {Leaves({{"value", echo}}) + Leaves({{"written", written}})}};
    };
    const std::string skipped = "/skipped/0/family=PEX\n/skipped/0/message=the PEX family is not on this endpoint's DSP: "
                                "its DSP parameters are skipped\n/skipped/0/route=dsp\n/skipped/1/family=KRELO\n";
    std::vector<Case> runs = {
        // Platform failures: exit 1 (3 when another route succeeded), the parameter, the route,
        // the HRESULT with its text, and the cause in words.
        {{"get", "pex_postgain"}, 1,
         {"reading pex_postgain on the store route failed: 0x80004005 ", "(the endpoint holds no value for it)"}, {}},
        {{"--json", "--device", "1", "--route", "dsp", "set", "pex_postgain", "1"}, 1, {},
         {"/errors/0/hresult=0x80070057\n/errors/0/message=writing pex_postgain on the dsp route failed: 0x80070057 ",
          "(the PEX family is not on this endpoint's DSP)\n/errors/0/parameter=pex_postgain\n/errors/0/route=dsp\n",
          "/written=null\n"}},
        {{"--json", "--device", "1", "--route", "both", "set", "pex_postgain", "1"}, 3, {},
         {"/errors/0/hresult=0x80070057\n", "/errors/0/route=dsp\n", "/written/0=store\n"}},
        {{"--device", "GER\xC3\x84T", "set", "pex_postgain", "1"}, 1,  // any case, beyond ASCII
         {"(the endpoint's property store was opened read-only)"}, {}},
        {{"--simulate=" + removed.Path(), "--no-save", "set", "pex_postgain", "1"}, 1,
         {"0x88890004 ", "(the device was removed)"}, {}},
        // Refused whole, a profile or a snapshot is left as it is.
        {{"--simulate=" + badProfile.Path(), "set", "pex_postgain", "1"}, 2,
         {"does not read: profile.endpoints[0].guid: not a GUID in braces"}, {}},
        {{"--simulate=" + noProfile.Path(), "set", "pex_postgain", "1"}, 2, {"cannot read the machine profile"}, {}},
        {{"--no-save", "set", "pex_postgain", "1"}, 2, {"--no-save applies to --simulate=PROFILE.json"}, {}},
        {{"apply", format2.Path()}, 2,
         {"cannot be used, nothing was written: snapshot format 2; this build reads format 1"}, {}},
        // apply writes what fits the endpoint: writes that fail are reported one by one and end with
        // 3; a family its DSP lacks is left out.
        {{"--simulate=" + refusingMachine.Path(), "--no-save", "--json", "apply", values.Path()}, 3, {},
         {"/writes/0/result=written\n", "/writes/1/result=0x8007001F",
          "writing pex_postgain on the dsp route failed: 0x8007001F"}},
        {{"--simulate=" + amd.Path(), "--json", "apply", "--dry-run", values.Path()}, 4, {},
         {"/skipped/0/family=PEX\n", "/skippedValues=1\n", "/wouldWrite=2\n", "/writes/1/name=krelo_peak_level\n"}},
        // A family that is not on an endpoint's DSP is skipped, said once, and no failure.
        {{"--device", "1", "--route", "dsp", "dump"}, 0,
         {"pexctl: the PEX family is not on this endpoint's DSP: its DSP parameters are skipped\n"
          "pexctl: the KRELO family is not on this endpoint's DSP: its DSP parameters are skipped\n"},
         {}},
        {{"--json", "--device", "1", "save", saved.Path()}, 0, {}, {skipped}},
        // Structures as JSON, inline and from a file, on either route.
        set("both", "pex_ieq_bands", bands.dump(), bands),
        set("both", "krelo_mb_compressor_tuning", "@" + recordsFile.Path(), {{"n", 2}, {"records", records["records"]}}),
        set("dsp", "krelo_regulator_thresholds", Json{{"a", bands["a"]}, {"b", bands["b"]}}.dump(),
            {{"a", bands["a"]}, {"b", bands["b"]}}),
        // Every command speaks JSON; `--` ends the options.
        {{"--json", "--route", "dsp", "get", "pex_module_id"}, 0, {}, {"/dsp={d11b4f61-42fa-43bb-997c-8d2b026d11c8}\n"}},
        {{"--json", "set", "1105", "-6"}, 0, {}, {"/value=-6\n/written/0=store\n"}},
        {{"--json", "--route", "both", "dump"}, 0, {}, {"/dsp/krelo_version=1.4.2\n", "/store/pex_version=pex2.10\n"}},
        {{"--json", "modules"}, 0, {}, {"/modules/1/family=KRELO\n", "/modules/1/version=1.4.2\n"}},
        {{"--json", "params"}, 0, {}, {"/parameters/0/id=1001\n"}},
        {{"--json", "demo"}, 0, {}, {"/modules/1/version=1.4.2\n", "/steps/8/store=pex2.10\n"}},
        {{"--json", "set", "pex_postgain", "--", "-7"}, 0, {}, {"/value=-7\n"}},
        {{"--json", "list"}, 0, {},
         {"/endpoints/0/default=true\n", "/endpoints/0/formFactorName=speakers\n",
          "/endpoints/0/id={0.0.0.00000000}.{6b1d7c40-5c2e-4f0a-9d3e-0a1b2c3d4e01}\n", "/endpoints/0/kreloVersion=krelo1.4\n",
          "/endpoints/0/pexVersion=pex2.10\n", "/endpoints/2/name=Line \"Out\" \\ Ger\xC3\xA4t\xE2\x82\xAC (Kelix3 simulated)\n",
          "/endpoints/3/state=unplugged\n"}},
        // demo in text, with the library's trace on stderr.
        {{"--trace", "4", "demo"}, 0, {"DspController::Open: DSP module index:"},
         {"pex_ieq_bands:\n  count = 2\n  a = 100, 110,", "krelo_version = krelo1.4\n"}},
        {{"-h"}, 0, {}, {"Exit codes:"}},
        {{"help"}, 0, {}, {"Exit codes:"}},
        {{"get", "--help"}, 0, {}, {"PARAM"}},
        {{"--version"}, 0, {}, {"pexctl 1."}},
    };
    for (Case& run : BadInputs()) runs.push_back(std::move(run));
    for (const Case& run : runs) Check(run);
    EXPECT_EQ(badProfile.Content(), unreadable);
    EXPECT_EQ(noProfile.Content(), "");
    EXPECT_EQ(Pexctl({"params", "--markdown"}).out, kelix::ParameterReferenceMarkdown());
}

// Wine's own audio, as ctest sets up its ALSA configuration: no device and
// so no endpoint at all (the null device's one endpoint: SnapshotCommandsTest).
TEST(PexctlWineTest, NoEndpoint) {
    for (const Case& run : {Case{{"get", "pex_postgain"}, 1,
                                 {"pexctl: no active render endpoint (the default-endpoint lookup answered 0x80070490 "}, {}},
                            Case{{"--json", "list"}, 0, {}, {"/endpoints=null\n"}}}) {
        Check(run, false);
    }
}

}  // namespace
