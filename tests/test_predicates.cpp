// The predicates against exact rational arithmetic, on inputs built to defeat the filters. This
// program links its own copy of the predicates with stage counters, to prove that every adaptive
// stage has been exercised.
#include <GeomTest3.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "ExactOracle.h"
#include "InputFamilies.h"
#include "PredicateAgreement.h"
#include "WorkDir.h"

using namespace VESK3D;
using namespace VeskTest;

namespace {

// Random cases per family; VESK3D_ORACLE_CASES overrides it for a long sweep by hand.
int casesPerFamily()
{
    if (const char* text = std::getenv("VESK3D_ORACLE_CASES")) return std::atoi(text);
#ifdef NDEBUG
    return 25000;
#else
    return 5000; // the sanitizers make every case many times slower
#endif
}

// Moves coordinate `axis` of p by `ulps` units in the last place (a zero one becomes subnormal).
Point3 nudgedPoint(const Point3& p, int axis, int ulps)
{
    double c[3] = {p.x(), p.y(), p.z()};
    for (; ulps != 0; ulps -= ulps > 0 ? 1 : -1) c[axis] = std::nextafter(c[axis], ulps > 0 ? INFINITY : -INFINITY);
    return Point3(c[0], c[1], c[2]);
}

// Counts the cases and prints the first few disagreements.
struct OracleComparison {
    void check(Quintuple& p)
    {
        ++numCases;
        const std::string wrong = predicateDisagreement(predicates, p);
        if (!wrong.empty() && ++numDisagreements <= 5) std::cout << wrong << std::endl;
    }

    const GeomTest3 predicates;
    long long numCases = 0, numDisagreements = 0;
};

std::mt19937_64& generator()
{
    static std::mt19937_64 rng(20240611);
    return rng;
}

int randomInt(int lo, int hi)
{
    return std::uniform_int_distribution<int>(lo, hi)(generator());
}

double randomDouble(double lo, double hi)
{
    return std::uniform_real_distribution<double>(lo, hi)(generator());
}

// Five distinct lattice points of one sphere (radius 9, 15 or 21), the first four not coplanar.
Quintuple cosphericalLattice()
{
    static const Points spheres[3] = {pythagoreanSphere(9, 1), pythagoreanSphere(15, 2), pythagoreanSphere(21, 3)};
    const std::vector<Point3>& sphere = spheres[randomInt(0, 2)];
    const double cx = randomInt(-50, 50), cy = randomInt(-50, 50), cz = randomInt(-50, 50);
    for (;;) {
        Quintuple p;
        for (Point3& q : p) {
            const Point3& s = sphere[randomInt(0, static_cast<int>(sphere.size()) - 1)];
            q = Point3(s.x() + cx, s.y() + cy, s.z() + cz);
        }
        // Four corners that span a volume are distinct; only the fifth point may repeat one.
        if (exactOrientSign(p[0], p[1], p[2], p[3]) != 0 && std::count(p.begin(), p.end(), p[4]) == 1) return p;
    }
}

// a, b, c and e on one lattice plane z = alpha*x + beta*y + gamma; d anywhere.
Quintuple coplanarLattice()
{
    const int alpha = randomInt(-3, 3), beta = randomInt(-3, 3), gamma = randomInt(-20, 20);
    auto onPlane = [&]() {
        const int x = randomInt(-30, 30), y = randomInt(-30, 30);
        return Point3(x, y, alpha * x + beta * y + gamma);
    };
    const Point3 d(randomInt(-30, 30), randomInt(-30, 30), randomInt(-100, 100));
    return {onPlane(), onPlane(), onPlane(), d, onPlane()};
}

// Five points of the plane z = x + y through the origin, each scaled by its own power of two: the
// configuration stays exactly coplanar, yet the coordinate differences are rounded, so the tails
// of the adaptive stages are non-zero. Wide spreads put subnormals beside huge values in one call.
Quintuple coplanarMixedMagnitudes(int spread)
{
    Quintuple p;
    for (Point3& q : p) {
        const double scale = std::ldexp(1.0, randomInt(-spread, spread));
        const int a = randomInt(-9, 9), b = randomInt(-9, 9);
        q = Point3(a * scale, b * scale, (a + b) * scale);
    }
    return p;
}

Quintuple randomQuintuple(const std::function<double()>& coordinate)
{
    Quintuple p;
    for (Point3& q : p) q = Point3(coordinate(), coordinate(), coordinate());
    return p;
}

// A magnitude anywhere in the finite range, subnormals included.
double anyMagnitude()
{
    return std::ldexp(randomDouble(-1.0, 1.0), randomInt(-1074, 1024));
}

// Points of a sphere rounded to doubles, about cospherical, around centres near and far: the input
// that the double-double in-sphere route is there for.
Quintuple roundedSphere()
{
    static const Point3 centres[] = {Point3(0, 0, 0), Point3(1e6, -3e5, 7), Point3(0.1, 0.2, 0.3)};
    static const double radii[] = {1.0, 1e-7, 3e4};
    const Point3& centre = centres[randomInt(0, 2)];
    const double radius = radii[randomInt(0, 2)];
    std::normal_distribution<double> gauss(0.0, 1.0);
    Quintuple p;
    for (Point3& q : p) {
        const double x = gauss(generator()), y = gauss(generator()), z = gauss(generator());
        const double scale = radius / std::sqrt(x * x + y * y + z * z);
        q = Point3(centre.x() + x * scale, centre.y() + y * scale, centre.z() + z * scale);
    }
    return p;
}

using Transform = std::function<Point3(const Point3&)>;

// The ways every degenerate family is presented: as built; far from the origin and scaled down
// (both exact for lattice points); scaled down and then moved away, rounded and so only nearly
// degenerate; scaled by a power of two anywhere in the range that keeps the lattice exact and finite
// (down to subnormal coordinates, up to coordinates whose differences overflow).
std::vector<Transform> placements(const Quintuple& base)
{
    const double far = std::ldexp(1.0, randomInt(30, 50)), farX = far + randomInt(0, 1000);
    auto scaledBy = [](double factor) {
        return [factor](const Point3& p) { return Point3(p.x() * factor, p.y() * factor, p.z() * factor); };
    };
    const Transform moved = [=](const Point3& p) { return Point3(p.x() + farX, p.y() + far * 0.75, p.z() - far); };
    const Transform scaled = scaledBy(std::ldexp(1.0, -40));
    const Transform roundedAway = [scaledBy](const Point3& p) {
        const Point3 small = scaledBy(std::ldexp(1.0, -20))(p);
        return Point3(small.x() + 1000.5, small.y() - 3.25, small.z() + 77.0);
    };
    int largestExponent = 0;
    for (const Point3& q : base)
        for (double v : {q.x(), q.y(), q.z()})
            if (v != 0.0) largestExponent = std::max(largestExponent, std::ilogb(v));
    const Transform anywhere = scaledBy(std::ldexp(1.0, randomInt(-1074, 1021 - largestExponent)));
    return {[](const Point3& p) { return p; }, moved, scaled, roundedAway, anywhere};
}

// Every placement of the configuration, then each with the last point (the fourth point of one
// orientation and the query of the sphere test) one and two units in the last place off.
void checkDegenerateFamily(OracleComparison& comparison, const std::function<Quintuple()>& make, int count)
{
    for (int i = 0; i < count; ++i) {
        const Quintuple base = make();
        for (const Transform& place : placements(base)) {
            Quintuple p;
            for (int k = 0; k < 5; ++k) p[k] = place(base[k]);
            const Point3 exact = p[4];
            const int axis = randomInt(0, 2);
            for (int ulps : {0, 1, -1, 2, -2}) {
                p[4] = nudgedPoint(exact, axis, ulps);
                comparison.check(p);
            }
        }
    }
}

} // namespace

// The facet and sphere forms asked about a point inside and about the record's own corner objects.
TEST(Orientation, FacetAndSphereFormsAboutAnInnerPointAndTheCorners)
{
    Quintuple p = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1), Point3(0.25, 0.25, 0.25)};
    for (int corner = -1; corner < 4; ++corner) EXPECT_EQ(predicateDisagreement(GeomTest3(), p, corner), "") << corner;
}

TEST(OrientationDeathTest, NullTetrahedronAndBadFacetIndexEndTheProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const GeomTest3 g;
    Quintuple p = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1)};
    const TetOver tet(p);
    // The emergency stop reports on standard output; route it to where the death test looks.
    EXPECT_DEATH(
        {
            std::cout.rdbuf(std::cerr.rdbuf());
            g.getOrientation3(nullptr, 0, &p[0]);
        },
        "goToHell, ERROR:  reason: getOrientation3, pC==NULL");
#ifdef NDEBUG
    EXPECT_EXIT(g.getOrientation3(tet.get(), 4, &p[0]), testing::ExitedWithCode(1), "false");
#else
    EXPECT_DEATH(g.getOrientation3(tet.get(), 4, &p[0]), "range03\\(ith\\)");
#endif
}

TEST(SphereInclusion, UndecidableFilterMeetsTheCornerGuardOnlyForCornerObjects)
{
    // A NaN coordinate defeats the filter: the corner object itself hits the guard, any other
    // point goes on to the exact stages, whose NaN answer counts as inside; orientation says coplanar.
    const GeomTest3 g;
    Quintuple p = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, NAN), Point3(0.25, 0.25, 0.25)};
    const TetOver tet(p);
    EXPECT_EQ(g.sphereInclusionTest(tet.get(), &p[3]), SIC_ON_CORNER);
    EXPECT_EQ(g.sphereInclusionTest(tet.get(), &p[2]), SIC_INSIDE); // a decidable corner object is inside
    EXPECT_EQ(g.sphereInclusionTest(tet.get(), &p[4]), SIC_INSIDE);
    EXPECT_EQ(g.getOrientation3(&p[0], &p[1], &p[2], &p[3]), ORIENTATION3_COPLANAR);
}

// Only a truly zero cross product lacks a direction: tiny and huge triangles have their normal,
// points and collinear triples get the zero vector with one warning per normalization.
TEST(NormalVector, UnitNormalAtEveryScaleAndZeroForDegenerateTriangles)
{
    const struct {
        Point3 a, b, c;
        double z;
        int numWarnings;
    } cases[] = {{Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), 1.0, 0},
                 {Point3(0, 0, 0), Point3(0x1p-1074, 0, 0), Point3(0, 0x1p-1074, 0), 1.0, 0},
                 {Point3(0, 0, 0), Point3(1e-300, 0, 0), Point3(0, 1e-300, 0), 1.0, 0},
                 {Point3(0, 0, 0), Point3(0x1p1023, 0, 0), Point3(0, 0x1p1023, 0), 1.0, 0},
                 {Point3(2, 3, 4), Point3(2, 3, 4), Point3(2, 3, 4), 0.0, 3},
                 {Point3(0, 0, 0), Point3(1, 1, 1), Point3(2, 2, 2), 0.0, 1}};
    for (const auto& c : cases) {
        Vector3 n;
        const std::string console = stdoutOf([&] { n = getNormalVector(c.a, c.b, c.c); });
        EXPECT_EQ(std::count(console.begin(), console.end(), '\n'), c.numWarnings) << c.b.x();
        EXPECT_EQ(std::make_tuple(n.x, n.y, n.z), std::make_tuple(0.0, 0.0, c.z)) << c.b.x();
    }
}

TEST(ExactStages, NoDisagreementWithRationalArithmeticAndEveryStageReached)
{
    const int numCases = casesPerFamily();
    OracleComparison comparison;
    for (int i = 0; i < numCases; ++i) {
        // General position in [-1, 1]^3, every fifth case with coordinates of any magnitude.
        Quintuple p = randomQuintuple(i % 5 == 0 ? anyMagnitude : [] { return randomDouble(-1.0, 1.0); });
        comparison.check(p);
    }
    checkDegenerateFamily(comparison, cosphericalLattice, numCases / 20);
    checkDegenerateFamily(comparison, coplanarLattice, numCases / 20);
    checkDegenerateFamily(comparison, [] { return coplanarMixedMagnitudes(30); }, numCases / 20);
    checkDegenerateFamily(comparison, [] { return coplanarMixedMagnitudes(1000); }, numCases / 40);
    checkDegenerateFamily(comparison, roundedSphere, numCases / 20);

    std::cout << comparison.numCases << " cases; decided by stage";
    for (int s = 0; s < NUM_PREDICATE_STAGES; ++s) std::cout << " " << predicateStageCount[s];
    std::cout << std::endl;
    EXPECT_EQ(comparison.numDisagreements, 0);
    for (int s = 0; s < NUM_PREDICATE_STAGES; ++s) EXPECT_GT(predicateStageCount[s], 0) << "stage " << s;
}

TEST(ExactStages, LatticeShortcutLimits)
{
    const Point3 p(1, 2, 3), q(4, 5, 6), fractional(1, 2.5, 3), huge(0x1p60, -0x1p53, 0x1p52);
    const std::initializer_list<double> small = {1, -2, 3, 0, 5, -6, 7, 8, -9, 10, 11, 12};
    EXPECT_TRUE(isExactOnLattice(0x1p50, small, {&p, &q}));
    EXPECT_FALSE(isExactOnLattice(0x1p50 + 256.0, small, {&p, &q}));
    EXPECT_FALSE(isExactOnLattice(std::nan(""), small, {&p, &q}));
    EXPECT_FALSE(isExactOnLattice(1e3, {1, 2, 3, 0x1p25 + 1, 0, 0, 0, 0, 0, 0, 0, 0}, {&p, &q}));
    EXPECT_TRUE(isExactOnLattice(1e3, {1, 2, 3, 0x1p25, 0, 0, 0, 0, 0, 0, 0, 0}, {&p, &q}));
    EXPECT_FALSE(isExactOnLattice(1e3, small, {&p, &fractional}));
    EXPECT_TRUE(isExactOnLattice(1e3, small, {&p, &huge}));
}
