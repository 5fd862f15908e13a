// The flat export and the located tetrahedron indices against the pointer structure they flatten,
// on meshes of every input family in every insertion pattern, each judged by the exact checker.
#include <string>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>

#include <Vesk_3D.h>

#include "InputFamilies.h"
#include "MeshBuilder.h"
#include "MeshChecker.h"

using namespace VeskTest;
using VESK3D::MeshArrays;
using VESK3D::Point3;
using VESK3D::Tet3;

namespace {

#ifdef NDEBUG
constexpr int familySize = 400;
#else
constexpr int familySize = 150;
#endif

template <class T>
std::unordered_map<const T*, int> listPositions(const std::vector<T*>& vRecords)
{
    std::unordered_map<const T*, int> positions{{nullptr, -1}};
    for (size_t i = 0; i < vRecords.size(); ++i) positions[vRecords[i]] = static_cast<int>(i);
    return positions;
}

// Everything an export may not change: the records' marks and links.
std::vector<long long> recordState(const std::vector<Point3*>& vVertices, const Tets& vTets)
{
    std::vector<long long> vState;
    for (const Point3* p : vVertices) vState.push_back(p->getCustomIndex());
    for (const Tet3* t : vTets) {
        vState.insert(vState.end(), {t->getCustomIndex(), t->hasBeenVisited, t->getLabel()});
        for (int i = 0; i < 4; ++i) vState.push_back(reinterpret_cast<long long>(t->getOppTet(i)));
    }
    return vState;
}

::testing::AssertionResult exportAgrees(const BuiltMesh& mesh)
{
    const VESK3D::Vesk_3D& dt = *mesh.dt;
    std::vector<Point3*> vVertices;
    dt.getVertices(vVertices);
    // A host's own numbering, distinct from the vertex order, for the export by custom index.
    for (size_t v = 0; v < vVertices.size(); ++v) vVertices[v]->setCustomIndex(static_cast<int>(3 * v + 1));
    const Tets vTets = allTetrahedra(dt);
    const auto vertexIndex = listPositions(vVertices);
    const auto tetIndex = listPositions(vTets);
    const std::vector<long long> vStateBefore = recordState(vVertices, vTets);

    MeshArrays arrays;
    arrays.vTetNeighbors.assign(3, 7); // stale content must go
    dt.exportMesh(arrays);
    if (recordState(vVertices, vTets) != vStateBefore) return ::testing::AssertionFailure() << "the export wrote to the records";
    if (arrays.vCoordinates.size() != 3 * vVertices.size() || arrays.vTetCorners.size() != 4 * vTets.size() ||
        arrays.vTetNeighbors.size() != 4 * vTets.size())
        return ::testing::AssertionFailure() << "array sizes do not fit " << vVertices.size() << " vertices and " << vTets.size() << " tetrahedra";
    for (size_t v = 0; v < vVertices.size(); ++v) {
        const Point3& p = *vVertices[v];
        if (arrays.vCoordinates[3 * v] != p.x() || arrays.vCoordinates[3 * v + 1] != p.y() || arrays.vCoordinates[3 * v + 2] != p.z())
            return ::testing::AssertionFailure() << "coordinates of vertex " << v;
    }
    for (size_t t = 0; t < vTets.size(); ++t) {
        for (int i = 0; i < 4; ++i) {
            if (arrays.vTetCorners[4 * t + i] != vertexIndex.at(vTets[t]->getCorner(i)))
                return ::testing::AssertionFailure() << "corner " << i << " of tetrahedron " << t;
            if (arrays.vTetNeighbors[4 * t + i] != tetIndex.at(vTets[t]->getOppTet(i)))
                return ::testing::AssertionFailure() << "neighbour " << i << " of tetrahedron " << t;
        }
    }
    if (arrays.vInputVertices.size() != mesh.vLastBatch.size())
        return ::testing::AssertionFailure() << arrays.vInputVertices.size() << " input vertices for a last batch of " << mesh.vLastBatch.size();
    for (size_t k = 0; k < mesh.vLastBatch.size(); ++k) {
        const int v = arrays.vInputVertices[k];
        // Vertices have distinct coordinates (the checker makes sure), so duplicates share theirs.
        if (v < 0 || v >= static_cast<int>(vVertices.size()) || !(*vVertices[v] == mesh.vLastBatch[k]))
            return ::testing::AssertionFailure() << "input point " << k << " of the last batch maps to vertex " << v;
    }

    if (dt.getNumVertices() != vVertices.size()) return ::testing::AssertionFailure() << "getNumVertices " << dt.getNumVertices();
    // Every choice of parts: each array equals the full export's or is empty, as chosen, and
    // vertices come by custom index when asked.
    auto byCustomIndex = [](std::vector<int> vIndices) {
        for (int& v : vIndices) v = 3 * v + 1;
        return vIndices;
    };
    for (int choice = 0; choice < 16; ++choice) {
        VESK3D::MeshExportParts parts;
        parts.bCoordinates = choice & 1;
        parts.bCorners = choice & 2;
        parts.bNeighbors = choice & 4;
        parts.bCustomIndices = choice & 8;
        MeshArrays some;
        some.vCoordinates.assign(2, 1.0); // stale content must go
        dt.exportMesh(some, parts);
        auto chosenOrEmpty = [](bool chosen, const auto& part, const auto& full) { return chosen ? part == full : part.empty(); };
        const std::vector<int> vCorners = parts.bCustomIndices ? byCustomIndex(arrays.vTetCorners) : arrays.vTetCorners;
        const std::vector<int> vInput = parts.bCustomIndices ? byCustomIndex(arrays.vInputVertices) : arrays.vInputVertices;
        if (!chosenOrEmpty(parts.bCoordinates, some.vCoordinates, arrays.vCoordinates) ||
            !chosenOrEmpty(parts.bCorners, some.vTetCorners, vCorners) ||
            !chosenOrEmpty(parts.bNeighbors, some.vTetNeighbors, arrays.vTetNeighbors) || some.vInputVertices != vInput)
            return ::testing::AssertionFailure() << "the export of parts " << choice << " differs";
    }
    MeshArrays withoutNeighbors;
    dt.exportMesh(withoutNeighbors, false);
    if (!withoutNeighbors.vTetNeighbors.empty() || withoutNeighbors.vTetCorners != arrays.vTetCorners)
        return ::testing::AssertionFailure() << "the export without neighbours differs";
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult locatedIndicesAgree(const BuiltMesh& mesh, const Points& vQueries)
{
    VESK3D::Vesk_3D& dt = *mesh.dt;
    const auto tetIndex = listPositions(allTetrahedra(dt));
    std::vector<double> vXyz;
    for (const Point3& q : vQueries) vXyz.insert(vXyz.end(), {q.x(), q.y(), q.z()});
    std::vector<int> vFound(vQueries.size(), -7);
    dt.locateTetIndices(vXyz.data(), vQueries.size(), vFound.data());
    for (size_t k = 0; k < vQueries.size(); ++k) {
        const int expected = tetIndex.at(dt.locate(vQueries[k]));
        if (vFound[k] != expected) return ::testing::AssertionFailure() << "query " << k << ": " << vFound[k] << ", locate says " << expected;
    }
    return ::testing::AssertionSuccess();
}

} // namespace

TEST(MeshExport, AgreesWithThePointerStructureForEveryFamilyAndInsertionPattern)
{
    for (const Family& family : allFamilies()) {
        for (InsertMode mode : allModes) {
            SCOPED_TRACE(family.name + ", " + modeName(mode));
            BuiltMesh mesh;
            const Points vPoints = family.make(familySize, 11);
            ASSERT_TRUE(insertPoints(mesh, vPoints, mode, 5));
            ASSERT_TRUE(checkMesh(*mesh.dt, mesh.vInputs, mesh.vMayBeHeld));
            EXPECT_TRUE(exportAgrees(mesh));
            // The inputs (vertices), midpoints (inside) and points beyond an input (often outside).
            Points vQueries = vPoints;
            for (size_t k = 1; k < vPoints.size(); ++k) {
                const Point3& a = vPoints[k - 1];
                const Point3& b = vPoints[k];
                vQueries.emplace_back((a.x() + b.x()) / 2, (a.y() + b.y()) / 2, (a.z() + b.z()) / 2);
                vQueries.emplace_back(2 * b.x() - a.x(), 2 * b.y() - a.y(), 2 * b.z() - a.z());
            }
            EXPECT_TRUE(locatedIndicesAgree(mesh, vQueries));
        }
    }
}

TEST(MeshExport, BeforeTheFirstTetrahedronThereAreVerticesOnly)
{
    BuiltMesh mesh;
    ASSERT_TRUE(insertPoints(mesh, withDuplicates(coplanarOnly(30, 2), 3, 0.5), InsertMode::Batch, 1));
    EXPECT_TRUE(exportAgrees(mesh));
    EXPECT_TRUE(locatedIndicesAgree(mesh, mesh.vInputs));
}

TEST(MeshExport, ASinglePointKeepsTheLastBatchMap)
{
    BuiltMesh mesh;
    ASSERT_TRUE(insertPoints(mesh, withDuplicates(integerGrid(4, 1), 2, 1.0), InsertMode::Batch, 1));
    ASSERT_TRUE(insertPoints(mesh, {Point3(1.5, 1.5, 1.5)}, InsertMode::Singles, 1));
    ASSERT_EQ(mesh.vLastBatch.size(), 128u);
    EXPECT_TRUE(exportAgrees(mesh));
}
