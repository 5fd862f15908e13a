#pragma once
// Vesk3D: the 3D Delaunay tetrahedralization library. Including this header gives a host program
// the whole exported API of namespace VESK3D.
#include <string>
#include <vector>

#include "Ball3.h"
#include "Bbox3.h"
#include "Edge3.h"
#include "Facet3.h"
#include "Point3.h"
#include "Tet3.h"
#include "TetAroundEdgeIterator.h"
#include "Segment3.h"
#include "Triangle3.h"
#include "Vector3.h"
#include "VeskException.h"
#include "testDataGenerators.h"
#include "timers.h"
#include "tools.h"

namespace VESK3D {

class Dt3;
class Tet3;

// The mesh as flat arrays, for hosts that hand it on (files, NumPy, solvers) rather than walk
// pointers. Vertex i is the i-th of getVertices, tetrahedron t the t-th of getTetrahedra.
struct MeshArrays {
    std::vector<double> vCoordinates; // x, y, z per vertex
    std::vector<int> vTetCorners;     // 4 vertex indices per tetrahedron, in stored corner order (positively oriented)
    std::vector<int> vTetNeighbors;   // 4 tetrahedron indices per tetrahedron: neighbour i opposite corner i, -1 on the hull; empty when not asked for
    std::vector<int> vInputVertices;  // the vertex index of every input point of the last batch insertion, in input order
};

// The arrays exportMesh fills; those left out come back empty. A host that keeps its own copy of
// the points, or wants the neighbours only later, saves their time and memory (at a million
// points the corners alone are 100 MB).
struct MeshExportParts {
    bool bCoordinates = true;
    bool bCorners = true;
    bool bNeighbors = true;
    // vTetCorners and vInputVertices name each vertex by its custom index instead of its place in
    // getVertices. A vertex carries the custom index of the first input point it was made from, so
    // a host that numbered its points that way gets its own numbering back, duplicates mapped to
    // their first occurrence, without a map from vertices to points.
    bool bCustomIndices = false;
};

// The triangulation: insert points singly or in batches, then read back vertices, tetrahedra,
// vertex stars and point locations. Point3* handles stay valid for the life of the object; a
// Tet3* only until the next insertion, which may recycle it.
class Vesk_3D {
public:
    Vesk_3D();
    ~Vesk_3D();
    Vesk_3D(const Vesk_3D&) = delete;
    Vesk_3D& operator=(const Vesk_3D&) = delete;

    // Returns the vertex of p: an existing one when an equal point was inserted before. A single
    // point does not count as a batch: exportMesh's vInputVertices still maps the last batch.
    Point3* insert(Point3& p);
    // Both batch insertions remember the vertex of each input point (8 bytes a point, until the
    // next batch) for exportMesh; a batch that throws leaves that map empty.
    void insert(std::vector<Point3>& vPoints);
    // vUserHandles (empty on entry) receives one vertex per input point.
    void insert(std::vector<Point3>& vPoints, std::vector<Point3*>& vUserHandles);

    bool is3D() const;
    void getVertices(std::vector<Point3*>& vVertices) const;
    size_t getNumVertices() const;
    void getTetrahedra(std::vector<Tet3*>& vTetrahedra) const;
    // The tetrahedron containing p, or null when p is outside the hull or nothing is triangulated.
    Tet3* locate(const Point3& p);
    void getTetsAroundVertex(Point3* pVtx, std::vector<Tet3*>& vTets);
    void setVerbosity(bool bVerbose);
    // Threads for batch insertions. 1, the default, is the sequential engine; from 2 on, the large
    // steps of a batch run on that many threads, and the mesh and the order in which getTetrahedra
    // lists it are the same for every such count and every run (wherever the Delaunay
    // tetrahedralization is unique, they are the sequential engine's tetrahedra, in another
    // order). 0 means every hardware thread. Single points are always inserted sequentially.
    void setNumThreads(int n);
    int getNumThreads() const;

    // Fills `arrays` (any previous content is replaced) with the current mesh; vTetNeighbors only
    // when bWithNeighbors. Before the first tetrahedron there are vertices but no tetrahedra. Linear
    // time, and the records are only read, so several exports may run at once. Indices are int:
    // more than INT_MAX vertices or tetrahedra fail the assertion "numRecords<=INT_MAX".
    void exportMesh(MeshArrays& arrays, bool bWithNeighbors = true) const;
    // The same with a choice of arrays; vInputVertices is always filled.
    void exportMesh(MeshArrays& arrays, const MeshExportParts& parts) const;
    // For numPoints query points (x, y, z consecutive in pXyz), writes to pTetIndices the index, in
    // exportMesh's numbering of the current mesh, of the tetrahedron that locate() finds for each
    // point, or -1 where it finds none (outside the hull, or before the first tetrahedron). Each
    // call numbers the whole mesh once, so ask for many points in one call.
    void locateTetIndices(const double* pXyz, size_t numPoints, int* pTetIndices);

    // Diagnostics. checkValidity checks that every facet separates its two tetrahedra and, with
    // checkSphereInclusion, that no neighbour vertex lies strictly inside a circumsphere; the first
    // defect is reported through the message sink with a scene file in the current directory, and the
    // result is false. A traversal mark left set on a tetrahedron throws VeskException.
    bool checkValidity(const std::string& name, bool checkSphereInclusion) const;
    // Dumps every tetrahedron through the message sink.
    void print(const std::string& name) const;
    // Writes the mesh as an OOGL scene, with pVtx (may be null) marked in red.
    void show(const std::string& filename, Point3* pVtx) const;

private:
    Dt3* pDt;
    std::vector<Point3*> vLastBatchVertices;
};

int getMajorVersionNumber();
int getMinorVersionNumber();
int getRevisionNumber();
// False in the configuration with standard assertions active ("DEBUG"), true in an NDEBUG build.
bool isRelease();
std::string getVesk3DVersion();

} // namespace VESK3D
