// Whole meshes built through the facade from every input family in every insertion pattern, each
// judged by the exact mesh checker; general-position meshes are also compared with a brute-force
// Delaunay tetrahedralization.
#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <Vesk_3D.h>

#include "InputFamilies.h"
#include "MeshBuilder.h"
#include "MeshChecker.h"

using namespace VeskTest;
using VESK3D::Point3;
using VESK3D::Tet3;

namespace {

// The assertion-active build runs with sanitizers: smaller counts keep it within a few minutes.
#ifdef NDEBUG
constexpr int largeCount = 100000;
constexpr int numTinyGridSeeds = 4000;
constexpr int numBruteForceSeeds = 30;
constexpr int largestFamilySize = 250;
#else
constexpr int largeCount = 20000;
constexpr int numTinyGridSeeds = 400;
constexpr int numBruteForceSeeds = 12;
constexpr int largestFamilySize = 120;
#endif

// Every tetrahedron as its corner coordinates in stored order, in listing order.
std::vector<std::array<double, 12>> tetrahedraAsCoordinates(const VESK3D::Vesk_3D& dt)
{
    std::vector<std::array<double, 12>> vTets;
    for (const Tet3* t : allTetrahedra(dt)) {
        std::array<double, 12> coords;
        for (int i = 0; i < 4; ++i) {
            coords[3 * i] = t->getCorner(i)->x();
            coords[3 * i + 1] = t->getCorner(i)->y();
            coords[3 * i + 2] = t->getCorner(i)->z();
        }
        vTets.push_back(coords);
    }
    return vTets;
}

BuiltMesh buildQuietly(const Points& vPoints, InsertMode mode, std::uint64_t seed)
{
    BuiltMesh mesh;
    EXPECT_TRUE(insertPoints(mesh, vPoints, mode, seed));
    return mesh;
}

} // namespace

TEST(EngineMeshes, EveryFamilyInEveryInsertionPattern)
{
    for (const Family& family : allFamilies()) {
        for (int n : {5, 12, 40, largestFamilySize}) {
            for (InsertMode mode : allModes) {
                for (std::uint64_t seed : {11u, 12u}) {
                    EXPECT_TRUE(buildAndCheck(family.make(n, seed), mode, seed, family.name));
                }
            }
        }
    }
}

TEST(EngineMeshes, SubsetsOfTheTinyGridWithDuplicates)
{
    int numFailures = 0;
    for (int seed = 1; seed <= numTinyGridSeeds && numFailures < 5; ++seed) {
        const InsertMode mode = allModes[seed % 5];
        ::testing::AssertionResult result = buildAndCheck(tinyGridWithDuplicates(seed), mode, seed, "tinyGridWithDuplicates");
        EXPECT_TRUE(result);
        numFailures += !result;
    }
}

TEST(EngineMeshes, ExactlyCosphericalPoints)
{
    for (int r : {3, 5, 7, 9, 11}) {
        Points sphere = pythagoreanSphere(r, r);
        Points withCentre = sphere;
        withCentre.emplace_back(0, 0, 0);
        for (InsertMode mode : allModes) {
            EXPECT_TRUE(buildAndCheck(sphere, mode, r, "pythagoreanSphere"));
            EXPECT_TRUE(buildAndCheck(withCentre, mode, r, "pythagoreanSphere+centre"));
        }
    }
}

TEST(EngineMeshes, IntegerGridsInCurveAndRandomOrder)
{
    for (int n = 2; n <= 7; ++n) {
        for (std::uint64_t seed : {0u, 5u}) {
            for (InsertMode mode : allModes) EXPECT_TRUE(buildAndCheck(integerGrid(n, seed), mode, seed, "grid" + std::to_string(n)));
        }
    }
}

TEST(EngineMeshes, GeneralPositionEqualsBruteForceDelaunay)
{
    for (std::uint64_t seed = 1; seed <= numBruteForceSeeds; ++seed) {
        const int n = 5 + static_cast<int>(seed % 18);
        for (const Points& points : {uniformCube(n, seed), gaussianClusters(n, seed, 2), largeOffset(n, seed, 30)}) {
            for (InsertMode mode : {InsertMode::Batch, InsertMode::Singles, InsertMode::Mixed}) {
                BuiltMesh mesh = buildQuietly(points, mode, seed);
                EXPECT_EQ(sortedTetKeys(allTetrahedra(*mesh.dt)), bruteForceDelaunay(points))
                    << n << " points, seed " << seed << ", mode " << modeName(mode);
            }
        }
    }
}

// With cospherical points the Delaunay tetrahedralization is not unique, but every tetrahedron
// must still be one of those with an empty circumsphere.
TEST(EngineMeshes, CosphericalMeshesUseOnlyEmptySphereTetrahedra)
{
    const Points grid = integerGrid(3, 9), sphere = pythagoreanSphere(5, 4);
    for (const Points& points : {Points(grid.begin(), grid.begin() + 16), Points(sphere.begin(), sphere.begin() + 16), cubeCorners()}) {
        BuiltMesh mesh = buildQuietly(points, InsertMode::Singles, 1);
        const std::vector<TetKey> vMesh = sortedTetKeys(allTetrahedra(*mesh.dt));
        const std::vector<TetKey> vEmptySphere = bruteForceDelaunay(distinctPoints(points));
        EXPECT_TRUE(std::includes(vEmptySphere.begin(), vEmptySphere.end(), vMesh.begin(), vMesh.end()));
        EXPECT_FALSE(vMesh.empty());
    }
}

TEST(EngineMeshes, DuplicatesAddNeitherVerticesNorTetrahedra)
{
    BuiltMesh mesh = buildQuietly(integerGrid(4, 3), InsertMode::BatchHandles, 0);
    const std::vector<TetKey> vBefore = sortedTetKeys(allTetrahedra(*mesh.dt));
    std::vector<Point3*> vVerticesBefore;
    mesh.dt->getVertices(vVerticesBefore);

    // Repeats with negated zero coordinates, within one batch and across calls.
    const Points vRepeats = withDuplicates(integerGrid(4, 8), 21, 0.5);
    ASSERT_TRUE(insertPoints(mesh, vRepeats, InsertMode::Mixed, 4));
    ASSERT_TRUE(insertPoints(mesh, vRepeats, InsertMode::BatchHandles, 4));

    std::vector<Point3*> vVerticesAfter;
    mesh.dt->getVertices(vVerticesAfter);
    EXPECT_EQ(vVerticesAfter, vVerticesBefore);
    EXPECT_EQ(sortedTetKeys(allTetrahedra(*mesh.dt)), vBefore);
    EXPECT_TRUE(checkMesh(*mesh.dt, mesh.vInputs));
}

TEST(EngineMeshes, GrowingAnExistingMeshBatchByBatch)
{
    BuiltMesh mesh;
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        // Each batch lies partly outside the hull so far, partly inside it.
        ASSERT_TRUE(insertPoints(mesh, uniformCube(150, seed, -double(seed), double(seed)), allModes[seed % 5], seed));
        ASSERT_TRUE(checkMesh(*mesh.dt, mesh.vInputs, mesh.vMayBeHeld)) << "after batch " << seed;
    }
}

TEST(EngineMeshes, LargeUniformBatch)
{
    BuiltMesh mesh = buildQuietly(uniformCube(largeCount, 2024), InsertMode::Batch, 0);
    EXPECT_TRUE(checkMesh(*mesh.dt, mesh.vInputs));
}

TEST(EngineMeshes, LargeClusteredBatchWithDuplicates)
{
    BuiltMesh mesh = buildQuietly(withDuplicates(gaussianClusters(largeCount / 4, 7), 8, 0.2), InsertMode::BatchHandles, 0);
    EXPECT_TRUE(checkMesh(*mesh.dt, mesh.vInputs));
}

TEST(EngineMeshes, LargeGridIsMassivelyCospherical)
{
#ifdef NDEBUG
    const int n = 30;
#else
    const int n = 16;
#endif
    BuiltMesh mesh = buildQuietly(integerGrid(n, 0), InsertMode::Batch, 0);
    EXPECT_TRUE(checkMesh(*mesh.dt, mesh.vInputs));
    // Every grid cube is split on its own (its circumsphere holds no other grid point), into five or six.
    const std::size_t numCubes = std::size_t(n - 1) * (n - 1) * (n - 1);
    EXPECT_GE(allTetrahedra(*mesh.dt).size(), 5 * numCubes);
    EXPECT_LE(allTetrahedra(*mesh.dt).size(), 6 * numCubes);
}

TEST(EngineMeshes, SameInputGivesTheSameTetrahedraInTheSameOrder)
{
    const std::vector<Points> inputs = {uniformCube(500, 1), integerGrid(5, 2), withDuplicates(nearSphere(300, 3), 4, 0.2),
                                        coplanarPlusOne(60, 5)};
    for (std::size_t k = 0; k < inputs.size(); ++k) {
        for (InsertMode mode : allModes) {
            BuiltMesh first = buildQuietly(inputs[k], mode, 6);
            BuiltMesh second = buildQuietly(inputs[k], mode, 6);
            EXPECT_EQ(tetrahedraAsCoordinates(*first.dt), tetrahedraAsCoordinates(*second.dt)) << "input " << k << ", " << modeName(mode);
        }
    }
}

namespace {

Points scaled(const Points& vPoints, int exponent)
{
    Points vScaled;
    for (const Point3& p : vPoints) vScaled.emplace_back(std::ldexp(p.x(), exponent), std::ldexp(p.y(), exponent), std::ldexp(p.z(), exponent));
    return vScaled;
}

// Integer coordinates below 2^20, which a power of two scales exactly from subnormals up to 2^1023.
Points integerUniform(int n, std::uint64_t seed)
{
    Points vPoints = uniformCube(n, seed, 0.0, 0x1p20);
    for (Point3& p : vPoints) p.exchange(std::floor(p.x()), std::floor(p.y()), std::floor(p.z()));
    return vPoints;
}

// The grid with every zero coordinate moved a few units in the last place: subnormals beside 1..4.
Points gridWithSubnormalZeros(int n, std::uint64_t seed)
{
    Points vPoints = integerGrid(n, seed);
    int k = 0;
    auto moved = [&k](double v) { return v != 0.0 ? v : std::ldexp(double(k++ % 7 - 3), -1074); };
    for (Point3& p : vPoints) p.exchange(moved(p.x()), moved(p.y()), moved(p.z()));
    return vPoints;
}

} // namespace

// A point set scaled by a power of two is the same configuration to exact predicates: at every scale
// of the double range the engine must build the tetrahedra it builds unscaled, in the same order.
TEST(EngineMeshes, EveryScaleOfTheDoubleRangeGivesTheSameTetrahedra)
{
    struct Case {
        const char* name;
        Points vPoints;
        int lowestExponent; // the smallest scaling that keeps every coordinate exact
    };
    const Case cases[] = {{"integerUniform", integerUniform(150, 3), -1074},
                          {"grid", integerGrid(5, 4), -1074},
                          {"gridWithSubnormalZeros", gridWithSubnormalZeros(5, 5), 0}};
    for (const Case& c : cases) {
        for (InsertMode mode : {InsertMode::Batch, InsertMode::Singles, InsertMode::Mixed}) {
            BuiltMesh reference = buildQuietly(c.vPoints, mode, 7);
            ASSERT_TRUE(checkMesh(*reference.dt, reference.vInputs, reference.vMayBeHeld)) << c.name << ", " << modeName(mode);
            for (int exponent : {-1074, -1040, -900, -500, -333, -100, 100, 333, 500, 900, 1002}) {
                if (exponent < c.lowestExponent) continue;
                BuiltMesh mesh = buildQuietly(scaled(c.vPoints, exponent), mode, 7);
                std::vector<std::array<double, 12>> vExpected = tetrahedraAsCoordinates(*reference.dt);
                for (std::array<double, 12>& tet : vExpected)
                    for (double& v : tet) v = std::ldexp(v, exponent);
                EXPECT_EQ(tetrahedraAsCoordinates(*mesh.dt), vExpected) << c.name << " times 2^" << exponent << ", " << modeName(mode);
            }
        }
    }
}

// Tiny and huge coordinates in one mesh, and coordinates whose differences overflow.
TEST(EngineMeshes, MixedMagnitudesAndOverflowingDifferences)
{
    Points vMixed = scaled(integerGrid(3, 1), -1060);
    for (const Point3& p : scaled(integerUniform(40, 2), 950)) vMixed.push_back(p);
    for (const Point3& p : scaled(integerUniform(40, 3), -20)) vMixed.push_back(p);
    shuffle(vMixed, 4);
    Points vSpanning = scaled(integerGrid(4, 5), 1022);
    for (Point3& p : vSpanning) p.exchange(p.x() - 0x1.8p1023, p.y() - 0x1.8p1023, p.z() - 0x1.8p1023);
    for (const Points& vPoints : {vMixed, vSpanning}) {
        for (InsertMode mode : {InsertMode::Batch, InsertMode::Singles}) EXPECT_TRUE(buildAndCheck(vPoints, mode, 6, "mixed magnitudes"));
    }
}

TEST(EngineMeshes, NonFinitePointsAreRefusedBeforeAnythingChanges)
{
    BuiltMesh mesh = buildQuietly(integerGrid(3, 1), InsertMode::Batch, 0);
    const std::vector<std::array<double, 12>> vBefore = tetrahedraAsCoordinates(*mesh.dt);
    Points vBatch = integerUniform(20, 9);
    vBatch[10] = Point3(0.5, HUGE_VAL, 0.5);
    Point3 notANumber(std::nan(""), 1.0, 1.0);
    for (int attempt = 0; attempt < 2; ++attempt) {
        testing::internal::CaptureStdout();
        if (attempt == 0) EXPECT_THROW(mesh.dt->insert(notANumber), VESK3D::VeskException);
        else EXPECT_THROW(mesh.dt->insert(vBatch), VESK3D::VeskException);
        EXPECT_NE(testing::internal::GetCapturedStdout().find("Condition [ hasFiniteCoordinates(p) failed ]"), std::string::npos);
    }
    std::vector<Point3*> vVertices;
    mesh.dt->getVertices(vVertices);
    EXPECT_EQ(vVertices.size(), 27u);
    EXPECT_EQ(tetrahedraAsCoordinates(*mesh.dt), vBefore);
}

// Engines share nothing but the process-wide label counter: two of them in two threads build what
// each builds alone (a racy counter once let a thread's labels run backwards, which reordered the
// hull facets a vertex sees).
TEST(EngineMeshes, TwoEnginesInTwoThreadsBuildWhatEachBuildsAlone)
{
    const Points vFirst = uniformCube(3000, 31), vSecond = withDuplicates(nearSphere(2000, 32), 33, 0.1);
    // Standard output cannot be captured from two threads: the engines' lines go to a sink instead.
    VESK3D::setMessageSink([](VESK3D::MessageKind, const std::string&) {});
    const auto alone = [](Points vPoints) {
        VESK3D::Vesk_3D dt;
        dt.insert(vPoints);
        return tetrahedraAsCoordinates(dt);
    };
    const auto expectedFirst = alone(vFirst), expectedSecond = alone(vSecond);
    for (int round = 0; round < 3; ++round) {
        std::vector<std::array<double, 12>> first, second;
        std::thread other([&] { second = alone(vSecond); });
        first = alone(vFirst);
        other.join();
        EXPECT_EQ(first, expectedFirst);
        EXPECT_EQ(second, expectedSecond);
    }
    VESK3D::setMessageSink(nullptr);
}
