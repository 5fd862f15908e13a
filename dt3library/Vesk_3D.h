#pragma once
// Vesk3D: the 3D Delaunay tetrahedralization library. Including this header gives a host program
// the whole exported API of namespace VESK3D.
#include <string>

#include "Point3.h"
#include "Vector3.h"
#include "VeskException.h"
#include "tools.h"

namespace VESK3D {

int getMajorVersionNumber();
int getMinorVersionNumber();
int getRevisionNumber();
// False in the configuration with standard assertions active ("DEBUG"), true in an NDEBUG build.
bool isRelease();
std::string getVesk3DVersion();

} // namespace VESK3D
