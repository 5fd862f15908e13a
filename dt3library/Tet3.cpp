#include "Tet3.h"

#include <ostream>
#include <string>

#include "GeomTest3.h"

namespace VESK3D {

std::atomic<int> Tet3::runningLabel{1000};

const std::pair<int, int> Tet3::aFacetEdgeIndices[12] = {
    {1, 3}, {3, 2}, {2, 1}, //
    {0, 2}, {2, 3}, {3, 0}, //
    {0, 3}, {3, 1}, {1, 0}, //
    {0, 1}, {1, 2}, {2, 0}};

Tet3::Tet3() : hasBeenVisited(false), aLinkBytes{}, label(runningLabel.fetch_add(1, std::memory_order_relaxed)), customIndex(-1), outsideMark(0)
{
    messageStream(MESSAGE_WARNING) << "Tet default constructor (is actually not called)" << std::endl;
}

Tet3::Tet3(const Tet3&)
{
    messageStream(MESSAGE_WARNING) << "CCTOR of Tet3" << std::endl;
}

bool Tet3::hasVertex(const Point3& p) const
{
    for (int i = 0; i < 4; ++i) {
        const Point3* pCorner = getCorner(i);
        if (pCorner != nullptr && *pCorner == p) return true;
    }
    return false;
}

void Tet3::rejectNullCorner(const Point3* pI, const Point3* pJ, const Point3* pK, const Point3* pL)
{
    VESK_ASSERT((pI!=NULL && pJ!=NULL && pK!=NULL && pL!=NULL));
}

void Tet3::reportSelfNeighbor(int ith, const Tet3* pC) const
{
    messageStream(MESSAGE_ERROR) << "this=" << static_cast<const void*>(this) << ", pC=" << static_cast<const void*>(pC)
                                 << std::endl
                                 << *this;
    error("Tet3::setOppTet()", "trying to set *this as neighbor of *this, ith=" + std::to_string(ith));
    VESK_ASSERT(this!=pC);
}

void Tet3::dieNotNeighbor(const Tet3* pT) const
{
    std::ostream& out = messageStream(MESSAGE_ERROR);
    out << "Tet3::getIntraTetIndex went wrong: ";
    if (pT != nullptr)
        out << *pT;
    else
        out << "NULL";
    out << ", this is " << *this << std::endl;
    exitProcess();
}

int Tet3::getIntraTetIndexInOppTetForReg(const Tet3* pT, int ith) const
{
    if (!range03(ith)) {
        VESK_ASSERT(false);
        return -1;
    }
    const Point3* p0 = pT->getCorner(0);
    const Point3* p1 = pT->getCorner(1);
    const Point3* p2 = pT->getCorner(2);
    const Point3* p3 = pT->getCorner(3);
    int a, b, c;
    getFacetIndices(ith, a, b, c);
    const Point3* const pFacetA = pT->getCorner(a);
    const Point3* const pFacetB = pT->getCorner(b);
    const Point3* const pFacetC = pT->getCorner(c);
    for (int k = 0; k < 4; ++k) {
        const Point3* pd = getCorner(k);
        if (pd != pFacetA && pd != pFacetB && pd != pFacetC) return k;
    }
    // Every corner lies on the facet: the two records cannot be neighbours.
    const Point3* pd = getCorner(3);
    switch (ith) {
    case 0: VESK_ASSERT(pd!=p1 && pd!=p2 && pd!=p3); break;
    case 1: VESK_ASSERT(pd!=p0 && pd!=p2 && pd!=p3); break;
    case 2: VESK_ASSERT(pd!=p0 && pd!=p1 && pd!=p3); break;
    default: VESK_ASSERT(pd!=p0 && pd!=p1 && pd!=p2); break;
    }
    return 3;
}

Point3* Tet3::getOppVtxInOppTet(int ith, bool bNullAllowed) const
{
    assert(range03(ith));
    const Tet3* pNeighbor = getOppTet(ith);
    if (pNeighbor != nullptr) return pNeighbor->getCorner(pNeighbor->getIntraTetIndex(this));
    if (!bNullAllowed) {
        error("Tet3::getOppVtxInOppTet", "no neighbor tet");
        VESK_ASSERT(false);
    }
    return nullptr;
}

namespace {
void printFacetIndices(int opp)
{
    int a, b, c;
    Tet3::getFacetIndices(opp, a, b, c);
    messageStream(MESSAGE_ERROR) << a << "," << b << "," << c << std::endl;
}
} // namespace

bool Tet3::haveCommonFacet(Tet3* pT0, int opp0, Tet3* pT1, int opp1)
{
    int a0, b0, c0, a1, b1, c1;
    getFacetIndices(opp0, a0, b0, c0);
    getFacetIndices(opp1, a1, b1, c1);
    const Point3* aFirst[3] = {pT0->getCorner(a0), pT0->getCorner(b0), pT0->getCorner(c0)};
    const Point3* aSecond[3] = {pT1->getCorner(a1), pT1->getCorner(b1), pT1->getCorner(c1)};
    bool bAllShared = true;
    for (const Point3* p : aFirst) bAllShared = bAllShared && (p == aSecond[0] || p == aSecond[1] || p == aSecond[2]);
    if (bAllShared) return true;

    messageStream(MESSAGE_ERROR) << "Tet3::haveCommonFacet() ERROR" << std::endl
                                 << *pT0 << "...with index " << opp0 << std::endl;
    printFacetIndices(opp0);
    messageStream(MESSAGE_ERROR) << *pT1 << "...with index " << opp1 << std::endl;
    printFacetIndices(opp1);
    exitProcess();
}

Edge3 Tet3::getEdge(int opp3ICI, int opp2ICI)
{
    if (opp3ICI == opp2ICI) {
        error("Tet3::getEdge()", "opp3ICI==opp2ICI=" + std::to_string(opp3ICI));
        VESK_ASSERT(opp3ICI!=opp2ICI);
    }
    return Edge3(this, opp3ICI, opp2ICI);
}

Point3 Tet3::getCircumcenter() const
{
    const Point3& origin = *getCorner(0);
    const Vector3 a = *getCorner(1) - origin;
    const Vector3 b = *getCorner(2) - origin;
    const Vector3 c = *getCorner(3) - origin;
    const Vector3 bc = b.cross(c);
    const Vector3 ca = c.cross(a);
    const Vector3 ab = a.cross(b);
    const double aa = a.dot(a), bb = b.dot(b), cc = c.dot(c);
    const double scale = 0.5 / a.dot(bc);
    return origin + Vector3((aa * bc.x + bb * ca.x + cc * ab.x) * scale, (aa * bc.y + bb * ca.y + cc * ab.y) * scale,
                            (aa * bc.z + bb * ca.z + cc * ab.z) * scale);
}

int Tet3::debug_getOppTetIndex(int ith) const
{
    assert(range03(ith));
    if (getOppTet(ith) == nullptr) return -1;
    messageStream(MESSAGE_WARNING) << "Tet3::debug_getTetIndex(): Not implemented yet" << std::endl;
    return 0;
}

namespace {
// A record that never went through setProperties has no corners to orient.
std::string orientationName(const Tet3& tet)
{
    Point3 *p0, *p1, *p2, *p3;
    tet.getCorners(p0, p1, p2, p3);
    if (p0 == nullptr || p1 == nullptr || p2 == nullptr || p3 == nullptr) return "(corner missing)";
    const GeomTest3 predicates;
    return predicates.getOrientationName(predicates.getOrientation3(p0, p1, p2, p3));
}
} // namespace

std::ostream& operator<<(std::ostream& os, const Tet3& tet)
{
    os << "Tetrahedron (ID=" << tet.getLabel() << "), (this=" << static_cast<const void*>(&tet)
       << "): hasBeenVisited=" << tet.hasBeenVisited << ", ownOri=" << orientationName(tet) << std::endl;
    for (int ith = 0; ith < 4; ++ith) {
        const Point3* pVertex = tet.getCorner(ith);
        const Tet3* pNeighbor = tet.getOppTet(ith);
        os << "ith=" << ith << ", vertex (" << static_cast<const void*>(pVertex) << "): ";
        if (pVertex != nullptr)
            os << *pVertex;
        else
            os << "NULL";
        os << "  oppTet=" << static_cast<const void*>(pNeighbor);
        if (pNeighbor == nullptr) os << " (NULL)";
        os << std::endl;
    }
    return os;
}

} // namespace VESK3D
