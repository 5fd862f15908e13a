#pragma once
// The writers of the single formats. Internal to the writers.
#include <initializer_list>
#include <string>

#include "OutputFile.h"
#include "Progress.h"
#include "TetMesh.h"

namespace vesk3dapp {

// Whole numbers separated by blanks, then a line end.
inline void writeRow(OutputFile& file, std::initializer_list<int64_t> values)
{
    const char* pSeparator = "";
    for (int64_t value : values) {
        file.write(pSeparator);
        file.writeNumber(value);
        pSeparator = " ";
    }
    file.write("\n");
}

// "x y z" of vertex i, without a line end.
inline void writeCoordinates(OutputFile& file, const TetMesh& mesh, size_t i)
{
    for (int axis = 0; axis < 3; ++axis) {
        if (axis > 0) file.write(" ");
        file.writeNumber(mesh.vCoordinates[3 * i + axis]);
    }
}

// The four corners of tetrahedron t counted from firstIndex, separated by blanks.
inline void writeCorners(OutputFile& file, const TetMesh& mesh, size_t t, int64_t firstIndex)
{
    for (int i = 0; i < 4; ++i) {
        if (i > 0) file.write(" ");
        file.writeNumber(mesh.vCorners[4 * t + i] + firstIndex);
    }
}

void writeVtkLegacy(const std::string& path, const TetMesh& mesh, Progress& progress);
void writeVtu(const std::string& path, const TetMesh& mesh, Progress& progress);
void writeMedit(const std::string& path, const TetMesh& mesh, Progress& progress);
void writeGmsh(const std::string& path, const TetMesh& mesh, Progress& progress);
void writeTetGen(const std::string& path, const TetMesh& mesh, Progress& progress);

} // namespace vesk3dapp
