// The report page: the values that differ marked, text escaped, nothing that
// would be fetched.
#include <gtest/gtest.h>

#include <regex>

#include "Report.h"

namespace pexctl {
namespace {

Json Rising(int count, int step) {
    Json items = Json::array();
    for (int i = 0; i < count; ++i) items.push_back(i * step - 40);
    return items;
}

Snapshot Read(const Json& parameters, const std::string& name = "Speakers") {
    const SnapshotReading reading = SnapshotFromJson(
        Json{{"format", kSnapshotFormat}, {"endpoint", {{"name", name}, {"formFactor", 1}}}, {"parameters", parameters}}
            .dump());
    EXPECT_EQ(reading.error, "");
    return reading.snapshot;
}

std::size_t Count(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    return static_cast<std::size_t>(
        std::distance(std::sregex_iterator(text.begin(), text.end(), expression), std::sregex_iterator()));
}

// Only the compared values that differ are marked; structures other than band arrays show by
// field; every chart labels its axes (the curves themselves: the page in Chromium, render-report.sh).
TEST(ReportTest, ComparedValuesThatDifferAreMarked) {
    const Json bands = {{"count", 20}, {"a", Rising(20, 3)}, {"b", Rising(20, -1)}};
    const Snapshot tuned = Read({
        {{"name", "pex_postgain"}, {"route", "store"}, {"value", -6}},
        {{"name", "pex_ieq_bands"}, {"route", "store"}, {"value", bands}},
        {{"name", "krelo_vis_bands"}, {"route", "dsp"}, {"value", {{"v", Rising(20, 5)}}}},
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
