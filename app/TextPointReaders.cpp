#include <algorithm>
#include <cctype>
#include <cstdint>
#include <limits>

#include "AppErrors.h"
#include "LineScanner.h"
#include "PointFormats.h"

namespace vesk3dapp {

namespace {

void appendPoint(const LineScanner& scanner, size_t firstColumn, PointList& vPoints)
{
    vPoints.emplace_back(scanner.coordinate(firstColumn), scanner.coordinate(firstColumn + 1),
                         scanner.coordinate(firstColumn + 2));
}

bool isNonFiniteWord(std::string_view word)
{
    std::string lower;
    for (char c : word) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (!lower.empty() && (lower[0] == '+' || lower[0] == '-')) lower.erase(0, 1);
    return lower == "nan" || lower == "inf" || lower == "infinity";
}

// Column names such as "x,y,z": every field starts with a letter and none spells a non-finite
// number, so a line of bad numbers is never mistaken for a header.
bool isColumnNames(const LineScanner& scanner)
{
    for (size_t i = 0; i < scanner.numFields(); ++i) {
        const std::string_view field = scanner.field(i);
        if (!std::isalpha(static_cast<unsigned char>(field[0])) || isNonFiniteWord(field)) return false;
    }
    return true;
}

// The point lines whose number of values differs from what the header declares.
struct ValueCountMismatch {
    size_t numLines = 0;
    size_t firstLine = 0;
    size_t numValuesOnFirst = 0;
};

// numExpectedValues: the values of each point line, or 0 when any number will do.
ValueCountMismatch readDeclaredPoints(LineScanner& scanner, size_t numDeclared, size_t headerLine, size_t firstColumn,
                                      size_t numExpectedValues, const std::string& path, Progress& progress,
                                      PointList& vPoints)
{
    // A header may claim any count: reserve no more than the rest of the file can hold, at the
    // shortest point line ("0 0 0" and a line end).
    vPoints.reserve(std::min(numDeclared, scanner.bytesLeft() / 6 + 1));
    ValueCountMismatch mismatch;
    for (size_t i = 0; i < numDeclared; ++i) {
        if (!scanner.nextDataLine())
            throw errorAtLine(path, headerLine,
                              "the header declares " + std::to_string(numDeclared) + " points but the file ends after " +
                                  std::to_string(i));
        appendPoint(scanner, firstColumn, vPoints);
        progress.update(scanner.offset());
        if (numExpectedValues == 0 || scanner.numFields() == numExpectedValues) continue;
        if (mismatch.numLines++ == 0) mismatch = {1, scanner.lineNumber(), scanner.numFields()};
    }
    return mismatch;
}

std::string counted(size_t count, const std::string& noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace

void readCoordinateLines(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints,
                         WarningList&)
{
    LineScanner scanner(path, text);
    size_t numDeclared = std::numeric_limits<size_t>::max();
    size_t headerLine = 0;
    bool bFirstLine = true;
    while (scanner.nextDataLine()) {
        if (bFirstLine) {
            bFirstLine = false;
            if (scanner.numFields() == 1 && scanner.isCount(0)) {
                numDeclared = scanner.count(0);
                headerLine = scanner.lineNumber();
                continue;
            }
            if (isColumnNames(scanner)) continue;
        }
        appendPoint(scanner, 0, vPoints);
        progress.update(scanner.offset());
    }
    if (numDeclared != std::numeric_limits<size_t>::max() && numDeclared != vPoints.size())
        throw errorAtLine(path, headerLine,
                          "the first line declares " + std::to_string(numDeclared) + " points but the file holds " +
                              std::to_string(vPoints.size()));
}

void readOff(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints, WarningList& vWarnings)
{
    LineScanner scanner(path, text);
    if (!scanner.nextDataLine()) throw errorAtLine(path, 1, "empty file, expected the OFF keyword");
    const std::string_view keyword = scanner.field(0);
    if (keyword.size() < 3 || keyword.substr(keyword.size() - 3) != "OFF")
        scanner.fail("expected the OFF keyword, found " + quoted(keyword));
    if (scanner.numFields() > 1 && scanner.field(1) == "BINARY") scanner.fail("binary OFF files are not supported");
    size_t countColumn = 1;
    if (scanner.numFields() == 1) {
        if (!scanner.nextDataLine()) scanner.fail("the vertex and face counts are missing");
        countColumn = 0;
    }
    const size_t numVertices = scanner.count(countColumn);
    const size_t numFaces = scanner.count(countColumn + 1);
    const size_t headerLine = scanner.lineNumber();
    readDeclaredPoints(scanner, numVertices, headerLine, 0, 0, path, progress, vPoints);
    size_t numFaceLines = 0;
    while (scanner.nextDataLine()) ++numFaceLines;
    if (numFaceLines != numFaces)
        vWarnings.push_back(atLine(path, headerLine,
                                   "the header declares " + std::to_string(numVertices) + " vertices and " +
                                       std::to_string(numFaces) + " faces, but " + std::to_string(numFaceLines) +
                                       " lines follow the vertices; the faces are not read"));
}

void readObj(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints, WarningList&)
{
    LineScanner scanner(path, text);
    while (scanner.nextDataLine()) {
        if (scanner.field(0) != "v") continue;
        appendPoint(scanner, 1, vPoints);
        progress.update(scanner.offset());
    }
}

void readTetGenNode(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints,
                    WarningList& vWarnings)
{
    LineScanner scanner(path, text);
    if (!scanner.nextDataLine()) throw errorAtLine(path, 1, "empty file, expected the point count");
    const size_t numPoints = scanner.count(0);
    const size_t dimension = scanner.numFields() > 1 ? scanner.count(1) : 3;
    if (dimension != 3) scanner.fail("only 3D points can be read; the header gives dimension " + std::to_string(dimension));
    const size_t numAttributes = scanner.numFields() > 2 ? scanner.count(2) : 0;
    const size_t numMarkers = scanner.numFields() > 3 && scanner.count(3) != 0 ? 1 : 0;
    const size_t headerLine = scanner.lineNumber();
    // Index, coordinates, attributes, marker; a header may claim any number of attributes, and a
    // sum that wrapped around could look right.
    const size_t numValues = 4 + std::min(numAttributes, SIZE_MAX - 5) + numMarkers;
    const ValueCountMismatch mismatch =
        readDeclaredPoints(scanner, numPoints, headerLine, 1, numValues, path, progress, vPoints);
    if (mismatch.numLines > 0)
        vWarnings.push_back(atLine(path, mismatch.firstLine,
                                   counted(mismatch.numValuesOnFirst, "value") + " where the header on line " +
                                       std::to_string(headerLine) + " declares " + counted(numAttributes, "attribute") +
                                       " and " + counted(numMarkers, "boundary marker") + " after the coordinates (" +
                                       counted(mismatch.numLines, "point line") +
                                       " differ); attributes and markers are not read"));
    if (scanner.nextDataLine())
        scanner.fail("the header on line " + std::to_string(headerLine) + " declares " + std::to_string(numPoints) +
                     " points; this line is one more");
}

} // namespace vesk3dapp
