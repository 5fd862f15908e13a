#pragma once
#include "Point3.h"

namespace VESK3D {

// A segment between two point values. Like Point3, copying drops the incident tetrahedron of the
// endpoints while assignment keeps it.
class Segment3 {
public:
    Segment3(const Point3& src_, const Point3& trg_) : src(src_), trg(trg_) {}

    Point3 getSrc() const { return src; }
    Point3 getTrg() const { return trg; }
    void debug() const;

private:
    Point3 src;
    Point3 trg;
};

} // namespace VESK3D
