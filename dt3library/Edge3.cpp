#include "Edge3.h"

#include <functional>
#include <iostream>

#include "Tet3.h"

namespace VESK3D {

namespace {
// (source, target) for row opp3, column opp2: the edge runs in the cyclic order of facet opp3 as
// Tet3::getFacetIndices lists it. The diagonal names no edge.
const int aSourceTarget[16][2] = {
    {-99, -99}, {2, 3}, {3, 1}, {1, 2},   //
    {3, 2}, {-99, -99}, {0, 3}, {2, 0},   //
    {1, 3}, {3, 0}, {-99, -99}, {0, 1},   //
    {2, 1}, {0, 2}, {1, 0}, {-99, -99}};
} // namespace

Edge3::Edge3(Tet3* tet_, int opp3_, int opp2_) : tet(tet_), opp3(opp3_), opp2(opp2_)
{
    Point3* pSource = tet->getCorner(getSourceIndex());
    Point3* pTarget = tet->getCorner(getTargetIndex());
    const bool bSourceIsLow = std::less<Point3*>()(pSource, pTarget);
    lowVertex = bSourceIsLow ? pSource : pTarget;
    highVertex = bSourceIsLow ? pTarget : pSource;
}

int Edge3::getSourceIndex() const { return aSourceTarget[opp3 * 4 + opp2][0]; }
int Edge3::getTargetIndex() const { return aSourceTarget[opp3 * 4 + opp2][1]; }
Point3* Edge3::getSourceVtx() const { return tet->getCorner(getSourceIndex()); }
Point3* Edge3::getTargetVtx() const { return tet->getCorner(getTargetIndex()); }

bool Edge3::operator==(const Edge3& e) const
{
    const Point3* pSource = getSourceVtx();
    const Point3* pTarget = getTargetVtx();
    const Point3* pOtherSource = e.getSourceVtx();
    const Point3* pOtherTarget = e.getTargetVtx();
    return (pSource == pOtherSource && pTarget == pOtherTarget) || (pSource == pOtherTarget && pTarget == pOtherSource);
}

bool Edge3::operator<(const Edge3& e) const
{
    const std::less<const Point3*> before;
    if (before(lowVertex, e.lowVertex)) return true;
    if (before(e.lowVertex, lowVertex)) return false;
    return before(highVertex, e.highVertex);
}

std::ostream& operator<<(std::ostream& os, const Edge3& e)
{
    const Tet3* pTet = e.getTet();
    const auto corner = [pTet](int ici) { return static_cast<const void*>(pTet->getCorner(ici)); };
    os << "Edge (pTet" << static_cast<const void*>(pTet) << "): " << std::endl;
    os << "opp3ICI=" << e.getOpp3Index() << ", " << corner(e.getOpp3Index()) << std::endl;
    os << "opp2ICI=" << e.getOpp2Index() << ", " << corner(e.getOpp2Index()) << std::endl;
    os << "srcICI=" << e.getSourceIndex() << ", " << corner(e.getSourceIndex()) << std::endl;
    os << "trgICI=" << e.getTargetIndex() << ", " << corner(e.getTargetIndex()) << std::endl;
    return os;
}

} // namespace VESK3D
