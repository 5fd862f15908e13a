#include <Vesk_3D.h>
#include <gtest/gtest.h>

#include <csignal>
#include <exception>
#include <string>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
// Let the access fault of goToHell kill the process as it does without the sanitizer.
extern "C" const char* __asan_default_options() { return "handle_segv=0"; }
#endif

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

TEST(FailureReporting, ErrorAndWarningLinesAreIndentedAndLabelled)
{
    testing::internal::CaptureStdout();
    error("Dt3::checkValidity", "bad tet");
    warning("Visualizer3", "no file");
    // The assertion's own source label ends in a comma, which doubles with the separator.
    error("Vesk, ", "Condition [ x failed ]");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n      Dt3::checkValidity, ERROR: bad tet\n"
              "\n      Visualizer3, WARNING: no file\n"
              "\n      Vesk, , ERROR: Condition [ x failed ]\n");
}

TEST(FailureReporting, BannerRuleIsThirtySixLongerThanTheMessage)
{
    const std::string rule46(46, '*');
    const std::string rule36(36, '*');
    for (bool bFlag : {false, true}) {
        testing::internal::CaptureStdout();
        box("0123456789", bFlag, !bFlag);
        box("");
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "\n\n" + rule46 + "\n" + rule46 + "\n                0123456789\n" + rule46 + "\n" + rule46 + "\n" +
                      "\n\n" + rule36 + "\n" + rule36 + "\n                \n" + rule36 + "\n" + rule36 + "\n");
    }
}

namespace {
std::string whatOfFailedAssertion(int value)
{
    testing::internal::CaptureStdout();
    std::string text;
    try {
        if (value > 0)
            VESK_ASSERT(value<0);
        else
            VESK_ASSERT(range03(value));
    } catch (const std::exception& exception) {
        text = exception.what();
    }
    testing::internal::GetCapturedStdout();
    return text;
}
} // namespace

TEST(FailureReporting, ExceptionTextIsTheSameForEveryAssertion)
{
    const std::string first = whatOfFailedAssertion(5);
    EXPECT_EQ(first, whatOfFailedAssertion(-5));
    const std::string start = "\n  VESK EXCEPTION due to a bug _or_ wrong usage of Vesk. If you think it is a \n"
                              "  bug then please report this incident and it will be fixed quickly: ";
    EXPECT_EQ(first.compare(0, start.size(), start), 0) << first;
    const VeskException copy(VeskException{});
    EXPECT_EQ(copy.what(), first);
}

TEST(FailureReportingDeathTest, GoToHellPrintsTheReasonAndDiesOfAnAccessFault)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    // The reason goes to standard output; the child sends it to standard error for the matcher.
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            goToHell("no start tetrahedron");
        },
        testing::KilledBySignal(SIGSEGV), "\n      goToHell, ERROR:  reason: no start tetrahedron\n");
}

TEST(FailureReporting, VersionTextNamesTheBuildConfiguration)
{
    EXPECT_EQ(getMajorVersionNumber(), 0);
    EXPECT_EQ(getMinorVersionNumber(), 99);
    EXPECT_EQ(getRevisionNumber(), 0);
#ifdef NDEBUG
    EXPECT_TRUE(isRelease());
    EXPECT_EQ(getVesk3DVersion(), "Vesk3D, RELEASE, v0.99.0");
#else
    EXPECT_FALSE(isRelease());
    EXPECT_EQ(getVesk3DVersion(), "Vesk3D, DEBUG, v0.99.0");
    EXPECT_EQ(getVesk3DVersion().size(), 22u);
#endif
}
