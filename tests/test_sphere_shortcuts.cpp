// The in-sphere test's two routes around its adaptive stages, each checked against rational
// arithmetic. Integer input with small differences is settled on the claim that the filter's own
// arithmetic was exact there: inputs straddle the claim's limits (cospherical lattice points, dense
// integer spheres and random lattice points with permanents on both sides of 2^50, coordinates
// beyond 2^52, non-integers). Nearly cospherical input is settled by a double-double evaluation:
// points on spheres rounded to doubles and nudged by a few units in the last place, where its
// answers must be exact whenever it gives one.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <GeomTest3.h>
#include <Tet3.h>

#include "ExactOracle.h"
#include "InputFamilies.h"

using VESK3D::GeomTest3;
using VESK3D::Point3;
using VESK3D::Tet3;

namespace {

struct Quintuple {
    Point3 a, b, c, d, e;
};

// One record for every test: the constructor announces itself on standard output.
Tet3& scratchTet()
{
    static Tet3* pTet = [] {
        ::testing::internal::CaptureStdout();
        Tet3* pNew = new Tet3;
        ::testing::internal::GetCapturedStdout();
        return pNew;
    }();
    return *pTet;
}

// Compares sphereInclusionTest with the exact answer when the first four points span a volume
// (reordered to be positive), and counts the comparison.
void expectExactAnswer(Quintuple q, int& numChecked)
{
    const int orientation = VeskTest::exactOrientSign(q.a, q.b, q.c, q.d);
    if (orientation == 0) return;
    if (orientation < 0) std::swap(q.a, q.b);
    Tet3& tet = scratchTet();
    tet.setProperties(&q.a, &q.b, &q.c, &q.d);
    const bool onCorner = q.e == q.a || q.e == q.b || q.e == q.c || q.e == q.d;
    // A copy of a corner is inside by the filter's rule; otherwise only strictly inside conflicts.
    const bool inside = onCorner || VeskTest::exactInSphereSign(q.a, q.b, q.c, q.d, q.e) > 0;
    ++numChecked;
    const VESK3D::SphereInclusionCode code = GeomTest3().sphereInclusionTest(&tet, &q.e);
    EXPECT_EQ(code, inside ? VESK3D::SIC_INSIDE : VESK3D::SIC_OUTSIDE)
        << q.a << "\n" << q.b << "\n" << q.c << "\n" << q.d << "\n" << q.e;
}

Point3 shifted(const Point3& p, double dx, double dy, double dz)
{
    return Point3(p.x() + dx, p.y() + dy, p.z() + dz);
}

} // namespace

TEST(LatticeShortcut, CosphericalAndNeighbouringLatticePointsAtAnyOffsetAndScale)
{
    int numChecked = 0;
    for (int radius : {5, 13, 50}) {
        const VeskTest::Points sphere = VeskTest::pythagoreanSphere(radius, static_cast<std::uint64_t>(radius));
        ASSERT_GE(sphere.size(), 5u);
        // Scales take the permanent from far below 2^50 to far above it; offsets take the
        // coordinates up to and beyond 2^52 while the differences stay small. Beyond 2^53 only even
        // integers exist, which the doubled scales respect.
        for (double scale : {1.0, 2.0, 8.0, 16.0}) {
            for (double offset : {0.0, -7.0, 0x1p40, 0x1p52 + 2.0, 0x1p53}) {
                if (offset >= 0x1p53 && scale == 1.0) continue;
                auto place = [&](const Point3& p) {
                    return Point3(scale * p.x() + offset, scale * p.y() + offset, scale * p.z() + offset);
                };
                for (std::size_t i = 0; i + 4 < sphere.size() && i < 40; ++i) {
                    const Quintuple q{place(sphere[i]), place(sphere[i + 1]), place(sphere[i + 2]), place(sphere[i + 3]),
                                      place(sphere[i + 4])};
                    expectExactAnswer(q, numChecked);
                    for (double nudge : {-2.0, 2.0}) {
                        Quintuple moved = q;
                        moved.e = shifted(q.e, nudge, 0.0, 0.0);
                        expectExactAnswer(moved, numChecked);
                        moved.e = shifted(q.e, 0.0, 0.0, nudge);
                        expectExactAnswer(moved, numChecked);
                    }
                    Quintuple corner = q;
                    corner.e = q.c;
                    expectExactAnswer(corner, numChecked);
                }
            }
        }
    }
    EXPECT_GT(numChecked, 2000);
}

// Signed permutations of (m, n, p, q) give integer points (m^2+n^2-p^2-q^2, 2(mq+np), 2(nq-mp)) on
// one sphere of radius m^2+n^2+p^2+q^2; unlike scaled small spheres their products use all the
// bits, so an evaluation that rounded would show.
TEST(LatticeShortcut, DenseIntegerSpheresAroundThePermanentLimit)
{
    std::mt19937_64 rng(43);
    int numChecked = 0;
    for (int log2Parameter : {3, 4, 5, 6}) {
        std::uniform_int_distribution<int> parameter(1, 1 << log2Parameter);
        std::uniform_int_distribution<int> coin(0, 1);
        for (int sphere = 0; sphere < 150; ++sphere) {
            std::array<long long, 4> mnpq{parameter(rng), parameter(rng), parameter(rng), parameter(rng)};
            auto pointOnSphere = [&] {
                std::shuffle(mnpq.begin(), mnpq.end(), rng);
                std::array<long long, 4> v = mnpq;
                for (long long& x : v) x = coin(rng) ? -x : x;
                const long long m = v[0], n = v[1], p = v[2], q = v[3];
                return Point3(double(m * m + n * n - p * p - q * q), double(2 * (m * q + n * p)), double(2 * (n * q - m * p)));
            };
            Quintuple quintuple{pointOnSphere(), pointOnSphere(), pointOnSphere(), pointOnSphere(), pointOnSphere()};
            expectExactAnswer(quintuple, numChecked);
            quintuple.e = shifted(quintuple.e, 1.0, -1.0, 0.0);
            expectExactAnswer(quintuple, numChecked);
        }
    }
    EXPECT_GT(numChecked, 600);
}

TEST(LatticeShortcut, RandomLatticePointsOnBothSidesOfThePermanentLimit)
{
    std::mt19937_64 rng(41);
    int numChecked = 0;
    // A side of 2^s gives permanents of roughly 2^(5s+4): s = 8..10 straddles the 2^50 limit, and
    // s = 25 puts single differences at the 2^25 limit.
    for (int log2Side : {2, 8, 9, 10, 25}) {
        std::uniform_int_distribution<std::int64_t> coordinate(0, (std::int64_t(1) << log2Side));
        std::uniform_int_distribution<std::int64_t> base(-(std::int64_t(1) << 45), std::int64_t(1) << 45);
        for (int i = 0; i < 3000; ++i) {
            const double shift = i % 3 == 0 ? double(base(rng)) : 0.0;
            auto point = [&] {
                return Point3(double(coordinate(rng)) + shift, double(coordinate(rng)) + shift, double(coordinate(rng)) + shift);
            };
            Quintuple q{point(), point(), point(), point(), point()};
            expectExactAnswer(q, numChecked);
        }
    }
    EXPECT_GT(numChecked, 14000);
}

TEST(LatticeShortcut, NonIntegerCoordinatesStillGetExactAnswers)
{
    int numChecked = 0;
    for (std::uint64_t seed = 1; seed <= 30; ++seed) {
        const VeskTest::Points sphere = VeskTest::pythagoreanSphere(9, seed);
        for (std::size_t i = 0; i + 4 < sphere.size(); i += 2) {
            // Halving keeps the points cospherical; a quarter or a tiny nudge breaks the integrality,
            // and the tiny nudges leave determinants far below the rounding of the filter.
            auto half = [](const Point3& p) { return Point3(p.x() / 2, p.y() / 2, p.z() / 2); };
            Quintuple q{half(sphere[i]), half(sphere[i + 1]), half(sphere[i + 2]), half(sphere[i + 3]), half(sphere[i + 4])};
            expectExactAnswer(q, numChecked);
            q.e = shifted(q.e, 0.25, 0.0, 0.0);
            expectExactAnswer(q, numChecked);
            for (int exponent = -30; exponent >= -52; exponent -= 2) {
                const Quintuple whole{sphere[i], sphere[i + 1], sphere[i + 2], sphere[i + 3], sphere[i + 4]};
                Quintuple nudged = whole;
                nudged.e = shifted(whole.e, std::ldexp(1.0, exponent), 0.0, 0.0);
                expectExactAnswer(nudged, numChecked);
                nudged = whole;
                nudged.a = shifted(whole.a, 0.0, -std::ldexp(3.0, exponent), std::ldexp(1.0, exponent));
                expectExactAnswer(nudged, numChecked);
            }
        }
    }
    EXPECT_GT(numChecked, 300);
}

TEST(LatticeShortcut, TheShortcutDeclinesOutsideItsLimits)
{
    const Point3 p(1, 2, 3), q(4, 5, 6);
    const std::initializer_list<double> small = {1, -2, 3, 0, 5, -6, 7, 8, -9, 10, 11, 12};
    EXPECT_TRUE(VESK3D::isExactOnLattice(0x1p50, small, {&p, &q}));
    EXPECT_FALSE(VESK3D::isExactOnLattice(0x1p50 + 256.0, small, {&p, &q}));
    EXPECT_FALSE(VESK3D::isExactOnLattice(std::nan(""), small, {&p, &q}));
    EXPECT_FALSE(VESK3D::isExactOnLattice(1e3, {1, 2, 3, 0x1p25 + 1, 0, 0, 0, 0, 0, 0, 0, 0}, {&p, &q}));
    EXPECT_TRUE(VESK3D::isExactOnLattice(1e3, {1, 2, 3, 0x1p25, 0, 0, 0, 0, 0, 0, 0, 0}, {&p, &q}));
    const Point3 fractional(1, 2.5, 3), huge(0x1p60, -0x1p53, 0x1p52);
    EXPECT_FALSE(VESK3D::isExactOnLattice(1e3, small, {&p, &fractional}));
    EXPECT_TRUE(VESK3D::isExactOnLattice(1e3, small, {&p, &huge}));
}

namespace {

// Any upper bound of the filter's permanent is a valid argument; this one is 24*X*Y*Z*L with room.
double permanentBound(const Quintuple& q)
{
    double maxDifference[3] = {0, 0, 0}, maxLift = 0;
    for (const Point3* p : {&q.a, &q.b, &q.c, &q.d}) {
        const double difference[3] = {p->x() - q.e.x(), p->y() - q.e.y(), p->z() - q.e.z()};
        double lift = 0;
        for (int axis = 0; axis < 3; ++axis) {
            maxDifference[axis] = std::max(maxDifference[axis], std::fabs(difference[axis]));
            lift += difference[axis] * difference[axis];
        }
        maxLift = std::max(maxLift, lift);
    }
    return 25.0 * maxDifference[0] * maxDifference[1] * maxDifference[2] * maxLift;
}

// The double-double route may decline (0), but a sign it gives must be the exact one.
void expectExactOrNoSign(const Quintuple& q, int& numDecided, int& numDeclined)
{
    const int sign = GeomTest3().insphereDoubleDouble(&q.a, &q.b, &q.c, &q.d, &q.e, permanentBound(q));
    if (sign == 0) {
        ++numDeclined;
        return;
    }
    ++numDecided;
    EXPECT_EQ(sign, VeskTest::exactLiftedSign(q.a, q.b, q.c, q.d, q.e))
        << q.a << "\n" << q.b << "\n" << q.c << "\n" << q.d << "\n" << q.e;
}

Point3 onUnitSphere(std::mt19937_64& rng, double radius, const Point3& centre)
{
    std::normal_distribution<double> gauss(0.0, 1.0);
    const double x = gauss(rng), y = gauss(rng), z = gauss(rng);
    const double scale = radius / std::sqrt(x * x + y * y + z * z);
    return Point3(centre.x() + x * scale, centre.y() + y * scale, centre.z() + z * scale);
}

} // namespace

TEST(DoubleDoubleShortcut, RoundedSpherePointsGetExactSignsOrNone)
{
    std::mt19937_64 rng(47);
    int numDecided = 0, numDeclined = 0, numChecked = 0;
    for (const Point3& centre : {Point3(0, 0, 0), Point3(1e6, -3e5, 7), Point3(0.1, 0.2, 0.3)}) {
        for (double radius : {1.0, 1e-7, 3e4}) {
            for (int i = 0; i < 400; ++i) {
                Quintuple q{onUnitSphere(rng, radius, centre), onUnitSphere(rng, radius, centre),
                            onUnitSphere(rng, radius, centre), onUnitSphere(rng, radius, centre),
                            onUnitSphere(rng, radius, centre)};
                expectExactOrNoSign(q, numDecided, numDeclined);
                expectExactAnswer(q, numChecked);
                // A few units in the last place off the sphere: determinants near the rounding noise.
                for (int ulps : {1, 3}) {
                    Quintuple nudged = q;
                    double x = q.e.x();
                    for (int k = 0; k < ulps; ++k) x = std::nextafter(x, i % 2 ? 1e300 : -1e300);
                    nudged.e = Point3(x, q.e.y(), q.e.z());
                    expectExactOrNoSign(nudged, numDecided, numDeclined);
                    expectExactAnswer(nudged, numChecked);
                }
            }
        }
    }
    // The route is there for exactly these inputs: it must settle nearly all of them.
    EXPECT_GT(numDecided, 20 * numDeclined);
    EXPECT_GT(numChecked, 10000);
}

TEST(DoubleDoubleShortcut, DeclinesOnExactTiesAndOutsideItsRange)
{
    const VeskTest::Points sphere = VeskTest::pythagoreanSphere(13, 5);
    int numDecided = 0, numDeclined = 0;
    for (std::size_t i = 0; i + 4 < sphere.size(); ++i) {
        // Exactly cospherical at any dyadic scale: no sign can be certified.
        for (double scale : {1.0, 0x1p-100, 0x1p100}) {
            auto place = [scale](const Point3& p) { return Point3(p.x() * scale, p.y() * scale, p.z() * scale); };
            const Quintuple q{place(sphere[i]), place(sphere[i + 1]), place(sphere[i + 2]), place(sphere[i + 3]),
                              place(sphere[i + 4])};
            EXPECT_EQ(GeomTest3().insphereDoubleDouble(&q.a, &q.b, &q.c, &q.d, &q.e, permanentBound(q)), 0);
        }
        // Clearly inside, but with coordinates beyond the range that keeps the bound valid.
        for (double scale : {0x1p-160, 0x1p160}) {
            auto place = [scale](const Point3& p) { return Point3(p.x() * scale, p.y() * scale, p.z() * scale); };
            const Quintuple q{place(sphere[i]), place(sphere[i + 1]), place(sphere[i + 2]), place(sphere[i + 3]),
                              Point3(0, 0, 0)};
            EXPECT_EQ(GeomTest3().insphereDoubleDouble(&q.a, &q.b, &q.c, &q.d, &q.e, permanentBound(q)), 0);
            int numChecked = 0;
            expectExactAnswer(q, numChecked);
        }
        const Quintuple inside{sphere[i], sphere[i + 1], sphere[i + 2], sphere[i + 3], Point3(0, 0, 0)};
        expectExactOrNoSign(inside, numDecided, numDeclined);
    }
    EXPECT_GT(numDecided, 0);
}
