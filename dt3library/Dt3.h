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
//
// With more than one thread, the large levels of a batch are inserted in rounds: the level's
// points are cut along the curve into parts, each part owns a range of curve keys, and workers
// insert the points of whole parts, touching only tetrahedra of their own range (see Inserter3).
// A point whose walk or cavity reaches beyond its part waits for the next round, whose cuts lie
// between the previous ones; the few left at the end, and points outside the hull, are inserted
// sequentially. Cuts, budgets of records and labels, and the order of everything done outside the
// workers depend on the data only, so the mesh and its listing order do not depend on the number
// of threads or their timing.
#include <string>
#include <vector>

#include "GeomTest3.h"
#include "HC3.h"
#include "Inserter3.h"
#include "Point3.h"
#include "SimplePool.h"
#include "Tet3.h"

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
    // Threads for batch insertions; 1 (the default) is the sequential engine. Any count from 2 up
    // gives the same mesh, listed in the same order, in every run.
    void setNumThreads(int n) { numThreads = n; }
    int getNumThreads() const { return numThreads; }
    void getVertices(std::vector<Point3*>& vVertices) const { registry.getVertices(vVertices); }
    size_t getNumVertices() const { return registry.getNumVertices(); }
    void getAllTetrahedra(std::vector<Tet3*>& vTet) const;
    void getTetsAroundVertex(Point3* pVtx, std::vector<Tet3*>& vTets) const;
    Tet3* locate(const Point3& p);

    // Walk from pStartTet towards pVtx. Returns -1 (inside, or on a non-hull facet or edge), -2 (equal
    // to a corner), 0..3 (outside the hull across that face of the returned tetrahedron) or -99 (the
    // watchdog gave up); pStartTet is left at the tetrahedron the code speaks of.
    int locateConflictTet(const Point3* pVtx, Tet3*& pStartTet) const { return sequential.locateConflictTet(pVtx, pStartTet); }
    // Inserts a registered vertex; on a duplicate pVtx becomes the existing vertex. Returns a
    // tetrahedron incident to the vertex.
    Tet3* insertVertex(Point3*& pVtx, Tet3* pStartTet) { return sequential.insertVertex(pVtx, pStartTet); }
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
    struct Part;
    Tet3* liveStartTet(const Point3& p, Tet3* pHint);
    Tet3* firstLiveVertexTet() const;
    std::vector<Point3*> meshVertices() const;
    Tet3* insertLevelInParallel(const std::vector<Point3*>& vLevel, const std::vector<std::vector<Point3*>>& vInMesh, Tet3* pLastTet);
    bool mostlyOutsideHull(const std::vector<Point3*>& vLevel, Tet3* pLastTet) const;
    void keyOnGrid(const double aMove[3], const std::vector<Point3*>& vVertices);
    bool insertRoundInParallel(std::vector<Point3*>& vPending);
    std::vector<Part> cutIntoParts(const std::vector<Point3*>& vPending);
    bool budgetParts(std::vector<Part>& vParts, std::vector<Tet3*>& vFree);
    Tet3* ownedTetNear(const Point3& p, const Inserter3::KeyRange& keys);
    Tet3* insertInRegion(Inserter3& inserter, Point3* pVtx, Tet3* pStartTet) const;

    SimplePool<Tet3> tetPool;
    GeomTest3 predicates;
    bool bFullDimensional;
    HC3 registry;
    Vesk_3D* pOwner;
    bool bVerbose;
    int numThreads;
    // Every insertion outside the parallel rounds of a batch.
    Inserter3 sequential;
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
