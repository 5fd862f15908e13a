#include "Point3.h"

#include <iomanip>
#include <limits>
#include <ostream>

#include "tools.h"

namespace VESK3D {

Point3::Point3()
    : coordX(std::numeric_limits<double>::lowest()), coordY(std::numeric_limits<double>::lowest()),
      coordZ(std::numeric_limits<double>::lowest()), oneTet(nullptr), customIndex(-1), curveKey(0)
{
}

void Point3::debug() const
{
    messageStream(MESSAGE_DUMP) << "Point3: " << coordX << "," << coordY << "," << coordZ << std::endl;
}

std::ostream& operator<<(std::ostream& os, const Point3& p)
{
    os << &p << "\t" << std::setw(8) << p.x() << ", " << std::setw(8) << p.y() << ", " << std::setw(8) << p.z();
    return os;
}

} // namespace VESK3D
