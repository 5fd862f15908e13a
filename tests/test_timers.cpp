#include <Vesk_3D.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <thread>

using namespace VESK3D;

namespace {

// Standard output keeps fixed notation after a timer stops; each test puts it back.
class Timers : public testing::Test {
protected:
    void TearDown() override
    {
        std::cout.flags(savedFlags);
        std::cout.precision(savedPrecision);
    }
    std::ios_base::fmtflags savedFlags = std::cout.flags();
    std::streamsize savedPrecision = std::cout.precision();
};

std::string threeDecimals(double value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.3f", value);
    return text;
}

TEST_F(Timers, StartStopAndRestartPrintTheirLines)
{
    testing::internal::CaptureStdout();
    const double start = timer("phase one");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n*** Timer [phase one] start\n");
    EXPECT_EQ(start, -1.0);

    testing::internal::CaptureStdout();
    const double elapsed = timer("phase one");
    const std::string stopLine = testing::internal::GetCapturedStdout();
    EXPECT_GE(elapsed, 0.0);
    EXPECT_EQ(stopLine, "*** Timer [phase one] stop, elapsed time: " + threeDecimals(elapsed) + " s\n\n");

    testing::internal::CaptureStdout();
    EXPECT_EQ(timer("phase one"), -1.0);
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    EXPECT_GE(timer("phase one"), 0.0);
    testing::internal::GetCapturedStdout();
}

TEST_F(Timers, ElapsedTimeIsInSecondsAndTimersAreIndependent)
{
    testing::internal::CaptureStdout();
    timer("outer");
    timer("inner");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const double inner = timer("inner");
    const double outer = timer("outer");
    testing::internal::GetCapturedStdout();
    // Generous upper bound: a clock read in the wrong unit is off by a factor of 1000 or more.
    EXPECT_GE(inner, 0.020);
    EXPECT_LT(inner, 5.0);
    EXPECT_GE(outer, inner);
}

TEST_F(Timers, StoppingLeavesFixedNotationWithSixDecimals)
{
    testing::internal::CaptureStdout();
    timer("format");
    timer("format");
    std::cout << 0.5 << ' ' << 1e-7;
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("\n\n0.500000 0.000000"), std::string::npos) << out;
}

TEST(Counters, CountsAreListedInNameOrderAndSurviveListing)
{
    std::string insert = "insert", flip = "flip", list = "GETCOUNTERS";
    for (int i = 0; i < 3; ++i)
        benchCounter(insert);
    testing::internal::CaptureStdout();
    benchCounter(list);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nCounters: \ninsert\t3\n");

    benchCounter(flip);
    benchCounter(insert);
    benchCounter(flip);
    testing::internal::CaptureStdout();
    benchCounter(list);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nCounters: \nflip\t2\ninsert\t4\n");
}

} // namespace
