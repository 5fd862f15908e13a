#pragma once
// Every answer of GeomTest3 about five points against the exact oracle, for the predicate test's
// sweep and the predicate fuzzer alike: the orientations (a,b,c,d) and (a,b,c,e), the facet form of
// each facet of the record (a,b,c,d) against the query, and the sphere test of the query, which is
// e or one of the record's own corner objects. The corners may be in any order, flat included.
#include <GeomTest3.h>

#include <array>
#include <sstream>
#include <string>

#include "ExactOracle.h"

namespace VeskTest {

using Quintuple = std::array<VESK3D::Point3, 5>;

// A tetrahedron record over caller-owned points, initialised like the engine's pool records,
// which never run a constructor.
class TetOver {
public:
    explicit TetOver(Quintuple& p) : pTet(reinterpret_cast<VESK3D::Tet3*>(storage)) { pTet->setProperties(&p[0], &p[1], &p[2], &p[3]); }
    const VESK3D::Tet3* get() const { return pTet; }

private:
    alignas(VESK3D::Tet3) unsigned char storage[sizeof(VESK3D::Tet3)];
    VESK3D::Tet3* pTet;
};

inline VESK3D::Orientation3 orientationOfSign(int sign)
{
    return sign > 0 ? VESK3D::ORIENTATION3_POSITIVE : sign < 0 ? VESK3D::ORIENTATION3_NEGATIVE : VESK3D::ORIENTATION3_COPLANAR;
}

// What differs from exact arithmetic, with the points in hexadecimal; empty when everything agrees.
// queryCorner 0..3 asks the facet and sphere forms about that corner object instead of e.
inline std::string predicateDisagreement(const VESK3D::GeomTest3& predicates, Quintuple& p, int queryCorner = -1)
{
    static const int aFacetCorners[4][3] = {{1, 3, 2}, {0, 2, 3}, {0, 3, 1}, {0, 1, 2}};
    const VESK3D::Point3* q = queryCorner < 0 ? &p[4] : &p[queryCorner];
    std::string wrong;
    for (const VESK3D::Point3* d : {&p[3], &p[4]})
        if (predicates.getOrientation3(&p[0], &p[1], &p[2], d) != orientationOfSign(exactOrientSign(p[0], p[1], p[2], *d)))
            wrong += " orientation of (a, b, c, " + std::string(d == &p[3] ? "d)" : "e)");
    const TetOver tet(p);
    for (int ith = 0; ith < 4; ++ith) {
        const int* c = aFacetCorners[ith];
        if (predicates.getOrientation3(tet.get(), ith, q) != orientationOfSign(exactOrientSign(p[c[0]], p[c[1]], p[c[2]], *q)))
            wrong += " facet " + std::to_string(ith);
    }
    // The lifted sign decides for either orientation of the corners; a query with a corner's
    // coordinates is inside by the filter's tie rule.
    const bool bAtCorner = *q == p[0] || *q == p[1] || *q == p[2] || *q == p[3];
    const VESK3D::SphereInclusionCode expected =
        bAtCorner || exactLiftedSign(p[0], p[1], p[2], p[3], *q) < 0 ? VESK3D::SIC_INSIDE : VESK3D::SIC_OUTSIDE;
    if (predicates.sphereInclusionTest(tet.get(), q) != expected) wrong += " sphere";
    if (wrong.empty()) return wrong;
    std::ostringstream text;
    text << std::hexfloat << "disagreement:" << wrong << " (query " << queryCorner << ") on";
    for (const VESK3D::Point3& point : p) text << " (" << point.x() << ", " << point.y() << ", " << point.z() << ")";
    return text.str();
}

} // namespace VeskTest
