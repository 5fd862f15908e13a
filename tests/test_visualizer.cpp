#include <Visualizer3.h>
#include <Tet3.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "OoglReader.h"

using namespace VESK3D;
using namespace VeskTest;

namespace {

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> v;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) v.push_back(line);
    return v;
}

// Every test runs in a fresh temporary directory so that scene files never land in the build tree.
class SceneFile : public testing::Test {
protected:
    // Writes "scene.list" through `body` and returns the file's text; the console output is kept.
    std::string writeScene(const std::function<void(Visualizer3&)>& body)
    {
        testing::internal::CaptureStdout();
        {
            Visualizer3 vis("scene.list");
            body(vis);
            vis.close();
        }
        console = testing::internal::GetCapturedStdout();
        return readFile("scene.list");
    }
    std::vector<Block> sceneOf(const std::function<void(Visualizer3&)>& body)
    {
        return SceneReader(writeScene(body)).read();
    }

    TempWorkDir workDir;
    std::string console;
};

void expectSamePoint(const Point3& actual, const Point3& expected)
{
    EXPECT_TRUE(actual == expected) << "found " << actual.x() << " " << actual.y() << " " << actual.z()
                                    << ", expected " << expected.x() << " " << expected.y() << " " << expected.z();
}

// Coordinates of six significant digits or fewer survive the default stream format exactly.
const std::vector<Point3> vPentagon = {Point3(0, 0, 0), Point3(2, 0, 0.5), Point3(3, 1.25, 1),
                                       Point3(1.5, 3, -2.75), Point3(-1, 1.5, 4096)};

} // namespace

TEST_F(SceneFile, ScenesAreOneClosedTopLevelList)
{
    EXPECT_EQ(writeScene([](Visualizer3&) {}), "LIST\n{\n}\n");
    EXPECT_EQ(console, "Visualizer, writing scene.list\n  Writing scene.list\n");

    // An existing file is truncated, not appended to.
    EXPECT_EQ(writeScene([](Visualizer3& v) { v.writeSphere(Point3(0, 0, 0), 1); }).find("LIST", 1),
              std::string::npos);

    testing::internal::CaptureStdout();
    {
        Visualizer3 forgotten("unclosed.list");
        forgotten.writeSegment(Point3(0, 0, 0), Point3(1, 1, 1), Visualizer3::RED);
    }
    testing::internal::GetCapturedStdout();
    const std::string text = readFile("unclosed.list");
    ASSERT_GE(text.size(), 2u);
    EXPECT_EQ(text.substr(text.size() - 2), "}\n");
    EXPECT_EQ(SceneReader(text).read().size(), 1u);

    // A second close is harmless: no second brace, no error state.
    testing::internal::CaptureStdout();
    {
        Visualizer3 twice("twice.list");
        twice.close();
        twice.close();
        EXPECT_FALSE(twice.fail());
    }
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(readFile("twice.list"), "LIST\n{\n}\n");
}

TEST_F(SceneFile, PointSetsAreOneVectOfSingleVertexPolylines)
{
    const std::vector<Block> vBlocks = sceneOf([](Visualizer3& v) { v.writePoints(vPentagon, 7, Visualizer3::GREEN); });
    ASSERT_EQ(vBlocks.size(), 1u);
    EXPECT_EQ(vBlocks[0].kind, "points");
    EXPECT_EQ(vBlocks[0].linewidth, 7);
    EXPECT_EQ(vBlocks[0].color, rgbaOf("0 1 0 0.5"));
    ASSERT_EQ(vBlocks[0].vertices.size(), vPentagon.size());
    for (size_t i = 0; i < vPentagon.size(); ++i) expectSamePoint(vBlocks[0].vertices[i], vPentagon[i]);

    const std::vector<std::string> vLines = linesOf(writeScene([](Visualizer3& v) {
        const Point3 p(0.5, -1, 2);
        v.writePoint(&p, 5, Visualizer3::WHITE);
    }));
    const std::vector<std::string> vExpected = {"LIST", "{", "LIST", "{", "appearance{linewidth 5}", "VECT", "1 1 1",
                                                "1 ", "1 ", "0.5 -1 2", "1 1 1 0.5", "}", "}"};
    EXPECT_EQ(vLines, vExpected);
}

TEST_F(SceneFile, EmptyPointSetOnlyWarns)
{
    const std::string text = writeScene([](Visualizer3& v) { v.writePoints({}, 3, Visualizer3::RED); });
    EXPECT_EQ(text, "LIST\n{\n}\n");
    EXPECT_NE(console.find("\n      Visualizer3::writePoints, WARNING: vPoints.empty()\n"), std::string::npos) << console;
}

TEST_F(SceneFile, SegmentsAndSpheresUseDefaultNumberFormat)
{
    const std::vector<std::string> vLines = linesOf(writeScene([](Visualizer3& v) {
        v.writeSegment(Point3(1.0 / 3, 1234567, -0.0001), Point3(1e-7, 2, 3), ".5 .5 .0 0.5");
        v.writeSphere(Point3(1, -2, 3.5), 6.25);
    }));
    const std::vector<std::string> vExpected = {
        "LIST", "{",   "{", "VECT", "1 2 1", "2", "1", "0.333333 1.23457e+06 -0.0001", "1e-07 2 3", ".5 .5 .0 0.5", "}",
        "{", "appearance { +edge -face }", "SPHERE 2.5 1 -2 3.5", "}", "}"};
    EXPECT_EQ(vLines, vExpected);

    const std::vector<Block> vBlocks = SceneReader(readFile("scene.list")).read();
    ASSERT_EQ(vBlocks.size(), 2u);
    EXPECT_EQ(vBlocks[1].kind, "sphere");
    EXPECT_EQ(vBlocks[1].radius, 2.5);
}

TEST_F(SceneFile, FacesAreFansFromTheFirstVertex)
{
    for (size_t n = 3; n <= vPentagon.size(); ++n) {
        const std::vector<Point3> vPolygon(vPentagon.begin(), vPentagon.begin() + n);
        const std::vector<Block> vBlocks = sceneOf([&](Visualizer3& v) { v.writeFace(vPolygon, "1 .55 0 0.5"); });
        ASSERT_EQ(vBlocks.size(), n - 2) << "polygon of " << n;
        for (size_t k = 0; k < vBlocks.size(); ++k) {
            SCOPED_TRACE("triangle " + std::to_string(k) + " of a polygon of " + std::to_string(n));
            EXPECT_EQ(vBlocks[k].kind, "triangle");
            EXPECT_EQ(vBlocks[k].color, rgbaOf("1 .55 0 0.5"));
            ASSERT_EQ(vBlocks[k].vertices.size(), 3u);
            expectSamePoint(vBlocks[k].vertices[0], vPolygon[0]);
            expectSamePoint(vBlocks[k].vertices[1], vPolygon[k + 1]);
            expectSamePoint(vBlocks[k].vertices[2], vPolygon[k + 2]);
        }
    }
    const std::string text = writeScene([](Visualizer3& v) { v.writeFace(vPentagon, "1 .55 0 0.5"); });
    EXPECT_NE(text.find("\n3 0 1 2 1 .55 0 0.5\n}\n"), std::string::npos);
}

TEST_F(SceneFile, BoundaryFacesAreBlackOutlines)
{
    const std::vector<Point3> vTriangle(vPentagon.begin(), vPentagon.begin() + 3);
    const std::vector<Block> vBlocks = sceneOf([&](Visualizer3& v) { v.writeFace(vTriangle, Visualizer3::BOUNDARY); });
    ASSERT_EQ(vBlocks.size(), 3u);
    for (size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(vBlocks[k].kind, "segment");
        EXPECT_EQ(vBlocks[k].color, rgbaOf("0 0 0 1"));
        expectSamePoint(vBlocks[k].vertices[0], vTriangle[k]);
        expectSamePoint(vBlocks[k].vertices[1], vTriangle[(k + 1) % 3]);
    }
}

TEST_F(SceneFile, TetrahedraAreFourFacesEachMissingOneCorner)
{
    Point3 aCorner[4] = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1)};
    testing::internal::CaptureStdout();
    Tet3 tet;
    testing::internal::GetCapturedStdout();
    tet.setProperties(&aCorner[0], &aCorner[1], &aCorner[2], &aCorner[3]);

    const std::vector<Block> vBlocks = sceneOf([&](Visualizer3& v) { v.writeTet(&tet, Visualizer3::RED); });
    ASSERT_EQ(vBlocks.size(), 4u);
    for (int face = 0; face < 4; ++face) {
        std::vector<int> vExpected;
        for (int i = 0; i < 4; ++i)
            if (i != face) vExpected.push_back(i);
        EXPECT_EQ(vBlocks[face].color, rgbaOf("1 0 0 0.5"));
        for (int k = 0; k < 3; ++k) expectSamePoint(vBlocks[face].vertices[k], aCorner[vExpected[k]]);
    }
}

TEST_F(SceneFile, NullTetrahedronIsReportedAndSkipped)
{
    const std::string text = writeScene([](Visualizer3& v) { v.writeTet(nullptr, Visualizer3::RED); });
    EXPECT_EQ(text, "LIST\n{\n}\n");
    EXPECT_NE(console.find("\n      Visualizer3:.writeTet(), ERROR: c==NULL\n"), std::string::npos) << console;
}

TEST(SceneColors, TableHoldsHalfTransparentRgbaEntries)
{
    for (int i = 0; i < Visualizer3::NUM_COLORS; ++i) {
        const std::vector<double> rgba = rgbaOf(Visualizer3::colorArray[i]);
        ASSERT_EQ(rgba.size(), 4u) << "entry " << i;
        for (double c : rgba) EXPECT_TRUE(c >= 0 && c <= 1) << "entry " << i;
        EXPECT_EQ(rgba[3], 0.5) << "entry " << i;
    }
    EXPECT_STREQ(Visualizer3::colorArray[11], Visualizer3::RED);
    EXPECT_STREQ(Visualizer3::colorArray[12], Visualizer3::GREEN);
    EXPECT_STREQ(Visualizer3::colorArray[13], Visualizer3::WHITE);
    EXPECT_STREQ(Visualizer3::WHITE, "1 1 1 0.5");
    EXPECT_STREQ(Visualizer3::colorArray[18], "0.49\t0.99 0.00 0.5");
}

TEST(SceneColors, RotationCyclesThroughTheFirstFourteenEntries)
{
    // The cursor is process-wide, so the rotation is checked relative to wherever it stands now.
    const std::string first = Visualizer3::getColor();
    EXPECT_EQ(Visualizer3::getColor(), first);
    int start = -1;
    for (int i = 0; i < Visualizer3::NUM_ROTATION_COLORS; ++i)
        if (first == Visualizer3::colorArray[i]) start = i;
    ASSERT_NE(start, -1);

    testing::internal::CaptureStdout();
    for (int call = 0; call < 2 * Visualizer3::NUM_ROTATION_COLORS + 1; ++call)
        EXPECT_EQ(Visualizer3::getNextColor(), Visualizer3::colorArray[(start + call) % 14]) << "call " << call;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(SceneFailures, UnopenableFileEndsTheProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    // The message goes to standard output; route it to where the death test looks.
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            Visualizer3 vis("/vesk3d-no-such-dir/scene.list");
        },
        testing::ExitedWithCode(1),
        "Visualizer, writing /vesk3d-no-such-dir/scene.list\n/vesk3d-no-such-dir/scene.list not open\n");
}

TEST(SceneFailures, FaceNeedsThreeVertices)
{
#ifdef NDEBUG
    GTEST_SKIP() << "checked by the standard assertion only";
#endif
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            Visualizer3 vis("/dev/null");
            vis.writeFace({Point3(0, 0, 0), Point3(1, 0, 0)}, Visualizer3::RED);
        },
        "vPoints.size\\(\\)>2");
}
