// The fuzzer's bytes become a sequence of operations on one triangulation: batch and single
// insertions, point location and vertex stars, all on points of one degenerate-prone family. After
// every operation the whole mesh must pass the engine tests' exact checker (which lists every
// tetrahedron), location and stars must agree with brute force, and nothing may throw.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <Vesk_3D.h>

#include "FuzzBytes.h"
#include "MeshBuilder.h"
#include "MeshChecker.h"

using VESK3D::Point3;
using VESK3D::Tet3;
using VeskFuzz::FuzzBytes;

namespace {

// Keeps every input quick to judge: the checker's brute force grows much faster than the size.
constexpr size_t maxPoints = 120;
constexpr int maxBatch = 24;

// Integer points with x^2 + y^2 + z^2 == 50 (exactly cospherical) and the centre.
std::vector<Point3> sphereFamily()
{
    std::vector<Point3> v{Point3(0, 0, 0)};
    for (int x = -7; x <= 7; ++x)
        for (int y = -7; y <= 7; ++y)
            for (int z = -7; z <= 7; ++z)
                if (x * x + y * y + z * z == 50) v.emplace_back(x, y, z);
    return v;
}

// One point of the family chosen by the input's first byte; its top bit scales the whole family by
// a power of two from the subnormals to near the largest doubles.
class PointFamily {
public:
    explicit PointFamily(uint8_t selector) : kind(selector % 8), scaleExponent(scaleExponentFor(selector)) {}

    Point3 next(FuzzBytes& in)
    {
        return VeskFuzz::scaledIfFinite(unscaledNext(in), scaleExponent);
    }

private:
    static int scaleExponentFor(uint8_t selector)
    {
        static const int aExponents[16] = {-1074, -1060, -1022, -900, -700, -500, -333, -150, 150, 333, 500, 700, 900, 940, 960, 970};
        return selector < 128 ? 0 : aExponents[(selector / 8) % 16];
    }

    Point3 unscaledNext(FuzzBytes& in)
    {
        const uint8_t b = in.byte();
        const double i = b % 4, j = (b / 4) % 4, k = (b / 16) % 4;
        switch (kind) {
        case 0: return Point3(i, j, k);                                           // {0..3}^3
        case 1: return Point3(i + 4 * (in.byte() % 2), j, k + 4 * (b / 64));      // {0..7}x{0..3}x{0..7}
        case 2: return Point3(offset + i, offset + j, offset + k);                // far from the origin
        case 3: return Point3(VeskFuzz::nudged(1 + i, (b >> 6) % 3 - 1), VeskFuzz::nudged(1 + j, in.byte() % 3 - 1), k); // grid moved by ulps
        case 4: return sphere[b % sphere.size()];
        case 5: return b & 0x80 ? Point3(i, j, 3 - i - j) : Point3(i, j, k);      // half of them on one plane
        case 6: return Point3(std::ldexp(i, -40), std::ldexp(j, -40), std::ldexp(k, -40));
        default: return VeskFuzz::nearDegeneratePoint(in, vCoordinates);
        }
    }

    const int kind;
    const int scaleExponent;
    const double offset = std::ldexp(1.0, 40);
    const std::vector<Point3> sphere = sphereFamily();
    std::vector<double> vCoordinates;
};

void requireOk(const ::testing::AssertionResult& result, const char* operation)
{
    if (result) return;
    std::fprintf(stderr, "after %s: %s\n", operation, result.message());
    VeskFuzz::fail("the mesh or a query disagrees with the exact checker");
}

void runOperations(FuzzBytes& in)
{
    PointFamily family(in.byte());
    VeskTest::BuiltMesh mesh;
    while (!in.exhausted() && mesh.vInputs.size() < maxPoints) {
        const uint8_t operation = in.byte() % 5;
        if (operation <= 1) {
            const int numPoints = operation == 0 ? 1 + in.byte() % maxBatch : 1;
            VeskTest::Points vPoints;
            for (int i = 0; i < numPoints; ++i) vPoints.push_back(family.next(in));
            const VeskTest::InsertMode mode =
                operation == 1 ? VeskTest::InsertMode::Singles
                               : (in.byte() % 2 ? VeskTest::InsertMode::BatchHandles : VeskTest::InsertMode::Batch);
            requireOk(VeskTest::insertPoints(mesh, vPoints, mode, 0), "inserting");
            requireOk(VeskTest::checkMesh(mesh), "inserting");
        } else if (operation == 2) {
            requireOk(VeskTest::locateAgrees(*mesh.dt, VeskTest::allTetrahedra(*mesh.dt), family.next(in)), "locate");
        } else {
            // A vertex's star, or location at its own coordinates (the duplicate path of location).
            const std::vector<Point3*> vVertices = VeskTest::allVertices(*mesh.dt);
            const uint8_t choice = in.byte();
            if (vVertices.empty()) continue;
            Point3* pVertex = vVertices[choice % vVertices.size()];
            if (operation == 3) requireOk(VeskTest::starAgrees(*mesh.dt, VeskTest::allTetrahedra(*mesh.dt), pVertex), "star");
            else requireOk(VeskTest::locateAgrees(*mesh.dt, VeskTest::allTetrahedra(*mesh.dt), *pVertex), "locate");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size)
{
    FuzzBytes in(pData, size);
    try {
        runOperations(in);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        VeskFuzz::fail("an exception escaped a query");
    }
    return 0;
}

// The exact oracle allocates for every close call; recording each allocation's stack would take
// most of the time. Replay a finding with ASAN_OPTIONS=malloc_context_size=30 for full stacks.
extern "C" const char* __asan_default_options()
{
    return "malloc_context_size=0";
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // The engine's own lines are dropped; findings go to standard error. Replaying a finding with
    // VESK3D_FUZZ_VERBOSE set shows the engine's report of a failed assertion too.
    if (!std::getenv("VESK3D_FUZZ_VERBOSE")) VESK3D::setMessageSink([](VESK3D::MessageKind, const std::string&) {});
    return 0;
}
