#pragma once
#include <vector>

#include "Point3.h"

namespace VESK3D {

// Axis-aligned bounding box. The empty box has every minimum at the largest finite double and every
// maximum at its negative, so that the first point added (or any box merged in) replaces them.
class Bbox3 {
public:
    Bbox3();
    explicit Bbox3(const std::vector<Point3>& vPoints);

    bool isValid() const;
    // Both return whether any bound changed; a bound that is NaN before or after counts as changed.
    bool add(const Point3& p);
    bool add(const std::vector<Point3>& vPoints);
    // Moves both bounds of each axis outwards by half of factor times the axis range.
    void enlargeBounds(double factor);
    // Extends this box by b and returns a copy: the left operand changes on purpose.
    Bbox3 operator+(const Bbox3& b);

    Point3 getMinPoint() const { return Point3(minX, minY, minZ); }
    Point3 getMaxPoint() const { return Point3(maxX, maxY, maxZ); }
    double getMinCoord() const;
    double getMaxCoord() const;
    double getRangeX() const { return maxX - minX; }
    double getRangeY() const { return maxY - minY; }
    double getRangeZ() const { return maxZ - minZ; }
    double getMaxRange() const;
    double getMinX() const { return minX; }
    double getMinY() const { return minY; }
    double getMinZ() const { return minZ; }
    double getMaxX() const { return maxX; }
    double getMaxY() const { return maxY; }
    double getMaxZ() const { return maxZ; }

    void debug() const;

protected:
    // Extends a box that is already valid.
    void treatPointForValidBox(const Point3& p);

private:
    void setCorners(const Point3& p);
    bool differsFrom(const Bbox3& before) const;

    double minX;
    double minY;
    double minZ;
    double maxX;
    double maxY;
    double maxZ;
};

} // namespace VESK3D
