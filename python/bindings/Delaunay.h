#pragma once
#include <memory>
#include <mutex>
#include <vector>

#include "MeshViews.h"
#include "NumpyArrays.h"

namespace vesk3d_python {

// The object behind vesk3d.Delaunay. It owns one engine and numbers everything by the user's
// input order across batches; the derived attributes are computed on first use and kept until
// the next insertion.
//
// Threads: the engine is used only with the GIL released and the engine lock held. The lock is
// always taken without the GIL, so a thread holding the GIL never waits for it; the Python-side
// state of an insertion is then updated with both held, so no reader sees half of it.
class Delaunay {
public:
    Delaunay(const py::object& points, int threads);

    void addPoints(const py::object& points);
    py::array findSimplex(const py::object& xi);
    bool check();
    void close();

    py::array points() const { return pointsArray; }
    py::array simplices() const { return simplicesArray; }
    py::ssize_t npoints() const { return pointsArray.shape(0); }
    py::ssize_t nsimplex() const { return simplicesArray.shape(0); }
    py::array neighbors();
    py::array vertexToSimplex();
    py::array convexHull();
    py::tuple vertexNeighborVertices();
    py::array transform();
    py::array coplanar();
    double triangulateSeconds() const { return lastTriangulateSeconds; }

private:
    void insertBatch(const CoordinateArray& batch);
    SimplexArrays checkedSimplices() const;
    template <class Work>
    void runLocked(std::unique_lock<std::mutex>& lock, Work&& work);
    template <class Work>
    void runOnEngine(std::unique_lock<std::mutex>& lock, Work&& work);

    std::unique_ptr<VESK3D::Vesk_3D> pEngine; // null once closed
    std::mutex engineMutex;
    // Per input point, the first input point with its coordinates: itself unless a duplicate.
    std::vector<int> vKeptPoint;
    double lastTriangulateSeconds = 0;

    CoordinateArray pointsArray;
    IndexArray simplicesArray;
    struct DerivedArrays {
        py::object neighbors, vertexToSimplex, convexHull, vertexNeighborVertices, transform, coplanar;
    } derived;
};

} // namespace vesk3d_python
