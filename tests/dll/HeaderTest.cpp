// The public header means the same to C and C++ clients.
#include <gtest/gtest.h>

#include "Kelix3PexControl.h"

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

}  // namespace
