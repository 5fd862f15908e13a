#pragma once
// Tetrahedral meshes out, by extension: .vtk, .vtu, .mesh, .msh and TetGen's .node (+ .ele).
#include <string>

#include "TetMesh.h"

namespace vesk3dapp {

bool isWritableExtension(const std::string& extension);
std::string writableExtensions();

// Replaces existing files only once the whole mesh is written; throws OutputError.
void writeMesh(const std::string& path, const TetMesh& mesh, bool bShowProgress);

// The path of the TetGen element file that goes with a .node path.
std::string tetGenElementPath(const std::string& nodePath);

// Meshes with at least this many vertices go out in binary where the format has it.
constexpr size_t binaryFromVertices = 10000;

} // namespace vesk3dapp
