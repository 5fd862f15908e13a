// The start-up phase: points are only held until four of them span a volume; the first
// tetrahedron is the first such quadruple in registry order, and the single-point path leaves the
// other held points outside the mesh.
#include <array>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <Tet3.h>
#include <Vesk_3D.h>

#include "ExactOracle.h"
#include "InputFamilies.h"
#include "MeshBuilder.h"
#include "MeshChecker.h"

using namespace VeskTest;
using VESK3D::Point3;
using VESK3D::Tet3;

namespace {

std::string stdoutOf(const std::function<void()>& action)
{
    ::testing::internal::CaptureStdout();
    action();
    return ::testing::internal::GetCapturedStdout();
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

std::vector<Point3*> verticesOf(const VESK3D::Vesk_3D& dt)
{
    std::vector<Point3*> vVertices;
    dt.getVertices(vVertices);
    return vVertices;
}

// The first quadruple of registry positions i < j < k < l that is not coplanar, its first two
// corners swapped when it is negatively oriented.
std::array<Point3*, 4> expectedFirstTet(const std::vector<Point3*>& v)
{
    const std::size_t n = v.size();
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = i + 1; j < n; ++j) {
            for (std::size_t k = j + 1; k < n; ++k) {
                for (std::size_t l = k + 1; l < n; ++l) {
                    const int o = exactOrientSign(*v[i], *v[j], *v[k], *v[l]);
                    if (o > 0) return {v[i], v[j], v[k], v[l]};
                    if (o < 0) return {v[j], v[i], v[k], v[l]};
                }
            }
        }
    }
    return {};
}

std::array<Point3*, 4> cornersOf(const Tet3& t)
{
    return {t.getCorner(0), t.getCorner(1), t.getCorner(2), t.getCorner(3)};
}

const char* const noTetrahedraLine = "Dt3::getAllTetrahedra(), oneTet==NULL\n";
const char* const notInMeshWarning = "\n      Dt3::getTetsAroundVertex(), WARNING: pVtx does not belong to the triangulation\n";
const char* const emptyVectorLine = "Attention: triangulate has got an empty vector\n";

// A held vertex has no star: the query warns and leaves the list as it was.
void expectHeld(VESK3D::Vesk_3D& dt, Point3* pVertex)
{
    Tet3* sentinel = reinterpret_cast<Tet3*>(&dt);
    std::vector<Tet3*> vStar{sentinel};
    const std::string output = stdoutOf([&] { dt.getTetsAroundVertex(pVertex, vStar); });
    EXPECT_TRUE(contains(output, notInMeshWarning)) << output;
    EXPECT_EQ(vStar, std::vector<Tet3*>{sentinel});
}

} // namespace

TEST(EngineStartup, FewerThanFourPointsMakeNoTetrahedron)
{
    const Points points = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0)};
    for (std::size_t n = 0; n <= 3; ++n) {
        for (InsertMode mode : {InsertMode::Batch, InsertMode::Singles}) {
            BuiltMesh mesh;
            ASSERT_TRUE(insertPoints(mesh, Points(points.begin(), points.begin() + n), mode, 0));
            EXPECT_FALSE(mesh.dt->is3D());
            std::vector<Tet3*> vTets;
            EXPECT_EQ(stdoutOf([&] { mesh.dt->getTetrahedra(vTets); }), noTetrahedraLine);
            EXPECT_TRUE(vTets.empty());
            EXPECT_EQ(verticesOf(*mesh.dt).size(), n);
        }
    }
}

TEST(EngineStartup, CoplanarOrCollinearInputStaysInStartUp)
{
    const std::vector<Points> inputs = {coplanarOnly(40, 1), collinear(25, 2), withDuplicates(coplanarOnly(30, 3), 4, 0.4),
                                        Points{Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(1, 1, 0)}};
    for (const Points& points : inputs) {
        for (InsertMode mode : allModes) {
            BuiltMesh mesh;
            ASSERT_TRUE(insertPoints(mesh, points, mode, 5));
            EXPECT_FALSE(mesh.dt->is3D());
            EXPECT_TRUE(checkMesh(*mesh.dt, mesh.vInputs)) << modeName(mode);
            EXPECT_EQ(mesh.dt->locate(points.front()), nullptr);
            expectHeld(*mesh.dt, verticesOf(*mesh.dt).front());
        }
    }
}

TEST(EngineStartup, BatchReportsItsSizeAndVerbosityAddsOneLine)
{
    VESK3D::Vesk_3D dt;
    Points none;
    EXPECT_EQ(stdoutOf([&] { dt.insert(none); }), "numPoints=0\n");
    EXPECT_TRUE(verticesOf(dt).empty());
    EXPECT_FALSE(dt.is3D());

    Points seven = uniformCube(7, 3);
    const std::string quiet = stdoutOf([&] { dt.insert(seven); });
    EXPECT_TRUE(contains(quiet, "numPoints=7\n")) << quiet;
    EXPECT_FALSE(contains(quiet, "has been called")) << quiet;

    dt.setVerbosity(true);
    Points five = uniformCube(5, 4);
    std::vector<Point3*> vHandles;
    const std::string verbose = stdoutOf([&] { dt.insert(five, vHandles); });
    EXPECT_TRUE(contains(verbose, "\nDt3::insert(vector,vector) has been called\nnumPoints=5\n")) << verbose;
}

TEST(EngineStartup, FourPointsMakeOneTetrahedronFromTheRegistryOrder)
{
    int numSwapped = 0, numKept = 0;
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        const InsertMode mode = seed % 2 ? InsertMode::Batch : InsertMode::Singles;
        BuiltMesh mesh;
        ASSERT_TRUE(insertPoints(mesh, uniformCube(4, seed), mode, 0));
        const std::vector<Tet3*> vTets = allTetrahedra(*mesh.dt);
        ASSERT_EQ(vTets.size(), 1u);
        const std::vector<Point3*> vVertices = verticesOf(*mesh.dt);
        const std::array<Point3*, 4> expected = expectedFirstTet(vVertices);
        EXPECT_EQ(cornersOf(*vTets[0]), expected) << "seed " << seed;
        (expected[0] == vVertices[0] ? numKept : numSwapped)++;
        for (int i = 0; i < 4; ++i) EXPECT_EQ(vTets[0]->getOppTet(i), nullptr);
        for (Point3* v : vVertices) {
            std::vector<Tet3*> vStar;
            mesh.dt->getTetsAroundVertex(v, vStar);
            EXPECT_EQ(vStar, vTets);
        }
        EXPECT_TRUE(checkMesh(*mesh.dt, mesh.vInputs));
    }
    // Both orders of the first quadruple occur among the seeds.
    EXPECT_GT(numSwapped, 0);
    EXPECT_GT(numKept, 0);
}

TEST(EngineStartup, SinglePointPathHoldsThePointsBesidesTheFirstTetrahedron)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        VESK3D::Vesk_3D dt;
        for (Point3& p : coplanarOnly(8, seed)) stdoutOf([&] { dt.insert(p); });
        ASSERT_FALSE(dt.is3D());
        const bool moreThanFour = verticesOf(dt).size() >= 4;
        Point3 offPlane(0.5, 0.25, 30);
        const std::string output = stdoutOf([&] { dt.insert(offPlane); });
        ASSERT_TRUE(dt.is3D());
        EXPECT_EQ(contains(output, emptyVectorLine), moreThanFour) << output;

        const std::vector<Tet3*> vTets = allTetrahedra(dt);
        ASSERT_EQ(vTets.size(), 1u);
        const std::vector<Point3*> vVertices = verticesOf(dt);
        EXPECT_EQ(cornersOf(*vTets[0]), expectedFirstTet(vVertices));
        Points vHeld;
        for (Point3* v : vVertices) {
            if (vTets[0]->hasVertex(v)) continue;
            expectHeld(dt, v);
            vHeld.push_back(*v);
        }
        Points inputs = coplanarOnly(8, seed);
        inputs.push_back(offPlane);
        EXPECT_TRUE(checkMesh(dt, inputs, vHeld));
    }
}

TEST(EngineStartup, ABatchTriangulatesThePointsHeldBeforeIt)
{
    for (InsertMode first : {InsertMode::Batch, InsertMode::Singles}) {
        BuiltMesh mesh;
        ASSERT_TRUE(insertPoints(mesh, coplanarOnly(20, 6), first, 0));
        ASSERT_FALSE(mesh.dt->is3D());
        ASSERT_TRUE(insertPoints(mesh, {Point3(0, 0, 9), Point3(3, -2, -4), Point3(1, 1, 1)}, InsertMode::Batch, 0));
        EXPECT_TRUE(mesh.vMayBeHeld.empty());
        EXPECT_TRUE(checkMesh(*mesh.dt, mesh.vInputs));
    }
}

TEST(EngineStartup, ManyCoplanarPointsAndOneOffThePlaneInOneBatch)
{
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        for (InsertMode mode : {InsertMode::Batch, InsertMode::BatchHandles}) {
            BuiltMesh mesh;
            ASSERT_TRUE(insertPoints(mesh, coplanarPlusOne(60, seed), mode, 0));
            EXPECT_TRUE(checkMesh(*mesh.dt, mesh.vInputs)) << "seed " << seed;
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
        for (const Point3& p : integerGrid(5, seed)) {
            if (p.z() == 0) layer.push_back(p);
        }
        ASSERT_TRUE(insertPoints(mesh, layer, InsertMode::Singles, 0));
        ASSERT_TRUE(insertPoints(mesh, {Point3(2, 2, 3)}, InsertMode::Singles, 0));
        ASSERT_TRUE(mesh.dt->is3D());
        ASSERT_FALSE(mesh.vMayBeHeld.empty());

        Points nearHeld;
        for (const Point3& p : mesh.vMayBeHeld) {
            nearHeld.emplace_back(p.x() + 0.125, p.y() + 0.0625, 0.25);
            nearHeld.emplace_back(p.x(), p.y(), -0.5);
            nearHeld.push_back(p);
        }
        shuffle(nearHeld, seed);
        ASSERT_TRUE(insertPoints(mesh, nearHeld, InsertMode::Singles, 0)) << "seed " << seed;
        EXPECT_TRUE(checkMesh(*mesh.dt, mesh.vInputs, mesh.vMayBeHeld)) << "seed " << seed;
        ASSERT_TRUE(insertPoints(mesh, uniformCube(40, seed, -1, 5), InsertMode::Mixed, seed)) << "seed " << seed;
        EXPECT_TRUE(checkMesh(*mesh.dt, mesh.vInputs, mesh.vMayBeHeld)) << "seed " << seed;
    }
}

TEST(EngineStartup, EqualCoordinatesGiveTheSameVertexInBothPhases)
{
    VESK3D::Vesk_3D dt;
    auto insertOne = [&dt](double x, double y, double z) {
        Point3 p(x, y, z);
        Point3* pVertex = nullptr;
        stdoutOf([&] { pVertex = dt.insert(p); });
        return pVertex;
    };
    Point3* origin = insertOne(0, 0, 0);
    EXPECT_EQ(insertOne(-0.0, 0, -0.0), origin);
    Point3* x = insertOne(1, 0, 0);
    EXPECT_EQ(insertOne(1, 0, 0), x);
    insertOne(0, 1, 0);
    EXPECT_FALSE(dt.is3D());
    insertOne(0, 0, 1);
    EXPECT_TRUE(dt.is3D());
    EXPECT_EQ(insertOne(0, 0, -0.0), origin);
    EXPECT_EQ(insertOne(1, 0, 0), x);
    Point3* inside = insertOne(0.25, 0.25, 0.25);
    EXPECT_EQ(insertOne(0.25, 0.25, 0.25), inside);
    EXPECT_EQ(verticesOf(dt).size(), 5u);
    EXPECT_EQ(allTetrahedra(dt).size(), 4u);
}
