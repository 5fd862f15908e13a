// The self-check must pass every valid mesh and catch each kind of defect it claims to catch. What
// it should find first is decided independently, in exact rational arithmetic; meshes are then
// corrupted through the handles, and the reports, the dumps and the scene files are checked.
#include <Vesk_3D.h>
#include <Visualizer3.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "ExactOracle.h"
#include "InputFamilies.h"
#include "MeshChecker.h"
#include "WorkDir.h"

using namespace VESK3D;
using namespace VeskTest;

namespace {

std::unique_ptr<Vesk_3D> triangulate(std::vector<Point3> vPoints)
{
    auto dt = std::make_unique<Vesk_3D>();
    testing::internal::CaptureStdout();
    dt->insert(vPoints);
    testing::internal::GetCapturedStdout();
    return dt;
}

struct CheckRun {
    std::string label;
    bool checkSphereInclusion;
    bool verdict;
    std::string console;
};

CheckRun runCheck(const Vesk_3D& dt, const std::string& label, bool checkSphereInclusion)
{
    CheckRun run{label, checkSphereInclusion, false, ""};
    testing::internal::CaptureStdout();
    run.verdict = dt.checkValidity(label, checkSphereInclusion);
    run.console = testing::internal::GetCapturedStdout();
    return run;
}

template <typename T>
std::string streamed(const T& value)
{
    std::ostringstream os;
    os << value;
    return os.str();
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

// Where the process-wide colour cursor stands.
int rotationCursor()
{
    const std::string current = Visualizer3::getColor();
    for (int i = 0; i < Visualizer3::NUM_ROTATION_COLORS; ++i)
        if (current == Visualizer3::colorArray[i]) return i;
    return -1;
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

// The first defect in the checker's order, decided exactly. The vertex tested across facet i of t
// is the corner at which the neighbour links back to t; it must lie strictly on the other side of
// the facet than corner i, i.e. replacing corner i by it must flip the orientation.
struct Defect {
    enum Kind { NONE, NEGATIVE_SIDE, SPHERE_INCLUSION } kind = NONE;
    Tet3* tet = nullptr;
    int facet = -1;
    Point3* vertex = nullptr;
    int side = 0; // exact orientation sign with the vertex in place of corner `facet`
};

Point3* backLinkedCorner(const Tet3* pTet, const Tet3* pNeighbor)
{
    for (int k = 0; k < 4; ++k)
        if (pNeighbor->getOppTet(k) == pTet) return pNeighbor->getCorner(k);
    return nullptr;
}

Defect firstDefect(const Tets& vTets, bool checkSphereInclusion)
{
    for (Tet3* pTet : vTets) {
        for (int i = 0; i < 4; ++i) {
            const Tet3* pNeighbor = pTet->getOppTet(i);
            if (pNeighbor == nullptr) continue;
            Point3* pVertex = backLinkedCorner(pTet, pNeighbor);
            const Point3* c[4] = {pTet->getCorner(0), pTet->getCorner(1), pTet->getCorner(2), pTet->getCorner(3)};
            c[i] = pVertex;
            const int side = exactOrientSign(*c[0], *c[1], *c[2], *c[3]);
            if (side != -1) return {Defect::NEGATIVE_SIDE, pTet, i, pVertex, side};
            // The raw lifted sign, as the engine's test reads it for the stored corner order.
            if (checkSphereInclusion && exactLiftedSign(*pTet->getCorner(0), *pTet->getCorner(1), *pTet->getCorner(2),
                                                        *pTet->getCorner(3), *pVertex) < 0)
                return {Defect::SPHERE_INCLUSION, pTet, i, pVertex, side};
        }
    }
    return {};
}

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
void expectNegativeSideReport(const CheckRun& run, const TempWorkDir& dir, const Vesk_3D& dt, const Defect& expected)
{
    EXPECT_FALSE(run.verdict);
    const Tets vTets = allTetrahedra(dt);
    const std::string message = "ERROR: checkValidity at [" + run.label + "]";
    const std::string report = header(run.label, vTets.size(), run.checkSphereInclusion) + banner(message) +
                               "Dt3::checkValidity, HUH, vertex " + streamed(expected.vertex) +
                               " should be on the negative side, tet=\n" + streamed(*expected.tet) + "oppIndex=" +
                               std::to_string(expected.facet) + ", Vertex=" + vertexText(*expected.vertex) +
                               "\ncheckValidity: " + (expected.side > 0 ? "positive" : "coplanar") + "\n";
    EXPECT_EQ(run.console.substr(0, report.size()), report);

    const std::vector<std::string> vFiles = dumpFiles(dir, "negSideBug\\.list");
    ASSERT_EQ(vFiles.size(), 1u);
    EXPECT_EQ(run.console.substr(report.size()), showLines(vTets.size(), vFiles[0]));
    expectShowScene(readFile(vFiles[0]), vTets, expected.vertex);
}

// Swaps the two corners that follow the first inner facet of the first listed tetrahedron: that
// facet now faces the wrong way, and the neighbour's vertex lies strictly on the positive side.
std::function<void()> swapCorners(const Tets& vTets)
{
    Tet3* pTet = vTets[0];
    int facet = 0;
    while (pTet->getOppTet(facet) == nullptr) ++facet;
    return [pTet, facet] {
        const int a = (facet + 1) % 4, b = (facet + 2) % 4;
        Point3* pA = pTet->getCorner(a);
        pTet->setCorner(a, pTet->getCorner(b));
        pTet->setCorner(b, pA);
    };
}

// Exchanges the neighbours 0 and 1 of a tetrahedron A: every link stays mutual, but neighbour 0
// now finds corner 1 of A, a corner of their common facet: coplanar. A is taken late in the
// visiting order so that its neighbours report first.
std::function<void()> exchangeNeighbours(const Tets& vTets)
{
    const auto position = [&](const Tet3* t) { return std::find(vTets.begin(), vTets.end(), t) - vTets.begin(); };
    for (Tet3* t : vTets) {
        const Tet3* pN0 = t->getOppTet(0);
        const Tet3* pN1 = t->getOppTet(1);
        if (pN0 != nullptr && pN1 != nullptr && position(t) > std::max(position(pN0), position(pN1)))
            return [t] {
                Tet3* pN0 = t->getOppTet(0);
                t->setOppTet(0, t->getOppTet(1));
                t->setOppTet(1, pN0);
            };
    }
    return [] {};
}

// Each corruption undoes itself when applied again; the report must name the first defect in the
// check's order, which the exact oracle decides.
TEST(CorruptedMesh, AVertexOnTheWrongSideIsReportedWithItsTetrahedron)
{
    const struct {
        std::function<std::function<void()>(const Tets&)> corruption;
        std::vector<Points> inputs;
        int side;
        bool checkSphereInclusion;
    } cases[] = {{swapCorners, {uniformCube(300, 1), integerGrid(5, 2)}, 1, true},
                 {exchangeNeighbours, {uniformCube(300, 3), integerGrid(5, 4), pythagoreanSphere(15, 9)}, 0, false}};
    for (const auto& c : cases)
        for (const Points& input : c.inputs) {
            TempWorkDir dir;
            auto dt = triangulate(input);
            const Tets vTets = allTetrahedra(*dt);
            ASSERT_EQ(firstDefect(vTets, true).kind, Defect::NONE);
            const std::function<void()> corrupt = c.corruption(vTets);
            corrupt();
            const Defect expected = firstDefect(vTets, true);
            ASSERT_EQ(expected.kind, Defect::NEGATIVE_SIDE);
            ASSERT_EQ(expected.side, c.side);
            expectNegativeSideReport(runCheck(*dt, "corrupted", c.checkSphereInclusion), dir, *dt, expected);
            corrupt();
            EXPECT_TRUE(runCheck(*dt, "restored", true).verdict);
        }
}

double distance(const Point3& p, const Point3& q)
{
    const Vector3 v = p - q;
    return v.length();
}

struct Move {
    Point3* pVertex = nullptr;
    Point3 oldPosition;
};

// Moves a vertex that lies just outside the circumsphere of a neighbouring tetrahedron to just
// inside it, and keeps the first move after which, exactly, every facet still separates its two
// tetrahedra but some sphere is no longer empty.
Move breakOneSphere(const Tets& vTets)
{
    for (Tet3* pTet : vTets) {
        for (int i = 0; i < 4; ++i) {
            if (pTet->getOppTet(i) == nullptr) continue;
            Point3* q = backLinkedCorner(pTet, pTet->getOppTet(i));
            const Point3 c = pTet->getCircumcenter();
            const double r = distance(c, *pTet->getCorner(0)), d = distance(c, *q);
            if (d > 1.05 * r) continue;
            const double s = 1 - 0.99 * r / d;
            const Point3 old(*q);
            q->exchange(old.x() + s * (c.x() - old.x()), old.y() + s * (c.y() - old.y()), old.z() + s * (c.z() - old.z()));
            if (firstDefect(vTets, false).kind == Defect::NONE && firstDefect(vTets, true).kind == Defect::SPHERE_INCLUSION)
                return {q, old};
            q->exchange(old.x(), old.y(), old.z());
        }
    }
    return {};
}

TEST(CorruptedMesh, AVertexMovedIntoASphereIsReportedWithTheSphere)
{
    for (const auto& input : {uniformCube(200, 5), integerGrid(4, 6)}) {
        TempWorkDir dir;
        auto dt = triangulate(input);
        const Tets vTets = allTetrahedra(*dt);
        const Move move = breakOneSphere(vTets);
        ASSERT_NE(move.pVertex, nullptr);
        const Defect expected = firstDefect(vTets, true);

        // Only the sphere test can see this defect.
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

        move.pVertex->exchange(move.oldPosition.x(), move.oldPosition.y(), move.oldPosition.z());
        EXPECT_TRUE(runCheck(*dt, "restored", true).verdict);
    }
}

TEST(CorruptedMesh, AVisitedMarkLeftOnATetrahedronThrows)
{
    TempWorkDir dir;
    auto dt = triangulate(uniformCube(200, 7));
    const Tets vTets = allTetrahedra(*dt);
    Tet3* pTet = vTets[vTets.size() / 2];
    pTet->hasBeenVisited = true;
    // The listing may leave the marked tetrahedron out; the check must find it all the same.
    const size_t numListed = allTetrahedra(*dt).size();
    const std::string dump = streamed(*pTet);
    testing::internal::CaptureStdout();
    EXPECT_THROW(dt->checkValidity("visited", true), VeskException);
    const std::string console = testing::internal::GetCapturedStdout();
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
                auto dt = triangulate(uniformCube(50, 8));
                swapCorners(allTetrahedra(*dt))();
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
        auto dt = triangulate(family.make(300, 11));
        const Tets vTets = allTetrahedra(*dt);
        ASSERT_EQ(firstDefect(vTets, true).kind, Defect::NONE);
        for (bool bSphere : {true, false}) {
            const CheckRun run = runCheck(*dt, family.name, bSphere);
            EXPECT_TRUE(run.verdict);
            EXPECT_EQ(run.console, header(family.name, vTets.size(), bSphere) + closingLine(family.name));
        }
    }
    EXPECT_TRUE(dir.fileNames().empty());
}

TEST(Print, DumpsEveryTetrahedronInQueryOrder)
{
    auto dt = triangulate(uniformCube(40, 31));
    const Tets vTets = allTetrahedra(*dt);
    std::string expected = "\n\n**** Dt3::print(forty), numTets=" + std::to_string(vTets.size()) + "\n";
    for (const Tet3* pTet : vTets) expected += streamed(*pTet) + "\n\n";
    testing::internal::CaptureStdout();
    dt->print("forty");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

TEST(Show, ScenesListEveryTetrahedronAndContinueTheColourRotation)
{
    TempWorkDir dir;
    auto dt = triangulate(uniformCube(30, 41));
    const Tets vTets = allTetrahedra(*dt);
    std::vector<Point3*> vVertices;
    dt->getVertices(vVertices);
    Point3* pMarked = vVertices[vVertices.size() / 2];

    const int start = rotationCursor();
    testing::internal::CaptureStdout();
    dt->show("marked.list", pMarked);
    dt->show("plain.list", nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), showLines(vTets.size(), "marked.list") + showLines(vTets.size(), "plain.list"));
    expectShowScene(readFile("marked.list"), vTets, pMarked);
    expectShowScene(readFile("plain.list"), vTets, nullptr);
    // Each tetrahedron takes the next colour of the rotation.
    EXPECT_EQ(rotationCursor(), static_cast<int>((start + 2 * vTets.size()) % Visualizer3::NUM_ROTATION_COLORS));
}

} // namespace
