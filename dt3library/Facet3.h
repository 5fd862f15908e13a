#pragma once

namespace VESK3D {

class Edge3;
class Tet3;

// A triangular facet seen from one of its (at most two) tetrahedra: the facet of tet opposite
// corner opp3. Its corners run in the order that keeps the tetrahedron's orientation.
class Facet3 {
public:
    Facet3(Tet3* tet_, int opp3_) : tet(tet_), opp3(opp3_) {}

    Tet3* getTet() const { return tet; }
    int getOpp3Index() const { return opp3; }
    // The corner index in tet of the facet's ith corner.
    int getIntraTetIndex(int ith) const;
    // The facet's edge opposite its ith corner.
    Edge3 getEdge(int ith) const;

    // Also true when f names the same facet from the neighbouring tetrahedron.
    bool operator==(const Facet3& f) const;
    bool operator!=(const Facet3& f) const { return !(*this == f); }

private:
    Tet3* tet;
    int opp3;
};

} // namespace VESK3D
