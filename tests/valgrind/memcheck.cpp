// For a memory checker to watch: a moderate triangulation through every public entry point (12,000
// random points and a 20^3 grid, whose cospherical cells drive the exact predicate stages, in
// batches and singly, then queries and the self-check), and the ways a host can make the library
// throw VeskException, each followed by destroying the triangulation: nothing may leak or be
// touched after release, even when an exception leaves an insertion. Exits non-zero if any answer
// is wrong.
#include <cmath>
#include <cstdio>
#include <functional>
#include <vector>

#include <Vesk_3D.h>

using VESK3D::Point3;
using VESK3D::Tet3;
using VESK3D::Vesk_3D;

namespace {

int failures = 0;

void expect(bool condition, const char* what)
{
    if (condition) return;
    std::fprintf(stderr, "memcheck: %s\n", what);
    ++failures;
}

void expectThrow(const char* what, const std::function<void()>& action)
{
    try {
        action();
        expect(false, what);
    } catch (const VESK3D::VeskException&) {
    }
}

std::vector<Point3> randomPoints(size_t numPoints, unsigned seed)
{
    std::vector<Point3> vPoints;
    VESK3D::generateRandomPoints(numPoints, 0.0, 1.0, vPoints, seed);
    return vPoints;
}

void everyEntryPoint()
{
    Vesk_3D dt;
    std::vector<Point3> vPoints = randomPoints(18000, 7), vGrid; // 2/3 of the count: 12,000 points
    dt.insert(vPoints);
    for (int i = 0; i < 8000; ++i) vGrid.emplace_back(i / 400 / 20.0, i / 20 % 20 / 20.0, i % 20 / 20.0);
    std::vector<Point3*> vHandles, vVertices;
    dt.insert(vGrid, vHandles);
    Point3 single(0.5, 0.5, 0.5);
    Point3* pSingle = dt.insert(single);
    expect(dt.insert(single) == pSingle && vHandles.size() == vGrid.size(), "handles of the grid and a repeated point");
    dt.getVertices(vVertices);
    std::vector<Tet3*> vTets, vStar;
    dt.getTetrahedra(vTets);
    dt.getTetsAroundVertex(pSingle, vStar);
    expect(!vTets.empty() && !vStar.empty(), "tetrahedra and a star listed");
    expect(dt.locate(Point3(0.25, 0.25, 0.25)) != nullptr && dt.locate(Point3(5, 5, 5)) == nullptr, "points located");
    expect(dt.checkValidity("memcheck", true), "the mesh passes the self-check");
    std::printf("%zu vertices, %zu tetrahedra\n", vVertices.size(), vTets.size());
}

void everyThrowingPath()
{
    Vesk_3D dt;
    std::vector<Point3> vPoints = randomPoints(3000, 11), vMore = randomPoints(300, 12), vBatch = randomPoints(3000, 13);
    dt.insert(vPoints);
    // The mesh stays usable after this one: the check comes before any change.
    std::vector<Tet3*> vTets(1, nullptr);
    expectThrow("getTetrahedra into a non-empty list did not throw", [&] { dt.getTetrahedra(vTets); });
    dt.insert(vMore);
    expect(dt.checkValidity("after-throw", true), "the mesh is broken after a rejected listing");
    // A coordinate that is not a number is refused before anything changes; an infinite point in
    // the middle of a batch refuses the whole batch.
    Point3 p(0.5, std::nan(""), 0.5);
    expectThrow("a single insertion of a NaN point did not throw", [&] { dt.insert(p); });
    vBatch[vBatch.size() / 2] = Point3(HUGE_VAL, 0.25, 0.75);
    std::vector<Point3*> vHandles;
    expectThrow("a batch holding an infinite point did not throw", [&] { dt.insert(vBatch, vHandles); });
    // A stray traversal mark, which only the self-check looks for.
    vTets.clear();
    dt.getTetrahedra(vTets);
    vTets[vTets.size() / 2]->hasBeenVisited = true;
    expectThrow("checkValidity with a stray mark did not throw", [&] { dt.checkValidity("marked", false); });
}

} // namespace

int main()
{
    everyEntryPoint();
    everyThrowingPath();
    return failures == 0 ? 0 : 1;
}
