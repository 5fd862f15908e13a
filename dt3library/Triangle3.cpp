#include "Triangle3.h"

#include <cassert>
#include <ostream>

#include "tools.h"

namespace VESK3D {

namespace {
constexpr int notFound = -999;
}

Triangle3::Triangle3(Point3* p0, Point3* p1, Point3* p2)
    : aVertexPointer{p0, p1, p2}, aOppTriangles{nullptr, nullptr, nullptr}
{
}

Point3* Triangle3::getCorner(int i) const
{
    assert(i>-1 && i<3);
    return aVertexPointer[i];
}

Triangle3* Triangle3::getNeig(int i) const
{
    assert(i>-1 && i<3);
    return aOppTriangles[i];
}

void Triangle3::setNeig(int i, Triangle3* pTriangle)
{
    assert(i>-1 && i<3);
    aOppTriangles[i] = pTriangle;
}

int Triangle3::getIntraTriangleIndex(const Point3* p) const
{
    for (int i = 0; i < 3; ++i)
        if (aVertexPointer[i] == p)
            return i;
    sendStandardErrorLine(MESSAGE_ERROR, "Triangle3::getIntraTriangleIndex(): invalid (p)");
    return notFound;
}

int Triangle3::getIntraTriangleIndex(const Point3* p1, const Point3* p2) const
{
    for (int i = 0; i < 3; ++i) {
        const Point3* pA = aVertexPointer[(i + 1) % 3];
        const Point3* pB = aVertexPointer[(i + 2) % 3];
        if ((pA == p1 && pB == p2) || (pA == p2 && pB == p1))
            return i;
    }
    sendStandardErrorLine(MESSAGE_ERROR, "Triangle3::getIntraTriangleIndex(): invalid (p1,p2)");
    messageStream(MESSAGE_ERROR) << "Have searched for " << p1 << " and " << p2 << " in " << *this;
    return notFound;
}

Point3 Triangle3::getBarycenter() const
{
    const Point3& a = *aVertexPointer[0];
    const Point3& b = *aVertexPointer[1];
    const Point3& c = *aVertexPointer[2];
    return Point3(((a.x() + b.x()) + c.x()) / 3.0, ((a.y() + b.y()) + c.y()) / 3.0, ((a.z() + b.z()) + c.z()) / 3.0);
}

void Triangle3::debug() const
{
    messageStream(MESSAGE_DUMP) << *this;
}

std::ostream& operator<<(std::ostream& os, const Triangle3& t)
{
    os << "Triangle: " << std::endl;
    for (int ith = 0; ith < 3; ++ith) {
        const Point3* pCorner = t.getCorner(ith);
        os << "ith=" << ith << ", vertex (" << pCorner << "): ";
        // A triangle may be dumped while still incomplete.
        if (pCorner != nullptr)
            os << *pCorner;
        os << "  oppTet=" << t.getNeig(ith) << std::endl;
    }
    return os;
}

} // namespace VESK3D
