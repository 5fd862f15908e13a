// Nanoseconds per predicate call: random points (the filter decides) and degenerate points
// (the adaptive stages run). Inputs are prepared in advance and cycled through.
#include <GeomTest3.h>
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

using namespace VESK3D;

namespace {

constexpr int kNumCases = 4096;

std::mt19937_64 rng(7);

double uniform(double lo, double hi)
{
    return std::uniform_real_distribution<double>(lo, hi)(rng);
}

int uniformInt(int lo, int hi)
{
    return std::uniform_int_distribution<int>(lo, hi)(rng);
}

Point3 randomPoint()
{
    return Point3(uniform(-1, 1), uniform(-1, 1), uniform(-1, 1));
}

// A point of the plane z = x + y, scaled by its own power of two: exactly coplanar sets whose
// coordinate differences are rounded, so the orientation needs every stage.
Point3 mixedMagnitudePointOnPlane()
{
    const double scale = std::ldexp(1.0, uniformInt(-30, 30));
    const int a = uniformInt(-9, 9), b = uniformInt(-9, 9);
    return Point3(a * scale, b * scale, (a + b) * scale);
}

// Lattice points of the sphere of radius 9: five of them are cospherical, and the filter fails.
std::vector<Point3> latticePointsOnSphere()
{
    std::vector<Point3> points;
    for (int x = -9; x <= 9; ++x)
        for (int y = -9; y <= 9; ++y)
            for (int z = -9; z <= 9; ++z)
                if (x * x + y * y + z * z == 81) points.emplace_back(x, y, z);
    return points;
}

struct Case {
    Point3 p[5];
    Tet3* pTet = nullptr;
};

// Records initialised like the engine's pool records, which never run a constructor.
struct TetStorage {
    void operator()(Tet3* p) const { ::operator delete(p); }
};

class Cases {
public:
    template <class MakePoint>
    static std::unique_ptr<Cases> make(MakePoint makePoint)
    {
        std::unique_ptr<Cases> cases(new Cases);
        const GeomTest3 predicates;
        for (int i = 0; i < kNumCases; ++i) {
            Case& c = cases->vCases[i];
            do {
                for (Point3& q : c.p) q = makePoint();
            } while (predicates.getOrientation3(&c.p[0], &c.p[1], &c.p[2], &c.p[3]) == ORIENTATION3_COPLANAR);
            if (predicates.getOrientation3(&c.p[0], &c.p[1], &c.p[2], &c.p[3]) == ORIENTATION3_NEGATIVE)
                std::swap(c.p[0], c.p[1]);
            cases->vTets.emplace_back(static_cast<Tet3*>(::operator new(sizeof(Tet3))));
            c.pTet = cases->vTets.back().get();
            c.pTet->setProperties(&c.p[0], &c.p[1], &c.p[2], &c.p[3]);
        }
        return cases;
    }
    // Flat corners on purpose: the orientation and sphere tests of such sets run to the exact end.
    template <class MakePoint>
    static std::unique_ptr<Cases> makeDegenerate(MakePoint makePoint)
    {
        std::unique_ptr<Cases> cases(new Cases);
        for (Case& c : cases->vCases)
            for (Point3& q : c.p) q = makePoint();
        return cases;
    }
    const Case& operator[](int i) const { return vCases[i % kNumCases]; }

private:
    std::vector<Case> vCases = std::vector<Case>(kNumCases);
    std::vector<std::unique_ptr<Tet3, TetStorage>> vTets;
};

void runOrientation(benchmark::State& state, const Cases& cases)
{
    const GeomTest3 predicates;
    int i = 0;
    for (auto _ : state) {
        const Case& c = cases[i++];
        benchmark::DoNotOptimize(predicates.getOrientation3(&c.p[0], &c.p[1], &c.p[2], &c.p[4]));
    }
}

void BM_OrientationRandom(benchmark::State& state)
{
    static const auto cases = Cases::make(randomPoint);
    runOrientation(state, *cases);
}

void BM_OrientationCoplanarMixedMagnitudes(benchmark::State& state)
{
    static const auto cases = Cases::makeDegenerate(mixedMagnitudePointOnPlane);
    runOrientation(state, *cases);
}

void BM_SphereRandom(benchmark::State& state)
{
    static const auto cases = Cases::make(randomPoint);
    const GeomTest3 predicates;
    int i = 0;
    for (auto _ : state) {
        const Case& c = cases->operator[](i++);
        benchmark::DoNotOptimize(predicates.sphereInclusionTest(c.pTet, &c.p[4]));
    }
}

void BM_SphereCosphericalLattice(benchmark::State& state)
{
    static const std::vector<Point3> sphere = latticePointsOnSphere();
    static const auto cases = Cases::make([] { return sphere[uniformInt(0, static_cast<int>(sphere.size()) - 1)]; });
    const GeomTest3 predicates;
    int i = 0;
    for (auto _ : state) {
        const Case& c = cases->operator[](i++);
        benchmark::DoNotOptimize(predicates.sphereInclusionTest(c.pTet, &c.p[4]));
    }
}

// The full exact in-sphere determinant on five coplanar points with rounded differences; an
// infinite permanent makes every earlier stage pass it on.
void BM_SphereExactCoplanarMixedMagnitudes(benchmark::State& state)
{
    static const auto cases = Cases::makeDegenerate(mixedMagnitudePointOnPlane);
    const GeomTest3 predicates;
    int i = 0;
    for (auto _ : state) {
        const Case& c = cases->operator[](i++);
        benchmark::DoNotOptimize(predicates.insphereAdapt(&c.p[0], &c.p[1], &c.p[2], &c.p[3], &c.p[4], INFINITY));
    }
}

} // namespace

BENCHMARK(BM_OrientationRandom);
BENCHMARK(BM_OrientationCoplanarMixedMagnitudes);
BENCHMARK(BM_SphereRandom);
BENCHMARK(BM_SphereCosphericalLattice);
BENCHMARK(BM_SphereExactCoplanarMixedMagnitudes);
