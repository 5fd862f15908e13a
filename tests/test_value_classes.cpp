#include <Vesk_3D.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

using namespace VESK3D;

namespace {

const double largest = std::numeric_limits<double>::max();
const double notANumber = std::numeric_limits<double>::quiet_NaN();

// Never dereferenced: only its identity matters.
Tet3* fakeTet()
{
    static int anchor;
    return reinterpret_cast<Tet3*>(&anchor);
}

std::string addressOf(const void* p)
{
    std::ostringstream os;
    os << p;
    return os.str();
}

// Small integer coordinates make ties on every axis frequent.
std::vector<Point3> randomPoints(std::mt19937& rng, int n, int range)
{
    std::uniform_int_distribution<int> coordinate(-range, range);
    std::vector<Point3> vPoints;
    for (int i = 0; i < n; ++i)
        vPoints.emplace_back(coordinate(rng), coordinate(rng), coordinate(rng));
    return vPoints;
}

struct Bounds {
    double lo[3] = {largest, largest, largest};
    double hi[3] = {-largest, -largest, -largest};
    void add(const Point3& p)
    {
        const double c[3] = {p.x(), p.y(), p.z()};
        for (int axis = 0; axis < 3; ++axis) {
            lo[axis] = std::min(lo[axis], c[axis]);
            hi[axis] = std::max(hi[axis], c[axis]);
        }
    }
    bool contains(const Point3& p) const
    {
        const double c[3] = {p.x(), p.y(), p.z()};
        for (int axis = 0; axis < 3; ++axis)
            if (c[axis] < lo[axis] || c[axis] > hi[axis])
                return false;
        return true;
    }
};

void expectBoxEquals(const Bbox3& box, const Bounds& expected)
{
    EXPECT_EQ(box.getMinX(), expected.lo[0]);
    EXPECT_EQ(box.getMinY(), expected.lo[1]);
    EXPECT_EQ(box.getMinZ(), expected.lo[2]);
    EXPECT_EQ(box.getMaxX(), expected.hi[0]);
    EXPECT_EQ(box.getMaxY(), expected.hi[1]);
    EXPECT_EQ(box.getMaxZ(), expected.hi[2]);
}

void expectSameCoordinates(const Point3& actual, double x, double y, double z)
{
    EXPECT_EQ(actual.x(), x);
    EXPECT_EQ(actual.y(), y);
    EXPECT_EQ(actual.z(), z);
}

} // namespace

TEST(Point3, DefaultIsTheMostNegativeFiniteDoubleWithoutTetOrIndex)
{
    const Point3 p;
    for (double c : {p.x(), p.y(), p.z()}) {
        std::uint64_t bits;
        std::memcpy(&bits, &c, sizeof bits);
        EXPECT_EQ(bits, 0xFFEFFFFFFFFFFFFFull);
    }
    EXPECT_EQ(p.getOneTet(), nullptr);
    EXPECT_EQ(p.getCustomIndex(), -1);
}

TEST(Point3, CopyDropsTheTetAssignmentInitAndExchangeKeepWhatTheyShould)
{
    Point3 vertex(1, 2, 3);
    vertex.setOneTet(fakeTet());
    vertex.setCustomIndex(7);

    const Point3 copy(vertex);
    expectSameCoordinates(copy, 1, 2, 3);
    EXPECT_EQ(copy.getOneTet(), nullptr);
    EXPECT_EQ(copy.getCustomIndex(), 7);

    Point3 assigned(9, 9, 9);
    assigned = vertex;
    expectSameCoordinates(assigned, 1, 2, 3);
    EXPECT_EQ(assigned.getOneTet(), fakeTet());
    EXPECT_EQ(assigned.getCustomIndex(), 7);

    Point3 initialised(0, 0, 0);
    initialised.setOneTet(fakeTet());
    initialised.setCustomIndex(5);
    initialised.init(Point3(4, 5, 6));
    expectSameCoordinates(initialised, 4, 5, 6);
    EXPECT_EQ(initialised.getOneTet(), nullptr);
    EXPECT_EQ(initialised.getCustomIndex(), 5);

    vertex.exchange(-1, -2, -3);
    double x, y, z;
    vertex.xyz(x, y, z);
    EXPECT_EQ(std::make_tuple(x, y, z), std::make_tuple(-1.0, -2.0, -3.0));
    EXPECT_EQ(vertex.getOneTet(), fakeTet());
    EXPECT_EQ(vertex.getCustomIndex(), 7);
}

TEST(Point3, ArithmeticWithVectors)
{
    Point3 p(1, 2, 3);
    p.setCustomIndex(4);
    p.setOneTet(fakeTet());
    const Point3 moved = p + Vector3(0.5, -2, 10);
    expectSameCoordinates(moved, 1.5, 0, 13);
    EXPECT_EQ(moved.getOneTet(), nullptr);
    EXPECT_EQ(moved.getCustomIndex(), -1);

    const Vector3 d = p - Point3(4, 4, 4);
    EXPECT_EQ(std::make_tuple(d.x, d.y, d.z), std::make_tuple(-3.0, -2.0, -1.0));
}

TEST(Point3, OrderIsLexicographicAndAgreesWithTupleOrder)
{
    EXPECT_TRUE(Point3(1, 2, 3) < Point3(1, 2, 4));
    EXPECT_FALSE(Point3(1, 2, 3) < Point3(1, 2, 3));
    EXPECT_FALSE(Point3(2, 0, 0) < Point3(1, 9, 9));
    // An incomparable x falls through to y.
    EXPECT_TRUE(Point3(notANumber, 1, 0) < Point3(0, 2, 0));
    EXPECT_FALSE(Point3(notANumber, 3, 0) < Point3(0, 2, 0));

    std::mt19937 rng(11);
    const std::vector<Point3> vPoints = randomPoints(rng, 60, 1);
    for (const Point3& a : vPoints)
        for (const Point3& b : vPoints) {
            const auto ta = std::make_tuple(a.x(), a.y(), a.z());
            const auto tb = std::make_tuple(b.x(), b.y(), b.z());
            ASSERT_EQ(a < b, ta < tb);
            ASSERT_EQ(a == b, ta == tb);
        }
}

TEST(Point3, EqualityIgnoresTetAndIndexAndNaNEqualsNothing)
{
    Point3 a(1, 2, 3);
    a.setOneTet(fakeTet());
    a.setCustomIndex(3);
    EXPECT_TRUE(a == Point3(1, 2, 3));
    EXPECT_FALSE(a == Point3(1, 2, 3.5));

    const Point3 withNaN(1, notANumber, 3);
    EXPECT_FALSE(withNaN == withNaN);
    EXPECT_TRUE(withNaN != withNaN);
}

TEST(Point3, StreamAndDebugTexts)
{
    const Point3 p(1, 2.5, -3);
    std::ostringstream os;
    os << p;
    EXPECT_EQ(os.str(), addressOf(&p) + "\t       1,      2.5,       -3");

    testing::internal::CaptureStdout();
    Point3(1.5, -2, 3).debug();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Point3: 1.5,-2,3\n");
}

TEST(Vector3, NormalizeScalesToUnitLengthAndWarnsOnceForZero)
{
    Vector3 v(3, 4, 0);
    v.normalize();
    EXPECT_EQ(std::make_tuple(v.x, v.y, v.z), std::make_tuple(0.6, 0.8, 0.0));

    Vector3 zero(0, 0, 0);
    testing::internal::CaptureStdout();
    zero.normalize();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "warning: normalize(const Vector3& other), Null length vector!\n");
    EXPECT_EQ(std::make_tuple(zero.x, zero.y, zero.z), std::make_tuple(0.0, 0.0, 0.0));
}

TEST(Vector3, CrossProductIsRightHandedAndOrthogonal)
{
    const Vector3 z = Vector3(1, 0, 0).cross(Vector3(0, 1, 0));
    EXPECT_EQ(std::make_tuple(z.x, z.y, z.z), std::make_tuple(0.0, 0.0, 1.0));

    // Small integers keep every product exact, so orthogonality must hold exactly.
    std::mt19937 rng(5);
    std::uniform_int_distribution<int> coordinate(-1000, 1000);
    for (int i = 0; i < 200; ++i) {
        const Vector3 a(coordinate(rng), coordinate(rng), coordinate(rng));
        const Vector3 b(coordinate(rng), coordinate(rng), coordinate(rng));
        const Vector3 c = a.cross(b);
        const Vector3 reversed = b.cross(a);
        ASSERT_EQ(c.dot(a), 0.0);
        ASSERT_EQ(c.dot(b), 0.0);
        ASSERT_EQ(std::make_tuple(c.x, c.y, c.z), std::make_tuple(-reversed.x, -reversed.y, -reversed.z));
    }
    EXPECT_EQ(Vector3(2, 3, 6).length(), 7.0);
}

TEST(Bbox3, EmptyBoxBecomesValidOnTheFirstPoint)
{
    Bbox3 box;
    EXPECT_FALSE(box.isValid());
    EXPECT_EQ(box.getMinX(), largest);
    EXPECT_EQ(box.getMaxZ(), -largest);
    EXPECT_FALSE(box.add(std::vector<Point3>()));
    EXPECT_FALSE(box.isValid());

    EXPECT_TRUE(box.add(Point3(1, 2, 3)));
    EXPECT_TRUE(box.isValid());
    EXPECT_EQ(box.getMaxRange(), 0.0);
    EXPECT_FALSE(box.add(Point3(1, 2, 3)));
    EXPECT_FALSE(box.add(std::vector<Point3>{Point3(1, 2, 3)}));
}

TEST(Bbox3, AddAgreesWithBruteForceBounds)
{
    std::mt19937 rng(3);
    for (int round = 0; round < 20; ++round) {
        const std::vector<Point3> vPoints = randomPoints(rng, 30, 5);
        Bounds expected;
        Bbox3 single;
        for (const Point3& p : vPoints) {
            const bool bOutside = !expected.contains(p);
            expected.add(p);
            ASSERT_EQ(single.add(p), bOutside);
        }
        expectBoxEquals(single, expected);
        expectBoxEquals(Bbox3(vPoints), expected);

        const std::vector<Point3> vMore = randomPoints(rng, 5, 7);
        bool bAnyOutside = false;
        for (const Point3& p : vMore)
            bAnyOutside |= !expected.contains(p);
        EXPECT_EQ(single.add(vMore), bAnyOutside);
        for (const Point3& p : vMore)
            expected.add(p);
        expectBoxEquals(single, expected);
    }
}

TEST(Bbox3, NaNBoundCountsAsChanged)
{
    Bbox3 box;
    box.add(Point3(0, notANumber, 0));
    ASSERT_TRUE(box.isValid());
    EXPECT_TRUE(box.add(std::vector<Point3>{Point3(0, 5, 0)}));
    EXPECT_TRUE(std::isnan(box.getMinY()));
}

TEST(Bbox3, PlusExtendsTheLeftOperandAndReturnsItsCopy)
{
    std::mt19937 rng(8);
    const std::vector<Point3> vA = randomPoints(rng, 10, 4);
    const std::vector<Point3> vB = randomPoints(rng, 10, 9);
    Bounds expected;
    for (const std::vector<Point3>* pV : {&vA, &vB})
        for (const Point3& p : *pV)
            expected.add(p);

    Bbox3 a(vA);
    const Bbox3 b(vB);
    const Bbox3 sum = a + b;
    expectBoxEquals(a, expected);
    expectBoxEquals(sum, expected);

    Bbox3 unchanged(vB);
    unchanged + Bbox3();
    Bounds boundsOfB;
    for (const Point3& p : vB)
        boundsOfB.add(p);
    expectBoxEquals(unchanged, boundsOfB);

    Bbox3 empty;
    empty + b;
    expectBoxEquals(empty, boundsOfB);
}

TEST(Bbox3, DerivedQuantities)
{
    Bbox3 box(std::vector<Point3>{Point3(3, -2, 5), Point3(4, 8, 6)});
    EXPECT_EQ(box.getMinCoord(), -2.0);
    EXPECT_EQ(box.getMaxCoord(), 8.0);
    EXPECT_EQ(box.getRangeX(), 1.0);
    EXPECT_EQ(box.getRangeY(), 10.0);
    EXPECT_EQ(box.getRangeZ(), 1.0);
    EXPECT_EQ(box.getMaxRange(), 10.0);
    const Point3 lo = box.getMinPoint();
    const Point3 hi = box.getMaxPoint();
    expectSameCoordinates(lo, 3, -2, 5);
    expectSameCoordinates(hi, 4, 8, 6);
    EXPECT_EQ(lo.getOneTet(), nullptr);
    EXPECT_EQ(hi.getCustomIndex(), -1);

    Bbox3 flat(std::vector<Point3>{Point3(0, 0, 0), Point3(10, 20, 0)});
    flat.enlargeBounds(0.1);
    expectSameCoordinates(flat.getMinPoint(), -0.5, -1, 0);
    expectSameCoordinates(flat.getMaxPoint(), 10.5, 21, 0);

    testing::internal::CaptureStdout();
    flat.debug();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Bbox3: (-0.5,-1,0) -> (10.5,21,0)\n");
}

TEST(Ball3, KeepsTheSquaredRadiusAsGiven)
{
    EXPECT_EQ(Ball3(0, 0, 0, 4).getRadius(), 2.0);
    const Ball3 ball(1, 2, 3, 2);
    EXPECT_EQ(ball.getSqRadius(), 2.0);
    EXPECT_EQ(ball.getRadius(), std::sqrt(2.0));
    const Ball3 copy(ball);
    const Point3 center = copy.getCenter();
    expectSameCoordinates(center, 1, 2, 3);
    EXPECT_EQ(center.getOneTet(), nullptr);
    EXPECT_EQ(center.getCustomIndex(), -1);

    testing::internal::CaptureStdout();
    ball.debug();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(testing::internal::RE::FullMatch(out, "Ball3: 0x[0-9a-f]+\t       1,        2,        3, r=2\n")) << out;
}

TEST(Segment3, EndpointsAreCopiesThatKeepTheirIndex)
{
    Point3 src(1, 2, 3);
    src.setOneTet(fakeTet());
    src.setCustomIndex(8);
    const Point3 trg(-1, 0.25, 4);
    const Segment3 segment(src, trg);
    const Segment3 copy(segment);
    expectSameCoordinates(copy.getSrc(), 1, 2, 3);
    expectSameCoordinates(copy.getTrg(), -1, 0.25, 4);
    EXPECT_EQ(copy.getSrc().getCustomIndex(), 8);
    EXPECT_EQ(copy.getSrc().getOneTet(), nullptr);
    EXPECT_EQ(copy.getTrg().getCustomIndex(), -1);

    testing::internal::CaptureStdout();
    segment.debug();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(testing::internal::RE::FullMatch(
        out, "Segment3: 0x[0-9a-f]+\t       1,        2,        3,0x[0-9a-f]+\t      -1,     0.25,        4\n"))
        << out;
}

class Triangle3Test : public testing::Test {
protected:
    Point3 a{0, 0, 0};
    Point3 b{3, 0, 0};
    Point3 c{0, 6, 9};
    Point3 stranger{1, 1, 1};
    Triangle3 triangle{&a, &b, &c};

    std::string expectedDump() const
    {
        std::ostringstream os;
        os << "Triangle: \n";
        const Point3* aCorner[3] = {&a, &b, &c};
        for (int ith = 0; ith < 3; ++ith)
            os << "ith=" << ith << ", vertex (" << addressOf(aCorner[ith]) << "): " << *aCorner[ith]
               << "  oppTet=" << addressOf(triangle.getNeig(ith)) << "\n";
        return os.str();
    }
};

TEST_F(Triangle3Test, CornersAndNeighbours)
{
    EXPECT_EQ(triangle.getCorner(0), &a);
    EXPECT_EQ(triangle.getCorner(1), &b);
    EXPECT_EQ(triangle.getCorner(2), &c);
    Triangle3 other(&a, &b, &stranger);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(triangle.getNeig(i), nullptr);
    triangle.setNeig(2, &other);
    EXPECT_EQ(triangle.getNeig(2), &other);
    EXPECT_EQ(triangle.getNeig(0), nullptr);
}

TEST_F(Triangle3Test, IntraTriangleIndices)
{
    Point3* aCorner[3] = {&a, &b, &c};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(triangle.getIntraTriangleIndex(aCorner[i]), i);
        for (int j = 0; j < 3; ++j)
            if (j != i)
                EXPECT_EQ(triangle.getIntraTriangleIndex(aCorner[i], aCorner[j]), 3 - i - j);
    }
    EXPECT_EQ(triangle.getIntraTriangleIndex(&a, &b), 2);

    testing::internal::CaptureStderr();
    EXPECT_EQ(triangle.getIntraTriangleIndex(&stranger), -999);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Triangle3::getIntraTriangleIndex(): invalid (p)\n");

    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(triangle.getIntraTriangleIndex(&a, &stranger), -999);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Have searched for " + addressOf(&a) + " and " + addressOf(&stranger) + " in " + expectedDump());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Triangle3::getIntraTriangleIndex(): invalid (p1,p2)\n");
}

TEST_F(Triangle3Test, DumpListsCornersWithTheirNeighbours)
{
    Triangle3 other(&a, &b, &stranger);
    triangle.setNeig(1, &other);
    testing::internal::CaptureStdout();
    triangle.debug();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expectedDump());
}

TEST_F(Triangle3Test, BarycenterSumsTheFirstTwoCornersFirst)
{
    expectSameCoordinates(triangle.getBarycenter(), 1, 2, 3);
    // 1e16 + 1 rounds back to 1e16, so only this summation order gives exactly 0.
    Point3 p0(1e16, 0, 0);
    Point3 p1(1, 0, 0);
    Point3 p2(-1e16, 0, 0);
    const Point3 center = Triangle3(&p0, &p1, &p2).getBarycenter();
    EXPECT_EQ(center.x(), 0.0);
    EXPECT_EQ(center.getCustomIndex(), -1);
}

TEST_F(Triangle3Test, SlotIndexOutOfRangeTripsTheStandardAssertion)
{
#ifdef NDEBUG
    GTEST_SKIP() << "standard assertions are off";
#else
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(triangle.getCorner(3), "i>-1 && i<3");
    EXPECT_DEATH(triangle.setNeig(-1, nullptr), "i>-1 && i<3");
#endif
}
