// The scene writer, file text against file text: every primitive once, the colour table and
// rotation. A file that cannot be opened ends the process: see the sink's death test in test_texts.
#include <Tet3.h>
#include <Visualizer3.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "WorkDir.h"

using namespace VESK3D;
using namespace VeskTest;

namespace {

// Writes "scene.list" through `body` and returns the file's text and the console's.
std::pair<std::string, std::string> writeScene(const std::function<void(Visualizer3&)>& body)
{
    const std::string console = stdoutOf([&] {
        Visualizer3 vis("scene.list");
        body(vis);
    });
    return {readFile("scene.list"), console};
}

std::string triangle(const std::string& corners, const std::string& color)
{
    return "{\nOFF\n3 1 0\n" + corners + "3 0 1 2 " + color + "\n}\n";
}

} // namespace

TEST(SceneFile, EveryPrimitiveAsText)
{
    TempWorkDir dir;
    Point3 o(0, 0, 0), x(1, 0, 0), y(0, 1, 0), z(0, 0, 1);
    testing::internal::CaptureStdout();
    Tet3 tet;
    testing::internal::GetCapturedStdout();
    tet.setProperties(&o, &x, &y, &z);
    const struct {
        const char* what;
        std::function<void(Visualizer3&)> body;
        std::string text;
        std::string warnings = ""; // printed after the two lines of every scene
    } cases[] = {
        {"nothing", [](Visualizer3&) {}, ""},
        {"points", [](Visualizer3& v) { v.writePoints({Point3(0.5, -1, 2), Point3(3, 4, 4096)}, 7, Visualizer3::GREEN); },
         "LIST\n{\nappearance{linewidth 7}\nVECT\n2 2 1\n1 1 \n1 0 \n0.5 -1 2\n3 4 4096\n0 1 0 0.5\n}\n"},
        {"segment and sphere in the default number format",
         [](Visualizer3& v) {
             v.writeSegment(Point3(1.0 / 3, 1234567, -0.0001), Point3(1e-7, 2, 3), ".5 .5 .0 0.5");
             v.writeSphere(Point3(1, -2, 3.5), 6.25);
         },
         "{\nVECT\n1 2 1\n2\n1\n0.333333 1.23457e+06 -0.0001\n1e-07 2 3\n.5 .5 .0 0.5\n}\n"
         "{\nappearance { +edge -face }\nSPHERE 2.5 1 -2 3.5\n}\n"},
        {"a quadrilateral is a fan from its first corner",
         [](Visualizer3& v) { v.writeFace({Point3(0, 0, 0), Point3(2, 0, 0), Point3(2, 2, 0), Point3(0, 2, 0)}, "1 .55 0 0.5"); },
         triangle("0 0 0\n2 0 0\n2 2 0\n", "1 .55 0 0.5") + triangle("0 0 0\n2 2 0\n0 2 0\n", "1 .55 0 0.5")},
        {"a boundary face is black outlines",
         [](Visualizer3& v) { v.writeFace({Point3(0, 0, 0), Point3(2, 0, 0), Point3(2, 2, 0)}, Visualizer3::BOUNDARY); },
         "{\nVECT\n1 2 1\n2\n1\n0 0 0\n2 0 0\n0 0 0 1\n}\n{\nVECT\n1 2 1\n2\n1\n2 0 0\n2 2 0\n0 0 0 1\n}\n"
         "{\nVECT\n1 2 1\n2\n1\n2 2 0\n0 0 0\n0 0 0 1\n}\n"},
        {"a tetrahedron is four faces, each missing one corner", [&tet](Visualizer3& v) { v.writeTet(&tet, Visualizer3::RED); },
         triangle("1 0 0\n0 1 0\n0 0 1\n", "1 0 0 0.5") + triangle("0 0 0\n0 1 0\n0 0 1\n", "1 0 0 0.5") +
             triangle("0 0 0\n1 0 0\n0 0 1\n", "1 0 0 0.5") + triangle("0 0 0\n1 0 0\n0 1 0\n", "1 0 0 0.5")},
        {"empty point sets and missing tetrahedra only print",
         [](Visualizer3& v) {
             v.writePoints({}, 3, Visualizer3::RED);
             v.writeTet(nullptr, Visualizer3::RED);
         },
         "", "\n      Visualizer3::writePoints, WARNING: vPoints.empty()\n\n      Visualizer3:.writeTet(), ERROR: c==NULL\n"},
    };
    for (const auto& c : cases) {
        const auto written = writeScene(c.body);
        EXPECT_EQ(written.first, "LIST\n{\n" + c.text + "}\n") << c.what;
        EXPECT_EQ(written.second, "Visualizer, writing scene.list\n  Writing scene.list\n" + c.warnings) << c.what;
    }
    // A second close adds no second brace.
    writeScene([](Visualizer3& v) {
        v.close();
        v.close();
        EXPECT_FALSE(v.fail());
    });
    EXPECT_EQ(readFile("scene.list"), "LIST\n{\n}\n");
}

TEST(SceneColors, TableAndRotationThroughTheFirstFourteenEntries)
{
    EXPECT_STREQ(Visualizer3::colorArray[11], Visualizer3::RED);
    EXPECT_STREQ(Visualizer3::colorArray[12], Visualizer3::GREEN);
    EXPECT_STREQ(Visualizer3::colorArray[13], Visualizer3::WHITE);
    EXPECT_STREQ(Visualizer3::WHITE, "1 1 1 0.5");
    EXPECT_STREQ(Visualizer3::colorArray[18], "0.49\t0.99 0.00 0.5");
    // The cursor is process-wide, so the rotation is checked relative to wherever it stands now.
    const int start = rotationCursor();
    ASSERT_NE(start, -1);
    for (int call = 0; call < 2 * Visualizer3::NUM_ROTATION_COLORS + 1; ++call)
        EXPECT_EQ(Visualizer3::getNextColor(), Visualizer3::colorArray[(start + call) % 14]) << "call " << call;
}
