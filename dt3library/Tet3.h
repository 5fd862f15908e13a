#pragma once
#include <atomic>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
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
        initialise(pI, pJ, pK, pL, runningLabel.fetch_add(1, std::memory_order_relaxed));
    }
    // With a label that the caller reserved from runningLabel before (a range per worker).
    void setProperties(Point3* pI, Point3* pJ, Point3* pK, Point3* pL, int label_)
    {
        if ((pI == nullptr) | (pJ == nullptr) | (pK == nullptr) | (pL == nullptr)) rejectNullCorner(pI, pJ, pK, pL);
        initialise(pI, pJ, pK, pL, label_);
    }

    int getLabel() const { return label; }
    int getCustomIndex() const { return customIndex; }
    void setCustomIndex(int index) { customIndex = index; }

    Point3* getCorner(int ith) const
    {
        assert(range03(ith));
        return static_cast<Point3*>(loadLink(ith));
    }
    // Leaves the point's oneTet alone: the caller decides which tetrahedron a vertex remembers.
    void setCorner(int ith, Point3* p)
    {
        assert(range03(ith));
        storeLink(ith, p);
    }
    void getCorners(Point3*& p0, Point3*& p1, Point3*& p2, Point3*& p3) const
    {
        p0 = getCorner(0);
        p1 = getCorner(1);
        p2 = getCorner(2);
        p3 = getCorner(3);
    }
    bool hasVertex(const Point3* p) const
    {
        return getCorner(0) == p || getCorner(1) == p || getCorner(2) == p || getCorner(3) == p;
    }
    // Compares coordinates, so an equal point that is not the vertex itself also counts.
    bool hasVertex(const Point3& p) const;
    int getIntraTetIndex(const Point3* pp) const
    {
        if (getCorner(0) == pp) return 0;
        if (getCorner(1) == pp) return 1;
        if (getCorner(2) == pp) return 2;
        // The condition keeps the text it has always been reported with.
        if (getCorner(3) != pp) assertionFailed("aVertexPointer[3]==pp", __FILE__, __LINE__);
        return 3;
    }

    Tet3* getOppTet(int ith) const
    {
        assert(range03(ith));
        return static_cast<Tet3*>(loadLink(4 + ith));
    }
    Tet3* getOppTet(const Point3* pp) const { return getOppTet(getIntraTetIndex(pp)); }
    void setOppTet(int ith, Tet3* pC)
    {
        if (pC == this) reportSelfNeighbor(ith, pC);
        assert(range03(ith));
        storeLink(4 + ith, pC);
    }
    // A pT that is not a neighbour means the links are broken; the process ends with exit code 1.
    int getIntraTetIndex(const Tet3* pT) const
    {
        for (int i = 0; i < 4; ++i) {
            if (getOppTet(i) == pT) return i;
        }
        dieNotNeighbor(pT);
    }
    // Neighbour ith must exist.
    int getIntraTetIndexInOppTet(int ith) const { return getOppTet(ith)->getIntraTetIndex(this); }
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
    // The next label. Process-wide and atomic, so that engines in several threads never hand out
    // the same label, and each thread's labels keep increasing.
    static std::atomic<int> runningLabel;

private:
    // Records are never copied; the message reveals an accidental copy.
    Tet3(const Tet3& other);
    static void rejectNullCorner(const Point3* pI, const Point3* pJ, const Point3* pK, const Point3* pL);
    void initialise(Point3* pI, Point3* pJ, Point3* pK, Point3* pL, int label_)
    {
        label = label_;
        storeLink(0, pI);
        storeLink(1, pJ);
        storeLink(2, pK);
        storeLink(3, pL);
        pI->setOneTet(this);
        pJ->setOneTet(this);
        pK->setOneTet(this);
        pL->setOneTet(this);
        // All four neighbours null, in one stretch of bytes.
        std::memset(aLinkBytes + linkShift / 8 + 4 * linkBytes, 0, 4 * linkBytes);
        hasBeenVisited = false;
        customIndex = -1;
        outsideMark = 0;
    }

    void reportSelfNeighbor(int ith, const Tet3* pC) const;
    [[noreturn]] void dieNotNeighbor(const Tet3* pT) const;

    // Facet i's directed edges in Facet3 order, so entry i*3+j starts at the facet's j-th corner.
    static const std::pair<int, int> aFacetEdgeIndices[12];

    // Corners 0..3 and neighbours 0..3 are links 0..7, each kept as the low 48 bits of its address
    // (every user-space address of the supported platforms fits), so that the whole record fills
    // one 64-byte cache line. Link i takes bytes 2+6i..7+6i: an 8-byte load at 6i shifted right by
    // 16 yields it, one load and one shift.
    static constexpr int linkBytes = 6;
    static constexpr int linkShift = 64 - 8 * linkBytes;
    void* loadLink(int i) const
    {
        std::uint64_t bits;
        std::memcpy(&bits, aLinkBytes + linkBytes * i, sizeof bits);
        return reinterpret_cast<void*>(static_cast<std::uintptr_t>(bits >> linkShift));
    }
    void storeLink(int i, const void* p)
    {
        const std::uint64_t bits = reinterpret_cast<std::uintptr_t>(p);
        assert(bits >> 8 * linkBytes == 0);
        std::memcpy(aLinkBytes + linkBytes * i + linkShift / 8, &bits, linkBytes);
    }

    unsigned char aLinkBytes[linkShift / 8 + 8 * linkBytes];
    int label;
    int customIndex;
    // The insertion whose conflict search found this tetrahedron outside the new vertex's sphere;
    // the engine's business, so that it tests every neighbour of a cavity once.
    unsigned outsideMark;
    friend class Inserter3;
};

#if defined(__BYTE_ORDER__)
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "Tet3's packed links assume little-endian addresses");
#endif
// One record, one cache line: the pool aligns its containers to 64 bytes.
static_assert(sizeof(void*) != 8 || sizeof(Tet3) == 64, "Tet3 must stay 64 bytes on 64-bit platforms");

// Multi-line dump: identifier, address, visited flag and orientation, then each corner and neighbour.
std::ostream& operator<<(std::ostream& os, const Tet3& tet);

} // namespace VESK3D
