// The Hilbert keys against hand-computed values and the curve's defining property; the registry
// against a plain model: vertices ordered by (key, coordinates) and re-keyed when the box grows,
// new vertices of a batch in (key, input) order, one vertex per coordinates, hints and start
// tetrahedra by brute force over that order.
#include <HC3.h>
#include <Tet3.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <random>
#include <tuple>

#include "WorkDir.h"

using namespace VESK3D;

// Expected keys are written in octal, one digit per level, read off the curve tables by hand. With
// y and z flat the y/z offsets are compared against the x half-extent, so they stay in the lower
// half; split at their own (zero) half-extent they would land in the upper half instead.
TEST(HC3Keys, FlatBoxSplitsAtTheXHalfExtent)
{
    HC3 line;
    std::vector<Point3*> vHandles, vNew;
    line.insert({Point3(4, 0, 0), Point3(0, 0, 0), Point3(2, 0, 0)}, vHandles, vNew);
    EXPECT_EQ(line.getHilbertIndex(Point3(6, 0, 0)), 0777777777u);
    EXPECT_EQ(line.getHilbertIndex(Point3(0, 0, 0)), 0032464646u);
    EXPECT_EQ(line.getHilbertIndex(Point3(2, 0, 0)), 0746464646u);
    EXPECT_EQ(line.getHilbertIndex(Point3(4, 0, 0)), 0776464646u);
}

// Walks every cell of a 16^3 grid in a cube: a Hilbert curve visits each cell once and steps
// between face neighbours only, which catches any slip in the curve tables.
TEST(HC3Keys, CurveVisitsEveryCellOnceThroughFaceNeighbours)
{
    HC3 reg;
    std::vector<Point3*> vHandles, vNew;
    reg.insert({Point3(0, 0, 0), Point3(16, 16, 16)}, vHandles, vNew); // widened to [-8, 24]^3
    const int n = 16, levels = 4;
    std::vector<std::array<int, 3>> vCellAt(n * n * n, {-1, -1, -1});
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            for (int k = 0; k < n; ++k) {
                const Point3 center(-8 + (i + 0.5) * 2, -8 + (j + 0.5) * 2, -8 + (k + 0.5) * 2);
                const uint32_t position = reg.getHilbertIndex(center) >> (27 - 3 * levels);
                ASSERT_LT(position, vCellAt.size());
                ASSERT_EQ(vCellAt[position][0], -1) << "cell visited twice";
                vCellAt[position] = {i, j, k};
            }
    EXPECT_EQ(vCellAt.front(), (std::array<int, 3>{0, 0, 0}));
    for (size_t s = 1; s < vCellAt.size(); ++s) {
        int distance = 0;
        for (int axis = 0; axis < 3; ++axis) distance += std::abs(vCellAt[s][axis] - vCellAt[s - 1][axis]);
        ASSERT_EQ(distance, 1) << "step " << s;
    }
}

namespace {

// Drives the registry with mixed single and batch insertions and checks it against the model.
// Coordinates on a coarse lattice give many duplicates; clusters below the cell size give many
// equal keys.
class HC3AgainstModel : public testing::Test {
protected:
    using Coords = std::tuple<double, double, double>;

    Point3 randomPoint(double spread)
    {
        std::uniform_int_distribution<int> lattice(0, 15), tiny(0, 3);
        const double step = spread / 15;
        if (rng() % 4 == 0) return Point3(lattice(rng) * step + tiny(rng) * 1e-9, lattice(rng) * step, tiny(rng) * 1e-9);
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

    // The model's order: every vertex by (current key, coordinates).
    std::vector<Point3*> modelOrder() const
    {
        std::map<std::tuple<uint32_t, double, double, double>, Point3*> byKey;
        for (const auto& [coords, pVtx] : handles) byKey[{reg.getHilbertIndex(*pVtx), pVtx->x(), pVtx->y(), pVtx->z()}] = pVtx;
        std::vector<Point3*> vOrder;
        for (const auto& entry : byKey) vOrder.push_back(entry.second);
        return vOrder;
    }

    void insertSingle(const Point3& p)
    {
        const bool bNew = handles.count(Coords(p.x(), p.y(), p.z())) == 0;
        Point3 input(p);
        input.setCustomIndex(++numSingles);
        input.setOneTet(tet(0));
        const std::pair<Point3*, Tet3*> result = reg.insert(input);
        checkHandle(p, result.first, bNew);
        // A new vertex is a copy of the input's coordinates and custom index, without a tetrahedron.
        if (bNew) ASSERT_TRUE(result.first != &input && result.first->getCustomIndex() == numSingles && !result.first->getOneTet());
        if (numSingles % 25 != 0) return;
        // The hint: the vertex's own tetrahedron, else the one of the entry before it (after it
        // for the first entry).
        const std::vector<Point3*> vOrder = modelOrder();
        const size_t at = std::find(vOrder.begin(), vOrder.end(), result.first) - vOrder.begin();
        Tet3* pExpectedHint = result.first->getOneTet();
        if (pExpectedHint == nullptr && vOrder.size() > 1) pExpectedHint = vOrder[at > 0 ? at - 1 : 1]->getOneTet();
        ASSERT_EQ(result.second, pExpectedHint);
    }

    void insertBatch(const std::vector<Point3>& vPoints, int numThreads = 1)
    {
        std::vector<Point3*> vHandles, vNew;
        reg.insert(vPoints, vHandles, vNew, numThreads);
        // New vertices come in (key, input index) order of their first input; keys are final now.
        std::vector<std::pair<uint32_t, size_t>> vExpectedNew;
        std::map<Coords, size_t> firstInput;
        for (size_t i = 0; i < vPoints.size(); ++i) {
            const Coords c(vPoints[i].x(), vPoints[i].y(), vPoints[i].z());
            if (!handles.count(c) && firstInput.insert({c, i}).second) vExpectedNew.push_back({reg.getHilbertIndex(vPoints[i]), i});
        }
        std::sort(vExpectedNew.begin(), vExpectedNew.end());
        ASSERT_EQ(vHandles.size(), vPoints.size());
        ASSERT_EQ(vNew.size(), vExpectedNew.size());
        for (size_t k = 0; k < vNew.size(); ++k) {
            ASSERT_EQ(vNew[k], vHandles[vExpectedNew[k].second]);
            checkHandle(vPoints[vExpectedNew[k].second], vNew[k], true);
        }
        for (size_t i = 0; i < vPoints.size(); ++i) checkHandle(vPoints[i], vHandles[i], false);
    }

    // Comparing with handles returned earlier also shows that vertex addresses never move.
    void checkOrder()
    {
        std::vector<Point3*> vVertices;
        reg.getVertices(vVertices);
        ASSERT_EQ(reg.getNumVertices(), handles.size());
        ASSERT_EQ(vVertices, modelOrder());
    }

    // Brute force over the model's order: the first tetrahedron at or after the probe's key, else
    // the nearest one before it.
    void attachTetsAndCheckStartTets(double spread)
    {
        for (auto& coordsHandle : handles) coordsHandle.second->setOneTet(rng() % 8 == 0 ? tet(rng()) : nullptr);
        const std::vector<Point3*> vOrder = modelOrder();
        for (int q = 0; q < 40; ++q) {
            const Point3 probe = randomPoint(spread * 1.2);
            size_t first = 0;
            while (first < vOrder.size() && reg.getHilbertIndex(*vOrder[first]) < reg.getHilbertIndex(probe)) ++first;
            Tet3* pExpected = nullptr;
            for (size_t i = first; i < vOrder.size() && pExpected == nullptr; ++i) pExpected = vOrder[i]->getOneTet();
            for (size_t i = first; i-- > 0 && pExpected == nullptr;) pExpected = vOrder[i]->getOneTet();
            ASSERT_EQ(reg.getStartTet(probe), pExpected);
        }
    }

    std::mt19937 rng{20240607};
    int numSingles = 0;
    HC3 reg;
    std::map<Coords, Point3*> handles;
    // Tetrahedra are only addresses to the registry, which never reads them.
    alignas(Tet3) unsigned char aTetStorage[16][sizeof(Tet3)];
    Tet3* tet(std::size_t i) { return reinterpret_cast<Tet3*>(aTetStorage[i % 16]); }
};

} // namespace

TEST_F(HC3AgainstModel, MixedInsertionsWithGrowingBoxAndManyDuplicates)
{
    EXPECT_EQ(reg.getStartTet(Point3(1, 2, 3)), nullptr);
    double spread = 10;
    for (int i = 0; i < 1500; ++i) // one block grows past its split size before any batch
        ASSERT_NO_FATAL_FAILURE(insertSingle(randomPoint(spread)));
    ASSERT_NO_FATAL_FAILURE(checkOrder());
    ASSERT_NO_FATAL_FAILURE(attachTetsAndCheckStartTets(spread));
    for (int round = 0; round < 4; ++round) {
        spread *= 1.7; // grows the box, so the batch re-keys everything registered so far
        std::vector<Point3> vBatch;
        for (int i = 0; i < 1500; ++i) vBatch.push_back(randomPoint(spread));
        ASSERT_NO_FATAL_FAILURE(insertBatch(vBatch));
        ASSERT_NO_FATAL_FAILURE(checkOrder());
        for (int i = 0; i < 300; ++i) {
            ASSERT_NO_FATAL_FAILURE(insertSingle(randomPoint(spread)));
            if (i % 100 == 0) ASSERT_NO_FATAL_FAILURE(attachTetsAndCheckStartTets(spread));
        }
        ASSERT_NO_FATAL_FAILURE(checkOrder());
    }
    // A batch large enough to be keyed, sorted and built in several chunks on several threads,
    // mostly of new points so that the chunks' borders fall between new vertices.
    std::vector<Point3> vLarge;
    std::uniform_real_distribution<double> anywhere(0, spread);
    for (int i = 0; i < 150000; ++i) vLarge.push_back(i % 4 == 0 ? randomPoint(spread) : Point3(anywhere(rng), anywhere(rng), anywhere(rng)));
    ASSERT_NO_FATAL_FAILURE(insertBatch(vLarge, 3));
    ASSERT_NO_FATAL_FAILURE(checkOrder());
    // A single point far outside re-keys too.
    ASSERT_NO_FATAL_FAILURE(insertSingle(Point3(-10 * spread, 3 * spread, 0.5)));
    ASSERT_NO_FATAL_FAILURE(checkOrder());
    // A handle list must come in empty.
    std::vector<Point3*> vStale(1, nullptr), vNew;
    VeskTest::stdoutOf([&] { EXPECT_THROW(reg.insert({Point3(1, 1, 1)}, vStale, vNew), VeskException); });
    EXPECT_TRUE(vNew.empty());
}
