#pragma once
#include <iosfwd>

namespace VESK3D {

class Point3;
class Tet3;

// An edge seen from one tetrahedron that contains it: opp3 names a facet of tet through the edge
// (the facet opposite corner opp3) and opp2 that facet's corner off the edge. The endpoints are
// also kept sorted by address as a direction-free key.
class Edge3 {
public:
    // Names no edge: its source and target indices read -99.
    Edge3() : tet(nullptr), opp3(0), opp2(0), lowVertex(nullptr), highVertex(nullptr) {}
    Edge3(Tet3* tet_, int opp3_, int opp2_);

    Tet3* getTet() const { return tet; }
    int getOpp3Index() const { return opp3; }
    int getOpp2Index() const { return opp2; }
    // Corner indices in tet; -99 when opp3 == opp2.
    int getSourceIndex() const;
    int getTargetIndex() const;
    Point3* getSourceVtx() const;
    Point3* getTargetVtx() const;

    // Same endpoints in either direction, whichever tetrahedra the two edges are seen from.
    bool operator==(const Edge3& e) const;
    bool operator!=(const Edge3& e) const { return !(*this == e); }
    // Arbitrary but stable, for sorted containers.
    bool operator<(const Edge3& e) const;

private:
    Tet3* tet;
    int opp3;
    int opp2;
    Point3* lowVertex;
    Point3* highVertex;
};

std::ostream& operator<<(std::ostream& os, const Edge3& e);

} // namespace VESK3D
