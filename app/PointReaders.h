#pragma once
// Point files in, by extension: .xyz .txt .pts .csv, .ply, .off, .obj and TetGen's .node.
#include <string>
#include <vector>

#include <Vesk_3D.h>

namespace vesk3dapp {

bool isReadableExtension(const std::string& extension);
std::string readableExtensions();

// Throws InputError naming the file and the line or byte offset of the fault. Every coordinate
// returned is finite. Counts of things that are not read (faces, attributes) that disagree with
// the file's header are appended to vWarnings as "FILE:LINE: what".
std::vector<VESK3D::Point3> readPoints(const std::string& path, bool bShowProgress, std::vector<std::string>& vWarnings);

} // namespace vesk3dapp
