#include <gtest/gtest.h>

#include "core/DspParameterTables.h"
#include "core/ParameterFamily.h"

namespace kelix {
namespace {

TEST(DspParameterTablesTest, RouteTableServesItsFamiliesOnly) {
    int pex = 0, krelo = 0;
    for (ParameterId id = 0; id < 4000; ++id) {
        if (!LookupDspRoute(id)) continue;
        (IsPexId(id) ? pex : krelo)++;
        EXPECT_TRUE(IsPexId(id) || IsKreloId(id)) << id;
    }
    EXPECT_EQ(pex, 41);
    EXPECT_EQ(krelo, 27);
    for (ParameterId id : {1001, 2001, 1003, 2003, 1006, 2004, 3002}) EXPECT_FALSE(LookupDspRoute(id)) << id;
    const DspRoute formFactor = *LookupDspRoute(1004);
    EXPECT_EQ(formFactor.index, 127);
    EXPECT_STREQ(formFactor.name, L"pex_nelp-endpoint-form-facotr");
}

TEST(DspParameterTablesTest, VersionListsBoundTheIndices) {
    struct Case {
        const wchar_t* version;
        std::int32_t index;
        bool valid;
        const wchar_t* name;  // of a valid index
    };
    const Case cases[] = {
        {L"1.4.1", 20, true, L"system_gain"},  {L"1.4.1", 32, true, L"latency"},   {L"1.4.1", 33, false, nullptr},
        {L"1.2.0", 32, true, L"latency"},      {L"1.3.1", 33, true, L"peak_level"}, {L"1.3.1", 34, false, nullptr},
        {L"1.3.1-lite", 33, true, L"peak_level"}, {L"1.4.2", 32, true, L"filter_config"},
        {L"1.4.2-lite", 45, true, L"ultrasonic_pilot_enable"}, {L"1.4.2", 46, false, nullptr},
        {L"1.4.2", 19, false, nullptr},        {L"1.4.2", -1, false, nullptr},     {L"2.10.0-lite", 120, true, L"drc_metadata"},
        {L"2.10.0-lite", 159, true, L"regulator_tuning_info"}, {L"2.10.0-lite", 160, false, nullptr},
        {L"2.10.0-lite", 20, false, nullptr}, {L"2.10.0-lite", 45, false, nullptr}, {L"", 32, true, L"latency"},
        {L"1.0.0", 38, false, nullptr},
    };
    for (const Case& c : cases) {
        const VersionList list = SelectVersionList(c.version);
        EXPECT_EQ(IsIndexInList(c.index, list), c.valid) << std::wstring(c.version).size() << " " << c.index;
        if (c.valid) EXPECT_EQ((*list.names)[static_cast<size_t>(c.index - list.base)], c.name) << c.index;
    }
    // 1005's index lies one past the PEX list: refused by every module.
    EXPECT_EQ(LookupDspRoute(1005)->index, 160);
    EXPECT_FALSE(IsIndexInList(160, SelectVersionList(L"2.10.0-lite")));
    EXPECT_EQ((*SelectVersionList(L"1.4.2").names)[18], L"mb_compressor_agc_enable ");
}

TEST(DspParameterTablesTest, InitialisationItemNames) {
    EXPECT_EQ(InitInfoName(0), L"block_size");
    EXPECT_EQ(InitInfoName(5), L"max_num_channels");
    EXPECT_EQ(InitInfoName(kInitInfoCount - 1), L"filter_config");
}

}  // namespace
}  // namespace kelix
