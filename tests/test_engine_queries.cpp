// The read-only queries of a triangulation against brute force over the whole tetrahedron list:
// point location, the star of a vertex, and the circulator around every edge.
#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <Edge3.h>
#include <Tet3.h>
#include <TetAroundEdgeIterator.h>
#include <Vesk_3D.h>

#include "InputFamilies.h"
#include "MeshBuilder.h"
#include "MeshChecker.h"

using namespace VeskTest;
using VESK3D::Point3;
using VESK3D::Tet3;

namespace {

struct NamedMesh {
    std::string name;
    Points points;
};

// Grids make queries fall exactly on shared facets, edges and vertices; random sets are generic.
std::vector<NamedMesh> queryMeshes()
{
    return {{"grid4", integerGrid(4, 3)}, {"tinyGrid", tinyGridWithDuplicates(17)}, {"uniform", uniformCube(120, 5)},
            {"sphere", pythagoreanSphere(5, 2)}, {"cubeCorners", cubeCorners()}};
}

Point3 weighted(const Point3& a, const Point3& b, const Point3& c, double wa, double wb, double wc)
{
    return Point3(wa * a.x() + wb * b.x() + wc * c.x(), wa * a.y() + wb * b.y() + wc * c.y(), wa * a.z() + wb * b.z() + wc * c.z());
}

// Vertices, points on edges and facets (exact for integer corners), centroids, and random points in
// and around the bounding box.
Points queryPoints(const Tets& vTets, const Points& vInputs, std::uint64_t seed)
{
    Points queries(vInputs);
    for (const Tet3* t : vTets) {
        const Point3 &a = *t->getCorner(0), &b = *t->getCorner(1), &c = *t->getCorner(2), &d = *t->getCorner(3);
        queries.push_back(weighted(a, b, c, 0.5, 0.5, 0.0));
        queries.push_back(weighted(a, b, c, 0.25, 0.25, 0.5));
        queries.push_back(weighted(b, c, d, 0.25, 0.5, 0.25));
        const Point3 abc = weighted(a, b, c, 0.25, 0.25, 0.25);
        queries.emplace_back(abc.x() + 0.25 * d.x(), abc.y() + 0.25 * d.y(), abc.z() + 0.25 * d.z());
    }
    double lo[3] = {1e300, 1e300, 1e300}, hi[3] = {-1e300, -1e300, -1e300};
    for (const Point3& p : vInputs) {
        const double c[3] = {p.x(), p.y(), p.z()};
        for (int k = 0; k < 3; ++k) {
            lo[k] = std::min(lo[k], c[k]);
            hi[k] = std::max(hi[k], c[k]);
        }
    }
    std::mt19937_64 rng(seed);
    for (int i = 0; i < 300; ++i) {
        double c[3];
        for (int k = 0; k < 3; ++k) {
            const double margin = 0.2 * (hi[k] - lo[k]);
            c[k] = std::uniform_real_distribution<double>(lo[k] - margin, hi[k] + margin)(rng);
        }
        queries.emplace_back(c[0], c[1], c[2]);
    }
    queries.emplace_back(lo[0] - 1e6, lo[1], lo[2]);
    return queries;
}

// Every tetrahedron met around an edge, turning both ways when the ring is open at the hull.
::testing::AssertionResult circulationAgrees(const Tets& vTets, Tet3* t, int opp3, int opp2)
{
    const VESK3D::Edge3 edge = t->getEdge(opp3, opp2);
    const Tets vRing = bruteForceEdgeRing(vTets, edge.getSourceVtx(), edge.getTargetVtx());
    std::set<const Tet3*> met;
    VESK3D::TetAroundEdgeIterator start(edge);
    VESK3D::TetAroundEdgeIterator it(start);
    bool open = false;
    for (std::size_t steps = 0; steps <= vRing.size(); ++steps) {
        met.insert(*it);
        if (it.nextIsNull()) {
            open = true;
            break;
        }
        ++it;
        if (it == start) break;
    }
    if (open) {
        VESK3D::TetAroundEdgeIterator back(t->getEdge(opp2, opp3));
        for (std::size_t steps = 0; steps <= vRing.size() && !back.nextIsNull(); ++steps) met.insert(*++back);
    } else if (!(it == start)) {
        return ::testing::AssertionFailure() << "the circulation around an interior edge does not return to its start";
    }
    if (met == std::set<const Tet3*>(vRing.begin(), vRing.end())) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "circulation met " << met.size() << " tetrahedra, the edge has " << vRing.size()
                                         << (open ? " (hull edge)" : " (interior edge)");
}

} // namespace

TEST(EngineQueries, LocateOnAFreshObjectIsNull)
{
    VESK3D::Vesk_3D dt;
    EXPECT_EQ(dt.locate(Point3(0, 0, 0)), nullptr);
}

TEST(EngineQueries, LocateAgreesWithBruteForce)
{
    for (const NamedMesh& input : queryMeshes()) {
        for (InsertMode mode : {InsertMode::Batch, InsertMode::Singles}) {
            BuiltMesh mesh;
            ASSERT_TRUE(insertPoints(mesh, input.points, mode, 1));
            const Tets vTets = allTetrahedra(*mesh.dt);
            for (const Point3& q : queryPoints(vTets, input.points, 9)) ASSERT_TRUE(locateAgrees(*mesh.dt, vTets, q)) << input.name;
            // Locating changes nothing.
            EXPECT_EQ(allTetrahedra(*mesh.dt), vTets) << input.name;
            EXPECT_TRUE(checkMesh(*mesh.dt, mesh.vInputs, mesh.vMayBeHeld)) << input.name;
        }
    }
}

TEST(EngineQueries, StarOfEveryVertexAgreesWithBruteForce)
{
    for (const NamedMesh& input : queryMeshes()) {
        BuiltMesh mesh;
        ASSERT_TRUE(insertPoints(mesh, input.points, InsertMode::Mixed, 2));
        const Tets vTets = allTetrahedra(*mesh.dt);
        std::vector<Point3*> vVertices;
        mesh.dt->getVertices(vVertices);
        std::size_t total = 0;
        for (Point3* v : vVertices) {
            const Tets vExpected = bruteForceStar(vTets, v);
            Tets vStar;
            ::testing::internal::CaptureStdout();
            mesh.dt->getTetsAroundVertex(v, vStar);
            const std::string output = ::testing::internal::GetCapturedStdout();
            // A vertex held by the start-up path has no star.
            EXPECT_EQ(output.empty(), !vExpected.empty()) << output;
            if (vExpected.empty()) {
                EXPECT_TRUE(vStar.empty());
                continue;
            }
            ASSERT_FALSE(vStar.empty()) << input.name;
            EXPECT_EQ(vStar.front(), v->getOneTet()) << input.name;
            const std::set<Tet3*> unique(vStar.begin(), vStar.end());
            EXPECT_EQ(unique.size(), vStar.size()) << input.name << ": a tetrahedron is listed twice";
            EXPECT_EQ(unique, std::set<Tet3*>(vExpected.begin(), vExpected.end())) << input.name;
            total += vStar.size();
        }
        EXPECT_EQ(total, 4 * vTets.size()) << input.name;
    }
}

TEST(EngineQueries, CirculationAroundEveryEdgeAgreesWithBruteForce)
{
    for (const NamedMesh& input : queryMeshes()) {
        BuiltMesh mesh;
        ASSERT_TRUE(insertPoints(mesh, input.points, InsertMode::Batch, 3));
        const Tets vTets = allTetrahedra(*mesh.dt);
        for (Tet3* t : vTets) {
            for (int opp3 = 0; opp3 < 4; ++opp3) {
                for (int opp2 = 0; opp2 < 4; ++opp2) {
                    if (opp3 != opp2) ASSERT_TRUE(circulationAgrees(vTets, t, opp3, opp2)) << input.name;
                }
            }
        }
    }
}

TEST(EngineQueries, GetTetrahedraWantsAnEmptyList)
{
    BuiltMesh mesh;
    ASSERT_TRUE(insertPoints(mesh, uniformCube(20, 4), InsertMode::Batch, 0));
    Tets vTets = allTetrahedra(*mesh.dt);
    ASSERT_FALSE(vTets.empty());
    ::testing::internal::CaptureStdout();
    EXPECT_THROW(mesh.dt->getTetrahedra(vTets), VESK3D::VeskException);
    const std::string output = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(output.find("      Vesk, , ERROR: Condition [ vTet.empty() failed ]"), std::string::npos) << output;
}

TEST(EngineQueries, NonEmptyHandleListIsAWarningAndIsRefilled)
{
    VESK3D::Vesk_3D dt;
    Points points = uniformCube(30, 8);
    Point3 stranger(5, 5, 5);
    std::vector<Point3*> vHandles{&stranger, &stranger};
    ::testing::internal::CaptureStdout();
    dt.insert(points, vHandles);
    const std::string output = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(output.find("\n      Dt3::insert(), WARNING: vUserHandles is not empty as it should be\n"), std::string::npos) << output;
    ASSERT_EQ(vHandles.size(), points.size());
    for (std::size_t i = 0; i < points.size(); ++i) EXPECT_TRUE(vHandles[i] && *vHandles[i] == points[i]) << i;
    EXPECT_TRUE(checkMesh(dt, points));
}
