#pragma once
// GeomTest3: the two geometric predicates every topological decision of the mesh rests on.
//
// getOrientation3(a, b, c, d): on which side of the plane through a, b, c lies d.
//   ORIENTATION3_POSITIVE when ((b-a) x (c-a)) . (d-a) > 0, i.e. seen from d, a b c run
//   counter-clockwise; (0,0,0) (1,0,0) (0,1,0) (0,0,1) is positive. ORIENTATION3_COPLANAR only for
//   an exactly zero determinant. The facet form tests against facet ith of a tetrahedron with its
//   corners ordered so that corner ith itself is positive for a positive tetrahedron.
// sphereInclusionTest(pTet, pVtx): SIC_INSIDE when pVtx lies strictly inside the circumsphere of the
//   (positively oriented) tetrahedron; SIC_OUTSIDE outside or exactly on it (ties are no conflict);
//   SIC_ON_CORNER when the filter cannot decide and pVtx is one of the corner objects themselves.
//
// Both answers are exact for every finite input: subnormal, huge, and mixed magnitudes in one call.
// Stage A, inline below, is the plain double determinant with an error bound. Its bound assumes that
// every product rounds relatively, which fails where products underflow or overflow, so stage A
// also adds what underflowing products can lose (at most 2^-1075 each, amplified by the factors
// they meet later) and declines any permanent beyond 2^1000. What it declines goes, in
// GeomTest3.cpp, to the stage that can vouch for it:
//  - coordinates that are zero or of magnitude within [2^-160, 2^160) (every ordinary input): the
//    adaptive stages on floating-point expansions, exact there because no partial product can
//    leave the normal range or lose bits below it: stage B (exact determinant of the rounded
//    differences), C (first-order correction for the rounding of the differences) and D
//    (everything, exactly; for the sphere the exact determinant of the input coordinates). Before
//    them the in-sphere test tries two cheaper exact routes: integer input whose filter arithmetic
//    was exact, and a double-double evaluation that settles most nearly cospherical cases;
//  - coordinates whose exponents span at most 320 binary orders: the same stages on a copy
//    scaled by a power of two that moves them into that range (exact, and the sign is unchanged);
//  - anything wider (say 1e-300 beside 1e300, or subnormals beside 1): the determinant in wide
//    integers, every coordinate an integer multiple of the smallest unit among them.
// All of it uses fixed stack arrays only, never the heap. Non-finite coordinates are not detected
// and get no meaningful answer (a NaN determinant reads as ORIENTATION3_COPLANAR or SIC_INSIDE);
// the engine rejects such points before they reach a predicate.
//
// Tests that must prove which adaptive stage settled a case compile GeomTest3.cpp themselves with
// VESK3D_PREDICATE_STATS defined; that copy counts decisions in predicateStageCount. The library's
// own build has no counters, and stage A never has any.
#include <cassert>
#include <cmath>
#include <initializer_list>
#include <string>
#include <utility>

#include "Point3.h"
#include "Tet3.h"
#include "tools.h"

namespace VESK3D {

enum Orientation3 { ORIENTATION3_POSITIVE = 0, ORIENTATION3_NEGATIVE = 1, ORIENTATION3_COPLANAR = 2 };
enum SphereInclusionCode { SIC_INSIDE = 0, SIC_OUTSIDE = 1, SIC_ON_CORNER = 2 };

class GeomTest3 {
public:
    GeomTest3();

    Orientation3 getOrientation3(const Point3* a, const Point3* b, const Point3* c, const Point3* d) const;
    Orientation3 getOrientation3(const Tet3* pTet, int ith, const Point3* pVtx) const;
    SphereInclusionCode sphereInclusionTest(const Tet3* pTet, const Point3* pVtx) const;
    // The same for the sphere through a, b, c, d (positively oriented) and the query e.
    SphereInclusionCode sphereInclusion(const Point3* a, const Point3* b, const Point3* c, const Point3* d,
                                        const Point3* e) const;
    static std::string getOrientationName(Orientation3 o);

    // Machine constants and error bounds, fixed by the constructor.
    const double splitter;
    const double epsilon;
    const double resultErrBound;
    const double ccwErrBoundA;
    const double ccwErrBoundB;
    const double ccwErrBoundC;
    const double o3dErrBoundA;
    const double o3dErrBoundB;
    const double o3dErrBoundC;
    const double iccErrBoundA;
    const double iccErrBoundB;
    const double iccErrBoundC;
    const double ispErrBoundA;
    const double ispErrBoundB;
    const double ispErrBoundC;

    // What stage A declines: a value with the exact sign of the published orient3d determinant, from
    // the adaptive stages, a scaled copy, or wide integers, whichever can vouch for the input.
    double orient3dBeyondFilter(const Point3* a, const Point3* b, const Point3* c, const Point3* d,
                                double permanent) const;

    // Adaptive stages, run when stage A cannot decide. orient3dAdapt returns a value with the exact
    // sign of the published orient3d determinant; the in-sphere ones return 1 for a positive
    // determinant, 0 for a negative one, 2 for zero.
    double orient3dAdapt(const Point3* a, const Point3* b, const Point3* c, const Point3* d, double permanent) const;
    int insphereAdapt(const Point3* a, const Point3* b, const Point3* c, const Point3* d, const Point3* e,
                      double permanent) const;
    int insphereExact(const Point3* a, const Point3* b, const Point3* c, const Point3* d, const Point3* e) const;
    // The in-sphere determinant in double-double arithmetic on the exact differences, for nearly
    // cospherical input: 1 or -1 for a certainly positive or negative determinant, 0 when it cannot
    // tell (or the coordinates are too large or too small for its bound).
    int insphereDoubleDouble(const Point3* a, const Point3* b, const Point3* c, const Point3* d, const Point3* e,
                             double permanent) const;
    // What sphereInclusionTest does when its filter cannot decide: a query with a corner's
    // coordinates, the corner guard, then the exact routes from the cheapest on. Out of line, so
    // that the filter stays small enough to inline.
    SphereInclusionCode sphereInclusionBeyondFilter(const Point3* a, const Point3* b, const Point3* c, const Point3* d,
                                                    const Point3* e, double det, double permanent) const;

private:
    explicit GeomTest3(std::pair<double, double> epsilonAndSplitter_);
};

#ifdef VESK3D_PREDICATE_STATS
enum PredicateStage {
    ORIENT_STAGE_B,
    ORIENT_EXACT_DIFFERENCES, // stage B result stands because no difference was rounded
    ORIENT_STAGE_C,
    ORIENT_STAGE_D,
    ORIENT_WIDE_INTEGERS,
    SPHERE_STAGE_B,
    SPHERE_EXACT_DIFFERENCES,
    SPHERE_STAGE_C,
    SPHERE_EXACT,
    SPHERE_WIDE_INTEGERS,
    NUM_PREDICATE_STAGES
};
// How often each stage settled a sign; single-threaded test use only.
extern long long predicateStageCount[NUM_PREDICATE_STAGES];
#endif

// Stage A's relative bounds, with 8 and 32 units of epsilon^2 more than o3dErrBoundA and
// ispErrBoundA: room for rounding the sum of the bound and the underflow slack.
constexpr double o3dFilterBound = (7.0 + 64.0 * 0x1p-53) * 0x1p-53;
constexpr double ispFilterBound = (16.0 + 256.0 * 0x1p-53) * 0x1p-53;
// Beyond this permanent some partial result may have overflowed.
constexpr double largestFilteredPermanent = 0x1p1000;

inline bool filterDecides(double det, double bound, double permanent)
{
    return (det >= bound || -det >= bound) && permanent <= largestFilteredPermanent;
}

inline Orientation3 GeomTest3::getOrientation3(const Point3* a, const Point3* b, const Point3* c,
                                               const Point3* d) const
{
    const double adx = a->x() - d->x(), bdx = b->x() - d->x(), cdx = c->x() - d->x();
    const double ady = a->y() - d->y(), bdy = b->y() - d->y(), cdy = c->y() - d->y();
    const double adz = a->z() - d->z(), bdz = b->z() - d->z(), cdz = c->z() - d->z();

    const double bdxcdy = bdx * cdy, cdxbdy = cdx * bdy;
    const double cdxady = cdx * ady, adxcdy = adx * cdy;
    const double adxbdy = adx * bdy, bdxady = bdx * ady;

    double det = adz * (bdxcdy - cdxbdy) + bdz * (cdxady - adxcdy) + cdz * (adxbdy - bdxady);
    const double adzPlus = std::fabs(adz), bdzPlus = std::fabs(bdz), cdzPlus = std::fabs(cdz);
    const double permanent = (std::fabs(bdxcdy) + std::fabs(cdxbdy)) * adzPlus +
                             (std::fabs(cdxady) + std::fabs(adxcdy)) * bdzPlus +
                             (std::fabs(adxbdy) + std::fabs(bdxady)) * cdzPlus;
    // An underflowing product is off by up to 2^-1075, which its z factor then multiplies: at most
    // 2^-1075 * (2 * (|adz| + |bdz| + |cdz|) + 3) in all, taken four times over here. Written with
    // normal constants and kept at 2^-1022 or more: a subnormal operand would cost a microcode assist
    // on every call.
    const double underflowSlack = ((adzPlus + bdzPlus + cdzPlus) * 0x1p-48 + 1.0) * 0x1p-1022;
    const double errBound = o3dFilterBound * permanent + underflowSlack;
    if (!filterDecides(det, errBound, permanent)) det = orient3dBeyondFilter(a, b, c, d, permanent);

    // A positive orient3d determinant means d lies below a counter-clockwise a, b, c: the
    // library's positive side is the other one.
    if (det < 0.0) return ORIENTATION3_POSITIVE;
    if (det > 0.0) return ORIENTATION3_NEGATIVE;
    return ORIENTATION3_COPLANAR;
}

// Whether the filter's in-sphere determinant was computed without any rounding, which makes its sign
// exact: integer coordinates, differences of at most 2^25 (so they, the lifts and the 2x2 minors
// are exact integers) and a permanent of at most 2^50 (so every product and sum that reaches det is
// an integer below 2^53). Lattice input, cospherical everywhere, is settled here instead of in the
// adaptive stages.
inline bool isExactOnLattice(double permanent, std::initializer_list<double> differences,
                             std::initializer_list<const Point3*> points)
{
    if (!(permanent <= 0x1p50)) return false;
    for (double difference : differences)
        if (!(std::fabs(difference) <= 0x1p25)) return false;
    // Beyond 2^52 every double is an integer; below it the conversion is exact and in range.
    auto isIntegral = [](double v) { return std::fabs(v) >= 0x1p52 || v == static_cast<double>(static_cast<long long>(v)); };
    for (const Point3* p : points)
        if (!isIntegral(p->x()) || !isIntegral(p->y()) || !isIntegral(p->z())) return false;
    return true;
}

// Ends the process like a failed runtime assertion; for facet indices outside 0..3.
[[noreturn]] void facetIndexOutOfRange();

inline Orientation3 GeomTest3::getOrientation3(const Tet3* pTet, int ith, const Point3* pVtx) const
{
    // Facet ith in the order that makes corner ith positive against it.
    static constexpr int facetCorners[4][3] = {{1, 3, 2}, {0, 2, 3}, {0, 3, 1}, {0, 1, 2}};
    assert(range03(ith));
    if (static_cast<unsigned>(ith) > 3u) facetIndexOutOfRange();
    if (pTet == nullptr) goToHell("getOrientation3, pC==NULL");
    const int* corner = facetCorners[ith];
    return getOrientation3(pTet->getCorner(corner[0]), pTet->getCorner(corner[1]), pTet->getCorner(corner[2]), pVtx);
}

inline SphereInclusionCode GeomTest3::sphereInclusionTest(const Tet3* pTet, const Point3* pVtx) const
{
    return sphereInclusion(pTet->getCorner(0), pTet->getCorner(1), pTet->getCorner(2), pTet->getCorner(3), pVtx);
}

inline SphereInclusionCode GeomTest3::sphereInclusion(const Point3* a, const Point3* b, const Point3* c,
                                                      const Point3* d, const Point3* pVtx) const
{
    const double aex = a->x() - pVtx->x(), aey = a->y() - pVtx->y(), aez = a->z() - pVtx->z();
    const double bex = b->x() - pVtx->x(), bey = b->y() - pVtx->y(), bez = b->z() - pVtx->z();
    const double cex = c->x() - pVtx->x(), cey = c->y() - pVtx->y(), cez = c->z() - pVtx->z();
    const double dex = d->x() - pVtx->x(), dey = d->y() - pVtx->y(), dez = d->z() - pVtx->z();

    const double aexbey = aex * bey, bexaey = bex * aey;
    const double bexcey = bex * cey, cexbey = cex * bey;
    const double cexdey = cex * dey, dexcey = dex * cey;
    const double dexaey = dex * aey, aexdey = aex * dey;
    const double aexcey = aex * cey, cexaey = cex * aey;
    const double bexdey = bex * dey, dexbey = dex * bey;
    const double ab = aexbey - bexaey, bc = bexcey - cexbey, cd = cexdey - dexcey;
    const double da = dexaey - aexdey, ac = aexcey - cexaey, bd = bexdey - dexbey;

    const double abc = aez * bc - bez * ac + cez * ab;
    const double bcd = bez * cd - cez * bd + dez * bc;
    const double cda = cez * da + dez * ac + aez * cd;
    const double dab = dez * ab + aez * bd + bez * da;

    const double alift = aex * aex + aey * aey + aez * aez;
    const double blift = bex * bex + bey * bey + bez * bez;
    const double clift = cex * cex + cey * cey + cez * cez;
    const double dlift = dex * dex + dey * dey + dez * dez;

    const double det = (dlift * abc - clift * dab) + (blift * cda - alift * bcd);

    const double aezPlus = std::fabs(aez), bezPlus = std::fabs(bez);
    const double cezPlus = std::fabs(cez), dezPlus = std::fabs(dez);
    const double aexbeyPlus = std::fabs(aexbey), bexaeyPlus = std::fabs(bexaey);
    const double bexceyPlus = std::fabs(bexcey), cexbeyPlus = std::fabs(cexbey);
    const double cexdeyPlus = std::fabs(cexdey), dexceyPlus = std::fabs(dexcey);
    const double dexaeyPlus = std::fabs(dexaey), aexdeyPlus = std::fabs(aexdey);
    const double aexceyPlus = std::fabs(aexcey), cexaeyPlus = std::fabs(cexaey);
    const double bexdeyPlus = std::fabs(bexdey), dexbeyPlus = std::fabs(dexbey);
    const double permanent =
        ((cexdeyPlus + dexceyPlus) * bezPlus + (dexbeyPlus + bexdeyPlus) * cezPlus + (bexceyPlus + cexbeyPlus) * dezPlus) * alift +
        ((dexaeyPlus + aexdeyPlus) * cezPlus + (aexceyPlus + cexaeyPlus) * dezPlus + (cexdeyPlus + dexceyPlus) * aezPlus) * blift +
        ((aexbeyPlus + bexaeyPlus) * dezPlus + (bexdeyPlus + dexbeyPlus) * aezPlus + (dexaeyPlus + aexdeyPlus) * bezPlus) * clift +
        ((bexceyPlus + cexbeyPlus) * aezPlus + (cexaeyPlus + aexceyPlus) * bezPlus + (aexbeyPlus + bexaeyPlus) * cezPlus) * dlift;
    // Underflowing products (off by up to 2^-1075 each) are amplified by the z differences and the
    // lifts they meet: in all by less than 2^-1075 * (liftSum * (8 * zSum + 3) + 4), since every
    // 2x2 minor is below liftSum / 2; the slack takes that eight times over (with normal operands
    // only, as above).
    const double liftSum = (alift + blift) + (clift + dlift);
    const double zSum = (aezPlus + bezPlus) + (cezPlus + dezPlus);
    const double underflowSlack = (liftSum * (8.0 * zSum + 3.0) * 0x1p-50 + 1.0) * 0x1p-1022;
    const double errBound = ispFilterBound * permanent + underflowSlack;
    if (filterDecides(det, errBound, permanent)) return det > 0.0 ? SIC_OUTSIDE : SIC_INSIDE;
    return sphereInclusionBeyondFilter(a, b, c, d, pVtx, det, permanent);
}

} // namespace VESK3D
