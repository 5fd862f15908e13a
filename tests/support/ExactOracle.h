#pragma once
// Exact signs of the orientation and in-sphere determinants, written independently of the library's
// expansion arithmetic: a generous floating-point filter settles the clear cases, GMP integer
// arithmetic the close ones (every double of a call is an integer multiple of the call's smallest
// binary unit). The predicate test's sweep, built to defeat filters, tries both parts.
#include <Point3.h>

namespace VeskTest {

// +1 when ((b-a) x (c-a)) . (d-a) > 0 (the library's ORIENTATION3_POSITIVE), 0 when the four
// points are coplanar, -1 otherwise.
int exactOrientSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                    const VESK3D::Point3& d);

// Sign of the lifted determinant with rows (p - e, |p - e|^2) for p = a, b, c, d: for positively
// oriented corners +1 means e is outside the sphere through them, -1 inside, 0 on it (or all five
// points coplanar). Meaningful for every input, degenerate corners included.
int exactLiftedSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                    const VESK3D::Point3& d, const VESK3D::Point3& e);

// +1 when e lies strictly inside the sphere through a, b, c, d, 0 on it, -1 outside. The lifted
// determinant's sign is multiplied by -exactOrientSign(a, b, c, d), so the answer means the same
// for both orientations of the corners; coplanar corners give 0.
int exactInSphereSign(const VESK3D::Point3& a, const VESK3D::Point3& b, const VESK3D::Point3& c,
                      const VESK3D::Point3& d, const VESK3D::Point3& e);

} // namespace VeskTest
