"""vesk3d.Delaunay against scipy.spatial.Delaunay, plus its input rules, threads and messages. The
library's meshes of degenerate inputs are judged by the C++ tests; what the package adds to a mesh
does not depend on the input."""
import logging
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest
from numpy.testing import assert_array_equal
from scipy.spatial import ConvexHull
from scipy.spatial import Delaunay as ScipyDelaunay

import vesk3d


def row_order(rows):
    """The order of the rows, each sorted first: equal sets of simplices or facets line up."""
    return np.lexsort(np.sort(rows, axis=1).T[::-1])


def canonical(rows):
    return np.sort(rows, axis=1)[row_order(rows)]


def signed_volumes(points, simplices):
    a, b, c, d = (points[simplices[:, i]] for i in range(4))
    return np.einsum("ij,ij->i", np.cross(b - a, c - a), d - a) / 6


def assert_same_mesh_as_scipy(tri, ref):
    assert tri.simplices.dtype == np.int32 and tri.neighbors.dtype == np.int32
    assert_array_equal(canonical(tri.simplices), canonical(ref.simplices))
    assert (signed_volumes(tri.points, tri.simplices) > 0).all()
    assert_array_equal(canonical(tri.convex_hull), canonical(ref.convex_hull))
    # Hull facets oriented outward bound the hull's volume (divergence theorem); one turned inward shows.
    a, b, c = (tri.points[tri.convex_hull[:, i]] for i in range(3))
    assert np.einsum("ij,ij->i", np.cross(a, b), c).sum() / 6 == pytest.approx(ConvexHull(tri.points).volume, rel=1e-9)
    # to_ref[i]: the row of ref.simplices with the corners of row i of ours. Across the face opposite
    # corner k, both meshes must reach the same tetrahedron (or none).
    to_ref = np.empty(len(tri.simplices), dtype=np.intp)
    to_ref[row_order(tri.simplices)] = row_order(ref.simplices)
    ref_corner = np.argmax(ref.simplices[to_ref][:, None, :] == tri.simplices[:, :, None], axis=2)
    ref_neighbor = np.take_along_axis(ref.neighbors[to_ref], ref_corner, axis=1)
    ours = np.where(tri.neighbors >= 0, to_ref[tri.neighbors], -1)
    assert_array_equal(ours, ref_neighbor)
    return to_ref


def random_points(kind, n, seed):
    rng = np.random.default_rng(seed)
    if kind == "uniform":
        return rng.random((n, 3))
    centers = np.random.default_rng(0).random((5, 3))  # the same clusters for every seed
    return centers[rng.integers(0, 5, n)] + 0.02 * rng.standard_normal((n, 3))


@pytest.mark.parametrize("kind", ["uniform", "clusters"])
def test_general_position_matches_scipy(kind):
    points = random_points(kind, 3000, seed=7)
    tri, ref = vesk3d.Delaunay(points), ScipyDelaunay(points)
    to_ref = assert_same_mesh_as_scipy(tri, ref)

    far_outside = random_points(kind, 100, seed=9) + 5
    queries = np.vstack([random_points(kind, 20000, seed=8), far_outside])
    found, ref_found = tri.find_simplex(queries), ref.find_simplex(queries)
    barycentric = np.einsum("nij,nj->ni", ref.transform[ref_found, :3], queries - ref.transform[ref_found, 3])
    strictly_inside = (ref_found >= 0) & (barycentric.min(axis=1) > 1e-9) & (barycentric.sum(axis=1) < 1 - 1e-9)
    assert strictly_inside.sum() > 10000
    assert_array_equal(to_ref[found[strictly_inside]], ref_found[strictly_inside])
    assert (found[-len(far_outside):] == -1).all()
    # Exactness: a point that is a vertex is found in a tetrahedron having it as a corner.
    at_vertices = tri.find_simplex(points.reshape(2, -1, 3)).ravel()
    assert (tri.simplices[at_vertices] == np.arange(len(points))[:, None]).any(axis=1).all()

    indptr, indices = tri.vertex_neighbor_vertices
    ref_indptr, ref_indices = ref.vertex_neighbor_vertices
    assert_array_equal(indptr, ref_indptr)
    ref_sorted = [np.sort(ref_indices[a:b]) for a, b in zip(ref_indptr[:-1], ref_indptr[1:])]
    assert_array_equal(indices, np.concatenate(ref_sorted))
    corners = tri.points[tri.simplices]
    transformed = np.einsum("mij,mkj->mki", tri.transform[:, :3], corners[:, :3] - tri.transform[:, 3, None])
    np.testing.assert_allclose(transformed, np.broadcast_to(np.eye(3), transformed.shape), atol=1e-6)
    assert (tri.simplices[tri.vertex_to_simplex] == np.arange(len(points))[:, None]).any(axis=1).all()
    assert tri.coplanar.shape == (0, 3) and tri.check()


def test_flat_input_has_no_simplex_until_a_point_leaves_the_plane():
    rng = np.random.default_rng(4)
    flat = np.column_stack([rng.random((30, 2)), np.zeros(30)])
    flat = np.vstack([flat, flat[:2]])
    tri = vesk3d.Delaunay(flat)
    assert tri.nsimplex == 0 and tri.simplices.shape == (0, 4) and tri.convex_hull.shape == (0, 3)
    assert_array_equal(tri.coplanar, np.column_stack([np.arange(32), np.full(32, -1), [*range(30), 0, 1]]))
    assert (tri.find_simplex(flat) == -1).all() and (tri.vertex_to_simplex == -1).all()

    tri.add_points([[0.5, 0.5, 1.0]])
    volumes = signed_volumes(tri.points, tri.simplices)
    assert (volumes > 0).all()
    assert volumes.sum() == pytest.approx(ConvexHull(tri.points).volume, rel=1e-9)
    assert_array_equal(tri.coplanar[:, [0, 2]], [[30, 0], [31, 1]])


def test_add_points_gives_the_one_batch_mesh_in_input_numbering_with_duplicates_merged():
    points = random_points("uniform", 3000, seed=5)
    # Copies of points of earlier batches and of their own: each merges into its first occurrence.
    copies = np.random.default_rng(3).integers(0, 3000, 150)
    tri = vesk3d.Delaunay(points[:1000])
    assert 7 in tri.simplices[tri.find_simplex(points[7])]
    tri.add_points(points[1000:2000])
    tri.add_points(np.vstack([points[2000:], points[copies]]))
    assert_array_equal(tri.points, np.vstack([points, points[copies]]))
    assert_same_mesh_as_scipy(tri, ScipyDelaunay(points))
    assert_array_equal(tri.coplanar, np.column_stack([np.arange(3000, 3150), tri.vertex_to_simplex[copies], copies]))
    assert (tri.vertex_to_simplex[3000:] == -1).all()


@pytest.mark.parametrize("points, message", [
    (np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, np.nan]]), "finite, but point 3 is"),
    (np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [np.inf, 0, 1]]), "finite"),
    (np.zeros((5, 2)), r"shape \(n, 3\), got \(5, 2\)"),
    (np.zeros(12), r"got \(12,\)"),
    (np.zeros((0, 3)), "empty"),
    ([[0, 0, 0], [1, 0, 0], [0, 1, 0]], "only 3"),
    ([["a", "b", "c"]] * 4, "could not convert"),
])
def test_bad_points_raise_value_error(points, message):
    with pytest.raises(ValueError, match=message):
        vesk3d.Delaunay(points)


def test_bad_arguments_leave_the_object_usable_and_close_frees_it():
    points = random_points("uniform", 100, seed=6)
    with pytest.raises(ValueError, match="threads"):
        vesk3d.Delaunay(points, threads=-1)
    with vesk3d.Delaunay(points, threads=0) as tri:
        simplices = tri.simplices
        for use, argument, message in [(tri.find_simplex, [[0.5, np.nan, 0.5]], "xi must be finite"),
                                       (tri.find_simplex, np.zeros((4, 2)), r"shape \(\.\.\., 3\)"),
                                       (tri.add_points, [[0.5, 0.5, np.inf]], "finite")]:
            with pytest.raises(ValueError, match=message):
                use(argument)
        assert tri.npoints == 100 and tri.check()
    assert tri.simplices is simplices
    for use in (tri.add_points, tri.find_simplex, lambda _: tri.neighbors):
        with pytest.raises(ValueError, match="closed"):
            use([[0.5, 0.5, 0.5]])


def test_worker_threads_and_caller_threads_give_the_single_thread_results():
    points = random_points("clusters", 40000, seed=13)
    tri = vesk3d.Delaunay(points, threads=2)
    assert_same_mesh_as_scipy(tri, ScipyDelaunay(points))
    for threads in (3, 4):
        assert_array_equal(vesk3d.Delaunay(points, threads=threads).simplices, tri.simplices)

    # Two engines built and queried in two threads at once, and one engine queried from both.
    inputs = [random_points("uniform", 30000, seed) for seed in (10, 11)]
    queries = np.random.default_rng(12).random((2, 30000, 3))
    single = [vesk3d.Delaunay(points) for points in inputs]
    with ThreadPoolExecutor(2) as pool:
        built = list(pool.map(vesk3d.Delaunay, inputs))
        own = list(pool.map(lambda tri, xi: tri.find_simplex(xi), built, queries))
        shared = list(pool.map(single[0].find_simplex, queries))
    for tri, mine, xi, found, found_shared in zip(single, built, queries, own, shared):
        assert_array_equal(mine.simplices, tri.simplices)
        assert_array_equal(mine.neighbors, tri.neighbors)
        assert_array_equal(found, tri.find_simplex(xi))
        assert_array_equal(found_shared, single[0].find_simplex(xi))


def test_library_messages_go_to_logging_not_stdout(capfd, caplog):
    caplog.set_level(logging.DEBUG, logger="vesk3d")
    assert vesk3d.Delaunay(random_points("uniform", 50, seed=9)).check()
    assert capfd.readouterr().out == ""
    assert any(record.name == "vesk3d" and "CheckValidity" in record.getMessage() for record in caplog.records)
