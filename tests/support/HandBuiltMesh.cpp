#include "HandBuiltMesh.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

#include "ExactOracle.h"

using VESK3D::Point3;
using VESK3D::Tet3;

namespace VeskTest {

Point3* HandBuiltMesh::addPoint(double x, double y, double z)
{
    vPoints.push_back(std::make_unique<Point3>(x, y, z));
    return vPoints.back().get();
}

void HandBuiltMesh::addTet(Point3* p0, Point3* p1, Point3* p2, Point3* p3)
{
    const int orientation = exactOrientSign(*p0, *p1, *p2, *p3);
    EXPECT_NE(orientation, 0) << "a hand-built tetrahedron is flat";
    if (orientation < 0) std::swap(p2, p3);
    // Raw storage initialised by setProperties, as the engine's pool does: no constructor runs.
    Tet3* pTet = static_cast<Tet3*>(::operator new(sizeof(Tet3)));
    pTet->setProperties(p0, p1, p2, p3);
    vTets.emplace_back(pTet);
}

bool facetContains(const Tet3* pT, int opp, const Point3* p)
{
    for (int i = 0; i < 4; ++i) {
        if (i != opp && pT->getCorner(i) == p) return true;
    }
    return false;
}

void HandBuiltMesh::linkAll()
{
    for (auto& pTet : vTets) {
        for (int opp = 0; opp < 4; ++opp) {
            for (auto& pOther : vTets) {
                if (pOther == pTet) continue;
                int numShared = 0;
                for (int i = 0; i < 4; ++i) numShared += facetContains(pTet.get(), opp, pOther->getCorner(i)) ? 1 : 0;
                if (numShared == 3) pTet->setOppTet(opp, pOther.get());
            }
        }
    }
}

std::unique_ptr<HandBuiltMesh> HandBuiltMesh::fan(int m)
{
    auto pMesh = std::make_unique<HandBuiltMesh>();
    Point3* pLow = pMesh->addPoint(0, 0, -1);
    Point3* pHigh = pMesh->addPoint(0, 0, 1);
    const double step = 2.0 * std::acos(-1.0) / m;
    std::vector<Point3*> vRing;
    for (int k = 0; k < m; ++k) vRing.push_back(pMesh->addPoint(std::cos(k * step), std::sin(k * step), 0));
    for (int k = 0; k < m; ++k) pMesh->addTet(pLow, pHigh, vRing[k], vRing[(k + 1) % m]);
    pMesh->linkAll();
    return pMesh;
}

std::unique_ptr<HandBuiltMesh> HandBuiltMesh::cubeGrid(int n)
{
    auto pMesh = std::make_unique<HandBuiltMesh>();
    const int side = n + 1;
    for (int x = 0; x < side; ++x)
        for (int y = 0; y < side; ++y)
            for (int z = 0; z < side; ++z) pMesh->addPoint(x, y, z);
    const auto at = [&](int x, int y, int z) { return pMesh->point((x * side + y) * side + z); };
    int aAxes[3] = {0, 1, 2};
    for (int x = 0; x < n; ++x)
        for (int y = 0; y < n; ++y)
            for (int z = 0; z < n; ++z) {
                // One tetrahedron per axis order: walk from the cube's low corner to its high one.
                do {
                    int aPos[3] = {x, y, z};
                    Point3* aCorner[4];
                    aCorner[0] = at(x, y, z);
                    for (int s = 0; s < 3; ++s) {
                        ++aPos[aAxes[s]];
                        aCorner[s + 1] = at(aPos[0], aPos[1], aPos[2]);
                    }
                    pMesh->addTet(aCorner[0], aCorner[1], aCorner[2], aCorner[3]);
                } while (std::next_permutation(aAxes, aAxes + 3));
            }
    pMesh->linkAll();
    return pMesh;
}

std::vector<Tet3*> HandBuiltMesh::tets() const
{
    std::vector<Tet3*> vResult;
    for (const auto& pTet : vTets) vResult.push_back(pTet.get());
    return vResult;
}

std::vector<Tet3*> HandBuiltMesh::tetsAroundEdge(const Point3* p, const Point3* q) const
{
    std::vector<Tet3*> vResult;
    for (const auto& pTet : vTets) {
        if (pTet->hasVertex(p) && pTet->hasVertex(q)) vResult.push_back(pTet.get());
    }
    return vResult;
}

} // namespace VeskTest
