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

// The triangulation: insert points singly or in batches, then read back vertices, tetrahedra,
// vertex stars and point locations. Point3* handles stay valid for the life of the object; a
// Tet3* only until the next insertion, which may recycle it.
class Vesk_3D {
public:
    Vesk_3D();
    ~Vesk_3D();
    Vesk_3D(const Vesk_3D&) = delete;
    Vesk_3D& operator=(const Vesk_3D&) = delete;

    // Returns the vertex of p: an existing one when an equal point was inserted before.
    Point3* insert(Point3& p);
    void insert(std::vector<Point3>& vPoints);
    // vUserHandles (empty on entry) receives one vertex per input point.
    void insert(std::vector<Point3>& vPoints, std::vector<Point3*>& vUserHandles);

    bool is3D() const;
    void getVertices(std::vector<Point3*>& vVertices) const;
    void getTetrahedra(std::vector<Tet3*>& vTetrahedra) const;
    // The tetrahedron containing p, or null when p is outside the hull or nothing is triangulated.
    Tet3* locate(const Point3& p);
    void getTetsAroundVertex(Point3* pVtx, std::vector<Tet3*>& vTets);
    void setVerbosity(bool bVerbose);

    // Diagnostics. checkValidity checks that every facet separates its two tetrahedra and, with
    // checkSphereInclusion, that no neighbour vertex lies strictly inside a circumsphere; the first
    // defect is reported on standard output with a scene file in the current directory, and the
    // result is false. A traversal mark left set on a tetrahedron throws VeskException.
    bool checkValidity(const std::string& name, bool checkSphereInclusion) const;
    // Dumps every tetrahedron to standard output.
    void print(const std::string& name) const;
    // Writes the mesh as an OOGL scene, with pVtx (may be null) marked in red.
    void show(const std::string& filename, Point3* pVtx) const;

private:
    Dt3* pDt;
};

int getMajorVersionNumber();
int getMinorVersionNumber();
int getRevisionNumber();
// False in the configuration with standard assertions active ("DEBUG"), true in an NDEBUG build.
bool isRelease();
std::string getVesk3DVersion();

} // namespace VESK3D
