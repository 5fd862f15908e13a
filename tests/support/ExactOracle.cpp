#include "ExactOracle.h"

#include <algorithm>
#include <array>
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

using ExactRow = std::array<mpz_class, 3>;

ExactRow exactDifference(const IntegerScale& scale, const VESK3D::Point3& p, const VESK3D::Point3& origin)
{
    return {scale(p.x()) - scale(origin.x()), scale(p.y()) - scale(origin.y()), scale(p.z()) - scale(origin.z())};
}

// The determinant with rows p, q, r, in GMP integers or in doubles.
template <class T>
T det3(const T* p, const T* q, const T* r)
{
    return p[0] * (q[1] * r[2] - q[2] * r[1]) + p[1] * (q[2] * r[0] - q[0] * r[2]) + p[2] * (q[0] * r[1] - q[1] * r[0]);
}

int gmpOrientSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c, const VESK3D::Point3& d)
{
    const IntegerScale scale({&a, &b, &c, &d});
    const ExactRow w = exactDifference(scale, d, a), u = exactDifference(scale, b, a), v = exactDifference(scale, c, a);
    return sgn(det3(w.data(), u.data(), v.data()));
}

// The determinant with rows (p - e, |p - e|^2) for p = a, b, c, d, expanded as exactLiftedSign does.
int gmpLiftedSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c, const VESK3D::Point3& d,
                  const VESK3D::Point3& e)
{
    const IntegerScale scale({&a, &b, &c, &d, &e});
    const ExactRow r[4] = {exactDifference(scale, a, e), exactDifference(scale, b, e), exactDifference(scale, c, e),
                           exactDifference(scale, d, e)};
    mpz_class lifted = 0;
    for (int i = 0; i < 4; ++i) {
        const mpz_class lift = r[i][0] * r[i][0] + r[i][1] * r[i][1] + r[i][2] * r[i][2];
        lifted += (i % 2 == 0 ? -1 : 1) * lift * det3(r[(i + 1) % 4].data(), r[(i + 2) % 4].data(), r[(i + 3) % 4].data());
    }
    return sgn(lifted);
}

double permanent3(const double* p, const double* q, const double* r)
{
    using std::fabs;
    return fabs(p[0]) * (fabs(q[1] * r[2]) + fabs(q[2] * r[1])) + fabs(p[1]) * (fabs(q[2] * r[0]) + fabs(q[0] * r[2]))
         + fabs(p[2]) * (fabs(q[0] * r[1]) + fabs(q[1] * r[0]));
}

// A floating-point filter settles the clear cases, and GMP only the close ones. While every
// non-zero entry lies in [2^-190, 2^190], no product of up to five of them underflows or overflows,
// and the rounding error of both determinants stays below 30 units in the last place of their
// permanent; these bounds are a thousand times wider.
constexpr double orientFilterBound = 1e-12;
constexpr double liftedFilterBound = 1e-11;

template <std::size_t N>
bool filterDecides(const double (&entries)[N][3], double det, double permanent, double relativeBound, int& sign)
{
    for (const double* row : entries)
        for (int k = 0; k < 3; ++k)
            if (row[k] != 0.0 && !(std::fabs(row[k]) >= 0x1p-190 && std::fabs(row[k]) <= 0x1p190)) return false;
    const double bound = relativeBound * permanent;
    if (det > bound) sign = 1;
    else if (det < -bound) sign = -1;
    else return false;
    return true;
}

} // namespace

int exactOrientSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                    const VESK3D::Point3& d)
{
    // Rows d - a, b - a, c - a: the triple product ((b-a) x (c-a)) . (d-a) taken as w . (u x v).
    const double rows[3][3] = {{d.x() - a.x(), d.y() - a.y(), d.z() - a.z()},
                               {b.x() - a.x(), b.y() - a.y(), b.z() - a.z()},
                               {c.x() - a.x(), c.y() - a.y(), c.z() - a.z()}};
    int sign = 0;
    if (filterDecides(rows, det3(rows[0], rows[1], rows[2]), permanent3(rows[0], rows[1], rows[2]), orientFilterBound, sign))
        return sign;
    return gmpOrientSign(a, b, c, d);
}

int exactLiftedSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                    const VESK3D::Point3& d, const VESK3D::Point3& e)
{
    // Cofactor expansion along the lift column. The minors' rows in cyclic order are an even
    // permutation of their order in the matrix, so only the cofactor sign of row i remains.
    double rows[4][3], det = 0, permanent = 0;
    const VESK3D::Point3* corners[4] = {&a, &b, &c, &d};
    for (int i = 0; i < 4; ++i) {
        rows[i][0] = corners[i]->x() - e.x();
        rows[i][1] = corners[i]->y() - e.y();
        rows[i][2] = corners[i]->z() - e.z();
    }
    for (int i = 0; i < 4; ++i) {
        const double lift = rows[i][0] * rows[i][0] + rows[i][1] * rows[i][1] + rows[i][2] * rows[i][2];
        det += (i % 2 == 0 ? -lift : lift) * det3(rows[(i + 1) % 4], rows[(i + 2) % 4], rows[(i + 3) % 4]);
        permanent += lift * permanent3(rows[(i + 1) % 4], rows[(i + 2) % 4], rows[(i + 3) % 4]);
    }
    int sign = 0;
    if (filterDecides(rows, det, permanent, liftedFilterBound, sign)) return sign;
    return gmpLiftedSign(a, b, c, d, e);
}

int exactInSphereSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                      const VESK3D::Point3& d, const VESK3D::Point3& e)
{
    // The centroid of the positive unit corner tetrahedron gives a lifted determinant of -9/16
    // (by hand), hence the minus.
    return -exactLiftedSign(a, b, c, d, e) * exactOrientSign(a, b, c, d);
}

} // namespace VeskTest
