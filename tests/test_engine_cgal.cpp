// For points in general position the Delaunay tetrahedralization is unique, so an independent
// implementation with exact predicates must produce exactly the same tetrahedra.
#include <algorithm>
#include <vector>

#include <CGAL/Delaunay_triangulation_3.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <gtest/gtest.h>

#include <Vesk_3D.h>

#include "InputFamilies.h"
#include "MeshBuilder.h"
#include "MeshChecker.h"

using namespace VeskTest;

namespace {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Delaunay = CGAL::Delaunay_triangulation_3<Kernel>;

std::vector<TetKey> referenceTetKeys(const Points& vPoints)
{
    std::vector<Kernel::Point_3> vInput;
    for (const VESK3D::Point3& p : vPoints) vInput.emplace_back(p.x(), p.y(), p.z());
    const Delaunay reference(vInput.begin(), vInput.end());
    std::vector<TetKey> vKeys;
    for (auto cell = reference.finite_cells_begin(); cell != reference.finite_cells_end(); ++cell) {
        TetKey key;
        for (int i = 0; i < 4; ++i) {
            const Kernel::Point_3& p = cell->vertex(i)->point();
            key[i] = {p.x() + 0.0, p.y() + 0.0, p.z() + 0.0};
        }
        std::sort(key.begin(), key.end());
        vKeys.push_back(key);
    }
    std::sort(vKeys.begin(), vKeys.end());
    return vKeys;
}

#ifdef NDEBUG
constexpr int count = 20000;
#else
constexpr int count = 3000;
#endif

} // namespace

TEST(EngineAgainstReference, GeneralPositionFamiliesGiveTheSameTetrahedra)
{
    const std::vector<std::pair<const char*, Points>> inputs = {
        {"uniformCube", uniformCube(count, 1)},
        {"gaussianClusters", gaussianClusters(count, 2)},
        {"nearSphere", nearSphere(count / 4, 3)},
        {"largeOffset30", largeOffset(count / 4, 4, 30)},
        {"tinyScale", tinyScale(count / 4, 5)},
        {"uniformWithDuplicates", withDuplicates(uniformCube(count / 4, 6), 7, 0.3)},
    };
    for (const auto& input : inputs) {
        for (InsertMode mode : {InsertMode::Batch, InsertMode::Mixed}) {
            BuiltMesh mesh;
            ASSERT_TRUE(insertPoints(mesh, input.second, mode, 8));
            EXPECT_EQ(sortedTetKeys(allTetrahedra(*mesh.dt)), referenceTetKeys(input.second)) << input.first << ", " << modeName(mode);
        }
    }
}
