// The self-check must pass every valid mesh and catch each kind of defect it claims to catch: meshes
// are corrupted through the handles so that the first defect in the check's order is known, and the
// reports, the dumps and the scene files are checked.
#include <Vesk_3D.h>
#include <Visualizer3.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "InputFamilies.h"
#include "MeshBuilder.h"
#include "MeshChecker.h"
#include "WorkDir.h"

using namespace VESK3D;
using namespace VeskTest;

namespace {

struct CheckRun {
    std::string label;
    bool checkSphereInclusion;
    bool verdict;
    std::string console;
};

CheckRun runCheck(const Vesk_3D& dt, const std::string& label, bool checkSphereInclusion)
{
    CheckRun run{label, checkSphereInclusion, false, ""};
    run.console = stdoutOf([&] { run.verdict = dt.checkValidity(label, checkSphereInclusion); });
    return run;
}

// The vertex as the reports show it: address, "=", then the point's own dump.
std::string vertexText(const Point3& p)
{
    return streamed(&p) + "=" + streamed(p);
}

std::string header(const std::string& label, size_t numTets, bool checkSphereInclusion)
{
    const std::string n = std::to_string(numTets);
    return "\n\n** CheckValidity at [ " + label + "]: Number of tetrahedra: " + n + "\n   with --checkvisited\n" +
           (checkSphereInclusion ? "   with --checkSphereInc\n" : "   without --checkSphereInc\n") +
           "   vTets.size()=" + n + "\n";
}

std::string closingLine(const std::string& label)
{
    return "** CheckValidity at (" + label + ") has been finished, seems OK\n\n";
}

std::string banner(const std::string& message)
{
    const std::string rule(message.size() + 36, '*');
    return "\n\n" + rule + "\n" + rule + "\n" + std::string(16, ' ') + message + "\n" + rule + "\n" + rule + "\n";
}

std::string showLines(size_t numTets, const std::string& fileName)
{
    return "  Dt3::show(): vTets.size()=" + std::to_string(numTets) + "\nVisualizer, writing " + fileName + "\n  Writing " +
           fileName + "\n";
}

// The corner at which the neighbour across facet i links back to the tetrahedron: the vertex the
// check tests against facet i.
Point3* backLinkedCorner(const Tet3* pTet, int i)
{
    const Tet3* pNeighbor = pTet->getOppTet(i);
    for (int k = 0; k < 4; ++k)
        if (pNeighbor->getOppTet(k) == pTet) return pNeighbor->getCorner(k);
    return nullptr;
}

// The first defect in the check's order: a tetrahedron, a facet and the vertex tested across it.
struct Defect {
    Tet3* tet;
    int facet;
    Point3* vertex;
};

// The dump files written so far in the working directory, with their five-digit numbers checked.
std::vector<std::string> dumpFiles(const TempWorkDir& dir, const std::string& suffix)
{
    std::vector<std::string> v;
    for (const std::string& name : dir.fileNames())
        if (std::regex_match(name, std::regex("[0-9]{5}_" + suffix))) v.push_back(name);
    return v;
}

// The number of times `part` occurs in `text`.
size_t occurrences(const std::string& text, const std::string& part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

// The scene of show(): per tetrahedron four faces and its four corners, then the marked vertex.
void expectShowScene(const std::string& text, const Tets& vTets, const Point3* pMarked)
{
    EXPECT_EQ(occurrences(text, "OFF\n"), 4 * vTets.size());
    EXPECT_EQ(occurrences(text, "appearance{linewidth 5}"), 4 * vTets.size());
    EXPECT_EQ(occurrences(text, "appearance{linewidth 10}"), pMarked != nullptr ? 1u : 0u);
}

// Checks the console report and the scene file of a negative-side defect.
void expectNegativeSideReport(const CheckRun& run, const TempWorkDir& dir, const Vesk_3D& dt, const Defect& expected,
                              const std::string& side)
{
    EXPECT_FALSE(run.verdict);
    const Tets vTets = allTetrahedra(dt);
    const std::string message = "ERROR: checkValidity at [" + run.label + "]";
    const std::string report = header(run.label, vTets.size(), run.checkSphereInclusion) + banner(message) +
                               "Dt3::checkValidity, HUH, vertex " + streamed(expected.vertex) +
                               " should be on the negative side, tet=\n" + streamed(*expected.tet) + "oppIndex=" +
                               std::to_string(expected.facet) + ", Vertex=" + vertexText(*expected.vertex) +
                               "\ncheckValidity: " + side + "\n";
    EXPECT_EQ(run.console.substr(0, report.size()), report);

    const std::vector<std::string> vFiles = dumpFiles(dir, "negSideBug\\.list");
    ASSERT_EQ(vFiles.size(), 1u);
    EXPECT_EQ(run.console.substr(report.size()), showLines(vTets.size(), vFiles[0]));
    expectShowScene(readFile(vFiles[0]), vTets, expected.vertex);
}

// Swaps the two corners that follow the first inner facet of the first listed tetrahedron: that
// facet now faces the wrong way, and the neighbour's vertex lies strictly on the positive side.
Defect swapCorners(const Tets& vTets)
{
    Tet3* pTet = vTets[0];
    int facet = 0;
    while (pTet->getOppTet(facet) == nullptr) ++facet;
    const int a = (facet + 1) % 4, b = (facet + 2) % 4;
    Point3* pA = pTet->getCorner(a);
    pTet->setCorner(a, pTet->getCorner(b));
    pTet->setCorner(b, pA);
    return {pTet, facet, backLinkedCorner(pTet, facet)};
}

// Exchanges the neighbours 0 and 1 of a tetrahedron A: every link stays mutual, but neighbour 0
// now finds corner 1 of A, a corner of their common facet: coplanar. A is taken late in the
// visiting order so that the earlier of its two neighbours reports first.
Defect exchangeNeighbours(const Tets& vTets)
{
    const auto position = [&](const Tet3* t) { return std::find(vTets.begin(), vTets.end(), t) - vTets.begin(); };
    for (Tet3* t : vTets) {
        Tet3* pN0 = t->getOppTet(0);
        Tet3* pN1 = t->getOppTet(1);
        if (pN0 == nullptr || pN1 == nullptr || position(t) < std::max(position(pN0), position(pN1))) continue;
        t->setOppTet(0, pN1);
        t->setOppTet(1, pN0);
        Tet3* pFirst = position(pN0) < position(pN1) ? pN0 : pN1;
        const int facet = pFirst->getIntraTetIndex(t);
        return {pFirst, facet, backLinkedCorner(pFirst, facet)};
    }
    return {};
}

// Each corruption undoes itself when applied again.
TEST(CorruptedMesh, AVertexOnTheWrongSideIsReportedWithItsTetrahedron)
{
    const struct {
        Defect (*corrupt)(const Tets&);
        std::vector<Points> inputs;
        const char* side;
        bool checkSphereInclusion;
    } cases[] = {{swapCorners, {uniformCube(300, 1), integerGrid(5, 2)}, "positive", true},
                 {exchangeNeighbours, {uniformCube(300, 3), integerGrid(5, 4), pythagoreanSphere(15, 9)}, "coplanar", false}};
    for (const auto& c : cases)
        for (const Points& input : c.inputs) {
            TempWorkDir dir;
            auto dt = buildQuietly(input).dt;
            const Tets vTets = allTetrahedra(*dt);
            const Defect expected = c.corrupt(vTets);
            expectNegativeSideReport(runCheck(*dt, "corrupted", c.checkSphereInclusion), dir, *dt, expected, c.side);
            c.corrupt(vTets);
            EXPECT_TRUE(runCheck(*dt, "restored", true).verdict);
        }
}

// Two tetrahedra glued across (b, c, d), with e moved from outside the sphere through a, b, c, d to
// inside it, still beyond that facet: only the sphere test sees the defect, on both tetrahedra.
TEST(CorruptedMesh, AVertexMovedIntoASphereIsReportedWithTheSphere)
{
    TempWorkDir dir;
    const BuiltMesh mesh = buildQuietly({Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1), Point3(1.2, 1.2, 1.2)},
                                         InsertMode::BatchHandles);
    const auto& dt = mesh.dt;
    const Tets vTets = allTetrahedra(*dt);
    ASSERT_EQ(vTets.size(), 2u);
    const int facet = vTets[0]->getIntraTetIndex(vTets[1]);
    Point3* pMoved = mesh.vertexOf.at({1.2, 1.2, 1.2});
    pMoved->exchange(0.9, 0.9, 0.9);
    const Defect expected{vTets[0], facet, backLinkedCorner(vTets[0], facet)};

    const CheckRun without = runCheck(*dt, "moved", false);
    EXPECT_TRUE(without.verdict);
    EXPECT_EQ(without.console, header("moved", vTets.size(), false) + closingLine("moved"));

    const CheckRun run = runCheck(*dt, "moved", true);
    EXPECT_FALSE(run.verdict);
    const std::vector<std::string> vFiles = dumpFiles(dir, "sphereIncBug\\.list");
    ASSERT_EQ(vFiles.size(), 1u);
    EXPECT_EQ(run.console, header("moved", vTets.size(), true) + banner("checkValidity: ERROR ERROR ERROR") +
                               "Dt3::checkValidity, HUH - sphereIncTest failed: \n" + streamed(*expected.tet) +
                               ", Vertex=" + vertexText(*expected.vertex) + "\nVisualizer, writing " + vFiles[0] +
                               "\n  Writing " + vFiles[0] + "\n");
    const std::string scene = readFile(vFiles[0]);
    EXPECT_EQ(occurrences(scene, "OFF\n"), 4u);
    EXPECT_EQ(occurrences(scene, "SPHERE "), 1u);

    pMoved->exchange(1.2, 1.2, 1.2);
    EXPECT_TRUE(runCheck(*dt, "restored", true).verdict);
}

TEST(CorruptedMesh, AVisitedMarkLeftOnATetrahedronThrows)
{
    TempWorkDir dir;
    auto dt = buildQuietly(uniformCube(200, 7)).dt;
    const Tets vTets = allTetrahedra(*dt);
    Tet3* pTet = vTets[vTets.size() / 2];
    pTet->hasBeenVisited = true;
    // The listing may leave the marked tetrahedron out; the check must find it all the same.
    const size_t numListed = allTetrahedra(*dt).size();
    const std::string dump = streamed(*pTet);
    const std::string console = stdoutOf([&] { EXPECT_THROW(dt->checkValidity("visited", true), VeskException); });
    pTet->hasBeenVisited = false;

    const std::string report = header("visited", numListed, true) +
                               "\n      Dt3::CheckValidity(), ERROR: pcurrentTet->hasBeenvisited=true\n" + dump + "\n" +
                               "\n      Vesk, , ERROR: Condition [ false failed ]\n      ";
    EXPECT_EQ(console.substr(0, report.size()), report);
    EXPECT_TRUE(dir.fileNames().empty());
    EXPECT_TRUE(runCheck(*dt, "cleared", true).verdict);
}

TEST(DumpFiles, AreNumberedFromZeroInEachProcess)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    // The death-test child is a fresh process, so no earlier test has advanced the counter there.
    EXPECT_EXIT(
        {
            bool bNumberedInOrder = false;
            {
                TempWorkDir dir;
                auto dt = buildQuietly(uniformCube(50, 8)).dt;
                swapCorners(allTetrahedra(*dt));
                runCheck(*dt, "first", true);
                runCheck(*dt, "second", true);
                bNumberedInOrder = dir.fileNames() == (std::vector<std::string>{"00000_negSideBug.list", "00001_negSideBug.list"});
            }
            std::exit(bNumberedInOrder ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

// Every input family, flat and collinear ones included (nothing is checked before the first
// tetrahedron), passes with and without the sphere test and leaves no file behind.
TEST(CheckValidity, EveryFamilyPassesWithAndWithoutTheSphereTest)
{
    TempWorkDir dir;
    for (const Family& family : allFamilies()) {
        SCOPED_TRACE(family.name);
        auto dt = buildQuietly(family.make(300, 11)).dt;
        const Tets vTets = allTetrahedra(*dt);
        for (bool bSphere : {true, false}) {
            const CheckRun run = runCheck(*dt, family.name, bSphere);
            EXPECT_TRUE(run.verdict);
            EXPECT_EQ(run.console, header(family.name, vTets.size(), bSphere) + closingLine(family.name));
        }
    }
    EXPECT_TRUE(dir.fileNames().empty());
}

// The text dump in query order, and the scene; scenes with a marked vertex come with the defect
// reports above.
TEST(PrintAndShow, ListEveryTetrahedronAndContinueTheColourRotation)
{
    TempWorkDir dir;
    auto dt = buildQuietly(uniformCube(30, 41)).dt;
    const Tets vTets = allTetrahedra(*dt);
    std::string expected = "\n\n**** Dt3::print(thirty), numTets=" + std::to_string(vTets.size()) + "\n";
    for (const Tet3* pTet : vTets) expected += streamed(*pTet) + "\n\n";
    EXPECT_EQ(stdoutOf([&] { dt->print("thirty"); }), expected);
    const int start = rotationCursor();
    EXPECT_EQ(stdoutOf([&] { dt->show("plain.list", nullptr); }), showLines(vTets.size(), "plain.list"));
    expectShowScene(readFile("plain.list"), vTets, nullptr);
    // Each tetrahedron takes the next colour of the rotation.
    ASSERT_NE(vTets.size() % Visualizer3::NUM_ROTATION_COLORS, 0u);
    EXPECT_EQ(rotationCursor(), static_cast<int>((start + vTets.size()) % Visualizer3::NUM_ROTATION_COLORS));
}

} // namespace
