#include <HC3.h>
#include <Tet3.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <tuple>

using namespace VESK3D;

namespace {

// A tetrahedron record set up the way the engine does it; its corners are scratch points, since
// the tests link tetrahedra to registry vertices by hand.
Tet3* newTet(SimplePool<Tet3>& pool)
{
    static Point3 aCorners[4];
    if (pool.getNumContainers() == 0)
        pool.init(16, -1);
    Tet3* pTet = pool.getNewRecord();
    pTet->setProperties(&aCorners[0], &aCorners[1], &aCorners[2], &aCorners[3]);
    return pTet;
}

std::vector<Point3> coordinatesOf(const std::vector<Point3*>& vVertices)
{
    std::vector<Point3> v;
    for (const Point3* p : vVertices)
        v.push_back(*p);
    return v;
}

std::vector<Point3> registryOrder(const HC3& reg)
{
    std::vector<Point3*> v;
    reg.getVertices(v);
    return coordinatesOf(v);
}

// Box [-2, 6]^3 once widened: half-extent 4 on every axis, cells of 1/64 at the last level.
void registerCubeCorners(HC3& reg)
{
    std::vector<Point3*> vHandles, vNew;
    reg.insert({Point3(0, 0, 0), Point3(4, 4, 4)}, vHandles, vNew);
}

// Expected keys are written in octal, one digit per level, read off the curve tables by hand.
TEST(HC3Keys, HandComputedKeysInACube)
{
    HC3 reg;
    registerCubeCorners(reg);
    EXPECT_EQ(reg.getHilbertIndex(Point3(-2, -2, -2)), 0u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(2, 2, 2)), 0564646464u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(0, 0, 0)), 0056464646u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(4, 4, 4)), 0534646464u);
}

TEST(HC3Keys, UpperFacesAndOutsidePointsFallIntoOutermostCells)
{
    HC3 reg;
    registerCubeCorners(reg);
    EXPECT_EQ(reg.getHilbertIndex(Point3(6, 6, 6)), 0531313131u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(100, 100, 100)), 0531313131u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(-50, -50, -50)), 0u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(6, -2, -2)), 0777777777u);
}

// With y and z flat the y/z offsets are compared against the x half-extent, so they stay in the
// lower half; split at their own (zero) half-extent they would land in the upper half instead.
TEST(HC3Keys, PointsSpreadAlongXOnly)
{
    HC3 reg;
    std::vector<Point3*> vHandles, vNew;
    reg.insert({Point3(4, 0, 0), Point3(0, 0, 0), Point3(2, 0, 0)}, vHandles, vNew);
    EXPECT_EQ(reg.getHilbertIndex(Point3(6, 0, 0)), 0777777777u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(0, 0, 0)), 0032464646u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(2, 0, 0)), 0746464646u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(4, 0, 0)), 0776464646u);
    EXPECT_EQ(registryOrder(reg), (std::vector<Point3>{Point3(0, 0, 0), Point3(2, 0, 0), Point3(4, 0, 0)}));
}

// Walks every cell of a 16^3 grid in a cube: a Hilbert curve visits each cell once and steps
// between face neighbours only, which catches any slip in the curve tables.
TEST(HC3Keys, CurveVisitsEveryCellOnceThroughFaceNeighbours)
{
    HC3 reg;
    std::vector<Point3*> vHandles, vNew;
    reg.insert({Point3(0, 0, 0), Point3(16, 16, 16)}, vHandles, vNew); // widened to [-8, 24]^3
    const int n = 16;
    const int levels = 4;
    std::vector<std::array<int, 3>> vCellAt(n * n * n, {-1, -1, -1});
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            for (int k = 0; k < n; ++k) {
                const double step = 32.0 / n;
                const Point3 center(-8 + (i + 0.5) * step, -8 + (j + 0.5) * step, -8 + (k + 0.5) * step);
                const uint32_t position = reg.getHilbertIndex(center) >> (27 - 3 * levels);
                ASSERT_LT(position, vCellAt.size());
                ASSERT_EQ(vCellAt[position][0], -1) << "cell visited twice";
                vCellAt[position] = {i, j, k};
            }
    EXPECT_EQ(vCellAt.front(), (std::array<int, 3>{0, 0, 0}));
    for (size_t s = 1; s < vCellAt.size(); ++s) {
        int distance = 0;
        for (int axis = 0; axis < 3; ++axis)
            distance += std::abs(vCellAt[s][axis] - vCellAt[s - 1][axis]);
        ASSERT_EQ(distance, 1) << "step " << s;
    }
}

TEST(HC3Registry, OrderFollowsKeysAndIsRecomputedWhenTheBoxGrows)
{
    HC3 reg;
    std::vector<Point3*> vHandles, vNew;
    reg.insert({Point3(2, 2, 2), Point3(0, 0, 0), Point3(4, 4, 4)}, vHandles, vNew);
    EXPECT_EQ(registryOrder(reg), (std::vector<Point3>{Point3(0, 0, 0), Point3(4, 4, 4), Point3(2, 2, 2)}));
    EXPECT_EQ(coordinatesOf(vNew), registryOrder(reg));

    // Box [-2, 12] widened to [-9, 19].
    reg.insert(Point3(12, 12, 12));
    EXPECT_EQ(reg.getHilbertIndex(Point3(0, 0, 0)) >> 18, 056u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(4, 4, 4)) >> 15, 0531u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(2, 2, 2)) >> 15, 0534u);
    EXPECT_EQ(reg.getHilbertIndex(Point3(12, 12, 12)) >> 24, 05u);
    EXPECT_EQ(registryOrder(reg), (std::vector<Point3>{Point3(4, 4, 4), Point3(2, 2, 2), Point3(0, 0, 0),
                                                       Point3(12, 12, 12)}));
    EXPECT_EQ(reg.getNumVertices(), 4u);
}

TEST(HC3Registry, DuplicatesShareOneVertexWithinABatchAndAcrossCalls)
{
    HC3 reg;
    std::vector<Point3*> vHandles, vNew;
    reg.insert({Point3(1, 1, 1), Point3(3, 3, 3), Point3(1, 1, 1), Point3(3, 3, 3), Point3(1, 1, 1)}, vHandles, vNew);
    ASSERT_EQ(vHandles.size(), 5u);
    EXPECT_EQ(vNew.size(), 2u);
    EXPECT_NE(vHandles[0], vHandles[1]);
    EXPECT_EQ(vHandles[0], vHandles[2]);
    EXPECT_EQ(vHandles[0], vHandles[4]);
    EXPECT_EQ(vHandles[1], vHandles[3]);
    EXPECT_EQ(*vHandles[0], Point3(1, 1, 1));
    EXPECT_EQ(*vHandles[1], Point3(3, 3, 3));

    std::vector<Point3*> vHandles2, vNew2;
    reg.insert({Point3(3, 3, 3), Point3(7, 7, 7)}, vHandles2, vNew2);
    EXPECT_EQ(vHandles2[0], vHandles[1]);
    ASSERT_EQ(vNew2.size(), 1u);
    EXPECT_EQ(vNew2[0], vHandles2[1]);

    EXPECT_EQ(reg.insert(Point3(1, 1, 1)).first, vHandles[0]);
    const Point3* pSingle = reg.insert(Point3(5, 5, 5)).first;
    EXPECT_EQ(reg.insert(Point3(5, 5, 5)).first, pSingle);
    EXPECT_EQ(reg.getNumVertices(), 4u);
    EXPECT_EQ(registryOrder(reg).size(), 4u);
}

// Points closer than a cell share one key: the set orders them by coordinates, the list of new
// vertices keeps their input order.
TEST(HC3Registry, EqualKeysKeepInputOrderInTheNewVertexList)
{
    HC3 reg;
    std::vector<Point3> vPoints{Point3(0, 0, 0), Point3(100, 100, 100)};
    for (int k = 5; k >= 0; --k)
        vPoints.push_back(Point3(50.3 + k * 1e-9, 50.3, 50.3 - k * 1e-9));
    std::vector<Point3*> vHandles, vNew;
    reg.insert(vPoints, vHandles, vNew);
    for (size_t i = 3; i < vPoints.size(); ++i)
        ASSERT_EQ(reg.getHilbertIndex(vPoints[i]), reg.getHilbertIndex(vPoints[2]));

    std::vector<Point3> vNewCluster, vSetCluster;
    for (const Point3& p : coordinatesOf(vNew))
        if (p.y() == 50.3)
            vNewCluster.push_back(p);
    for (const Point3& p : registryOrder(reg))
        if (p.y() == 50.3)
            vSetCluster.push_back(p);
    const std::vector<Point3> vInputCluster(vPoints.begin() + 2, vPoints.end());
    EXPECT_EQ(vNewCluster, vInputCluster);
    EXPECT_EQ(vSetCluster, std::vector<Point3>(vInputCluster.rbegin(), vInputCluster.rend()));
}

TEST(HC3Registry, VerticesAreFreshCopiesThatKeepTheCustomIndex)
{
    HC3 reg;
    SimplePool<Tet3> tetPool;
    Point3 p(1, 2, 3);
    p.setCustomIndex(42);
    p.setOneTet(newTet(tetPool));
    Point3* pVtx = reg.insert(p).first;
    EXPECT_NE(pVtx, &p);
    EXPECT_EQ(*pVtx, p);
    EXPECT_EQ(pVtx->getCustomIndex(), 42);
    EXPECT_EQ(pVtx->getOneTet(), nullptr);
}

TEST(HC3Registry, NonEmptyHandleListFailsTheAssertion)
{
    HC3 reg;
    std::vector<Point3*> vHandles(1, nullptr), vNew;
    testing::internal::CaptureStdout();
    EXPECT_THROW(reg.insert({Point3(1, 1, 1)}, vHandles, vNew), VeskException);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("Condition [ vUserHandles.empty() failed ]"),
              std::string::npos);
    EXPECT_TRUE(vNew.empty());
}

TEST(HC3Registry, KeyBeforeAnyRegistrationFailsTheDebugAssertion)
{
#ifdef NDEBUG
    GTEST_SKIP() << "standard assertions are off";
#endif
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            HC3 reg;
            reg.getHilbertIndex(Point3(0, 0, 0));
        },
        "bValid");
}

// Registry order here: (0,0,0), (5,5,5), (4,4,4), (2,2,2) in box [-2, 6]^3.
class HC3Hints : public testing::Test {
protected:
    void SetUp() override
    {
        std::vector<Point3*> vHandles, vNew;
        reg.insert({Point3(0, 0, 0), Point3(4, 4, 4), Point3(2, 2, 2)}, vHandles, vNew);
        p000 = vHandles[0];
        p444 = vHandles[1];
        p222 = vHandles[2];
    }
    HC3 reg;
    SimplePool<Tet3> tetPool;
    Tet3* pT0 = newTet(tetPool);
    Tet3* pT2 = newTet(tetPool);
    Point3* p000 = nullptr;
    Point3* p444 = nullptr;
    Point3* p222 = nullptr;
};

TEST_F(HC3Hints, SingleInsertionHintsComeFromTheCurveNeighbour)
{
    EXPECT_EQ(reg.insert(Point3(5, 5, 5)).second, nullptr); // neighbours without tetrahedra
    p000->setOneTet(pT0);
    p222->setOneTet(pT2);
    const std::pair<Point3*, Tet3*> p555 = reg.insert(Point3(5, 5, 5));
    EXPECT_EQ(p555.second, pT0);
    EXPECT_EQ(reg.insert(Point3(2, 2, 2)), std::make_pair(p222, pT2));
    EXPECT_EQ(reg.insert(Point3(4, 4, 4)), std::make_pair(p444, static_cast<Tet3*>(nullptr)));
    // Key 0 comes first, so its hint is the entry after it.
    EXPECT_EQ(reg.insert(Point3(-2, -2, -2)).second, pT0);
    EXPECT_EQ(registryOrder(reg), (std::vector<Point3>{Point3(-2, -2, -2), Point3(0, 0, 0), Point3(5, 5, 5),
                                                       Point3(4, 4, 4), Point3(2, 2, 2)}));
}

TEST_F(HC3Hints, StartTetSearchesForwardThenBackward)
{
    EXPECT_EQ(reg.getStartTet(Point3(1, 1, 1)), nullptr);
    reg.insert(Point3(5, 5, 5));
    p000->setOneTet(pT0);
    EXPECT_EQ(reg.getStartTet(Point3(5, 3, 3)), pT0);   // beyond the last entry: backward only
    EXPECT_EQ(reg.getStartTet(Point3(-2, -2, -2)), pT0); // before the first entry
    EXPECT_EQ(reg.getStartTet(Point3(5, 5, 5)), pT0);
    p222->setOneTet(pT2);
    EXPECT_EQ(reg.getStartTet(Point3(5, 5, 5)), pT2);
    EXPECT_EQ(reg.getStartTet(Point3(0, 0, 0)), pT0);
}

TEST(HC3Registry, EmptyRegistryHasNoStartTet)
{
    HC3 reg;
    EXPECT_EQ(reg.getStartTet(Point3(1, 2, 3)), nullptr);
    std::vector<Point3*> v;
    reg.getVertices(v);
    EXPECT_TRUE(v.empty());
}

// An independent registry written with a node-based set, straight from the rules: it widens
// its own box, re-keys everything on growth and registers batches in (key, input index) order.
class ReferenceRegistry {
public:
    struct Entry {
        uint32_t key;
        double x, y, z;
    };
    struct Less {
        bool operator()(const Entry& a, const Entry& b) const
        {
            return std::tie(a.key, a.x, a.y, a.z) < std::tie(b.key, b.x, b.y, b.z);
        }
    };
    using Set = std::set<Entry, Less>;

    // Returns whether p is new and the entry whose tetrahedron serves as hint (null if none).
    bool insert(const Point3& p, const Entry*& pNeighbour)
    {
        rekeyIfGrown(box.add(p));
        const auto [it, bNew] = entries.insert(entryOf(p));
        pNeighbour = nullptr;
        if (it != entries.begin())
            pNeighbour = &*std::prev(it);
        else if (std::next(it) != entries.end())
            pNeighbour = &*std::next(it);
        return bNew;
    }

    // Returns the input indices of the points that were new, in registration order.
    std::vector<size_t> insert(const std::vector<Point3>& vPoints)
    {
        rekeyIfGrown(box.add(vPoints));
        std::vector<std::pair<uint32_t, size_t>> vOrder;
        for (size_t i = 0; i < vPoints.size(); ++i)
            vOrder.push_back({entryOf(vPoints[i]).key, i});
        std::sort(vOrder.begin(), vOrder.end());
        std::vector<size_t> vNew;
        for (const auto& keyIndex : vOrder)
            if (entries.insert(entryOf(vPoints[keyIndex.second])).second)
                vNew.push_back(keyIndex.second);
        return vNew;
    }

    const Set& getEntries() const { return entries; }
    uint32_t keyOf(const Point3& p) const { return entryOf(p).key; }

private:
    void rekeyIfGrown(bool bGrew)
    {
        if (!bGrew)
            return;
        box.enlargeBounds(1.0);
        Set rekeyed;
        for (const Entry& e : entries)
            rekeyed.insert(entryOf(Point3(e.x, e.y, e.z)));
        entries.swap(rekeyed);
    }

    Entry entryOf(const Point3& p) const
    {
        static const uint32_t digit[8][12] = {
            {0, 0, 0, 2, 4, 6, 4, 6, 2, 2, 4, 6}, {1, 7, 3, 3, 3, 5, 7, 7, 5, 1, 5, 1},
            {3, 1, 7, 1, 5, 1, 3, 5, 3, 5, 7, 7}, {2, 6, 4, 0, 2, 2, 0, 4, 4, 6, 6, 0},
            {7, 3, 1, 5, 7, 7, 5, 1, 1, 3, 3, 5}, {6, 4, 2, 4, 0, 4, 6, 0, 6, 0, 2, 2},
            {4, 2, 6, 6, 6, 0, 2, 2, 0, 4, 0, 4}, {5, 5, 5, 7, 1, 3, 1, 3, 7, 7, 1, 3}};
        static const uint32_t next[8][12] = {
            {1, 2, 0, 6, 11, 4, 5, 6, 10, 4, 7, 10}, {2, 6, 9, 0, 11, 4, 7, 1, 3, 4, 2, 3},
            {3, 0, 10, 6, 0, 8, 5, 6, 1, 8, 11, 2},  {2, 7, 9, 11, 7, 8, 3, 10, 1, 8, 2, 6},
            {4, 8, 1, 9, 5, 0, 1, 9, 10, 2, 7, 10},  {5, 8, 1, 0, 9, 6, 1, 4, 3, 7, 5, 3},
            {3, 0, 11, 9, 0, 10, 11, 9, 5, 2, 8, 4}, {5, 7, 11, 8, 7, 6, 11, 10, 9, 3, 5, 4}};
        double half[3] = {box.getRangeX() / 2, box.getRangeY() / 2, box.getRangeZ() / 2};
        double d[3] = {p.x() - box.getMinX(), p.y() - box.getMinY(), p.z() - box.getMinZ()};
        uint32_t key = 0, state = 0;
        for (int level = 0; level < 9; ++level) {
            int octant = 0;
            for (int axis = 0; axis < 3; ++axis) {
                const int bit = d[axis] >= half[0] ? 1 : 0;
                d[axis] -= bit * half[axis];
                octant = 2 * octant + bit;
            }
            key = key * 8 + digit[octant][state];
            state = next[octant][state];
            for (double& h : half)
                h /= 2;
        }
        return {key, p.x(), p.y(), p.z()};
    }

    Bbox3 box;
    Set entries;
};

// Drives HC3 and the reference with the same mixed single and batch insertions. Coordinates on a
// coarse lattice give many duplicates; clusters below the cell size give many equal keys.
class HC3AgainstReference : public testing::Test {
protected:
    using Coords = std::tuple<double, double, double>;

    Point3 randomPoint(double spread)
    {
        std::uniform_int_distribution<int> lattice(0, 15);
        std::uniform_int_distribution<int> tiny(0, 3);
        const double step = spread / 15;
        if (rng() % 4 == 0) // a cluster around one lattice point
            return Point3(lattice(rng) * step + tiny(rng) * 1e-9, lattice(rng) * step, tiny(rng) * 1e-9);
        return Point3(lattice(rng) * step, lattice(rng) * step, lattice(rng) * step);
    }

    // A vertex seen before must come back as the same handle; a new one must not.
    void checkHandle(const Point3& p, Point3* pVtx, bool bExpectNew)
    {
        ASSERT_EQ(*pVtx, p);
        const auto [it, bNew] = handles.insert({Coords(p.x(), p.y(), p.z()), pVtx});
        ASSERT_EQ(bNew, bExpectNew);
        ASSERT_EQ(it->second, pVtx);
    }

    Point3* handleOf(const ReferenceRegistry::Entry& e) { return handles.at(Coords(e.x, e.y, e.z)); }

    void insertSingle(const Point3& p)
    {
        const ReferenceRegistry::Entry* pNeighbour = nullptr;
        const bool bNew = ref.insert(p, pNeighbour);
        const std::pair<Point3*, Tet3*> result = reg.insert(p);
        checkHandle(p, result.first, bNew);
        Tet3* pExpectedHint = result.first->getOneTet();
        if (pExpectedHint == nullptr && pNeighbour != nullptr)
            pExpectedHint = handleOf(*pNeighbour)->getOneTet();
        ASSERT_EQ(result.second, pExpectedHint);
    }

    void insertBatch(const std::vector<Point3>& vPoints)
    {
        const std::vector<size_t> vNewIndices = ref.insert(vPoints);
        std::vector<Point3*> vHandles, vNew;
        reg.insert(vPoints, vHandles, vNew);
        ASSERT_EQ(vHandles.size(), vPoints.size());
        ASSERT_EQ(vNew.size(), vNewIndices.size());
        for (size_t k = 0; k < vNew.size(); ++k) {
            ASSERT_EQ(vNew[k], vHandles[vNewIndices[k]]);
            checkHandle(vPoints[vNewIndices[k]], vNew[k], true);
        }
        for (size_t i = 0; i < vPoints.size(); ++i)
            checkHandle(vPoints[i], vHandles[i], false);
    }

    void checkOrder()
    {
        std::vector<Point3*> vVertices;
        reg.getVertices(vVertices);
        ASSERT_EQ(reg.getNumVertices(), ref.getEntries().size());
        ASSERT_EQ(vVertices.size(), ref.getEntries().size());
        // Comparing with handles returned earlier also shows that vertex addresses never move.
        size_t i = 0;
        for (const ReferenceRegistry::Entry& e : ref.getEntries()) {
            ASSERT_EQ(vVertices[i], handleOf(e)) << "position " << i;
            ASSERT_EQ(*vVertices[i++], Point3(e.x, e.y, e.z));
        }
    }

    // Brute force over the reference order: first tetrahedron at or after the probe's key, else
    // the nearest one before it.
    static Tet3* expectedStartTet(uint32_t probeKey, const std::vector<uint32_t>& vKeys,
                                  const std::vector<Point3*>& vOrder)
    {
        size_t first = 0;
        while (first < vOrder.size() && vKeys[first] < probeKey)
            ++first;
        for (size_t i = first; i < vOrder.size(); ++i)
            if (vOrder[i]->getOneTet() != nullptr)
                return vOrder[i]->getOneTet();
        for (size_t i = first; i-- > 0;)
            if (vOrder[i]->getOneTet() != nullptr)
                return vOrder[i]->getOneTet();
        return nullptr;
    }

    void attachTetsAndCheckStartTets(double spread)
    {
        for (auto& coordsHandle : handles)
            coordsHandle.second->setOneTet(rng() % 8 == 0 ? vTets[rng() % vTets.size()] : nullptr);
        std::vector<uint32_t> vKeys;
        std::vector<Point3*> vOrder;
        for (const ReferenceRegistry::Entry& e : ref.getEntries()) {
            vKeys.push_back(e.key);
            vOrder.push_back(handleOf(e));
        }
        for (int q = 0; q < 40; ++q) {
            const Point3 probe = randomPoint(spread * 1.2);
            ASSERT_EQ(reg.getStartTet(probe), expectedStartTet(ref.keyOf(probe), vKeys, vOrder));
        }
    }

    void SetUp() override
    {
        for (int i = 0; i < 16; ++i)
            vTets.push_back(newTet(tetPool));
    }

    std::mt19937 rng{20240607};
    HC3 reg;
    ReferenceRegistry ref;
    std::map<Coords, Point3*> handles;
    SimplePool<Tet3> tetPool;
    std::vector<Tet3*> vTets;
};

TEST_F(HC3AgainstReference, MixedInsertionsWithGrowingBoxAndManyDuplicates)
{
    double spread = 10;
    for (int i = 0; i < 1500; ++i) // one block grows past its split size before any batch
        ASSERT_NO_FATAL_FAILURE(insertSingle(randomPoint(spread)));
    ASSERT_NO_FATAL_FAILURE(checkOrder());
    ASSERT_NO_FATAL_FAILURE(attachTetsAndCheckStartTets(spread));
    for (int round = 0; round < 4; ++round) {
        spread *= 1.7; // grows the box, so the batch re-keys everything registered so far
        std::vector<Point3> vBatch;
        for (int i = 0; i < 1500; ++i)
            vBatch.push_back(randomPoint(spread));
        ASSERT_NO_FATAL_FAILURE(insertBatch(vBatch));
        ASSERT_NO_FATAL_FAILURE(checkOrder());
        for (int i = 0; i < 800; ++i) {
            ASSERT_NO_FATAL_FAILURE(insertSingle(randomPoint(spread)));
            if (i % 200 == 0)
                ASSERT_NO_FATAL_FAILURE(attachTetsAndCheckStartTets(spread));
        }
        ASSERT_NO_FATAL_FAILURE(checkOrder());
    }
    // A single point far outside re-keys too.
    ASSERT_NO_FATAL_FAILURE(insertSingle(Point3(-10 * spread, 3 * spread, 0.5)));
    ASSERT_NO_FATAL_FAILURE(checkOrder());
    ASSERT_NO_FATAL_FAILURE(attachTetsAndCheckStartTets(spread));
}

} // namespace
