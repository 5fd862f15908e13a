#pragma once
// The readers of the single formats, each given the whole file in memory. Internal to the readers.
#include <string>
#include <string_view>
#include <vector>

#include <Vesk_3D.h>

#include "Progress.h"

namespace vesk3dapp {

using PointList = std::vector<VESK3D::Point3>;
// "FILE:LINE: what" for what a file says that does not fit but does not matter for its points.
using WarningList = std::vector<std::string>;

// x y z per line, extra columns ignored; an optional first line with the point count (.pts) or
// with column names (.csv).
void readCoordinateLines(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints,
                         WarningList& vWarnings);
// Warns when the face count of the header disagrees with the lines after the vertices.
void readOff(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints, WarningList& vWarnings);
void readObj(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints, WarningList& vWarnings);
// Warns when point lines do not have the attributes and boundary marker that the header declares.
void readTetGenNode(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints,
                    WarningList& vWarnings);
void readPly(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints, WarningList& vWarnings);

} // namespace vesk3dapp
