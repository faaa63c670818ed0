#include <gtest/gtest.h>

#include "core/ParameterCatalogue.h"
#include "core/ParameterFamily.h"

namespace kelix {
namespace {

TEST(CatalogueTest, RowsHoldTheirOwnKeys) {
    struct Case {
        ParameterId id;
        const wchar_t* name;
        Guid fmtid;
        std::uint32_t pid;
    };
    // The rows where the pid breaks from its neighbours, and one of every property set.
    const Case cases[] = {
        {1002, L"pex_bypass", kFmtidPexBypass, 3201},
        {1004, L"pex_formfactor", kFmtidPexFormFactor, 0},
        {1005, L"pex_bypass_stereo_virtualizer", kFmtidPexVirtualizerBypass, 1},
        {1101, L"pex_system_gain", kFmtidPexTuning, 0},
        {1160, L"pex_height_virtualizer_enable", kFmtidPexTuning, 59},
        {1161, L"pex_init_info", kFmtidPexTuning, 64},
        {1172, L"pex_custom_woofer_channel_index", kFmtidPexTuning, 75},
        {1173, L"pex_init_mode", kFmtidPexTuning, 60},
        {1176, L"pex_init_max_num_objects", kFmtidPexTuning, 63},
        {2002, L"krelo_bypass", kFmtidKreloTuning, 0},
        {2114, L"krelo_peak_level", kFmtidKreloTuning, 14},
        {2115, L"krelo_mb_compressor_enable", kFmtidKreloTuning, 16},
        {2121, L"krelo_target_power_level", kFmtidKreloTuning, 15},
        {2124, L"krelo_ultrasonic_pilot_enable", kFmtidKreloTuning, 24},
        {3002, L"ns_bypass", kFmtidNsBypass, 0},
    };
    for (const Case& c : cases) {
        const ParameterLookup row = LookupParameter(c.id);
        ASSERT_TRUE(row.found) << c.id;
        EXPECT_EQ(row.name, c.name) << c.id;
        EXPECT_EQ(row.key.fmtid, c.fmtid) << c.id;
        EXPECT_EQ(row.key.pid, c.pid) << c.id;
    }
}

TEST(CatalogueTest, SpecialIdsAndGapsHaveNoRow) {
    for (ParameterId id : {1001, 1003, 2001, 2003, 1006, 1008, 1100, 1129, 1141, 1149, 1169, 2004, 2125, 0, -1}) {
        const ParameterLookup row = LookupParameter(id);
        EXPECT_FALSE(row.found) << id;
        EXPECT_TRUE(row.name.empty()) << id;
        EXPECT_EQ(row.key, PropertyKey{}) << id;
    }
}

TEST(CatalogueTest, FamiliesCountAndEveryKeyIsDistinct) {
    int pex = 0, krelo = 0, other = 0;
    std::vector<PropertyKey> keys;
    for (const auto& [id, info] : ParameterCatalogue()) {
        (IsPexId(id) ? pex : IsKreloId(id) ? krelo : other)++;
        for (const PropertyKey& seen : keys) EXPECT_FALSE(seen == info.key) << "duplicate key at id " << id;
        keys.push_back(info.key);
        const std::wstring_view prefix = IsPexId(id) ? L"pex_" : IsKreloId(id) ? L"krelo_" : L"ns_";
        EXPECT_TRUE(std::wstring_view(info.name).starts_with(prefix)) << id;
    }
    EXPECT_EQ(pex, 65);
    EXPECT_EQ(krelo, 25);
    EXPECT_EQ(other, 1);
}

TEST(ParameterFamilyTest, RangesAreUnsignedDifferences) {
    struct Case {
        std::int32_t id;
        bool pex;
        bool krelo;
    };
    const Case cases[] = {
        {1000, false, false}, {1001, true, false},  {1998, true, false},   {1999, false, false},
        {2000, false, false}, {2001, false, true},  {2998, false, true},   {2999, false, false},
        {999, false, false},  {3000, false, false}, {INT32_MIN, false, false}, {INT32_MAX, false, false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(IsPexId(c.id), c.pex) << c.id;
        EXPECT_EQ(IsKreloId(c.id), c.krelo) << c.id;
    }
}

}  // namespace
}  // namespace kelix
