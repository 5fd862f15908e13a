#include "TetAroundEdgeIterator.h"

#include <ostream>
#include <string>

#include "Tet3.h"
#include "tools.h"

namespace VESK3D {

TetAroundEdgeIterator& TetAroundEdgeIterator::operator++()
{
    Tet3* pTet = currentEdge.getTet();
    Tet3* pNext = pTet->getOppTet(currentEdge.getOpp2Index());
    const int opp3InNext = pNext->getIntraTetIndex(pTet);
    const Point3* pSource = currentEdge.getSourceVtx();
    const Point3* pTarget = currentEdge.getTargetVtx();
    // The one remaining corner of pNext is the old opp3 corner, which becomes the new opp2.
    int opp2InNext = 0;
    for (; opp2InNext < 3; ++opp2InNext) {
        const Point3* pCorner = pNext->getCorner(opp2InNext);
        if (opp2InNext != opp3InNext && pCorner != pSource && pCorner != pTarget) break;
    }
    currentEdge = Edge3(pNext, opp3InNext, opp2InNext);
    return *this;
}

bool TetAroundEdgeIterator::nextIsNull() const { return previewNextTet() == nullptr; }

Tet3* TetAroundEdgeIterator::previewNextTet() const { return currentEdge.getTet()->getOppTet(currentEdge.getOpp2Index()); }

void TetAroundEdgeIterator::setPayload(Tet3* pTet)
{
    VESK_ASSERT(storedPayload==NULL);
    storedPayload = pTet;
}

Tet3* TetAroundEdgeIterator::getPayload() const
{
    VESK_ASSERT(storedPayload!=NULL);
    return storedPayload;
}

void TetAroundEdgeIterator::setPayloadICI(int ici)
{
    VESK_ASSERT(storedPayloadICI==-1);
    storedPayloadICI = ici;
}

int TetAroundEdgeIterator::getPayloadICI() const
{
    VESK_ASSERT(storedPayloadICI!=-1);
    return storedPayloadICI;
}

void TetAroundEdgeIterator::debug() const
{
    const std::string rule(35, '-');
    std::ostream& out = messageStream(MESSAGE_DUMP);
    out << rule << std::endl;
    out << "# This is a TetAroundEdgeIterator:" << std::endl;
    out << currentEdge;
    out << rule << std::endl << std::endl;
}

} // namespace VESK3D
