// The lookups of the catalogue, the DSP tables and the effect tables at their edges; each row
// and key is pinned by docs/parameters.md (ParameterReferenceTest), so only what no page shows.
#include <gtest/gtest.h>

#include <stdexcept>
#include <tuple>

#include "core/DspParameterTables.h"
#include "core/FxTables.h"
#include "core/ParameterCatalogue.h"
#include "core/ParameterFamily.h"

namespace kelix {
namespace {

// Family ranges are unsigned differences; the special ids of the exported API, the gaps and the
// ids only the DSP route serves have no catalogue row.
TEST(TablesTest, FamiliesAndIdsWithoutARow) {
    enum Family { None, Pex, Krelo };
    struct Case {
        std::int32_t id;
        Family family;
        bool route = false;
    };
    const Case cases[] = {
        {1000, None}, {1001, Pex},   {1003, Pex},   {1006, Pex},          {1008, Pex},          {1100, Pex},
        {1129, Pex},  {1149, Pex},   {1169, Pex},   {1141, Pex, true},    {1998, Pex},          {1999, None},
        {2000, None}, {2001, Krelo}, {2003, Krelo}, {2004, Krelo},        {2125, Krelo, true},  {2998, Krelo},
        {2999, None}, {999, None},   {3000, None},  {0, None},            {-1, None},           {INT32_MIN, None},
        {INT32_MAX, None},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(IsPexId(c.id), c.family == Pex) << c.id;
        EXPECT_EQ(IsKreloId(c.id), c.family == Krelo) << c.id;
        const ParameterLookup row = LookupParameter(c.id);
        EXPECT_FALSE(row.found) << c.id;
        EXPECT_TRUE(row.name.empty()) << c.id;
        EXPECT_EQ(row.key, PropertyKey{}) << c.id;
        EXPECT_EQ(LookupDspRoute(c.id).has_value(), c.route) << c.id;
    }
    // The form factor's DSP name keeps the module's own spelling.
    EXPECT_STREQ(LookupDspRoute(1004)->name, L"pex_nelp-endpoint-form-facotr");
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
    // 1005's index lies one past the PEX list: refused by every module.
    EXPECT_EQ(LookupDspRoute(1005)->index, 160);
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

// The probe order per family is the DLL's version detection's (VersionTest); a lookup of
// another id is a programming fault, raised as the container's out-of-range error.
TEST(TablesTest, ProbeKeysOfAnotherIdAreAFault) {
    try {
        ProbeKeysFor(1002);
        ADD_FAILURE() << "no probe keys for 1002";
    } catch (const std::out_of_range& fault) {
        EXPECT_STREQ(fault.what(), "invalid map<K, T> key");
    }
}

}  // namespace
}  // namespace kelix
