#pragma once
#include <cassert>
#include <cstddef>
#include <iosfwd>
#include <utility>

#include "Edge3.h"
#include "Facet3.h"
#include "Point3.h"
#include "tools.h"

namespace VESK3D {

// The tetrahedron record: four corners, four neighbours (neighbour i lies across the facet
// opposite corner i, null on the hull), a traversal mark, an identifier and a free work slot.
// Records live in the engine's pool and are (re)initialised by setProperties(), never constructed.
class Tet3 {
public:
    Tet3();
    Tet3& operator=(const Tet3& other) = default;
    ~Tet3() {}

    void setProperties(Point3* pI, Point3* pJ, Point3* pK, Point3* pL)
    {
        // Bitwise or keeps the check nearly branch-free; the report stays out of line.
        if ((pI == nullptr) | (pJ == nullptr) | (pK == nullptr) | (pL == nullptr)) rejectNullCorner(pI, pJ, pK, pL);
        label = runningLabel++;
        aVertexPointer[0] = pI;
        aVertexPointer[1] = pJ;
        aVertexPointer[2] = pK;
        aVertexPointer[3] = pL;
        pI->setOneTet(this);
        pJ->setOneTet(this);
        pK->setOneTet(this);
        pL->setOneTet(this);
        for (Tet3*& pNeighbor : aOppTets) pNeighbor = nullptr;
        hasBeenVisited = false;
        customIndex = -1;
    }

    int getLabel() const { return label; }
    int getCustomIndex() const { return customIndex; }
    void setCustomIndex(int index) { customIndex = index; }

    Point3* getCorner(int ith) const
    {
        assert(range03(ith));
        return aVertexPointer[ith];
    }
    // Leaves the point's oneTet alone: the caller decides which tetrahedron a vertex remembers.
    void setCorner(int ith, Point3* p)
    {
        assert(range03(ith));
        aVertexPointer[ith] = p;
    }
    void getCorners(Point3*& p0, Point3*& p1, Point3*& p2, Point3*& p3) const
    {
        p0 = aVertexPointer[0];
        p1 = aVertexPointer[1];
        p2 = aVertexPointer[2];
        p3 = aVertexPointer[3];
    }
    bool hasVertex(const Point3* p) const
    {
        return aVertexPointer[0] == p || aVertexPointer[1] == p || aVertexPointer[2] == p || aVertexPointer[3] == p;
    }
    // Compares coordinates, so an equal point that is not the vertex itself also counts.
    bool hasVertex(const Point3& p) const;
    int getIntraTetIndex(const Point3* pp) const
    {
        if (aVertexPointer[0] == pp) return 0;
        if (aVertexPointer[1] == pp) return 1;
        if (aVertexPointer[2] == pp) return 2;
        VESK_ASSERT(aVertexPointer[3]==pp);
        return 3;
    }

    Tet3* getOppTet(int ith) const
    {
        assert(range03(ith));
        return aOppTets[ith];
    }
    Tet3* getOppTet(const Point3* pp) const { return aOppTets[getIntraTetIndex(pp)]; }
    void setOppTet(int ith, Tet3* pC)
    {
        if (pC == this) reportSelfNeighbor(ith, pC);
        assert(range03(ith));
        aOppTets[ith] = pC;
    }
    // A pT that is not a neighbour means the links are broken; the process ends with exit code 1.
    int getIntraTetIndex(const Tet3* pT) const
    {
        for (int i = 0; i < 4; ++i) {
            if (aOppTets[i] == pT) return i;
        }
        dieNotNeighbor(pT);
    }
    // Neighbour ith must exist.
    int getIntraTetIndexInOppTet(int ith) const { return aOppTets[ith]->getIntraTetIndex(this); }
    // For gluing before the back-link exists: this record's corner that is not on pT's facet ith.
    int getIntraTetIndexInOppTetForReg(const Tet3* pT, int ith) const;
    // The neighbour's corner opposite the shared facet; a missing neighbour is an error unless allowed.
    Point3* getOppVtxInOppTet(int ith, bool bNullAllowed) const;
    // Returns true or ends the process: a mismatch means the mesh is corrupt.
    static bool haveCommonFacet(Tet3* pT0, int opp0, Tet3* pT1, int opp1);

    // Facet opp3's corners, ordered against the tetrahedron's orientation (reverse of Facet3 order).
    static void getFacetIndices(int opp3, int& a, int& b, int& c)
    {
        assert(range03(opp3));
        a = aFacetEdgeIndices[opp3 * 3].first;
        b = aFacetEdgeIndices[opp3 * 3 + 2].first;
        c = aFacetEdgeIndices[opp3 * 3 + 1].first;
    }
    // The j-th directed edge of facet i in Facet3 order. Unchecked: only j = 0..2 is meaningful.
    static std::pair<int, int> getEdgeIndices(int i, int j) { return aFacetEdgeIndices[i * 3 + j]; }
    Facet3 getFacet(int ith) { return Facet3(this, ith); }
    Edge3 getEdge(int opp3ICI, int opp2ICI);

    // Not defined for a flat tetrahedron: the coordinates come out infinite or NaN.
    Point3 getCircumcenter() const;
    int debug_getOppTetIndex(int ith) const;

    bool hasBeenVisited;
    static int runningLabel;

private:
    // Records are never copied; the message reveals an accidental copy.
    Tet3(const Tet3& other);
    static void rejectNullCorner(const Point3* pI, const Point3* pJ, const Point3* pK, const Point3* pL);
    void reportSelfNeighbor(int ith, const Tet3* pC) const;
    [[noreturn]] void dieNotNeighbor(const Tet3* pT) const;

    // Facet i's directed edges in Facet3 order, so entry i*3+j starts at the facet's j-th corner.
    static const std::pair<int, int> aFacetEdgeIndices[12];

    int label;
    Point3* aVertexPointer[4];
    Tet3* aOppTets[4];
    int customIndex;
};

// The pool hands out records in blocks; keep the record at its intended footprint.
static_assert(sizeof(void*) != 8 || sizeof(Tet3) == 80, "Tet3 must stay 80 bytes on 64-bit platforms");

// Multi-line dump: identifier, address, visited flag and orientation, then each corner and neighbour.
std::ostream& operator<<(std::ostream& os, const Tet3& tet);

} // namespace VESK3D
