#pragma once
// The readers of the single formats, each given the whole file in memory. Internal to the readers.
#include <string>
#include <string_view>
#include <vector>

#include <Vesk_3D.h>

#include "Progress.h"

namespace vesk3dapp {

using PointList = std::vector<VESK3D::Point3>;

// x y z per line, extra columns ignored; an optional first line with the point count (.pts) or
// with column names (.csv).
void readCoordinateLines(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints);
void readOff(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints);
void readObj(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints);
void readTetGenNode(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints);
void readPly(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints);

} // namespace vesk3dapp
