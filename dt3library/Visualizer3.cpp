#include "Visualizer3.h"

#include <cassert>
#include <cmath>

#include "Tet3.h"
#include "tools.h"

namespace VESK3D {

// Two entries hold a tab after their first number; the viewer reads any blank, so they stay as they are.
const char* const Visualizer3::colorArray[NUM_COLORS] = {
    "0 0.749 1 0.5", "0 0.1 .803 0.5", "1 1 0 0.5", "1 0.411 0.705 0.5", "0.1 0.1 0.1 0.5",
    "0.823 0.705 0.549 0.5", "0.545 0.271 0.074 0.5", "1 0.627 0 0.5", "0.627 0.125 0.941 0.5",
    ".745 .745 .745 0.5", ".445 .445 .445 0.5", "1 0 0 0.5", "0 1 0 0.5", "1 1 1 0.5",
    ".86 .08 .24 0.5", "1 .55 0 0.5", ".85 .65 .13 0.5", ".5 .5 .0 0.5", "0.49\t0.99 0.00 0.5",
    "0.68 1.00 0.18 0.5", "0.60\t0.98 0.60 0.5", "0.00 0.98 0.60 0.5", "0.13 0.70 0.67 0.5",
    "0.00 1.00 1.00 0.5", "0.27 0.51 0.71 0.5", "0.10 0.10 0.44 0.5", "0.96 0.87 0.7 0.5"};

namespace {
unsigned colorCursor = 0;
const char* const OUTLINE_COLOR = "0 0 0 1";
} // namespace

Visualizer3::Visualizer3(const std::string& filename)
{
    messageStream(MESSAGE_INFO) << "Visualizer, writing " << filename << "\n";
    open(filename);
    *this << "LIST" << std::endl << "{" << std::endl;
}

Visualizer3::~Visualizer3()
{
    close();
}

void Visualizer3::open(const std::string& filename)
{
    std::ofstream::open(filename, std::ios::out);
    if (!is_open()) {
        messageStream(MESSAGE_ERROR) << filename << " not open\n";
        exitProcess();
    }
    messageStream(MESSAGE_INFO) << "  Writing " << filename << "\n";
}

void Visualizer3::close()
{
    if (!is_open()) return;
    *this << "}" << std::endl;
    std::ofstream::close();
}

void Visualizer3::writeXYZ(const Point3& p)
{
    *this << p.x() << " " << p.y() << " " << p.z() << "\n";
}

void Visualizer3::writePoints(const std::vector<Point3>& vPoints, int linewidth, const std::string& color)
{
    if (vPoints.empty()) {
        warning("Visualizer3::writePoints", "vPoints.empty()");
        return;
    }
    const size_t n = vPoints.size();
    *this << "LIST\n{\nappearance{linewidth " << linewidth << "}" << std::endl;
    *this << "VECT" << std::endl;
    *this << n << " " << n << " 1" << std::endl;
    for (size_t i = 0; i < n; ++i) *this << "1 ";
    *this << std::endl;
    // Only the first polyline carries a colour; the others inherit it.
    *this << "1 ";
    for (size_t i = 1; i < n; ++i) *this << "0 ";
    *this << std::endl;
    for (const Point3& p : vPoints) writeXYZ(p);
    *this << color << std::endl;
    *this << "}" << std::endl;
}

void Visualizer3::writePoint(const Point3* pPoint, int linewidth, const std::string& color)
{
    writePoints(std::vector<Point3>(1, *pPoint), linewidth, color);
}

void Visualizer3::writeSegment(const Point3& a, const Point3& b, const std::string& color)
{
    *this << "{" << std::endl << "VECT" << std::endl << "1 2 1" << std::endl << "2" << std::endl << "1" << std::endl;
    writeXYZ(a);
    writeXYZ(b);
    *this << color << std::endl << "}" << std::endl;
}

void Visualizer3::writeTriangle(const Point3& a, const Point3& b, const Point3& c, const std::string& color)
{
    *this << "{" << std::endl << "OFF" << std::endl << "3 1 0" << std::endl;
    writeXYZ(a);
    writeXYZ(b);
    writeXYZ(c);
    *this << "3 0 1 2 " << color << std::endl << "}" << std::endl;
}

void Visualizer3::writeFace(const std::vector<Point3>& vPoints, const std::string& color)
{
    assert(vPoints.size()>2);
    const size_t n = vPoints.size();
    if (color == BOUNDARY) {
        for (size_t k = 0; k < n; ++k) writeSegment(vPoints[k], vPoints[(k + 1) % n], OUTLINE_COLOR);
        return;
    }
    for (size_t k = 1; k + 1 < n; ++k) writeTriangle(vPoints[0], vPoints[k], vPoints[k + 1], color);
}

void Visualizer3::writeTet(Tet3* pTet, const std::string& color)
{
    if (pTet == nullptr) {
        error("Visualizer3:.writeTet()", "c==NULL");
        return;
    }
    for (int face = 0; face < 4; ++face) {
        std::vector<Point3> vFace;
        for (int i = 0; i < 4; ++i)
            if (i != face) vFace.push_back(*pTet->getCorner(i));
        writeFace(vFace, color);
    }
}

void Visualizer3::writeSphere(const Point3& center, double sqRadius)
{
    *this << "{\n" << "appearance { +edge -face }\n" << "SPHERE " << std::sqrt(sqRadius) << " " << center.x() << " "
          << center.y() << " " << center.z() << "\n}" << std::endl;
}

std::string Visualizer3::getColor()
{
    if (colorCursor < NUM_ROTATION_COLORS) return colorArray[colorCursor];
    messageStream(MESSAGE_WARNING) << "Attention, returning colorArray[13] which is the last available color\n";
    return colorArray[NUM_ROTATION_COLORS - 1];
}

std::string Visualizer3::getNextColor()
{
    const std::string color = getColor();
    colorCursor = (colorCursor + 1) % NUM_ROTATION_COLORS;
    return color;
}

} // namespace VESK3D
