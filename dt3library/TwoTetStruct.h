#pragma once

namespace VESK3D {

class Point3;
class Tet3;

// A side facet of a new tetrahedron waiting for its partner during one insertion. The facet is
// named by its two old vertices (the new vertex is the third corner of every such facet).
struct TwoTetStruct {
    Point3* pFirst;  // lower address
    Point3* pSecond; // higher address
    Tet3* pTet;
    int index;       // the facet's index in pTet (1, 2 or 3)
    unsigned stamp;  // the insertion that stored it; older stamps mark a free table slot
};

} // namespace VESK3D
