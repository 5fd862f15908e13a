// A moderate triangulation through every public entry point, for a memory checker to watch:
// 12,000 random points and a 20^3 grid (whose cospherical cells drive the exact predicate stages),
// in batches and singly, then queries and the self-check. Exits non-zero if any answer is wrong.
#include <cstdio>
#include <vector>

#include <Vesk_3D.h>

using VESK3D::Point3;
using VESK3D::Tet3;

namespace {

int failures = 0;

void expect(bool condition, const char* what)
{
    if (condition) return;
    std::fprintf(stderr, "memcheck_triangulate: %s\n", what);
    ++failures;
}

std::vector<Point3> gridPoints(int n)
{
    std::vector<Point3> v;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            for (int k = 0; k < n; ++k) v.emplace_back(i / double(n), j / double(n), k / double(n));
    return v;
}

} // namespace

int main()
{
    std::vector<Point3> vRandom;
    VESK3D::generateRandomPoints(18000, 0.0, 1.0, vRandom, 7);  // 2/3 of the count: 12,000 points
    std::vector<Point3> vGrid = gridPoints(20);
    {
        VESK3D::Vesk_3D dt;
        std::vector<Point3*> vHandles;
        dt.insert(vRandom, vHandles);
        expect(vHandles.size() == vRandom.size(), "one handle per input point");
        dt.insert(vGrid);
        Point3 single(0.5, 0.5, 0.5);
        Point3* pSingle = dt.insert(single);
        expect(dt.insert(single) == pSingle, "a repeated point returns its vertex");

        std::vector<Point3*> vVertices;
        dt.getVertices(vVertices);
        std::vector<Tet3*> vTets;
        dt.getTetrahedra(vTets);
        expect(!vTets.empty(), "tetrahedra listed");
        Tet3* pFound = dt.locate(Point3(0.25, 0.25, 0.25));
        expect(pFound != nullptr, "an interior point is located");
        expect(dt.locate(Point3(5, 5, 5)) == nullptr, "a point outside the hull is not located");
        std::vector<Tet3*> vStar;
        dt.getTetsAroundVertex(pSingle, vStar);
        expect(!vStar.empty(), "a vertex has a star");
        expect(dt.checkValidity("memcheck", true), "the mesh passes the self-check");
        std::printf("%zu vertices, %zu tetrahedra\n", vVertices.size(), vTets.size());
    }
    return failures == 0 ? 0 : 1;
}
