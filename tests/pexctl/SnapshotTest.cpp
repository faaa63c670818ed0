// Snapshot documents: what is refused (and how the error names the entry), what
// Compare reports, and the report page of them (the values that differ marked,
// text escaped, nothing that would be fetched); the round trip through the file:
// SnapshotCommandsTest.
#include <gtest/gtest.h>

#include <regex>

#include "Report.h"
#include "Snapshot.h"

namespace pexctl {
namespace {

Json Bands(int first) {
    Json bands = {{"count", 2}, {"a", Json::array()}, {"b", Json::array()}};
    for (int i = 0; i < 20; ++i) {
        bands["a"].push_back(first + 10 * i);
        bands["b"].push_back(-i);
    }
    return bands;
}

std::string Document(const Json& parameters, const std::string& name = "Speakers") {
    const Json endpoint = {{"id", "e"}, {"name", name}, {"formFactor", 1}};
    return Json{{"format", kSnapshotFormat}, {"endpoint", endpoint}, {"parameters", parameters}}.dump();
}

Snapshot Read(const Json& parameters, const std::string& name = "Speakers") {
    const SnapshotReading reading = SnapshotFromJson(Document(parameters, name));
    EXPECT_EQ(reading.error, "");
    return reading.snapshot;
}

std::size_t Count(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    return static_cast<std::size_t>(
        std::distance(std::sregex_iterator(text.begin(), text.end(), expression), std::sregex_iterator()));
}

TEST(SnapshotTest, RefusedDocumentsNameTheEntryAndKeepNothing) {
    Json shortBands = Bands(100);
    shortBands["a"] = {1, 2};
    const struct {
        std::string document;
        std::string error;
    } cases[] = {
        {"{\"format\": ", "not JSON"},
        {R"({"parameters": []})", "no \"format\": not a snapshot"},
        {R"({"format": 1})", "no \"parameters\" array"},
        {Document({{{"name", "pex_postgain"}, {"route", "store"}, {"value", 1}},
                   {{"name", "pex_postgainz"}, {"route", "store"}, {"value", 1}}}),
         "parameters[1] (pex_postgainz, store): \"pex_postgainz\" is no parameter this build knows"},
        {Document({{{"id", 1500}, {"route", "store"}, {"value", 1}}}), "parameters[0]: id 1500 is no parameter"},
        {Document({{{"name", "pex_postgain"}, {"id", 1114}, {"route", "store"}, {"value", 1}}}),
         "\"name\" is pex_postgain (1105) but \"id\" is 1114 (pex_ieq_bands)"},
        {Document({{{"name", "pex_postgain"}, {"route", "both"}, {"value", 1}}}), "\"route\" is not \"store\" or \"dsp\""},
        {Document({{{"name", "krelo_vis_bands"}, {"route", "store"}, {"value", {{"v", {1}}}}}}),
         "krelo_vis_bands is not served by the store route"},
        {Document({{{"name", "pex_ieq_bands"}, {"route", "dsp"}, {"value", shortBands}}}),
         "parameters[0] (pex_ieq_bands, dsp): pex_ieq_bands: \"a\" has 2 values, it takes 20"},
        {Document({{{"name", "pex_postgain"}, {"route", "store"}, {"value", 99999999999}}}), "is out of range"},
        {Document({{{"name", "pex_postgain"}, {"route", "store"}}}), "no \"value\""},
        {Document({{{"name", "pex_version"}, {"route", "store"}, {"value", 7}}}), "the value is not a text"},
        {Document({{{"name", "pex_postgain"}, {"route", "store"}, {"value", 1}},
                   {{"name", "pex_postgain"}, {"route", "store"}, {"value", 2}}}),
         "parameters[1] (pex_postgain, store): given twice"},
    };
    for (const auto& c : cases) {
        const SnapshotReading reading = SnapshotFromJson(c.document);
        EXPECT_NE(reading.error.find(c.error), std::string::npos) << c.document << "\n -> " << reading.error;
        EXPECT_TRUE(reading.snapshot.entries.empty()) << c.document;
    }
}

TEST(SnapshotTest, CompareReportsChangedMissingAndExtraValues) {
    const Snapshot saved = Read({{{"name", "pex_postgain"}, {"route", "store"}, {"value", -6}},
                                 {{"name", "pex_bypass"}, {"route", "store"}, {"value", 0}},
                                 {{"name", "pex_ieq_bands"}, {"route", "store"}, {"value", Bands(100)}},
                                 {{"name", "krelo_post_gain"}, {"route", "store"}, {"value", 3}}});
    Json changedBands = Bands(100);
    changedBands["a"][3] = 0;
    changedBands["b"][19] = 5;
    const Snapshot current = Read({{{"name", "pex_postgain"}, {"route", "store"}, {"value", -4}},
                                   {{"name", "pex_bypass"}, {"route", "store"}, {"value", 0}},
                                   {{"name", "pex_ieq_bands"}, {"route", "store"}, {"value", changedBands}},
                                   {{"name", "pex_system_gain"}, {"route", "store"}, {"value", 1}},
                                   {{"name", "pex_postgain"}, {"route", "dsp"}, {"value", 9}}});
    const std::vector<Difference> differences = Compare(saved, current);
    const struct {
        std::string name;
        bool onlyCurrent;
        std::vector<std::string> lines;
    } expected[] = {
        {"pex_postgain", false, {"file -6, endpoint -4"}},
        {"pex_ieq_bands", false, {"a: [3] file 130, endpoint 0", "b: [19] file -19, endpoint 5"}},
        {"krelo_post_gain", false, {"the endpoint holds no value"}},
        {"pex_system_gain", true, {"not in the file; the endpoint holds 1"}},
    };  // pex_postgain on the DSP: a route the file does not hold
    ASSERT_EQ(differences.size(), std::size(expected));
    for (std::size_t i = 0; i < differences.size(); ++i) {
        EXPECT_EQ(differences[i].parameter->name, expected[i].name);
        EXPECT_EQ(differences[i].onlyCurrent, expected[i].onlyCurrent) << expected[i].name;
        EXPECT_EQ(DifferenceLines(differences[i]), expected[i].lines) << expected[i].name;
    }
    EXPECT_TRUE(Compare(saved, saved).empty());
}

// Only the compared values that differ are marked; structures other than band arrays show by
// field; every chart labels its axes (the curves themselves: the page in Chromium, render-report.sh).
TEST(ReportTest, ComparedValuesThatDifferAreMarked) {
    const Json bands = Bands(-40);
    const Snapshot tuned = Read({
        {{"name", "pex_postgain"}, {"route", "store"}, {"value", -6}},
        {{"name", "pex_ieq_bands"}, {"route", "store"}, {"value", bands}},
        {{"name", "krelo_vis_bands"}, {"route", "dsp"}, {"value", {{"v", Bands(7)["a"]}}}},
        {{"name", "krelo_mb_compressor_tuning"}, {"route", "store"}, {"value", {{"n", 1}, {"records", {{1, 2, 3, 4, 5, 6}}}}}},
    });
    const Snapshot reference = Read({{{"name", "pex_ieq_bands"}, {"route", "store"}, {"value", bands}},
                                     {{"name", "pex_postgain"}, {"route", "store"}, {"value", -4}}});
    const ReportSource other{&reference, "reference.json"};
    const std::string page = ReportHtml({&tuned, "tuned.json"}, &other);
    EXPECT_EQ(Count(page, "<tr class=\"differs\"><td class=\"number\">1105</td><td>pex_postgain</td><td>store</td>"
                          "<td class=\"number\">-6</td><td class=\"number\">-4</td>"),
              1u);
    EXPECT_EQ(Count(page, "<tr class=\"differs\"><td class=\"number\">1114"), 0u);
    EXPECT_NE(page.find("records = [1, 2, 3, 4, 5, 6]"), std::string::npos);
    EXPECT_GT(Count(page, "<figure class=\"chart\""), 0u);
    EXPECT_EQ(Count(page, ">band</text>"), Count(page, "<figure class=\"chart\""));
    EXPECT_EQ(Count(page, ">value</text>"), Count(page, "<figure class=\"chart\""));
}

TEST(ReportTest, TextIsEscapedAndNothingIsFetched) {
    const Snapshot snapshot = Read({{{"name", "pex_postgain"}, {"route", "store"}, {"value", 1}}},
                                   "<script>alert('x')</script> & \"Ger\xC3\xA4t\"");
    const std::string page = ReportHtml({&snapshot, "a<b>.json"}, nullptr);
    EXPECT_EQ(page.find("<script"), std::string::npos);
    EXPECT_NE(page.find("&lt;script&gt;alert(&#39;x&#39;)&lt;/script&gt; &amp; &quot;Ger\xC3\xA4t&quot;"), std::string::npos);
    EXPECT_NE(page.find("a&lt;b&gt;.json"), std::string::npos);
    EXPECT_NE(page.find("content=\"default-src 'none'; style-src 'unsafe-inline'\""), std::string::npos);
    EXPECT_EQ(Count(page, "(src|href)="), 0u);
    EXPECT_EQ(Count(page, "url\\(|@import|https?:"), 0u);
    EXPECT_NE(page.find("No band array holds a value."), std::string::npos);
}

}  // namespace
}  // namespace pexctl
