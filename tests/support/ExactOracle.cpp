#include "ExactOracle.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <initializer_list>

#include <gmpxx.h>

namespace VeskTest {

namespace {

// Every coordinate of one call as an integer multiple of the call's smallest binary unit: exact,
// and much faster than rationals, whose every step reduces a fraction.
class IntegerScale {
public:
    explicit IntegerScale(std::initializer_list<const VESK3D::Point3*> points)
    {
        for (const VESK3D::Point3* p : points)
            for (double v : {p->x(), p->y(), p->z()})
                if (v != 0.0) unit = std::min(unit, std::ilogb(v) - 52);
    }

    mpz_class operator()(double v) const
    {
        if (v == 0.0) return 0;
        int exponent = 0;
        const double mantissa = std::frexp(v, &exponent);
        mpz_class result(static_cast<long>(std::ldexp(mantissa, 53)));
        mpz_mul_2exp(result.get_mpz_t(), result.get_mpz_t(), exponent - 53 - unit);
        return result;
    }

private:
    int unit = INT_MAX;
};

struct ExactVector {
    mpz_class x, y, z;
};

ExactVector exactDifference(const IntegerScale& scale, const VESK3D::Point3& p, const VESK3D::Point3& origin)
{
    return {scale(p.x()) - scale(origin.x()), scale(p.y()) - scale(origin.y()), scale(p.z()) - scale(origin.z())};
}

mpz_class det3(const mpz_class& a1, const mpz_class& a2, const mpz_class& a3, const mpz_class& b1,
               const mpz_class& b2, const mpz_class& b3, const mpz_class& c1, const mpz_class& c2,
               const mpz_class& c3)
{
    return a1 * (b2 * c3 - b3 * c2) - a2 * (b1 * c3 - b3 * c1) + a3 * (b1 * c2 - b2 * c1);
}

} // namespace

int exactOrientSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                    const VESK3D::Point3& d)
{
    const IntegerScale scale({&a, &b, &c, &d});
    const ExactVector u = exactDifference(scale, b, a), v = exactDifference(scale, c, a), w = exactDifference(scale, d, a);
    // Triple product (u x v) . w as the determinant with rows u, v, w.
    return sgn(det3(u.x, u.y, u.z, v.x, v.y, v.z, w.x, w.y, w.z));
}

int exactLiftedSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                    const VESK3D::Point3& d, const VESK3D::Point3& e)
{
    // Rows (p - e, |p - e|^2) for p = a, b, c, d; cofactor expansion along the lift column.
    const IntegerScale scale({&a, &b, &c, &d, &e});
    const ExactVector r[4] = {exactDifference(scale, a, e), exactDifference(scale, b, e), exactDifference(scale, c, e),
                              exactDifference(scale, d, e)};
    mpz_class lifted = 0;
    for (int i = 0; i < 4; ++i) {
        const ExactVector& p = r[(i + 1) % 4];
        const ExactVector& q = r[(i + 2) % 4];
        const ExactVector& s = r[(i + 3) % 4];
        const mpz_class liftI = r[i].x * r[i].x + r[i].y * r[i].y + r[i].z * r[i].z;
        // The minor's rows in cyclic order are an even permutation of their order in the matrix, so
        // only the cofactor sign of row i in the last column remains.
        const mpz_class cofactor = det3(p.x, p.y, p.z, q.x, q.y, q.z, s.x, s.y, s.z);
        lifted += (i % 2 == 0 ? -1 : 1) * liftI * cofactor;
    }
    return sgn(lifted);
}

int exactInSphereSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                      const VESK3D::Point3& d, const VESK3D::Point3& e)
{
    // The centroid of the positive unit corner tetrahedron gives a lifted determinant of -9/16
    // (by hand), hence the minus.
    return -exactLiftedSign(a, b, c, d, e) * exactOrientSign(a, b, c, d);
}

} // namespace VeskTest
