#include "MeshBuilder.h"

#include <algorithm>
#include <random>
#include <string>
#include <unordered_set>

#include "ExactOracle.h"
#include "MeshChecker.h"

using VESK3D::Point3;
using VESK3D::Tet3;

namespace VeskTest {

namespace {

std::array<double, 3> coordKey(const Point3& p)
{
    return {p.x() + 0.0, p.y() + 0.0, p.z() + 0.0};
}

// Every vertex handed back must carry its input's coordinates and be the one vertex of them.
::testing::AssertionResult checkHandle(BuiltMesh& mesh, const Point3& input, Point3* pVertex)
{
    if (!pVertex) return ::testing::AssertionFailure() << "no vertex handed back for " << input.x() << ", " << input.y() << ", " << input.z();
    if (!(*pVertex == input)) return ::testing::AssertionFailure() << "the vertex handed back for an input has other coordinates";
    Point3*& known = mesh.vertexOf[coordKey(input)];
    if (known && known != pVertex) return ::testing::AssertionFailure() << "two different vertices handed back for equal coordinates";
    known = pVertex;
    return ::testing::AssertionSuccess();
}

using Quadruple = std::array<const Point3*, 4>;

// The first quadruple of registry positions i < j < k < l, in lexicographic order, whose points span
// a volume, the first two swapped when negatively oriented; none (all null) while they are coplanar.
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
    return {};
}

// The quartic search is affordable up to this many registered points.
constexpr std::size_t maxSearchedRegistry = 24;

// Watches the start-up rules. The single-point path builds only the first tetrahedron, from the
// plain search's quadruple, and leaves the other points held; a batch triangulates the earlier
// points too unless the registry's size happens to equal the batch's.
class StartupWatch {
public:
    explicit StartupWatch(const BuiltMesh& mesh) : wasFull(mesh.dt->is3D())
    {
        if (!wasFull) vBefore = allVertices(*mesh.dt);
    }

    ::testing::AssertionResult afterSingle(BuiltMesh& mesh) const
    {
        if (wasFull) return ::testing::AssertionSuccess();
        const std::vector<Point3*> vNow = allVertices(*mesh.dt);
        const Tets vTets = allTetrahedra(*mesh.dt);
        Quadruple built{};
        for (int i = 0; i < 4 && vTets.size() == 1; ++i) built[i] = vTets[0]->getCorner(i);
        if (vNow.size() <= maxSearchedRegistry && built != plainFirstQuadruple(vNow))
            return ::testing::AssertionFailure() << "the start-up state after " << vNow.size() << " points is not the plain search's choice";
        std::unordered_set<const Point3*> corners;
        for (const Tet3* t : vTets)
            for (int i = 0; i < 4; ++i) corners.insert(t->getCorner(i));
        for (const Point3* p : vNow)
            if (!vTets.empty() && !corners.count(p)) mesh.vMayBeHeld.push_back(*p);
        return ::testing::AssertionSuccess();
    }

    void afterBatch(BuiltMesh& mesh, std::size_t batchSize) const
    {
        if (wasFull || !mesh.dt->is3D()) return;
        if (allVertices(*mesh.dt).size() != batchSize) return;
        for (const Point3* p : vBefore) mesh.vMayBeHeld.push_back(*p);
    }

private:
    bool wasFull;
    std::vector<Point3*> vBefore;
};

::testing::AssertionResult insertSingle(BuiltMesh& mesh, const Point3& p)
{
    StartupWatch watch(mesh);
    Point3 copy(p);
    Point3* pVertex = mesh.dt->insert(copy);
    mesh.vInputs.push_back(p);
    ::testing::AssertionResult result = watch.afterSingle(mesh);
    return result ? checkHandle(mesh, p, pVertex) : result;
}

::testing::AssertionResult insertChunk(BuiltMesh& mesh, const Points& vChunk, bool withHandles)
{
    StartupWatch watch(mesh);
    Points copy(vChunk);
    std::vector<Point3*> vHandles{nullptr}; // stale content: the engine only warns and refills the list
    if (withHandles) mesh.dt->insert(copy, vHandles);
    else mesh.dt->insert(copy);
    mesh.vInputs.insert(mesh.vInputs.end(), vChunk.begin(), vChunk.end());
    mesh.vLastBatch = vChunk;
    watch.afterBatch(mesh, vChunk.size());
    if (!withHandles) return ::testing::AssertionSuccess();
    if (vHandles.size() != vChunk.size())
        return ::testing::AssertionFailure() << vHandles.size() << " handles for " << vChunk.size() << " points";
    for (std::size_t i = 0; i < vChunk.size(); ++i) {
        ::testing::AssertionResult result = checkHandle(mesh, vChunk[i], vHandles[i]);
        if (!result) return result << " (handle " << i << ")";
    }
    return ::testing::AssertionSuccess();
}

// Hands the points over in the mode's call pattern.
::testing::AssertionResult insertInPattern(BuiltMesh& mesh, const Points& vPoints, InsertMode mode, std::uint64_t seed)
{
    if (mode == InsertMode::Batch || mode == InsertMode::BatchHandles) return insertChunk(mesh, vPoints, mode == InsertMode::BatchHandles);
    std::mt19937_64 rng(seed);
    const std::size_t maxChunk = std::max<std::size_t>(1, vPoints.size() / 3);
    for (std::size_t first = 0; first < vPoints.size();) {
        ::testing::AssertionResult result = ::testing::AssertionSuccess();
        if (mode == InsertMode::Singles || (mode == InsertMode::Mixed && rng() % 2 == 0)) {
            result = insertSingle(mesh, vPoints[first++]);
        } else {
            const std::size_t size = std::min(vPoints.size() - first, 1 + static_cast<std::size_t>(rng() % maxChunk));
            result = insertChunk(mesh, Points(vPoints.begin() + first, vPoints.begin() + first + size),
                                 mode == InsertMode::SeveralBatches || rng() % 2 == 0);
            first += size;
        }
        if (!result) return result;
    }
    return ::testing::AssertionSuccess();
}

// Handles stay valid for the life of the triangulation: all of them must still be registered.
::testing::AssertionResult checkHandlesRegistered(const BuiltMesh& mesh)
{
    const std::vector<Point3*> vVertices = allVertices(*mesh.dt);
    const std::unordered_set<const Point3*> registered(vVertices.begin(), vVertices.end());
    for (const auto& entry : mesh.vertexOf) {
        if (!registered.count(entry.second)) return ::testing::AssertionFailure() << "a vertex handed back earlier is no longer registered";
        if (coordKey(*entry.second) != entry.first) return ::testing::AssertionFailure() << "a vertex handed back earlier has changed coordinates";
    }
    return ::testing::AssertionSuccess();
}

} // namespace

const char* modeName(InsertMode mode)
{
    static const char* const names[] = {"Batch", "BatchHandles", "Singles", "SeveralBatches", "Mixed"};
    return names[static_cast<int>(mode)];
}

::testing::AssertionResult insertPoints(BuiltMesh& mesh, const Points& vPoints, InsertMode mode, std::uint64_t seed)
{
    ::testing::internal::CaptureStdout();
    ::testing::AssertionResult result = ::testing::AssertionSuccess();
    try {
        result = insertInPattern(mesh, vPoints, mode, seed);
    } catch (const std::exception&) {
        const std::string output = ::testing::internal::GetCapturedStdout();
        // The cause was printed just before the throw.
        return ::testing::AssertionFailure() << "exception while inserting; last output:\n"
                                             << output.substr(output.size() - std::min<std::size_t>(output.size(), 1500));
    }
    ::testing::internal::GetCapturedStdout();
    if (!result) return result;
    return checkHandlesRegistered(mesh);
}

BuiltMesh buildQuietly(const Points& vPoints, InsertMode mode, std::uint64_t seed)
{
    BuiltMesh mesh;
    EXPECT_TRUE(insertPoints(mesh, vPoints, mode, seed));
    return mesh;
}

::testing::AssertionResult checkMesh(const BuiltMesh& mesh)
{
    return checkMesh(*mesh.dt, mesh.vInputs, mesh.vMayBeHeld);
}

} // namespace VeskTest
