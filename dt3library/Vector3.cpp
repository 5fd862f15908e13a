#include "Vector3.h"

#include <cmath>

#include "tools.h"

namespace VESK3D {

double Vector3::length() const
{
    return std::sqrt(x * x + y * y + z * z);
}

void Vector3::normalize()
{
    const double len = length();
    if (len > 0.0) {
        x /= len;
        y /= len;
        z /= len;
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
