#include "ExactOracle.h"

#include <gmpxx.h>

namespace VeskTest {

namespace {

struct ExactVector {
    mpq_class x, y, z;
};

ExactVector exactDifference(const VESK3D::Point3& p, const VESK3D::Point3& origin)
{
    return {mpq_class(p.x()) - mpq_class(origin.x()), mpq_class(p.y()) - mpq_class(origin.y()),
            mpq_class(p.z()) - mpq_class(origin.z())};
}

mpq_class det3(const mpq_class& a1, const mpq_class& a2, const mpq_class& a3, const mpq_class& b1,
               const mpq_class& b2, const mpq_class& b3, const mpq_class& c1, const mpq_class& c2,
               const mpq_class& c3)
{
    return a1 * (b2 * c3 - b3 * c2) - a2 * (b1 * c3 - b3 * c1) + a3 * (b1 * c2 - b2 * c1);
}

} // namespace

int exactOrientSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                    const VESK3D::Point3& d)
{
    const ExactVector u = exactDifference(b, a), v = exactDifference(c, a), w = exactDifference(d, a);
    // Triple product (u x v) . w as the determinant with rows u, v, w.
    return sgn(det3(u.x, u.y, u.z, v.x, v.y, v.z, w.x, w.y, w.z));
}

int exactLiftedSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                    const VESK3D::Point3& d, const VESK3D::Point3& e)
{
    // Rows (p - e, |p - e|^2) for p = a, b, c, d; cofactor expansion along the lift column.
    const ExactVector r[4] = {exactDifference(a, e), exactDifference(b, e), exactDifference(c, e),
                              exactDifference(d, e)};
    mpq_class lifted = 0;
    for (int i = 0; i < 4; ++i) {
        const ExactVector& p = r[(i + 1) % 4];
        const ExactVector& q = r[(i + 2) % 4];
        const ExactVector& s = r[(i + 3) % 4];
        const mpq_class liftI = r[i].x * r[i].x + r[i].y * r[i].y + r[i].z * r[i].z;
        // The minor's rows in cyclic order are an even permutation of their order in the matrix, so
        // only the cofactor sign of row i in the last column remains.
        const mpq_class cofactor = det3(p.x, p.y, p.z, q.x, q.y, q.z, s.x, s.y, s.z);
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
