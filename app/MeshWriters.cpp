#include "MeshWriters.h"

#include <algorithm>

#include "AppErrors.h"
#include "CommandLine.h"
#include "MeshFormats.h"

namespace vesk3dapp {

namespace {

using FormatWriter = void (*)(const std::string&, const TetMesh&, Progress&);

struct OutputFormat {
    const char* extension;
    FormatWriter write;
};

const OutputFormat aOutputFormats[] = {
    {".vtk", writeVtkLegacy}, {".vtu", writeVtu}, {".mesh", writeMedit}, {".msh", writeGmsh}, {".node", writeTetGen},
};

const OutputFormat* findFormat(const std::string& extension)
{
    for (const OutputFormat& format : aOutputFormats) {
        if (extension == format.extension) return &format;
    }
    return nullptr;
}

} // namespace

bool isWritableExtension(const std::string& extension)
{
    return findFormat(extension) != nullptr;
}

std::string writableExtensions()
{
    std::string list;
    for (const OutputFormat& format : aOutputFormats) list += (list.empty() ? "" : " ") + std::string(format.extension);
    return list;
}

void writeMesh(const std::string& path, const TetMesh& mesh, bool bShowProgress)
{
    const OutputFormat* pFormat = findFormat(lowerCaseExtension(path));
    if (pFormat == nullptr) throw OutputError(path + ": unknown extension (known: " + writableExtensions() + ")");
    Progress progress("writing", mesh.numTets(), bShowProgress && mesh.numTets() >= largeMeshTets);
    pFormat->write(path, mesh, progress);
}

std::string tetGenElementPath(const std::string& nodePath)
{
    return nodePath.substr(0, nodePath.size() - std::string(".node").size()) + ".ele";
}

void writeMedit(const std::string& path, const TetMesh& mesh, Progress& progress)
{
    OutputFile file(path);
    file.write("MeshVersionFormatted 2\nDimension 3\nVertices\n");
    writeRow(file, {static_cast<int64_t>(mesh.numVertices())});
    for (size_t i = 0; i < mesh.numVertices(); ++i) {
        writeCoordinates(file, mesh, i);
        file.write(" 0\n");
    }
    file.write("Tetrahedra\n");
    writeRow(file, {static_cast<int64_t>(mesh.numTets())});
    for (size_t t = 0; t < mesh.numTets(); ++t) {
        writeCorners(file, mesh, t, 1);
        file.write(" 0\n");
        progress.update(t);
    }
    file.write("End\n");
    file.commit();
}

namespace {
void writeGmshBoundingBox(OutputFile& file, const TetMesh& mesh)
{
    double aMin[3] = {0.0, 0.0, 0.0};
    double aMax[3] = {0.0, 0.0, 0.0};
    for (size_t i = 0; i < mesh.numVertices(); ++i) {
        for (int axis = 0; axis < 3; ++axis) {
            const double value = mesh.vCoordinates[3 * i + axis];
            aMin[axis] = i == 0 ? value : std::min(aMin[axis], value);
            aMax[axis] = i == 0 ? value : std::max(aMax[axis], value);
        }
    }
    for (const double* pBound : {aMin, aMax}) {
        for (int axis = 0; axis < 3; ++axis) {
            file.write(" ");
            file.writeNumber(pBound[axis]);
        }
    }
}
} // namespace

namespace {
// "number corner corner corner corner" per tetrahedron, everything counted from 1.
void writeNumberedTetRows(OutputFile& file, const TetMesh& mesh, Progress& progress)
{
    for (size_t t = 0; t < mesh.numTets(); ++t) {
        file.writeNumber(static_cast<int64_t>(t + 1));
        file.write(" ");
        writeCorners(file, mesh, t, 1);
        file.write("\n");
        progress.update(t);
    }
}
} // namespace

// Version 4.1: one volume entity (tag 1) holding every node and every 4-node tetrahedron (type 4).
void writeGmsh(const std::string& path, const TetMesh& mesh, Progress& progress)
{
    const int64_t numVertices = static_cast<int64_t>(mesh.numVertices());
    const int64_t numTets = static_cast<int64_t>(mesh.numTets());
    OutputFile file(path);
    file.write("$MeshFormat\n4.1 0 8\n$EndMeshFormat\n$Entities\n0 0 0 1\n1");
    writeGmshBoundingBox(file, mesh);
    file.write(" 0 0\n$EndEntities\n$Nodes\n");
    writeRow(file, {1, numVertices, 1, numVertices});
    writeRow(file, {3, 1, 0, numVertices});
    for (int64_t i = 1; i <= numVertices; ++i) {
        file.writeNumber(i);
        file.write("\n");
    }
    for (size_t i = 0; i < mesh.numVertices(); ++i) {
        writeCoordinates(file, mesh, i);
        file.write("\n");
    }
    file.write("$EndNodes\n$Elements\n");
    writeRow(file, {1, numTets, 1, numTets});
    writeRow(file, {3, 1, 4, numTets});
    writeNumberedTetRows(file, mesh, progress);
    file.write("$EndElements\n");
    file.commit();
}

// Both files are complete before either replaces an older one.
void writeTetGen(const std::string& path, const TetMesh& mesh, Progress& progress)
{
    OutputFile nodeFile(path);
    writeRow(nodeFile, {static_cast<int64_t>(mesh.numVertices()), 3, 0, 0});
    for (size_t i = 0; i < mesh.numVertices(); ++i) {
        nodeFile.writeNumber(static_cast<int64_t>(i + 1));
        nodeFile.write(" ");
        writeCoordinates(nodeFile, mesh, i);
        nodeFile.write("\n");
    }
    OutputFile elementFile(tetGenElementPath(path));
    writeRow(elementFile, {static_cast<int64_t>(mesh.numTets()), 4, 0});
    writeNumberedTetRows(elementFile, mesh, progress);
    nodeFile.commit();
    elementFile.commit();
}

} // namespace vesk3dapp
