#include "InputFamilies.h"

#include <algorithm>
#include <cmath>
#include <random>

using VESK3D::Point3;

namespace VeskTest {

namespace {

int uniformInt(std::mt19937_64& rng, int lo, int hi)
{
    return std::uniform_int_distribution<int>(lo, hi)(rng);
}

// Three draws in the order x, y, z (an initializer list would leave the order unspecified).
template <class Distribution>
Point3 randomPoint(Distribution& distribution, std::mt19937_64& rng)
{
    const double x = distribution(rng);
    const double y = distribution(rng);
    return Point3(x, y, distribution(rng));
}

} // namespace

void shuffle(Points& points, std::uint64_t seed)
{
    std::mt19937_64 rng(seed);
    std::shuffle(points.begin(), points.end(), rng);
}

Points uniformCube(int n, std::uint64_t seed, double lo, double hi)
{
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> coord(lo, hi);
    Points points;
    for (int i = 0; i < n; ++i) points.push_back(randomPoint(coord, rng));
    return points;
}

Points gaussianClusters(int n, std::uint64_t seed, int numClusters)
{
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> centre(-10.0, 10.0);
    std::vector<Point3> centres;
    for (int c = 0; c < numClusters; ++c) centres.push_back(randomPoint(centre, rng));
    std::normal_distribution<double> offset(0.0, 0.3);
    Points points;
    for (int i = 0; i < n; ++i) {
        const Point3& c = centres[uniformInt(rng, 0, numClusters - 1)];
        const Point3 d = randomPoint(offset, rng);
        points.emplace_back(c.x() + d.x(), c.y() + d.y(), c.z() + d.z());
    }
    return points;
}

Points nearSphere(int n, std::uint64_t seed)
{
    std::mt19937_64 rng(seed);
    std::normal_distribution<double> gauss(0.0, 1.0);
    Points points;
    while (static_cast<int>(points.size()) < n) {
        const Point3 p = randomPoint(gauss, rng);
        const double length = std::sqrt(p.x() * p.x() + p.y() * p.y() + p.z() * p.z());
        if (length > 1e-3) points.emplace_back(p.x() / length, p.y() / length, p.z() / length);
    }
    return points;
}

Points integerGrid(int n, std::uint64_t seed)
{
    Points points;
    for (int x = 0; x < n; ++x)
        for (int y = 0; y < n; ++y)
            for (int z = 0; z < n; ++z) points.emplace_back(x, y, z);
    if (seed != 0) shuffle(points, seed);
    return points;
}

Points pythagoreanSphere(int r, std::uint64_t seed)
{
    Points points;
    for (int x = -r; x <= r; ++x)
        for (int y = -r; y <= r; ++y)
            for (int z = -r; z <= r; ++z)
                if (x * x + y * y + z * z == r * r) points.emplace_back(x, y, z);
    shuffle(points, seed);
    return points;
}

Points tinyGridWithDuplicates(std::uint64_t seed)
{
    std::mt19937_64 rng(seed);
    Points subset;
    const int keepPercent = uniformInt(rng, 10, 100);
    for (const Point3& p : integerGrid(3, 0))
        if (uniformInt(rng, 1, 100) <= keepPercent) subset.push_back(p);
    return withDuplicates(subset, rng(), 0.35);
}

Points affineMix(const Frame& frame, int n, std::uint64_t seed, int percentOnLine, int percentOnPlane, int range)
{
    std::mt19937_64 rng(seed);
    Points points;
    for (int i = 0; i < n; ++i) {
        const int kind = uniformInt(rng, 1, 100);
        const int a = uniformInt(rng, -range, range);
        const int b = kind <= percentOnLine ? 0 : uniformInt(rng, -range, range);
        const int c = kind <= percentOnLine + percentOnPlane ? 0 : uniformInt(rng, -range, range);
        std::array<double, 3> p;
        for (int axis = 0; axis < 3; ++axis) p[axis] = frame[0][axis] + a * frame[1][axis] + b * frame[2][axis] + c * frame[3][axis];
        points.emplace_back(p[0], p[1], p[2]);
    }
    return points;
}

Points coplanarOnly(int n, std::uint64_t seed)
{
    return affineMix({{{0, 0, -3}, {1, 0, 1}, {0, 1, 2}, {0, 0, 0}}}, n, seed, 0, 100, 20);
}

Points collinear(int n, std::uint64_t seed)
{
    return affineMix({{{1, 5, -7}, {3, -1, 2}, {0, 0, 0}, {0, 0, 0}}}, n, seed, 100, 0, 50);
}

// Uniform points in a cube of side 1000 placed at about 2^exponent from the origin.
static Points largeOffset(int n, std::uint64_t seed, int exponent)
{
    const double offset = std::ldexp(1.0, exponent);
    Points points = uniformCube(n, seed, 0.0, 1000.0);
    for (Point3& p : points) p.exchange(p.x() + offset, p.y() - offset, p.z() + 0.5 * offset);
    return points;
}

static Points plusPoint(Points points, const Point3& p)
{
    points.push_back(p);
    return points;
}

Points withDuplicates(const Points& points, std::uint64_t seed, double duplicateFraction)
{
    std::mt19937_64 rng(seed);
    Points result = points;
    if (points.empty()) return result;
    const int numCopies = static_cast<int>(std::ceil(duplicateFraction * points.size()));
    for (int i = 0; i < numCopies; ++i) {
        const Point3& p = points[uniformInt(rng, 0, static_cast<int>(points.size()) - 1)];
        // -0.0 equals 0.0, so a copy with negated zeros is still a duplicate.
        auto flipZero = [](double v) { return v == 0.0 ? -v : v; };
        if (i % 2 == 0) result.emplace_back(p.x(), p.y(), p.z());
        else result.emplace_back(flipZero(p.x()), flipZero(p.y()), flipZero(p.z()));
    }
    shuffle(result, rng());
    return result;
}

const std::vector<Family>& allFamilies()
{
    static const std::vector<Family> families = {
        {"uniformCube", [](int n, std::uint64_t s) { return uniformCube(n, s); }},
        {"gaussianClusters", [](int n, std::uint64_t s) { return gaussianClusters(n, s); }},
        {"nearSphere", [](int n, std::uint64_t s) { return nearSphere(n, s); }},
        {"grid", [](int n, std::uint64_t s) { return integerGrid(std::max(2, static_cast<int>(std::cbrt(n))), s); }},
        {"coplanarPlusOne", [](int n, std::uint64_t s) { return plusPoint(coplanarOnly(n - 1, s), Point3(1.5, -2.0, 7.25)); }},
        {"largeOffset30", [](int n, std::uint64_t s) { return largeOffset(n, s, 30); }},
        {"largeOffset40", [](int n, std::uint64_t s) { return largeOffset(n, s, 40); }},
        {"tinyScale", [](int n, std::uint64_t s) { return uniformCube(n, s, 0.0, std::ldexp(1.0, -40)); }},
        {"uniformWithDuplicates", [](int n, std::uint64_t s) { return withDuplicates(uniformCube(n, s), s + 1, 0.3); }},
        {"coplanarOnly", [](int n, std::uint64_t s) { return coplanarOnly(n, s); }},
        {"collinear", [](int n, std::uint64_t s) { return collinear(n, s); }},
        {"sphereLatticeAndCentre", [](int n, std::uint64_t s) { return plusPoint(pythagoreanSphere(3 + n / 40, s), Point3(0, 0, 0)); }},
        {"gridWithDuplicates",
         [](int n, std::uint64_t s) { return withDuplicates(integerGrid(std::max(2, static_cast<int>(std::cbrt(n))), s), s + 1, 0.3); }},
    };
    return families;
}

} // namespace VeskTest
