#include <algorithm>
#include <cstdint>
#include <string>

#include "Endian.h"
#include "MeshFormats.h"
#include "MeshWriters.h"

namespace vesk3dapp {

namespace {

constexpr int vtkTetraType = 10;

bool writesBinary(const TetMesh& mesh)
{
    return mesh.numVertices() >= binaryFromVertices;
}

// Raw values made one by one, handed to the file in blocks.
template <typename T, typename MakeValue>
void writeRawValues(OutputFile& file, size_t count, MakeValue makeValue)
{
    constexpr size_t blockSize = 4096;
    T aBlock[blockSize];
    for (size_t start = 0; start < count; start += blockSize) {
        const size_t numInBlock = std::min(blockSize, count - start);
        for (size_t i = 0; i < numInBlock; ++i) aBlock[i] = makeValue(start + i);
        file.writeBytes(aBlock, numInBlock * sizeof(T));
    }
}

// ----- legacy format (binary data is big-endian there)

void writeLegacyPoints(OutputFile& file, const TetMesh& mesh, bool bBinary)
{
    file.write("POINTS ");
    file.writeNumber(static_cast<int64_t>(mesh.numVertices()));
    file.write(" double\n");
    for (size_t i = 0; i < mesh.numVertices(); ++i) {
        if (bBinary) {
            for (int axis = 0; axis < 3; ++axis) file.writeBigEndian(mesh.vCoordinates[3 * i + axis]);
        } else {
            writeCoordinates(file, mesh, i);
            file.write("\n");
        }
    }
}

void writeLegacyCells(OutputFile& file, const TetMesh& mesh, bool bBinary, Progress& progress)
{
    const int64_t numTets = static_cast<int64_t>(mesh.numTets());
    file.write(bBinary ? "\nCELLS " : "CELLS ");
    writeRow(file, {numTets, 5 * numTets});
    for (size_t t = 0; t < mesh.numTets(); ++t) {
        if (bBinary) {
            file.writeBigEndian<int32_t>(4);
            for (int i = 0; i < 4; ++i) file.writeBigEndian<int32_t>(mesh.vCorners[4 * t + i]);
        } else {
            file.write("4 ");
            writeCorners(file, mesh, t, 0);
            file.write("\n");
        }
        progress.update(t);
    }
    file.write(bBinary ? "\nCELL_TYPES " : "CELL_TYPES ");
    writeRow(file, {numTets});
    for (size_t t = 0; t < mesh.numTets(); ++t) {
        if (bBinary)
            file.writeBigEndian<int32_t>(vtkTetraType);
        else
            file.write("10\n");
    }
}

// ----- XML format

std::string dataArrayTag(const char* attributes, bool bBinary, uint64_t offset)
{
    std::string tag = std::string("<DataArray ") + attributes;
    if (bBinary) return tag + " format=\"appended\" offset=\"" + std::to_string(offset) + "\"/>\n";
    return tag + " format=\"ascii\">\n";
}

const char* const endDataArray = "</DataArray>\n";

void writeVtuAsciiData(OutputFile& file, const TetMesh& mesh, Progress& progress)
{
    file.write(dataArrayTag("type=\"Float64\" NumberOfComponents=\"3\"", false, 0));
    for (size_t i = 0; i < mesh.numVertices(); ++i) {
        writeCoordinates(file, mesh, i);
        file.write("\n");
    }
    file.write(endDataArray);
    file.write("</Points>\n<Cells>\n");
    file.write(dataArrayTag("type=\"Int32\" Name=\"connectivity\"", false, 0));
    for (size_t t = 0; t < mesh.numTets(); ++t) {
        writeCorners(file, mesh, t, 0);
        file.write("\n");
        progress.update(t);
    }
    file.write(endDataArray);
    file.write(dataArrayTag("type=\"Int32\" Name=\"offsets\"", false, 0));
    for (size_t t = 1; t <= mesh.numTets(); ++t) writeRow(file, {static_cast<int64_t>(4 * t)});
    file.write(endDataArray);
    file.write(dataArrayTag("type=\"UInt8\" Name=\"types\"", false, 0));
    for (size_t t = 0; t < mesh.numTets(); ++t) file.write("10\n");
    file.write(endDataArray);
}

// Each appended block is its byte count (UInt64, the header_type) followed by the raw values.
void writeVtuAppendedTags(OutputFile& file, const TetMesh& mesh)
{
    const uint64_t pointBytes = 24 * uint64_t(mesh.numVertices());
    const uint64_t connectivityBytes = 16 * uint64_t(mesh.numTets());
    const uint64_t offsetBytes = 4 * uint64_t(mesh.numTets());
    const uint64_t connectivityOffset = 8 + pointBytes;
    const uint64_t offsetsOffset = connectivityOffset + 8 + connectivityBytes;
    const uint64_t typesOffset = offsetsOffset + 8 + offsetBytes;
    file.write(dataArrayTag("type=\"Float64\" NumberOfComponents=\"3\"", true, 0));
    file.write("</Points>\n<Cells>\n");
    file.write(dataArrayTag("type=\"Int32\" Name=\"connectivity\"", true, connectivityOffset));
    file.write(dataArrayTag("type=\"Int32\" Name=\"offsets\"", true, offsetsOffset));
    file.write(dataArrayTag("type=\"UInt8\" Name=\"types\"", true, typesOffset));
}

void writeVtuAppendedData(OutputFile& file, const TetMesh& mesh, Progress& progress)
{
    const size_t numTets = mesh.numTets();
    file.write("<AppendedData encoding=\"raw\">\n_");
    const uint64_t aBlockBytes[4] = {24 * uint64_t(mesh.numVertices()), 16 * uint64_t(numTets),
                                     4 * uint64_t(numTets), uint64_t(numTets)};
    file.writeBytes(&aBlockBytes[0], 8);
    file.writeBytes(mesh.vCoordinates.data(), aBlockBytes[0]);
    file.writeBytes(&aBlockBytes[1], 8);
    constexpr size_t tetsPerChunk = size_t(1) << 18;
    for (size_t start = 0; start < numTets; start += tetsPerChunk) {
        const size_t numInChunk = std::min(tetsPerChunk, numTets - start);
        file.writeBytes(mesh.vCorners.data() + 4 * start, 16 * numInChunk);
        progress.update(start + numInChunk);
    }
    file.writeBytes(&aBlockBytes[2], 8);
    writeRawValues<int32_t>(file, numTets, [](size_t t) { return static_cast<int32_t>(4 * (t + 1)); });
    file.writeBytes(&aBlockBytes[3], 8);
    writeRawValues<uint8_t>(file, numTets, [](size_t) { return uint8_t(vtkTetraType); });
    file.write("\n</AppendedData>\n");
}

} // namespace

void writeVtkLegacy(const std::string& path, const TetMesh& mesh, Progress& progress)
{
    const bool bBinary = writesBinary(mesh);
    OutputFile file(path);
    file.write("# vtk DataFile Version 3.0\nDelaunay tetrahedralization by vesk3d\n");
    file.write(bBinary ? "BINARY\n" : "ASCII\n");
    file.write("DATASET UNSTRUCTURED_GRID\n");
    writeLegacyPoints(file, mesh, bBinary);
    writeLegacyCells(file, mesh, bBinary, progress);
    file.commit();
}

void writeVtu(const std::string& path, const TetMesh& mesh, Progress& progress)
{
    const bool bBinary = writesBinary(mesh);
    OutputFile file(path);
    file.write("<?xml version=\"1.0\"?>\n<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"");
    file.write(hostIsBigEndian() ? "BigEndian" : "LittleEndian");
    file.write("\" header_type=\"UInt64\">\n<UnstructuredGrid>\n<Piece NumberOfPoints=\"");
    file.write(std::to_string(mesh.numVertices()) + "\" NumberOfCells=\"" + std::to_string(mesh.numTets()) + "\">\n");
    file.write("<Points>\n");
    if (bBinary)
        writeVtuAppendedTags(file, mesh);
    else
        writeVtuAsciiData(file, mesh, progress);
    file.write("</Cells>\n</Piece>\n</UnstructuredGrid>\n");
    if (bBinary) writeVtuAppendedData(file, mesh, progress);
    file.write("</VTKFile>\n");
    file.commit();
}

} // namespace vesk3dapp
