// The in-sphere test beyond its filter, and the determinant in double-double arithmetic that sits
// between the filter and the expansions.
//
// Nearly cospherical input (points on a sphere, rounded to doubles) defeats the filter almost every
// time, and the expansions cost tens of times more than this evaluation. Every operation below has
// an error of a few units of epsilon^2 relative to the absolute values it combines; summed along the
// determinant's expression tree (products add their operands' error constants plus 9, sums take the
// larger plus 6), the result is off by at most 78 epsilon^2 times the permanent of the exact
// differences. The bound used, 1024 epsilon^2 times the filter's permanent, covers that with room
// for the second-order terms and for the permanent being computed from rounded differences.
//
// Rounding errors are only relative while nothing underflows or overflows. With every coordinate
// zero or of magnitude in [2^-150, 2^150], all exact intermediate values are multiples of 2^-1010
// and below 2^760, so the evaluation stays in the normal range.
#include <cmath>

#include "GeomTest3.h"

namespace VESK3D {

namespace {

// hi + lo, with |lo| at most half an ulp of hi.
struct DoubleDouble {
    double hi;
    double lo;
};

// Exact for any two doubles (Knuth's branch-free two-sum).
DoubleDouble twoSum(double a, double b)
{
    const double sum = a + b;
    const double bVirtual = sum - a;
    const double aVirtual = sum - bVirtual;
    return {sum, (a - aVirtual) + (b - bVirtual)};
}

// Exact: each factor is split into two 26-bit halves whose products are representable.
DoubleDouble twoProduct(double a, double b, double splitter)
{
    const double aBig = splitter * a, bBig = splitter * b;
    const double aHi = aBig - (aBig - a), bHi = bBig - (bBig - b);
    const double aLo = a - aHi, bLo = b - bHi;
    const double product = a * b;
    return {product, ((aHi * bHi - product) + aHi * bLo + aLo * bHi) + aLo * bLo};
}

DoubleDouble add(DoubleDouble x, DoubleDouble y)
{
    const DoubleDouble head = twoSum(x.hi, y.hi);
    return twoSum(head.hi, head.lo + (x.lo + y.lo));
}

DoubleDouble negate(DoubleDouble x)
{
    return {-x.hi, -x.lo};
}

DoubleDouble subtract(DoubleDouble x, DoubleDouble y)
{
    return add(x, negate(y));
}

// Leaves out lo * lo, which is below epsilon^2 of the product.
DoubleDouble multiply(DoubleDouble x, DoubleDouble y, double splitter)
{
    const DoubleDouble head = twoProduct(x.hi, y.hi, splitter);
    return twoSum(head.hi, head.lo + (x.hi * y.lo + x.lo * y.hi));
}

bool isInSafeRange(double v)
{
    const double magnitude = std::fabs(v);
    return magnitude == 0.0 || (magnitude >= 0x1p-150 && magnitude <= 0x1p150);
}

bool isInSafeRange(const Point3* p)
{
    return isInSafeRange(p->x()) && isInSafeRange(p->y()) && isInSafeRange(p->z());
}

} // namespace

int GeomTest3::insphereDoubleDouble(const Point3* a, const Point3* b, const Point3* c, const Point3* d,
                                    const Point3* e, double permanent) const
{
    if (!isInSafeRange(a) || !isInSafeRange(b) || !isInSafeRange(c) || !isInSafeRange(d) || !isInSafeRange(e))
        return 0;
    const double s = splitter;
    const DoubleDouble aex = twoSum(a->x(), -e->x()), aey = twoSum(a->y(), -e->y()), aez = twoSum(a->z(), -e->z());
    const DoubleDouble bex = twoSum(b->x(), -e->x()), bey = twoSum(b->y(), -e->y()), bez = twoSum(b->z(), -e->z());
    const DoubleDouble cex = twoSum(c->x(), -e->x()), cey = twoSum(c->y(), -e->y()), cez = twoSum(c->z(), -e->z());
    const DoubleDouble dex = twoSum(d->x(), -e->x()), dey = twoSum(d->y(), -e->y()), dez = twoSum(d->z(), -e->z());

    auto minor2 = [s](DoubleDouble px, DoubleDouble qy, DoubleDouble qx, DoubleDouble py) {
        return subtract(multiply(px, qy, s), multiply(qx, py, s));
    };
    const DoubleDouble ab = minor2(aex, bey, bex, aey), bc = minor2(bex, cey, cex, bey);
    const DoubleDouble cd = minor2(cex, dey, dex, cey), da = minor2(dex, aey, aex, dey);
    const DoubleDouble ac = minor2(aex, cey, cex, aey), bd = minor2(bex, dey, dex, bey);

    // The same 3x3 minors and lifts as the filter, term for term.
    auto sum3 = [s](DoubleDouble z1, DoubleDouble m1, DoubleDouble z2, DoubleDouble m2, DoubleDouble z3, DoubleDouble m3) {
        return add(add(multiply(z1, m1, s), multiply(z2, m2, s)), multiply(z3, m3, s));
    };
    const DoubleDouble abc = sum3(aez, bc, negate(bez), ac, cez, ab);
    const DoubleDouble bcd = sum3(bez, cd, negate(cez), bd, dez, bc);
    const DoubleDouble cda = sum3(cez, da, dez, ac, aez, cd);
    const DoubleDouble dab = sum3(dez, ab, aez, bd, bez, da);
    auto lift = [s](DoubleDouble x, DoubleDouble y, DoubleDouble z) {
        return add(add(multiply(x, x, s), multiply(y, y, s)), multiply(z, z, s));
    };
    const DoubleDouble alift = lift(aex, aey, aez), blift = lift(bex, bey, bez);
    const DoubleDouble clift = lift(cex, cey, cez), dlift = lift(dex, dey, dez);

    const DoubleDouble det = add(subtract(multiply(dlift, abc, s), multiply(clift, dab, s)),
                                 subtract(multiply(blift, cda, s), multiply(alift, bcd, s)));
    const double errBound = 0x1p-96 * permanent;
    if (!(std::fabs(det.hi) > errBound)) return 0;
    return det.hi > 0.0 ? 1 : -1;
}

SphereInclusionCode GeomTest3::sphereInclusionBeyondFilter(const Point3* a, const Point3* b, const Point3* c,
                                                           const Point3* d, const Point3* e, double det,
                                                           double permanent) const
{
    if (e == a || e == b || e == c || e == d) return SIC_ON_CORNER;
    // Exactly on the sphere (det 0) counts as outside: ties are no conflict.
    const std::initializer_list<double> differences = {
        a->x() - e->x(), a->y() - e->y(), a->z() - e->z(), b->x() - e->x(), b->y() - e->y(), b->z() - e->z(),
        c->x() - e->x(), c->y() - e->y(), c->z() - e->z(), d->x() - e->x(), d->y() - e->y(), d->z() - e->z()};
    if (isExactOnLattice(permanent, differences, {a, b, c, d, e})) return det < 0.0 ? SIC_INSIDE : SIC_OUTSIDE;
    if (const int sign = insphereDoubleDouble(a, b, c, d, e, permanent)) return sign > 0 ? SIC_OUTSIDE : SIC_INSIDE;
    return insphereAdapt(a, b, c, d, e, permanent) == 0 ? SIC_INSIDE : SIC_OUTSIDE;
}

} // namespace VESK3D
