#include "Vector3.h"

#include <algorithm>
#include <cmath>

#include "tools.h"

namespace VESK3D {

double Vector3::length() const
{
    return std::sqrt(x * x + y * y + z * z);
}

void Vector3::normalize()
{
    // Scaled by a power of two first (exact), so that the squares neither underflow nor overflow:
    // only a truly zero vector has no direction.
    const double largest = std::max({std::fabs(x), std::fabs(y), std::fabs(z)});
    const int exponent = largest > 0.0 && std::isfinite(largest) ? std::ilogb(largest) : 0;
    const Vector3 scaled(std::ldexp(x, -exponent), std::ldexp(y, -exponent), std::ldexp(z, -exponent));
    const double len = scaled.length();
    if (len > 0.0) {
        x = scaled.x / len;
        y = scaled.y / len;
        z = scaled.z / len;
        return;
    }
    messageStream(MESSAGE_WARNING) << "warning: normalize(const Vector3& other), Null length vector!" << std::endl;
    x = y = z = 0.0;
}

Vector3 Vector3::cross(const Vector3& other) const
{
    return Vector3(y * other.z - z * other.y, z * other.x - x * other.z, x * other.y - y * other.x);
}

} // namespace VESK3D
