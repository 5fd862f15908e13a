#pragma once
// Small meshes built by hand, independently of the engine: the corners come from simple
// constructions, orientation is decided exactly, and neighbour links are found by brute force.
#include <memory>
#include <vector>

#include <Vesk_3D.h>

namespace VeskTest {

// Owns its points and tetrahedra. Records are initialised through setProperties like the engine
// does, with corners 2 and 3 swapped where needed so that every record is positively oriented.
class HandBuiltMesh {
public:
    // m tetrahedra around the interior edge (0,0,-1)-(0,0,1), their other corners on the unit circle.
    static std::unique_ptr<HandBuiltMesh> fan(int m);
    // The n x n x n block of unit cubes, each split into the six tetrahedra along its main diagonal.
    static std::unique_ptr<HandBuiltMesh> cubeGrid(int n);

    std::vector<VESK3D::Tet3*> tets() const;
    VESK3D::Point3* point(int index) const { return vPoints[index].get(); }

    // The tetrahedra having both points as corners, by scanning all records.
    std::vector<VESK3D::Tet3*> tetsAroundEdge(const VESK3D::Point3* p, const VESK3D::Point3* q) const;

private:
    VESK3D::Point3* addPoint(double x, double y, double z);
    void addTet(VESK3D::Point3* p0, VESK3D::Point3* p1, VESK3D::Point3* p2, VESK3D::Point3* p3);
    // Links every pair of records that share three corners.
    void linkAll();

    // The records never ran a constructor, so only their storage is given back.
    struct RawStorageDelete {
        void operator()(VESK3D::Tet3* pTet) const { ::operator delete(pTet); }
    };

    std::vector<std::unique_ptr<VESK3D::Point3>> vPoints;
    std::vector<std::unique_ptr<VESK3D::Tet3, RawStorageDelete>> vTets;
};

// True when the corner set of facet `opp` of pT (its three corners other than opp) contains p.
bool facetContains(const VESK3D::Tet3* pT, int opp, const VESK3D::Point3* p);

} // namespace VeskTest
