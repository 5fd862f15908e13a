#!/usr/bin/env python3
"""Usage: cli_checks.py PATH-TO-VESK3D command|consumers

"command": runs the built vesk3d as a user would; checks what it says, exits with and leaves behind.
"consumers": VTK (.vtk/.vtu), meshio (.mesh/.msh) and TetGen (.node/.ele) read the meshes it writes
and must see the points and tetrahedra that it reported, positively oriented, and those of TetGen's
Delaunay tetrahedralization. Consumers not installed are skipped; with none, the run exits 77.
"""
import importlib.util
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy as np

SKIPPED = 77
PREVIOUS = b"output of an earlier run\n"
FOUR_CORNERS = "0 0 0\n1 0 0\n0 1 0\n0 0 1\n"
# Two tetrahedra glued along x + y + z = 1: (2, 2, 2) lies outside the circumsphere of the unit
# corner tetrahedron, so the Delaunay tetrahedralization is those two, with 3 + 3 hull facets.
CORNERS = [(0, 0, 0), (1, 0, 0), (0, 1, 0), (0, 0, 1), (2, 2, 2)]
SUMMARY_LABELS = ("input", "points read", "distinct vertices", "duplicates merged", "tetrahedra", "hull facets",
                  "threads", "check", "output", "scene", "time read", "time triangulate", "time check", "time write")

failures = []


def check(condition, label, expected=None, seen=None):
    if not condition:
        failures.append(label)
        print(f"FAIL: {label}" + ("" if expected is None else f"\n  expected: {expected!r}\n  seen:     {seen!r}"))


def check_equal(seen, expected, label):
    check(seen == expected, label, expected, seen)


class Scratch:
    """A scratch directory in which the command runs."""

    def __init__(self, path):
        self.path = Path(path)

    def run(self, arguments):
        return subprocess.run([VESK3D, *arguments.split()], cwd=self.path, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, errors="replace")

    def put(self, name, content):
        (self.path / name).write_bytes(content if isinstance(content, bytes) else content.encode())

    def get(self, name):
        return (self.path / name).read_bytes()

    def files(self):
        return {entry.name: entry.read_bytes() if entry.is_file() else "directory" for entry in self.path.iterdir()}


def summary_number(out, label):
    match = re.search(rf"^{label} +(\d+)$", out, re.M)
    return int(match[1]) if match else None


def check_summary_only(out, label):
    """Every line of the summary of a run with --check, -o and --scene, in order, and nothing after it."""
    lines = [(line[:20], len(line) > 20) for line in out.splitlines()]
    check_equal(lines, [(name.ljust(20), True) for name in SUMMARY_LABELS], f"{label}: the summary lines (label, value follows)")


def ply_header(fmt, count, kind, decorated=False):
    """A decorated header adds what readers must skip: a comment, a property before x, a list after z
    and a face element."""
    header = f"ply\nformat {fmt} 1.0\n" + ("comment made by hand\n" if decorated else "") + f"element vertex {count}\n"
    header += ("property uchar flag\n" if decorated else "") + "".join(f"property {kind} {axis}\n" for axis in "xyz")
    if decorated:
        header += "property list uchar int extra\nelement face 1\nproperty list uchar int vertex_indices\n"
    return (header + "end_header\n").encode()


def ply_binary(order, kind):
    """The corners; each vertex record a flag byte, the coordinates, a list of two ints; then one face."""
    data = ply_header("binary_big_endian" if order == ">" else "binary_little_endian", 5, {"f": "float", "d": "double"}[kind], True)
    for corner in CORNERS:
        data += b"\x07" + struct.pack(f"{order}3{kind}", *corner) + struct.pack(f"{order}B2i", 2, -1, 5)
    return data + struct.pack(f"{order}B3i", 3, 0, 1, 2)


def check_refusals(d):
    """Every fault names the file and where in it and ends with status 1; a mistake on the command line
    ends with status 2 and a hint. Neither prints a summary or changes anything in the directory."""
    header4 = ply_header("binary_little_endian", 4, "double")
    coordinates = [0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1]
    full = header4 + struct.pack("<12d", *coordinates)
    with_nan = header4 + struct.pack("<12d", *coordinates[:4], float("nan"), *coordinates[5:])
    truncated = full[:-12]
    inputs = {  # name: (content, the error when it is read)
        "bad.xyz": ("1 2 3\n\n# comment\n4 x5 6\n", "bad.xyz:4: malformed number 'x5' in column 2"),
        "few.xyz": ("1 2 3\n1 2\n", "few.xyz:2: expected at least 3 values, found 2"),
        "nan.txt": ("1 2 3\nnan 0 0\n", "nan.txt:2: coordinate 'nan' in column 1 is not a finite number"),
        "inf.csv": ("x,y,z\n1,2,3\n1,-inf,3\n", "inf.csv:3: coordinate '-inf' in column 2 is not a finite number"),
        "big.xyz": ("1e999 0 0\n", "big.xyz:1: number '1e999' in column 1 is out of the range of a double"),
        "lies.pts": ("5\n" + FOUR_CORNERS, "lies.pts:1: the first line declares 5 points but the file holds 4"),
        "short.node": ("5 3 0 0\n1 0 0 0\n2 1 0 0\n", "short.node:1: the header declares 5 points but the file ends after 2"),
        "long.node": ("1 3 0 0\n1 0 0 0\n2 1 0 0\n", "long.node:3: the header on line 1 declares 1 points; this line is one more"),
        "flat.node": ("1 2 0 0\n1 0 0\n", "flat.node:1: only 3D points can be read"),
        "short.off": ("OFF\n5 0 0\n" + FOUR_CORNERS, "short.off:2: the header declares 5 points but the file ends after 4"),
        "nokey.off": ("4 0 0\n", "nokey.off:1: expected the OFF keyword"),
        "badv.obj": ("v 0 0 0\nvn 0 0 1\nv 1 0 zero\n", "badv.obj:3: malformed number 'zero' in column 4"),
        "empty.xyz": ("# nothing here\n\n", "empty.xyz: the file holds no points"),
        "twice.xyz": ("0 0 0\n0 0 0\n1 1 1\n1 1 1\n", "twice.xyz: no tetrahedron"),
        "trunc.ply": (truncated, f"trunc.ply: byte {len(truncated)}: the file ends inside vertex record 3 of the 4 that the header "
                                 "declares"),
        "nanbin.ply": (with_nan, f"nanbin.ply: byte {len(header4) + 24}: vertex 1 has a coordinate that is not a finite number"),
        "extra.ply": (full + b"trail", f"extra.ply: byte {len(header4) + 96}: 5 bytes follow the last record"),
        # Header lines 1-7, vertices from line 8: the file ends after the fourth, on line 11.
        "short.ply": (ply_header("ascii", 5, "float") + FOUR_CORNERS.encode(),
                      "short.ply:11: the header declares 5 vertex records but the file ends after 4"),
        "nanascii.ply": (ply_header("ascii", 4, "float") + b"0 0 0\n1 0 0\n0 1 0\n0 inf 1\n",
                         "nanascii.ply:11: coordinate 'inf' in column 2 is not a finite number"),
        "notply.ply": ("plx\nformat ascii 1.0\n", "notply.ply:1: not a PLY file"),
        "noz.ply": ("ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\nend_header\n0 0\n",
                    "noz.ply:1: the vertex element has no property z"),
        "badtype.ply": ("ply\nformat ascii 1.0\nelement vertex 1\nproperty real x\nend_header\n",
                        "badtype.ply:4: unknown property type 'real'"),
        "noend.ply": ("ply\nformat ascii 1.0\nelement vertex 0\n", "noend.ply:3: the header has no end_header line"),
    }
    errors = [(name + " -o out.vtk", message) for name, (_, message) in inputs.items()] + [
        ("--quiet missing.xyz -o out.vtk", "missing.xyz: cannot open: No such file or directory"),
        ("dir.xyz -o out.vtk", "dir.xyz: cannot read: Is a directory"),
        ("ok.xyz -o nodir/out.vtk", "nodir/out.vtk: cannot create a file in nodir: No such file or directory"),
        # The mesh is complete before the rename fails: the temporary file must still go.
        ("ok.xyz -o taken.vtk", "taken.vtk: cannot replace: Is a directory"),
        # The library cannot write the scene where the directory is missing: the command must stop first.
        ("ok.xyz --scene nodir/s.list -o out.vtk", "nodir/s.list: cannot create a file in nodir"),
        ("ok.xyz --scene mesh.list -o taken.vtk", "taken.vtk: cannot replace"),
    ]
    mistakes = ["", "--bogus ok.xyz", "ok.xyz ok.xyz", "--random 0", "--random 12x", "--random 5 ok.xyz", "--seed 3 ok.xyz",
                "--random 5 --seed 0", "ok.xyz -o", "a.abc -o out.vtk", "ok.xyz -o out.stl", "-q -v ok.xyz"]
    others = {"ok.xyz": FOUR_CORNERS, "out.vtk": PREVIOUS, "mesh.list": PREVIOUS}
    for name, content in ({name: content for name, (content, _) in inputs.items()} | others).items():
        d.put(name, content)
    for name in ("dir.xyz", "taken.vtk"):
        (d.path / name).mkdir()
    before = d.files()
    runs = [(arguments, 1, "vesk3d: error: " + message) for arguments, message in errors]
    for arguments, status, text in runs + [(arguments, 2, "Try 'vesk3d --help'") for arguments in mistakes]:
        result = d.run(arguments)
        check_equal((result.returncode, result.stdout), (status, ""), f"vesk3d {arguments}: exit status, standard output")
        check(text in result.stderr, f"vesk3d {arguments}: standard error", text, result.stderr)
        after = d.files()
        changed = sorted(name for name in before.keys() | after.keys() if before.get(name) != after.get(name))
        check_equal(changed, [], f"vesk3d {arguments}: files changed")
    usage = d.run("--help")
    check_equal(usage.returncode, 0, "--help: exit status")
    check("Usage: vesk3d" in usage.stdout, "--help: standard output", "Usage: vesk3d", usage.stdout)


def check_streams(d):
    """Standard output is the summary and nothing else; the library's lines go to standard error, and
    only with -v or when the run fails; -q silences both (not errors: see the refusals); counts of
    what is not read only warn. A scene is written beside the mesh."""
    # The five corners, two of them repeated, with the decorations that point files carry.
    d.put("points.xyz", "# five corners\n0 0 0 7\n1 0 0 7\n\n0 1 0\n0 0 1\n2 2 2 9 9\n1 0 0\n0 0 0  # again\n")
    plain = d.run("points.xyz --check --scene mesh.list -o out.vtk")
    check_equal((plain.returncode, plain.stderr), (0, ""), "--check: exit status, standard error")
    check_summary_only(plain.stdout, "--check")
    counts = {"points read": 7, "distinct vertices": 5, "duplicates merged": 2, "tetrahedra": 2, "hull facets": 6}
    check_equal({label: summary_number(plain.stdout, label) for label in counts}, counts, "--check: summary numbers")
    check("check               passed" in plain.stdout, "--check: verdict", "check               passed", plain.stdout)
    check(d.get("out.vtk").startswith(b"# vtk DataFile Version"), "out.vtk: VTK header", "# vtk DataFile Version", d.get("out.vtk")[:30])
    check(d.get("mesh.list").startswith(b"LIST"), "--scene: a LIST file", "LIST", d.get("mesh.list")[:20])
    check_equal(set(d.files()), {"points.xyz", "out.vtk", "mesh.list"}, "--check: files")

    verbose = d.run("points.xyz --check -v --scene mesh.list -o out.vtu")
    check_summary_only(verbose.stdout, "-v")
    verdict = verbose.stderr.find("\n** CheckValidity at (vesk3d --check) has been finished, seems OK\n")
    check(verdict >= 0, "-v: the verdict of the check on standard error", "the verdict", verbose.stderr)
    check(0 <= verbose.stderr.find("\nnumPoints=7\n") < verdict, "-v: numPoints=7 before the verdict", "numPoints=7", verbose.stderr)
    quiet = d.run("-q points.xyz --check -o out.msh")
    check_equal((quiet.returncode, quiet.stdout, quiet.stderr, (d.path / "out.msh").exists()), (0, "", "", True),
                "-q: exit status, standard output, standard error, out.msh written")

    d.put("flat.xyz", "0 0 0\n1 0 0\n0 1 0\n1 1 0\n5 5 0\n")
    failed = d.run("flat.xyz")
    expected = "numPoints=5\nvesk3d: error: flat.xyz: no tetrahedron: fewer than four distinct points, or all of them in one plane\n"
    check_equal((failed.returncode, failed.stdout, failed.stderr), (1, "", expected), "flat.xyz: exit status, output streams")

    # A cube with three more vertices, whose header counts 7 faces where 8 follow.
    cube = "OFF\n11 7 0\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n2 2 2\n3 0 0\n0 3 0\n"
    d.put("cube.off", cube + "".join(f"3 0 1 {face + 2}\n" for face in range(8)))
    # Points 2 and 4 lack the attribute and the marker that the header declares.
    d.put("marks.node", "5 3 1 1\n1 0 0 0 9.5 1\n2 1 0 0\n3 0 1 0 9.5 0\n4 0 0 1 9.5\n5 2 2 2 9.5 1\n")
    for name, count, warning in [
        ("cube.off", 11, "cube.off:2: the header declares 11 vertices and 7 faces, but 8 lines follow the vertices; the faces are "
                         "not read"),
        ("marks.node", 5, "marks.node:3: 4 values where the header on line 1 declares 1 attribute and 1 boundary marker after the "
                          "coordinates (2 point lines differ); attributes and markers are not read"),
    ]:
        result = d.run(name)
        check_equal((result.returncode, result.stderr, summary_number(result.stdout, "points read")),
                    (0, f"vesk3d: warning: {warning}\n", count), f"{name}: exit status, warning, points read")
        check_equal(d.run("-q " + name).stderr, "", f"-q {name}: standard error")


def check_input_formats(d):
    """Every input format yields the same points in the same order: the same tetrahedra, to the byte."""
    first_elements = None
    for name, content in [
        ("a.xyz", "0 0 0\n1 0 0 5\n0 1 0\n0 0 1\n2 2 2\n"),
        ("b.txt", "\t0\t0\t0\n+1 0 0\n0 +1.0 0\n0 0 1e0\n2 2 2\r\n"),
        ("c.csv", "x,y,z\n0,0,0\n1,0,0\n0,1,0\n0,0,1\n2,2,2\n"),
        ("d.pts", "5\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n2 2 2\n"),
        ("e.off", "COFF\n# colours follow the coordinates\n5 1 0\n0 0 0 1 1 1 1\n1 0 0 1 1 1 1\n0 1 0 1 1 1 1\n"
                  "0 0 1 1 1 1 1\n2 2 2 1 1 1 1\n3 0 1 2\n"),
        ("f.obj", "o thing\nv 0 0 0\nv 1 0 0\nvn 0 0 1\nv 0 1 0\nvt 0.5 0.5\nv 0 0 1\nv 2 2 2 1.0\nf 1 2 3\n"),
        ("g.node", "# points\n5 3 1 1\n1 0 0 0 9.5 1\n2 1 0 0 9.5 1\n3 0 1 0 9.5 0\n4 0 0 1 9.5 0\n5 2 2 2 9.5 1\n"),
        ("h.ply", ply_header("ascii", 5, "double", True) + b"7 0 0 0 2 -1 5\n7 1 0 0 0\n7 0 1 0 1 3\n7 0 0 1 0\n7 2 2 2 0\n3 0 1 2\n"),
        ("i.ply", ply_binary("<", "f")),
        ("j.ply", ply_binary(">", "d")),
        ("k.PLY", ply_binary(">", "f")),
    ]:
        d.put(name, content)
        result = d.run(name + " -o out.node")
        check_equal((result.returncode, summary_number(result.stdout, "points read")), (0, 5), f"{name}: exit status, points read")
        points = {tuple(point) for point in read_tetgen_files(str(d.path / "out"))[0].tolist()}
        check_equal(points, set(CORNERS), f"{name}: the points of out.node")
        first_elements = first_elements or d.get("out.ele")
        check_equal(d.get("out.ele"), first_elements, f"{name}: out.ele as from a.xyz")


def check_random_points(d):
    """Random points are reproducible and counted exactly."""
    for seed, output in [("7", "first.vtu"), ("7", "again.vtu"), ("8", "other.vtu")]:
        result = d.run(f"--random 101 --seed {seed} -o {output}")
        check_equal((result.returncode, summary_number(result.stdout, "points read")), (0, 101), f"--seed {seed}: exit status, points read")
    check(d.get("first.vtu") == d.get("again.vtu"), "the same seed gives the same mesh")
    check(d.get("first.vtu") != d.get("other.vtu"), "another seed gives another mesh")


vtk = importlib.import_module("vtk") if importlib.util.find_spec("vtk") else None
meshio = importlib.import_module("meshio") if importlib.util.find_spec("meshio") else None
TETGEN = shutil.which("tetgen")


def read_vtk(path):
    reader = vtk.vtkXMLUnstructuredGridReader() if path.endswith(".vtu") else vtk.vtkUnstructuredGridReader()
    reader.SetFileName(path)
    reader.Update()
    grid = reader.GetOutput()
    from vtk.util.numpy_support import vtk_to_numpy
    check(np.all(vtk_to_numpy(grid.GetCellTypesArray()) == vtk.VTK_TETRA), f"{path}: VTK sees cells that are not tetrahedra")
    check(np.all(np.diff(vtk_to_numpy(grid.GetCells().GetOffsetsArray())) == 4), f"{path}: VTK sees cells without four points")
    points = vtk_to_numpy(grid.GetPoints().GetData()).astype(np.float64)
    return points, vtk_to_numpy(grid.GetCells().GetConnectivityArray()).reshape(-1, 4)


def read_meshio(path):
    mesh = meshio.read(path)
    blocks = [block for block in mesh.cells if block.type == "tetra"]
    check(len(blocks) == len(mesh.cells), f"{path}: meshio sees cells that are not tetrahedra")
    return mesh.points, np.concatenate([block.data for block in blocks])


def read_tetgen_files(base):
    """TetGen's own text files: a header line, then an index and values per line ('#' comments)."""
    nodes = np.loadtxt(base + ".node", comments="#", skiprows=1, ndmin=2)
    elements = np.loadtxt(base + ".ele", comments="#", skiprows=1, ndmin=2, dtype=np.int64)
    return nodes[:, 1:4], elements[:, 1:5] - int(nodes[0, 0])


def read_with_tetgen(path):
    """Lets TetGen rebuild the mesh from our .node/.ele (-r) and write it again. Whether it is
    Delaunay, the comparison with TetGen's own tetrahedralization tells."""
    base = path[: -len(".node")]
    subprocess.run([TETGEN, "-rQ", base], capture_output=True, check=True)
    # Orientation is judged on our own .ele: TetGen silently turns inverted tetrahedra around.
    check_positive(path + " (as written)", *read_tetgen_files(base))
    return read_tetgen_files(base + ".1")


# Each reader returns the points as an N x 3 array and the tetrahedra as an M x 4 index array.
CONSUMERS = [("vtk", vtk, {".vtk": read_vtk, ".vtu": read_vtk}), ("meshio", meshio, {".mesh": read_meshio, ".msh": read_meshio}),
             ("tetgen", TETGEN, {".node": read_with_tetgen})]


def check_positive(label, points, tets):
    a, b, c, d = (points[tets[:, i]] for i in range(4))
    volumes = np.einsum("ij,ij->i", b - a, np.cross(c - a, d - a))
    check(np.all(volumes > 0), f"{label}: {np.count_nonzero(volumes <= 0)} tetrahedra are not positively oriented")


def tet_set(points, tets):
    # Corner coordinates make the set independent of vertex numbering and corner order.
    coordinates = [tuple(map(float, p)) for p in points]
    return {tuple(sorted(coordinates[i] for i in tet)) for tet in tets.tolist()}


def consumer_tets(d, extension, reader, points_in):
    """The tetrahedra that a consumer reads from the mesh that vesk3d writes of points_in."""
    result = d.run("points.xyz -o mesh" + extension)
    points, tets = reader(str(d.path / ("mesh" + extension)))
    label = f"{len(points_in)} points, {extension}"
    check_equal((result.returncode, len(points), len(points), len(tets)),
                (0, len(points_in), summary_number(result.stdout, "distinct vertices"), summary_number(result.stdout, "tetrahedra")),
                f"{label}: exit status; points read by the consumer as given and as reported; tetrahedra read as reported")
    check(len(np.unique(tets)) == len(points), f"{label}: some points belong to no tetrahedron")
    check_positive(label, points, tets)
    return tet_set(points, tets)


def check_consumers(d, points_in):
    np.savetxt(d.path / "points.xyz", points_in, fmt="%.17g")
    sets = {extension: consumer_tets(d, extension, reader, points_in)
            for _, present, formats in CONSUMERS if present for extension, reader in formats.items()}
    reference, name = next(iter(sets.values())), "the first format"
    if TETGEN:  # the oracle: TetGen's Delaunay tetrahedralization of the same points
        nodes = "".join(f"{i + 1} {x:.17g} {y:.17g} {z:.17g}\n" for i, (x, y, z) in enumerate(points_in))
        d.put("oracle.node", f"{len(points_in)} 3 0 0\n" + nodes)
        subprocess.run([TETGEN, "-Q", "oracle.node"], cwd=d.path, capture_output=True, check=True)
        reference, name = tet_set(*read_tetgen_files(str(d.path / "oracle.1"))), "TetGen Delaunay"
    for extension, tets in sets.items():
        check(tets == reference, f"{len(points_in)} points, {extension}: the tetrahedra differ from {name}")
    print(f"{len(points_in)} points: checked {', '.join(sets)}")


def in_scratch(group, *arguments):
    with tempfile.TemporaryDirectory() as path:
        try:
            group(Scratch(path), *arguments)
        except Exception as error:  # a group that breaks off is one failure; the others still run
            check(False, f"{group.__name__}: {error!r}")


def main():
    global VESK3D
    if len(sys.argv) != 3 or sys.argv[2] not in ("command", "consumers"):
        sys.exit(__doc__)
    VESK3D = os.path.abspath(sys.argv[1])
    if sys.argv[2] == "command":
        for group in (check_refusals, check_streams, check_input_formats, check_random_points):
            in_scratch(group)
    else:
        for name, present, formats in CONSUMERS:
            if not present:
                print(f"{name} is missing: {', '.join(formats)} {'and the Delaunay oracle ' if name == 'tetgen' else ''}not checked")
        if not (vtk or meshio or TETGEN):
            return SKIPPED
        rng = np.random.default_rng(20240501)
        # Random doubles are in general position, so the Delaunay tetrahedralization is unique. The
        # larger set crosses the size from which .vtk and .vtu are written in binary.
        for count in (300, 12000):
            in_scratch(check_consumers, rng.random((count, 3)) * 100.0 - 50.0)
    print("checks:", "FAILED" if failures else "passed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
