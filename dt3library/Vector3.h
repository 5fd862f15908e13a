#pragma once

namespace VESK3D {

// A plain 3D difference vector: the result of point subtraction, nothing else attached.
class Vector3 {
public:
    Vector3() : x(0.0), y(0.0), z(0.0) {}
    Vector3(double x_, double y_, double z_) : x(x_), y(y_), z(z_) {}

    double length() const;
    // Scales to unit length; a zero vector prints a warning and stays (0, 0, 0).
    void normalize();
    Vector3 cross(const Vector3& other) const;
    double dot(const Vector3& other) const { return x * other.x + y * other.y + z * other.z; }

    double x;
    double y;
    double z;
};

} // namespace VESK3D
