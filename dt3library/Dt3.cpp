#include "Dt3.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <iomanip>
#include <sstream>
#include <utility>

#include "TaskRunner.h"
#include "Visualizer3.h"
#include "tools.h"

namespace VESK3D {

namespace {

// Seen-set of the star query: open addressing over pointers, so that a vertex of huge valence
// (the centre of points on a sphere) neither allocates per entry nor touches the insertion marks.
class PointerSet {
public:
    explicit PointerSet(size_t expected) : vSlots(capacityFor(expected), nullptr) {}

    // Returns false when p was present already.
    bool insert(const void* p)
    {
        if (2 * (numEntries + 1) > vSlots.size()) grow();
        if (!place(vSlots, p)) return false;
        ++numEntries;
        return true;
    }

private:
    static size_t capacityFor(size_t expected)
    {
        size_t capacity = 16;
        while (capacity < 2 * expected) capacity *= 2;
        return capacity;
    }
    static bool place(std::vector<const void*>& vTable, const void* p)
    {
        const size_t mask = vTable.size() - 1;
        size_t i = (reinterpret_cast<std::uintptr_t>(p) >> 4) * 0x9E3779B97F4A7C15ull >> 20 & mask;
        while (vTable[i] != nullptr) {
            if (vTable[i] == p) return false;
            i = (i + 1) & mask;
        }
        vTable[i] = p;
        return true;
    }
    void grow()
    {
        std::vector<const void*> vLarger(vSlots.size() * 2, nullptr);
        for (const void* p : vSlots)
            if (p != nullptr) place(vLarger, p);
        vSlots.swap(vLarger);
    }

    std::vector<const void*> vSlots;
    size_t numEntries = 0;
};

} // namespace

Dt3::Dt3(Vesk_3D* pOwner_)
    : bFullDimensional(false), pOwner(pOwner_), bVerbose(false), numThreads(1), sequential(tetPool, predicates)
{
    tetPool.init(28, -1);
}

// The pool frees every tetrahedron at once; nothing walks the mesh.
Dt3::~Dt3() = default;

// ---------------------------------------------------------------------------------------------
// Start-up

namespace {
// Three points are collinear exactly when their projections on the three coordinate planes are.
// Each projected 2D orientation is an exact 3D orientation with a lifted fourth point.
bool areCollinear(const GeomTest3& predicates, const Point3& a, const Point3& b, const Point3& c)
{
    const Point3 xy[4] = {{a.x(), a.y(), 0.0}, {b.x(), b.y(), 0.0}, {c.x(), c.y(), 0.0}, {a.x(), a.y(), 1.0}};
    const Point3 yz[4] = {{a.y(), a.z(), 0.0}, {b.y(), b.z(), 0.0}, {c.y(), c.z(), 0.0}, {a.y(), a.z(), 1.0}};
    const Point3 zx[4] = {{a.z(), a.x(), 0.0}, {b.z(), b.x(), 0.0}, {c.z(), c.x(), 0.0}, {a.z(), a.x(), 1.0}};
    for (const Point3* p : {xy, yz, zx})
        if (predicates.getOrientation3(&p[0], &p[1], &p[2], &p[3]) != ORIENTATION3_COPLANAR) return false;
    return true;
}
} // namespace

// The first non-coplanar quadruple (i<j<k<l) in lexicographic order of registry positions is
// always (0, 1, k, l): if the points span a volume at all, V0 and V1 (distinct) belong to such a
// quadruple; k is then the first point off the line V0V1 and l the first point after k off the
// plane V0V1Vk (any later k would see only points of that same plane). So one linear scan finds
// what the quartic search over all quadruples would.
Tet3* Dt3::makeFirstTet()
{
    VESK_ASSERT(!bFullDimensional);
    std::vector<Point3*> vVertices;
    registry.getVertices(vVertices);
    const size_t n = vVertices.size();
    if (n < 4) return nullptr;
    size_t k = 2;
    while (k < n && areCollinear(predicates, *vVertices[0], *vVertices[1], *vVertices[k])) ++k;
    size_t l = k + 1;
    while (l < n && predicates.getOrientation3(vVertices[0], vVertices[1], vVertices[k], vVertices[l]) ==
                        ORIENTATION3_COPLANAR)
        ++l;
    if (l >= n) return nullptr;

    Point3* a = vVertices[0];
    Point3* b = vVertices[1];
    if (predicates.getOrientation3(a, b, vVertices[k], vVertices[l]) == ORIENTATION3_NEGATIVE) std::swap(a, b);
    const Orientation3 ori = predicates.getOrientation3(a, b, vVertices[k], vVertices[l]);
    VESK_ASSERT(ori==ORIENTATION3_POSITIVE);
    Tet3* pFirstTet = sequential.createTet(a, b, vVertices[k], vVertices[l]);
    bFullDimensional = true;
    return pFirstTet;
}

// ---------------------------------------------------------------------------------------------
// Public insertion

// A walk must start from a live tetrahedron. A vertex's remembered tetrahedron can be dead in
// rare degenerate cases, and the curve neighbour can be a point held back during start-up.
Tet3* Dt3::liveStartTet(const Point3& p, Tet3* pHint)
{
    if (pHint != nullptr && !pHint->hasBeenVisited) return pHint;
    Tet3* pStart = registry.getStartTet(p);
    if (pStart != nullptr && !pStart->hasBeenVisited) return pStart;
    return firstLiveVertexTet();
}

// The remembered tetrahedron of the first vertex, in registry order, whose one is alive.
Tet3* Dt3::firstLiveVertexTet() const
{
    std::vector<Point3*> vVertices;
    registry.getVertices(vVertices);
    for (const Point3* pVertex : vVertices) {
        Tet3* pTet = pVertex->getOneTet();
        if (pTet != nullptr && !pTet->hasBeenVisited) return pTet;
    }
    return nullptr;
}

namespace {
// Not a position anywhere: no predicate could place it.
bool hasFiniteCoordinates(const Point3& p)
{
    return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}
} // namespace

Point3* Dt3::insert(const Point3& p)
{
    VESK_ASSERT(hasFiniteCoordinates(p));
    std::pair<Point3*, Tet3*> registered = registry.insert(p);
    Point3* pVtx = registered.first;
    if (!bFullDimensional) {
        Tet3* pFirstTet = makeFirstTet();
        if (pFirstTet != nullptr && registry.getNumVertices() > 4) {
            std::vector<Point3*> vNone;
            triangulate(vNone, pFirstTet);
        }
        return pVtx;
    }
    insertVertex(pVtx, liveStartTet(p, registered.second));
    return pVtx;
}

void Dt3::insert(const std::vector<Point3>& vPoints, std::vector<Point3*>& vUserHandles)
{
    if (bVerbose) messageStream(MESSAGE_INFO) << std::endl << "Dt3::insert(vector,vector) has been called" << std::endl;
    if (!vUserHandles.empty()) {
        warning("Dt3::insert()", "vUserHandles is not empty as it should be");
        vUserHandles.clear();
    }
    messageStream(MESSAGE_INFO) << "numPoints=" << vPoints.size() << std::endl;
    if (vPoints.empty()) return;
    for (const Point3& p : vPoints) VESK_ASSERT(hasFiniteCoordinates(p));

    // Reserved whole: a growing list would leave its outgrown buffers as holes in the heap.
    std::vector<Point3*> vNewVertices;
    vNewVertices.reserve(vPoints.size());
    registry.insert(vPoints, vUserHandles, vNewVertices, numThreads);
    if (bFullDimensional) {
        const Point3& first = vNewVertices.empty() ? vPoints.front() : *vNewVertices.front();
        triangulate(vNewVertices, liveStartTet(first, nullptr));
        return;
    }
    Tet3* pFirstTet = makeFirstTet();
    if (pFirstTet == nullptr) return;
    if (registry.getNumVertices() != vPoints.size()) {
        std::vector<Point3*> vAllVertices;
        registry.getVertices(vAllVertices);
        triangulate(vAllVertices, pFirstTet);
    } else {
        triangulate(vNewVertices, pFirstTet);
    }
}

namespace {

// Parallel rounds. A round cuts the waiting points into parts (by their number, never by the
// thread count): at least minPartsPerRound, at most maxPointsPerPart points each, so that small
// batches still spread over a few workers and large ones over many. Parts are ranges of a curve
// through a grid that moves from round to round, so that the points left waiting at the borders
// of one round's parts lie inside the next round's; rounds stop when few points wait. Large parts
// keep the share of points near a border small: it falls with the cube root of a part's size.
constexpr size_t minPartsPerRound = 8;
constexpr size_t minPointsPerPart = 2048;
constexpr size_t maxPointsPerPart = 131072;
constexpr size_t minParallelLevel = minPartsPerRound * minPointsPerPart;
constexpr size_t minParallelRound = 2048;
// A round keys every vertex of the mesh; with fewer waiting points than a 256th of those, the
// sequential path inserts them sooner than the keys are made.
constexpr size_t maxKeysPerWaitingPoint = 256;
constexpr double maxDeferredShare = 0.5;
constexpr size_t maxHullSamples = 256;
// The grid's move in each round, in fractions of the box. Two moves that differ by a third or a
// sixth put every border of every cell size a third of a cell away from the other's borders, so
// the points that waited at one round's borders lie well inside the next round's parts. Each
// round is so placed against the round before it and against the first.
constexpr double gridMoves[][3] = {{0.0, 0.0, 0.0}, {1.0 / 3, 1.0 / 3, 1.0 / 3}, {2.0 / 3, 2.0 / 3, 2.0 / 3}, {5.0 / 6, 5.0 / 6, 5.0 / 6}};
constexpr size_t numRounds = sizeof gridMoves / sizeof gridMoves[0];
// Budgets per pending point of a part. A Delaunay tetrahedralization has about 6.5 tetrahedra per
// vertex and a cavity about 11 new ones, but points that waited at a border meet a coarser mesh
// and larger cavities; a part that runs short lets its next points wait.
constexpr size_t recordsPerPoint = 8;
constexpr size_t recordMargin = 512;
// A part cut on a cell border holds at most 5/4 of its nominal count (see endOfPart); its records
// are one run of the pool, which stays below the pool's largest container.
constexpr size_t maxRecordsPerPart = recordsPerPoint * (maxPointsPerPart * 5 / 4) + recordMargin;
constexpr size_t labelsPerPoint = 40;
constexpr size_t labelMargin = 2048;
constexpr size_t maxLabelsPerPart = size_t(1) << 24;
constexpr size_t maxStartSearch = 64;
constexpr size_t maxHintSteps = 64;

// Coarse-to-fine order: the middle of each range goes to the current level and both halves one
// level down, so early points spread over the whole curve and later walks start next to their
// targets. Calls visit(position) for the positions on `level` in increasing order, or decreasing
// when `backwards`; generating each level on demand needs no bucket lists.
template <class Visit>
void forEachOnLevel(size_t lo, size_t hi, int depth, int level, int maxLevel, bool backwards, Visit& visit)
{
    const bool splits = hi - lo > 1 && depth < maxLevel;
    const size_t mid = lo + (hi - lo) / 2;
    if (depth == level) {
        if (splits)
            visit(mid);
        else if (backwards)
            for (size_t i = hi; i-- > lo;) visit(i);
        else
            for (size_t i = lo; i < hi; ++i) visit(i);
        return;
    }
    if (!splits) return;
    if (backwards) {
        forEachOnLevel(mid + 1, hi, depth + 1, level, maxLevel, backwards, visit);
        forEachOnLevel(lo, mid, depth + 1, level, maxLevel, backwards, visit);
    } else {
        forEachOnLevel(lo, mid, depth + 1, level, maxLevel, backwards, visit);
        forEachOnLevel(mid + 1, hi, depth + 1, level, maxLevel, backwards, visit);
    }
}
} // namespace

void Dt3::triangulate(std::vector<Point3*>& vVertices, Tet3* pLastTet)
{
    if (pLastTet == nullptr) goToHell("pLastTet==NULL in Dt3::triangulate");
    if (vVertices.empty()) {
        messageStream(MESSAGE_WARNING) << "Attention: triangulate has got an empty vector" << std::endl;
        return;
    }
    const size_t n = vVertices.size();
    const int maxLevel = std::max(0, static_cast<int>(std::ceil(std::log(double(n)) / std::log(2.0))) - 4);

    auto insertAt = [&](size_t position) { pLastTet = insertVertex(vVertices[position], pLastTet); };
    std::vector<Point3*> vLevel;
    auto collect = [&](size_t position) { vLevel.push_back(vVertices[position]); };
    // The mesh's vertices, gathered when the first level goes to the rounds and then a level at a
    // time: all that a round must key. A list has no vertex twice, but two lists may share one (the
    // first tetrahedron's corners are in the mesh before their level comes).
    std::vector<std::vector<Point3*>> vInMesh;
    for (int level = 0; level <= maxLevel; ++level) {
        if (numThreads > 1) {
            vLevel.clear();
            forEachOnLevel(0, n, 0, level, maxLevel, false, collect);
            if (vLevel.size() >= minParallelLevel) {
                if (vInMesh.empty()) vInMesh.push_back(meshVertices());
                pLastTet = insertLevelInParallel(vLevel, vInMesh, pLastTet);
                if (level < maxLevel) vInMesh.push_back(std::move(vLevel));
                continue;
            }
        }
        forEachOnLevel(0, n, 0, level, maxLevel, level % 2 == 0, insertAt);
    }
}

// In pool order, which reads the records in a stream; a list of every registered vertex first
// would cost a page fault per 512 of them while the mesh holds only the first few levels.
std::vector<Point3*> Dt3::meshVertices() const
{
    std::vector<Point3*> vVertices;
    registry.getVertexPool().forEachRecord([&vVertices](Point3* p) {
        if (p->getOneTet() != nullptr) vVertices.push_back(p);
    });
    return vVertices;
}

// ---------------------------------------------------------------------------------------------
// Parallel rounds

// The points of one part of a round, vPending[first, last), and what its worker may use.
struct Dt3::Part {
    size_t first;
    size_t last;
    Inserter3::Region region;
    Tet3* pStartTet;
    // The part's share of the round's free records: vFree[firstFree, endFree).
    size_t firstFree;
    size_t endFree;
    // What the worker left unused, handed back after the round in part order.
    std::vector<Tet3*> vLeftover;
    std::pair<Tet3*, int> unusedRun;
};

// Rounds over the level on moving grids while enough points wait; then the rest in the last
// round's curve order on the sequential path.
Tet3* Dt3::insertLevelInParallel(const std::vector<Point3*>& vLevel, const std::vector<std::vector<Point3*>>& vInMesh, Tet3* pLastTet)
{
    std::vector<Point3*> vPending(vLevel);
    const bool bWorthRounds = !mostlyOutsideHull(vLevel, pLastTet);
    size_t numKeyed = vLevel.size();
    for (const std::vector<Point3*>& vVertices : vInMesh) numKeyed += vVertices.size();
    const auto worthRound = [&] { return vPending.size() >= minParallelRound && vPending.size() * maxKeysPerWaitingPoint >= numKeyed; };
    for (size_t round = 0; bWorthRounds && round < numRounds && worthRound(); ++round) {
        const size_t numBefore = vPending.size();
        for (const std::vector<Point3*>& vVertices : vInMesh) keyOnGrid(gridMoves[round], vVertices);
        keyOnGrid(gridMoves[round], vLevel);
        HC3::sortByCurveKey(vPending, numThreads);
        if (!insertRoundInParallel(vPending)) break;
        if (bVerbose)
            messageStream(MESSAGE_INFO) << "parallel round " << round << ": " << numBefore << " points, "
                                        << vPending.size() << " deferred" << std::endl;
        // Most points waiting again means they lie outside the hull (points on a sphere, say) or
        // in conflict regions that reach across parts (cospherical points on a grid): more rounds
        // would only repeat the attempts.
        if (vPending.size() > numBefore * maxDeferredShare) break;
    }
    for (Point3*& pVtx : vPending) pLastTet = insertVertex(pVtx, liveStartTet(*pVtx, pLastTet));
    return liveStartTet(*vLevel.back(), pLastTet);
}

// Only the sequential path inserts points outside the hull: when most of an even sample of the
// level lies outside (points on a sphere, say), every round would try and defer nearly all of them.
bool Dt3::mostlyOutsideHull(const std::vector<Point3*>& vLevel, Tet3* pLastTet) const
{
    const size_t numSamples = std::min(vLevel.size(), maxHullSamples);
    size_t numOutside = 0;
    Tet3* pTet = pLastTet;
    for (size_t k = 0; k < numSamples; ++k) {
        if (locateConflictTet(vLevel[k * vLevel.size() / numSamples], pTet) >= 0) ++numOutside;
    }
    return 2 * numOutside > numSamples;
}

// Keys the vertices on the moved grid's curve, each worker a chunk. Ownership reads no other keys:
// vertices not in the mesh yet keep stale ones.
void Dt3::keyOnGrid(const double aMove[3], const std::vector<Point3*>& vVertices)
{
    forEachIndexOnThreads(numThreads, vVertices.size(), [&](size_t i) { vVertices[i]->setCurveKey(registry.getMovedHilbertIndex(*vVertices[i], aMove)); });
}

// Returns false, inserting nothing, when the labels of the round would overflow.
bool Dt3::insertRoundInParallel(std::vector<Point3*>& vPending)
{
    std::vector<Part> vParts = cutIntoParts(vPending);
    std::vector<Tet3*> vFree;
    if (!budgetParts(vParts, vFree)) return false;

    const int numWorkers = std::min<int>(numThreads, static_cast<int>(vParts.size()));
    std::vector<std::unique_ptr<Inserter3>> vWorkers;
    for (int worker = 0; worker < numWorkers; ++worker) vWorkers.push_back(std::make_unique<Inserter3>(tetPool, predicates));
    // Largest parts first, so that the workers finish together; a part's budgets are its own, so
    // which worker inserts it, and when, changes nothing in the mesh.
    std::vector<size_t> vLargestFirst(vParts.size());
    std::iota(vLargestFirst.begin(), vLargestFirst.end(), size_t(0));
    const auto numPoints = [&vParts](size_t p) { return vParts[p].last - vParts[p].first; };
    std::stable_sort(vLargestFirst.begin(), vLargestFirst.end(), [&](size_t a, size_t b) { return numPoints(a) > numPoints(b); });
    auto insertPart = [&](int worker, size_t task) {
        Inserter3& inserter = *vWorkers[worker];
        Part& part = vParts[vLargestFirst[task]];
        inserter.recycledTets().assign(vFree.begin() + part.firstFree, vFree.begin() + part.endFree);
        inserter.enterRegion(part.region);
        Tet3* pStart = part.pStartTet;
        for (size_t i = part.first; i < part.last; ++i) {
            Tet3* pNew = insertInRegion(inserter, vPending[i], pStart);
            if (pNew == nullptr) continue;
            pStart = pNew;
            vPending[i] = nullptr;
        }
        part.vLeftover.swap(inserter.recycledTets());
        part.unusedRun = inserter.unusedRun();
    };
    runTasks(numWorkers, vParts.size(), insertPart);

    // Hand the unused records back in part order, and keep the points that wait in curve order.
    std::vector<Tet3*>& vRecycled = sequential.recycledTets();
    vRecycled.assign(vFree.begin() + (vParts.empty() ? 0 : vParts.back().endFree), vFree.end());
    for (const Part& part : vParts) {
        vRecycled.insert(vRecycled.end(), part.vLeftover.begin(), part.vLeftover.end());
        tetPool.giveBackRun(part.unusedRun.first, part.unusedRun.second);
    }
    vPending.erase(std::remove(vPending.begin(), vPending.end(), nullptr), vPending.end());
    return true;
}

// On a worker: the walk starts at the part's last new tetrahedron (if any) and, when it cannot
// reach pVtx through owned ones, once more at a live owned tetrahedron of a vertex next to pVtx on
// the registry's curve.
Tet3* Dt3::insertInRegion(Inserter3& inserter, Point3* pVtx, Tet3* pStartTet) const
{
    Tet3* pLocated = pStartTet;
    if (pLocated == nullptr || !inserter.locateInRegion(pVtx, pLocated)) {
        const Inserter3::KeyRange& keys = inserter.getRegion();
        const auto usable = [&keys](const Tet3* pTet) { return keys.holdsAll(pTet) && !pTet->hasBeenVisited; };
        pLocated = registry.findTetNear(*pVtx, keys.first, keys.count, maxHintSteps, usable);
        if (pLocated == nullptr || !inserter.locateInRegion(pVtx, pLocated)) return nullptr;
    }
    return inserter.insertLocatedInRegion(pVtx, pLocated);
}

namespace {

// Where the part that starts at vPending[first] and key firstKey ends: the index of its last point
// plus one, and the key its range ends before. The cut goes to the coarsest border of the grid's
// cells that gives the part between a half and five quarters of pointsPerPart points: a part
// made of whole cells is nearly a cube, and its surface is where points wait. Failing that, the
// cut follows pointsPerPart points, between distinct keys only.
std::pair<size_t, std::uint32_t> endOfPart(const std::vector<Point3*>& vPending, size_t first, std::uint32_t firstKey, size_t pointsPerPart)
{
    if (vPending.size() - first <= pointsPerPart) return {vPending.size(), HC3::numKeys};
    const std::uint32_t targetKey = vPending[first + pointsPerPart]->getCurveKey();
    const auto keyBelow = [](const Point3* p, std::uint32_t key) { return p->getCurveKey() < key; };
    for (std::uint32_t cell = HC3::numKeys / 8; cell > 1; cell /= 8) {
        const std::uint32_t cut = (targetKey + cell / 2) / cell * cell;
        if (cut <= firstKey) continue;
        const size_t last = std::lower_bound(vPending.begin() + first, vPending.end(), cut, keyBelow) - vPending.begin();
        if (2 * (last - first) >= pointsPerPart && 4 * (last - first) <= 5 * pointsPerPart) return {last, cut};
    }
    size_t last = first + pointsPerPart;
    while (last < vPending.size() && vPending[last]->getCurveKey() == vPending[last - 1]->getCurveKey()) ++last;
    return {last, last == vPending.size() ? HC3::numKeys : vPending[last]->getCurveKey()};
}

} // namespace

// Cuts the waiting points into parts of about equal counts; the parts' key ranges cover all keys,
// so that every vertex, old or new, has exactly one owner.
std::vector<Dt3::Part> Dt3::cutIntoParts(const std::vector<Point3*>& vPending)
{
    const size_t pointsPerPart = std::clamp(vPending.size() / minPartsPerRound, minPointsPerPart, maxPointsPerPart);
    std::vector<Part> vParts;
    std::uint32_t firstKey = 0;
    for (size_t first = 0; first < vPending.size();) {
        const auto [last, endKey] = endOfPart(vPending, first, firstKey, pointsPerPart);
        Part part{};
        part.first = first;
        part.last = last;
        part.region.keys = {firstKey, endKey - firstKey};
        part.pStartTet = ownedTetNear(*vPending[first + (last - first) / 2], part.region.keys);
        vParts.push_back(std::move(part));
        first = last;
        firstKey = endKey;
    }
    return vParts;
}

// Gives each part, in part order, records (free ones first, then a run from the pool),
// labels and insertion stamps in proportion to its points. Returns false when the labels would
// overflow.
bool Dt3::budgetParts(std::vector<Part>& vParts, std::vector<Tet3*>& vFree)
{
    const auto recordsFor = [](const Part& part) { return static_cast<int>(std::min(maxRecordsPerPart, recordsPerPoint * (part.last - part.first) + recordMargin)); };
    const auto labelsFor = [](const Part& part) { return static_cast<int>(std::min(maxLabelsPerPart, labelsPerPoint * (part.last - part.first) + labelMargin)); };
    long long numLabels = 0, numStamps = 0;
    for (const Part& part : vParts) {
        numLabels += labelsFor(part);
        numStamps += static_cast<long long>(part.last - part.first);
    }
    int firstLabel = Tet3::runningLabel.load();
    do {
        if (firstLabel > INT_MAX - numLabels) return false;
    } while (!Tet3::runningLabel.compare_exchange_weak(firstLabel, static_cast<int>(firstLabel + numLabels)));
    if (sequential.getInsertionStamp() > UINT_MAX - numStamps) sequential.restartStamps();
    unsigned firstStamp = sequential.getInsertionStamp();

    vFree.swap(sequential.recycledTets());
    vFree.insert(vFree.end(), sequential.doomedTets().begin(), sequential.doomedTets().end());
    sequential.doomedTets().clear();
    size_t nextFree = 0;
    for (Part& part : vParts) {
        const int numRecords = recordsFor(part);
        const size_t numFree = std::min(vFree.size() - nextFree, static_cast<size_t>(numRecords));
        part.firstFree = nextFree;
        part.endFree = nextFree += numFree;
        part.region.numRecords = numRecords - static_cast<int>(numFree);
        part.region.pFirstRecord = part.region.numRecords > 0 ? tetPool.takeRun(part.region.numRecords) : nullptr;
        part.region.firstLabel = firstLabel;
        part.region.numLabels = labelsFor(part);
        firstLabel += part.region.numLabels;
        part.region.firstStamp = firstStamp;
        firstStamp += static_cast<unsigned>(part.last - part.first);
    }
    sequential.setInsertionStamp(firstStamp);
    return true;
}

// A live tetrahedron owned by the key range, found breadth-first from the registry's hint for p;
// null when none is near, and the part's points then wait.
Tet3* Dt3::ownedTetNear(const Point3& p, const Inserter3::KeyRange& keys)
{
    std::vector<Tet3*> vSeen{liveStartTet(p, nullptr)};
    for (size_t i = 0; i < vSeen.size() && i < maxStartSearch; ++i) {
        Tet3* pTet = vSeen[i];
        if (keys.holdsAll(pTet)) return pTet;
        for (int k = 0; k < 4; ++k) {
            Tet3* pOpp = pTet->getOppTet(k);
            if (pOpp != nullptr && std::find(vSeen.begin(), vSeen.end(), pOpp) == vSeen.end()) vSeen.push_back(pOpp);
        }
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// Queries

// Live tetrahedra are exactly the pool records handed out and not marked doomed (doomed and
// recycled records keep their mark until createTet reuses them), so no traversal and no seen-set
// is needed; the seed a vertex leads to comes first.
void Dt3::getAllTetrahedra(std::vector<Tet3*>& vTet) const
{
    VESK_ASSERT(vTet.empty());
    Tet3* pSeed = firstLiveVertexTet();
    if (pSeed == nullptr) {
        messageStream(MESSAGE_WARNING) << "Dt3::getAllTetrahedra(), oneTet==NULL" << std::endl;
        return;
    }
    // Reserved whole (live records are at most all records): no copying while the list grows.
    vTet.reserve(tetPool.getNumRecords());
    vTet.push_back(pSeed);
    tetPool.forEachRecord([&](Tet3* pTet) {
        if (!pTet->hasBeenVisited && pTet != pSeed) vTet.push_back(pTet);
    });
}

std::vector<int> Dt3::listingIndexByPosition(size_t& numLive) const
{
    VESK_ASSERT(tetPool.getNumRecords()<=INT_MAX);
    std::vector<int> vIndexAt(tetPool.getNumRecords(), -1);
    numLive = 0;
    const Tet3* pSeed = firstLiveVertexTet();
    if (pSeed == nullptr) return vIndexAt;
    int nextIndex = 1;
    tetPool.forEachRecordAt([&](const Tet3* pTet, size_t position) {
        if (!pTet->hasBeenVisited) vIndexAt[position] = pTet == pSeed ? 0 : nextIndex++;
    });
    numLive = static_cast<size_t>(nextIndex);
    return vIndexAt;
}

void Dt3::getTetsAroundVertex(Point3* pVtx, std::vector<Tet3*>& vTets) const
{
    Tet3* pStart = pVtx->getOneTet();
    if (pStart == nullptr) {
        warning("Dt3::getTetsAroundVertex()", "pVtx does not belong to the triangulation");
        return;
    }
    PointerSet seen(64);
    seen.insert(pStart);
    vTets.push_back(pStart);
    std::vector<Tet3*> vToExpand{pStart};
    while (!vToExpand.empty()) {
        Tet3* pTet = vToExpand.back();
        vToExpand.pop_back();
        const int own = pTet->getIntraTetIndex(pVtx);
        for (int i = 0; i < 4; ++i) {
            if (i == own) continue;
            Tet3* pOpp = pTet->getOppTet(i);
            if (pOpp != nullptr && seen.insert(pOpp)) {
                vTets.push_back(pOpp);
                vToExpand.push_back(pOpp);
            }
        }
    }
}

Tet3* Dt3::locate(const Point3& p)
{
    const Point3 query(p);
    Tet3* pStart = registry.getStartTet(query);
    if (pStart == nullptr) return nullptr;
    pStart = liveStartTet(query, pStart);
    const int result = locateConflictTet(&query, pStart);
    return result == -1 || result == -2 ? pStart : nullptr;
}

// ---------------------------------------------------------------------------------------------
// Diagnostics: the self-check, the text dump and the scene file of the mesh.

namespace {

// Process-wide so that the dump files of several failed checks, of any engine, never overwrite
// each other.
std::string nextDumpFilePrefix()
{
    static int dumpFileCounter = -1;
    std::ostringstream prefix;
    prefix << std::setw(5) << std::setfill('0') << ++dumpFileCounter << "_";
    return prefix.str();
}

void printOrientation(const std::string& label, Orientation3 o)
{
    std::ostream& out = messageStream(MESSAGE_ERROR);
    out << label << ": ";
    switch (o) {
    case ORIENTATION3_POSITIVE: out << "positive" << std::endl; break;
    case ORIENTATION3_NEGATIVE: out << "negative" << std::endl; break;
    case ORIENTATION3_COPLANAR: out << "coplanar" << std::endl; break;
    }
}

void reportNegativeSideDefect(const std::string& label, const Tet3& tet, int oppIndex, const Point3& vertex,
                              Orientation3 o)
{
    box("ERROR: checkValidity at [" + label + "]");
    std::ostream& out = messageStream(MESSAGE_ERROR);
    out << "Dt3::checkValidity, HUH, vertex " << static_cast<const void*>(&vertex) << " should be on the negative side, tet="
        << std::endl;
    out << tet << "oppIndex=" << oppIndex << ", Vertex=" << static_cast<const void*>(&vertex) << "=" << vertex << std::endl;
    printOrientation("checkValidity", o);
}

void reportSphereInclusionDefect(Tet3* pTet, const Point3* pVertex)
{
    box("checkValidity: ERROR ERROR ERROR");
    std::ostream& out = messageStream(MESSAGE_ERROR);
    out << "Dt3::checkValidity, HUH - sphereIncTest failed: " << std::endl;
    out << *pTet << ", Vertex=" << static_cast<const void*>(pVertex) << "=" << *pVertex << std::endl;
    Visualizer3 vis(nextDumpFilePrefix() + "sphereIncBug.list");
    vis.writeTet(pTet, Visualizer3::RED);
    vis.writePoint(pVertex, 8, Visualizer3::WHITE);
    const Point3 center = pTet->getCircumcenter();
    const Vector3 radius = *pTet->getCorner(0) - center;
    vis.writeSphere(center, radius.dot(radius));
}

// Throws: a mark left behind breaks the next insertion, so the check must not go on.
void rejectVisitMark(const Tet3& tet)
{
    if (!tet.hasBeenVisited) return;
    error("Dt3::CheckValidity()", "pcurrentTet->hasBeenvisited=true");
    messageStream(MESSAGE_ERROR) << tet << std::endl;
    VESK_ASSERT(false);
}

} // namespace

bool Dt3::checkValidity(const std::string& label, bool /*checkVisited*/, bool checkSphereInclusion) const
{
    const std::vector<Tet3*> vTets = liveTetrahedra(*this);
    std::ostream& out = messageStream(MESSAGE_INFO);
    out << "\n\n** CheckValidity at [ " << label << "]:" << " Number of tetrahedra: " << vTets.size() << std::endl;
    out << "   with --checkvisited" << std::endl;
    out << (checkSphereInclusion ? "   with --checkSphereInc" : "   without --checkSphereInc") << std::endl;
    out << "   vTets.size()=" << vTets.size() << std::endl;
    for (Tet3* pTet : vTets) {
        rejectVisitMark(*pTet);
        for (int i = 0; i < 4; ++i) {
            const Tet3* pOppTet = pTet->getOppTet(i);
            if (pOppTet == nullptr) continue;
            // The listing may skip a marked tetrahedron as dead; a live one still has live neighbours.
            rejectVisitMark(*pOppTet);
            Point3* pOppVtx = pTet->getOppVtxInOppTet(i, true);
            const Orientation3 o = predicates.getOrientation3(pTet, i, pOppVtx);
            if (o != ORIENTATION3_NEGATIVE) {
                reportNegativeSideDefect(label, *pTet, i, *pOppVtx, o);
                show(nextDumpFilePrefix() + "negSideBug.list", pOppVtx);
                return false;
            }
            if (checkSphereInclusion && predicates.sphereInclusionTest(pTet, pOppVtx) == SIC_INSIDE) {
                reportSphereInclusionDefect(pTet, pOppVtx);
                return false;
            }
        }
    }
    messageStream(MESSAGE_INFO) << "** CheckValidity at (" << label << ") has been finished, seems OK" << std::endl << std::endl;
    return true;
}

void Dt3::print(const std::string& label) const
{
    const std::vector<Tet3*> vTets = liveTetrahedra(*this);
    std::ostream& out = messageStream(MESSAGE_DUMP);
    out << "\n\n**** Dt3::print(" << label << "), numTets=" << vTets.size() << std::endl;
    for (const Tet3* pTet : vTets) out << *pTet << std::endl << std::endl;
}

void Dt3::show(const std::string& filename, const Point3* pVtx) const
{
    const std::vector<Tet3*> vTets = liveTetrahedra(*this);
    messageStream(MESSAGE_INFO) << "  Dt3::show(): vTets.size()=" << vTets.size() << std::endl;
    Visualizer3 vis(filename);
    for (Tet3* pTet : vTets) {
        vis.writeTet(pTet, Visualizer3::getNextColor());
        for (int i = 0; i < 4; ++i) vis.writePoint(pTet->getCorner(i), 5, Visualizer3::GREEN);
    }
    if (pVtx != nullptr) vis.writePoint(pVtx, 10, Visualizer3::RED);
    vis.close();
}

} // namespace VESK3D
