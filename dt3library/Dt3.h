#pragma once
// Dt3: the Delaunay engine behind Vesk_3D.
//
// What it does: keeps the Delaunay tetrahedralization of every point inserted so far, exactly, for
// any input. Points arrive singly or in batches; duplicates map to the existing vertex.
//
// What it is based on: incremental insertion. A vertex is located by a visibility walk over the
// neighbour links, the tetrahedra whose circumsphere contains it are removed (Bowyer-Watson) and
// the cavity is re-filled by joining the vertex to its boundary facets; a vertex outside the hull
// also caps the hull facets it sees. New tetrahedra find each other through a small hash of their
// side facets. Batches are ordered along a Hilbert curve and inserted coarse-to-fine so that walks
// stay short. Every geometric decision is an exact orientation or in-sphere predicate.
//
// Its limits: no removal of vertices; no infinite vertex (a hull facet simply has no neighbour);
// while every point seen is coplanar there are no tetrahedra at all, points are only held; one
// engine must not be used from two threads at once. A Tet3* is valid only until the next insertion.
#include <string>
#include <vector>

#include "GeomTest3.h"
#include "HC3.h"
#include "Point3.h"
#include "SimplePool.h"
#include "Tet3.h"
#include "TwoTetStruct.h"

namespace VESK3D {

class Vesk_3D;

class Dt3 {
public:
    explicit Dt3(Vesk_3D* pOwner);
    ~Dt3();
    Dt3(const Dt3&) = delete;
    Dt3& operator=(const Dt3&) = delete;

    Point3* insert(const Point3& p);
    void insert(const std::vector<Point3>& vPoints, std::vector<Point3*>& vUserHandles);

    bool is3D() const { return bFullDimensional; }
    void setVerbosity(bool bVerbose_) { bVerbose = bVerbose_; }
    void getVertices(std::vector<Point3*>& vVertices) const { registry.getVertices(vVertices); }
    size_t getNumVertices() const { return registry.getNumVertices(); }
    void getAllTetrahedra(std::vector<Tet3*>& vTet) const;
    void getTetsAroundVertex(Point3* pVtx, std::vector<Tet3*>& vTets) const;
    Tet3* locate(const Point3& p);

    // Walk from pStartTet towards pVtx. Returns -1 (inside, or on a non-hull facet or edge), -2 (equal
    // to a corner), 0..3 (outside the hull across that face of the returned tetrahedron) or -99 (the
    // watchdog gave up); pStartTet is left at the tetrahedron the code speaks of.
    int locateConflictTet(const Point3* pVtx, Tet3*& pStartTet) const;
    // Inserts a registered vertex; on a duplicate pVtx becomes the existing vertex. Returns a
    // tetrahedron incident to the vertex.
    Tet3* insertVertex(Point3*& pVtx, Tet3* pStartTet);
    // Builds the first tetrahedron from the first non-coplanar quadruple of registered vertices.
    Tet3* makeFirstTet();
    void triangulate(std::vector<Point3*>& vVertices, Tet3* pLastTet);

    const GeomTest3& getPredicates() const { return predicates; }
    // The pools of every tetrahedron and vertex record, for numbering records by pool position.
    const SimplePool<Tet3>& getTetPool() const { return tetPool; }
    // The index of every live tetrahedron in getAllTetrahedra's order, by pool position (-1 for the
    // records that are not in the mesh); numLive receives their count. Numbers a flat export
    // without a list of millions of pointers.
    std::vector<int> listingIndexByPosition(size_t& numLive) const;
    const SimplePool<Point3>& getVertexPool() const { return registry.getVertexPool(); }

    // Diagnostics. checkValidity tests every facet for a neighbour vertex strictly beyond it and,
    // when asked, for a neighbour vertex strictly inside the circumsphere; it reports the first
    // defect with a numbered scene file in the current directory and returns false, and throws on
    // a set visited flag. checkVisited is accepted for compatibility and ignored: visited flags
    // are always checked. show writes every tetrahedron in the rotation colours and marks pVtx
    // (may be null).
    bool checkValidity(const std::string& label, bool checkVisited, bool checkSphereInclusion) const;
    void print(const std::string& label) const;
    void show(const std::string& filename, const Point3* pVtx) const;

private:
    Tet3* createTet(Point3* a, Point3* b, Point3* c, Point3* d);
    Tet3* insertInsideHull(Point3* pVtx, Tet3* pLocated);
    Tet3* insertOutsideHull(Point3* pVtx, Tet3* pCurTet, int opp3ICI);
    void collectVisibleHullTets(const Point3* pVtx, Tet3* pHullTet, int hullFace);
    bool conflicts(Tet3* pTet, const Point3* pVtx);
    void doom(Tet3* pTet);
    Tet3* fillCavityFacet(Point3* pVtx, Tet3* pDoomedTet, int face, Tet3* pOppTet);
    Tet3* createCap(Point3* pVtx, Tet3* pHullTet, int face);
    Tet3* fillConflictRegionOutsideHull(Point3* pVtx);
    int locateOnEdge(Tet3*& pStartTet, int opp3ICI, int opp2ICI) const;
    Tet3* liveStartTet(const Point3& p, Tet3* pHint);
    Tet3* firstLiveVertexTet() const;

    // Neighbour registration through the facet hash.
    void registerTets(Tet3* fromTet, int ith, Tet3* toTet, int jth);
    Tet3* createJoinedTet(Point3* pVtx, Point3* a, Point3* b, Point3* c);
    // p1, p2, p3: the new tetrahedron's corners 1, 2, 3.
    void registerSideFacets(Tet3* pNewTet, Point3* p1, Point3* p2, Point3* p3);
    void storeOrGlue(Point3* pFirst, Point3* pSecond, Tet3* pTet, int index);
    void advanceInsertionStamp();
    void growFacetTable();
    void checkAllFacetsGlued();

    SimplePool<Tet3> tetPool;
    std::vector<Tet3*> vDoomedTets;
    std::vector<Tet3*> vRecycledTets;
    // Pending side facets of the current insertion (open addressing, power-of-two size).
    std::vector<TwoTetStruct> vFacetTable;
    // Advances at every insertion: frees the facet slots and the tetrahedra's outside marks at once.
    unsigned insertionStamp;
    int facetShift;
    size_t numFacetSlotsUsed;
    int numStoredTCS;
    GeomTest3 predicates;
    bool bFullDimensional;
    HC3 registry;
    Vesk_3D* pOwner;
    bool bVerbose;

    // Scratch lists of one insertion; members so that their capacity survives between insertions.
    std::vector<Tet3*> vStack;
    std::vector<Tet3*> vConflictTets;
    std::vector<Tet3*> vCapTets;
    std::vector<Edge3> vEdgeStack;
    std::vector<std::pair<const Point3*, const Point3*>> vSeenEdges;
};

// Every live tetrahedron. Before the first one exists there is nothing to list; asking the engine
// anyway would print its complaint.
inline std::vector<Tet3*> liveTetrahedra(const Dt3& dt)
{
    std::vector<Tet3*> vTets;
    if (dt.is3D()) dt.getAllTetrahedra(vTets);
    return vTets;
}

} // namespace VESK3D
