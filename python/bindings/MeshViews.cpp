#include "MeshViews.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vesk3d_python {

namespace {

// Corners of the facet opposite corner i, in the order that faces out of a positive tetrahedron.
const int OUTWARD_FACET[4][3] = {{1, 2, 3}, {0, 3, 2}, {0, 1, 3}, {0, 2, 1}};

struct Xyz {
    double x, y, z;
};

Xyz operator-(const Xyz& a, const Xyz& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Xyz cross(const Xyz& a, const Xyz& b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
double dot(const Xyz& a, const Xyz& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

} // namespace

std::vector<int> vertexToSimplex(const SimplexArrays& mesh)
{
    std::vector<int> vSimplexOf(mesh.numPoints, -1);
    for (std::size_t t = 0; t < mesh.numSimplices; ++t)
        for (int corner = 0; corner < 4; ++corner)
            vSimplexOf[mesh.pSimplices[4 * t + corner]] = static_cast<int>(t);
    return vSimplexOf;
}

std::vector<int> convexHullFacets(const SimplexArrays& mesh, const int* pNeighbors)
{
    std::vector<int> vFacets;
    for (std::size_t t = 0; t < mesh.numSimplices; ++t) {
        for (int opposite = 0; opposite < 4; ++opposite) {
            if (pNeighbors[4 * t + opposite] != -1)
                continue;
            for (int corner : OUTWARD_FACET[opposite])
                vFacets.push_back(mesh.pSimplices[4 * t + corner]);
        }
    }
    return vFacets;
}

std::vector<double> barycentricTransforms(const SimplexArrays& mesh, const double* pXyz)
{
    std::vector<double> vTransforms(12 * mesh.numSimplices);
    for (std::size_t t = 0; t < mesh.numSimplices; ++t) {
        Xyz corner[4];
        for (int i = 0; i < 4; ++i) {
            const double* p = pXyz + 3 * mesh.pSimplices[4 * t + i];
            corner[i] = {p[0], p[1], p[2]};
        }
        Xyz e0 = corner[0] - corner[3], e1 = corner[1] - corner[3], e2 = corner[2] - corner[3];
        // The rows of the inverse of the matrix with columns e0, e1, e2.
        Xyz rows[3] = {cross(e1, e2), cross(e2, e0), cross(e0, e1)};
        double det = dot(e0, rows[0]);
        double scale = det != 0 ? 1 / det : std::numeric_limits<double>::quiet_NaN();
        double* pOut = &vTransforms[12 * t];
        for (const Xyz& row : rows) {
            *pOut++ = row.x * scale;
            *pOut++ = row.y * scale;
            *pOut++ = row.z * scale;
        }
        *pOut++ = corner[3].x;
        *pOut++ = corner[3].y;
        *pOut = corner[3].z;
    }
    return vTransforms;
}

VertexNeighbors vertexNeighborVertices(const SimplexArrays& mesh)
{
    // Every tetrahedron lists its other 3 corners for each corner; sorting each point's list and
    // dropping repeats leaves its edges.
    std::vector<std::size_t> vStart(mesh.numPoints + 1, 0);
    for (std::size_t i = 0; i < 4 * mesh.numSimplices; ++i)
        vStart[mesh.pSimplices[i] + 1] += 3;
    for (std::size_t p = 0; p < mesh.numPoints; ++p)
        vStart[p + 1] += vStart[p];
    std::vector<int> vCandidates(vStart.back());
    std::vector<std::size_t> vFill(vStart.begin(), vStart.end() - 1);
    for (std::size_t t = 0; t < mesh.numSimplices; ++t) {
        const int* pCorners = mesh.pSimplices + 4 * t;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                if (i != j)
                    vCandidates[vFill[pCorners[i]]++] = pCorners[j];
    }
    VertexNeighbors neighbors;
    neighbors.vIndptr.reserve(mesh.numPoints + 1);
    neighbors.vIndptr.push_back(0);
    for (std::size_t p = 0; p < mesh.numPoints; ++p) {
        auto first = vCandidates.begin() + vStart[p], last = vCandidates.begin() + vStart[p + 1];
        std::sort(first, last);
        neighbors.vIndices.insert(neighbors.vIndices.end(), first, std::unique(first, last));
        neighbors.vIndptr.push_back(static_cast<int>(neighbors.vIndices.size()));
    }
    return neighbors;
}

std::vector<int> coplanarRows(const std::vector<int>& vKeptPoint, const std::vector<int>& vVertexToSimplex,
                              std::size_t numSimplices)
{
    std::vector<int> vRows;
    for (std::size_t p = 0; p < vKeptPoint.size(); ++p) {
        int kept = vKeptPoint[p];
        if (numSimplices > 0 && kept == static_cast<int>(p))
            continue;
        vRows.insert(vRows.end(), {static_cast<int>(p), vVertexToSimplex[kept], kept});
    }
    return vRows;
}

} // namespace vesk3d_python
