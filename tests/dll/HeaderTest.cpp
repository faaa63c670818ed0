// The public header means the same to C and C++ clients.
#include <gtest/gtest.h>

#include "Kelix3PexControl.h"
#include "core/ParameterModel.h"

extern "C" const int kHeaderFromC[];

namespace {

TEST(HeaderTest, CAndCppAgree) {
    const int fromCpp[] = {
        KELIX_ROUTE_PROPERTY_STORE, KELIX_ROUTE_DSP, KELIX_ROUTE_BOTH, KELIX_PEX_VERSION, KELIX_PEX_POSTGAIN,
        KELIX_KRELO_POST_GAIN,      KELIX_NS_BYPASS, static_cast<int>(sizeof(Kelix3PexParameterId)),
    };
    for (size_t i = 0; i < std::size(fromCpp); ++i) EXPECT_EQ(kHeaderFromC[i], fromCpp[i]) << "entry " << i;
    EXPECT_EQ(KELIX_ROUTE_BOTH, KELIX_ROUTE_PROPERTY_STORE | KELIX_ROUTE_DSP);
}

// The header's typed structures are the caller structures the library and pexctl use (the
// core's value model), byte for byte: those the DSP route tests do not carry through the DLL.
TEST(HeaderTest, TypedStructuresMatchTheValueModel) {
    const struct {
        kelix::ParameterId id;
        size_t size;
    } cases[] = {
        {KELIX_PEX_GRAPHIC_EQUALIZER_BANDS, sizeof(KelixPexBands)},
        {KELIX_PEX_WOOFER_REGULATOR_TUNING, sizeof(KelixPexRegulatorTuning)},
        {KELIX_PEX_INIT_INFO, sizeof(KelixPexInitInfo)},
    };
    for (const auto& c : cases) {
        const kelix::ParameterDescription* parameter = kelix::FindParameter(c.id);
        ASSERT_NE(parameter, nullptr) << c.id;
        EXPECT_EQ(kelix::StructureSize(*parameter, nullptr, 0), c.size) << parameter->name;
    }
    // The filter configuration at its capacity: header plus bytes.
    KelixKreloFilterConfig filter{};
    filter.size = KELIX_FILTER_CONFIG_CAPACITY;
    EXPECT_EQ(kelix::StructureSize(*kelix::FindParameter(KELIX_KRELO_FILTER_CONFIG),
                                   reinterpret_cast<const std::uint8_t*>(&filter), sizeof filter),
              KELIX_FILTER_CONFIG_SIZE(KELIX_FILTER_CONFIG_CAPACITY));
    EXPECT_EQ(sizeof filter, KELIX_FILTER_CONFIG_SIZE(KELIX_FILTER_CONFIG_CAPACITY));
}

}  // namespace
