// The mesh checker judges every engine test, so it is tested first: its containment classes on
// hand-computed cases, and its verdicts on a two-tetrahedron mesh assembled by hand with one defect
// injected at a time. Its exact signs are the oracle that the predicate test sweeps against.
#include <string>
#include <tuple>
#include <functional>

#include <gtest/gtest.h>

#include <Vesk_3D.h>

#include "MeshChecker.h"

using namespace VeskTest;
using VESK3D::Point3;
using VESK3D::Tet3;

namespace {

// Two positive tetrahedra (a,b,c,d) and (b,c,d,e) glued across the facet b,c,d.
class TwoTetMesh {
public:
    explicit TwoTetMesh(const Point3& apex) : e(apex)
    {
        first->setProperties(&a, &b, &c, &d);
        second->setProperties(&b, &c, &d, &e);
        first->setOppTet(0, second);
        second->setOppTet(3, first);
    }
    TwoTetMesh(const TwoTetMesh&) = delete;

    MeshView view() { return MeshView{{&a, &b, &c, &d, &e}, {first, second}, true}; }
    Points inputs() const { return {a, b, c, d, e}; }

    Point3 a{0, 0, 0}, b{1, 0, 0}, c{0, 1, 0}, d{0, 0, 1}, e, held{7, 7, 7};
    // The engine's records come from raw pool storage too; setProperties initialises them.
    alignas(Tet3) unsigned char storage[2][sizeof(Tet3)];
    Tet3* const first = reinterpret_cast<Tet3*>(storage[0]);
    Tet3* const second = reinterpret_cast<Tet3*>(storage[1]);
};

} // namespace

TEST(MeshCheckerBruteForce, ContainmentClassesOfTheUnitTetrahedron)
{
    TwoTetMesh mesh(Point3(1, 1, 1));
    const Tet3& t = *mesh.first;
    // Facet 0 (b, c, d) is glued to the second tetrahedron; the other three are on the hull.
    const std::tuple<Point3, Containment, bool> classes[] = {
        {Point3(0.25, 0.25, 0.25), Containment::Inside, false}, {Point3(0.25, 0.25, 0.5), Containment::OnFacet, false},
        {Point3(0.25, 0.25, 0), Containment::OnFacet, true},    {Point3(0.5, 0.5, 0), Containment::OnEdge, true},
        {Point3(0, 0, 1), Containment::OnVertex, true},         {Point3(0.5, 0.5, 0.5), Containment::Outside, false}};
    for (const auto& [q, expected, onHull] : classes) {
        EXPECT_EQ(classify(t, q), expected);
        EXPECT_EQ(onHullFacetOf(t, q), onHull);
    }
    const Tets both = {mesh.first, mesh.second};
    EXPECT_EQ(bruteForceLocate(both, Point3(0.25, 0.25, 0.5)).size(), 2u);
    EXPECT_EQ(bruteForceLocate(both, Point3(0.5, 0.5, 0.5)), Tets{mesh.second});
    EXPECT_EQ(bruteForceEdgeRing(both, &mesh.a, &mesh.a), Tets{mesh.first});
    EXPECT_EQ(bruteForceEdgeRing(both, &mesh.b, &mesh.c).size(), 2u);
}

// A vertex held outside the mesh passes only where allowed, and the start-up state (no
// tetrahedra) only for coplanar points.
TEST(MeshCheckerVerdicts, RejectsEachInjectedDefect)
{
    TwoTetMesh valid(Point3(1, 1, 1));
    EXPECT_TRUE(checkTetrahedralization(valid.view(), valid.inputs()));
    MeshView withHeld = valid.view();
    withHeld.vVertices.push_back(&valid.held);
    EXPECT_TRUE(checkTetrahedralization(withHeld, {valid.a, valid.b, valid.c, valid.d, valid.e, valid.held}, {valid.held}));
    Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), e(2, 3, 0);
    EXPECT_TRUE(checkTetrahedralization(MeshView{{&a, &b, &c, &e}, {}, false}, {a, b, c, e}));

    const Point3 apexAbove(1, 1, 1);
    const struct {
        Point3 apex;
        std::function<void(TwoTetMesh&, MeshView&, Points&)> inject;
        const char* what; // a word of the expected report
    } cases[] = {
        {apexAbove, [](TwoTetMesh& m, MeshView&, Points&) { m.first->hasBeenVisited = true; }, "visited"},
        {apexAbove, [](TwoTetMesh& m, MeshView&, Points&) { m.second->setOppTet(3, nullptr); }, "not linked across it"},
        {apexAbove, [](TwoTetMesh& m, MeshView&, Points&) { m.first->setCorner(0, &m.b), m.first->setCorner(1, &m.a); }, "negatively oriented"},
        {Point3(0.5, 0.5, 0.5), [](TwoTetMesh&, MeshView&, Points&) {}, "not locally Delaunay"},
        {Point3(2, 2, -0.5), [](TwoTetMesh&, MeshView&, Points&) {}, "not convex"},
        {apexAbove, [](TwoTetMesh&, MeshView&, Points& inputs) { inputs.emplace_back(3, 3, 3); }, "is not registered"},
        {apexAbove, [](TwoTetMesh& m, MeshView&, Points&) { m.a.setOneTet(m.second); }, "which lacks it"},
        {apexAbove, [](TwoTetMesh& m, MeshView& view, Points& inputs) { view.vVertices.push_back(&m.held), inputs.push_back(m.held); },
         "not part of"},
        {apexAbove, [](TwoTetMesh&, MeshView& view, Points&) { view.vTets.clear(), view.is3D = false; }, "off the plane"},
    };
    for (const auto& c : cases) {
        TwoTetMesh mesh(c.apex);
        MeshView view = mesh.view();
        Points inputs = mesh.inputs();
        c.inject(mesh, view, inputs);
        const ::testing::AssertionResult result = checkTetrahedralization(view, inputs);
        EXPECT_FALSE(result) << c.what;
        EXPECT_NE(std::string(result.message()).find(c.what), std::string::npos) << result.message();
    }
}
