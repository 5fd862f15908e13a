// The small value classes: what a copy keeps, the order of points, boxes against brute-force
// bounds, the triangle's index lookups, and the dumps that carry addresses; and the random
// test-data generators.
#include <Vesk_3D.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "WorkDir.h"

using namespace VESK3D;
using VeskTest::stdoutOf;
using VeskTest::streamed;

namespace {

const double largest = std::numeric_limits<double>::max();

// Never dereferenced: only its identity matters.
Tet3* fakeTet()
{
    static int anchor;
    return reinterpret_cast<Tet3*>(&anchor);
}

// Small integer coordinates make ties on every axis frequent.
std::vector<Point3> randomPoints(std::mt19937& rng, int n, int range)
{
    std::uniform_int_distribution<int> coordinate(-range, range);
    std::vector<Point3> vPoints;
    for (int i = 0; i < n; ++i) vPoints.emplace_back(coordinate(rng), coordinate(rng), coordinate(rng));
    return vPoints;
}

std::tuple<double, double, double> coordinates(const Point3& p)
{
    return {p.x(), p.y(), p.z()};
}

std::tuple<double, double, double, Tet3*, int> fields(const Point3& p)
{
    return {p.x(), p.y(), p.z(), p.getOneTet(), p.getCustomIndex()};
}

} // namespace

TEST(Point3, DefaultCopyAssignmentInitAndExchange)
{
    const Point3 empty;
    EXPECT_EQ(coordinates(empty), std::make_tuple(-largest, -largest, -largest));
    EXPECT_EQ(fields(Point3(1, 2, 3)), std::make_tuple(1.0, 2.0, 3.0, nullptr, -1));

    Point3 vertex(1, 2, 3);
    vertex.setOneTet(fakeTet());
    vertex.setCustomIndex(7);
    EXPECT_EQ(fields(Point3(vertex)), std::make_tuple(1.0, 2.0, 3.0, nullptr, 7)); // a copy drops the tetrahedron
    Point3 assigned(9, 9, 9);
    assigned = vertex;
    EXPECT_EQ(fields(assigned), fields(vertex)); // assignment keeps it
    assigned.init(Point3(4, 5, 6));
    EXPECT_EQ(fields(assigned), std::make_tuple(4.0, 5.0, 6.0, nullptr, 7));
    vertex.exchange(-1, -2, -3);
    EXPECT_EQ(fields(vertex), std::make_tuple(-1.0, -2.0, -3.0, fakeTet(), 7));
    EXPECT_EQ(fields(vertex + Vector3(0.5, -2, 10)), std::make_tuple(-0.5, -4.0, 7.0, nullptr, -1));
}

TEST(Point3, OrderIsLexicographicAndNaNEqualsNothing)
{
    std::mt19937 rng(11);
    const std::vector<Point3> vPoints = randomPoints(rng, 60, 1);
    for (const Point3& a : vPoints)
        for (const Point3& b : vPoints) {
            ASSERT_EQ(a < b, coordinates(a) < coordinates(b));
            ASSERT_EQ(a == b, coordinates(a) == coordinates(b));
        }
    // An incomparable x falls through to y.
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(Point3(notANumber, 1, 0) < Point3(0, 2, 0));
    EXPECT_FALSE(Point3(notANumber, 3, 0) < Point3(0, 2, 0));
    const Point3 withNaN(1, notANumber, 3);
    EXPECT_TRUE(withNaN != withNaN);
}

TEST(Bbox3, AddAgreesWithBruteForceBounds)
{
    Bbox3 empty;
    EXPECT_FALSE(empty.isValid());
    EXPECT_EQ(std::make_tuple(empty.getMinX(), empty.getMaxZ()), std::make_tuple(largest, -largest));
    EXPECT_FALSE(empty.add(std::vector<Point3>()));
    std::mt19937 rng(3);
    for (int round = 0; round < 20; ++round) {
        const std::vector<Point3> vPoints = randomPoints(rng, 30, 5);
        Bbox3 single;
        double lo[3] = {largest, largest, largest}, hi[3] = {-largest, -largest, -largest};
        for (const Point3& p : vPoints) {
            const double c[3] = {p.x(), p.y(), p.z()};
            bool bOutside = false;
            for (int axis = 0; axis < 3; ++axis) {
                bOutside |= c[axis] < lo[axis] || c[axis] > hi[axis];
                lo[axis] = std::min(lo[axis], c[axis]);
                hi[axis] = std::max(hi[axis], c[axis]);
            }
            ASSERT_EQ(single.add(p), bOutside);
        }
        const Bbox3 batch(vPoints);
        for (const Bbox3* box : {static_cast<const Bbox3*>(&single), &batch}) {
            EXPECT_EQ(coordinates(box->getMinPoint()), std::make_tuple(lo[0], lo[1], lo[2]));
            EXPECT_EQ(coordinates(box->getMaxPoint()), std::make_tuple(hi[0], hi[1], hi[2]));
        }
        EXPECT_EQ(batch.getMinCoord(), std::min({lo[0], lo[1], lo[2]}));
        EXPECT_EQ(batch.getMaxRange(), std::max({hi[0] - lo[0], hi[1] - lo[1], hi[2] - lo[2]}));
        // The sum extends its left operand.
        Bbox3 grown(randomPoints(rng, 5, 9));
        const Bbox3 sum = grown + batch;
        EXPECT_LE(grown.getMinX(), lo[0]);
        EXPECT_EQ(coordinates(sum.getMaxPoint()), coordinates(grown.getMaxPoint()));
    }
    Bbox3 withNaN;
    withNaN.add(Point3(0, std::numeric_limits<double>::quiet_NaN(), 0));
    EXPECT_TRUE(withNaN.add(std::vector<Point3>{Point3(0, 5, 0)})); // a NaN bound counts as changed
}

TEST(ValueClasses, CopiesDropTheTetrahedronAndDumpsShowAddresses)
{
    const Ball3 ball(1, 2, 3, 4);
    EXPECT_EQ(ball.getRadius(), 2.0);
    Point3 src(1, 2, 3);
    src.setOneTet(fakeTet());
    src.setCustomIndex(8);
    const Segment3 segment(src, Point3(-1, 0.25, 4));
    EXPECT_EQ(fields(Segment3(segment).getSrc()), std::make_tuple(1.0, 2.0, 3.0, nullptr, 8));
    const Point3 p(1, 2.5, -3);
    EXPECT_EQ(streamed(p), streamed(&p) + "\t       1,      2.5,       -3");
    const std::string ballDump = stdoutOf([&] { ball.debug(); });
    EXPECT_TRUE(testing::internal::RE::FullMatch(ballDump, "Ball3: 0x[0-9a-f]+\t       1,        2,        3, r=4\n")) << ballDump;
    const std::string segmentDump = stdoutOf([&] { segment.debug(); });
    EXPECT_TRUE(testing::internal::RE::FullMatch(
        segmentDump, "Segment3: 0x[0-9a-f]+\t       1,        2,        3,0x[0-9a-f]+\t      -1,     0.25,        4\n"))
        << segmentDump;
}

TEST(Triangle3, IndicesNeighboursDumpAndBarycenter)
{
    Point3 a(0, 0, 0), b(3, 0, 0), c(0, 6, 9), stranger(1, 1, 1);
    Triangle3 triangle(&a, &b, &c);
    Triangle3 other(&a, &b, &stranger);
    triangle.setNeig(1, &other);
    Point3* aCorner[3] = {&a, &b, &c};
    std::string dump = "Triangle: \n";
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(triangle.getIntraTriangleIndex(aCorner[i]), i);
        for (int j = 0; j < 3; ++j)
            if (j != i) EXPECT_EQ(triangle.getIntraTriangleIndex(aCorner[i], aCorner[j]), 3 - i - j);
        dump += "ith=" + std::to_string(i) + ", vertex (" + streamed(aCorner[i]) + "): " + streamed(*aCorner[i]) +
                "  oppTet=" + streamed(i == 1 ? &other : nullptr) + "\n";
    }
    EXPECT_EQ(stdoutOf([&] { triangle.debug(); }), dump);
    // The stranger's lines on standard error (the one-corner form's text is in the text table).
    testing::internal::CaptureStderr();
    EXPECT_EQ(triangle.getIntraTriangleIndex(&stranger), -999);
    EXPECT_EQ(stdoutOf([&] { EXPECT_EQ(triangle.getIntraTriangleIndex(&a, &stranger), -999); }),
              "Have searched for " + streamed(&a) + " and " + streamed(&stranger) + " in " + dump);
    const std::string errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(errors.substr(errors.find('\n') + 1), "Triangle3::getIntraTriangleIndex(): invalid (p1,p2)\n");
    // 1e16 + 1 rounds back to 1e16, so only summing the first two corners first gives exactly 0.
    Point3 p0(1e16, 0, 0), p1(1, 0, 0), p2(-1e16, 0, 0);
    EXPECT_EQ(Triangle3(&p0, &p1, &p2).getBarycenter().x(), 0.0);
    EXPECT_EQ(coordinates(triangle.getBarycenter()), std::make_tuple(1.0, 2.0, 3.0));
}

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
        stdoutOf([&] {
            EXPECT_THROW(generateRandomNumbers(5, bounds.first, bounds.second, v, 4), VeskException);
            EXPECT_THROW(generateRandomPoints(5, bounds.first, bounds.second, vPoints, 4), VeskException);
        });
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
