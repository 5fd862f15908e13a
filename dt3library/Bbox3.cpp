#include "Bbox3.h"

#include <algorithm>
#include <limits>
#include <ostream>

#include "tools.h"

namespace VESK3D {

namespace {
constexpr double largest = std::numeric_limits<double>::max();

void extendAxis(double coordinate, double& minimum, double& maximum)
{
    if (minimum > coordinate)
        minimum = coordinate;
    else if (coordinate > maximum)
        maximum = coordinate;
}
} // namespace

Bbox3::Bbox3() : minX(largest), minY(largest), minZ(largest), maxX(-largest), maxY(-largest), maxZ(-largest) {}

Bbox3::Bbox3(const std::vector<Point3>& vPoints) : Bbox3()
{
    add(vPoints);
}

bool Bbox3::isValid() const
{
    return minX < largest;
}

bool Bbox3::add(const Point3& p)
{
    if (!isValid()) {
        setCorners(p);
        return true;
    }
    const Bbox3 before(*this);
    treatPointForValidBox(p);
    return differsFrom(before);
}

bool Bbox3::add(const std::vector<Point3>& vPoints)
{
    if (vPoints.empty())
        return false;
    const bool bWasValid = isValid();
    const Bbox3 before(*this);
    auto it = vPoints.begin();
    if (!bWasValid)
        setCorners(*it++);
    for (; it != vPoints.end(); ++it)
        treatPointForValidBox(*it);
    return !bWasValid || differsFrom(before);
}

void Bbox3::treatPointForValidBox(const Point3& p)
{
    extendAxis(p.x(), minX, maxX);
    extendAxis(p.y(), minY, maxY);
    extendAxis(p.z(), minZ, maxZ);
}

void Bbox3::enlargeBounds(double factor)
{
    const double dx = getRangeX() * factor * 0.5;
    const double dy = getRangeY() * factor * 0.5;
    const double dz = getRangeZ() * factor * 0.5;
    minX -= dx;
    minY -= dy;
    minZ -= dz;
    maxX += dx;
    maxY += dy;
    maxZ += dz;
}

Bbox3 Bbox3::operator+(const Bbox3& b)
{
    minX = std::min(minX, b.minX);
    minY = std::min(minY, b.minY);
    minZ = std::min(minZ, b.minZ);
    maxX = std::max(maxX, b.maxX);
    maxY = std::max(maxY, b.maxY);
    maxZ = std::max(maxZ, b.maxZ);
    return *this;
}

double Bbox3::getMinCoord() const
{
    return std::min({minX, minY, minZ});
}

double Bbox3::getMaxCoord() const
{
    return std::max({maxX, maxY, maxZ});
}

double Bbox3::getMaxRange() const
{
    return std::max({getRangeX(), getRangeY(), getRangeZ()});
}

void Bbox3::debug() const
{
    messageStream(MESSAGE_DUMP) << "Bbox3: (" << minX << "," << minY << "," << minZ << ") -> (" << maxX << "," << maxY
                                << "," << maxZ << ")" << std::endl;
}

void Bbox3::setCorners(const Point3& p)
{
    minX = maxX = p.x();
    minY = maxY = p.y();
    minZ = maxZ = p.z();
}

// Written with != so that NaN, which equals nothing, always counts as a change.
bool Bbox3::differsFrom(const Bbox3& before) const
{
    return minX != before.minX || minY != before.minY || minZ != before.minZ || maxX != before.maxX ||
           maxY != before.maxY || maxZ != before.maxZ;
}

} // namespace VESK3D
