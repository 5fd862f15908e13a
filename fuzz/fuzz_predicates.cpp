// Five points from the fuzzer's bytes; every orientation and in-sphere answer of GeomTest3 about
// them must equal the sign that exact rational arithmetic gives.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <utility>
#include <vector>

#include <GeomTest3.h>

#include "ExactOracle.h"
#include "FuzzBytes.h"

using VESK3D::GeomTest3;
using VESK3D::Point3;
using VESK3D::Tet3;

namespace {

const GeomTest3 predicates;

// Corners of facet ith, ordered as the facet form of getOrientation3 takes them.
constexpr int aFacetCorners[4][3] = {{1, 3, 2}, {0, 2, 3}, {0, 3, 1}, {0, 1, 2}};

VESK3D::Orientation3 orientationOfSign(int sign)
{
    if (sign > 0) return VESK3D::ORIENTATION3_POSITIVE;
    if (sign < 0) return VESK3D::ORIENTATION3_NEGATIVE;
    return VESK3D::ORIENTATION3_COPLANAR;
}

void printPoints(const Point3* aPoints, int n)
{
    for (int i = 0; i < n; ++i) std::fprintf(stderr, "  p%d = (%a, %a, %a)\n", i, aPoints[i].x(), aPoints[i].y(), aPoints[i].z());
}

void checkOrientation(const Point3& a, const Point3& b, const Point3& c, const Point3& d)
{
    if (predicates.getOrientation3(&a, &b, &c, &d) != orientationOfSign(VeskTest::exactOrientSign(a, b, c, d))) {
        const Point3 aPoints[4] = {a, b, c, d};
        printPoints(aPoints, 4);
        VeskFuzz::fail("getOrientation3(a, b, c, d) differs from the exact sign");
    }
}

void printTetAndQuery(const Tet3& tet, const Point3* pQuery)
{
    const Point3 aPoints[5] = {*tet.getCorner(0), *tet.getCorner(1), *tet.getCorner(2), *tet.getCorner(3), *pQuery};
    printPoints(aPoints, 5);
}

void checkFacets(const Tet3& tet, const Point3* pQuery)
{
    for (int ith = 0; ith < 4; ++ith) {
        const int* aCorner = aFacetCorners[ith];
        const int exact = VeskTest::exactOrientSign(*tet.getCorner(aCorner[0]), *tet.getCorner(aCorner[1]),
                                                    *tet.getCorner(aCorner[2]), *pQuery);
        if (predicates.getOrientation3(&tet, ith, pQuery) != orientationOfSign(exact)) {
            printTetAndQuery(tet, pQuery);
            std::fprintf(stderr, "  facet %d\n", ith);
            VeskFuzz::fail("getOrientation3(tet, ith, p) differs from the exact sign");
        }
    }
}

// A query with a corner's coordinates is inside by the filter's tie rule (determinant and its
// bound both zero); any other point on the sphere is outside.
void checkSphere(const Tet3& tet, const Point3* pQuery)
{
    bool bAtCorner = false;
    for (int i = 0; i < 4; ++i) bAtCorner = bAtCorner || *tet.getCorner(i) == *pQuery;
    const bool bInside = bAtCorner || VeskTest::exactInSphereSign(*tet.getCorner(0), *tet.getCorner(1), *tet.getCorner(2),
                                                                  *tet.getCorner(3), *pQuery) > 0;
    const VESK3D::SphereInclusionCode expected = bInside ? VESK3D::SIC_INSIDE : VESK3D::SIC_OUTSIDE;
    if (predicates.sphereInclusionTest(&tet, pQuery) != expected) {
        printTetAndQuery(tet, pQuery);
        std::fprintf(stderr, "  expected %s\n", bInside ? "SIC_INSIDE" : "SIC_OUTSIDE");
        VeskFuzz::fail("sphereInclusionTest differs from the exact answer");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size)
{
    VeskFuzz::FuzzBytes in(pData, size);
    std::vector<double> vCoordinates;
    Point3 aPoints[5];
    for (Point3& p : aPoints) {
        const double x = VeskFuzz::nearDegenerateCoordinate(in, vCoordinates);
        const double y = VeskFuzz::nearDegenerateCoordinate(in, vCoordinates);
        const double z = VeskFuzz::nearDegenerateCoordinate(in, vCoordinates);
        p = Point3(x, y, z);
    }
    // A quarter of the inputs are moved, whole, anywhere in the double range (degeneracy kept
    // where the scaling stays exact).
    if (in.byte() % 4 == 0) {
        const int exponent = in.byte() * 8 - 1074;
        for (Point3& p : aPoints) {
            const Point3 scaled(std::ldexp(p.x(), exponent), std::ldexp(p.y(), exponent), std::ldexp(p.z(), exponent));
            if (std::isfinite(scaled.x()) && std::isfinite(scaled.y()) && std::isfinite(scaled.z())) p = scaled;
        }
    }
    checkOrientation(aPoints[0], aPoints[1], aPoints[2], aPoints[3]);
    checkOrientation(aPoints[4], aPoints[2], aPoints[0], aPoints[1]);

    const int orientation = VeskTest::exactOrientSign(aPoints[0], aPoints[1], aPoints[2], aPoints[3]);
    if (orientation == 0) return 0;  // no tetrahedron: the facet and sphere forms need one
    if (orientation < 0) std::swap(aPoints[0], aPoints[1]);
    // One record for all inputs: its constructor reports itself on standard output.
    static Tet3 tet;
    tet.setProperties(&aPoints[0], &aPoints[1], &aPoints[2], &aPoints[3]);
    // The query is sometimes a corner object itself, which the in-sphere test must also take.
    const Point3* pQuery = in.byte() % 8 == 0 ? tet.getCorner(in.byte() % 4) : &aPoints[4];
    checkFacets(tet, pQuery);
    checkSphere(tet, pQuery);
    return 0;
}
