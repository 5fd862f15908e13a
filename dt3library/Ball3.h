#pragma once
#include "Point3.h"

namespace VESK3D {

// A sphere given by its center and its squared radius, which is stored as given.
class Ball3 {
public:
    Ball3(double x, double y, double z, double sqRadius_) : center(x, y, z), sqRadius(sqRadius_) {}

    Point3 getCenter() const { return center; }
    double getSqRadius() const { return sqRadius; }
    double getRadius() const;
    void debug() const;

private:
    Point3 center;
    double sqRadius;
};

} // namespace VESK3D
