// The tetrahedron record, its edge and facet handles and the circulator: what the generic driver
// cannot reach, that is the index tables, the failure reports and the dumps. Meshes come from the
// engine (the exact checker vouches for them elsewhere); neighbourhood facts are found here by
// scanning corners.
#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ExactOracle.h"
#include "InputFamilies.h"
#include "MeshBuilder.h"
#include "MeshChecker.h"
#include "WorkDir.h"
#include <Vesk_3D.h>

using namespace VESK3D;
using VeskTest::assertionLine;
using VeskTest::exactOrientSign;
using VeskTest::expectFailedAssertion;
using VeskTest::streamed;

namespace {

// Raw storage initialised the way the engine's pool does it.
struct RawTet {
    alignas(Tet3) unsigned char storage[sizeof(Tet3)];
    Tet3* operator->() { return reinterpret_cast<Tet3*>(storage); }
    Tet3* get() { return reinterpret_cast<Tet3*>(storage); }
};

struct UnitCorners {
    Point3 a{0, 0, 0}, b{1, 0, 0}, c{0, 1, 0}, d{0, 0, 1};
    RawTet tet;
    UnitCorners() { tet->setProperties(&a, &b, &c, &d); }
};

// The 3x3x3 grid, shuffled: interior and hull edges of every valence.
struct GridMesh {
    VeskTest::BuiltMesh mesh = VeskTest::buildQuietly(VeskTest::integerGrid(3, 7));
    std::vector<Tet3*> vTets = VeskTest::allTetrahedra(*mesh.dt);
};

std::set<const Point3*> cornersWithout(const Tet3* pTet, int opp)
{
    std::set<const Point3*> corners;
    for (int i = 0; i < 4; ++i)
        if (i != opp) corners.insert(pTet->getCorner(i));
    return corners;
}

} // namespace

TEST(Tet3Records, LabelsCountOnFromAThousandInAFreshProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    // The threadsafe style re-executes the program, so the child starts with the initial counter.
    EXPECT_EXIT(
        {
            UnitCorners u;
            RawTet second;
            second->setProperties(&u.d, &u.c, &u.b, &u.a);
            std::exit(u.tet->getLabel() == 1000 && second->getLabel() == 1001 && Tet3::runningLabel == 1002 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

// The facet and edge tables, and the Facet3 and Edge3 handles built on them, against the corner
// orientation: each facet's cycle seen from outside, each edge's source and target from its facet.
TEST(Tet3Records, FacetAndEdgeTablesAgreeWithTheCornerOrientation)
{
    UnitCorners u;
    const auto orientation = [&u](int p, int q, int r, int s) {
        return exactOrientSign(*u.tet->getCorner(p), *u.tet->getCorner(q), *u.tet->getCorner(r), *u.tet->getCorner(s));
    };
    for (int i = 0; i < 4; ++i) {
        // Facet3 order: the start corners of the facet's three directed edges.
        int aFacet[3], aCycle[3];
        for (int j = 0; j < 3; ++j) aFacet[j] = Tet3::getEdgeIndices(i, j).first;
        for (int j = 0; j < 3; ++j) EXPECT_EQ(Tet3::getEdgeIndices(i, j).second, aFacet[(j + 1) % 3]) << "facet " << i;
        EXPECT_EQ(orientation(aFacet[0], aFacet[1], aFacet[2], i), 1) << "Facet3 order of facet " << i;
        Tet3::getFacetIndices(i, aCycle[0], aCycle[1], aCycle[2]);
        EXPECT_EQ(orientation(aCycle[0], aCycle[1], aCycle[2], i), -1) << "getFacetIndices order of facet " << i;
        if (i < 3) EXPECT_EQ(Tet3::getEdgeIndices(i, 3), Tet3::getEdgeIndices(i + 1, 0)) << "one flat table, row " << i;
        const Facet3 f = u.tet->getFacet(i);
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(f.getIntraTetIndex(k), aFacet[k]);
            EXPECT_EQ(f.getEdge(k).getTet(), u.tet.get());
            EXPECT_EQ(f.getEdge(k).getOpp3Index(), i);
            EXPECT_EQ(f.getEdge(k).getOpp2Index(), aFacet[k]);
            const Edge3 e(u.tet.get(), i, aCycle[k]);
            EXPECT_EQ(e.getSourceIndex(), aCycle[(k + 1) % 3]) << i << "," << aCycle[k];
            EXPECT_EQ(e.getTargetIndex(), aCycle[(k + 2) % 3]) << i << "," << aCycle[k];
            EXPECT_EQ(e.getSourceVtx(), u.tet->getCorner(e.getSourceIndex()));
            EXPECT_EQ(e.getTargetVtx(), u.tet->getCorner(e.getTargetIndex()));
        }
    }
}

TEST(Tet3Records, CornerAndNeighbourQueriesMatchCornerScans)
{
    GridMesh mesh;
    for (Tet3* pTet : mesh.vTets) {
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(pTet->getIntraTetIndex(pTet->getCorner(i)), i);
            const Point3 twin(*pTet->getCorner(i));
            EXPECT_TRUE(pTet->hasVertex(twin));
            EXPECT_FALSE(pTet->hasVertex(&twin));
            Tet3* pNeighbor = pTet->getOppTet(i);
            EXPECT_EQ(pTet->getOppTet(pTet->getCorner(i)), pNeighbor);
            if (pNeighbor == nullptr) {
                EXPECT_EQ(pTet->getOppVtxInOppTet(i, true), nullptr);
                EXPECT_EQ(pTet->debug_getOppTetIndex(i), -1);
                continue;
            }
            int expectedIndex = -1;
            for (int k = 0; k < 4; ++k)
                if (!cornersWithout(pTet, i).count(pNeighbor->getCorner(k))) expectedIndex = k;
            EXPECT_EQ(pTet->getIntraTetIndex(pNeighbor), i);
            EXPECT_EQ(pTet->getIntraTetIndexInOppTet(i), expectedIndex);
            EXPECT_EQ(pNeighbor->getIntraTetIndexInOppTetForReg(pTet, i), expectedIndex);
            EXPECT_EQ(pTet->getOppVtxInOppTet(i, false), pNeighbor->getCorner(expectedIndex));
            EXPECT_TRUE(Tet3::haveCommonFacet(pTet, i, pNeighbor, expectedIndex));
        }
    }
}

// What a misused record prints before it throws, and the lines of the two diagnostics that only print.
TEST(Tet3Records, FailureReports)
{
    UnitCorners u;
    const std::string dump = streamed(*u.tet.get()), address = streamed(u.tet.get());
    Point3 stranger(5, 5, 5);
    const struct {
        std::function<void()> call;
        std::string start;
    } cases[] = {
        {[&] { u.tet->setProperties(&u.a, &u.b, nullptr, &u.d); }, assertionLine("(pI!=NULL && pJ!=NULL && pK!=NULL && pL!=NULL)")},
        {[&] { u.tet->getOppTet(&stranger); }, assertionLine("aVertexPointer[3]==pp")},
        {[&] { u.tet->getIntraTetIndexInOppTetForReg(u.tet.get(), 4); }, assertionLine("false")},
        {[&] { u.tet->getOppVtxInOppTet(2, false); }, "\n      Tet3::getOppVtxInOppTet, ERROR: no neighbor tet\n" + assertionLine("false")},
        {[&] { u.tet->setOppTet(2, u.tet.get()); },
         "this=" + address + ", pC=" + address + "\n" + dump +
             "\n      Tet3::setOppTet(), ERROR: trying to set *this as neighbor of *this, ith=2\n" + assertionLine("this!=pC")},
        {[&] { u.tet->getEdge(2, 2); }, "\n      Tet3::getEdge(), ERROR: opp3ICI==opp2ICI=2\n" + assertionLine("opp3ICI!=opp2ICI")},
    };
    for (const auto& c : cases) {
        const std::string output = VeskTest::stdoutOf([&] { EXPECT_THROW(c.call(), VeskException); });
        EXPECT_EQ(output.substr(0, c.start.size()), c.start);
    }
    const char* aConditions[4] = {"pd!=p1 && pd!=p2 && pd!=p3", "pd!=p0 && pd!=p2 && pd!=p3", "pd!=p0 && pd!=p1 && pd!=p3",
                                  "pd!=p0 && pd!=p1 && pd!=p2"};
    for (int ith = 0; ith < 4; ++ith) {
        // A degenerate record whose corners all lie on facet ith of the unit tetrahedron.
        int a, b, c;
        Tet3::getFacetIndices(ith, a, b, c);
        RawTet degenerate;
        degenerate->setProperties(u.tet->getCorner(a), u.tet->getCorner(b), u.tet->getCorner(c), u.tet->getCorner(a));
        expectFailedAssertion([&] { degenerate->getIntraTetIndexInOppTetForReg(u.tet.get(), ith); }, aConditions[ith]);
    }
    u.tet->setOppTet(0, u.tet.get() + 1);
    EXPECT_EQ(VeskTest::stdoutOf([&] {
                  EXPECT_EQ(u.tet->debug_getOppTetIndex(0), 0);
                  const Tet3 unexpected;
              }),
              "Tet3::debug_getTetIndex(): Not implemented yet\nTet default constructor (is actually not called)\n");
}

TEST(Tet3Records, FatalInconsistenciesEndTheProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    // Two records on corners of their own: they share no facet.
    UnitCorners first, other;
    // The report goes to standard output; the child sends it to standard error for the matcher.
    const auto withStdoutOnStderr = [](const std::function<void()>& call) {
        std::fflush(stdout);
        dup2(2, 1);
        call();
    };
    EXPECT_EXIT(withStdoutOnStderr([&] { first.tet->getIntraTetIndex(other.tet.get()); }), testing::ExitedWithCode(1),
                "^Tet3::getIntraTetIndex went wrong: Tetrahedron \\(ID=.*, this is Tetrahedron \\(ID=");
    EXPECT_EXIT(withStdoutOnStderr([&] { Tet3::haveCommonFacet(first.tet.get(), 0, other.tet.get(), 3); }), testing::ExitedWithCode(1),
                "^Tet3::haveCommonFacet\\(\\) ERROR\nTetrahedron \\(ID=.*\n\\.\\.\\.with index 0\n1,2,3\nTetrahedron \\(ID=.*");
}

// Shifted, skewed corners: the distances agree to rounding.
TEST(Tet3Records, CircumcenterIsEquidistantFromTheCorners)
{
    UnitCorners u;
    Point3 p0(10.5, -3, 7), p1(13, -2.5, 7.25), p2(9.75, 1, 6.5), p3(11, -1, 12);
    u.tet->setProperties(&p0, &p1, &p2, &p3);
    const Point3 center = u.tet->getCircumcenter();
    const double r0 = (p0 - center).length();
    for (const Point3* p : {&p1, &p2, &p3}) EXPECT_NEAR((*p - center).length(), r0, 1e-12 * r0);
}

TEST(Tet3Records, DumpListsCornersNeighboursAndOrientation)
{
    UnitCorners u;
    u.tet->setOppTet(1, u.tet.get() + 1);
    u.tet->hasBeenVisited = true;
    const Point3* aCorners[4] = {&u.a, &u.b, &u.c, &u.d};
    std::string expected = "Tetrahedron (ID=" + std::to_string(u.tet->getLabel()) + "), (this=" + streamed(u.tet.get()) +
                           "): hasBeenVisited=1, ownOri=ORI3_ORIENTATION3_POSITIVE\n";
    for (int i = 0; i < 4; ++i) {
        const std::string neighborText = i == 1 ? streamed(u.tet.get() + 1) : streamed(static_cast<const void*>(nullptr)) + " (NULL)";
        expected += "ith=" + std::to_string(i) + ", vertex (" + streamed(aCorners[i]) + "): " + streamed(*aCorners[i]) +
                    "  oppTet=" + neighborText + "\n";
    }
    EXPECT_EQ(streamed(*u.tet.get()), expected);
    Point3 inPlane(0.5, 0.5, 0);
    for (const auto& [pD, ownOri] : {std::pair<Point3*, std::string>{&u.d, "ORI3_ORIENTATION3_NEGATIVE"}, {&inPlane, "ORI3_ZERO"}}) {
        u.tet->setProperties(&u.a, &u.c, &u.b, pD);
        const std::string dump = streamed(*u.tet.get());
        EXPECT_NE(dump.substr(0, dump.find('\n')).find(", ownOri=" + ownOri), std::string::npos);
    }
}

TEST(Edge3Handles, EdgesAndFacetsAreEqualExactlyWhenTheirCornersAre)
{
    GridMesh mesh;
    std::vector<Edge3> vEdges;
    for (Tet3* pTet : mesh.vTets)
        for (int opp3 = 0; opp3 < 4; ++opp3)
            for (int opp2 = 0; opp2 < 4; ++opp2)
                if (opp3 != opp2) vEdges.emplace_back(pTet, opp3, opp2);
    for (const Edge3& a : vEdges) {
        for (const Edge3& b : vEdges) {
            const bool bSameEdge = std::set<const Point3*>{a.getSourceVtx(), a.getTargetVtx()} ==
                                   std::set<const Point3*>{b.getSourceVtx(), b.getTargetVtx()};
            ASSERT_EQ(a == b, bSameEdge);
            ASSERT_EQ(a != b, !bSameEdge);
            ASSERT_EQ(!(a < b) && !(b < a), bSameEdge);
        }
    }
    std::vector<Facet3> vFacets;
    for (Tet3* pTet : mesh.vTets)
        for (int i = 0; i < 4; ++i) vFacets.push_back(pTet->getFacet(i));
    for (const Facet3& a : vFacets)
        for (const Facet3& b : vFacets) {
            const bool bSameCorners = cornersWithout(a.getTet(), a.getOpp3Index()) == cornersWithout(b.getTet(), b.getOpp3Index());
            ASSERT_EQ(a == b, bSameCorners);
            ASSERT_EQ(a != b, !bSameCorners);
        }
}

TEST(Edge3Handles, DumpsOfEdgeAndCirculator)
{
    UnitCorners u;
    const Edge3 e(u.tet.get(), 3, 1);
    const std::string expectedEdge = "Edge (pTet" + streamed(u.tet.get()) + "): \nopp3ICI=3, " + streamed(&u.d) +
                                     "\nopp2ICI=1, " + streamed(&u.b) + "\nsrcICI=0, " + streamed(&u.a) + "\ntrgICI=2, " +
                                     streamed(&u.c) + "\n";
    EXPECT_EQ(streamed(e), expectedEdge);
    const std::string rule(35, '-');
    EXPECT_EQ(VeskTest::stdoutOf([&] { TetAroundEdgeIterator(e).debug(); }), rule + "\n# This is a TetAroundEdgeIterator:\n" + expectedEdge + rule + "\n\n");
}

TEST(Circulator, PayloadSlots)
{
    UnitCorners u;
    RawTet other;
    Point3 e(1, 1, 1);
    other->setProperties(&u.b, &u.d, &u.c, &e);
    u.tet->setOppTet(0, other.get());
    other->setOppTet(3, u.tet.get());
    TetAroundEdgeIterator it(u.tet->getEdge(2, 0));
    expectFailedAssertion([&] { it.getPayload(); }, "storedPayload!=NULL");
    expectFailedAssertion([&] { it.getPayloadICI(); }, "storedPayloadICI!=-1");
    it.setPayload(u.tet.get());
    it.setPayloadICI(2);
    expectFailedAssertion([&] { it.setPayload(u.tet.get()); }, "storedPayload==NULL");
    expectFailedAssertion([&] { it.setPayloadICI(1); }, "storedPayloadICI==-1");
    ++it;
    EXPECT_EQ(*it, other.get());
    EXPECT_EQ(it.getPayload(), u.tet.get());
    EXPECT_EQ(it.getPayloadICI(), 2);
    const TetAroundEdgeIterator copy(it);
    EXPECT_EQ(copy, it);
    EXPECT_EQ(copy.getPayload(), u.tet.get());
}
