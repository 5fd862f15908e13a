#include <Vesk_3D.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>
#include <vector>

using namespace VESK3D;

// The first outputs of the classic 15-bit linear congruential generator seeded with 1 (with the
// interval [0, 32768) every value is the raw output); enough draws to hit both extreme outputs 0
// and 32767, which map exactly onto min and min + range * 32767/32768.
TEST(RandomNumbers, TheClassicGeneratorMappedOntoTheInterval)
{
    std::vector<double> v;
    generateRandomNumbers(10, 0.0, 32768.0, v, 1);
    EXPECT_EQ(v, (std::vector<double>{41, 18467, 6334, 26500, 19169, 15724, 11478, 29358, 26962, 24464}));
    v.clear();
    generateRandomNumbers(300000, 10.0, 14.0, v, 99);
    const auto [itMin, itMax] = std::minmax_element(v.begin(), v.end());
    EXPECT_EQ(std::make_pair(*itMin, *itMax), std::make_pair(10.0, 10.0 + 4.0 * 32767.0 / 32768.0));
    for (double value : v)
        ASSERT_EQ(std::fmod((value - 10.0) * 8192.0, 1.0), 0.0) << "not on the 15-bit lattice: " << value;
}

// Output is appended; the host's generator is left alone; unseeded calls differ even within a
// second; an empty or invalid interval throws and appends nothing.
TEST(RandomNumbers, AppendsAndLeavesTheHostGeneratorAlone)
{
    std::srand(7);
    const int expected = std::rand();
    std::srand(7);
    std::vector<double> a{-7.0}, b, c;
    generateRandomNumbers(1000, -1.0, 3.0, a, 12345);
    generateRandomNumbers(1000, -1.0, 3.0, b, 12345);
    b.insert(b.begin(), -7.0);
    EXPECT_EQ(a, b);
    generateRandomNumbers(50, 0.0, 1.0, b, 0);
    generateRandomNumbers(50, 0.0, 1.0, c, 0);
    EXPECT_NE(std::vector<double>(b.end() - 50, b.end()), c);
    EXPECT_EQ(std::rand(), expected);
    for (const auto& bounds : {std::make_pair(1.0, 1.0), std::make_pair(2.0, 1.0), std::make_pair(std::nan(""), 1.0)}) {
        std::vector<double> v;
        std::vector<Point3> vPoints;
        testing::internal::CaptureStdout();
        EXPECT_THROW(generateRandomNumbers(5, bounds.first, bounds.second, v, 4), VeskException);
        EXPECT_THROW(generateRandomPoints(5, bounds.first, bounds.second, vPoints, 4), VeskException);
        testing::internal::GetCapturedStdout();
        EXPECT_TRUE(v.empty() && vPoints.empty());
    }
}

// The count is ceil(2n/3), and point k takes numbers 3k, 3k+1, 3k+2 of the same seeded sequence.
TEST(RandomPoints, CountAndCoordinatesFollowTheNumberSequence)
{
    for (size_t n : {0, 1, 2, 3, 10, 11, 300}) {
        std::vector<Point3> vPoints{Point3(9, 9, 9)};
        generateRandomPoints(n, -5.0, 5.0, vPoints, 77);
        ASSERT_EQ(vPoints.size(), 1 + (2 * n + 2) / 3) << "requested " << n;
        std::vector<double> vNumbers;
        generateRandomNumbers(3 * n, -5.0, 5.0, vNumbers, 77);
        for (size_t k = 1; k < vPoints.size(); ++k) {
            const Point3& p = vPoints[k];
            EXPECT_EQ(p, Point3(vNumbers[3 * k - 3], vNumbers[3 * k - 2], vNumbers[3 * k - 1]));
            EXPECT_EQ(std::make_pair(p.getCustomIndex(), p.getOneTet()), std::make_pair(-1, static_cast<Tet3*>(nullptr)));
        }
    }
}
