// The engine through the facade. One generic driver runs every input family through every insertion
// mode and judges each mesh with the exact checker; small meshes also have every query (locate, star,
// circulator, export) compared with brute force. The cases below it cover what no family reaches:
// the start-up rules, scaling over the whole double range and non-finite input.
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>

#include <Edge3.h>
#include <TetAroundEdgeIterator.h>
#include <Vesk_3D.h>

#include "InputFamilies.h"
#include "MeshBuilder.h"
#include "MeshChecker.h"
#include "WorkDir.h"

using namespace VeskTest;
using VESK3D::MeshArrays;
using VESK3D::Point3;
using VESK3D::Tet3;

namespace {

// The assertion-active build runs with sanitizers: smaller counts keep it within a few minutes.
#ifdef NDEBUG
constexpr int largeCount = 100000;
constexpr int largeGridSide = 30;
constexpr int numTinyGridSeeds = 4000;
constexpr int largestFamilySize = 250;
#else
constexpr int largeCount = 20000;
constexpr int largeGridSide = 16;
constexpr int numTinyGridSeeds = 400;
constexpr int largestFamilySize = 120;
#endif
// Meshes up to this size also get every query compared with brute force.
constexpr int largestQueriedSize = 40;

Point3 weighted(const Point3& a, const Point3& b, double wa, double wb)
{
    return Point3(wa * a.x() + wb * b.x(), wa * a.y() + wb * b.y(), wa * a.z() + wb * b.z());
}

// The inputs (vertices), points on edges and facets and inside every tetrahedron (exact for small
// integer corners), and points beyond consecutive inputs (often outside the hull).
Points queryPoints(const Tets& vTets, const Points& vInputs)
{
    Points queries(vInputs);
    for (const Tet3* t : vTets) {
        const Point3 &a = *t->getCorner(0), &b = *t->getCorner(1), &c = *t->getCorner(2), &d = *t->getCorner(3);
        const Point3 ab = weighted(a, b, 0.5, 0.5), abc = weighted(ab, c, 0.5, 0.5);
        queries.insert(queries.end(), {ab, abc, weighted(abc, d, 0.5, 0.5)});
    }
    for (std::size_t k = 1; k < vInputs.size(); ++k) queries.push_back(weighted(vInputs[k], vInputs[k - 1], 2, -1));
    return queries;
}

// Every tetrahedron met around an edge, turning both ways when the ring is open at the hull. Each
// step stays on the edge and turns one way: the corner just left behind becomes the new opp2.
::testing::AssertionResult circulationAgrees(const Tets& vTets, Tet3* t, int opp3, int opp2)
{
    const VESK3D::Edge3 edge = t->getEdge(opp3, opp2);
    const Tets vRing = bruteForceEdgeRing(vTets, edge.getSourceVtx(), edge.getTargetVtx());
    std::set<const Tet3*> met;
    const VESK3D::TetAroundEdgeIterator start(edge);
    VESK3D::TetAroundEdgeIterator it(start);
    bool open = false;
    for (std::size_t steps = 0; steps <= vRing.size(); ++steps) {
        met.insert(*it);
        if (it.nextIsNull()) {
            open = true;
            break;
        }
        const Tet3* pExpectedNext = it.previewNextTet();
        const Point3* pOldOpp3 = (*it)->getCorner(it.getOpp3Index());
        ++it;
        if (*it != pExpectedNext || !(it.getEdge() == edge) || (*it)->getCorner(it.getOpp2Index()) != pOldOpp3)
            return ::testing::AssertionFailure() << "a step of the circulation left its edge or turned the other way";
        if (it == start) break;
    }
    if (open) {
        VESK3D::TetAroundEdgeIterator back(t->getEdge(opp2, opp3));
        for (std::size_t steps = 0; steps <= vRing.size() && !back.nextIsNull(); ++steps) met.insert(*++back);
    } else if (!(it == start)) {
        return ::testing::AssertionFailure() << "the circulation around an interior edge does not return to its start";
    }
    if (met == std::set<const Tet3*>(vRing.begin(), vRing.end())) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "circulation met " << met.size() << " tetrahedra, the edge has " << vRing.size();
}

// The arrays the export must give, flattened here from the pointer structure; vertices named by
// their custom index when asked.
MeshArrays flattened(const BuiltMesh& mesh, const Tets& vTets, const std::vector<Point3*>& vVertices, bool bCustomIndices)
{
    std::map<Point3, int> vertexIndex;
    std::unordered_map<const Tet3*, int> tetIndex{{nullptr, -1}};
    for (size_t v = 0; v < vVertices.size(); ++v) vertexIndex[*vVertices[v]] = bCustomIndices ? vVertices[v]->getCustomIndex() : int(v);
    for (size_t t = 0; t < vTets.size(); ++t) tetIndex[vTets[t]] = static_cast<int>(t);
    MeshArrays arrays;
    for (const Point3* v : vVertices) arrays.vCoordinates.insert(arrays.vCoordinates.end(), {v->x(), v->y(), v->z()});
    for (const Tet3* t : vTets)
        for (int i = 0; i < 4; ++i) {
            arrays.vTetCorners.push_back(vertexIndex.at(*t->getCorner(i)));
            arrays.vTetNeighbors.push_back(tetIndex.at(t->getOppTet(i)));
        }
    for (const Point3& p : mesh.vLastBatch) arrays.vInputVertices.push_back(vertexIndex.at(p));
    return arrays;
}

// Every choice of parts (each array as flattened or empty, as chosen) and the located indices
// against the pointer structure. Arrays handed in hold stale content, which must go.
::testing::AssertionResult exportAgrees(const BuiltMesh& mesh, const Tets& vTets, const Points& vQueries)
{
    const VESK3D::Vesk_3D& dt = *mesh.dt;
    const std::vector<Point3*> vVertices = allVertices(dt);
    if (dt.getNumVertices() != vVertices.size()) return ::testing::AssertionFailure() << "getNumVertices " << dt.getNumVertices();
    // A numbering of the host's own, which only an export that asks for it may use.
    for (size_t v = 0; v < vVertices.size(); ++v) vVertices[v]->setCustomIndex(static_cast<int>(3 * v + 1));
    for (int choice = 0; choice < 16; ++choice) {
        const VESK3D::MeshExportParts parts{bool(choice & 1), bool(choice & 2), bool(choice & 4), bool(choice & 8)};
        const MeshArrays full = flattened(mesh, vTets, vVertices, parts.bCustomIndices);
        MeshArrays some{{1.0}, {2}, {3}, {4}};
        // The plain form is the choice of everything but the custom numbering, neighbours optional.
        if (choice == 3 || choice == 7) dt.exportMesh(some, parts.bNeighbors);
        else dt.exportMesh(some, parts);
        const auto chosenOrEmpty = [](bool chosen, const auto& part, const auto& whole) { return chosen ? part == whole : part.empty(); };
        if (!chosenOrEmpty(parts.bCoordinates, some.vCoordinates, full.vCoordinates) ||
            !chosenOrEmpty(parts.bCorners, some.vTetCorners, full.vTetCorners) ||
            !chosenOrEmpty(parts.bNeighbors, some.vTetNeighbors, full.vTetNeighbors) || some.vInputVertices != full.vInputVertices)
            return ::testing::AssertionFailure() << "the export of parts " << choice << " differs";
    }
    std::vector<double> vXyz;
    for (const Point3& q : vQueries) vXyz.insert(vXyz.end(), {q.x(), q.y(), q.z()});
    std::vector<int> vFound(vQueries.size(), -7);
    mesh.dt->locateTetIndices(vXyz.data(), vQueries.size(), vFound.data());
    for (size_t k = 0; k < vQueries.size(); ++k) {
        const Tet3* pFound = mesh.dt->locate(vQueries[k]);
        if (vFound[k] != (pFound ? std::find(vTets.begin(), vTets.end(), pFound) - vTets.begin() : -1))
            return ::testing::AssertionFailure() << "located index of query " << k;
    }
    return ::testing::AssertionSuccess();
}

// Every query of a small mesh against brute force; queries change nothing.
::testing::AssertionResult queriesAgree(const BuiltMesh& mesh)
{
    const Tets vTets = allTetrahedra(*mesh.dt);
    const Points vQueries = queryPoints(vTets, mesh.vInputs);
    for (const Point3& q : vQueries) {
        ::testing::AssertionResult result = locateAgrees(*mesh.dt, vTets, q);
        if (!result) return result;
    }
    for (Tet3* t : vTets)
        for (int opp3 = 0; opp3 < 4; ++opp3)
            for (int opp2 = 0; opp2 < 4; ++opp2)
                if (opp3 != opp2 && !circulationAgrees(vTets, t, opp3, opp2)) return circulationAgrees(vTets, t, opp3, opp2);
    for (Point3* v : allVertices(*mesh.dt)) {
        ::testing::AssertionResult result = starAgrees(*mesh.dt, vTets, v);
        if (!result) return result;
    }
    ::testing::AssertionResult result = exportAgrees(mesh, vTets, vQueries);
    if (result && allTetrahedra(*mesh.dt) != vTets) return ::testing::AssertionFailure() << "a query changed the mesh";
    return result;
}

// The points with f applied to every coordinate.
Points transformed(Points vPoints, const std::function<double(double)>& f)
{
    for (Point3& p : vPoints) {
        const double x = f(p.x()), y = f(p.y());
        p.exchange(x, y, f(p.z()));
    }
    return vPoints;
}

Points scaled(const Points& vPoints, int exponent)
{
    return transformed(vPoints, [exponent](double v) { return std::ldexp(v, exponent); });
}

// Integer coordinates below 2^20, which a power of two scales exactly from subnormals up to 2^1023.
Points integerUniform(int n, std::uint64_t seed)
{
    return transformed(uniformCube(n, seed, 0.0, 0x1p20), [](double v) { return std::floor(v); });
}

// Small integer coefficients on a random integer frame, duplicates included.
Points affineFrameMix(std::uint64_t seed, int n, int percentOnLine, int percentOnPlane, int range)
{
    std::mt19937_64 rng(seed);
    Frame frame;
    for (auto& vector : frame)
        for (int& component : vector) component = std::uniform_int_distribution<int>(-9, 9)(rng);
    return affineMix(frame, n, rng(), percentOnLine, percentOnPlane, range);
}

} // namespace

TEST(EngineDriver, EveryFamilyInEveryInsertionMode)
{
    for (const Family& family : allFamilies()) {
        for (int n : {5, 12, largestQueriedSize, largestFamilySize}) {
            for (InsertMode mode : allModes) {
                const std::uint64_t seed = 11 + n;
                const Points vPoints = family.make(n, seed);
                const std::string name = family.name + " n=" + std::to_string(n) + " " + modeName(mode);
                BuiltMesh mesh = buildQuietly(vPoints, mode, seed);
                ASSERT_TRUE(checkMesh(mesh)) << name;
                if (n <= largestQueriedSize) {
                    EXPECT_TRUE(queriesAgree(mesh)) << name;
                } else {
                    // The same input in the same mode gives the same tetrahedra in the same order.
                    EXPECT_EQ(listing(*buildQuietly(vPoints, mode, seed).dt), listing(*mesh.dt)) << name;
                }
            }
        }
    }
}

TEST(EngineDriver, SubsetsOfTheTinyGridWithDuplicates)
{
    for (int seed = 1; seed <= numTinyGridSeeds && !HasFailure(); ++seed)
        EXPECT_TRUE(checkMesh(buildQuietly(tinyGridWithDuplicates(seed), allModes[seed % 5], seed))) << "seed " << seed;
}

TEST(EngineDriver, LargeInputs)
{
    const Points inputs[] = {uniformCube(largeCount, 2024), withDuplicates(gaussianClusters(largeCount / 4, 7), 8, 0.2),
                             integerGrid(largeGridSide, 0)};
    for (const Points& vPoints : inputs) EXPECT_TRUE(checkMesh(buildQuietly(vPoints, InsertMode::BatchHandles)));
}

// A point set scaled by a power of two is the same configuration to exact predicates: at every scale
// of the double range the engine must build the tetrahedra it builds unscaled, in the same order.
TEST(EngineScale, EveryScaleOfTheDoubleRangeGivesTheSameTetrahedra)
{
    struct Case {
        const char* name;
        Points vPoints;
        int lowestExponent; // the smallest scaling that keeps every coordinate exact
    };
    const Case cases[] = {{"integerUniform", integerUniform(150, 3), -1074},
                          {"grid", integerGrid(5, 4), -1074},
                          // Every zero moved a few units in the last place: subnormals beside 1..4.
                          {"gridWithSubnormalZeros",
                           transformed(integerGrid(5, 5), [k = 0](double v) mutable { return v != 0.0 ? v : std::ldexp(k++ % 7 - 3, -1074); }), 0}};
    for (const Case& c : cases) {
        for (InsertMode mode : {InsertMode::Batch, InsertMode::Singles, InsertMode::Mixed}) {
            BuiltMesh reference = buildQuietly(c.vPoints, mode, 7);
            ASSERT_TRUE(checkMesh(reference)) << c.name << ", " << modeName(mode);
            for (int exponent : {-1074, -1040, -900, -500, -333, -100, 100, 333, 500, 900, 1002}) {
                if (exponent < c.lowestExponent) continue;
                BuiltMesh mesh = buildQuietly(scaled(c.vPoints, exponent), mode, 7);
                Listing vExpected = listing(*reference.dt);
                for (std::array<double, 12>& tet : vExpected)
                    for (double& v : tet) v = std::ldexp(v, exponent);
                EXPECT_EQ(listing(*mesh.dt), vExpected) << c.name << " times 2^" << exponent << ", " << modeName(mode);
            }
        }
    }
}

// Tiny and huge coordinates in one mesh, and coordinates whose differences overflow.
TEST(EngineScale, MixedMagnitudesAndOverflowingDifferences)
{
    Points vMixed = scaled(integerGrid(3, 1), -1060);
    for (const Point3& p : scaled(integerUniform(40, 2), 950)) vMixed.push_back(p);
    for (const Point3& p : scaled(integerUniform(40, 3), -20)) vMixed.push_back(p);
    shuffle(vMixed, 4);
    const Points vSpanning = transformed(scaled(integerGrid(4, 5), 1022), [](double v) { return v - 0x1.8p1023; });
    for (const Points& vPoints : {vMixed, vSpanning})
        for (InsertMode mode : {InsertMode::Batch, InsertMode::Singles}) EXPECT_TRUE(checkMesh(buildQuietly(vPoints, mode, 6))) << modeName(mode);
}

TEST(EngineInput, NonFinitePointsAreRefusedBeforeAnythingChanges)
{
    BuiltMesh mesh = buildQuietly(integerGrid(3, 1), InsertMode::Batch, 0);
    const Listing vBefore = listing(*mesh.dt);
    Points vBatch = integerUniform(20, 9);
    vBatch[10] = Point3(0.5, HUGE_VAL, 0.5);
    Point3 notANumber(std::nan(""), 1.0, 1.0);
    stdoutOf([&] {
        EXPECT_THROW(mesh.dt->insert(notANumber), VESK3D::VeskException);
        EXPECT_THROW(mesh.dt->insert(vBatch), VESK3D::VeskException);
    });
    EXPECT_EQ(allVertices(*mesh.dt).size(), 27u);
    EXPECT_EQ(listing(*mesh.dt), vBefore);
}

// Start-up: the insertion helpers check after every single insertion on a small registry that the
// engine's state (no tetrahedron, or its first one) is the plain search's choice.
TEST(EngineStartup, FirstTetrahedronIsThePlainSearchChoice)
{
    int numEnded = 0;
    for (std::uint64_t seed = 1; seed <= 150; ++seed) {
        const int percentOnLine = static_cast<int>(seed % 5) * 20;
        const int percentOnPlane = static_cast<int>(seed % 3) * (100 - percentOnLine) / 2;
        BuiltMesh mesh;
        const Points points = affineFrameMix(seed, 14, percentOnLine, percentOnPlane, 1 + static_cast<int>(seed % 4));
        EXPECT_TRUE(insertPoints(mesh, points, InsertMode::Singles, seed)) << "mix seed " << seed;
        numEnded += mesh.dt->is3D();
    }
    // The mixes must reach both outcomes often, or the comparison proves little.
    EXPECT_GT(numEnded, 40);
    EXPECT_LT(numEnded, 140);
    // A held degenerate batch puts many points before and after the one that ends the phase.
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        const Points line = collinear(12, seed);
        const std::pair<Points, Points> heldThenSingles[] = {{coplanarOnly(22, seed), {Point3(1.5, -2.0, 7.25)}},
                                                             {line, {Point3(13, 1, 2), Point3(0.25, 0.5, 0.125)}},
                                                             {withDuplicates(line, seed, 0.5), affineFrameMix(seed, 6, 30, 50, 2)}};
        for (const auto& [held, singles] : heldThenSingles) {
            BuiltMesh mesh;
            EXPECT_TRUE(insertPoints(mesh, held, InsertMode::Batch, seed)) << "seed " << seed;
            EXPECT_TRUE(insertPoints(mesh, singles, InsertMode::Singles, seed)) << "seed " << seed;
        }
    }
}

// Single insertions after the first tetrahedron whose curve neighbours are held vertices (no
// incident tetrahedron to start the walk from), with duplicates of held points among them.
TEST(EngineStartup, SingleInsertionsNextToHeldVertices)
{
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        BuiltMesh mesh;
        Points layer;
        for (const Point3& p : integerGrid(5, seed))
            if (p.z() == 0) layer.push_back(p);
        layer.emplace_back(2, 2, 3);
        ASSERT_TRUE(insertPoints(mesh, layer, InsertMode::Singles, 0));
        ASSERT_FALSE(mesh.vMayBeHeld.empty());
        Points nearHeld;
        for (const Point3& p : mesh.vMayBeHeld)
            nearHeld.insert(nearHeld.end(), {Point3(p.x() + 0.125, p.y() + 0.0625, 0.25), Point3(p.x(), p.y(), -0.5), p});
        shuffle(nearHeld, seed);
        ASSERT_TRUE(insertPoints(mesh, nearHeld, InsertMode::Singles, 0)) << "seed " << seed;
        ASSERT_TRUE(insertPoints(mesh, uniformCube(40, seed, -1, 5), InsertMode::Mixed, seed)) << "seed " << seed;
        EXPECT_TRUE(checkMesh(mesh)) << "seed " << seed;
    }
}
