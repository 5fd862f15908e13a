#!/usr/bin/env python3
"""Reads the meshes that vesk3d writes with real consumers -- VTK for .vtk/.vtu, meshio for
.mesh/.msh, TetGen for .node/.ele -- and checks that each sees the points and tetrahedra that
vesk3d reported, that every tetrahedron is positively oriented, and that all consumers get the
same tetrahedra as TetGen's own Delaunay tetrahedralization of the points.

Usage: consumer_checks.py PATH-TO-VESK3D. Exits 77 (skipped) when no consumer is installed.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77

try:
    import numpy as np
except ImportError:
    print("numpy is missing: nothing can be checked")
    sys.exit(SKIPPED)


def optional_module(name):
    try:
        return __import__(name)
    except ImportError:
        print(f"{name} is missing: its formats are not checked")
        return None


vtk = optional_module("vtk")
meshio = optional_module("meshio")
TETGEN = shutil.which("tetgen")
if TETGEN is None:
    print("tetgen is missing: .node/.ele and the Delaunay oracle are not checked")

failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL:", message)


def run(args, cwd):
    result = subprocess.run(args, cwd=cwd, capture_output=True, text=True)
    if result.returncode != 0:
        raise RuntimeError(f"{' '.join(args)} failed ({result.returncode}): {result.stderr}")
    return result.stdout


# ----- readers: each returns (points as an N x 3 array, tetrahedra as an M x 4 index array)

def read_vtk(path, workdir):
    reader = vtk.vtkXMLUnstructuredGridReader() if path.endswith(".vtu") else vtk.vtkUnstructuredGridReader()
    reader.SetFileName(path)
    reader.Update()
    grid = reader.GetOutput()
    from vtk.util.numpy_support import vtk_to_numpy
    check(np.all(vtk_to_numpy(grid.GetCellTypesArray()) == vtk.VTK_TETRA), f"{path}: VTK sees cells that are not tetrahedra")
    check(np.all(np.diff(vtk_to_numpy(grid.GetCells().GetOffsetsArray())) == 4), f"{path}: VTK sees cells without four points")
    points = vtk_to_numpy(grid.GetPoints().GetData()).astype(np.float64)
    return points, vtk_to_numpy(grid.GetCells().GetConnectivityArray()).reshape(-1, 4)


def read_meshio(path, workdir):
    mesh = meshio.read(path)
    blocks = [block for block in mesh.cells if block.type == "tetra"]
    check(len(blocks) == len(mesh.cells), f"{path}: meshio sees cells that are not tetrahedra")
    return mesh.points, np.concatenate([block.data for block in blocks])


def read_tetgen_files(base):
    """TetGen's own text files (index, values...; '#' comments), 1-based as TetGen writes them."""
    def rows(path):
        with open(path) as f:
            return [fields for fields in (line.split("#")[0].split() for line in f) if fields]
    node_rows, element_rows = rows(base + ".node"), rows(base + ".ele")
    first_index = int(node_rows[1][0])
    points = np.array([[float(v) for v in row[1:4]] for row in node_rows[1:]])
    return points, np.array([[int(v) - first_index for v in row[1:5]] for row in element_rows[1:]])


def read_with_tetgen(path, workdir):
    """Lets TetGen rebuild the mesh from our .node/.ele (-r), check it (-CC) and write it again."""
    base = path[: -len(".node")]
    log = run([TETGEN, "-rCCV", os.path.basename(base)], workdir)
    check("the mesh appears to be consistent" in log, f"{path}: TetGen finds the mesh inconsistent")
    check("The mesh is Delaunay." in log, f"{path}: TetGen finds the mesh not Delaunay")
    # Orientation is judged on our own .ele: TetGen silently turns inverted tetrahedra around.
    check_positive(path + " (as written)", *read_tetgen_files(base))
    return read_tetgen_files(base + ".1")


def tetgen_delaunay(points, workdir):
    """The oracle: TetGen's Delaunay tetrahedralization of the same points."""
    with open(os.path.join(workdir, "oracle.node"), "w") as f:
        f.write(f"{len(points)} 3 0 0\n")
        f.writelines(f"{i + 1} {p[0]!r} {p[1]!r} {p[2]!r}\n" for i, p in enumerate(points))
    run([TETGEN, "-Q", "oracle.node"], workdir)
    return read_tetgen_files(os.path.join(workdir, "oracle.1"))


# ----- properties

def check_positive(label, points, tets):
    a, b, c, d = (points[tets[:, i]] for i in range(4))
    volumes = np.einsum("ij,ij->i", b - a, np.cross(c - a, d - a))
    check(np.all(volumes > 0), f"{label}: {np.count_nonzero(volumes <= 0)} tetrahedra are not positively oriented")


def tet_set(points, tets):
    """Tetrahedra as sets of corner coordinates: independent of vertex numbering and corner order."""
    coordinates = [tuple(map(float, p)) for p in points]
    return {tuple(sorted(coordinates[i] for i in tet)) for tet in tets.tolist()}


def check_format(extension, reader, points_in, workdir, vesk3d):
    path = os.path.join(workdir, "mesh" + extension)
    summary = run([vesk3d, "points.xyz", "-o", path], workdir)
    counts = {key: int(value) for key, value in re.findall(r"^(distinct vertices|tetrahedra)\s+(\d+)$", summary, re.M)}
    points, tets = reader(path, workdir)
    label = f"{len(points_in)} points, {extension}"
    check(len(points) == counts["distinct vertices"] == len(points_in), f"{label}: point counts differ")
    check(len(tets) == counts["tetrahedra"], f"{label}: consumer reads {len(tets)} tetrahedra, vesk3d reported {counts['tetrahedra']}")
    check(len(np.unique(tets)) == len(points), f"{label}: some points belong to no tetrahedron")
    check_positive(label, points, tets)
    return tet_set(points, tets)


def check_point_set(points_in, vesk3d, workdir):
    np.savetxt(os.path.join(workdir, "points.xyz"), points_in, fmt="%.17g")
    readers = {**({".vtk": read_vtk, ".vtu": read_vtk} if vtk else {}),
               **({".mesh": read_meshio, ".msh": read_meshio} if meshio else {}),
               **({".node": read_with_tetgen} if TETGEN else {})}
    sets = {extension: check_format(extension, reader, points_in, workdir, vesk3d) for extension, reader in readers.items()}
    reference = tet_set(*tetgen_delaunay(points_in, workdir)) if TETGEN else next(iter(sets.values()))
    for extension, tets in sets.items():
        check(tets == reference, f"{len(points_in)} points, {extension}: the tetrahedra differ from "
                                 f"{'TetGen Delaunay' if TETGEN else 'the first format'}")
    print(f"{len(points_in)} points: checked {', '.join(sets)}")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    if not (vtk or meshio or TETGEN):
        print("no consumer installed: skipped")
        return SKIPPED
    rng = np.random.default_rng(20240501)
    # Random doubles are in general position, so the Delaunay tetrahedralization is unique. The
    # larger set crosses the size from which .vtk and .vtu are written in binary.
    for count in (300, 12000):
        with tempfile.TemporaryDirectory() as workdir:
            check_point_set(rng.random((count, 3)) * 100.0 - 50.0, os.path.abspath(sys.argv[1]), workdir)
    print("consumer checks:", "FAILED" if failures else "passed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
