#include "GeomTest3.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <utility>

namespace VESK3D {

#ifdef VESK3D_PREDICATE_STATS
long long predicateStageCount[NUM_PREDICATE_STAGES] = {};
#define VESK3D_STAGE_DECIDED(stage) (++predicateStageCount[stage])
#else
#define VESK3D_STAGE_DECIDED(stage) ((void)0)
#endif

namespace {

// Error-free transformations: `value` is the rounded result, `error` what rounding dropped, so
// that value + error is exact. All of this relies on IEEE round-to-nearest without fused
// multiply-add contraction.
struct Rounded {
    double value;
    double error;
};

// Requires |a| >= |b|.
inline Rounded fastTwoSum(double a, double b)
{
    const double x = a + b;
    return {x, b - (x - a)};
}

inline Rounded twoSum(double a, double b)
{
    const double x = a + b;
    const double bVirtual = x - a;
    const double aVirtual = x - bVirtual;
    return {x, (a - aVirtual) + (b - bVirtual)};
}

inline double twoDiffTail(double a, double b, double x)
{
    const double bVirtual = a - x;
    const double aVirtual = x + bVirtual;
    return (a - aVirtual) + (bVirtual - b);
}

inline Rounded twoDiff(double a, double b)
{
    const double x = a - b;
    return {x, twoDiffTail(a, b, x)};
}

// A double cut into two halves of at most 26 significant bits each, whose products are exact.
struct Halves {
    double hi;
    double lo;
};

inline Halves split(double a, double splitter)
{
    const double c = splitter * a;
    const double hi = c - (c - a);
    return {hi, a - hi};
}

inline Rounded twoProductPresplit(double a, double b, Halves bHalves, double splitter)
{
    const double x = a * b;
    const Halves aHalves = split(a, splitter);
    const double err1 = x - aHalves.hi * bHalves.hi;
    const double err2 = err1 - aHalves.lo * bHalves.hi;
    const double err3 = err2 - aHalves.hi * bHalves.lo;
    return {x, aHalves.lo * bHalves.lo - err3};
}

inline Rounded twoProduct(double a, double b, double splitter)
{
    return twoProductPresplit(a, b, split(b, splitter), splitter);
}

// h[0..3] = p - q for two exact products, smallest component first (zeros kept).
inline void twoTwoDiff(Rounded p, Rounded q, double* h)
{
    const Rounded low = twoDiff(p.error, q.error);
    h[0] = low.error;
    const Rounded mid = twoSum(p.value, low.value);
    const Rounded high = twoDiff(mid.error, q.value);
    h[1] = high.error;
    const Rounded top = twoSum(mid.value, high.value);
    h[2] = top.error;
    h[3] = top.value;
}

// h[0..3] = ax*by - bx*ay exactly.
inline void exactMinor2(double ax, double by, double bx, double ay, double splitter, double* h)
{
    twoTwoDiff(twoProduct(ax, by, splitter), twoProduct(bx, ay, splitter), h);
}

// h = e * b exactly; h holds at most 2 * elen components and must not alias e.
int scaleExpansionZeroElim(int elen, const double* e, double b, double* h, double splitter)
{
    const Halves bHalves = split(b, splitter);
    const Rounded first = twoProductPresplit(e[0], b, bHalves, splitter);
    int hlen = 0;
    if (first.error != 0.0) h[hlen++] = first.error;
    double q = first.value;
    for (int i = 1; i < elen; ++i) {
        const Rounded product = twoProductPresplit(e[i], b, bHalves, splitter);
        const Rounded sum = twoSum(q, product.error);
        if (sum.error != 0.0) h[hlen++] = sum.error;
        const Rounded carry = fastTwoSum(product.value, sum.value);
        if (carry.error != 0.0) h[hlen++] = carry.error;
        q = carry.value;
    }
    if (q != 0.0 || hlen == 0) h[hlen++] = q;
    return hlen;
}

// h = e + f exactly; h holds at most elen + flen components and must alias neither input.
int fastExpansionSumZeroElim(int elen, const double* e, int flen, const double* f, double* h)
{
    int ei = 0, fi = 0, hlen = 0;
    // Components are merged by increasing magnitude; the paired comparisons decide |f| > |e|
    // without calling fabs.
    auto takeSmaller = [&]() {
        const bool takeE = fi == flen || (ei < elen && (f[fi] > e[ei]) == (f[fi] > -e[ei]));
        return takeE ? e[ei++] : f[fi++];
    };
    double q = takeSmaller();
    if (ei < elen && fi < flen) {
        const Rounded sum = fastTwoSum(takeSmaller(), q);
        if (sum.error != 0.0) h[hlen++] = sum.error;
        q = sum.value;
    }
    while (ei < elen || fi < flen) {
        const Rounded sum = twoSum(q, takeSmaller());
        if (sum.error != 0.0) h[hlen++] = sum.error;
        q = sum.value;
    }
    if (q != 0.0 || hlen == 0) h[hlen++] = q;
    return hlen;
}

double estimate(int elen, const double* e)
{
    double sum = e[0];
    for (int i = 1; i < elen; ++i) sum += e[i];
    return sum;
}

void negate(int elen, double* e)
{
    for (int i = 0; i < elen; ++i) e[i] = -e[i];
}

int signCode(double x)
{
    if (x > 0.0) return 1;
    return x == 0.0 ? 2 : 0;
}

// A fixed-capacity expansion.
template <int Capacity>
struct Expansion {
    double c[Capacity];
    int len = 0;
};

// An exact running sum: each addition merges into the other buffer, then the buffers swap.
template <int Capacity>
class ExpansionAccumulator {
public:
    ExpansionAccumulator() = default;
    ExpansionAccumulator(const ExpansionAccumulator&) = delete;
    ExpansionAccumulator& operator=(const ExpansionAccumulator&) = delete;

    void add(int elen, const double* e)
    {
        if (length == 0) {
            std::copy(e, e + elen, pNow);
            length = elen;
            return;
        }
        length = fastExpansionSumZeroElim(length, pNow, elen, e, pOther);
        std::swap(pNow, pOther);
    }
    template <int N>
    void add(const Expansion<N>& e)
    {
        add(e.len, e.c);
    }
    int size() const { return length; }
    const double* components() const { return pNow; }
    double largest() const { return pNow[length - 1]; }

private:
    double bufferA[Capacity];
    double bufferB[Capacity];
    double* pNow = bufferA;
    double* pOther = bufferB;
    int length = 0;
};

// s1*m1 + s2*m2 + s3*m3 for three exact 2x2 minors: a 3x3 minor expanded along its z column.
Expansion<24> minor3(const double* m1, double s1, const double* m2, double s2, const double* m3, double s3,
                     double splitter)
{
    Expansion<8> t1, t2, t3;
    t1.len = scaleExpansionZeroElim(4, m1, s1, t1.c, splitter);
    t2.len = scaleExpansionZeroElim(4, m2, s2, t2.c, splitter);
    t3.len = scaleExpansionZeroElim(4, m3, s3, t3.c, splitter);
    Expansion<16> t12;
    t12.len = fastExpansionSumZeroElim(t1.len, t1.c, t2.len, t2.c, t12.c);
    Expansion<24> h;
    h.len = fastExpansionSumZeroElim(t12.len, t12.c, t3.len, t3.c, h.c);
    return h;
}

// (m1 + m2) - (m3 + m4) for four 3x3 minors.
Expansion<96> minor4(const Expansion<24>& m1, const Expansion<24>& m2, const Expansion<24>& m3, const Expansion<24>& m4)
{
    Expansion<48> plus, minus;
    plus.len = fastExpansionSumZeroElim(m1.len, m1.c, m2.len, m2.c, plus.c);
    minus.len = fastExpansionSumZeroElim(m3.len, m3.c, m4.len, m4.c, minus.c);
    negate(minus.len, minus.c);
    Expansion<96> h;
    h.len = fastExpansionSumZeroElim(plus.len, plus.c, minus.len, minus.c, h.c);
    return h;
}

constexpr int maxLiftedMinor = 96;

// h = m * (x*x + y*y + z*z) exactly, for a minor of at most 96 components; h needs 12 * mlen.
int liftedTerm(int mlen, const double* m, double x, double y, double z, double splitter, double* h)
{
    double once[2 * maxLiftedMinor];
    double axis[3][4 * maxLiftedMinor];
    int axisLen[3];
    const double coordinate[3] = {x, y, z};
    for (int i = 0; i < 3; ++i) {
        const int onceLen = scaleExpansionZeroElim(mlen, m, coordinate[i], once, splitter);
        axisLen[i] = scaleExpansionZeroElim(onceLen, once, coordinate[i], axis[i], splitter);
    }
    double xy[8 * maxLiftedMinor];
    const int xyLen = fastExpansionSumZeroElim(axisLen[0], axis[0], axisLen[1], axis[1], xy);
    return fastExpansionSumZeroElim(xyLen, xy, axisLen[2], axis[2], h);
}

// t1*v1 - t2*v2 for the tail-by-value products of stage D, leaving out zero tails.
int tailMinor(double t1, double v1, double t2, double v2, double splitter, double* h)
{
    if (t1 == 0.0 && t2 == 0.0) {
        h[0] = 0.0;
        return 1;
    }
    if (t2 == 0.0 || t1 == 0.0) {
        const Rounded p = t2 == 0.0 ? twoProduct(t1, v1, splitter) : twoProduct(-t2, v2, splitter);
        h[0] = p.error;
        h[1] = p.value;
        return 2;
    }
    twoTwoDiff(twoProduct(t1, v1, splitter), twoProduct(t2, v2, splitter), h);
    return 4;
}

std::pair<double, double> epsilonAndSplitter()
{
    double epsilon = 1.0, splitter = 1.0, check = 1.0, lastCheck;
    bool everyOther = true;
    do {
        lastCheck = check;
        epsilon *= 0.5;
        if (everyOther) splitter *= 2.0;
        everyOther = !everyOther;
        check = 1.0 + epsilon;
    } while (check != 1.0 && check != lastCheck);
    return {epsilon, splitter + 1.0};
}


// Double-double arithmetic for the in-sphere determinant between its filter and the expansions: a
// value held as value + error, |error| at most half an ulp of value.
using DoubleDouble = Rounded;

inline DoubleDouble ddAdd(DoubleDouble x, DoubleDouble y)
{
    const Rounded head = twoSum(x.value, y.value);
    return twoSum(head.value, head.error + (x.error + y.error));
}

inline DoubleDouble ddNegate(DoubleDouble x)
{
    return {-x.value, -x.error};
}

inline DoubleDouble ddSubtract(DoubleDouble x, DoubleDouble y)
{
    return ddAdd(x, ddNegate(y));
}

// Leaves out error * error, which is below epsilon^2 of the product.
inline DoubleDouble ddMultiply(DoubleDouble x, DoubleDouble y, double splitter)
{
    const Rounded head = twoProduct(x.value, y.value, splitter);
    return twoSum(head.value, head.error + (x.value * y.error + x.error * y.value));
}

inline bool isInSafeRange(double v)
{
    const double magnitude = std::fabs(v);
    return magnitude == 0.0 || (magnitude >= 0x1p-150 && magnitude <= 0x1p150);
}

inline bool isInSafeRange(const Point3* p)
{
    return isInSafeRange(p->x()) && isInSafeRange(p->y()) && isInSafeRange(p->z());
}
} // namespace

GeomTest3::GeomTest3() : GeomTest3(epsilonAndSplitter()) {}

GeomTest3::GeomTest3(std::pair<double, double> epsilonAndSplitter_)
    : splitter(epsilonAndSplitter_.second),
      epsilon(epsilonAndSplitter_.first),
      resultErrBound((3.0 + 8.0 * epsilon) * epsilon),
      ccwErrBoundA((3.0 + 16.0 * epsilon) * epsilon),
      ccwErrBoundB((2.0 + 12.0 * epsilon) * epsilon),
      ccwErrBoundC((9.0 + 64.0 * epsilon) * epsilon * epsilon),
      o3dErrBoundA((7.0 + 56.0 * epsilon) * epsilon),
      o3dErrBoundB((3.0 + 28.0 * epsilon) * epsilon),
      o3dErrBoundC((26.0 + 288.0 * epsilon) * epsilon * epsilon),
      iccErrBoundA((10.0 + 96.0 * epsilon) * epsilon),
      iccErrBoundB((4.0 + 48.0 * epsilon) * epsilon),
      iccErrBoundC((44.0 + 576.0 * epsilon) * epsilon * epsilon),
      ispErrBoundA((16.0 + 224.0 * epsilon) * epsilon),
      ispErrBoundB((5.0 + 72.0 * epsilon) * epsilon),
      ispErrBoundC((71.0 + 1408.0 * epsilon) * epsilon * epsilon)
{
}

std::string GeomTest3::getOrientationName(Orientation3 o)
{
    switch (o) {
    case ORIENTATION3_POSITIVE: return "ORI3_ORIENTATION3_POSITIVE";
    case ORIENTATION3_NEGATIVE: return "ORI3_ORIENTATION3_NEGATIVE";
    case ORIENTATION3_COPLANAR: return "ORI3_ZERO";
    }
    return "ORI3_INVALID";
}

void facetIndexOutOfRange()
{
    sendStandardErrorLine(MESSAGE_ERROR, std::string("Assertion failed: false, file ") + __FILE__ + ", line " + std::to_string(__LINE__));
    exitProcess();
}

double GeomTest3::orient3dAdapt(const Point3* a, const Point3* b, const Point3* c, const Point3* d,
                                double permanent) const
{
    const double adx = a->x() - d->x(), bdx = b->x() - d->x(), cdx = c->x() - d->x();
    const double ady = a->y() - d->y(), bdy = b->y() - d->y(), cdy = c->y() - d->y();
    const double adz = a->z() - d->z(), bdz = b->z() - d->z(), cdz = c->z() - d->z();

    // Stage B: the determinant of the rounded differences, exactly.
    double bc[4], ca[4], ab[4];
    exactMinor2(bdx, cdy, cdx, bdy, splitter, bc);
    exactMinor2(cdx, ady, adx, cdy, splitter, ca);
    exactMinor2(adx, bdy, bdx, ady, splitter, ab);
    ExpansionAccumulator<192> fin;
    double term[16];
    fin.add(scaleExpansionZeroElim(4, bc, adz, term, splitter), term);
    fin.add(scaleExpansionZeroElim(4, ca, bdz, term, splitter), term);
    fin.add(scaleExpansionZeroElim(4, ab, cdz, term, splitter), term);

    double det = estimate(fin.size(), fin.components());
    double errBound = o3dErrBoundB * permanent;
    if (det >= errBound || -det >= errBound) {
        VESK3D_STAGE_DECIDED(ORIENT_STAGE_B);
        return det;
    }

    const double adxTail = twoDiffTail(a->x(), d->x(), adx), bdxTail = twoDiffTail(b->x(), d->x(), bdx);
    const double cdxTail = twoDiffTail(c->x(), d->x(), cdx), adyTail = twoDiffTail(a->y(), d->y(), ady);
    const double bdyTail = twoDiffTail(b->y(), d->y(), bdy), cdyTail = twoDiffTail(c->y(), d->y(), cdy);
    const double adzTail = twoDiffTail(a->z(), d->z(), adz), bdzTail = twoDiffTail(b->z(), d->z(), bdz);
    const double cdzTail = twoDiffTail(c->z(), d->z(), cdz);
    if (adxTail == 0.0 && bdxTail == 0.0 && cdxTail == 0.0 && adyTail == 0.0 && bdyTail == 0.0 &&
        cdyTail == 0.0 && adzTail == 0.0 && bdzTail == 0.0 && cdzTail == 0.0) {
        VESK3D_STAGE_DECIDED(ORIENT_EXACT_DIFFERENCES);
        return det;
    }

    // Stage C: first-order correction for the rounding of the differences.
    errBound = o3dErrBoundC * permanent + resultErrBound * std::fabs(det);
    det += (adz * ((bdx * cdyTail + cdy * bdxTail) - (bdy * cdxTail + cdx * bdyTail)) + adzTail * (bdx * cdy - bdy * cdx)) +
           (bdz * ((cdx * adyTail + ady * cdxTail) - (cdy * adxTail + adx * cdyTail)) + bdzTail * (cdx * ady - cdy * adx)) +
           (cdz * ((adx * bdyTail + bdy * adxTail) - (ady * bdxTail + bdx * adyTail)) + cdzTail * (adx * bdy - ady * bdx));
    if (det >= errBound || -det >= errBound) {
        VESK3D_STAGE_DECIDED(ORIENT_STAGE_C);
        return det;
    }

    // Stage D: every remaining product that involves a tail, added exactly.
    double atb[4], atc[4], btc[4], bta[4], cta[4], ctb[4];
    const int atbLen = tailMinor(adxTail, bdy, adyTail, bdx, splitter, atb);
    const int atcLen = tailMinor(adyTail, cdx, adxTail, cdy, splitter, atc);
    const int btcLen = tailMinor(bdxTail, cdy, bdyTail, cdx, splitter, btc);
    const int btaLen = tailMinor(bdyTail, adx, bdxTail, ady, splitter, bta);
    const int ctaLen = tailMinor(cdxTail, ady, cdyTail, adx, splitter, cta);
    const int ctbLen = tailMinor(cdyTail, bdx, cdxTail, bdy, splitter, ctb);
    Expansion<8> bct, cat, abt;
    bct.len = fastExpansionSumZeroElim(btcLen, btc, ctbLen, ctb, bct.c);
    cat.len = fastExpansionSumZeroElim(ctaLen, cta, atcLen, atc, cat.c);
    abt.len = fastExpansionSumZeroElim(atbLen, atb, btaLen, bta, abt.c);

    auto addScaled = [&](int elen, const double* e, double factor) {
        fin.add(scaleExpansionZeroElim(elen, e, factor, term, splitter), term);
    };
    addScaled(bct.len, bct.c, adz);
    addScaled(cat.len, cat.c, bdz);
    addScaled(abt.len, abt.c, cdz);
    if (adzTail != 0.0) addScaled(4, bc, adzTail);
    if (bdzTail != 0.0) addScaled(4, ca, bdzTail);
    if (cdzTail != 0.0) addScaled(4, ab, cdzTail);

    // Products of two tails, scaled by the third point's z difference and its z tail.
    auto addTailProduct = [&](double t1, double t2, double z, double zTail) {
        if (t1 == 0.0 || t2 == 0.0) return;
        const Rounded p = twoProduct(t1, t2, splitter);
        const double pair[2] = {p.error, p.value};
        addScaled(2, pair, z);
        if (zTail != 0.0) addScaled(2, pair, zTail);
    };
    addTailProduct(adxTail, bdyTail, cdz, cdzTail);
    addTailProduct(-adxTail, cdyTail, bdz, bdzTail);
    addTailProduct(bdxTail, cdyTail, adz, adzTail);
    addTailProduct(-bdxTail, adyTail, cdz, cdzTail);
    addTailProduct(cdxTail, adyTail, bdz, bdzTail);
    addTailProduct(-cdxTail, bdyTail, adz, adzTail);

    if (adzTail != 0.0) addScaled(bct.len, bct.c, adzTail);
    if (bdzTail != 0.0) addScaled(cat.len, cat.c, bdzTail);
    if (cdzTail != 0.0) addScaled(abt.len, abt.c, cdzTail);

    VESK3D_STAGE_DECIDED(ORIENT_STAGE_D);
    return fin.largest();
}

int GeomTest3::insphereAdapt(const Point3* a, const Point3* b, const Point3* c, const Point3* d, const Point3* e,
                             double permanent) const
{
    const double aex = a->x() - e->x(), aey = a->y() - e->y(), aez = a->z() - e->z();
    const double bex = b->x() - e->x(), bey = b->y() - e->y(), bez = b->z() - e->z();
    const double cex = c->x() - e->x(), cey = c->y() - e->y(), cez = c->z() - e->z();
    const double dex = d->x() - e->x(), dey = d->y() - e->y(), dez = d->z() - e->z();

    // Stage B: the lifted determinant of the rounded differences, exactly.
    double ab[4], bc[4], cd[4], da[4], ac[4], bd[4];
    exactMinor2(aex, bey, bex, aey, splitter, ab);
    exactMinor2(bex, cey, cex, bey, splitter, bc);
    exactMinor2(cex, dey, dex, cey, splitter, cd);
    exactMinor2(dex, aey, aex, dey, splitter, da);
    exactMinor2(aex, cey, cex, aey, splitter, ac);
    exactMinor2(bex, dey, dex, bey, splitter, bd);

    // Each corner's 3x3 minor carries the sign of its term, so the four lifted terms simply add.
    ExpansionAccumulator<1152> fin;
    double lifted[12 * 24];
    auto addLifted = [&](const Expansion<24>& minor, double x, double y, double z) {
        fin.add(liftedTerm(minor.len, minor.c, x, y, z, splitter, lifted), lifted);
    };
    addLifted(minor3(cd, -bez, bd, cez, bc, -dez, splitter), aex, aey, aez);
    addLifted(minor3(da, cez, ac, dez, cd, aez, splitter), bex, bey, bez);
    addLifted(minor3(ab, -dez, bd, -aez, da, -bez, splitter), cex, cey, cez);
    addLifted(minor3(bc, aez, ac, -bez, ab, cez, splitter), dex, dey, dez);

    double det = estimate(fin.size(), fin.components());
    double errBound = ispErrBoundB * permanent;
    if (det >= errBound || -det >= errBound) {
        VESK3D_STAGE_DECIDED(SPHERE_STAGE_B);
        return det >= errBound ? 1 : 0;
    }

    const double aexTail = twoDiffTail(a->x(), e->x(), aex), aeyTail = twoDiffTail(a->y(), e->y(), aey);
    const double aezTail = twoDiffTail(a->z(), e->z(), aez), bexTail = twoDiffTail(b->x(), e->x(), bex);
    const double beyTail = twoDiffTail(b->y(), e->y(), bey), bezTail = twoDiffTail(b->z(), e->z(), bez);
    const double cexTail = twoDiffTail(c->x(), e->x(), cex), ceyTail = twoDiffTail(c->y(), e->y(), cey);
    const double cezTail = twoDiffTail(c->z(), e->z(), cez), dexTail = twoDiffTail(d->x(), e->x(), dex);
    const double deyTail = twoDiffTail(d->y(), e->y(), dey), dezTail = twoDiffTail(d->z(), e->z(), dez);
    if (aexTail == 0.0 && aeyTail == 0.0 && aezTail == 0.0 && bexTail == 0.0 && beyTail == 0.0 && bezTail == 0.0 &&
        cexTail == 0.0 && ceyTail == 0.0 && cezTail == 0.0 && dexTail == 0.0 && deyTail == 0.0 && dezTail == 0.0) {
        VESK3D_STAGE_DECIDED(SPHERE_EXACT_DIFFERENCES);
        return signCode(det);
    }

    // Stage C: first-order correction for the rounding of the differences.
    errBound = ispErrBoundC * permanent + resultErrBound * std::fabs(det);
    const double ab3 = ab[3], bc3 = bc[3], cd3 = cd[3], da3 = da[3], ac3 = ac[3], bd3 = bd[3];
    const double abEps = (aex * beyTail + bey * aexTail) - (aey * bexTail + bex * aeyTail);
    const double bcEps = (bex * ceyTail + cey * bexTail) - (bey * cexTail + cex * beyTail);
    const double cdEps = (cex * deyTail + dey * cexTail) - (cey * dexTail + dex * ceyTail);
    const double daEps = (dex * aeyTail + aey * dexTail) - (dey * aexTail + aex * deyTail);
    const double acEps = (aex * ceyTail + cey * aexTail) - (aey * cexTail + cex * aeyTail);
    const double bdEps = (bex * deyTail + dey * bexTail) - (bey * dexTail + dex * beyTail);
    const double alift = aex * aex + aey * aey + aez * aez, blift = bex * bex + bey * bey + bez * bez;
    const double clift = cex * cex + cey * cey + cez * cez, dlift = dex * dex + dey * dey + dez * dez;
    const double aMinor = bez * cd3 - cez * bd3 + dez * bc3, bMinor = cez * da3 + dez * ac3 + aez * cd3;
    const double cMinor = dez * ab3 + aez * bd3 + bez * da3, dMinor = aez * bc3 - bez * ac3 + cez * ab3;
    const double aMinorTail = (bez * cdEps - cez * bdEps + dez * bcEps) + (bezTail * cd3 - cezTail * bd3 + dezTail * bc3);
    const double bMinorTail = (cez * daEps + dez * acEps + aez * cdEps) + (cezTail * da3 + dezTail * ac3 + aezTail * cd3);
    const double cMinorTail = (dez * abEps + aez * bdEps + bez * daEps) + (dezTail * ab3 + aezTail * bd3 + bezTail * da3);
    const double dMinorTail = (aez * bcEps - bez * acEps + cez * abEps) + (aezTail * bc3 - bezTail * ac3 + cezTail * ab3);
    const double aLiftTail = aex * aexTail + aey * aeyTail + aez * aezTail;
    const double bLiftTail = bex * bexTail + bey * beyTail + bez * bezTail;
    const double cLiftTail = cex * cexTail + cey * ceyTail + cez * cezTail;
    const double dLiftTail = dex * dexTail + dey * deyTail + dez * dezTail;
    det += ((blift * bMinorTail + dlift * dMinorTail) - (alift * aMinorTail + clift * cMinorTail)) +
           2.0 * ((bLiftTail * bMinor + dLiftTail * dMinor) - (aLiftTail * aMinor + cLiftTail * cMinor));
    if (det >= errBound || -det >= errBound) {
        VESK3D_STAGE_DECIDED(SPHERE_STAGE_C);
        return det >= errBound ? 1 : 0;
    }

    return insphereExact(a, b, c, d, e);
}

int GeomTest3::insphereExact(const Point3* a, const Point3* b, const Point3* c, const Point3* d, const Point3* e) const
{
    const double ax = a->x(), ay = a->y(), az = a->z(), bx = b->x(), by = b->y(), bz = b->z();
    const double cx = c->x(), cy = c->y(), cz = c->z(), dx = d->x(), dy = d->y(), dz = d->z();
    const double ex = e->x(), ey = e->y(), ez = e->z();

    // The 5x5 lifted determinant of the coordinates themselves, expanded along the lift column.
    double ab[4], bc[4], cd[4], de[4], ea[4], ac[4], bd[4], ce[4], da[4], eb[4];
    exactMinor2(ax, by, bx, ay, splitter, ab);
    exactMinor2(bx, cy, cx, by, splitter, bc);
    exactMinor2(cx, dy, dx, cy, splitter, cd);
    exactMinor2(dx, ey, ex, dy, splitter, de);
    exactMinor2(ex, ay, ax, ey, splitter, ea);
    exactMinor2(ax, cy, cx, ay, splitter, ac);
    exactMinor2(bx, dy, dx, by, splitter, bd);
    exactMinor2(cx, ey, ex, cy, splitter, ce);
    exactMinor2(dx, ay, ax, dy, splitter, da);
    exactMinor2(ex, by, bx, ey, splitter, eb);

    const Expansion<24> abc = minor3(bc, az, ac, -bz, ab, cz, splitter);
    const Expansion<24> bcd = minor3(cd, bz, bd, -cz, bc, dz, splitter);
    const Expansion<24> cde = minor3(de, cz, ce, -dz, cd, ez, splitter);
    const Expansion<24> dea = minor3(ea, dz, da, -ez, de, az, splitter);
    const Expansion<24> eab = minor3(ab, ez, eb, -az, ea, bz, splitter);
    const Expansion<24> abd = minor3(bd, az, da, bz, ab, dz, splitter);
    const Expansion<24> bce = minor3(ce, bz, eb, cz, bc, ez, splitter);
    const Expansion<24> cda = minor3(da, cz, ac, dz, cd, az, splitter);
    const Expansion<24> deb = minor3(eb, dz, bd, ez, de, bz, splitter);
    const Expansion<24> eac = minor3(ac, ez, ce, az, ea, cz, splitter);

    ExpansionAccumulator<5760> deter;
    double lifted[12 * maxLiftedMinor];
    auto addLifted = [&](const Expansion<96>& minor, double x, double y, double z) {
        deter.add(liftedTerm(minor.len, minor.c, x, y, z, splitter, lifted), lifted);
    };
    addLifted(minor4(cde, bce, deb, bcd), ax, ay, az);
    addLifted(minor4(dea, cda, eac, cde), bx, by, bz);
    addLifted(minor4(eab, deb, abd, dea), cx, cy, cz);
    addLifted(minor4(abc, eac, bce, eab), dx, dy, dz);
    addLifted(minor4(bcd, abd, cda, abc), ex, ey, ez);

    VESK3D_STAGE_DECIDED(SPHERE_EXACT);
    return signCode(deter.largest());
}

Vector3 getNormalVector(const Point3& p0, const Point3& p1, const Point3& p2)
{
    Vector3 u = p1 - p0;
    u.normalize();
    Vector3 v = p2 - p0;
    v.normalize();
    Vector3 normal = u.cross(v);
    normal.normalize();
    return normal;
}

// The in-sphere determinant in double-double arithmetic on the exact differences. Nearly
// cospherical input (points on a sphere, rounded to doubles) defeats the filter almost every time,
// and the expansions cost tens of times more than this evaluation. Every operation below has an
// error of a few units of epsilon^2 relative to the absolute values it combines; summed along the
// determinant's expression tree (products add their operands' error constants plus 9, sums take the
// larger plus 6), the result is off by at most 78 epsilon^2 times the permanent of the exact
// differences. The bound used, 1024 epsilon^2 times the filter's permanent, covers that with room
// for the second-order terms and for the permanent being computed from rounded differences.
// Rounding errors are only relative while nothing overflows and the results stay normal: the
// coordinates are limited to zero or magnitudes in [2^-150, 2^150], and a bound below 2^-1000 (where
// subnormal partial products would round by more than the slack) sends the case on to the expansions.
int GeomTest3::insphereDoubleDouble(const Point3* a, const Point3* b, const Point3* c, const Point3* d,
                                    const Point3* e, double permanent) const
{
    if (!isInSafeRange(a) || !isInSafeRange(b) || !isInSafeRange(c) || !isInSafeRange(d) || !isInSafeRange(e))
        return 0;
    const double s = splitter;
    const DoubleDouble aex = twoDiff(a->x(), e->x()), aey = twoDiff(a->y(), e->y()), aez = twoDiff(a->z(), e->z());
    const DoubleDouble bex = twoDiff(b->x(), e->x()), bey = twoDiff(b->y(), e->y()), bez = twoDiff(b->z(), e->z());
    const DoubleDouble cex = twoDiff(c->x(), e->x()), cey = twoDiff(c->y(), e->y()), cez = twoDiff(c->z(), e->z());
    const DoubleDouble dex = twoDiff(d->x(), e->x()), dey = twoDiff(d->y(), e->y()), dez = twoDiff(d->z(), e->z());

    auto minor2 = [s](DoubleDouble px, DoubleDouble qy, DoubleDouble qx, DoubleDouble py) {
        return ddSubtract(ddMultiply(px, qy, s), ddMultiply(qx, py, s));
    };
    const DoubleDouble ab = minor2(aex, bey, bex, aey), bc = minor2(bex, cey, cex, bey);
    const DoubleDouble cd = minor2(cex, dey, dex, cey), da = minor2(dex, aey, aex, dey);
    const DoubleDouble ac = minor2(aex, cey, cex, aey), bd = minor2(bex, dey, dex, bey);

    // The same 3x3 minors and lifts as the filter, term for term.
    auto sum3 = [s](DoubleDouble z1, DoubleDouble m1, DoubleDouble z2, DoubleDouble m2, DoubleDouble z3, DoubleDouble m3) {
        return ddAdd(ddAdd(ddMultiply(z1, m1, s), ddMultiply(z2, m2, s)), ddMultiply(z3, m3, s));
    };
    const DoubleDouble abc = sum3(aez, bc, ddNegate(bez), ac, cez, ab);
    const DoubleDouble bcd = sum3(bez, cd, ddNegate(cez), bd, dez, bc);
    const DoubleDouble cda = sum3(cez, da, dez, ac, aez, cd);
    const DoubleDouble dab = sum3(dez, ab, aez, bd, bez, da);
    auto lift = [s](DoubleDouble x, DoubleDouble y, DoubleDouble z) {
        return ddAdd(ddAdd(ddMultiply(x, x, s), ddMultiply(y, y, s)), ddMultiply(z, z, s));
    };
    const DoubleDouble alift = lift(aex, aey, aez), blift = lift(bex, bey, bez);
    const DoubleDouble clift = lift(cex, cey, cez), dlift = lift(dex, dey, dez);

    const DoubleDouble det = ddAdd(ddSubtract(ddMultiply(dlift, abc, s), ddMultiply(clift, dab, s)),
                                 ddSubtract(ddMultiply(blift, cda, s), ddMultiply(alift, bcd, s)));
    const double errBound = 0x1p-96 * permanent;
    // Below this the rounding of subnormal partial products is no longer small against the bound.
    if (!(errBound >= 0x1p-1000)) return 0;
    if (!(std::fabs(det.value) > errBound)) return 0;
    return det.value > 0.0 ? 1 : -1;
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
