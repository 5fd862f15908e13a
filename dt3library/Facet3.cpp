#include "Facet3.h"

#include "Edge3.h"
#include "Tet3.h"

namespace VESK3D {

int Facet3::getIntraTetIndex(int ith) const
{
    assert(range02(ith));
    // The facet's ith edge in Facet3 order starts at its ith corner.
    return Tet3::getEdgeIndices(opp3, ith).first;
}

Edge3 Facet3::getEdge(int ith) const
{
    assert(range02(ith));
    return Edge3(tet, opp3, getIntraTetIndex(ith));
}

bool Facet3::operator==(const Facet3& f) const
{
    if (tet == f.tet && opp3 == f.opp3) return true;
    const Tet3* pNeighbor = tet->getOppTet(opp3);
    return pNeighbor != nullptr && pNeighbor == f.tet && pNeighbor->getIntraTetIndex(tet) == f.opp3;
}

} // namespace VESK3D
