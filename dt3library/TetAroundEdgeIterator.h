#pragma once
#include <cstddef>

#include "Edge3.h"

namespace VESK3D {

class Tet3;

// Circulates through the tetrahedra around one edge, always turning the same way. Around a hull
// edge the ring is open: check nextIsNull() before each step. The payload slots are the caller's
// scratch space; the iterator never reads them.
class TetAroundEdgeIterator {
public:
    explicit TetAroundEdgeIterator(const Edge3& e) : currentEdge(e), storedPayload(nullptr), storedPayloadICI(-1) {}
    // The payload index is deliberately not carried over: a copy starts with an empty index slot.
    TetAroundEdgeIterator(const TetAroundEdgeIterator& other)
        : currentEdge(other.currentEdge), storedPayload(other.storedPayload), storedPayloadICI(-1)
    {
    }
    TetAroundEdgeIterator& operator=(const TetAroundEdgeIterator& other) = default;

    Tet3* operator*() const { return currentEdge.getTet(); }
    // The next tetrahedron must exist (see nextIsNull()).
    TetAroundEdgeIterator& operator++();
    bool nextIsNull() const;
    Tet3* previewNextTet() const;
    bool operator==(const TetAroundEdgeIterator& it) const
    {
        return currentEdge.getTet() == it.currentEdge.getTet() && currentEdge == it.currentEdge;
    }
    bool operator!=(const TetAroundEdgeIterator& it) const { return !(*this == it); }

    Edge3 getEdge() const { return currentEdge; }
    int getOpp3Index() const { return currentEdge.getOpp3Index(); }
    int getOpp2Index() const { return currentEdge.getOpp2Index(); }

    void setPayload(Tet3* pTet);
    Tet3* getPayload() const;
    void setPayloadICI(int ici);
    int getPayloadICI() const;

    void debug() const;

private:
    Edge3 currentEdge;
    Tet3* storedPayload;
    int storedPayloadICI;
};

} // namespace VESK3D
