#pragma once
// Writes debug scenes in the OOGL text format: one top-level LIST of VECT point sets and segments,
// OFF triangles and SPHERE outlines, each in an RGBA colour given as text.
#include <fstream>
#include <string>
#include <vector>

#include "Point3.h"

namespace VESK3D {

class Tet3;

class Visualizer3 : public std::ofstream {
public:
    // Opens the file (the process ends if that fails) and starts the top-level list.
    explicit Visualizer3(const std::string& filename);
    // Terminates the scene if close() was not called, so a scene file is always complete.
    ~Visualizer3() override;

    // Ends the process with status 1 when the file cannot be opened: a scene is a debugging aid
    // requested in a failure path, where throwing would hide the original defect.
    void open(const std::string& filename);
    void close();

    void writePoints(const std::vector<Point3>& vPoints, int linewidth, const std::string& color);
    void writePoint(const Point3* pPoint, int linewidth, const std::string& color);
    void writeSegment(const Point3& a, const Point3& b, const std::string& color);
    // A polygon of at least three vertices, drawn as a fan from vPoints[0]; the colour BOUNDARY
    // draws its outline in opaque black instead.
    void writeFace(const std::vector<Point3>& vPoints, const std::string& color);
    void writeTet(Tet3* pTet, const std::string& color);
    void writeSphere(const Point3& center, double sqRadius);

    // Colour rotation over the first 14 table entries, shared by every writer in the process.
    static std::string getColor();
    static std::string getNextColor();

    static constexpr int NUM_COLORS = 27;
    static constexpr int NUM_ROTATION_COLORS = 14;
    static const char* const colorArray[NUM_COLORS];

    // Colours the library's own diagnostics draw with.
    static constexpr const char* RED = "1 0 0 0.5";
    static constexpr const char* GREEN = "0 1 0 0.5";
    static constexpr const char* WHITE = "1 1 1 0.5";
    static constexpr const char* BOUNDARY = "BOUNDARY";

private:
    void writeXYZ(const Point3& p);
    void writeTriangle(const Point3& a, const Point3& b, const Point3& c, const std::string& color);
};

} // namespace VESK3D
