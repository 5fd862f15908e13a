#pragma once
// The vertex registry: owns every vertex, recognises repeated coordinates, and keeps the vertices
// sorted along a 3D Hilbert curve over the (widened) bounding box of all points seen so far.
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "Bbox3.h"
#include "Point3.h"
#include "SimplePool.h"

namespace VESK3D {

class Tet3;

struct IdxVtx {
    uint32_t hilbertIndex;
    Point3* pVtx;
};

// Key first, then coordinates; a probe with a null vertex sorts before every entry of its key.
struct Func_ltIdxVtxPtr {
    bool operator()(const IdxVtx& a, const IdxVtx& b) const
    {
        if (a.hilbertIndex != b.hilbertIndex)
            return a.hilbertIndex < b.hilbertIndex;
        if (a.pVtx == nullptr)
            return true;
        if (b.pVtx == nullptr)
            return false;
        return *a.pVtx < *b.pVtx;
    }
};

class HC3 {
public:
    HC3();
    ~HC3();
    HC3(const HC3&) = delete;
    HC3& operator=(const HC3&) = delete;

    // Keys have this many bits (9 levels of 3: a grid of 512 cells per axis) and are below numKeys.
    static constexpr unsigned numBits = 27;
    static constexpr uint32_t numKeys = uint32_t(1) << numBits;
    // Key of p in the grid of the last re-keying; needs at least one registered point.
    uint32_t getHilbertIndex(const Point3& p) const;
    // Key of p on the curve of a grid moved by the fractions aMove of the box's extent, wrapping
    // around: cells with other borders, for partitions whose borders must move.
    uint32_t getMovedHilbertIndex(const Point3& p, const double aMove[3]) const;
    // Returns (vertex, hint): the vertex of p (an existing one for repeated coordinates) and a
    // tetrahedron near it along the curve, or null.
    std::pair<Point3*, Tet3*> insert(const Point3& p);
    // vUserHandles (empty on entry) gets the vertex of each input point; the vertices created by
    // this call are appended to vNewVertices in curve order. Keys and sort use numThreads threads.
    void insert(const std::vector<Point3>& vPoints, std::vector<Point3*>& vUserHandles,
                std::vector<Point3*>& vNewVertices, int numThreads = 1);
    // The first incident tetrahedron found walking the curve forward from p's position, else backward.
    Tet3* getStartTet(const Point3& p);
    // For a registered vertex: the first incident tetrahedron that accept takes, among those of the
    // vertices nearest along the curve, backward then forward, at most maxSteps entries each way,
    // skipping the vertices whose own curve keys (Point3::getCurveKey) lie outside [firstKey,
    // firstKey + numKeys); null when there is none. Reads no other vertex, so that workers owning disjoint key
    // ranges may ask at the same time.
    template <class Accept>
    Tet3* findTetNear(const Point3& vertex, uint32_t firstKey, uint32_t numKeys, size_t maxSteps, Accept accept) const
    {
        const Pos pos = lowerBound(getHilbertIndex(vertex), &vertex);
        auto visit = [&](const IdxVtx& entry, Tet3*& pFound) {
            // Another range's vertex: its incident tetrahedron may be changing under its owner.
            if (entry.pVtx->getCurveKey() - firstKey >= numKeys) return true;
            Tet3* pTet = entry.pVtx->getOneTet();
            if (pTet != nullptr && accept(pTet)) pFound = pTet;
            return pFound == nullptr;
        };
        Tet3* pFound = nullptr;
        Pos back = pos;
        for (size_t step = 0; step < maxSteps && (back.block > 0 || back.offset > 0); ++step) {
            if (back.offset == 0) back = {back.block - 1, vBlocks[back.block - 1].size()};
            if (!visit(vBlocks[back.block][--back.offset], pFound)) break;
        }
        Pos ahead = pos;
        for (size_t step = 0; pFound == nullptr && step < maxSteps && !isEnd(ahead); ++step) {
            if (!visit(entryAt(ahead), pFound)) break;
            if (++ahead.offset == vBlocks[ahead.block].size()) ahead = {ahead.block + 1, 0};
        }
        return pFound;
    }
    // Puts the vertices in the order of their own curve keys (Point3::getCurveKey), keeping the
    // order of equal keys: a radix sort, linear in the count, on numThreads threads.
    static void sortByCurveKey(std::vector<Point3*>& vVertices, int numThreads);
    // Appends all vertices in curve order.
    void getVertices(std::vector<Point3*>& vVertices) const;
    size_t getNumVertices() const { return numEntries; }
    const SimplePool<Point3>& getVertexPool() const { return vertexPool; }

private:
    // Position in the ordered set: block and offset within it. block == vBlocks.size() is the end.
    struct Pos {
        size_t block;
        size_t offset;
    };

    static_assert(numBits < 33 && numBits % 3 == 0, "HC3: invalid bitlength");
    static_assert(numKeys == uint32_t(1) << numBits, "HC3: key bound");

    // The curve's key of the offsets (dx, dy, dz) from the box's lower corner, the cells halving
    // from the half-extents (hx, hy, hz).
    static uint32_t keyOfOffsets(double dx, double dy, double dz, double hx, double hy, double hz);
    // The curve's key of the grid cell (x, y, z), each below cellsPerAxis; the same as keyOfOffsets
    // of a point in that cell of the unit cube.
    static uint32_t keyOfCell(uint32_t x, uint32_t y, uint32_t z);
    static constexpr uint32_t cellsPerAxis = uint32_t(1) << numBits / 3;
    // Adds the points to the box; returns whether it grew.
    bool growsBox(const Point3* pPoints, size_t numPoints);
    void growBoxAndRekey();
    void setFrameExponent(int exponent);
    void moveFrame(int shift);
    double toFrame(double v) const { return frameFactor != 0.0 ? v * frameFactor : std::ldexp(v, frameExponent); }
    IdxVtx newEntry(const Point3& p, uint32_t key);
    // First entry not less than the probe (key, p); a null p sorts before every entry of its key.
    Pos lowerBound(uint32_t key, const Point3* p) const;
    bool isEnd(Pos pos) const { return pos.block == vBlocks.size(); }
    const IdxVtx& entryAt(Pos pos) const { return vBlocks[pos.block][pos.offset]; }
    // Whether the lower bound pos of (key, p) is p's own entry.
    bool holdsPoint(Pos pos, uint32_t key, const Point3& p) const
    {
        return !isEnd(pos) && isEntryOf(entryAt(pos), key, p);
    }
    // For an entry not before (key, p): whether it is p's own.
    static bool isEntryOf(const IdxVtx& entry, uint32_t key, const Point3& p)
    {
        return entry.hilbertIndex == key && !(p < *entry.pVtx);
    }
    Pos insertAt(Pos pos, const IdxVtx& entry);
    Tet3* neighbourTet(Pos pos) const;
    void appendEntry(const IdxVtx& entry);
    void collectEntries(std::vector<IdxVtx>& vEntries) const;
    void rebuildBlocks(const std::vector<IdxVtx>& vSorted);

    // The box and the key arithmetic live in a frame scaled by 2^frameExponent, chosen at every
    // re-keying so that the box's largest bound is near one. That changes no comparison for ordinary
    // coordinates, keeps huge and tiny ones clear of overflow and underflow, and gives a point set
    // scaled by a power of two the same keys: every decision depends on frame values only.
    Bbox3 bbox;
    int frameExponent;
    double frameFactor; // 2^frameExponent where that is a double, else 0
    double rangeX;
    double rangeY;
    double rangeZ;
    bool bValid;
    SimplePool<Point3> vertexPool;
    // The ordered set, stored as a list of sorted blocks so that a single insertion moves at most
    // one block and the block list, never the whole set. Entries live in the blocks themselves:
    // 16 bytes a vertex, where pooled records behind pointers would take 24.
    std::vector<std::vector<IdxVtx>> vBlocks;
    size_t numEntries;
};

} // namespace VESK3D
