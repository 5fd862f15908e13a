#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ExactOracle.h"
#include "HandBuiltMesh.h"
#include <Vesk_3D.h>

using namespace VESK3D;
using VeskTest::exactOrientSign;
using VeskTest::HandBuiltMesh;

namespace {

using EdgeKey = std::pair<const Point3*, const Point3*>;

EdgeKey keyOf(const Point3* p, const Point3* q)
{
    return std::less<const Point3*>()(p, q) ? EdgeKey(p, q) : EdgeKey(q, p);
}

EdgeKey keyOf(const Edge3& e) { return keyOf(e.getSourceVtx(), e.getTargetVtx()); }

std::set<const Point3*> cornersOf(const Facet3& f)
{
    std::set<const Point3*> corners;
    for (int i = 0; i < 4; ++i) {
        if (i != f.getOpp3Index()) corners.insert(f.getTet()->getCorner(i));
    }
    return corners;
}

std::vector<Edge3> everyEdgeView(const std::vector<Tet3*>& vTets)
{
    std::vector<Edge3> vEdges;
    for (Tet3* pTet : vTets)
        for (int opp3 = 0; opp3 < 4; ++opp3)
            for (int opp2 = 0; opp2 < 4; ++opp2)
                if (opp3 != opp2) vEdges.emplace_back(pTet, opp3, opp2);
    return vEdges;
}

// Steps from `start` until the ring closes or the hull is reached; returns the tetrahedra visited
// (start included) and checks every step on the way.
std::vector<Tet3*> circulate(const Edge3& start, bool& bClosed, size_t maxSteps)
{
    const TetAroundEdgeIterator first(start);
    TetAroundEdgeIterator it(first);
    std::vector<Tet3*> vVisited{*it};
    bClosed = false;
    while (vVisited.size() <= maxSteps) {
        if (it.nextIsNull()) return vVisited;
        Tet3* pExpectedNext = it.previewNextTet();
        const Point3* pOldOpp3 = (*it)->getCorner(it.getOpp3Index());
        ++it;
        EXPECT_EQ(*it, pExpectedNext);
        EXPECT_EQ(it.getEdge(), start) << "the circulator left its edge";
        // Turning one way: the corner just left behind becomes the new opp2 corner.
        EXPECT_EQ((*it)->getCorner(it.getOpp2Index()), pOldOpp3);
        if (it == first) {
            bClosed = true;
            return vVisited;
        }
        vVisited.push_back(*it);
    }
    ADD_FAILURE() << "the circulator did not stop";
    return vVisited;
}

} // namespace

TEST(Edge3Test, SourceAndTargetFollowTheFacetCycle)
{
    const auto pMesh = HandBuiltMesh::cubeGrid(1);
    Tet3* pTet = pMesh->tets().front();
    for (int opp3 = 0; opp3 < 4; ++opp3) {
        int aCycle[3];
        Tet3::getFacetIndices(opp3, aCycle[0], aCycle[1], aCycle[2]);
        for (int k = 0; k < 3; ++k) {
            const int opp2 = aCycle[k];
            const Edge3 e(pTet, opp3, opp2);
            EXPECT_EQ(e.getSourceIndex(), aCycle[(k + 1) % 3]) << opp3 << "," << opp2;
            EXPECT_EQ(e.getTargetIndex(), aCycle[(k + 2) % 3]) << opp3 << "," << opp2;
            EXPECT_EQ(e.getSourceVtx(), pTet->getCorner(e.getSourceIndex()));
            EXPECT_EQ(e.getTargetVtx(), pTet->getCorner(e.getTargetIndex()));
        }
    }
    const Edge3 e01(pTet, 0, 1), e10(pTet, 1, 0);
    EXPECT_EQ(std::make_pair(e01.getSourceIndex(), e01.getTargetIndex()), std::make_pair(2, 3));
    EXPECT_EQ(std::make_pair(e10.getSourceIndex(), e10.getTargetIndex()), std::make_pair(3, 2));
    EXPECT_EQ(e01, e10);
    EXPECT_FALSE(e01 < e10 || e10 < e01);

    const Edge3 none;
    EXPECT_EQ(none.getSourceIndex(), -99);
    EXPECT_EQ(none.getTargetIndex(), -99);
}

TEST(Edge3Test, DirectedEdgeRunsAgainstTheTetrahedronOrientation)
{
    // (opp2, source, target) runs reversed to the tetrahedron, so opp3 lies on the negative side.
    const auto pMesh = HandBuiltMesh::cubeGrid(1);
    for (const Edge3& e : everyEdgeView(pMesh->tets())) {
        const Tet3* pTet = e.getTet();
        EXPECT_EQ(exactOrientSign(*pTet->getCorner(e.getOpp2Index()), *e.getSourceVtx(), *e.getTargetVtx(),
                                   *pTet->getCorner(e.getOpp3Index())),
                  -1);
    }
}

TEST(Edge3Test, EqualityAndOrderDependOnTheEndpointsOnly)
{
    const auto pMesh = HandBuiltMesh::cubeGrid(2);
    const std::vector<Edge3> vEdges = everyEdgeView(pMesh->tets());
    for (const Edge3& a : vEdges) {
        for (const Edge3& b : vEdges) {
            const bool bSameEdge = keyOf(a) == keyOf(b);
            ASSERT_EQ(a == b, bSameEdge);
            ASSERT_EQ(a != b, !bSameEdge);
            ASSERT_EQ(!(a < b) && !(b < a), bSameEdge);
        }
    }
    // Euler for a ball: V - E + F - T = 1 with V = 27, T = 48, F = (48 * 4 + 48) / 2 = 120.
    const std::set<Edge3> distinct(vEdges.begin(), vEdges.end());
    EXPECT_EQ(distinct.size(), 98u);
}

TEST(Edge3Test, ConstructorChecksTheIndicesInDebugBuilds)
{
#ifdef NDEBUG
    GTEST_SKIP() << "index ranges are checked in builds with standard assertions only";
#endif
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto pMesh = HandBuiltMesh::cubeGrid(1);
    Tet3* pTet = pMesh->tets().front();
    EXPECT_DEATH(Edge3(pTet, 2, 2), "range03\\(ith\\)");
}

TEST(Edge3Test, Dump)
{
    const auto pMesh = HandBuiltMesh::cubeGrid(1);
    Tet3* pTet = pMesh->tets().back();
    const Edge3 e(pTet, 3, 1);
    const auto address = [pTet](int i) {
        std::ostringstream os;
        os << static_cast<const void*>(pTet->getCorner(i));
        return os.str();
    };
    std::ostringstream tetAddress;
    tetAddress << static_cast<const void*>(pTet);
    const std::string expectedEdge = "Edge (pTet" + tetAddress.str() + "): \nopp3ICI=3, " + address(3) +
                                     "\nopp2ICI=1, " + address(1) + "\nsrcICI=0, " + address(0) + "\ntrgICI=2, " +
                                     address(2) + "\n";
    std::ostringstream os;
    os << e;
    EXPECT_EQ(os.str(), expectedEdge);

    const std::string rule(35, '-');
    testing::internal::CaptureStdout();
    TetAroundEdgeIterator(e).debug();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              rule + "\n# This is a TetAroundEdgeIterator:\n" + expectedEdge + rule + "\n\n");
}

TEST(Facet3Test, CornersAndEdges)
{
    const int aFacet3Order[4][3] = {{1, 3, 2}, {0, 2, 3}, {0, 3, 1}, {0, 1, 2}};
    const auto pMesh = HandBuiltMesh::cubeGrid(1);
    Tet3* pTet = pMesh->tets().front();
    for (int opp3 = 0; opp3 < 4; ++opp3) {
        const Facet3 f = pTet->getFacet(opp3);
        for (int ith = 0; ith < 3; ++ith) {
            EXPECT_EQ(f.getIntraTetIndex(ith), aFacet3Order[opp3][ith]);
            const Edge3 e = f.getEdge(ith);
            EXPECT_EQ(e.getTet(), pTet);
            EXPECT_EQ(e.getOpp3Index(), opp3);
            EXPECT_EQ(e.getOpp2Index(), aFacet3Order[opp3][ith]);
            const std::set<int> ends{e.getSourceIndex(), e.getTargetIndex()};
            EXPECT_EQ(ends, std::set<int>({aFacet3Order[opp3][(ith + 1) % 3], aFacet3Order[opp3][(ith + 2) % 3]}));
        }
    }
}

TEST(Facet3Test, EqualFromBothSidesExactlyWhenTheCornersAgree)
{
    const auto pMesh = HandBuiltMesh::cubeGrid(2);
    std::vector<Facet3> vFacets;
    for (Tet3* pTet : pMesh->tets())
        for (int i = 0; i < 4; ++i) vFacets.push_back(pTet->getFacet(i));
    int numSeenFromTwoSides = 0;
    for (const Facet3& a : vFacets) {
        for (const Facet3& b : vFacets) {
            const bool bSameCorners = cornersOf(a) == cornersOf(b);
            ASSERT_EQ(a == b, bSameCorners);
            ASSERT_EQ(a != b, !bSameCorners);
            if (bSameCorners && a.getTet() != b.getTet()) ++numSeenFromTwoSides;
        }
    }
    EXPECT_EQ(numSeenFromTwoSides, 48 * 4 - 48);
}

TEST(TetAroundEdgeIteratorTest, ClosedFanReturnsAfterOneStepPerTetrahedron)
{
    for (int m = 3; m <= 8; ++m) {
        const auto pMesh = HandBuiltMesh::fan(m);
        const std::vector<Tet3*> vTets = pMesh->tets();
        Tet3* pStart = vTets[m / 2];
        const Edge3 axis(pStart, pStart->getIntraTetIndex(pMesh->point(2 + m / 2)),
                         pStart->getIntraTetIndex(pMesh->point(2 + (m / 2 + 1) % m)));
        ASSERT_EQ(keyOf(axis), keyOf(pMesh->point(0), pMesh->point(1)));
        bool bClosed = false;
        const std::vector<Tet3*> vVisited = circulate(axis, bClosed, 2 * m);
        EXPECT_TRUE(bClosed);
        EXPECT_EQ(vVisited.size(), static_cast<size_t>(m));
        EXPECT_EQ(std::set<Tet3*>(vVisited.begin(), vVisited.end()), std::set<Tet3*>(vTets.begin(), vTets.end()));
    }
}

TEST(TetAroundEdgeIteratorTest, EveryRingOfACubeGridMatchesBruteForce)
{
    const auto pMesh = HandBuiltMesh::cubeGrid(2);
    for (const Edge3& start : everyEdgeView(pMesh->tets())) {
        const std::vector<Tet3*> vRing = pMesh->tetsAroundEdge(start.getSourceVtx(), start.getTargetVtx());
        const std::set<Tet3*> ring(vRing.begin(), vRing.end());
        bool bClosed = false;
        const std::vector<Tet3*> vOneWay = circulate(start, bClosed, vRing.size());
        std::set<Tet3*> covered(vOneWay.begin(), vOneWay.end());
        EXPECT_EQ(covered.size(), vOneWay.size()) << "a tetrahedron was visited twice";
        if (bClosed) {
            EXPECT_EQ(covered, ring);
            continue;
        }
        const Edge3 turned(start.getTet(), start.getOpp2Index(), start.getOpp3Index());
        bool bClosedOtherWay = true;
        const std::vector<Tet3*> vOtherWay = circulate(turned, bClosedOtherWay, vRing.size());
        EXPECT_FALSE(bClosedOtherWay);
        covered.insert(vOtherWay.begin(), vOtherWay.end());
        EXPECT_EQ(covered, ring);
        EXPECT_EQ(vOneWay.size() + vOtherWay.size() - 1, vRing.size());
    }
}

TEST(TetAroundEdgeIteratorTest, PayloadSlots)
{
    const auto pMesh = HandBuiltMesh::fan(3);
    Tet3* pTet = pMesh->tets().front();
    TetAroundEdgeIterator it(pTet->getEdge(2, 3));
    const auto failureText = [](auto call) {
        testing::internal::CaptureStdout();
        EXPECT_THROW(call(), VeskException);
        return testing::internal::GetCapturedStdout();
    };
    EXPECT_NE(failureText([&] { it.getPayload(); }).find("Condition [ storedPayload!=NULL failed ]"), std::string::npos);
    EXPECT_NE(failureText([&] { it.getPayloadICI(); }).find("Condition [ storedPayloadICI!=-1 failed ]"), std::string::npos);

    it.setPayload(pTet);
    it.setPayloadICI(2);
    EXPECT_NE(failureText([&] { it.setPayload(pTet); }).find("Condition [ storedPayload==NULL failed ]"), std::string::npos);
    EXPECT_NE(failureText([&] { it.setPayloadICI(1); }).find("Condition [ storedPayloadICI==-1 failed ]"), std::string::npos);

    ++it;
    EXPECT_NE(*it, pTet);
    EXPECT_EQ(it.getPayload(), pTet);
    EXPECT_EQ(it.getPayloadICI(), 2);

    const TetAroundEdgeIterator copy(it);
    EXPECT_EQ(copy, it);
    EXPECT_EQ(copy.getPayload(), pTet);
    EXPECT_NE(failureText([&] { copy.getPayloadICI(); }).find("Condition [ storedPayloadICI!=-1 failed ]"), std::string::npos);
}
