#include "TetMesh.h"

#include "AppErrors.h"

namespace vesk3dapp {

TetMesh extractMesh(VESK3D::Vesk_3D& triangulation)
{
    TetMesh mesh;
    if (!triangulation.is3D()) return mesh;
    std::vector<VESK3D::Point3*> vVertices;
    triangulation.getVertices(vVertices);
    if (vVertices.size() > static_cast<size_t>(INT32_MAX)) throw InputError("more than 2^31 - 1 distinct points");
    mesh.vCoordinates.reserve(3 * vVertices.size());
    for (size_t i = 0; i < vVertices.size(); ++i) {
        VESK3D::Point3* pVertex = vVertices[i];
        pVertex->setCustomIndex(static_cast<int>(i));
        mesh.vCoordinates.insert(mesh.vCoordinates.end(), {pVertex->x(), pVertex->y(), pVertex->z()});
    }
    std::vector<VESK3D::Tet3*> vTets;
    triangulation.getTetrahedra(vTets);
    mesh.vCorners.reserve(4 * vTets.size());
    for (const VESK3D::Tet3* pTet : vTets) {
        for (int i = 0; i < 4; ++i) {
            mesh.vCorners.push_back(pTet->getCorner(i)->getCustomIndex());
            if (pTet->getOppTet(i) == nullptr) ++mesh.numHullFacets;
        }
    }
    return mesh;
}

} // namespace vesk3dapp
