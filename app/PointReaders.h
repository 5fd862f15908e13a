#pragma once
// Point files in, by extension: .xyz .txt .pts .csv, .ply, .off, .obj and TetGen's .node.
#include <string>
#include <vector>

#include <Vesk_3D.h>

namespace vesk3dapp {

bool isReadableExtension(const std::string& extension);
std::string readableExtensions();

// Throws InputError naming the file and the line or byte offset of the fault. Every coordinate
// returned is finite.
std::vector<VESK3D::Point3> readPoints(const std::string& path, bool bShowProgress);

} // namespace vesk3dapp
