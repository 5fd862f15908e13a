#include "HC3.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <cmath>
#include <initializer_list>
#include <new>
#include <utility>

#include "TaskRunner.h"
#include "tools.h"

namespace VESK3D {

namespace {

// Row: octant 4*bx + 2*by + bz. Column: curve state. DIGIT is the octant's position along the
// curve in that state, NEXT the state its sub-cube is refined in.
constexpr uint32_t DIGIT[8][12] = {
    {0, 0, 0, 2, 4, 6, 4, 6, 2, 2, 4, 6}, {1, 7, 3, 3, 3, 5, 7, 7, 5, 1, 5, 1},
    {3, 1, 7, 1, 5, 1, 3, 5, 3, 5, 7, 7}, {2, 6, 4, 0, 2, 2, 0, 4, 4, 6, 6, 0},
    {7, 3, 1, 5, 7, 7, 5, 1, 1, 3, 3, 5}, {6, 4, 2, 4, 0, 4, 6, 0, 6, 0, 2, 2},
    {4, 2, 6, 6, 6, 0, 2, 2, 0, 4, 0, 4}, {5, 5, 5, 7, 1, 3, 1, 3, 7, 7, 1, 3}};
constexpr uint32_t NEXT[8][12] = {
    {1, 2, 0, 6, 11, 4, 5, 6, 10, 4, 7, 10}, {2, 6, 9, 0, 11, 4, 7, 1, 3, 4, 2, 3},
    {3, 0, 10, 6, 0, 8, 5, 6, 1, 8, 11, 2},  {2, 7, 9, 11, 7, 8, 3, 10, 1, 8, 2, 6},
    {4, 8, 1, 9, 5, 0, 1, 9, 10, 2, 7, 10},  {5, 8, 1, 0, 9, 6, 1, 4, 3, 7, 5, 3},
    {3, 0, 11, 9, 0, 10, 11, 9, 5, 2, 8, 4}, {5, 7, 11, 8, 7, 6, 11, 10, 9, 3, 5, 4}};

// How many candidates ahead the batch merge asks for the memory it will read.
constexpr size_t prefetchDistance = 16;

// Blocks are refilled to this size on every rebuild and split when a single insertion doubles one.
constexpr size_t blockFill = 512;

// Same order as Func_ltIdxVtxPtr(pEntry, probe) for the probe (key, p).
bool entryBeforeProbe(const IdxVtx& entry, uint32_t key, const Point3* p)
{
    if (entry.hilbertIndex != key)
        return entry.hilbertIndex < key;
    return p != nullptr && *entry.pVtx < *p;
}

bool equivalent(const Point3& a, const Point3& b)
{
    return !(a < b) && !(b < a);
}

// Reads the entries of a list of sorted blocks in order, taking them out: it owns the blocks, and
// frees each one as soon as it is emptied, so that the set is never held twice while it is rebuilt.
class EntryCursor {
public:
    explicit EntryCursor(std::vector<std::vector<IdxVtx>>& vSource) { vBlocks.swap(vSource); }
    bool atEnd() const { return block == vBlocks.size(); }
    const IdxVtx& current() const { return vBlocks[block][offset]; }
    IdxVtx take()
    {
        const IdxVtx entry = current();
        if (++offset == vBlocks[block].size()) {
            std::vector<IdxVtx>().swap(vBlocks[block]);
            ++block;
            offset = 0;
        }
        return entry;
    }

private:
    std::vector<std::vector<IdxVtx>> vBlocks;
    size_t block = 0;
    size_t offset = 0;
};

struct Candidate {
    // Left unset: a batch's list is written by the threads that key it, which also take its page
    // faults, instead of being cleared by one thread first.
    Candidate() {}
    Candidate(uint32_t key_, size_t index_) : key(key_), index(index_) {}
    uint32_t key;
    size_t index;
};

// Set order with ties broken by input index: repeated coordinates form runs led by their first
// input. The keys and their sort run on numThreads threads; runs of equal keys, in input order
// after the stable sort, are then put in set order.
std::vector<Candidate> candidatesInSetOrder(const HC3& reg, const std::vector<Point3>& vPoints, int numThreads)
{
    std::vector<Candidate> vCandidates(vPoints.size());
    forEachIndexOnThreads(numThreads, vPoints.size(), [&](size_t i) { vCandidates[i] = {reg.getHilbertIndex(vPoints[i]), i}; });
    radixSortOnThreads(vCandidates, [](const Candidate& c) { return c.key; }, HC3::numBits, numThreads);
    const auto inSetOrder = [&vPoints](const Candidate& a, const Candidate& b) {
        const Point3& pa = vPoints[a.index];
        const Point3& pb = vPoints[b.index];
        if (!equivalent(pa, pb))
            return pa < pb;
        return a.index < b.index;
    };
    for (auto first = vCandidates.begin(), last = first; first != vCandidates.end(); first = last) {
        last = std::find_if(first + 1, vCandidates.end(), [first](const Candidate& c) { return c.key != first->key; });
        if (last - first > 1) std::sort(first, last, inSetOrder);
    }
    return vCandidates;
}

// Marks a candidate that leads a new vertex; keys never reach this bit.
constexpr uint32_t leadsNewVertex = uint32_t(1) << 31;
static_assert(HC3::numKeys <= leadsNewVertex, "HC3: the mark of new vertices needs a free key bit");

// Builds each new vertex in the record the merge gave it, from the input point of the candidate
// marked as its lead, on numThreads threads: writing the records, a fresh page for every hundred
// vertices, is most of a large batch's merge.
void buildNewVertices(const std::vector<Point3>& vPoints, const std::vector<Candidate>& vCandidates,
                      const std::vector<Point3*>& vUserHandles, int numThreads)
{
    forEachIndexOnThreads(numThreads, vCandidates.size(), [&](size_t c) {
        if (c + prefetchDistance < vCandidates.size()) {
            const size_t ahead = vCandidates[c + prefetchDistance].index;
            __builtin_prefetch(&vPoints[ahead]);
            __builtin_prefetch(&vUserHandles[ahead]);
        }
        if (!(vCandidates[c].key & leadsNewVertex)) return;
        const size_t index = vCandidates[c].index;
        Point3* pVtx = new (vUserHandles[index]) Point3(vPoints[index]);
        pVtx->setCurveKey(vCandidates[c].key & ~leadsNewVertex);
    });
}

// The largest binary exponent among the non-zero values, or INT_MIN.
int largestExponent(std::initializer_list<double> values)
{
    int largest = INT_MIN;
    for (double v : values)
        if (v != 0.0) largest = std::max(largest, std::ilogb(v));
    return largest;
}

int largestExponent(const Bbox3& box)
{
    return largestExponent({box.getMinX(), box.getMinY(), box.getMinZ(), box.getMaxX(), box.getMaxY(), box.getMaxZ()});
}

// Points this far above the frame's unit would overflow it: the frame moves before they enter.
constexpr int largestExponentInFrame = 60;

// Appends the group's vertices by input index (the first input point of each) and empties it.
void appendInInputOrder(std::vector<std::pair<size_t, Point3*>>& vGroup, std::vector<Point3*>& vNewVertices)
{
    std::sort(vGroup.begin(), vGroup.end());
    for (const auto& indexAndVertex : vGroup)
        vNewVertices.push_back(indexAndVertex.second);
    vGroup.clear();
}

Tet3* incidentTet(const IdxVtx& entry)
{
    const Point3* pVtx = entry.pVtx;
    VESK_ASSERT(pVtx!=0);
    return pVtx->getOneTet();
}

} // namespace

HC3::HC3()
    : frameExponent(0), frameFactor(1.0), rangeX(-1.0), rangeY(-1.0), rangeZ(-1.0), bValid(false), numEntries(0)
{
    vertexPool.init(4, -1);
}

HC3::~HC3() {}

uint32_t HC3::getHilbertIndex(const Point3& p) const
{
    assert(bValid);
    const double dx = toFrame(p.x()) - bbox.getMinX(), dy = toFrame(p.y()) - bbox.getMinY(), dz = toFrame(p.z()) - bbox.getMinZ();
    return keyOfOffsets(dx, dy, dz, rangeX / 2, rangeY / 2, rangeZ / 2);
}

uint32_t HC3::getMovedHilbertIndex(const Point3& p, const double aMove[3]) const
{
    assert(bValid);
    const double aOffset[3] = {toFrame(p.x()) - bbox.getMinX(), toFrame(p.y()) - bbox.getMinY(), toFrame(p.z()) - bbox.getMinZ()};
    const double aRange[3] = {rangeX, rangeY, rangeZ};
    uint32_t aCell[3];
    for (int axis = 0; axis < 3; ++axis) {
        const double unit = (aRange[axis] > 0 ? aOffset[axis] / aRange[axis] : 0.0) + aMove[axis];
        // The wrapped offset may round up to one; its cell is then the last.
        aCell[axis] = std::min(static_cast<uint32_t>((unit - std::floor(unit)) * cellsPerAxis), cellsPerAxis - 1);
    }
    return keyOfCell(aCell[0], aCell[1], aCell[2]);
}

namespace {

// Adds the octant's digit at shift to the key and turns the curve into the octant's sub-cube.
void descend(uint32_t octant, int shift, uint32_t& key, uint32_t& state)
{
    key += DIGIT[octant][state] << shift;
    state = NEXT[octant][state];
}

} // namespace

uint32_t HC3::keyOfOffsets(double dx, double dy, double dz, double hx, double hy, double hz)
{
    uint32_t key = 0, state = 0;
    for (int shift = numBits - 3; shift >= 0; shift -= 3) {
        // All three axes are split at the x half-extent: the established curve order depends on it.
        const uint32_t bx = dx >= hx, by = dy >= hx, bz = dz >= hx;
        dx -= bx * hx;
        dy -= by * hy;
        dz -= bz * hz;
        descend(4 * bx + 2 * by + bz, shift, key, state);
        hx /= 2;
        hy /= 2;
        hz /= 2;
    }
    return key;
}

uint32_t HC3::keyOfCell(uint32_t x, uint32_t y, uint32_t z)
{
    uint32_t key = 0, state = 0;
    for (int level = numBits / 3 - 1; level >= 0; --level)
        descend(4 * (x >> level & 1) + 2 * (y >> level & 1) + (z >> level & 1), 3 * level, key, state);
    return key;
}

std::pair<Point3*, Tet3*> HC3::insert(const Point3& p)
{
    if (growsBox(&p, 1))
        growBoxAndRekey();
    const uint32_t key = getHilbertIndex(p);
    Pos pos = lowerBound(key, &p);
    if (holdsPoint(pos, key, p)) {
        Point3* pVtx = entryAt(pos).pVtx;
        Tet3* pOwnTet = pVtx->getOneTet();
        return {pVtx, pOwnTet != nullptr ? pOwnTet : neighbourTet(pos)};
    }
    pos = insertAt(pos, newEntry(p, key));
    return {entryAt(pos).pVtx, neighbourTet(pos)};
}

void HC3::insert(const std::vector<Point3>& vPoints, std::vector<Point3*>& vUserHandles,
                 std::vector<Point3*>& vNewVertices, int numThreads)
{
    VESK_ASSERT(vUserHandles.empty());
    if (growsBox(vPoints.data(), vPoints.size()))
        growBoxAndRekey();
    vUserHandles.resize(vPoints.size());

    std::vector<Candidate> vCandidates = candidatesInSetOrder(*this, vPoints, numThreads);
    // The set and the sorted candidates are walked together, as in a merge: old entries move into
    // fresh blocks, and each new vertex gets its record and is placed among them in set order, so
    // that curve neighbours end up next to each other in memory and no list of new entries is
    // needed. The candidate that leads a new vertex is marked; the vertices are built afterwards.
    EntryCursor oldEntries(vBlocks);
    numEntries = 0;
    // The new vertices of one key: the set orders them by coordinates, vNewVertices by input order.
    std::vector<std::pair<size_t, Point3*>> vKeyGroup;
    for (size_t first = 0, last; first < vCandidates.size(); first = last) {
        // The handle of a candidate further on: in curve order, handles are random accesses.
        if (first + prefetchDistance < vCandidates.size())
            __builtin_prefetch(&vUserHandles[vCandidates[first + prefetchDistance].index], 1);
        const uint32_t key = vCandidates[first].key;
        const Point3& p = vPoints[vCandidates[first].index];
        for (last = first + 1; last < vCandidates.size() && vCandidates[last].key == key; ++last) {
            if (!equivalent(p, vPoints[vCandidates[last].index]))
                break;
        }
        while (!oldEntries.atEnd() && entryBeforeProbe(oldEntries.current(), key, &p))
            appendEntry(oldEntries.take());
        Point3* pVtx;
        if (!oldEntries.atEnd() && isEntryOf(oldEntries.current(), key, p)) {
            pVtx = oldEntries.current().pVtx;
        } else {
            pVtx = vertexPool.getNewRecord();
            appendEntry(IdxVtx{key, pVtx});
            vKeyGroup.emplace_back(vCandidates[first].index, pVtx);
            vCandidates[first].key |= leadsNewVertex;
        }
        for (size_t c = first; c < last; ++c)
            vUserHandles[vCandidates[c].index] = pVtx;
        if (last == vCandidates.size() || vCandidates[last].key != key)
            appendInInputOrder(vKeyGroup, vNewVertices);
    }
    while (!oldEntries.atEnd())
        appendEntry(oldEntries.take());
    buildNewVertices(vPoints, vCandidates, vUserHandles, numThreads);
}

Tet3* HC3::getStartTet(const Point3& p)
{
    if (numEntries == 0)
        return nullptr;
    const Pos start = lowerBound(getHilbertIndex(p), nullptr);
    for (size_t b = start.block, o = start.offset; b < vBlocks.size(); ++b, o = 0) {
        for (; o < vBlocks[b].size(); ++o) {
            if (Tet3* pTet = incidentTet(vBlocks[b][o]))
                return pTet;
        }
    }
    for (size_t b = std::min(start.block + 1, vBlocks.size()); b-- > 0;) {
        for (size_t o = b == start.block ? start.offset : vBlocks[b].size(); o-- > 0;) {
            if (Tet3* pTet = incidentTet(vBlocks[b][o]))
                return pTet;
        }
    }
    return nullptr;
}

void HC3::getVertices(std::vector<Point3*>& vVertices) const
{
    vVertices.reserve(vVertices.size() + numEntries);
    for (const std::vector<IdxVtx>& vBlock : vBlocks) {
        for (const IdxVtx& entry : vBlock)
            vVertices.push_back(entry.pVtx);
    }
}

void HC3::sortByCurveKey(std::vector<Point3*>& vVertices, int numThreads)
{
    radixSortOnThreads(vVertices, [](const Point3* p) { return p->getCurveKey(); }, numBits, numThreads);
}

bool HC3::growsBox(const Point3* pPoints, size_t numPoints)
{
    if (numPoints == 0) return false;
    int incoming = INT_MIN;
    for (size_t i = 0; i < numPoints; ++i)
        incoming = std::max(incoming, largestExponent({pPoints[i].x(), pPoints[i].y(), pPoints[i].z()}));
    if (!bValid)
        setFrameExponent(incoming == INT_MIN ? 0 : -incoming);
    else if (incoming != INT_MIN && incoming + frameExponent > largestExponentInFrame)
        moveFrame(-(incoming + frameExponent));
    Point3 lo = Point3(HUGE_VAL, HUGE_VAL, HUGE_VAL), hi = Point3(-HUGE_VAL, -HUGE_VAL, -HUGE_VAL);
    for (size_t i = 0; i < numPoints; ++i) {
        const double x = toFrame(pPoints[i].x()), y = toFrame(pPoints[i].y()), z = toFrame(pPoints[i].z());
        lo.exchange(std::min(lo.x(), x), std::min(lo.y(), y), std::min(lo.z(), z));
        hi.exchange(std::max(hi.x(), x), std::max(hi.y(), y), std::max(hi.z(), z));
    }
    const bool bLowGrew = bbox.add(lo);
    const bool bHighGrew = bbox.add(hi);
    return bLowGrew || bHighGrew;
}

void HC3::setFrameExponent(int exponent)
{
    frameExponent = exponent;
    frameFactor = exponent >= -1074 && exponent <= 1023 ? std::ldexp(1.0, exponent) : 0.0;
}

void HC3::moveFrame(int shift)
{
    setFrameExponent(frameExponent + shift);
    if (!bbox.isValid()) return;
    const Point3 lo = bbox.getMinPoint(), hi = bbox.getMaxPoint();
    bbox = Bbox3();
    bbox.add(Point3(std::ldexp(lo.x(), shift), std::ldexp(lo.y(), shift), std::ldexp(lo.z(), shift)));
    bbox.add(Point3(std::ldexp(hi.x(), shift), std::ldexp(hi.y(), shift), std::ldexp(hi.z(), shift)));
}

// Widening by the box's own extents makes further growth, and so this linear pass, rare. The
// frame moves first so that the box's largest bound is near one, where widening cannot overflow.
void HC3::growBoxAndRekey()
{
    const int largest = largestExponent(bbox);
    if (largest != INT_MIN) moveFrame(-largest);
    bbox.enlargeBounds(1.0);
    rangeX = bbox.getRangeX();
    rangeY = bbox.getRangeY();
    rangeZ = bbox.getRangeZ();
    bValid = true;
    std::vector<IdxVtx> vEntries;
    collectEntries(vEntries);
    for (IdxVtx& entry : vEntries) {
        entry.hilbertIndex = getHilbertIndex(*entry.pVtx);
        entry.pVtx->setCurveKey(entry.hilbertIndex);
    }
    std::sort(vEntries.begin(), vEntries.end(), Func_ltIdxVtxPtr());
    rebuildBlocks(vEntries);
}

// The vertex copies p's coordinates and custom index; it has no incident tetrahedron yet.
IdxVtx HC3::newEntry(const Point3& p, uint32_t key)
{
    Point3* pVtx = new (vertexPool.getNewRecord()) Point3(p);
    pVtx->setCurveKey(key);
    return IdxVtx{key, pVtx};
}

HC3::Pos HC3::lowerBound(uint32_t key, const Point3* p) const
{
    const auto before = [key, p](const IdxVtx& entry) { return entryBeforeProbe(entry, key, p); };
    const auto itBlock = std::partition_point(vBlocks.begin(), vBlocks.end(),
                                              [&before](const std::vector<IdxVtx>& v) { return before(v.back()); });
    if (itBlock == vBlocks.end())
        return {vBlocks.size(), 0};
    const auto itEntry = std::partition_point(itBlock->begin(), itBlock->end(), before);
    return {static_cast<size_t>(itBlock - vBlocks.begin()), static_cast<size_t>(itEntry - itBlock->begin())};
}

// Returns where pEntry ended up, which differs from pos when its block had to be split.
HC3::Pos HC3::insertAt(Pos pos, const IdxVtx& entry)
{
    ++numEntries;
    if (vBlocks.empty()) {
        vBlocks.emplace_back(1, entry);
        return {0, 0};
    }
    if (isEnd(pos))
        pos = {vBlocks.size() - 1, vBlocks.back().size()};
    std::vector<IdxVtx>& vBlock = vBlocks[pos.block];
    vBlock.insert(vBlock.begin() + pos.offset, entry);
    if (vBlock.size() < 2 * blockFill)
        return pos;
    std::vector<IdxVtx> vUpper(vBlock.begin() + blockFill, vBlock.end());
    vBlock.resize(blockFill);
    vBlocks.insert(vBlocks.begin() + pos.block + 1, std::move(vUpper));
    return pos.offset < blockFill ? pos : Pos{pos.block + 1, pos.offset - blockFill};
}

// The incident tetrahedron of the entry before pos, or after it when pos is the first entry.
Tet3* HC3::neighbourTet(Pos pos) const
{
    if (pos.offset > 0)
        return incidentTet(vBlocks[pos.block][pos.offset - 1]);
    if (pos.block > 0)
        return incidentTet(vBlocks[pos.block - 1].back());
    if (pos.offset + 1 < vBlocks[pos.block].size())
        return incidentTet(vBlocks[pos.block][pos.offset + 1]);
    if (pos.block + 1 < vBlocks.size())
        return incidentTet(vBlocks[pos.block + 1].front());
    return nullptr;
}

void HC3::collectEntries(std::vector<IdxVtx>& vEntries) const
{
    vEntries.reserve(vEntries.size() + numEntries);
    for (const std::vector<IdxVtx>& vBlock : vBlocks)
        vEntries.insert(vEntries.end(), vBlock.begin(), vBlock.end());
}

void HC3::appendEntry(const IdxVtx& entry)
{
    if (vBlocks.empty() || vBlocks.back().size() == blockFill) {
        vBlocks.emplace_back();
        vBlocks.back().reserve(blockFill);
    }
    vBlocks.back().push_back(entry);
    ++numEntries;
}

void HC3::rebuildBlocks(const std::vector<IdxVtx>& vSorted)
{
    vBlocks.clear();
    for (size_t first = 0; first < vSorted.size(); first += blockFill) {
        const size_t last = std::min(first + blockFill, vSorted.size());
        vBlocks.emplace_back(vSorted.begin() + first, vSorted.begin() + last);
    }
    numEntries = vSorted.size();
}

} // namespace VESK3D
