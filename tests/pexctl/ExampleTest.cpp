// The example program of the client kit, built as C89 and as C++, runs on the
// simulated platform: it must succeed and read back what it wrote.
#include <gtest/gtest.h>

#include "SimulatedDevice.h"

extern "C" int kelix_example_c89(void);
int kelix_example_cpp();

namespace {

TEST(ExampleTest, RunsAsC89AndAsCpp) {
    for (const auto& [language, example] : {std::pair{"C89", &kelix_example_c89}, std::pair{"C++", &kelix_example_cpp}}) {
        pexctl::SimulatedDevice simulated;
        ASSERT_NO_THROW(simulated.Install());
        testing::internal::CaptureStdout();
        const int result = example();
        const std::string out = testing::internal::GetCapturedStdout();
        EXPECT_EQ(result, 0) << language << "\n" << out;
        EXPECT_NE(out.find("pex_postgain = -6\n"), std::string::npos) << language << "\n" << out;
        EXPECT_NE(out.find("a[19] = 1900\n"), std::string::npos) << language << "\n" << out;
        EXPECT_NE(out.find("pex_version = pex2.10\n"), std::string::npos) << language << "\n" << out;
    }
}

}  // namespace
