#pragma once
#include <iosfwd>

#include "Point3.h"

namespace VESK3D {

// A triangle of three corner pointers with optional neighbour links; it owns neither.
class Triangle3 {
public:
    Triangle3(Point3* p0, Point3* p1, Point3* p2);

    Point3* getCorner(int i) const;
    Triangle3* getNeig(int i) const;
    void setNeig(int i, Triangle3* pTriangle);
    // The slot of corner p, or -999 when p is no corner.
    int getIntraTriangleIndex(const Point3* p) const;
    // The slot of the corner opposite the edge p1-p2 (either direction), or -999.
    int getIntraTriangleIndex(const Point3* p1, const Point3* p2) const;
    Point3 getBarycenter() const;
    void debug() const;

private:
    Point3* aVertexPointer[3];
    Triangle3* aOppTriangles[3];
};

// A header line, then one line per corner with its neighbour.
std::ostream& operator<<(std::ostream& os, const Triangle3& t);

} // namespace VESK3D
