#include <Vesk_3D.h>
#include <gtest/gtest.h>

#include <string>

using namespace VESK3D;

namespace {
std::string failAssertion(int numStoredTCS, int& lineOut)
{
    testing::internal::CaptureStdout();
    lineOut = __LINE__ + 2;
    try {
        VESK_ASSERT(numStoredTCS==0);
    } catch (const VeskException&) {
        return testing::internal::GetCapturedStdout();
    }
    testing::internal::GetCapturedStdout();
    return "no exception";
}
} // namespace

TEST(FailureReporting, AssertionPrintsConditionAndPositionThenThrows)
{
    int line = 0;
    const std::string out = failAssertion(3, line);
    EXPECT_EQ(out, std::string("\n      Vesk, , ERROR: Condition [ numStoredTCS==0 failed ]\n      ") + __FILE__ + ":" +
                       std::to_string(line) + "\n");
}
