// The tetrahedron record, its edge and facet handles and the circulator: what the generic driver
// cannot reach, that is the accessors, the index tables, the failure reports and the dumps.
// Meshes come from the engine (the exact checker vouches for them elsewhere); neighbourhood facts
// are found here by scanning corners.
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ExactOracle.h"
#include "InputFamilies.h"
#include <Vesk_3D.h>

using namespace VESK3D;
using VeskTest::exactOrientSign;

namespace {

std::string addressText(const void* p)
{
    std::ostringstream os;
    os << p;
    return os.str();
}

std::string assertionLine(const std::string& condition)
{
    return "\n      Vesk, , ERROR: Condition [ " + condition + " failed ]\n";
}

// Runs a call that must fail a library assertion and returns what it printed.
template <class Call>
std::string outputOfThrowingCall(Call call)
{
    testing::internal::CaptureStdout();
    EXPECT_THROW(call(), VeskException);
    return testing::internal::GetCapturedStdout();
}

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

int permutationParity(const int (&perm)[4])
{
    int inversions = 0;
    for (int i = 0; i < 4; ++i)
        for (int j = i + 1; j < 4; ++j) inversions += perm[i] > perm[j] ? 1 : 0;
    return inversions % 2;
}

// The 3x3x3 grid, shuffled: interior and hull edges of every valence.
struct GridMesh {
    Vesk_3D dt;
    std::vector<Tet3*> vTets;
    GridMesh()
    {
        std::vector<Point3> vPoints = VeskTest::integerGrid(3, 7);
        testing::internal::CaptureStdout();
        dt.insert(vPoints);
        dt.getTetrahedra(vTets);
        testing::internal::GetCapturedStdout();
    }
};

std::vector<Edge3> everyEdgeView(const std::vector<Tet3*>& vTets)
{
    std::vector<Edge3> vEdges;
    for (Tet3* pTet : vTets)
        for (int opp3 = 0; opp3 < 4; ++opp3)
            for (int opp2 = 0; opp2 < 4; ++opp2)
                if (opp3 != opp2) vEdges.emplace_back(pTet, opp3, opp2);
    return vEdges;
}

std::set<const Point3*> cornersWithout(const Tet3* pTet, int opp)
{
    std::set<const Point3*> corners;
    for (int i = 0; i < 4; ++i)
        if (i != opp) corners.insert(pTet->getCorner(i));
    return corners;
}

} // namespace

TEST(Tet3Records, FirstLabelOfAFreshProcessIs1000)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    // The threadsafe style re-executes the program, so the child starts with the initial counter.
    EXPECT_EXIT(
        {
            UnitCorners u;
            std::exit(u.tet->getLabel() == 1000 && Tet3::runningLabel == 1001 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(Tet3Records, SetPropertiesInitialisesEveryFieldAndRejectsANullCorner)
{
    UnitCorners u;
    RawTet second;
    second->setProperties(&u.d, &u.c, &u.b, &u.a);
    EXPECT_EQ(second->getLabel(), u.tet->getLabel() + 1);
    // Dirty the record, then recycle it: everything but the label sequence starts afresh.
    u.tet->hasBeenVisited = true;
    u.tet->setCustomIndex(7);
    u.tet->setOppTet(2, second.get());
    Point3 e(2, 2, 2);
    u.tet->setProperties(&e, &u.a, &u.b, &u.c);
    EXPECT_EQ(u.tet->getLabel(), second->getLabel() + 1);
    EXPECT_FALSE(u.tet->hasBeenVisited);
    EXPECT_EQ(u.tet->getCustomIndex(), -1);
    Point3* aExpected[4] = {&e, &u.a, &u.b, &u.c};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(u.tet->getCorner(i), aExpected[i]);
        EXPECT_EQ(aExpected[i]->getOneTet(), u.tet.get());
        EXPECT_EQ(u.tet->getOppTet(i), nullptr);
    }
    EXPECT_EQ(u.d.getOneTet(), second.get());
    const std::string out = outputOfThrowingCall([&] { u.tet->setProperties(&u.a, &u.b, nullptr, &u.d); });
    EXPECT_NE(out.find(assertionLine("(pI!=NULL && pJ!=NULL && pK!=NULL && pL!=NULL)")), std::string::npos) << out;
}

TEST(Tet3Records, DefaultConstructionAndAssignment)
{
    testing::internal::CaptureStdout();
    const int labelBefore = Tet3::runningLabel;
    Tet3 fresh;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Tet default constructor (is actually not called)\n");
    EXPECT_EQ(fresh.getLabel(), labelBefore);
    EXPECT_EQ(fresh.getCustomIndex(), -1);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(fresh.getCorner(i), nullptr);
    UnitCorners u;
    u.tet->setOppTet(1, u.tet.get() + 1);
    u.tet->setCustomIndex(42);
    fresh = *u.tet.get();
    EXPECT_EQ(fresh.getLabel(), u.tet->getLabel());
    EXPECT_EQ(fresh.getCustomIndex(), 42);
    EXPECT_EQ(fresh.getOppTet(1), u.tet.get() + 1);
    EXPECT_EQ(fresh.getCorner(3), &u.d);
}

TEST(Tet3Records, FacetAndEdgeTablesAgreeWithTheCornerOrientation)
{
    for (int i = 0; i < 4; ++i) {
        // Facet3 order: the start corners of the facet's three directed edges.
        int aFacet[3];
        for (int j = 0; j < 3; ++j) aFacet[j] = Tet3::getEdgeIndices(i, j).first;
        for (int j = 0; j < 3; ++j) EXPECT_EQ(Tet3::getEdgeIndices(i, j).second, aFacet[(j + 1) % 3]) << "facet " << i;
        const int aWithOpposite[4] = {aFacet[0], aFacet[1], aFacet[2], i};
        EXPECT_EQ(permutationParity(aWithOpposite), 0) << "Facet3 order of facet " << i;
        int a, b, c;
        Tet3::getFacetIndices(i, a, b, c);
        const int aReverse[4] = {a, b, c, i};
        EXPECT_EQ(permutationParity(aReverse), 1) << "getFacetIndices order of facet " << i;
        EXPECT_EQ(std::set<int>({a, b, c}), std::set<int>({aFacet[0], aFacet[1], aFacet[2]}));
        if (i < 3) EXPECT_EQ(Tet3::getEdgeIndices(i, 3), Tet3::getEdgeIndices(i + 1, 0)) << "one flat table, row " << i;
    }
}

TEST(Tet3Records, CornerQueries)
{
    UnitCorners u;
    Point3* aCorners[4] = {&u.a, &u.b, &u.c, &u.d};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(u.tet->getIntraTetIndex(aCorners[i]), i);
        const Point3 twin(*aCorners[i]);
        EXPECT_TRUE(u.tet->hasVertex(twin));
        EXPECT_FALSE(u.tet->hasVertex(&twin));
    }
    EXPECT_FALSE(u.tet->hasVertex(Point3(1, 1, 1)));
    Point3 moved(5, 5, 5);
    u.tet->setCorner(2, &moved);
    EXPECT_EQ(u.tet->getCorner(2), &moved);
    EXPECT_EQ(moved.getOneTet(), nullptr);
    const std::string out = outputOfThrowingCall([&] { u.tet->getOppTet(&u.c); });
    EXPECT_NE(out.find(assertionLine("aVertexPointer[3]==pp")), std::string::npos) << out;
}

TEST(Tet3Records, NeighbourQueriesMatchCornerScans)
{
    GridMesh mesh;
    for (Tet3* pTet : mesh.vTets) {
        for (int i = 0; i < 4; ++i) {
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

TEST(Tet3Records, FailureReports)
{
    UnitCorners u;
    Point3* aCorners[4] = {&u.a, &u.b, &u.c, &u.d};
    const char* aConditions[4] = {"pd!=p1 && pd!=p2 && pd!=p3", "pd!=p0 && pd!=p2 && pd!=p3", "pd!=p0 && pd!=p1 && pd!=p3",
                                  "pd!=p0 && pd!=p1 && pd!=p2"};
    for (int ith = 0; ith < 4; ++ith) {
        // A degenerate record whose corners all lie on facet ith of the unit tetrahedron.
        std::vector<Point3*> vOnFacet;
        for (int k = 0; k < 4; ++k)
            if (k != ith) vOnFacet.push_back(aCorners[k]);
        RawTet degenerate;
        degenerate->setProperties(vOnFacet[0], vOnFacet[1], vOnFacet[2], vOnFacet[0]);
        const std::string out = outputOfThrowingCall([&] { degenerate->getIntraTetIndexInOppTetForReg(u.tet.get(), ith); });
        EXPECT_NE(out.find(assertionLine(aConditions[ith])), std::string::npos) << out;
    }
    std::ostringstream dump;
    dump << *u.tet.get();
    const std::string address = addressText(u.tet.get());
    const struct {
        std::function<void()> call;
        std::string start;
    } cases[] = {
        {[&] { u.tet->getIntraTetIndexInOppTetForReg(u.tet.get(), 4); }, "\n      Vesk, , ERROR: Condition [ false failed ]\n"},
        {[&] { u.tet->getOppVtxInOppTet(2, false); }, "\n      Tet3::getOppVtxInOppTet, ERROR: no neighbor tet\n" + assertionLine("false")},
        {[&] { u.tet->setOppTet(2, u.tet.get()); },
         "this=" + address + ", pC=" + address + "\n" + dump.str() +
             "\n      Tet3::setOppTet(), ERROR: trying to set *this as neighbor of *this, ith=2\n" + assertionLine("this!=pC")},
        {[&] { u.tet->getEdge(2, 2); }, "\n      Tet3::getEdge(), ERROR: opp3ICI==opp2ICI=2\n" + assertionLine("opp3ICI!=opp2ICI")},
    };
    for (const auto& c : cases) EXPECT_EQ(outputOfThrowingCall(c.call).substr(0, c.start.size()), c.start);
    u.tet->setOppTet(0, u.tet.get() + 1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(u.tet->debug_getOppTetIndex(0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Tet3::debug_getTetIndex(): Not implemented yet\n");
}

TEST(Tet3Records, FatalInconsistenciesEndTheProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    GridMesh mesh;
    // Two tetrahedra of the mesh that share no facet.
    Tet3* pFirst = mesh.vTets[0];
    Tet3* pOther = nullptr;
    for (Tet3* pTet : mesh.vTets)
        if (pTet != pFirst && pFirst->getOppTet(0) != pTet && pFirst->getOppTet(1) != pTet && pFirst->getOppTet(2) != pTet &&
            pFirst->getOppTet(3) != pTet)
            pOther = pTet;
    const auto stdoutToStderr = [] {
        std::fflush(stdout);
        dup2(2, 1);
    };
    EXPECT_EXIT(
        {
            stdoutToStderr();
            pFirst->getIntraTetIndex(pOther);
        },
        testing::ExitedWithCode(1), "^Tet3::getIntraTetIndex went wrong: Tetrahedron \\(ID=.*, this is Tetrahedron \\(ID=");
    EXPECT_EXIT(
        {
            stdoutToStderr();
            Tet3::haveCommonFacet(pFirst, 0, pOther, 3);
        },
        testing::ExitedWithCode(1), "^Tet3::haveCommonFacet\\(\\) ERROR\nTetrahedron \\(ID=.*\n\\.\\.\\.with index 0\n1,2,3\nTetrahedron \\(ID=.*");
}

TEST(Tet3Records, Circumcenter)
{
    UnitCorners u;
    EXPECT_EQ(u.tet->getCircumcenter(), Point3(0.5, 0.5, 0.5));
    // Shifted, skewed corners: the distances agree to rounding.
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
    const std::string aCoordinates[4] = {"       0,        0,        0", "       1,        0,        0", "       0,        1,        0",
                                         "       0,        0,        1"};
    const Point3* aCorners[4] = {&u.a, &u.b, &u.c, &u.d};
    std::string expected = "Tetrahedron (ID=" + std::to_string(u.tet->getLabel()) + "), (this=" + addressText(u.tet.get()) +
                           "): hasBeenVisited=1, ownOri=ORI3_ORIENTATION3_POSITIVE\n";
    for (int i = 0; i < 4; ++i) {
        const std::string neighborText = i == 1 ? addressText(u.tet.get() + 1) : addressText(nullptr) + " (NULL)";
        expected += "ith=" + std::to_string(i) + ", vertex (" + addressText(aCorners[i]) + "): " + addressText(aCorners[i]) + "\t" +
                    aCoordinates[i] + "  oppTet=" + neighborText + "\n";
    }
    std::ostringstream os;
    os << *u.tet.get();
    EXPECT_EQ(os.str(), expected);
    const auto headLine = [](Tet3* pTet) {
        std::ostringstream dump;
        dump << *pTet;
        return dump.str().substr(0, dump.str().find('\n'));
    };
    u.tet->setProperties(&u.a, &u.c, &u.b, &u.d);
    EXPECT_NE(headLine(u.tet.get()).find(", ownOri=ORI3_ORIENTATION3_NEGATIVE"), std::string::npos);
    Point3 inPlane(0.5, 0.5, 0);
    u.tet->setProperties(&u.a, &u.b, &u.c, &inPlane);
    EXPECT_NE(headLine(u.tet.get()).find(", ownOri=ORI3_ZERO"), std::string::npos);
}

TEST(Edge3Handles, SourceAndTargetFollowTheFacetCycleAgainstTheOrientation)
{
    UnitCorners u;
    for (int opp3 = 0; opp3 < 4; ++opp3) {
        int aCycle[3];
        Tet3::getFacetIndices(opp3, aCycle[0], aCycle[1], aCycle[2]);
        for (int k = 0; k < 3; ++k) {
            const Edge3 e(u.tet.get(), opp3, aCycle[k]);
            EXPECT_EQ(e.getSourceIndex(), aCycle[(k + 1) % 3]) << opp3 << "," << aCycle[k];
            EXPECT_EQ(e.getTargetIndex(), aCycle[(k + 2) % 3]) << opp3 << "," << aCycle[k];
            EXPECT_EQ(e.getSourceVtx(), u.tet->getCorner(e.getSourceIndex()));
            EXPECT_EQ(e.getTargetVtx(), u.tet->getCorner(e.getTargetIndex()));
            // (opp2, source, target) runs reversed to the tetrahedron, so opp3 lies on the negative side.
            EXPECT_EQ(exactOrientSign(*u.tet->getCorner(e.getOpp2Index()), *e.getSourceVtx(), *e.getTargetVtx(),
                                      *u.tet->getCorner(opp3)),
                      -1);
        }
    }
    const Edge3 none;
    EXPECT_EQ(none.getSourceIndex(), -99);
    EXPECT_EQ(none.getTargetIndex(), -99);
}

TEST(Edge3Handles, EdgesAndFacetsAreEqualExactlyWhenTheirCornersAre)
{
    GridMesh mesh;
    const std::vector<Edge3> vEdges = everyEdgeView(mesh.vTets);
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

TEST(Edge3Handles, FacetCornersAndEdges)
{
    const int aFacet3Order[4][3] = {{1, 3, 2}, {0, 2, 3}, {0, 3, 1}, {0, 1, 2}};
    UnitCorners u;
    for (int opp3 = 0; opp3 < 4; ++opp3) {
        const Facet3 f = u.tet->getFacet(opp3);
        for (int ith = 0; ith < 3; ++ith) {
            EXPECT_EQ(f.getIntraTetIndex(ith), aFacet3Order[opp3][ith]);
            const Edge3 e = f.getEdge(ith);
            EXPECT_EQ(e.getTet(), u.tet.get());
            EXPECT_EQ(e.getOpp3Index(), opp3);
            EXPECT_EQ(e.getOpp2Index(), aFacet3Order[opp3][ith]);
        }
    }
}

TEST(Edge3Handles, DumpsOfEdgeAndCirculator)
{
    UnitCorners u;
    const Edge3 e(u.tet.get(), 3, 1);
    const std::string expectedEdge = "Edge (pTet" + addressText(u.tet.get()) + "): \nopp3ICI=3, " + addressText(&u.d) +
                                     "\nopp2ICI=1, " + addressText(&u.b) + "\nsrcICI=0, " + addressText(&u.a) + "\ntrgICI=2, " +
                                     addressText(&u.c) + "\n";
    std::ostringstream os;
    os << e;
    EXPECT_EQ(os.str(), expectedEdge);
    const std::string rule(35, '-');
    testing::internal::CaptureStdout();
    TetAroundEdgeIterator(e).debug();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), rule + "\n# This is a TetAroundEdgeIterator:\n" + expectedEdge + rule + "\n\n");
}

// Each step stays on the edge and turns one way: the corner just left behind becomes the new opp2.
TEST(Circulator, EveryStepTurnsTheSameWayAroundItsEdge)
{
    GridMesh mesh;
    for (const Edge3& start : everyEdgeView(mesh.vTets)) {
        TetAroundEdgeIterator it(start);
        for (size_t steps = 0; steps < mesh.vTets.size() && !it.nextIsNull(); ++steps) {
            Tet3* pExpectedNext = it.previewNextTet();
            const Point3* pOldOpp3 = (*it)->getCorner(it.getOpp3Index());
            ++it;
            ASSERT_EQ(*it, pExpectedNext);
            ASSERT_EQ(it.getEdge(), start) << "the circulator left its edge";
            ASSERT_EQ((*it)->getCorner(it.getOpp2Index()), pOldOpp3);
            if (it == TetAroundEdgeIterator(start)) break;
        }
    }
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
    const auto failureText = [](auto call) { return outputOfThrowingCall(call); };
    EXPECT_NE(failureText([&] { it.getPayload(); }).find("Condition [ storedPayload!=NULL failed ]"), std::string::npos);
    EXPECT_NE(failureText([&] { it.getPayloadICI(); }).find("Condition [ storedPayloadICI!=-1 failed ]"), std::string::npos);
    it.setPayload(u.tet.get());
    it.setPayloadICI(2);
    EXPECT_NE(failureText([&] { it.setPayload(u.tet.get()); }).find("Condition [ storedPayload==NULL failed ]"), std::string::npos);
    EXPECT_NE(failureText([&] { it.setPayloadICI(1); }).find("Condition [ storedPayloadICI==-1 failed ]"), std::string::npos);
    ++it;
    EXPECT_EQ(*it, other.get());
    EXPECT_EQ(it.getPayload(), u.tet.get());
    EXPECT_EQ(it.getPayloadICI(), 2);
    const TetAroundEdgeIterator copy(it);
    EXPECT_EQ(copy, it);
    EXPECT_EQ(copy.getPayload(), u.tet.get());
}
