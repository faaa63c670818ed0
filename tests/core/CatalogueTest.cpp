#include <gtest/gtest.h>

#include "core/ParameterCatalogue.h"
#include "core/ParameterFamily.h"

namespace kelix {
namespace {

// Each row's key is pinned by docs/parameters.md (ParameterReferenceTest); here what no page shows.
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
