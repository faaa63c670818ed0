// Machines kept in a profile between pexctl runs, and snapshots of an
// endpoint saved, compared and put back: on simulated machines (both routes)
// and on Wine's own endpoint (the store route).
#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PexctlRun.h"
#include "WineEndpoint.h"

namespace {

using namespace pexctl_test;
using kelix::test::ClearCatalogueValuesOfTheDefaultEndpoint;

// pexctl --json on the machine the profile holds, or with nullptr on Wine's own audio with
// --type ui4; the exit code checked.
Json OnMachine(const TemporaryFile* machine, std::vector<std::string> args, DWORD exitCode = 0) {
    const std::vector<std::string> options = machine != nullptr
                                                 ? std::vector<std::string>{"--simulate=" + machine->Path(), "--json"}
                                                 : std::vector<std::string>{"--json", "--type", "ui4"};
    args.insert(args.begin(), options.begin(), options.end());
    const Outcome run = Pexctl(args);
    EXPECT_EQ(run.exitCode, exitCode) << Describe(args, run);
    return Parse(args, run);
}

std::vector<std::string> Names(const Json& list) {
    std::vector<std::string> names;
    for (const Json& item : list) names.push_back(item.at("name").get<std::string>() + "/" + item.at("route").get<std::string>());
    return names;
}

// The file save writes, but for the time of the save.
Json Saved(const TemporaryFile& snapshot) {
    Json file = Json::parse(snapshot.Content(), nullptr, false);
    if (file.is_object()) file.erase("saved");
    return file;
}

// What a machine answers: list, and for each endpoint its modules and the file save writes
// (every value on both routes), each with its exit code. `machine` is the --simulate argument or nothing.
std::vector<std::string> Answers(const std::string& machine) {
    const auto run = [&](std::vector<std::string> args) {
        if (!machine.empty()) args.insert(args.begin(), {"--simulate=" + machine, "--no-save"});
        const Outcome outcome = Pexctl(args);
        return std::to_string(outcome.exitCode) + " " + outcome.out;
    };
    std::vector<std::string> answers = {run({"--json", "list"})};
    const Json list = Json::parse(answers[0].substr(answers[0].find(' ') + 1));
    for (const Json& endpoint : list.at("endpoints")) {
        const std::string index = std::to_string(endpoint.at("index").get<int>());
        answers.push_back(run({"--json", "--device", index, "modules"}));
        const TemporaryFile snapshot("answers-snapshot.json");
        const std::string answer = run({"--json", "--device", index, "--route", "both", "save", snapshot.Path()});
        answers.push_back(answer + Saved(snapshot).dump(2));
    }
    return answers;
}

// A machine kept in its profile between runs, its DSP holding values of each blob layout (what the
// machine takes of them; refusals are its own). capture reads it through the library and the
// platform calls and writes a profile that answers as the machine itself did: the laptop holds every
// kind of endpoint (a DSP with both families, none, a read-only store, unplugged), the AMD laptop
// reaches its DSP through the AMD module set. On the laptop then save, change, diff, apply, save
// gives the same file again on both routes; a run that changes nothing, --no-save and a dry run
// write nothing.
TEST(PexctlTest, MachinesCapturedSavedAndPutBack) {
    const Json thresholds = {{"a", Bands(-3)["a"]}, {"b", Bands(5)["b"]}};
    Json parameters = Json::array();
    const auto add = [&](const char* name, std::vector<const char*> routes, const Json& value) {
        for (const char* route : routes) parameters.push_back({{"name", name}, {"route", route}, {"value", value}});
    };
    add("pex_postgain", {"store", "dsp"}, -6);
    add("pex_ieq_bands", {"store", "dsp"}, Bands(100));
    add("pex_partial_output_mode", {"dsp"}, {{"first", 4}, {"n", 3}, {"v", {7, 8, 9}}});
    add("krelo_regulator_thresholds", {"store", "dsp"}, thresholds);
    add("krelo_mb_compressor_tuning", {"dsp"}, {{"n", 1}, {"records", {{1, 2, 3, 4, 5, 6}}}});
    add("krelo_bypass", {"dsp"}, 1);
    add("krelo_peak_level", {"store"}, 7);
    const TemporaryFile values("capture-values.json",
                               Json{{"format", 1}, {"endpoint", {{"id", "x"}}}, {"parameters", parameters}}.dump());
    const TemporaryFile laptop("laptop.json", ShippedProfile("laptop-speakers.json")),
        amd("amd.json", ShippedProfile("amd-laptop.json"));
    OnMachine(&laptop, {"list"});
    EXPECT_EQ(laptop.Content(), ShippedProfile("laptop-speakers.json")) << "a run that changes nothing";
    for (const TemporaryFile* machine : {&amd, &laptop}) {
        SCOPED_TRACE(machine->Path());
        for (const char* device : {"0", "1"}) {
            const std::vector<std::string> args = {"--simulate=" + machine->Path(), "--device", device, "apply", values.Path()};
            const Outcome applied = Pexctl(args);
            if (device[0] == '0') {
                EXPECT_NE(applied.exitCode, 2u) << Describe(args, applied);  // read, not refused
            }
        }
        const TemporaryFile captured("captured.json");
        const Json capture = OnMachine(machine, {"capture", captured.Path()});
        EXPECT_EQ(capture.at("unreadDspValues"), Json::array());
        const std::vector<std::string> original = Answers(machine->Path()), copy = Answers(captured.Path());
        ASSERT_EQ(original.size(), copy.size());
        for (size_t i = 0; i < original.size(); ++i) EXPECT_EQ(copy[i], original[i]) << captured.Content();
    }
    // --device: that endpoint alone (the laptop's line out, whose store opens read-only).
    const TemporaryFile captured("captured.json");
    OnMachine(&laptop, {"--device", "2", "capture", captured.Path()});
    const Json endpoints = Json::parse(captured.Content()).at("endpoints");
    ASSERT_EQ(endpoints.size(), 1u);
    EXPECT_EQ(endpoints[0].at("id"), Json::parse(ShippedProfile("laptop-speakers.json"))["endpoints"][2].at("id"));
    EXPECT_EQ(endpoints[0].at("store"), "readonly");

    const TemporaryFile snapshot("snapshot.json"), again("snapshot-again.json");
    const Json saved = OnMachine(&laptop, {"save", snapshot.Path()});
    const Json file = Json::parse(snapshot.Content());
    EXPECT_EQ(file.at("routes"), Json({"store", "dsp"}));
    EXPECT_EQ(saved.at("saved"), file.at("parameters").size());
    EXPECT_FALSE(saved.contains("skipped")) << saved.dump();
    bool found = false;
    for (const Json& entry : file.at("parameters")) {
        if (entry.at("name") == "pex_ieq_bands" && entry.at("route") == "dsp") found = entry.at("value") == Bands(100);
    }
    EXPECT_TRUE(found) << snapshot.Content();

    OnMachine(&laptop, {"--route", "both", "set", "pex_postgain", "-2"});
    OnMachine(&laptop, {"--route", "dsp", "set", "pex_ieq_bands", Bands(7).dump()});
    OnMachine(&laptop, {"set", "krelo_peak_level", "0"});
    OnMachine(&laptop, {"--no-save", "--route", "both", "set", "krelo_post_gain", "5"});
    const std::vector<std::string> changed = {"pex_postgain/store", "krelo_peak_level/store", "pex_postgain/dsp",
                                              "pex_ieq_bands/dsp"};
    EXPECT_EQ(Names(OnMachine(&laptop, {"diff", snapshot.Path()}, 4).at("differences")), changed);
    const std::string before = laptop.Content();
    const Json dry = OnMachine(&laptop, {"apply", "--dry-run", snapshot.Path()}, 4);
    EXPECT_EQ(Names(dry.at("writes")), changed);
    EXPECT_EQ(dry.at("wouldWrite"), changed.size());
    EXPECT_EQ(laptop.Content(), before) << "a dry run writes nothing";
    const Json applied = OnMachine(&laptop, {"apply", snapshot.Path()});
    ASSERT_EQ(Names(applied.at("writes")), changed);
    for (const Json& write : applied.at("writes")) EXPECT_EQ(write.at("result"), "written") << write.dump();
    OnMachine(&laptop, {"save", again.Path()});
    EXPECT_EQ(Saved(again), Saved(snapshot));
}

// Wine's null device: one endpoint, whose store takes scalars only as VT_UI4 and says so; what
// save wrote, apply puts back (diff's rules: the simulated round trip); its capture.
TEST(PexctlWineTest, WineEndpointSnapshotRoundTrip) {
    // Earlier programs of the prefix left values of every kind in Wine's store.
    ASSERT_NO_FATAL_FAILURE(ClearCatalogueValuesOfTheDefaultEndpoint());
    Check({{"set", "krelo_peak_level", "7"}, 1, {"(the store refused the value's type; some stores take only --type ui4)"}, {}},
          false);
    const TemporaryFile snapshot("wine-snapshot.json");
    OnMachine(nullptr, {"set", "krelo_peak_level", "11"});
    OnMachine(nullptr, {"set", "pex_postgain", "3"});
    OnMachine(nullptr, {"--route", "store", "save", snapshot.Path()});
    EXPECT_EQ(Json::parse(snapshot.Content()).at("endpoint").at("formFactor"), 1);
    OnMachine(nullptr, {"set", "pex_postgain", "9"});
    const Json applied = OnMachine(nullptr, {"apply", snapshot.Path()});
    ASSERT_EQ(applied.at("writes").size(), 1u);
    EXPECT_EQ(applied["writes"][0].at("result"), "written");
    EXPECT_EQ(OnMachine(nullptr, {"diff", snapshot.Path()}).at("differences"), Json::array());
    // Captured, the simulated copy answers as Wine does.
    const TemporaryFile captured("wine-captured.json");
    OnMachine(nullptr, {"capture", captured.Path()});
    EXPECT_EQ(Json::parse(captured.Content()).at("endpoints").size(), 1u) << captured.Content();
    EXPECT_EQ(Answers(captured.Path()), Answers(""));
}

}  // namespace
