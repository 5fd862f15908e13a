#include <cmath>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ExactOracle.h"
#include "HandBuiltMesh.h"
#include <Vesk_3D.h>

using namespace VESK3D;
using VeskTest::exactOrientSign;
using VeskTest::facetContains;
using VeskTest::HandBuiltMesh;

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

// Death-test children print their last words to standard output; route them where gtest looks.
void stdoutToStderr()
{
    std::fflush(stdout);
    dup2(2, 1);
}

// Raw storage initialised the way the engine's pool does it.
struct RawTet {
    alignas(Tet3) unsigned char storage[sizeof(Tet3)];
    Tet3* operator->() { return reinterpret_cast<Tet3*>(storage); }
    Tet3* get() { return reinterpret_cast<Tet3*>(storage); }
};

struct UnitCorners {
    Point3 a{0, 0, 0}, b{1, 0, 0}, c{0, 1, 0}, d{0, 0, 1};
};

int permutationParity(const int (&perm)[4])
{
    int inversions = 0;
    for (int i = 0; i < 4; ++i)
        for (int j = i + 1; j < 4; ++j) inversions += perm[i] > perm[j] ? 1 : 0;
    return inversions % 2;
}

} // namespace

TEST(Tet3Test, FirstLabelOfAFreshProcessIs1000)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    // The threadsafe style re-executes the program, so the child starts with the initial counter.
    EXPECT_EXIT(
        {
            UnitCorners u;
            RawTet tet;
            tet->setProperties(&u.a, &u.b, &u.c, &u.d);
            std::exit(tet->getLabel() == 1000 && Tet3::runningLabel == 1001 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(Tet3Test, SetPropertiesInitialisesEveryField)
{
    UnitCorners u;
    RawTet first, second;
    first->setProperties(&u.a, &u.b, &u.c, &u.d);
    second->setProperties(&u.d, &u.c, &u.b, &u.a);
    EXPECT_EQ(second->getLabel(), first->getLabel() + 1);
    EXPECT_EQ(Tet3::runningLabel, second->getLabel() + 1);

    // Dirty the record, then recycle it: everything but the label sequence starts afresh.
    first->hasBeenVisited = true;
    first->setCustomIndex(7);
    first->setOppTet(2, second.get());
    Point3 e(2, 2, 2);
    first->setProperties(&e, &u.a, &u.b, &u.c);
    EXPECT_EQ(first->getLabel(), second->getLabel() + 1);
    EXPECT_FALSE(first->hasBeenVisited);
    EXPECT_EQ(first->getCustomIndex(), -1);
    Point3* aExpected[4] = {&e, &u.a, &u.b, &u.c};
    Point3 *p0, *p1, *p2, *p3;
    first->getCorners(p0, p1, p2, p3);
    Point3* aGot[4] = {p0, p1, p2, p3};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(first->getCorner(i), aExpected[i]);
        EXPECT_EQ(aGot[i], aExpected[i]);
        EXPECT_EQ(aExpected[i]->getOneTet(), first.get());
        EXPECT_EQ(first->getOppTet(i), nullptr);
    }
    EXPECT_EQ(u.d.getOneTet(), second.get());
}

TEST(Tet3Test, SetPropertiesRejectsANullCorner)
{
    UnitCorners u;
    RawTet tet;
    const std::string out = outputOfThrowingCall([&] { tet->setProperties(&u.a, &u.b, nullptr, &u.d); });
    EXPECT_NE(out.find(assertionLine("(pI!=NULL && pJ!=NULL && pK!=NULL && pL!=NULL)")), std::string::npos) << out;
}

TEST(Tet3Test, DefaultConstructionAndAssignment)
{
    testing::internal::CaptureStdout();
    const int labelBefore = Tet3::runningLabel;
    Tet3 fresh;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Tet default constructor (is actually not called)\n");
    EXPECT_EQ(fresh.getLabel(), labelBefore);
    EXPECT_FALSE(fresh.hasBeenVisited);
    EXPECT_EQ(fresh.getCustomIndex(), -1);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(fresh.getCorner(i), nullptr);
        EXPECT_EQ(fresh.getOppTet(i), nullptr);
    }

    UnitCorners u;
    RawTet source, neighbor;
    source->setProperties(&u.a, &u.b, &u.c, &u.d);
    neighbor->setProperties(&u.a, &u.b, &u.c, &u.d);
    source->setOppTet(1, neighbor.get());
    source->setCustomIndex(42);
    source->hasBeenVisited = true;
    fresh = *source.get();
    EXPECT_EQ(fresh.getLabel(), source->getLabel());
    EXPECT_TRUE(fresh.hasBeenVisited);
    EXPECT_EQ(fresh.getCustomIndex(), 42);
    EXPECT_EQ(fresh.getOppTet(1), neighbor.get());
    EXPECT_EQ(fresh.getCorner(3), &u.d);
}

TEST(Tet3Test, FacetOrdersAgreeWithTheCornerOrientation)
{
    for (int i = 0; i < 4; ++i) {
        // Facet3 order: the start corners of the facet's three directed edges.
        int aFacet[3];
        for (int j = 0; j < 3; ++j) aFacet[j] = Tet3::getEdgeIndices(i, j).first;
        for (int j = 0; j < 3; ++j) {
            EXPECT_EQ(Tet3::getEdgeIndices(i, j).second, aFacet[(j + 1) % 3]) << "edges must chain around facet " << i;
            EXPECT_NE(aFacet[j], i);
        }
        const int aWithOpposite[4] = {aFacet[0], aFacet[1], aFacet[2], i};
        EXPECT_EQ(permutationParity(aWithOpposite), 0) << "Facet3 order of facet " << i;

        int a, b, c;
        Tet3::getFacetIndices(i, a, b, c);
        const int aReverse[4] = {a, b, c, i};
        EXPECT_EQ(permutationParity(aReverse), 1) << "getFacetIndices order of facet " << i;
        EXPECT_EQ(std::set<int>({a, b, c}), std::set<int>({aFacet[0], aFacet[1], aFacet[2]}));
        if (i < 3) EXPECT_EQ(Tet3::getEdgeIndices(i, 3), Tet3::getEdgeIndices(i + 1, 0)) << "one flat table, row " << i;
    }
    int a, b, c;
    Tet3::getFacetIndices(3, a, b, c);
    EXPECT_EQ(std::make_tuple(a, b, c), std::make_tuple(0, 2, 1));
    EXPECT_EQ(Tet3::getEdgeIndices(2, 1), std::make_pair(3, 1));
}

TEST(Tet3Test, Facet3OrderSeesTheOppositeCornerOnThePositiveSide)
{
    const auto pMesh = HandBuiltMesh::cubeGrid(1);
    for (Tet3* pTet : pMesh->tets()) {
        for (int i = 0; i < 4; ++i) {
            const Point3& p0 = *pTet->getCorner(Tet3::getEdgeIndices(i, 0).first);
            const Point3& p1 = *pTet->getCorner(Tet3::getEdgeIndices(i, 1).first);
            const Point3& p2 = *pTet->getCorner(Tet3::getEdgeIndices(i, 2).first);
            EXPECT_EQ(exactOrientSign(p0, p1, p2, *pTet->getCorner(i)), 1);
        }
    }
}

TEST(Tet3Test, CornerQueries)
{
    UnitCorners u;
    RawTet tet, other;
    tet->setProperties(&u.a, &u.b, &u.c, &u.d);
    other->setProperties(&u.d, &u.c, &u.b, &u.a);
    Point3* aCorners[4] = {&u.a, &u.b, &u.c, &u.d};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(tet->getIntraTetIndex(aCorners[i]), i);
        EXPECT_TRUE(tet->hasVertex(aCorners[i]));
        const Point3 twin(*aCorners[i]);
        EXPECT_TRUE(tet->hasVertex(twin));
        EXPECT_FALSE(tet->hasVertex(&twin));
    }
    EXPECT_FALSE(tet->hasVertex(Point3(1, 1, 1)));

    Point3 moved(5, 5, 5);
    tet->setCorner(2, &moved);
    EXPECT_EQ(tet->getCorner(2), &moved);
    EXPECT_EQ(moved.getOneTet(), nullptr);

    const std::string out = outputOfThrowingCall([&] { tet->getIntraTetIndex(&u.c); });
    EXPECT_NE(out.find(assertionLine("aVertexPointer[3]==pp")), std::string::npos) << out;
    const std::string outOpp = outputOfThrowingCall([&] { tet->getOppTet(&u.c); });
    EXPECT_NE(outOpp.find(assertionLine("aVertexPointer[3]==pp")), std::string::npos) << outOpp;
}

TEST(Tet3Test, NeighbourQueriesMatchBruteForce)
{
    const auto pMesh = HandBuiltMesh::cubeGrid(2);
    int numInteriorFacets = 0;
    for (Tet3* pTet : pMesh->tets()) {
        for (int i = 0; i < 4; ++i) {
            Tet3* pNeighbor = pTet->getOppTet(i);
            EXPECT_EQ(pTet->getOppTet(pTet->getCorner(i)), pNeighbor);
            if (pNeighbor == nullptr) {
                EXPECT_EQ(pTet->getOppVtxInOppTet(i, true), nullptr);
                EXPECT_EQ(pTet->debug_getOppTetIndex(i), -1);
                EXPECT_EQ(pTet->getIntraTetIndex(static_cast<const Tet3*>(nullptr)), pTet->getIntraTetIndex(pNeighbor));
                continue;
            }
            ++numInteriorFacets;
            // The neighbour's corner off the shared facet, found by scanning its corners.
            int expectedIndex = -1;
            for (int k = 0; k < 4; ++k) {
                if (!facetContains(pTet, i, pNeighbor->getCorner(k))) expectedIndex = k;
            }
            ASSERT_NE(expectedIndex, -1);
            EXPECT_EQ(pTet->getIntraTetIndex(pNeighbor), i);
            EXPECT_EQ(pTet->getIntraTetIndexInOppTet(i), expectedIndex);
            EXPECT_EQ(pNeighbor->getIntraTetIndexInOppTetForReg(pTet, i), expectedIndex);
            EXPECT_EQ(pTet->getOppVtxInOppTet(i, false), pNeighbor->getCorner(expectedIndex));
            EXPECT_TRUE(Tet3::haveCommonFacet(pTet, i, pNeighbor, expectedIndex));
        }
    }
    // 8 cubes x 6 tetrahedra: 48 x 4 facets, of which the 6 x 4 x 2 on the block's boundary are single.
    EXPECT_EQ(numInteriorFacets, 48 * 4 - 48);
}

TEST(Tet3Test, RegistrationLookupReportsEachFacetByItsOwnCondition)
{
    UnitCorners u;
    Point3* aCorners[4] = {&u.a, &u.b, &u.c, &u.d};
    const char* aConditions[4] = {"pd!=p1 && pd!=p2 && pd!=p3", "pd!=p0 && pd!=p2 && pd!=p3",
                                  "pd!=p0 && pd!=p1 && pd!=p3", "pd!=p0 && pd!=p1 && pd!=p2"};
    RawTet tet;
    tet->setProperties(&u.a, &u.b, &u.c, &u.d);
    for (int ith = 0; ith < 4; ++ith) {
        // A degenerate record whose corners all lie on facet ith of tet.
        Point3* aOnFacet[3];
        int n = 0;
        for (int k = 0; k < 4; ++k) {
            if (k != ith) aOnFacet[n++] = aCorners[k];
        }
        RawTet degenerate;
        degenerate->setProperties(aOnFacet[0], aOnFacet[1], aOnFacet[2], aOnFacet[0]);
        const std::string out = outputOfThrowingCall([&] { degenerate->getIntraTetIndexInOppTetForReg(tet.get(), ith); });
        EXPECT_NE(out.find(assertionLine(aConditions[ith])), std::string::npos) << out;
    }
    const std::string out = outputOfThrowingCall([&] { tet->getIntraTetIndexInOppTetForReg(tet.get(), 4); });
    EXPECT_NE(out.find(assertionLine("false")), std::string::npos) << out;
}

TEST(Tet3Test, MissingNeighbourReports)
{
    UnitCorners u;
    RawTet tet, other;
    tet->setProperties(&u.a, &u.b, &u.c, &u.d);
    other->setProperties(&u.a, &u.b, &u.c, &u.d);

    testing::internal::CaptureStdout();
    EXPECT_EQ(tet->getOppVtxInOppTet(2, true), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    const std::string out = outputOfThrowingCall([&] { tet->getOppVtxInOppTet(2, false); });
    EXPECT_EQ(out.find("\n      Tet3::getOppVtxInOppTet, ERROR: no neighbor tet\n"), 0u) << out;
    EXPECT_NE(out.find(assertionLine("false")), std::string::npos) << out;

    tet->setOppTet(0, other.get());
    testing::internal::CaptureStdout();
    EXPECT_EQ(tet->debug_getOppTetIndex(0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Tet3::debug_getTetIndex(): Not implemented yet\n");
}

TEST(Tet3Test, SelfNeighbourIsRefusedWithItsReport)
{
    UnitCorners u;
    RawTet tet;
    tet->setProperties(&u.a, &u.b, &u.c, &u.d);
    std::ostringstream dump;
    dump << *tet.get();
    const std::string address = addressText(tet.get());
    const std::string out = outputOfThrowingCall([&] { tet->setOppTet(2, tet.get()); });
    const std::string expectedStart = "this=" + address + ", pC=" + address + "\n" + dump.str() +
                                      "\n      Tet3::setOppTet(), ERROR: trying to set *this as neighbor of *this, ith=2\n" +
                                      assertionLine("this!=pC");
    EXPECT_EQ(out.substr(0, expectedStart.size()), expectedStart);
}

TEST(Tet3Test, EqualEdgeIndicesAreRefused)
{
    UnitCorners u;
    RawTet tet;
    tet->setProperties(&u.a, &u.b, &u.c, &u.d);
    const std::string out = outputOfThrowingCall([&] { tet->getEdge(2, 2); });
    EXPECT_EQ(out.find("\n      Tet3::getEdge(), ERROR: opp3ICI==opp2ICI=2\n" + assertionLine("opp3ICI!=opp2ICI")), 0u) << out;
}

TEST(Tet3Test, FatalInconsistenciesEndTheProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto pMesh = HandBuiltMesh::fan(4);
    const std::vector<Tet3*> vTets = pMesh->tets();
    Tet3* pFirst = vTets[0];
    Tet3* pOpposite = vTets[2]; // shares only the fan's axis with the first one
    EXPECT_EXIT(
        {
            stdoutToStderr();
            pFirst->getIntraTetIndex(pOpposite);
        },
        testing::ExitedWithCode(1), "^Tet3::getIntraTetIndex went wrong: Tetrahedron \\(ID=.*, this is Tetrahedron \\(ID=");
    EXPECT_EXIT(
        {
            stdoutToStderr();
            Tet3::haveCommonFacet(pFirst, 0, pOpposite, 3);
        },
        testing::ExitedWithCode(1),
        "^Tet3::haveCommonFacet\\(\\) ERROR\nTetrahedron \\(ID=.*\n\\.\\.\\.with index 0\n1,2,3\nTetrahedron \\(ID=.*\n\\.\\.\\.with index 3\n0,2,1\n$");
}

TEST(Tet3Test, IndexPreconditionsUseThePlatformAssertion)
{
#ifdef NDEBUG
    GTEST_SKIP() << "index ranges are checked in builds with standard assertions only";
#endif
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    UnitCorners u;
    RawTet tet;
    tet->setProperties(&u.a, &u.b, &u.c, &u.d);
    EXPECT_DEATH(tet->getCorner(4), "range03\\(ith\\)");
    EXPECT_DEATH(tet->getOppTet(-1), "range03\\(ith\\)");
    EXPECT_DEATH(tet->setCorner(4, &u.a), "range03\\(ith\\)");
    int a, b, c;
    EXPECT_DEATH(Tet3::getFacetIndices(4, a, b, c), "range03\\(opp3\\)");
}

TEST(Tet3Test, CircumcenterIsEquidistantFromTheCorners)
{
    UnitCorners u;
    RawTet tet;
    tet->setProperties(&u.a, &u.b, &u.c, &u.d);
    const Point3 center = tet->getCircumcenter();
    EXPECT_EQ(center, Point3(0.5, 0.5, 0.5));
    EXPECT_EQ(center.getOneTet(), nullptr);
    EXPECT_EQ(center.getCustomIndex(), -1);

    // Shifted, skewed corners: the distances agree to rounding.
    Point3 p0(10.5, -3, 7), p1(13, -2.5, 7.25), p2(9.75, 1, 6.5), p3(11, -1, 12);
    tet->setProperties(&p0, &p1, &p2, &p3);
    const Point3 skewCenter = tet->getCircumcenter();
    const double r0 = (p0 - skewCenter).length();
    for (const Point3* p : {&p1, &p2, &p3}) EXPECT_NEAR((*p - skewCenter).length(), r0, 1e-12 * r0);

    Point3 flat(1, 1, 0);
    tet->setProperties(&u.a, &u.b, &u.c, &flat);
    const Point3 nowhere = tet->getCircumcenter();
    EXPECT_FALSE(std::isfinite(nowhere.x()) && std::isfinite(nowhere.y()) && std::isfinite(nowhere.z()));
}

TEST(Tet3Test, DumpListsCornersNeighboursAndOrientation)
{
    UnitCorners u;
    RawTet tet, neighbor;
    tet->setProperties(&u.a, &u.b, &u.c, &u.d);
    neighbor->setProperties(&u.a, &u.b, &u.c, &u.d);
    tet->setOppTet(1, neighbor.get());
    tet->hasBeenVisited = true;
    const std::string aCoordinates[4] = {"       0,        0,        0", "       1,        0,        0",
                                         "       0,        1,        0", "       0,        0,        1"};
    const Point3* aCorners[4] = {&u.a, &u.b, &u.c, &u.d};
    std::string expected = "Tetrahedron (ID=" + std::to_string(tet->getLabel()) + "), (this=" + addressText(tet.get()) +
                           "): hasBeenVisited=1, ownOri=ORI3_ORIENTATION3_POSITIVE\n";
    for (int i = 0; i < 4; ++i) {
        const std::string neighborText = i == 1 ? addressText(neighbor.get()) : addressText(nullptr) + " (NULL)";
        expected += "ith=" + std::to_string(i) + ", vertex (" + addressText(aCorners[i]) + "): " + addressText(aCorners[i]) +
                    "\t" + aCoordinates[i] + "  oppTet=" + neighborText + "\n";
    }
    std::ostringstream os;
    os << *tet.get();
    EXPECT_EQ(os.str(), expected);

    const auto headLine = [](Tet3* pTet) {
        std::ostringstream dump;
        dump << *pTet;
        return dump.str().substr(0, dump.str().find('\n'));
    };
    tet->setProperties(&u.a, &u.c, &u.b, &u.d);
    EXPECT_NE(headLine(tet.get()).find(", ownOri=ORI3_ORIENTATION3_NEGATIVE"), std::string::npos);
    Point3 inPlane(0.5, 0.5, 0);
    tet->setProperties(&u.a, &u.b, &u.c, &inPlane);
    EXPECT_NE(headLine(tet.get()).find(", ownOri=ORI3_ZERO"), std::string::npos);
}
