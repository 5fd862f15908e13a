#include "MeshChecker.h"

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <unordered_set>

#include <gmpxx.h>

#include "ExactOracle.h"
#include "WorkDir.h"

using VESK3D::Point3;
using VESK3D::Tet3;

using ::testing::AssertionFailure;
using ::testing::AssertionResult;
using ::testing::AssertionSuccess;

namespace VeskTest {

namespace {

using CoordSet = std::set<Point3>;

std::string describe(const Point3& p)
{
    std::ostringstream os;
    os.precision(17);
    os << "(" << p.x() << ", " << p.y() << ", " << p.z() << ")";
    return os.str();
}

std::string describe(const Tet3& tet)
{
    std::ostringstream os;
    os << "tet label " << tet.getLabel() << " [";
    for (int i = 0; i < 4; ++i) {
        const Point3* p = tet.getCorner(i);
        os << (i ? ", " : "") << (p ? describe(*p) : std::string("null"));
    }
    os << "]";
    return os.str();
}

// Orientation of tet with corner i replaced by q: +1 when q is on corner i's side of facet i.
int sideOfFacet(const Tet3& tet, int i, const Point3& q)
{
    const Point3* c[4] = {tet.getCorner(0), tet.getCorner(1), tet.getCorner(2), tet.getCorner(3)};
    c[i] = &q;
    return exactOrientSign(*c[0], *c[1], *c[2], *c[3]);
}

bool collinear(const Point3& a, const Point3& b, const Point3& c)
{
    const mpq_class ux = mpq_class(b.x()) - mpq_class(a.x()), uy = mpq_class(b.y()) - mpq_class(a.y()), uz = mpq_class(b.z()) - mpq_class(a.z());
    const mpq_class vx = mpq_class(c.x()) - mpq_class(a.x()), vy = mpq_class(c.y()) - mpq_class(a.y()), vz = mpq_class(c.z()) - mpq_class(a.z());
    return uy * vz == uz * vy && uz * vx == ux * vz && ux * vy == uy * vx;
}

struct HullFacet {
    const Tet3* tet;
    int index;
};

// The judge of one mesh: each check returns a failure on the first defect it finds.
class Checker {
public:
    Checker(const MeshView& mesh, const Points& vInputs, const Points& vMayBeHeld)
        : vVertices(mesh.vVertices), vTets(mesh.vTets), is3D(mesh.is3D), vInputs(vInputs), mayBeHeld(vMayBeHeld.begin(), vMayBeHeld.end())
    {
    }

    AssertionResult run()
    {
        for (auto check : {&Checker::checkRegistry, &Checker::checkDimension, &Checker::checkTetrahedra, &Checker::checkFacets,
                           &Checker::checkConnected, &Checker::checkVertexIncidence, &Checker::checkHull,
                           &Checker::checkCoverDegree}) {
            AssertionResult result = (this->*check)();
            if (!result) return result;
        }
        return AssertionSuccess();
    }

private:
    AssertionResult checkRegistry()
    {
        const CoordSet inputs(vInputs.begin(), vInputs.end());
        CoordSet registered;
        for (const Point3* p : vVertices) {
            if (!p) return AssertionFailure() << "getVertices returned a null vertex";
            if (!registered.insert(*p).second) return AssertionFailure() << "vertex " << describe(*p) << " is registered twice";
            if (!inputs.count(*p)) return AssertionFailure() << "vertex " << describe(*p) << " was never inserted";
            vertexSet.insert(p);
        }
        for (const Point3& p : inputs)
            if (!registered.count(p)) return AssertionFailure() << "input point " << describe(p) << " is not registered";
        return AssertionSuccess();
    }

    AssertionResult checkDimension()
    {
        if (is3D) {
            if (!vTets.empty()) return AssertionSuccess();
            return AssertionFailure() << "is3D() is true but getTetrahedra returned nothing";
        }
        // Before the first tetrahedron all registered points must be coplanar.
        for (std::size_t k = 2; k < vVertices.size(); ++k) {
            if (collinear(*vVertices[0], *vVertices[1], *vVertices[k])) continue;
            for (const Point3* d : vVertices)
                if (exactOrientSign(*vVertices[0], *vVertices[1], *vVertices[k], *d) != 0)
                    return AssertionFailure() << "is3D() is false although " << describe(*d) << " lies off the plane of the others";
            break;
        }
        return AssertionSuccess();
    }

    AssertionResult checkTetrahedra()
    {
        for (const Tet3* t : vTets) {
            if (!t) return AssertionFailure() << "getTetrahedra returned a null tetrahedron";
            if (!tetSet.insert(t).second) return AssertionFailure() << describe(*t) << " is listed twice";
            if (t->hasBeenVisited) return AssertionFailure() << describe(*t) << " is left marked visited";
            for (int i = 0; i < 4; ++i) {
                const Point3* p = t->getCorner(i);
                if (!p || !vertexSet.count(p)) return AssertionFailure() << describe(*t) << ": corner " << i << " is no registered vertex";
                for (int j = 0; j < i; ++j)
                    if (t->getCorner(j) == p) return AssertionFailure() << describe(*t) << ": corners " << j << " and " << i << " coincide";
            }
            const int o = exactOrientSign(*t->getCorner(0), *t->getCorner(1), *t->getCorner(2), *t->getCorner(3));
            if (o <= 0) return AssertionFailure() << describe(*t) << " is " << (o ? "negatively oriented" : "flat");
        }
        return AssertionSuccess();
    }

    // Every facet lies in one tetrahedron, and then on the hull without a neighbour, or in two that
    // link each other across it, lie strictly on its two sides and are locally Delaunay.
    AssertionResult checkFacets()
    {
        struct FacetUse {
            std::array<const Point3*, 3> corners;
            HullFacet facet;
        };
        std::vector<FacetUse> vUses;
        vUses.reserve(4 * vTets.size());
        for (const Tet3* t : vTets)
            for (int i = 0; i < 4; ++i) {
                FacetUse use{{}, {t, i}};
                for (int k = 0, m = 0; k < 4; ++k)
                    if (k != i) use.corners[m++] = t->getCorner(k);
                std::sort(use.corners.begin(), use.corners.end());
                vUses.push_back(use);
            }
        std::sort(vUses.begin(), vUses.end(), [](const FacetUse& a, const FacetUse& b) { return a.corners < b.corners; });
        for (std::size_t first = 0; first < vUses.size();) {
            std::size_t last = first + 1;
            while (last < vUses.size() && vUses[last].corners == vUses[first].corners) ++last;
            const std::size_t numHolders = last - first;
            const HullFacet other = numHolders == 2 ? vUses[first + 1].facet : HullFacet{nullptr, -1};
            const Tet3 *t = vUses[first].facet.tet, *n = other.tet;
            const int i = vUses[first].facet.index, j = other.index;
            first = last;
            if (numHolders > 2) return AssertionFailure() << "a facet of " << describe(*t) << " belongs to " << numHolders << " tetrahedra";
            if (numHolders == 1) {
                if (t->getOppTet(i)) return AssertionFailure() << describe(*t) << ": facet " << i << " has a neighbour but lies in no other tetrahedron";
                vHull.push_back({t, i});
                continue;
            }
            const Point3& apex = *n->getCorner(j);
            auto pairFailure = [&] { return AssertionFailure() << describe(*t) << " and " << describe(*n) << " across facet " << i; };
            if (t->getOppTet(i) != n || n->getOppTet(j) != t) return pairFailure() << ": the two are not linked across it";
            if (sideOfFacet(*t, i, apex) >= 0) return pairFailure() << ": not strictly on the two sides";
            if (exactInSphereSign(*t->getCorner(0), *t->getCorner(1), *t->getCorner(2), *t->getCorner(3), apex) > 0)
                return pairFailure() << ": not locally Delaunay, " << describe(apex) << " is strictly inside the circumsphere";
        }
        return AssertionSuccess();
    }

    AssertionResult checkConnected()
    {
        if (vTets.empty()) return AssertionSuccess();
        std::unordered_set<const Tet3*> reached{vTets.front()};
        std::vector<const Tet3*> vStack{vTets.front()};
        while (!vStack.empty()) {
            const Tet3* t = vStack.back();
            vStack.pop_back();
            for (int i = 0; i < 4; ++i) {
                const Tet3* n = t->getOppTet(i);
                if (n && reached.insert(n).second) vStack.push_back(n);
            }
        }
        if (reached.size() == tetSet.size()) return AssertionSuccess();
        return AssertionFailure() << "the neighbour links reach " << reached.size() << " of " << tetSet.size() << " tetrahedra";
    }

    AssertionResult checkVertexIncidence()
    {
        for (const Tet3* t : vTets)
            for (int i = 0; i < 4; ++i) meshVertices.insert(t->getCorner(i));
        for (const Point3* p : vVertices) {
            const Tet3* oneTet = p->getOneTet();
            if (meshVertices.count(p)) {
                if (!tetSet.count(oneTet)) return AssertionFailure() << "vertex " << describe(*p) << " points to no live tetrahedron";
                if (!oneTet->hasVertex(p)) return AssertionFailure() << "vertex " << describe(*p) << " points to a tetrahedron which lacks it";
                continue;
            }
            if (oneTet) return AssertionFailure() << "vertex " << describe(*p) << " was triangulated but no live tetrahedron has it";
            if (is3D && !mayBeHeld.count(*p)) return AssertionFailure() << "vertex " << describe(*p) << " is not part of the tetrahedralization";
        }
        return AssertionSuccess();
    }

    // The hull facets must form a closed surface that is convex at every edge. With the local
    // Delaunay test of every shared facet, the connected links and the cover degree below, that
    // makes the whole mesh the Delaunay tetrahedralization of its vertices.
    AssertionResult checkHull()
    {
        std::map<std::pair<const Point3*, const Point3*>, std::vector<std::pair<std::size_t, const Point3*>>> edgeUses;
        for (std::size_t h = 0; h < vHull.size(); ++h) {
            const Tet3* t = vHull[h].tet;
            for (int a = 0; a < 4; ++a)
                for (int b = a + 1; b < 4; ++b) {
                    if (a == vHull[h].index || b == vHull[h].index) continue;
                    const int third = 6 - a - b - vHull[h].index;
                    edgeUses[std::minmax(t->getCorner(a), t->getCorner(b))].push_back({h, t->getCorner(third)});
                }
        }
        for (const auto& edge : edgeUses) {
            const auto& uses = edge.second;
            if (uses.size() != 2)
                return AssertionFailure() << "the hull edge " << describe(*edge.first.first) << "-" << describe(*edge.first.second) << " lies in "
                                          << uses.size() << " hull facets";
            for (int s = 0; s < 2; ++s) {
                const HullFacet& f = vHull[uses[s].first];
                if (sideOfFacet(*f.tet, f.index, *uses[1 - s].second) < 0)
                    return AssertionFailure() << "the hull is not convex at hull facet " << f.index << " of " << describe(*f.tet);
            }
        }
        return AssertionSuccess();
    }

    // Locally consistent meshes can still wrap around the hull more than once: a point strictly
    // inside one tetrahedron must lie in no other.
    AssertionResult checkCoverDegree()
    {
        const std::size_t tries = std::min<std::size_t>(vTets.size(), 100);
        for (std::size_t k = 0; k < tries; ++k) {
            const Tet3& t = *vTets[k];
            const Point3 &a = *t.getCorner(0), &b = *t.getCorner(1), &c = *t.getCorner(2), &d = *t.getCorner(3);
            // The centroid, each corner scaled before the sum, which then cannot overflow.
            const Point3 probe(0.25 * a.x() + 0.25 * b.x() + 0.25 * c.x() + 0.25 * d.x(), 0.25 * a.y() + 0.25 * b.y() + 0.25 * c.y() + 0.25 * d.y(),
                               0.25 * a.z() + 0.25 * b.z() + 0.25 * c.z() + 0.25 * d.z());
            if (classify(t, probe) != Containment::Inside) continue;
            const Tets vHolders = bruteForceLocate(vTets, probe);
            if (vHolders.size() == 1) return AssertionSuccess();
            return AssertionFailure() << "the point " << describe(probe) << " strictly inside " << describe(t) << " lies in " << vHolders.size()
                                      << " tetrahedra";
        }
        return AssertionSuccess();
    }

    const std::vector<Point3*>& vVertices;
    const Tets& vTets;
    const bool is3D;
    const Points& vInputs;
    const CoordSet mayBeHeld;
    std::unordered_set<const Point3*> vertexSet;
    std::unordered_set<const Tet3*> tetSet;
    std::unordered_set<const Point3*> meshVertices;
    std::vector<HullFacet> vHull; // the facets without a neighbour
};

} // namespace

AssertionResult checkTetrahedralization(const MeshView& mesh, const Points& vInputs, const Points& vMayBeHeld)
{
    return Checker(mesh, vInputs, vMayBeHeld).run();
}

AssertionResult checkMesh(const VESK3D::Vesk_3D& dt, const Points& vInputs, const Points& vMayBeHeld)
{
    return checkTetrahedralization(MeshView{allVertices(dt), allTetrahedra(dt), dt.is3D()}, vInputs, vMayBeHeld);
}

Containment classify(const Tet3& tet, const Point3& q)
{
    int zeros = 0;
    for (int i = 0; i < 4; ++i) {
        const int s = sideOfFacet(tet, i, q);
        if (s < 0) return Containment::Outside;
        zeros += s == 0;
    }
    static const Containment byZeros[4] = {Containment::Inside, Containment::OnFacet, Containment::OnEdge, Containment::OnVertex};
    return byZeros[std::min(zeros, 3)];
}

bool onHullFacetOf(const Tet3& tet, const Point3& q)
{
    if (classify(tet, q) == Containment::Outside) return false;
    for (int i = 0; i < 4; ++i)
        if (!tet.getOppTet(i) && sideOfFacet(tet, i, q) == 0) return true;
    return false;
}

Tets allTetrahedra(const VESK3D::Vesk_3D& dt)
{
    Tets vTets;
    if (dt.is3D()) dt.getTetrahedra(vTets);
    return vTets;
}

std::vector<Point3*> allVertices(const VESK3D::Vesk_3D& dt)
{
    std::vector<Point3*> vVertices;
    dt.getVertices(vVertices);
    return vVertices;
}

Listing listing(const VESK3D::Vesk_3D& dt)
{
    Listing vTets;
    for (const Tet3* t : allTetrahedra(dt)) {
        std::array<double, 12> coords;
        for (int i = 0; i < 4; ++i) t->getCorner(i)->xyz(coords[3 * i], coords[3 * i + 1], coords[3 * i + 2]);
        vTets.push_back(coords);
    }
    return vTets;
}

// A bounding-box test first keeps the exact signs for the few tetrahedra near q.
Tets bruteForceLocate(const Tets& vTets, const Point3& q)
{
    const auto outsideBox = [&q](const Tet3& t) {
        for (auto coord : {&Point3::x, &Point3::y, &Point3::z}) {
            bool below = true, above = true;
            for (int i = 0; i < 4; ++i) {
                below &= (q.*coord)() < (t.getCorner(i)->*coord)();
                above &= (q.*coord)() > (t.getCorner(i)->*coord)();
            }
            if (below || above) return true;
        }
        return false;
    };
    Tets vHolders;
    for (Tet3* t : vTets)
        if (!outsideBox(*t) && classify(*t, q) != Containment::Outside) vHolders.push_back(t);
    return vHolders;
}

AssertionResult starAgrees(VESK3D::Vesk_3D& dt, const Tets& vTets, Point3* pVtx)
{
    const Tets vExpected = bruteForceEdgeRing(vTets, pVtx, pVtx);
    Tets vStar;
    stdoutOf([&] { dt.getTetsAroundVertex(pVtx, vStar); });
    const std::unordered_set<const Tet3*> star(vStar.begin(), vStar.end());
    if (star.size() == vStar.size() && star == std::unordered_set<const Tet3*>(vExpected.begin(), vExpected.end()) &&
        (vStar.empty() || vStar.front() == pVtx->getOneTet()))
        return AssertionSuccess();
    return AssertionFailure() << "the star of " << describe(*pVtx) << " has " << vStar.size() << " entries, brute force finds " << vExpected.size();
}

Tets bruteForceEdgeRing(const Tets& vTets, const Point3* a, const Point3* b)
{
    Tets vRing;
    for (Tet3* t : vTets)
        if (t->hasVertex(a) && t->hasVertex(b)) vRing.push_back(t);
    return vRing;
}

AssertionResult locateAgrees(VESK3D::Vesk_3D& dt, const Tets& vTets, const VESK3D::Point3& q)
{
    const VESK3D::Tet3* found = dt.locate(q);
    const Tets vHolders = bruteForceLocate(vTets, q);
    const bool isVertex = std::any_of(vHolders.begin(), vHolders.end(), [&q](const Tet3* t) { return classify(*t, q) == Containment::OnVertex; });
    const bool onHull = std::any_of(vHolders.begin(), vHolders.end(), [&q](const Tet3* t) { return onHullFacetOf(*t, q); });
    auto failure = [&q]() { return AssertionFailure() << "locate(" << q.x() << ", " << q.y() << ", " << q.z() << "): "; };
    if (isVertex) {
        if (found && found->hasVertex(q)) return AssertionSuccess();
        return failure() << "a vertex must be located in a tetrahedron having it as a corner";
    }
    if (vHolders.empty() || onHull) {
        if (!found) return AssertionSuccess();
        return failure() << (vHolders.empty() ? "outside the hull" : "on the hull boundary") << " but a tetrahedron was returned";
    }
    if (std::find(vHolders.begin(), vHolders.end(), found) != vHolders.end()) return AssertionSuccess();
    return failure() << (found ? "the returned tetrahedron does not contain the point" : "null for a point inside the hull");
}

} // namespace VeskTest
