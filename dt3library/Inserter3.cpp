#include "Inserter3.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstdlib>

#include "TetAroundEdgeIterator.h"
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

void printFourPoints(const Point3* a, const Point3* b, const Point3* c, const Point3* d)
{
    messageStream(MESSAGE_ERROR) << *a << std::endl << *b << std::endl << *c << std::endl << *d << std::endl;
}

} // namespace

Inserter3::Inserter3(SimplePool<Tet3>& tetPool_, const GeomTest3& predicates_)
    : tetPool(tetPool_), predicates(predicates_), insertionStamp(0), facetShift(64 - log2OfPowerOfTwo(initialFacetTableSize)),
      numFacetSlotsUsed(0), numStoredTCS(0), region{0, UINT32_MAX}, pNextRecord(nullptr),
      pRecordsEnd(nullptr), nextLabel(0), labelsEnd(0), bBudgeted(false)
{
    vFacetTable.assign(initialFacetTableSize, TwoTetStruct{});
    if (vDoomedTets.capacity() < 512) vDoomedTets.reserve(512);
    if (vRecycledTets.capacity() < 512) vRecycledTets.reserve(512);
}

// ---------------------------------------------------------------------------------------------
// Point location

int Inserter3::locateConflictTet(const Point3* pVtx, Tet3*& pStartTet) const
{
    return walk<false>(pVtx, pStartTet);
}

// In a region the walk steps only onto owned tetrahedra. It may circulate around an edge of an
// owned one: every tetrahedron there has both ends of the edge for corners, and another region
// only changes tetrahedra with three or four corners of its own. A point on a hull edge waits
// for the sequential path.
template <bool bInRegion>
int Inserter3::walk(const Point3* pVtx, Tet3*& pStartTet) const
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
            // The walk stands on owned tetrahedra only, so the corner across the entry face is the
            // only one of pNext that may lie outside the region.
            if (bInRegion && !region.holds(pNext->getCorner(entryFace))) return walkLeftRegion;
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
                const int edgeResult = locateOnEdge(pStartTet, i, opp2ICI);
                if (bInRegion && edgeResult >= 0) return walkLeftRegion;
                return edgeResult;
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
int Inserter3::locateOnEdge(Tet3*& pStartTet, int opp3ICI, int opp2ICI) const
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

Tet3* Inserter3::createTet(Point3* a, Point3* b, Point3* c, Point3* d)
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
    Tet3* ret = takeRecord();
    VESK_ASSERT(ret!=0);
    if (bBudgeted)
        ret->setProperties(a, b, c, d, nextLabel++);
    else
        ret->setProperties(a, b, c, d);
    return ret;
}

VESK_HOT_INLINE Tet3* Inserter3::takeRecord()
{
    if (!vRecycledTets.empty()) {
        Tet3* pRecord = vRecycledTets.back();
        vRecycledTets.pop_back();
        return pRecord;
    }
    if (pNextRecord != pRecordsEnd) return pNextRecord++;
    // A region checks its budget before it fills a cavity: only the sequential path gets here.
    assert(!bBudgeted);
    return tetPool.getNewRecord();
}

// A tetrahedron next to several facets of the cavity is tested once per insertion: an outside
// answer is remembered until the stamp advances.
VESK_HOT_INLINE bool Inserter3::conflicts(Tet3* pTet, const Point3* pVtx)
{
    if (pTet->outsideMark == insertionStamp) return false;
    if (predicates.sphereInclusionTest(pTet, pVtx) != SIC_OUTSIDE) return true;
    pTet->outsideMark = insertionStamp;
    return false;
}

void Inserter3::doom(Tet3* pTet)
{
    pTet->hasBeenVisited = true;
    pTet->setCustomIndex(-1);
    vDoomedTets.push_back(pTet);
    // Its neighbours are examined next; start their (usually cache-missing) loads now.
    for (int k = 0; k < 4; ++k) __builtin_prefetch(pTet->getOppTet(k));
}

Tet3* Inserter3::insertVertex(Point3*& pVtx, Tet3* pCurTet)
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
Tet3* Inserter3::insertInsideHull(Point3* pVtx, Tet3* pLocated)
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

// ---------------------------------------------------------------------------------------------
// Insertion within a region of a parallel batch

void Inserter3::enterRegion(const Region& work)
{
    region = work.keys;
    pNextRecord = work.pFirstRecord;
    pRecordsEnd = work.pFirstRecord + work.numRecords;
    nextLabel = work.firstLabel;
    labelsEnd = work.firstLabel + work.numLabels;
    insertionStamp = work.firstStamp;
    bBudgeted = true;
}

// Two phases, unlike the sequential path: the whole conflict region is known, and found owned,
// before anything is created, so that a vertex that must wait leaves no trace but its marks.
bool Inserter3::locateInRegion(const Point3* pVtx, Tet3*& pTet) const
{
    return walk<true>(pVtx, pTet) == walkInside;
}

Tet3* Inserter3::insertLocatedInRegion(Point3* pVtx, Tet3* pLocated)
{
    advanceInsertionStamp();
    if (!growOwnedConflictRegion(pVtx, pLocated)) {
        for (Tet3* pTet : vConflictTets) pTet->hasBeenVisited = false;
        return nullptr;
    }
    return fillOwnedCavity(pVtx);
}

// Marks the conflict region of pVtx visited, lists it in vConflictTets and its boundary facets in
// vCavityFacets. False, with the marks left for the caller to undo, when a tetrahedron in conflict
// is not owned or the cavity needs more records or labels than are left.
bool Inserter3::growOwnedConflictRegion(const Point3* pVtx, Tet3* pLocated)
{
    vConflictTets.clear();
    vCavityFacets.clear();
    pLocated->hasBeenVisited = true;
    vConflictTets.push_back(pLocated);
    for (size_t i = 0; i < vConflictTets.size(); ++i) {
        Tet3* pTet = vConflictTets[i];
        for (int k = 0; k < 4; ++k) {
            Tet3* pOpp = pTet->getOppTet(k);
            if (pOpp == nullptr || (!pOpp->hasBeenVisited && !conflicts(pOpp, pVtx))) {
                vCavityFacets.push_back({pTet, pOpp, k});
                continue;
            }
            if (pOpp->hasBeenVisited) continue;
            if (!region.holdsAll(pOpp)) return false;
            pOpp->hasBeenVisited = true;
            vConflictTets.push_back(pOpp);
        }
    }
    // One new tetrahedron per boundary facet; this cavity's records are reusable only after it.
    const size_t numFreeRecords = vRecycledTets.size() + static_cast<size_t>(pRecordsEnd - pNextRecord);
    return vCavityFacets.size() <= numFreeRecords && vCavityFacets.size() <= static_cast<size_t>(labelsEnd - nextLabel);
}

// The facets in the order the search met them: the order of the sequential path's fill.
Tet3* Inserter3::fillOwnedCavity(Point3* pVtx)
{
    Tet3* pLastNew = nullptr;
    for (const CavityFacet& facet : vCavityFacets) pLastNew = fillCavityFacet(pVtx, facet.pDoomedTet, facet.face, facet.pOppTet);
    checkAllFacetsGlued();
    // Free only now, so that the fill never reuses a record whose links it still reads.
    for (Tet3* pDoomedTet : vConflictTets) {
        pDoomedTet->setCustomIndex(-1);
        vRecycledTets.push_back(pDoomedTet);
    }
    return pLastNew;
}

// Joins the vertex to facet `face` of a doomed tetrahedron and glues the new tetrahedron to the
// survivor across that facet (if any) and, through the facet hash, to its new siblings.
VESK_HOT_INLINE Tet3* Inserter3::fillCavityFacet(Point3* pVtx, Tet3* pDoomedTet, int face, Tet3* pOppTet)
{
    const int* corners = cavityCorners[face];
    Tet3* pNewTet = createJoinedTet(pVtx, pDoomedTet->getCorner(corners[0]), pDoomedTet->getCorner(corners[1]),
                                    pDoomedTet->getCorner(corners[2]));
    if (pOppTet != nullptr) registerTets(pNewTet, 0, pOppTet, pOppTet->getIntraTetIndex(pDoomedTet));
    return pNewTet;
}

Tet3* Inserter3::createCap(Point3* pVtx, Tet3* pHullTet, int face)
{
    const int* corners = capCorners[face];
    Tet3* pCap = createJoinedTet(pVtx, pHullTet->getCorner(corners[0]), pHullTet->getCorner(corners[1]),
                                 pHullTet->getCorner(corners[2]));
    registerTets(pCap, 0, pHullTet, face);
    return pCap;
}

Tet3* Inserter3::insertOutsideHull(Point3* pVtx, Tet3* pCurTet, int opp3ICI)
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
void Inserter3::collectVisibleHullTets(const Point3* pVtx, Tet3* pHullTet, int hullFace)
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
Tet3* Inserter3::fillConflictRegionOutsideHull(Point3* pVtx)
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

VESK_HOT_INLINE void Inserter3::registerTets(Tet3* fromTet, int ith, Tet3* toTet, int jth)
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
VESK_HOT_INLINE Tet3* Inserter3::createJoinedTet(Point3* pVtx, Point3* a, Point3* b, Point3* c)
{
    Tet3* pNewTet = createTet(pVtx, a, b, c);
    registerSideFacets(pNewTet, a, b, c);
    return pNewTet;
}

VESK_HOT_INLINE void Inserter3::registerSideFacets(Tet3* pNewTet, Point3* p1, Point3* p2, Point3* p3)
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
VESK_HOT_INLINE void Inserter3::storeOrGlue(Point3* pFirst, Point3* pSecond, Tet3* pTet, int index)
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
void Inserter3::advanceInsertionStamp()
{
    numFacetSlotsUsed = 0;
    if (++insertionStamp != 0) return;
    restartStamps();
    insertionStamp = 1;
}

void Inserter3::restartStamps()
{
    for (TwoTetStruct& slot : vFacetTable) slot.stamp = 0;
    tetPool.forEachRecord([](Tet3* pTet) { pTet->outsideMark = 0; });
    insertionStamp = 0;
}

// Keeps the table at most half full, so probes stay short even for the huge cavities of
// cospherical input. The capacity is kept for later insertions.
void Inserter3::growFacetTable()
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

void Inserter3::checkAllFacetsGlued()
{
    if (numStoredTCS != 0) {
        messageStream(MESSAGE_ERROR) << "numStoredTCS after insertVertex: " << numStoredTCS << std::endl;
        VESK_ASSERT(numStoredTCS==0);
    }
}

} // namespace VESK3D
