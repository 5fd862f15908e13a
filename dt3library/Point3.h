#pragma once
#include <cstdint>
#include <iosfwd>

#include "Vector3.h"

namespace VESK3D {

class Tet3;

// A 3D point, and at the same time the vertex record of the mesh: a vertex additionally knows one
// incident tetrahedron (`oneTet`), which the engine keeps current.
class Point3 {
public:
    Point3();
    Point3(double x, double y, double z) : coordX(x), coordY(y), coordZ(z), oneTet(nullptr), customIndex(-1), curveKey(0) {}
    // A copy is a new point, not the same vertex: the incident tetrahedron and the curve key are
    // not carried over.
    Point3(const Point3& p)
        : coordX(p.coordX), coordY(p.coordY), coordZ(p.coordZ), oneTet(nullptr), customIndex(p.customIndex), curveKey(0)
    {
    }
    // Assignment, unlike copy construction, copies every field.
    Point3& operator=(const Point3& p) = default;
    ~Point3() {}

    double x() const { return coordX; }
    double y() const { return coordY; }
    double z() const { return coordZ; }
    void xyz(double& x, double& y, double& z) const
    {
        x = coordX;
        y = coordY;
        z = coordZ;
    }
    void exchange(double x, double y, double z)
    {
        coordX = x;
        coordY = y;
        coordZ = z;
    }
    void init(const Point3& p)
    {
        coordX = p.coordX;
        coordY = p.coordY;
        coordZ = p.coordZ;
        oneTet = nullptr;
    }

    void setOneTet(Tet3* pTet) { oneTet = pTet; }
    Tet3* getOneTet() const { return oneTet; }
    int getCustomIndex() const { return customIndex; }
    void setCustomIndex(int index) { customIndex = index; }
    // The vertex's key on the registry's space-filling curve, kept by the registry; a parallel
    // batch tells by it which worker may touch the vertex.
    std::uint32_t getCurveKey() const { return curveKey; }
    void setCurveKey(std::uint32_t key) { curveKey = key; }

    Point3 operator+(const Vector3& v) const { return Point3(coordX + v.x, coordY + v.y, coordZ + v.z); }
    Vector3 operator-(const Point3& p) const { return Vector3(coordX - p.coordX, coordY - p.coordY, coordZ - p.coordZ); }
    // Lexicographic on (x, y, z); written with '>' only so that NaN falls through to the next axis.
    bool operator<(const Point3& p) const
    {
        if (p.coordX > coordX) return true;
        if (coordX > p.coordX) return false;
        if (p.coordY > coordY) return true;
        if (coordY > p.coordY) return false;
        return p.coordZ > coordZ;
    }
    bool operator==(const Point3& p) const { return coordX == p.coordX && coordY == p.coordY && coordZ == p.coordZ; }
    bool operator!=(const Point3& p) const { return !(*this == p); }

    void debug() const;

private:
    double coordX;
    double coordY;
    double coordZ;
    Tet3* oneTet;
    int customIndex;
    // Fills the padding after customIndex: the record stays 40 bytes.
    std::uint32_t curveKey;
};

// Address, a tab, then the three coordinates in fields of width 8.
std::ostream& operator<<(std::ostream& os, const Point3& p);

// Unit normal of the triangle p0 p1 p2, counter-clockwise seen from its tip. Degenerate triangles
// print the normalisation warning and give (0, 0, 0).
Vector3 getNormalVector(const Point3& p0, const Point3& p1, const Point3& p2);

} // namespace VESK3D
