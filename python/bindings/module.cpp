// The extension module vesk3d._vesk3d; the package vesk3d re-exports its names.
#include "Delaunay.h"
#include "LibraryBridge.h"

namespace py = pybind11;
using vesk3d_python::Delaunay;

namespace {

const char* const DELAUNAY_DOC = R"(Delaunay(points, threads=1)

Delaunay tetrahedralization of 3D points, exact for every input, with the names and conventions
of scipy.spatial.Delaunay.

points: array-like of shape (n, 3) with n >= 4, converted to float64 (copied only when its type
    or layout demands it). Non-finite values or another shape raise ValueError.
threads: int >= 0, the threads of each triangulation step (this and every add_points): 1 runs
    sequentially, 0 takes every hardware thread. From 2 on the mesh is the same for every thread
    count and every run (in general position it is the sequential mesh, the simplices in another
    order).

Coplanar, cospherical and duplicated points are handled exactly: no simplex is flat, and
duplicates are merged (see coplanar). If all points lie in one plane there is no simplex
(nsimplex == 0) until add_points adds a point off that plane.

The GIL is released while triangulating and querying, so separate objects work in parallel in
separate threads; calls on one object from several threads take turns. Usable as a context
manager, which calls close() on exit.)";

const char* const SIMPLICES_DOC =
    "(nsimplex, 4) int32: indices into points of the corners of each tetrahedron, positively "
    "oriented (seen from the fourth corner, the first three turn counterclockwise).";
const char* const NEIGHBORS_DOC =
    "(nsimplex, 4) int32: neighbors[i, k] is the tetrahedron across the face opposite corner k of "
    "simplex i, -1 on the hull. Built on first use, which needs the object open.";
const char* const VERTEX_TO_SIMPLEX_DOC =
    "(npoints,) int32: for each point, one simplex having it as a corner, -1 for the points in coplanar.";
const char* const CONVEX_HULL_DOC =
    "(nfacets, 3) int32: the hull facets as point indices, counterclockwise seen from outside. Needs "
    "neighbors.";
const char* const VERTEX_NEIGHBOR_VERTICES_DOC =
    "(indptr, indices), int32 arrays: the points sharing an edge with point k are "
    "indices[indptr[k]:indptr[k + 1]], sorted.";
const char* const TRANSFORM_DOC =
    "(nsimplex, 4, 3) float64: the barycentric coordinates of x in simplex i are "
    "c = transform[i, :3] @ (x - transform[i, 3]) and 1 - c.sum(), as in scipy.";
const char* const COPLANAR_DOC =
    "(ncoplanar, 3) int32 rows (point, simplex, kept point) for the points that are no corner: a "
    "duplicate, whose coordinates equal those of the kept point, and, while nsimplex == 0, every "
    "point (simplex -1).";
const char* const FIND_SIMPLEX_DOC =
    "For each point of xi, array-like of shape (..., 3), the index of a simplex containing it, -1 "
    "outside the hull: an int32 array of shape xi.shape[:-1]. Exact: a point on a shared face or edge "
    "gets one of the simplices around it. Non-finite or wrongly shaped xi raises ValueError.";
const char* const ADD_POINTS_DOC =
    "Inserts points, array-like of shape (m, 3), into the existing tetrahedralization (no rebuild). "
    "They get the indices npoints to npoints + m - 1; every attribute then describes the new mesh.";
const char* const CHECK_DOC =
    "Runs the library's validity check (orientation and empty circumspheres): True when the mesh "
    "passes.";
const char* const CLOSE_DOC =
    "Frees the triangulation. Attributes already read stay available; add_points, "
    "find_simplex, check and attributes never read before raise ValueError. An insertion that "
    "fails inside the library closes the object too.";

} // namespace

PYBIND11_MODULE(_vesk3d, module)
{
    module.doc() = "Exact 3D Delaunay tetrahedralization (compiled part of the vesk3d package).";
    vesk3d_python::routeMessagesToLogging();
    vesk3d_python::registerVeskError(module);
    module.attr("__version__") = std::to_string(VESK3D::getMajorVersionNumber()) + "." +
                                 std::to_string(VESK3D::getMinorVersionNumber()) + "." +
                                 std::to_string(VESK3D::getRevisionNumber());

    py::class_<Delaunay> delaunay(module, "Delaunay", DELAUNAY_DOC);
    delaunay.attr("__module__") = "vesk3d"; // where users find it
    delaunay
        .def(py::init<const py::object&, int>(), py::arg("points"), py::arg("threads") = 1)
        .def("add_points", &Delaunay::addPoints, py::arg("points"), ADD_POINTS_DOC)
        .def("find_simplex", &Delaunay::findSimplex, py::arg("xi"), FIND_SIMPLEX_DOC)
        .def("check", &Delaunay::check, CHECK_DOC)
        .def("close", &Delaunay::close, CLOSE_DOC)
        .def("__enter__", [](py::object self) { return self; })
        .def("__exit__", [](Delaunay& self, const py::args&) { self.close(); })
        .def_property_readonly("points", &Delaunay::points, "(npoints, 3) float64: every point given, in order.")
        .def_property_readonly("simplices", &Delaunay::simplices, SIMPLICES_DOC)
        .def_property_readonly("npoints", &Delaunay::npoints, "Number of points given.")
        .def_property_readonly("ndim", [](const Delaunay&) { return 3; }, "Dimension of the space: 3.")
        .def_property_readonly("nsimplex", &Delaunay::nsimplex, "Number of tetrahedra.")
        .def_property_readonly("neighbors", &Delaunay::neighbors, NEIGHBORS_DOC)
        .def_property_readonly("vertex_to_simplex", &Delaunay::vertexToSimplex, VERTEX_TO_SIMPLEX_DOC)
        .def_property_readonly("convex_hull", &Delaunay::convexHull, CONVEX_HULL_DOC)
        .def_property_readonly("vertex_neighbor_vertices", &Delaunay::vertexNeighborVertices,
                               VERTEX_NEIGHBOR_VERTICES_DOC)
        .def_property_readonly("transform", &Delaunay::transform, TRANSFORM_DOC)
        .def_property_readonly("coplanar", &Delaunay::coplanar, COPLANAR_DOC)
        .def_property_readonly("_triangulate_seconds", &Delaunay::triangulateSeconds,
                               "Time of the library's last insertion alone, for the benchmark.");
}
