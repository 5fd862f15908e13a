#include "Dt3.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iomanip>
#include <sstream>

#include "Edge3.h"
#include "TetAroundEdgeIterator.h"
#include "Visualizer3.h"
#include "tools.h"

// For the small steps of cavity filling, which the compiler's heuristics otherwise keep as calls.
#define VESK_HOT_INLINE inline __attribute__((always_inline))

namespace VESK3D {

namespace {

constexpr size_t initialFacetTableSize = 1024;
constexpr int watchdogLimit = 10000;
const int nextFace[4] = {1, 2, 3, 0};

// Corners of the tetrahedron that joins a vertex to facet k of T, keeping T's orientation: the
// vertex takes the place of corner k and becomes corner 0. The cap over a hull facet uses the
// opposite order because the vertex lies beyond that facet.
const int cavityCorners[4][3] = {{1, 2, 3}, {0, 3, 2}, {0, 1, 3}, {0, 2, 1}};
const int capCorners[4][3] = {{1, 3, 2}, {0, 2, 3}, {0, 3, 1}, {0, 1, 2}};

// Mixes both vertex addresses; the top `64 - shift` bits index the table.
inline size_t facetSlot(const Point3* pFirst, const Point3* pSecond, int shift)
{
    const std::uint64_t a = reinterpret_cast<std::uintptr_t>(pFirst);
    const std::uint64_t b = reinterpret_cast<std::uintptr_t>(pSecond);
    return static_cast<size_t>(((a * 0x9E3779B97F4A7C15ull) ^ b) * 0xC2B2AE3D27D4EB4Full >> shift);
}

int log2OfPowerOfTwo(size_t n)
{
    int log = 0;
    while ((size_t(1) << log) < n) ++log;
    return log;
}

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

void printFourPoints(const Point3* a, const Point3* b, const Point3* c, const Point3* d)
{
    messageStream(MESSAGE_ERROR) << *a << std::endl << *b << std::endl << *c << std::endl << *d << std::endl;
}

} // namespace

Dt3::Dt3(Vesk_3D* pOwner_)
    : insertionStamp(0), facetShift(64 - log2OfPowerOfTwo(initialFacetTableSize)), numFacetSlotsUsed(0),
      numStoredTCS(0), bFullDimensional(false), pOwner(pOwner_), bVerbose(false)
{
    tetPool.init(28, -1);
    vFacetTable.assign(initialFacetTableSize, TwoTetStruct{});
    if (vDoomedTets.capacity() < 512) vDoomedTets.reserve(512);
    if (vRecycledTets.capacity() < 512) vRecycledTets.reserve(512);
}

// The pool frees every tetrahedron at once; nothing walks the mesh.
Dt3::~Dt3() = default;

// ---------------------------------------------------------------------------------------------
// Point location

int Dt3::locateConflictTet(const Point3* pVtx, Tet3*& pStartTet) const
{
    if (pStartTet == nullptr) goToHell("locateConflictTet");
    int i = 0;
    int facesToTest = 4;
    int numSteps = 0;
    while (true) {
        if (++numSteps > watchdogLimit) {
            Tet3* pRandomStep = pStartTet->getOppTet(std::rand() % 4);
            if (pRandomStep != nullptr) pStartTet = pRandomStep;
            messageStream(MESSAGE_WARNING) << "watchDog: bad point" << std::endl;
            return -99;
        }
        const Orientation3 orientation = predicates.getOrientation3(pStartTet, i, pVtx);
        if (orientation == ORIENTATION3_NEGATIVE) {
            Tet3* pNext = pStartTet->getOppTet(i);
            if (pNext == nullptr) return i;
            const int entryFace = pNext->getIntraTetIndex(pStartTet);
            pStartTet = pNext;
            i = nextFace[entryFace];
            facesToTest = 3;
            continue;
        }
        if (orientation == ORIENTATION3_COPLANAR) {
            for (int corner = 0; corner < 4; ++corner) {
                const Point3* pCorner = pStartTet->getCorner(corner);
                if (pCorner->x() == pVtx->x() && pCorner->y() == pVtx->y() && pCorner->z() == pVtx->z())
                    return -2;
            }
            int numPositive = 0, numNegative = 0, numCoplanar = 0;
            int hullFace = -1, opp2ICI = -1;
            for (int j = 0; j < 4; ++j) {
                switch (predicates.getOrientation3(pStartTet, j, pVtx)) {
                case ORIENTATION3_POSITIVE: ++numPositive; break;
                case ORIENTATION3_NEGATIVE: ++numNegative; break;
                default:
                    ++numCoplanar;
                    if (pStartTet->getOppTet(j) == nullptr) hullFace = j;
                    if (j != i) opp2ICI = j;
                }
            }
            if (numNegative == 0) {
                if (numPositive == 3) return std::max(hullFace, -1);
                VESK_ASSERT(numPositive==2);
                VESK_ASSERT(numCoplanar==2);
                VESK_ASSERT(opp2ICI>=0);
                return locateOnEdge(pStartTet, i, opp2ICI);
            }
            // A negative face lies further on in the cycle; the walk crosses it when it gets there.
        }
        i = nextFace[i];
        if (--facesToTest == 0) {
            VESK_ASSERT(predicates.getOrientation3(pStartTet,0,pVtx)==ORIENTATION3_POSITIVE);
            VESK_ASSERT(predicates.getOrientation3(pStartTet,1,pVtx)==ORIENTATION3_POSITIVE);
            VESK_ASSERT(predicates.getOrientation3(pStartTet,2,pVtx)==ORIENTATION3_POSITIVE);
            VESK_ASSERT(predicates.getOrientation3(pStartTet,3,pVtx)==ORIENTATION3_POSITIVE);
            VESK_ASSERT(predicates.sphereInclusionTest(pStartTet,pVtx)==SIC_INSIDE);
            return -1;
        }
    }
}

// The point lies on the edge shared by faces opp3ICI and opp2ICI: it is on the hull exactly when
// some tetrahedron around the edge has no neighbour across its outward face.
int Dt3::locateOnEdge(Tet3*& pStartTet, int opp3ICI, int opp2ICI) const
{
    const TetAroundEdgeIterator start(pStartTet->getEdge(opp3ICI, opp2ICI));
    TetAroundEdgeIterator it(start);
    do {
        if (it.nextIsNull()) {
            const int outIndex = it.getOpp2Index();
            pStartTet = *it;
            VESK_ASSERT(pStartTet!=0);
            VESK_ASSERT(pStartTet->getOppTet(outIndex)==0);
            return outIndex;
        }
        ++it;
    } while (it != start);
    return -1;
}

// ---------------------------------------------------------------------------------------------
// Insertion

Tet3* Dt3::createTet(Point3* a, Point3* b, Point3* c, Point3* d)
{
    const Orientation3 orientation = predicates.getOrientation3(a, b, c, d);
    if (__builtin_expect(orientation != ORIENTATION3_POSITIVE, 0)) {
        if (orientation == ORIENTATION3_NEGATIVE) {
            messageStream(MESSAGE_ERROR) << "Dt3::createTet(), ERROR: ORIENTATION3_NEGATIVE ORIENTATION OF: " << std::endl;
            printFourPoints(a, b, c, d);
            VESK_ASSERT(false);
        }
        messageStream(MESSAGE_ERROR) << "Dt3::createTet(), ERROR: ORIENTATION3_COPLANAR ORIENTATION OF: ";
        printFourPoints(a, b, c, d);
        messageStream(MESSAGE_ERROR) << "..probably a legal situaion but observe!" << std::endl;
    }
    Tet3* ret;
    if (!vRecycledTets.empty()) {
        ret = vRecycledTets.back();
        vRecycledTets.pop_back();
    } else {
        ret = tetPool.getNewRecord();
    }
    VESK_ASSERT(ret!=0);
    ret->setProperties(a, b, c, d);
    return ret;
}

// A tetrahedron next to several facets of the cavity is tested once per insertion: an outside
// answer is remembered until the stamp advances.
VESK_HOT_INLINE bool Dt3::conflicts(Tet3* pTet, const Point3* pVtx)
{
    if (pTet->outsideMark == insertionStamp) return false;
    if (predicates.sphereInclusionTest(pTet, pVtx) != SIC_OUTSIDE) return true;
    pTet->outsideMark = insertionStamp;
    return false;
}

void Dt3::doom(Tet3* pTet)
{
    pTet->hasBeenVisited = true;
    pTet->setCustomIndex(-1);
    vDoomedTets.push_back(pTet);
    // Its neighbours are examined next; start their (usually cache-missing) loads now.
    for (int k = 0; k < 4; ++k) __builtin_prefetch(pTet->getOppTet(k));
}

Tet3* Dt3::insertVertex(Point3*& pVtx, Tet3* pCurTet)
{
    VESK_ASSERT(!pCurTet->hasBeenVisited);
    VESK_ASSERT(numStoredTCS==0);
    advanceInsertionStamp();

    const int locateResult = locateConflictTet(pVtx, pCurTet);
    VESK_ASSERT(locateResult!=-99);
    if (locateResult == -2) {
        for (int corner = 0; corner < 4; ++corner) {
            Point3* pCorner = pCurTet->getCorner(corner);
            if (pCorner->x() == pVtx->x() && pCorner->y() == pVtx->y() && pCorner->z() == pVtx->z()) {
                pVtx = pCorner;
                return pCurTet;
            }
        }
        error("insertVertex()", "Proxy not found");
        return nullptr;
    }
    if (locateResult >= 0) {
        Tet3* pRet = insertOutsideHull(pVtx, pCurTet, locateResult);
        VESK_ASSERT(pRet!=0);
        VESK_ASSERT(!pRet->hasBeenVisited);
        return pRet;
    }
    VESK_ASSERT(locateResult==-1);
    return insertInsideHull(pVtx, pCurTet);
}

// Bowyer-Watson: doom every tetrahedron whose circumsphere contains the vertex and join the vertex
// to each facet of the cavity boundary as soon as the search meets it.
Tet3* Dt3::insertInsideHull(Point3* pVtx, Tet3* pLocated)
{
    // The previous insertion's doomed tetrahedra become reusable only now, so a cavity is never
    // refilled with its own records.
    vDoomedTets.swap(vRecycledTets);
    vStack.clear();
    doom(pLocated);
    vStack.push_back(pLocated);
    Tet3* pLastNew = nullptr;
    while (!vStack.empty()) {
        Tet3* pTet = vStack.back();
        vStack.pop_back();
        for (int k = 3; k >= 0; --k) {
            Tet3* pOpp = pTet->getOppTet(k);
            if (pOpp != nullptr) {
                if (pOpp->hasBeenVisited) continue;
                if (conflicts(pOpp, pVtx)) {
                    doom(pOpp);
                    vStack.push_back(pOpp);
                    continue;
                }
            }
            pLastNew = fillCavityFacet(pVtx, pTet, k, pOpp);
        }
    }
    checkAllFacetsGlued();
    return pLastNew;
}

// Joins the vertex to facet `face` of a doomed tetrahedron and glues the new tetrahedron to the
// survivor across that facet (if any) and, through the facet hash, to its new siblings.
VESK_HOT_INLINE Tet3* Dt3::fillCavityFacet(Point3* pVtx, Tet3* pDoomedTet, int face, Tet3* pOppTet)
{
    const int* corners = cavityCorners[face];
    Tet3* pNewTet = createJoinedTet(pVtx, pDoomedTet->getCorner(corners[0]), pDoomedTet->getCorner(corners[1]),
                                    pDoomedTet->getCorner(corners[2]));
    if (pOppTet != nullptr) registerTets(pNewTet, 0, pOppTet, pOppTet->getIntraTetIndex(pDoomedTet));
    return pNewTet;
}

Tet3* Dt3::createCap(Point3* pVtx, Tet3* pHullTet, int face)
{
    const int* corners = capCorners[face];
    Tet3* pCap = createJoinedTet(pVtx, pHullTet->getCorner(corners[0]), pHullTet->getCorner(corners[1]),
                                 pHullTet->getCorner(corners[2]));
    registerTets(pCap, 0, pHullTet, face);
    return pCap;
}

Tet3* Dt3::insertOutsideHull(Point3* pVtx, Tet3* pCurTet, int opp3ICI)
{
    VESK_ASSERT(pCurTet!=0);
    VESK_ASSERT(opp3ICI>-1);
    VESK_ASSERT(numStoredTCS==0);
    vDoomedTets.swap(vRecycledTets);

    collectVisibleHullTets(pVtx, pCurTet, opp3ICI);

    // Split the visible hull tetrahedra into those in conflict (re-triangulated with the cavity)
    // and those that only get caps, then flood the conflict region from the former.
    vConflictTets.clear();
    vCapTets.clear();
    for (Tet3* pTet : vStack) {
        if (conflicts(pTet, pVtx)) {
            doom(pTet);
            vConflictTets.push_back(pTet);
        } else {
            vCapTets.push_back(pTet);
        }
    }
    vStack.assign(vConflictTets.begin(), vConflictTets.end());
    while (!vStack.empty()) {
        Tet3* pTet = vStack.back();
        vStack.pop_back();
        VESK_ASSERT(pTet!=0);
        for (int k = 0; k < 4; ++k) {
            Tet3* pOpp = pTet->getOppTet(k);
            if (pOpp == nullptr || pOpp->hasBeenVisited) continue;
            if (conflicts(pOpp, pVtx)) {
                doom(pOpp);
                vConflictTets.push_back(pOpp);
                vStack.push_back(pOpp);
            }
        }
    }

    Tet3* pLastCap = nullptr;
    for (Tet3* pCHTet : vCapTets) {
        VESK_ASSERT(!pCHTet->hasBeenVisited);
        for (int face = 0; face < 4; ++face) {
            if (pCHTet->getOppTet(face) != nullptr) continue;
            const Orientation3 orient = predicates.getOrientation3(pCHTet, face, pVtx);
            if (orient != ORIENTATION3_NEGATIVE) continue;
            pLastCap = createCap(pVtx, pCHTet, face);
        }
    }

    Tet3* pLastCavityTet = fillConflictRegionOutsideHull(pVtx);
    // Side facets on the new horizon are hull facets and legitimately stay without a partner.
    numStoredTCS = 0;

    Tet3* pNewTet1 = pLastCap != nullptr ? pLastCap : pLastCavityTet;
    VESK_ASSERT(pNewTet1!=0);
    return pNewTet1;
}

// Leaves in vStack, in creation order and without repeats, the tetrahedra of the hull facets that
// the vertex sees strictly from outside and that connect to facet hullFace of pHullTet. Creation
// order, unlike addresses, makes the result the same in every run.
void Dt3::collectVisibleHullTets(const Point3* pVtx, Tet3* pHullTet, int hullFace)
{
    vStack.clear();
    vStack.push_back(pHullTet);
    vEdgeStack.clear();
    vSeenEdges.clear();
    auto pushNewEdges = [&](Tet3* pTet, int face) {
        for (int j = 0; j < 4; ++j) {
            if (j == face) continue;
            const Edge3 edge = pTet->getEdge(face, j);
            const Point3* pSource = edge.getSourceVtx();
            const Point3* pTarget = edge.getTargetVtx();
            const std::pair<const Point3*, const Point3*> key(std::min(pSource, pTarget), std::max(pSource, pTarget));
            if (std::find(vSeenEdges.begin(), vSeenEdges.end(), key) != vSeenEdges.end()) continue;
            vSeenEdges.push_back(key);
            vEdgeStack.push_back(edge);
        }
    };
    pushNewEdges(pHullTet, hullFace);
    while (!vEdgeStack.empty()) {
        TetAroundEdgeIterator it(vEdgeStack.back());
        vEdgeStack.pop_back();
        while (!it.nextIsNull()) ++it;
        Tet3* pCurTet = *it;
        const int opp2ICI = it.getOpp2Index();
        VESK_ASSERT(pCurTet->getOppTet(opp2ICI)==0);
        if (predicates.getOrientation3(pCurTet, opp2ICI, pVtx) != ORIENTATION3_NEGATIVE) continue;
        pushNewEdges(pCurTet, opp2ICI);
        vStack.push_back(pCurTet);
    }
    // The address only breaks ties of a reset label counter, keeping repeats adjacent.
    std::sort(vStack.begin(), vStack.end(), [](const Tet3* a, const Tet3* b) {
        return a->getLabel() != b->getLabel() ? a->getLabel() < b->getLabel() : a < b;
    });
    vStack.erase(std::unique(vStack.begin(), vStack.end()), vStack.end());
}

// Re-triangulates the doomed tetrahedra of a hull insertion: the vertex is joined to every facet
// it sees from inside; facets it sees from outside or in their plane are covered by the others.
Tet3* Dt3::fillConflictRegionOutsideHull(Point3* pVtx)
{
    if (vConflictTets.empty()) {
        messageStream(MESSAGE_WARNING) << "Warning: vDoomedTets() without input tets, returning NULL" << std::endl;
        return nullptr;
    }
    Tet3* pLastNew = nullptr;
    for (Tet3* pDoomedTet : vConflictTets) {
        VESK_ASSERT(pDoomedTet->hasBeenVisited);
        for (int face = 0; face < 4; ++face) {
            Tet3* pOppTet = pDoomedTet->getOppTet(face);
            if (pOppTet != nullptr && pOppTet->hasBeenVisited) continue;
            if (predicates.getOrientation3(pDoomedTet, face, pVtx) != ORIENTATION3_POSITIVE) continue;
            Tet3* pNewTet = fillCavityFacet(pVtx, pDoomedTet, face, pOppTet);
            VESK_ASSERT(pNewTet!=0);
            VESK_ASSERT(!pNewTet->hasBeenVisited);
            pLastNew = pNewTet;
        }
    }
    return pLastNew;
}

// ---------------------------------------------------------------------------------------------
// Neighbour registration

VESK_HOT_INLINE void Dt3::registerTets(Tet3* fromTet, int ith, Tet3* toTet, int jth)
{
    VESK_ASSERT(toTet!=0);
    VESK_ASSERT(range03(ith));
    VESK_ASSERT(range03(jth));
    if (fromTet == toTet) {
        messageStream(MESSAGE_ERROR) << "register tets has been called with fromTet==toTet==" << *fromTet << std::endl;
        VESK_ASSERT(fromTet!=toTet);
    }
    fromTet->setOppTet(ith, toTet);
    toTet->setOppTet(jth, fromTet);
}

// The tetrahedron (pVtx, a, b, c) with its side facets offered to its siblings. The corners travel
// in registers: loading them back from the record just written would stall on its packed stores.
VESK_HOT_INLINE Tet3* Dt3::createJoinedTet(Point3* pVtx, Point3* a, Point3* b, Point3* c)
{
    Tet3* pNewTet = createTet(pVtx, a, b, c);
    registerSideFacets(pNewTet, a, b, c);
    return pNewTet;
}

VESK_HOT_INLINE void Dt3::registerSideFacets(Tet3* pNewTet, Point3* p1, Point3* p2, Point3* p3)
{
    int aIndex[3] = {1, 2, 3};
    Point3* aCorner[3] = {p1, p2, p3};
    // Order the three old corners by address; the facet opposite each is named by the other two.
    auto orderPair = [&](int a, int b) {
        if (aCorner[b] < aCorner[a]) {
            std::swap(aCorner[a], aCorner[b]);
            std::swap(aIndex[a], aIndex[b]);
        }
    };
    orderPair(0, 1);
    orderPair(1, 2);
    orderPair(0, 1);
    storeOrGlue(aCorner[1], aCorner[2], pNewTet, aIndex[0]);
    storeOrGlue(aCorner[0], aCorner[2], pNewTet, aIndex[1]);
    storeOrGlue(aCorner[0], aCorner[1], pNewTet, aIndex[2]);
}

// Glues the facet to the sibling that offered the same two vertices before, or parks it until that
// sibling comes. Open addressing: a slot is free unless it carries this insertion's stamp.
VESK_HOT_INLINE void Dt3::storeOrGlue(Point3* pFirst, Point3* pSecond, Tet3* pTet, int index)
{
    const size_t mask = vFacetTable.size() - 1;
    for (size_t i = facetSlot(pFirst, pSecond, facetShift);; i = (i + 1) & mask) {
        TwoTetStruct& slot = vFacetTable[i];
        if (slot.stamp != insertionStamp) {
            slot = TwoTetStruct{pFirst, pSecond, pTet, index, insertionStamp};
            ++numStoredTCS;
            if (2 * ++numFacetSlotsUsed > vFacetTable.size()) growFacetTable();
            return;
        }
        if (slot.pFirst == pFirst && slot.pSecond == pSecond && slot.pTet != nullptr) {
            registerTets(slot.pTet, slot.index, pTet, index);
            // The glued slot stays taken so that probes for other pairs still pass it.
            slot.pTet = nullptr;
            --numStoredTCS;
            return;
        }
    }
}

// Advancing the stamp frees every facet slot and forgets every outside mark at once; only a
// wrapped stamp needs a real clear.
void Dt3::advanceInsertionStamp()
{
    numFacetSlotsUsed = 0;
    if (++insertionStamp != 0) return;
    for (TwoTetStruct& slot : vFacetTable) slot.stamp = 0;
    tetPool.forEachRecord([](Tet3* pTet) { pTet->outsideMark = 0; });
    insertionStamp = 1;
}

// Keeps the table at most half full, so probes stay short even for the huge cavities of
// cospherical input. The capacity is kept for later insertions.
void Dt3::growFacetTable()
{
    const std::vector<TwoTetStruct> vOld(std::move(vFacetTable));
    vFacetTable.assign(vOld.size() * 2, TwoTetStruct{});
    --facetShift;
    const size_t mask = vFacetTable.size() - 1;
    numFacetSlotsUsed = 0;
    for (const TwoTetStruct& facet : vOld) {
        if (facet.stamp != insertionStamp || facet.pTet == nullptr) continue;
        size_t i = facetSlot(facet.pFirst, facet.pSecond, facetShift);
        while (vFacetTable[i].stamp == insertionStamp) i = (i + 1) & mask;
        vFacetTable[i] = facet;
        ++numFacetSlotsUsed;
    }
}

void Dt3::checkAllFacetsGlued()
{
    if (numStoredTCS != 0) {
        messageStream(MESSAGE_ERROR) << "numStoredTCS after insertVertex: " << numStoredTCS << std::endl;
        VESK_ASSERT(numStoredTCS==0);
    }
}

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
    Tet3* pFirstTet = createTet(a, b, vVertices[k], vVertices[l]);
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
    registry.insert(vPoints, vUserHandles, vNewVertices);
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
    for (int level = 0; level <= maxLevel; ++level) forEachOnLevel(0, n, 0, level, maxLevel, level % 2 == 0, insertAt);
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
    size_t position = 0;
    int nextIndex = 1;
    tetPool.forEachRecord([&](const Tet3* pTet) {
        if (!pTet->hasBeenVisited) vIndexAt[position] = pTet == pSeed ? 0 : nextIndex++;
        ++position;
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
