#include "Delaunay.h"

#include <chrono>
#include <climits>
#include <string>

namespace vesk3d_python {

using VESK3D::MeshArrays;
using VESK3D::Point3;
using VESK3D::Vesk_3D;

namespace {
// The points are the caller's already; corners and input points come in the caller's numbering.
VESK3D::MeshExportParts userNumbered(bool bCoordinates, bool bCorners, bool bNeighbors)
{
    VESK3D::MeshExportParts parts;
    parts.bCoordinates = bCoordinates;
    parts.bCorners = bCorners;
    parts.bNeighbors = bNeighbors;
    parts.bCustomIndices = true;
    return parts;
}
} // namespace

Delaunay::Delaunay(const py::object& points, int threads) : pEngine(std::make_unique<Vesk_3D>())
{
    if (threads < 0)
        throw py::value_error("threads must be 0 or more, got " + std::to_string(threads));
    pEngine->setNumThreads(threads);
    CoordinateArray batch = toCoordinateArray(points, "points", true);
    py::ssize_t numPoints = batch.shape(0);
    if (numPoints < 4) {
        std::string got = numPoints == 0 ? "points is empty" : "points holds only " + std::to_string(numPoints);
        throw py::value_error(got + ": a tetrahedralization needs at least 4 points");
    }
    insertBatch(batch);
}

void Delaunay::addPoints(const py::object& points)
{
    CoordinateArray batch = toCoordinateArray(points, "points", true);
    if (batch.shape(0) > 0)
        insertBatch(batch);
}

template <class Work>
void Delaunay::runLocked(std::unique_lock<std::mutex>& lock, Work&& work)
{
    py::gil_scoped_release release;
    lock.lock();
    work();
}

template <class Work>
void Delaunay::runOnEngine(std::unique_lock<std::mutex>& lock, Work&& work)
{
    runLocked(lock, [&] {
        if (!pEngine)
            throw py::value_error("this triangulation is closed");
        work(*pEngine);
    });
}

void Delaunay::insertBatch(const CoordinateArray& batch)
{
    const std::size_t firstIndex = vKeptPoint.size();
    if (firstIndex + batch.shape(0) > static_cast<std::size_t>(INT_MAX))
        throw py::value_error("more than " + std::to_string(INT_MAX) + " points in all: indices are int32");
    // Each point carries its input index to its vertex, so that the export numbers the corners by
    // the user's points (the earliest of duplicates) without a map from vertices to points.
    std::vector<Point3> vPoints = toPoints(batch, static_cast<int>(firstIndex));
    MeshArrays arrays;
    double seconds = 0;
    std::unique_lock<std::mutex> lock(engineMutex, std::defer_lock);
    runOnEngine(lock, [&](Vesk_3D& engine) {
        // A failure may leave the mesh or the numbering half-updated: the object closes rather
        // than answer from an inconsistent state.
        try {
            auto start = std::chrono::steady_clock::now();
            engine.insert(vPoints);
            seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            engine.exportMesh(arrays, userNumbered(false, true, false));
        } catch (...) {
            pEngine.reset();
            throw;
        }
        vKeptPoint.insert(vKeptPoint.end(), arrays.vInputVertices.begin(), arrays.vInputVertices.end());
    });
    lastTriangulateSeconds = seconds;
    // No Python code may run between the assignments below, which a reader must see together.
    bool bFirstBatch = pointsArray.size() == 0;
    CoordinateArray allPoints = batch;
    if (!bFirstBatch)
        allPoints = py::module_::import("numpy").attr("concatenate")(py::make_tuple(pointsArray, batch));
    py::ssize_t numSimplices = arrays.vTetCorners.size() / 4;
    simplicesArray = toNumpy(std::move(arrays.vTetCorners), {numSimplices, 4});
    pointsArray = allPoints;
    derived = DerivedArrays();
}

py::array Delaunay::findSimplex(const py::object& xi)
{
    CoordinateArray queries = toCoordinateArray(xi, "xi", false);
    std::vector<double> vXyz = toVector(queries);
    IndexArray result(std::vector<py::ssize_t>(queries.shape(), queries.shape() + queries.ndim() - 1));
    int* pResult = result.mutable_data();
    std::unique_lock<std::mutex> lock(engineMutex, std::defer_lock);
    runOnEngine(lock, [&](Vesk_3D& engine) { engine.locateTetIndices(vXyz.data(), vXyz.size() / 3, pResult); });
    return result;
}

bool Delaunay::check()
{
    bool bValid = false;
    std::unique_lock<std::mutex> lock(engineMutex, std::defer_lock);
    runOnEngine(lock, [&](Vesk_3D& engine) { bValid = engine.checkValidity("vesk3d", true); });
    return bValid;
}

void Delaunay::close()
{
    std::unique_lock<std::mutex> lock(engineMutex, std::defer_lock);
    runLocked(lock, [&] { pEngine.reset(); });
}

py::array Delaunay::neighbors()
{
    if (!derived.neighbors) {
        MeshArrays arrays;
        std::unique_lock<std::mutex> lock(engineMutex, std::defer_lock);
        VESK3D::MeshExportParts parts;
        parts.bCoordinates = false;
        parts.bCorners = false;
        runOnEngine(lock, [&](Vesk_3D& engine) { engine.exportMesh(arrays, parts); });
        py::ssize_t numSimplices = arrays.vTetNeighbors.size() / 4;
        derived.neighbors = toNumpy(std::move(arrays.vTetNeighbors), {numSimplices, 4});
    }
    return derived.neighbors;
}

// The simplices as the derived arrays read them. The array is the user's to write into, so an
// index that no longer names a point is refused rather than followed.
SimplexArrays Delaunay::checkedSimplices() const
{
    SimplexArrays mesh{simplicesArray.data(), static_cast<std::size_t>(nsimplex()),
                       static_cast<std::size_t>(pointsArray.shape(0))};
    for (std::size_t i = 0; i < 4 * mesh.numSimplices; ++i) {
        int point = mesh.pSimplices[i];
        if (point < 0 || static_cast<std::size_t>(point) >= mesh.numPoints)
            throw py::value_error("simplices holds " + std::to_string(point) +
                                  ", which is not a point index: was the array modified?");
    }
    return mesh;
}

py::array Delaunay::vertexToSimplex()
{
    if (!derived.vertexToSimplex) {
        SimplexArrays mesh = checkedSimplices();
        derived.vertexToSimplex = toNumpy(vesk3d_python::vertexToSimplex(mesh), {py::ssize_t(mesh.numPoints)});
    }
    return derived.vertexToSimplex;
}

py::array Delaunay::convexHull()
{
    if (!derived.convexHull) {
        IndexArray neighborArray = neighbors();
        std::vector<int> vFacets = convexHullFacets(checkedSimplices(), neighborArray.data());
        py::ssize_t numFacets = vFacets.size() / 3;
        derived.convexHull = toNumpy(std::move(vFacets), {numFacets, 3});
    }
    return derived.convexHull;
}

py::tuple Delaunay::vertexNeighborVertices()
{
    if (!derived.vertexNeighborVertices) {
        VertexNeighbors neighbors = vesk3d_python::vertexNeighborVertices(checkedSimplices());
        py::ssize_t numIndptr = neighbors.vIndptr.size(), numIndices = neighbors.vIndices.size();
        derived.vertexNeighborVertices = py::make_tuple(toNumpy(std::move(neighbors.vIndptr), {numIndptr}),
                                                        toNumpy(std::move(neighbors.vIndices), {numIndices}));
    }
    return derived.vertexNeighborVertices;
}

py::array Delaunay::transform()
{
    if (!derived.transform) {
        SimplexArrays mesh = checkedSimplices();
        derived.transform = toNumpy(barycentricTransforms(mesh, pointsArray.data()),
                                    {py::ssize_t(mesh.numSimplices), 4, 3});
    }
    return derived.transform;
}

py::array Delaunay::coplanar()
{
    if (!derived.coplanar) {
        std::vector<int> vRows;
        // The kept points grow under a concurrent insertion, which holds the lock.
        std::unique_lock<std::mutex> lock(engineMutex, std::defer_lock);
        runLocked(lock, [&] {
            SimplexArrays mesh = checkedSimplices();
            vRows = coplanarRows(vKeptPoint, vesk3d_python::vertexToSimplex(mesh), mesh.numSimplices);
        });
        py::ssize_t numRows = vRows.size() / 3;
        derived.coplanar = toNumpy(std::move(vRows), {numRows, 3});
    }
    return derived.coplanar;
}

} // namespace vesk3d_python
