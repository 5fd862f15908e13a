#pragma once
// The arrays that scipy users derive from a tetrahedralization, computed from the flat arrays
// alone: simplices (4 point indices per tetrahedron, positively oriented) and neighbors (4
// tetrahedron indices, neighbour i opposite corner i, -1 on the hull). Callers check indices first.
#include <cstddef>
#include <vector>

namespace vesk3d_python {

struct SimplexArrays {
    const int* pSimplices;
    std::size_t numSimplices;
    std::size_t numPoints;
};

// Per point, one tetrahedron having it as a corner, or -1.
std::vector<int> vertexToSimplex(const SimplexArrays& mesh);

// The hull facets, 3 point indices each, counterclockwise seen from outside.
std::vector<int> convexHullFacets(const SimplexArrays& mesh, const int* pNeighbors);

// Per tetrahedron, the 3x3 matrix T and the corner r (4 rows of 3) with which the barycentric
// coordinates of x are c = T (x - r) and 1 - sum(c); NaN rows where the volume rounds to zero.
std::vector<double> barycentricTransforms(const SimplexArrays& mesh, const double* pXyz);

// Per point, the sorted indices of the points sharing an edge with it, in compressed rows.
struct VertexNeighbors {
    std::vector<int> vIndptr;
    std::vector<int> vIndices;
};
VertexNeighbors vertexNeighborVertices(const SimplexArrays& mesh);

// Rows (point, tetrahedron, kept point) for each point that is not a corner: a duplicate, whose
// coordinates are those of its kept point, or, while there is no tetrahedron, every point.
std::vector<int> coplanarRows(const std::vector<int>& vKeptPoint, const std::vector<int>& vVertexToSimplex,
                              std::size_t numSimplices);

} // namespace vesk3d_python
