// Triangulates random points from the library's own generator, checks the result with the
// library's self-check, and reports the mesh and the time.
// Usage: vesk3d_example [number of points, default 200000] [seed, default 1]
#include <Vesk_3D.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <vector>

int main(int argc, char* argv[])
{
    const size_t numPoints = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 200000;
    const unsigned seed = argc > 2 ? static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)) : 1;
    std::cout << VESK3D::getVesk3DVersion() << std::endl;

    // The generator hands back two points for every three requested.
    std::vector<VESK3D::Point3> vPoints;
    VESK3D::generateRandomPoints((numPoints * 3 + 1) / 2, 0.0, 1000.0, vPoints, seed);
    vPoints.resize(numPoints);

    VESK3D::Vesk_3D dt;
    const auto start = std::chrono::steady_clock::now();
    dt.insert(vPoints);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;

    if (!dt.checkValidity("triangulate_random", true)) return 1;

    std::vector<VESK3D::Point3*> vVertices;
    std::vector<VESK3D::Tet3*> vTets;
    dt.getVertices(vVertices);
    dt.getTetrahedra(vTets);
    std::cout << "points:      " << vPoints.size() << "\n"
              << "vertices:    " << vVertices.size() << "\n"
              << "tetrahedra:  " << vTets.size() << "\n"
              << "time:        " << elapsed.count() << " s" << std::endl;
    return 0;
}
