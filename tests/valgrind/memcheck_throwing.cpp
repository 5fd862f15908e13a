// The ways a host can make the library throw VeskException, each followed by the destruction of
// the triangulation, for a memory checker to watch: nothing may leak or be touched after release
// once an exception has left the library, even in the middle of an insertion.
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#include <Vesk_3D.h>

using VESK3D::Point3;
using VESK3D::Tet3;
using VESK3D::Vesk_3D;

namespace {

std::unique_ptr<Vesk_3D> randomMesh(size_t numPoints)
{
    auto dt = std::make_unique<Vesk_3D>();
    std::vector<Point3> vPoints;
    VESK3D::generateRandomPoints(numPoints, 0.0, 1.0, vPoints, 11);
    dt->insert(vPoints);
    return dt;
}

bool throwsVeskException(const char* name, const std::function<void()>& action)
{
    try {
        action();
    } catch (const VESK3D::VeskException&) {
        return true;
    }
    std::fprintf(stderr, "memcheck_throwing: %s did not throw\n", name);
    return false;
}

} // namespace

int main()
{
    int failures = 0;
    {
        // The mesh stays usable after this one: the check comes before any change.
        auto dt = randomMesh(3000);
        std::vector<Tet3*> vTets(1, nullptr);
        failures += !throwsVeskException("getTetrahedra into a non-empty list", [&] { dt->getTetrahedra(vTets); });
        std::vector<Point3> vMore;
        VESK3D::generateRandomPoints(300, 0.0, 1.0, vMore, 12);
        dt->insert(vMore);
        if (!dt->checkValidity("after-throw", true)) {
            std::fprintf(stderr, "memcheck_throwing: the mesh is broken after a rejected listing\n");
            ++failures;
        }
    }
    {
        // A stray traversal mark, which only the self-check looks for.
        auto dt = randomMesh(3000);
        std::vector<Tet3*> vTets;
        dt->getTetrahedra(vTets);
        vTets[vTets.size() / 2]->hasBeenVisited = true;
        failures += !throwsVeskException("checkValidity with a stray mark", [&] { dt->checkValidity("marked", false); });
    }
    {
        // A coordinate that is not a number is refused before anything changes.
        auto dt = randomMesh(3000);
        Point3 p(0.5, std::nan(""), 0.5);
        failures += !throwsVeskException("a single insertion of a NaN point", [&] { dt->insert(p); });
    }
    {
        // An infinite point in the middle of a batch refuses the whole batch.
        auto dt = randomMesh(3000);
        std::vector<Point3> vBatch;
        VESK3D::generateRandomPoints(3000, 0.0, 1.0, vBatch, 13);
        vBatch[vBatch.size() / 2] = Point3(HUGE_VAL, 0.25, 0.75);
        std::vector<Point3*> vHandles;
        failures += !throwsVeskException("a batch holding an infinite point", [&] { dt->insert(vBatch, vHandles); });
    }
    return failures == 0 ? 0 : 1;
}
