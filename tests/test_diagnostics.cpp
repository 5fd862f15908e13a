// The self-check must pass every valid mesh and catch each kind of defect it claims to catch. What
// it should find first is decided independently, in exact rational arithmetic; meshes are then
// corrupted through the handles, and the reports, the dumps and the scene files are checked.
#include <Vesk_3D.h>
#include <Visualizer3.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "ExactOracle.h"
#include "InputFamilies.h"
#include "WorkDir.h"

using namespace VESK3D;
using namespace VeskTest;

namespace {

using Tets = std::vector<Tet3*>;

// Coordinates k/1000 with k < 100000 have at most six significant digits, so they survive the
// scene writer's default number format exactly.
Points sixDigitPoints(int n, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> k(0, 99999);
    Points v;
    for (int i = 0; i < n; ++i) v.emplace_back(k(rng) / 1000.0, k(rng) / 1000.0, k(rng) / 1000.0);
    return v;
}

std::unique_ptr<Vesk_3D> triangulate(std::vector<Point3> vPoints)
{
    auto dt = std::make_unique<Vesk_3D>();
    testing::internal::CaptureStdout();
    dt->insert(vPoints);
    testing::internal::GetCapturedStdout();
    return dt;
}

Tets tetsOf(const Vesk_3D& dt)
{
    Tets v;
    testing::internal::CaptureStdout();
    dt.getTetrahedra(v);
    testing::internal::GetCapturedStdout();
    return v;
}

int rotationCursor()
{
    const std::string current = Visualizer3::getColor();
    for (int i = 0; i < Visualizer3::NUM_ROTATION_COLORS; ++i)
        if (current == Visualizer3::colorArray[i]) return i;
    return -1;
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

std::string addressText(const void* p)
{
    std::ostringstream os;
    os << p;
    return os.str();
}

std::string dumpOf(const Tet3& tet)
{
    std::ostringstream os;
    os << tet;
    return os.str();
}

// The vertex as the reports show it: address, "=", then the point's own dump.
std::string dumpOf(const Point3& p)
{
    std::ostringstream os;
    os << p;
    return addressText(&p) + "=" + os.str();
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

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
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
    const Tets vTets = tetsOf(dt);
    const std::string message = "ERROR: checkValidity at [" + run.label + "]";
    const std::string rule(message.size() + 36, '*');
    const std::string report = header(run.label, vTets.size(), run.checkSphereInclusion) + "\n\n" + rule + "\n" + rule +
                               "\n" + std::string(16, ' ') + message + "\n" + rule + "\n" + rule + "\n" +
                               "Dt3::checkValidity, HUH, vertex " + addressText(expected.vertex) +
                               " should be on the negative side, tet=\n" + dumpOf(*expected.tet) + "oppIndex=" +
                               std::to_string(expected.facet) + ", Vertex=" + dumpOf(*expected.vertex) +
                               "\ncheckValidity: " + (expected.side > 0 ? "positive" : "coplanar") + "\n";
    EXPECT_EQ(run.console.substr(0, report.size()), report);

    const std::vector<std::string> vFiles = dumpFiles(dir, "negSideBug\\.list");
    ASSERT_EQ(vFiles.size(), 1u);
    EXPECT_EQ(run.console.substr(report.size()), "  Dt3::show(): vTets.size()=" + std::to_string(vTets.size()) +
                                                      "\nVisualizer, writing " + vFiles[0] + "\n  Writing " + vFiles[0] +
                                                      "\n");
    expectShowScene(readFile(vFiles[0]), vTets, expected.vertex);
}

// Swaps the two corners that follow the first facet of pTet having a neighbour. Both lie on that
// facet, which now faces the wrong way; a second call undoes the first. Returns the facet.
int flipFirstInnerFacet(Tet3* pTet)
{
    int facet = 0;
    while (pTet->getOppTet(facet) == nullptr) ++facet;
    const int a = (facet + 1) % 4, b = (facet + 2) % 4;
    Point3* pA = pTet->getCorner(a);
    pTet->setCorner(a, pTet->getCorner(b));
    pTet->setCorner(b, pA);
    return facet;
}

// The first tetrahedron the check visits is flipped, so the report must be about it and its first
// inner facet, with the neighbour's vertex strictly on the positive side.
TEST(CorruptedMesh, SwappedCornersPutTheNeighbourOnThePositiveSide)
{
    for (const auto& input : {sixDigitPoints(300, 1), integerGrid(5, 2)}) {
        TempWorkDir dir;
        auto dt = triangulate(input);
        const Tets vTets = tetsOf(*dt);
        ASSERT_EQ(firstDefect(vTets, true).kind, Defect::NONE);
        const int facet = flipFirstInnerFacet(vTets[0]);

        const Defect expected = firstDefect(vTets, true);
        ASSERT_EQ(expected.kind, Defect::NEGATIVE_SIDE);
        ASSERT_EQ(expected.tet, vTets[0]);
        ASSERT_EQ(expected.facet, facet);
        ASSERT_EQ(expected.side, 1);
        expectNegativeSideReport(runCheck(*dt, "swapped", true), dir, *dt, expected);

        flipFirstInnerFacet(vTets[0]);
        EXPECT_TRUE(runCheck(*dt, "restored", true).verdict);
    }
}

// Exchanging the neighbours 0 and 1 of a tetrahedron A keeps every link mutual, but neighbour 0 now
// finds corner 1 of A, a corner of their common facet: coplanar. A is taken late in the visiting
// order so that its neighbours report first.
TEST(CorruptedMesh, ExchangedNeighboursSeeACoplanarVertex)
{
    for (const auto& input : {sixDigitPoints(300, 3), integerGrid(5, 4), pythagoreanSphere(15, 9)}) {
        TempWorkDir dir;
        auto dt = triangulate(input);
        const Tets vTets = tetsOf(*dt);
        const auto position = [&](const Tet3* t) { return std::find(vTets.begin(), vTets.end(), t) - vTets.begin(); };
        Tet3* pTet = nullptr;
        for (Tet3* t : vTets) {
            const Tet3* pN0 = t->getOppTet(0);
            const Tet3* pN1 = t->getOppTet(1);
            if (pN0 != nullptr && pN1 != nullptr && position(t) > std::max(position(pN0), position(pN1))) {
                pTet = t;
                break;
            }
        }
        ASSERT_NE(pTet, nullptr);
        Tet3* pN0 = pTet->getOppTet(0);
        Tet3* pN1 = pTet->getOppTet(1);
        pTet->setOppTet(0, pN1);
        pTet->setOppTet(1, pN0);

        const Defect expected = firstDefect(vTets, true);
        ASSERT_EQ(expected.kind, Defect::NEGATIVE_SIDE);
        ASSERT_TRUE(expected.tet == pN0 || expected.tet == pN1);
        ASSERT_EQ(expected.side, 0);
        ASSERT_TRUE(pTet->hasVertex(expected.vertex));
        expectNegativeSideReport(runCheck(*dt, "relinked", false), dir, *dt, expected);

        pTet->setOppTet(0, pN0);
        pTet->setOppTet(1, pN1);
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
    for (const auto& input : {sixDigitPoints(200, 5), integerGrid(4, 6)}) {
        TempWorkDir dir;
        auto dt = triangulate(input);
        const Tets vTets = tetsOf(*dt);
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
        const std::string message = "checkValidity: ERROR ERROR ERROR";
        const std::string rule(message.size() + 36, '*');
        EXPECT_EQ(run.console, header("moved", vTets.size(), true) + "\n\n" + rule + "\n" + rule + "\n" +
                                   std::string(16, ' ') + message + "\n" + rule + "\n" + rule + "\n" +
                                   "Dt3::checkValidity, HUH - sphereIncTest failed: \n" + dumpOf(*expected.tet) +
                                   ", Vertex=" + dumpOf(*expected.vertex) + "\nVisualizer, writing " + vFiles[0] +
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
    auto dt = triangulate(sixDigitPoints(200, 7));
    const Tets vTets = tetsOf(*dt);
    Tet3* pTet = vTets[vTets.size() / 2];
    pTet->hasBeenVisited = true;
    // The listing may leave the marked tetrahedron out; the check must find it all the same.
    const size_t numListed = tetsOf(*dt).size();
    const std::string dump = dumpOf(*pTet);
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
                auto dt = triangulate(sixDigitPoints(50, 8));
                flipFirstInnerFacet(tetsOf(*dt)[0]);
                runCheck(*dt, "first", true);
                runCheck(*dt, "second", true);
                const std::vector<std::string> vNames = dir.fileNames();
                bNumberedInOrder = vNames.size() == 2 && vNames[0] == "00000_negSideBug.list" &&
                                   vNames[1] == "00001_negSideBug.list";
            }
            std::exit(bNumberedInOrder ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(CheckValidity, ValidMeshesPassWithAndWithoutTheSphereTest)
{
    const struct {
        std::string name;
        Points points;
    } cases[] = {{"random", sixDigitPoints(500, 11)},
                 {"grid", integerGrid(6, 12)},
                 {"cospherical", pythagoreanSphere(15, 9)},
                 {"coplanar base", coplanarPlusOne(150, 10)},
                 {"random with duplicates", withDuplicates(sixDigitPoints(300, 13), 13, 0.3)},
                 {"grid with duplicates", withDuplicates(integerGrid(4, 14), 14, 0.5)}};
    TempWorkDir dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto dt = triangulate(c.points);
        const Tets vTets = tetsOf(*dt);
        ASSERT_FALSE(vTets.empty());
        ASSERT_EQ(firstDefect(vTets, true).kind, Defect::NONE);
        for (bool bSphere : {true, false}) {
            const CheckRun run = runCheck(*dt, c.name, bSphere);
            EXPECT_TRUE(run.verdict);
            EXPECT_EQ(run.console, header(c.name, vTets.size(), bSphere) + closingLine(c.name));
        }
    }
    EXPECT_TRUE(dir.fileNames().empty());
}

TEST(CheckValidity, NothingIsCheckedBeforeTheFirstTetrahedron)
{
    Vesk_3D empty;
    auto flat = triangulate(coplanarOnly(150, 10));
    ASSERT_FALSE(flat->is3D());
    for (const Vesk_3D* dt : {&empty, flat.get()}) {
        const CheckRun run = runCheck(*dt, "flat", false);
        EXPECT_TRUE(run.verdict);
        EXPECT_EQ(run.console, header("flat", 0, false) + closingLine("flat"));
    }
}

TEST(Print, DumpsEveryTetrahedronInQueryOrder)
{
    Vesk_3D empty;
    testing::internal::CaptureStdout();
    empty.print("empty");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n\n**** Dt3::print(empty), numTets=0\n");

    auto dt = triangulate(sixDigitPoints(40, 31));
    const Tets vTets = tetsOf(*dt);
    std::string expected = "\n\n**** Dt3::print(forty), numTets=" + std::to_string(vTets.size()) + "\n";
    for (const Tet3* pTet : vTets) expected += dumpOf(*pTet) + "\n\n";
    testing::internal::CaptureStdout();
    dt->print("forty");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

TEST(Show, ScenesListEveryTetrahedronAndContinueTheColourRotation)
{
    TempWorkDir dir;
    auto dt = triangulate(sixDigitPoints(30, 41));
    const Tets vTets = tetsOf(*dt);
    std::vector<Point3*> vVertices;
    dt->getVertices(vVertices);
    Point3* pMarked = vVertices[vVertices.size() / 2];

    const int start = rotationCursor();
    testing::internal::CaptureStdout();
    dt->show("marked.list", pMarked);
    dt->show("plain.list", nullptr);
    const std::string n = std::to_string(vTets.size());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "  Dt3::show(): vTets.size()=" + n + "\nVisualizer, writing marked.list\n  Writing marked.list\n" +
                  "  Dt3::show(): vTets.size()=" + n + "\nVisualizer, writing plain.list\n  Writing plain.list\n");
    expectShowScene(readFile("marked.list"), vTets, pMarked);
    expectShowScene(readFile("plain.list"), vTets, nullptr);
    // Each tetrahedron takes the next colour of the rotation.
    EXPECT_EQ(rotationCursor(), static_cast<int>((start + 2 * vTets.size()) % Visualizer3::NUM_ROTATION_COLORS));
}

} // namespace
