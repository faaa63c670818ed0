// The lookups of the catalogue, the DSP tables and the effect tables at their edges; each row
// and key is pinned by docs/parameters.md (ParameterReferenceTest), so only what no page shows.
#include <gtest/gtest.h>

#include <tuple>

#include "core/DspParameterTables.h"
#include "core/FxTables.h"
#include "core/ParameterCatalogue.h"
#include "core/ParameterFamily.h"

namespace kelix {
namespace {

// Family ranges as the public header gives them (PEX 1001..1998, KRELO 2001..2998), computed as
// unsigned differences; the special ids of the exported API, the gaps and the ids only the DSP
// route serves have no catalogue row.
TEST(TablesTest, FamiliesAndIdsWithoutARow) {
    for (const std::int32_t id : {INT32_MIN, -1, 0, 999, 1000, 1001, 1003, 1006, 1008, 1100, 1129, 1141, 1149, 1169,
                                  1998, 1999, 2000, 2001, 2003, 2004, 2125, 2998, 2999, 3000, INT32_MAX}) {
        EXPECT_EQ(IsPexId(id), id >= 1001 && id <= 1998) << id;
        EXPECT_EQ(IsKreloId(id), id >= 2001 && id <= 2998) << id;
        const ParameterLookup row = LookupParameter(id);
        EXPECT_FALSE(row.found) << id;
        EXPECT_TRUE(row.name.empty()) << id;
        EXPECT_EQ(row.key, PropertyKey{}) << id;
        EXPECT_EQ(LookupDspRoute(id).has_value(), id == 1141 || id == 2125) << id;
    }
}

// Each module version's list of DSP indices, at its ends.
TEST(TablesTest, VersionListsBoundTheIndices) {
    const std::tuple<const wchar_t*, std::int32_t, bool> cases[] = {
        {L"1.4.1", 20, true},  {L"1.4.1", 32, true},       {L"1.4.1", 33, false},       {L"1.2.0", 32, true},
        {L"1.3.1", 33, true},  {L"1.3.1", 34, false},      {L"1.3.1-lite", 33, true},   {L"1.4.2", 19, false},
        {L"1.4.2", -1, false}, {L"1.4.2-lite", 45, true},  {L"1.4.2", 46, false},       {L"1.0.0", 38, false},
        {L"", 32, true},       {L"2.10.0-lite", 20, false}, {L"2.10.0-lite", 45, false}, {L"2.10.0-lite", 120, true},
        {L"2.10.0-lite", 159, true}, {L"2.10.0-lite", 160, false},
    };
    for (const auto& [version, index, valid] : cases) {
        EXPECT_EQ(IsIndexInList(index, SelectVersionList(version)), valid) << std::wstring(version) << " " << index;
    }
}

TEST(TablesTest, EffectLookupsMatchTheWholeKeyExactly) {
    struct Case {
        std::optional<std::wstring_view> (*lookup)(std::wstring_view);
        const wchar_t* key;
        std::optional<std::wstring_view> name;
    };
    const Case cases[] = {
        {LookupApoVersion, L"{efc7a7b3-40a7-4601-abc1-878cd5eae544}", L"pex2.10"},
        {LookupApoVersion, L"{EFC7A7B3-40A7-4601-ABC1-878CD5EAE544}", std::nullopt},
        {LookupApoVersion, L"efc7a7b3-40a7-4601-abc1-878cd5eae544", std::nullopt},
        {LookupApoVersion, L"{97acd2ab-83ec-494b-9fe4-922bce1bd691}", L"krelo1.4"},
        {LookupFxSlot, L"{0ebd8512-17bb-4ae7-ad76-e86f99a425e9}", L"APO_OMFX"},
        {LookupFxSlot, L"{0EBD8512-17BB-4AE7-AD76-E86F99A425E9}", std::nullopt},
        {LookupSignalProcessingMode, L"B26FEB0D-EC94-477C-9494-D1AB8E753F6E", L"AUDIO_SIGNALPROCESSINGMODE_MOVIE"},
        {LookupSignalProcessingMode, L"{B26FEB0D-EC94-477C-9494-D1AB8E753F6E}", std::nullopt},
        {LookupSignalProcessingMode, L"b26feb0d-ec94-477c-9494-d1ab8e753f6e", std::nullopt},
    };
    for (const Case& c : cases) EXPECT_EQ(c.lookup(c.key), c.name) << std::wstring(c.key);
    EXPECT_EQ(LowerAscii(L"{AEFC7-Z@[}\u00C9"), L"{aefc7-z@[}\u00C9");  // both ends of A..Z, and their neighbours
}

}  // namespace
}  // namespace kelix
