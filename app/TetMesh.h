#pragma once
// The triangulation as flat arrays, the form every mesh writer needs.
#include <cstddef>
#include <cstdint>
#include <vector>

#include <Vesk_3D.h>

namespace vesk3dapp {

struct TetMesh {
    std::vector<double> vCoordinates;  // x, y, z of vertex i at 3i
    std::vector<int32_t> vCorners;     // four vertex indices per tetrahedron, positively oriented
    size_t numHullFacets = 0;

    size_t numVertices() const { return vCoordinates.size() / 3; }
    size_t numTets() const { return vCorners.size() / 4; }
};

// The library's flat export, with the hull facets counted. Before the first tetrahedron there are
// vertices but no tetrahedra.
TetMesh extractMesh(const VESK3D::Vesk_3D& triangulation);

} // namespace vesk3dapp
