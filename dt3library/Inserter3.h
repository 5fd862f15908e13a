#pragma once
// Inserter3: the machinery of one vertex insertion, apart from the engine that decides which
// vertex goes where: the location walk, the conflict search, the cavity and hull fill, the gluing
// of new tetrahedra through a small facet hash, and where new records come from.
//
// The engine keeps one for its sequential path. A parallel batch gives each worker its own, bound
// to a region (a range of curve keys): there it only inserts vertices whose walk and conflict
// region stay on tetrahedra with all four corners in the range, and takes records and labels only
// from the budget it was handed. Regions never share a tetrahedron they may touch, so workers need
// no lock, and what a worker does depends on its own region only.
#include <cstdint>
#include <utility>
#include <vector>

#include "Edge3.h"
#include "GeomTest3.h"
#include "Point3.h"
#include "SimplePool.h"
#include "Tet3.h"
#include "TwoTetStruct.h"

namespace VESK3D {

class Inserter3 {
public:
    Inserter3(SimplePool<Tet3>& tetPool, const GeomTest3& predicates);
    Inserter3(const Inserter3&) = delete;
    Inserter3& operator=(const Inserter3&) = delete;

    // The walk's answers, as documented at Dt3::locateConflictTet, and one more for a region.
    static constexpr int walkInside = -1;
    static constexpr int walkOnVertex = -2;
    static constexpr int walkLeftRegion = -3;
    static constexpr int walkGaveUp = -99;
    int locateConflictTet(const Point3* pVtx, Tet3*& pStartTet) const;
    Tet3* insertVertex(Point3*& pVtx, Tet3* pStartTet);
    Tet3* createTet(Point3* a, Point3* b, Point3* c, Point3* d);

    // Free records, which createTet takes before asking the pool.
    std::vector<Tet3*>& recycledTets() { return vRecycledTets; }
    std::vector<Tet3*>& doomedTets() { return vDoomedTets; }
    unsigned getInsertionStamp() const { return insertionStamp; }
    void setInsertionStamp(unsigned stamp) { insertionStamp = stamp; }
    // Forgets every stamp (the facet slots' and the tetrahedra's outside marks): before a wrap.
    void restartStamps();

    // A range of curve keys: a region owns the vertices with keys in it, and the tetrahedra whose
    // four corners it owns.
    struct KeyRange {
        std::uint32_t first;
        std::uint32_t count;
        bool holds(const Point3* p) const { return p->getCurveKey() - first < count; }
        bool holdsAll(const Tet3* pTet) const
        {
            return holds(pTet->getCorner(0)) & holds(pTet->getCorner(1)) & holds(pTet->getCorner(2)) & holds(pTet->getCorner(3));
        }
    };
    // Work of one region of a parallel batch. Records come from the free lists and then from the
    // run [pFirstRecord, pFirstRecord + numRecords), labels from [firstLabel, firstLabel +
    // numLabels), insertion stamps after firstStamp (unique in the engine, never wrapping).
    struct Region {
        KeyRange keys;
        Tet3* pFirstRecord;
        int numRecords;
        int firstLabel;
        int numLabels;
        unsigned firstStamp;
    };
    void enterRegion(const Region& region);
    // Walks from the owned pTet towards pVtx on owned tetrahedra; true when pTet ends up holding
    // pVtx inside, false when pVtx is outside the hull, on an edge, a vertex, or out of reach.
    bool locateInRegion(const Point3* pVtx, Tet3*& pTet) const;
    // Inserts pVtx, located in pLocated, when its conflict region is owned and the budget suffices;
    // returns a new tetrahedron incident to pVtx, or null (the vertex waits for a later round).
    Tet3* insertLocatedInRegion(Point3* pVtx, Tet3* pLocated);
    const KeyRange& getRegion() const { return region; }
    // The run's records not handed out (never written): first and count.
    std::pair<Tet3*, int> unusedRun() const { return {pNextRecord, static_cast<int>(pRecordsEnd - pNextRecord)}; }

private:
    template <bool bInRegion>
    int walk(const Point3* pVtx, Tet3*& pStartTet) const;
    int locateOnEdge(Tet3*& pStartTet, int opp3ICI, int opp2ICI) const;
    Tet3* takeRecord();
    Tet3* insertInsideHull(Point3* pVtx, Tet3* pLocated);
    Tet3* insertOutsideHull(Point3* pVtx, Tet3* pCurTet, int opp3ICI);
    void collectVisibleHullTets(const Point3* pVtx, Tet3* pHullTet, int hullFace);
    bool conflicts(Tet3* pTet, const Point3* pVtx);
    void doom(Tet3* pTet);
    bool growOwnedConflictRegion(const Point3* pVtx, Tet3* pLocated);
    Tet3* fillOwnedCavity(Point3* pVtx);
    Tet3* fillCavityFacet(Point3* pVtx, Tet3* pDoomedTet, int face, Tet3* pOppTet);
    Tet3* createCap(Point3* pVtx, Tet3* pHullTet, int face);
    Tet3* fillConflictRegionOutsideHull(Point3* pVtx);

    // Neighbour registration through the facet hash.
    void registerTets(Tet3* fromTet, int ith, Tet3* toTet, int jth);
    Tet3* createJoinedTet(Point3* pVtx, Point3* a, Point3* b, Point3* c);
    // p1, p2, p3: the new tetrahedron's corners 1, 2, 3.
    void registerSideFacets(Tet3* pNewTet, Point3* p1, Point3* p2, Point3* p3);
    void storeOrGlue(Point3* pFirst, Point3* pSecond, Tet3* pTet, int index);
    void advanceInsertionStamp();
    void growFacetTable();
    void checkAllFacetsGlued();

    SimplePool<Tet3>& tetPool;
    const GeomTest3& predicates;
    std::vector<Tet3*> vDoomedTets;
    std::vector<Tet3*> vRecycledTets;
    // Pending side facets of the current insertion (open addressing, power-of-two size).
    std::vector<TwoTetStruct> vFacetTable;
    // Advances at every insertion: frees the facet slots and the tetrahedra's outside marks at once.
    unsigned insertionStamp;
    int facetShift;
    size_t numFacetSlotsUsed;
    int numStoredTCS;

    // The region of a parallel batch; all keys and no budget on the sequential path.
    KeyRange region;
    Tet3* pNextRecord;
    Tet3* pRecordsEnd;
    int nextLabel;
    int labelsEnd;
    bool bBudgeted;

    // Scratch lists of one insertion; members so that their capacity survives between insertions.
    std::vector<Tet3*> vStack;
    std::vector<Tet3*> vConflictTets;
    // A facet of a region's cavity: face `face` of a doomed tetrahedron, and the survivor across it.
    struct CavityFacet {
        Tet3* pDoomedTet;
        Tet3* pOppTet;
        int face;
    };
    std::vector<CavityFacet> vCavityFacets;
    std::vector<Tet3*> vCapTets;
    std::vector<Edge3> vEdgeStack;
    std::vector<std::pair<const Point3*, const Point3*>> vSeenEdges;
};

} // namespace VESK3D
