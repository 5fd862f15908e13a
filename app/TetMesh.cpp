#include "TetMesh.h"

#include <algorithm>

namespace vesk3dapp {

TetMesh extractMesh(const VESK3D::Vesk_3D& triangulation)
{
    VESK3D::MeshArrays arrays;
    triangulation.exportMesh(arrays);
    TetMesh mesh;
    mesh.numHullFacets = static_cast<size_t>(std::count(arrays.vTetNeighbors.begin(), arrays.vTetNeighbors.end(), -1));
    mesh.vCoordinates = std::move(arrays.vCoordinates);
    mesh.vCorners = std::move(arrays.vTetCorners);
    return mesh;
}

} // namespace vesk3dapp
