#pragma once
// Feeds points to a triangulation in one of several call patterns and checks every value the
// insert calls hand back, while recording which points the start-up rules may leave held.
#include <array>
#include <cstdint>
#include <map>
#include <memory>

#include <gtest/gtest.h>

#include <Vesk_3D.h>

#include "InputFamilies.h"

namespace VeskTest {

enum class InsertMode {
    Batch,          // one insert(vector)
    BatchHandles,   // one insert(vector, handles)
    Singles,        // insert(Point3&) for each point
    SeveralBatches, // a few insert(vector, handles) calls on consecutive chunks
    Mixed,          // chunks and single points in random alternation
};
const char* modeName(InsertMode mode);
constexpr InsertMode allModes[] = {InsertMode::Batch, InsertMode::BatchHandles, InsertMode::Singles, InsertMode::SeveralBatches,
                                   InsertMode::Mixed};

struct BuiltMesh {
    std::unique_ptr<VESK3D::Vesk_3D> dt = std::make_unique<VESK3D::Vesk_3D>();
    Points vInputs;    // every point handed to the triangulation so far
    Points vMayBeHeld; // registered points that may stay outside the tetrahedralization
    Points vLastBatch; // the points of the last batch insertion; a single point leaves it as it was
    std::map<std::array<double, 3>, VESK3D::Point3*> vertexOf; // every vertex handed back, by coordinates
};

// Inserts the points into mesh (which may already hold points) and checks the returned vertices:
// each has the coordinates of its input, and equal inputs share one vertex. The engine's console
// output is swallowed.
::testing::AssertionResult insertPoints(BuiltMesh& mesh, const Points& vPoints, InsertMode mode, std::uint64_t seed);

// Builds a fresh mesh, expecting the insertions to succeed.
BuiltMesh buildQuietly(const Points& vPoints, InsertMode mode = InsertMode::Batch, std::uint64_t seed = 0);

// checkMesh on the mesh and everything handed to it.
::testing::AssertionResult checkMesh(const BuiltMesh& mesh);

} // namespace VeskTest
