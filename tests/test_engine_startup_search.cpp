// The start-up search: while no tetrahedron exists, the engine must build its first one from the
// first quadruple of registry positions i < j < k < l, in lexicographic order, whose points span a
// volume (first two swapped when negatively oriented), and build none while there is no such
// quadruple. The engine finds it by a linear scan; the oracle here is the plain quartic search
// over the registry order with exact rational orientation signs.
#include <array>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <Dt3.h>
#include <Vesk_3D.h>

#include "ExactOracle.h"
#include "InputFamilies.h"

using namespace VeskTest;
using VESK3D::Dt3;
using VESK3D::Point3;
using VESK3D::Tet3;

namespace {

using Quadruple = std::array<const Point3*, 4>;
const Quadruple none{};

void quietly(const std::function<void()>& action)
{
    ::testing::internal::CaptureStdout();
    action();
    ::testing::internal::GetCapturedStdout();
}

Quadruple plainFirstQuadruple(const std::vector<Point3*>& v)
{
    const std::size_t n = v.size();
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = i + 1; j < n; ++j)
            for (std::size_t k = j + 1; k < n; ++k)
                for (std::size_t l = k + 1; l < n; ++l) {
                    const int sign = exactOrientSign(*v[i], *v[j], *v[k], *v[l]);
                    if (sign > 0) return {v[i], v[j], v[k], v[l]};
                    if (sign < 0) return {v[j], v[i], v[k], v[l]};
                }
    return none;
}

std::vector<Point3*> registryOrder(const Dt3& dt)
{
    std::vector<Point3*> vVertices;
    dt.getVertices(vVertices);
    return vVertices;
}

// Right after the start-up phase ends on the single-point path, the mesh is the first tetrahedron.
Quadruple onlyTetrahedron(const Dt3& dt)
{
    std::vector<Tet3*> vTets;
    dt.getAllTetrahedra(vTets);
    if (vTets.size() != 1) return none;
    const Tet3& t = *vTets[0];
    return {t.getCorner(0), t.getCorner(1), t.getCorner(2), t.getCorner(3)};
}

// Registers `held` as one batch, then `singles` one at a time; after every call the engine's
// choice (no tetrahedron, or its first one) must be the plain search's over the registry.
// Returns whether the start-up phase ended.
bool expectPlainSearchChoice(const Points& held, const Points& singles, const std::string& label)
{
    Dt3 dt(nullptr);
    if (!held.empty()) {
        std::vector<Point3*> vHandles;
        quietly([&] { dt.insert(held, vHandles); });
    }
    for (std::size_t i = 0; i <= singles.size(); ++i) {
        if (i > 0) quietly([&] { dt.insert(singles[i - 1]); });
        const Quadruple expected = plainFirstQuadruple(registryOrder(dt));
        const std::string where = label + " after " + std::to_string(i) + " single insertions";
        if (expected == none) {
            EXPECT_FALSE(dt.is3D()) << where;
            if (dt.is3D()) return true;
            continue;
        }
        EXPECT_TRUE(dt.is3D()) << where;
        EXPECT_EQ(onlyTetrahedron(dt), expected) << where;
        return true;
    }
    return false;
}

// Points o + a*u + b*v + c*w with small integer a, b, c and integer o, u, v, w: on the line (b = c
// = 0), the plane (c = 0) or off it with the given percentages, duplicates included. Exact in double.
Points affineFrameMix(std::uint64_t seed, int n, int percentOnLine, int percentOnPlane, int coefficientRange)
{
    std::mt19937_64 rng(seed);
    auto integer = [&rng](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    std::array<std::array<int, 3>, 4> frame;
    for (auto& vector : frame)
        for (int& component : vector) component = integer(-9, 9);
    Points points;
    for (int i = 0; i < n; ++i) {
        const int kind = integer(1, 100);
        const int a = integer(-coefficientRange, coefficientRange);
        const int b = kind <= percentOnLine ? 0 : integer(-coefficientRange, coefficientRange);
        const int c = kind <= percentOnLine + percentOnPlane ? 0 : integer(-coefficientRange, coefficientRange);
        std::array<double, 3> p;
        for (int axis = 0; axis < 3; ++axis)
            p[axis] = frame[0][axis] + a * frame[1][axis] + b * frame[2][axis] + c * frame[3][axis];
        points.emplace_back(p[0], p[1], p[2]);
    }
    return points;
}

} // namespace

TEST(EngineStartupSearch, AgreesWithThePlainSearchOnRandomDegenerateMixes)
{
    int numEnded = 0;
    for (std::uint64_t seed = 1; seed <= 150; ++seed) {
        const int percentOnLine = static_cast<int>(seed % 5) * 20;
        const int percentOnPlane = static_cast<int>(seed % 3) * (100 - percentOnLine) / 2;
        const int coefficientRange = 1 + static_cast<int>(seed % 4);
        const Points points = affineFrameMix(seed, 14, percentOnLine, percentOnPlane, coefficientRange);
        numEnded += expectPlainSearchChoice({}, points, "mix seed " + std::to_string(seed));
    }
    // The mixes must reach both outcomes often, or the comparison proves little.
    EXPECT_GT(numEnded, 40);
    EXPECT_LT(numEnded, 140);
}

TEST(EngineStartupSearch, AgreesWithThePlainSearchOnSmallGridsWithDuplicates)
{
    for (std::uint64_t seed = 1; seed <= 80; ++seed) {
        expectPlainSearchChoice({}, tinyGridWithDuplicates(seed), "grid seed " + std::to_string(seed));
        Points lowLayers;
        for (const Point3& p : integerGrid(4, seed))
            if (p.z() < 1 || (p.z() < 2 && p.x() == 1 && seed % 2 == 0)) lowLayers.push_back(p);
        expectPlainSearchChoice({}, lowLayers, "layer seed " + std::to_string(seed));
    }
}

TEST(EngineStartupSearch, AgreesWithThePlainSearchOnUniformPoints)
{
    for (std::uint64_t seed = 1; seed <= 40; ++seed)
        EXPECT_TRUE(expectPlainSearchChoice({}, uniformCube(6, seed), "uniform seed " + std::to_string(seed)));
}

// A held coplanar or collinear batch puts many points before and after the one that ends the
// phase in registry order, so the first quadruple can start anywhere among them.
TEST(EngineStartupSearch, AgreesWithThePlainSearchAfterAHeldDegenerateBatch)
{
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        const std::string label = "seed " + std::to_string(seed);
        const Points plane = coplanarOnly(22, seed);
        EXPECT_FALSE(expectPlainSearchChoice(plane, {}, "plane " + label));
        EXPECT_TRUE(expectPlainSearchChoice(plane, {Point3(1.5, -2.0, 7.25)}, "plane " + label));
        const Points line = collinear(12, seed);
        EXPECT_FALSE(expectPlainSearchChoice(line, {}, "line " + label));
        const Point3 offLine(1 + 3 * 4, 5 - 4, -7 + 2 * 4 + 1);
        EXPECT_TRUE(expectPlainSearchChoice(line, {offLine, Point3(0.25, 0.5, 0.125)}, "line " + label));
        expectPlainSearchChoice(withDuplicates(line, seed, 0.5), affineFrameMix(seed, 6, 30, 50, 2), "line and mix " + label);
    }
}

TEST(EngineStartupSearch, AMillionCoplanarPointsStayHeld)
{
    std::mt19937_64 rng(99);
    std::uniform_int_distribution<int> coordinate(-1000000, 1000000);
    std::vector<Point3> plane;
    plane.reserve(1000000);
    for (int i = 0; i < 1000000; ++i) {
        const int x = coordinate(rng), y = coordinate(rng);
        plane.emplace_back(x, y, 3.0 * x - 2.0 * y + 7.0);
    }
    VESK3D::Vesk_3D dt;
    quietly([&] { dt.insert(plane); });
    EXPECT_FALSE(dt.is3D());
    std::vector<Point3*> vVertices;
    dt.getVertices(vVertices);
    EXPECT_GT(vVertices.size(), 999000u);

    // One point off the plane ends the phase with one tetrahedron on it; the rest stay held.
    Point3 apex(0.5, 0.25, 1e7);
    quietly([&] { dt.insert(apex); });
    ASSERT_TRUE(dt.is3D());
    std::vector<Tet3*> vTets;
    dt.getTetrahedra(vTets);
    ASSERT_EQ(vTets.size(), 1u);
    const Tet3& t = *vTets[0];
    EXPECT_TRUE(t.hasVertex(apex));
    EXPECT_EQ(exactOrientSign(*t.getCorner(0), *t.getCorner(1), *t.getCorner(2), *t.getCorner(3)), 1);
}
