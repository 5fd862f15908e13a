#pragma once
// Seeded point generators for the engine tests. Every family is deterministic for a given seed
// (std::mt19937_64), so a failing case can be replayed from its family name, size and seed.
#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <Vesk_3D.h>

namespace VeskTest {

using Points = std::vector<VESK3D::Point3>;

Points uniformCube(int n, std::uint64_t seed, double lo = 0.0, double hi = 1.0);
Points gaussianClusters(int n, std::uint64_t seed, int numClusters = 5);
// Unit-sphere points rounded to doubles: nearly, but not exactly, cospherical.
Points nearSphere(int n, std::uint64_t seed);
// All integer points with x^2+y^2+z^2 == r^2, shuffled: exactly cospherical.
Points pythagoreanSphere(int r, std::uint64_t seed);
// The n^3 points {0..n-1}^3, shuffled when the seed is non-zero.
Points integerGrid(int n, std::uint64_t seed);
// A random subset of {0,1,2}^3 in random order, with about a third of the points repeated.
Points tinyGridWithDuplicates(std::uint64_t seed);
// Points o + a*u + b*v + c*w of the frame (o, u, v, w) with integer coefficients in [-range, range]:
// on the line (b = c = 0), the plane (c = 0) or off it with the given percentages. Exact in double.
using Frame = std::array<std::array<int, 3>, 4>;
Points affineMix(const Frame& frame, int n, std::uint64_t seed, int percentOnLine, int percentOnPlane, int range);
// Integer points on the plane x + 2y - z == 3 (all exactly coplanar).
Points coplanarOnly(int n, std::uint64_t seed);
// Integer multiples of (3, -1, 2) shifted by (1, 5, -7): all exactly collinear.
Points collinear(int n, std::uint64_t seed);
// The points plus copies of random members (the zero coordinates of some copies negated), shuffled.
Points withDuplicates(const Points& points, std::uint64_t seed, double duplicateFraction);

void shuffle(Points& points, std::uint64_t seed);

// A named family of a given size, for drivers that loop over all of them.
struct Family {
    std::string name;
    std::function<Points(int n, std::uint64_t seed)> make;
};
// Every family above that takes a size; the degenerate ones are part of the list.
const std::vector<Family>& allFamilies();

} // namespace VeskTest
