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

// Rows p - origin for the given points, every coordinate converted first: to GMP integers exactly,
// or kept as doubles (then the differences are rounded).
template <class T, std::size_t N, class Convert>
void differences(const VESK3D::Point3* const (&points)[N], const VESK3D::Point3& origin, const Convert& convert, T (&rows)[N][3])
{
    for (std::size_t i = 0; i < N; ++i) {
        rows[i][0] = convert(points[i]->x()) - convert(origin.x());
        rows[i][1] = convert(points[i]->y()) - convert(origin.y());
        rows[i][2] = convert(points[i]->z()) - convert(origin.z());
    }
}

const auto asDouble = [](double v) { return v; };

// The determinant with rows p, q, r, in GMP integers or in doubles.
template <class T>
T det3(const T* p, const T* q, const T* r)
{
    return p[0] * (q[1] * r[2] - q[2] * r[1]) + p[1] * (q[2] * r[0] - q[0] * r[2]) + p[2] * (q[0] * r[1] - q[1] * r[0]);
}

template <class T>
T squaredLength(const T* row)
{
    return row[0] * row[0] + row[1] * row[1] + row[2] * row[2];
}

// The determinant with rows (p - e, |p - e|^2), expanded along the lift column. The minors' rows in
// cyclic order are an even permutation of their order in the matrix, so only the cofactor sign of
// row i remains.
template <class T>
T liftedDet(const T (&rows)[4][3])
{
    T det = 0;
    for (int i = 0; i < 4; ++i) {
        const T minor = det3(rows[(i + 1) % 4], rows[(i + 2) % 4], rows[(i + 3) % 4]);
        const T lift = squaredLength(rows[i]);
        if (i % 2 == 0) det -= lift * minor;
        else det += lift * minor;
    }
    return det;
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

// The filter's sign, or 0 where it cannot decide (a zero determinant is never decided here).
template <std::size_t N>
int filterSign(const double (&entries)[N][3], double det, double permanent, double relativeBound)
{
    for (const double* row : entries)
        for (int k = 0; k < 3; ++k)
            if (row[k] != 0.0 && !(std::fabs(row[k]) >= 0x1p-190 && std::fabs(row[k]) <= 0x1p190)) return 0;
    const double bound = relativeBound * permanent;
    return det > bound ? 1 : det < -bound ? -1 : 0;
}

} // namespace

int exactOrientSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                    const VESK3D::Point3& d)
{
    // Rows d - a, b - a, c - a: the triple product ((b-a) x (c-a)) . (d-a) taken as w . (u x v).
    const VESK3D::Point3* const points[3] = {&d, &b, &c};
    double rows[3][3];
    differences(points, a, asDouble, rows);
    if (const int sign = filterSign(rows, det3(rows[0], rows[1], rows[2]), permanent3(rows[0], rows[1], rows[2]), orientFilterBound))
        return sign;
    mpz_class exact[3][3];
    differences(points, a, IntegerScale({&a, &b, &c, &d}), exact);
    return sgn(det3(exact[0], exact[1], exact[2]));
}

int exactLiftedSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                    const VESK3D::Point3& d, const VESK3D::Point3& e)
{
    const VESK3D::Point3* const points[4] = {&a, &b, &c, &d};
    double rows[4][3], permanent = 0;
    differences(points, e, asDouble, rows);
    for (int i = 0; i < 4; ++i) permanent += squaredLength(rows[i]) * permanent3(rows[(i + 1) % 4], rows[(i + 2) % 4], rows[(i + 3) % 4]);
    if (const int sign = filterSign(rows, liftedDet(rows), permanent, liftedFilterBound)) return sign;
    mpz_class exact[4][3];
    differences(points, e, IntegerScale({&a, &b, &c, &d, &e}), exact);
    return sgn(liftedDet(exact));
}

int exactInSphereSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                      const VESK3D::Point3& d, const VESK3D::Point3& e)
{
    // The centroid of the positive unit corner tetrahedron gives a lifted determinant of -9/16
    // (by hand), hence the minus.
    return -exactLiftedSign(a, b, c, d, e) * exactOrientSign(a, b, c, d);
}

} // namespace VeskTest
