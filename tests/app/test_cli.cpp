// Runs the built vesk3d command as a user would and checks what it says, what it exits with, and
// which files it leaves behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "WorkDir.h"

namespace fs = std::filesystem;
using VeskTest::readFile;

namespace {

struct CliResult {
    int status;
    std::string out;
    std::string err;
};

std::string shellQuoted(const std::string& argument)
{
    std::string quoted = "'";
    for (char c : argument) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// The number on the summary line that starts with label, or -1.
long long summaryNumber(const std::string& out, const std::string& label)
{
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);)
        if (line.compare(0, label.size() + 1, label + " ") == 0) return std::stoll(line.substr(label.size()));
    return -1;
}

// Every line of the summary of a run with --check and -o, in order, and nothing after it.
void expectSummaryOnly(const std::string& out)
{
    std::istringstream lines(out);
    std::string line;
    for (const char* label : {"input", "points read", "distinct vertices", "duplicates merged", "tetrahedra", "hull facets",
                              "threads", "check", "output", "time read", "time triangulate", "time check", "time write"}) {
        ASSERT_TRUE(std::getline(lines, line)) << "missing " << label;
        EXPECT_EQ(line.substr(0, 20), label + std::string(20 - std::strlen(label), ' '));
        EXPECT_GT(line.size(), 20u);
    }
    EXPECT_FALSE(std::getline(lines, line)) << "after the summary: " << line;
}

using Coordinates = std::tuple<double, double, double>;

// The points of a TetGen .node file, parsed here independently of the command's readers.
std::set<Coordinates> nodeFilePoints(const std::string& path)
{
    std::istringstream in(readFile(path));
    size_t count = 0;
    int ignored = 0;
    in >> count >> ignored >> ignored >> ignored;
    std::set<Coordinates> points;
    for (double index = 0, x = 0, y = 0, z = 0; count > 0 && in >> index >> x >> y >> z; --count) points.insert({x, y, z});
    return points;
}

template <typename T>
std::string bytesOf(T value, bool bBigEndian)
{
    std::string bytes(sizeof(T), '\0');
    std::memcpy(bytes.data(), &value, sizeof(T));
    if (bBigEndian != (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__)) std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

// A PLY header of numVertices vertices with coordinates of the given type; a decorated one adds
// what readers must skip: a comment, a property before x, a list after z and a face element.
std::string plyHeader(const std::string& format, size_t numVertices, const std::string& type, bool bDecorated = false)
{
    std::string header = "ply\nformat " + format + " 1.0\n" + (bDecorated ? "comment made by hand\n" : "") +
                         "element vertex " + std::to_string(numVertices) + "\n" + (bDecorated ? "property uchar flag\n" : "");
    for (const char* axis : {" x\n", " y\n", " z\n"}) header += "property " + type + axis;
    if (bDecorated) header += "property list uchar int extra\nelement face 1\nproperty list uchar int vertex_indices\n";
    return header + "end_header\n";
}

// Binary little-endian doubles, three per vertex.
std::string plyDoubles(const std::vector<double>& values)
{
    std::string data;
    for (double value : values) data += bytesOf(value, false);
    return data;
}

// The five corners of two tetrahedra glued along x + y + z = 1: (2, 2, 2) lies outside the
// circumsphere of the unit corner tetrahedron, so the Delaunay tetrahedralization is those two
// tetrahedra, with 3 + 3 hull facets.
const std::vector<Coordinates> twoTetCorners = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {2, 2, 2}};

const std::string previousOutput = "output of an earlier run\n";

struct BadInput {
    std::string fileName;
    std::string content; // written before the run unless empty
    std::string message;  // expected on standard error after "vesk3d: error: "
    std::string output = "out.vtk";
};

// The command runs in work/, within a scratch directory that also takes its two output streams.
class CliTest : public testing::Test {
protected:
    CliTest() { fs::create_directory(work); }

    CliResult run(const std::vector<std::string>& arguments) const
    {
        std::string command = "cd work && " + shellQuoted(VESK3D_CLI_PATH);
        for (const std::string& argument : arguments) command += " " + shellQuoted(argument);
        const int status = std::system((command + " >../stdout 2>../stderr </dev/null").c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile("stdout"), readFile("stderr")};
    }

    void put(const std::string& name, const std::string& content) const { std::ofstream(work / name, std::ios::binary) << content; }
    std::string get(const std::string& name) const { return readFile((work / name).string()); }

    std::set<std::string> listing() const
    {
        std::set<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(work)) names.insert(entry.path().filename());
        return names;
    }

    // Every fault must name the file and where in it, end with status 1, and leave the earlier
    // output and the directory exactly as they were.
    void expectRejected(const std::vector<std::string>& arguments, const std::string& message) const
    {
        const std::set<std::string> before = listing();
        const CliResult result = run(arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find("vesk3d: error: " + message), std::string::npos) << result.err;
        EXPECT_EQ(get("out.vtk"), previousOutput);
        EXPECT_EQ(listing(), before);
    }

    VeskTest::TempWorkDir scratch;
    const fs::path work = "work";
};

} // namespace

TEST_F(CliTest, BadInputsAndOutputsNameFilePositionAndFault)
{
    const std::string header4 = plyHeader("binary_little_endian", 4, "double");
    const std::vector<double> vCorners = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
    std::vector<double> vWithNan = vCorners;
    vWithNan[4] = std::numeric_limits<double>::quiet_NaN();
    const std::string full = header4 + plyDoubles(vCorners);
    const std::string truncated = full.substr(0, full.size() - 12);
    const std::vector<BadInput> vCases = {
        {"bad.xyz", "1 2 3\n\n# comment\n4 x5 6\n", "bad.xyz:4: malformed number 'x5' in column 2"},
        {"few.xyz", "1 2 3\n1 2\n", "few.xyz:2: expected at least 3 values, found 2"},
        {"nan.txt", "1 2 3\nnan 0 0\n", "nan.txt:2: coordinate 'nan' in column 1 is not a finite number"},
        {"inf.csv", "x,y,z\n1,2,3\n1,-inf,3\n", "inf.csv:3: coordinate '-inf' in column 2 is not a finite number"},
        {"big.xyz", "1e999 0 0\n", "big.xyz:1: number '1e999' in column 1 is out of the range of a double"},
        {"lies.pts", "5\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n", "lies.pts:1: the first line declares 5 points but the file holds 4"},
        {"short.node", "5 3 0 0\n1 0 0 0\n2 1 0 0\n", "short.node:1: the header declares 5 points but the file ends after 2"},
        {"long.node", "1 3 0 0\n1 0 0 0\n2 1 0 0\n", "long.node:3: the header on line 1 declares 1 points; this line is one more"},
        {"flat.node", "1 2 0 0\n1 0 0\n", "flat.node:1: only 3D points can be read"},
        {"short.off", "OFF\n5 0 0\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n", "short.off:2: the header declares 5 points but the file ends after 4"},
        {"nokey.off", "4 0 0\n", "nokey.off:1: expected the OFF keyword"},
        {"badv.obj", "v 0 0 0\nvn 0 0 1\nv 1 0 zero\n", "badv.obj:3: malformed number 'zero' in column 4"},
        {"empty.xyz", "# nothing here\n\n", "empty.xyz: the file holds no points"},
        {"flat.xyz", "0 0 0\n1 0 0\n0 1 0\n1 1 0\n5 5 0\n", "flat.xyz: no tetrahedron"},
        {"twice.xyz", "0 0 0\n0 0 0\n1 1 1\n1 1 1\n", "twice.xyz: no tetrahedron"},
        {"missing.xyz", "", "missing.xyz: cannot open: No such file or directory"},
        {"trunc.ply", truncated,
         "trunc.ply: byte " + std::to_string(truncated.size()) + ": the file ends inside vertex record 3 of the 4 that the header declares"},
        {"nanbin.ply", header4 + plyDoubles(vWithNan),
         "nanbin.ply: byte " + std::to_string(header4.size() + 24) + ": vertex 1 has a coordinate that is not a finite number"},
        {"extra.ply", full + "trail", "extra.ply: byte " + std::to_string(header4.size() + 96) + ": 5 bytes follow the last record"},
        // Header lines 1-7, vertices from line 8: the file ends after the fourth, on line 11.
        {"short.ply", plyHeader("ascii", 5, "float") + "0 0 0\n1 0 0\n0 1 0\n0 0 1\n",
         "short.ply:11: the header declares 5 vertex records but the file ends after 4"},
        {"nanascii.ply", plyHeader("ascii", 4, "float") + "0 0 0\n1 0 0\n0 1 0\n0 inf 1\n",
         "nanascii.ply:11: coordinate 'inf' in column 2 is not a finite number"},
        {"notply.ply", "plx\nformat ascii 1.0\n", "notply.ply:1: not a PLY file"},
        {"noz.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nproperty float y\nend_header\n0 0\n",
         "noz.ply:1: the vertex element has no property z"},
        {"badtype.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty real x\nend_header\n", "badtype.ply:4: unknown property type 'real'"},
        {"noend.ply", "ply\nformat ascii 1.0\nelement vertex 0\n", "noend.ply:3: the header has no end_header line"},
        {"dir.xyz", "", "dir.xyz: cannot read: Is a directory"},
        {"ok.xyz", "", "nodir/out.vtk: cannot create a file in nodir: No such file or directory", "nodir/out.vtk"},
        // The mesh is complete before the rename fails: the temporary file must still go.
        {"ok.xyz", "", "taken.vtk: cannot replace: Is a directory", "taken.vtk"},
    };
    put("out.vtk", previousOutput);
    put("ok.xyz", "0 0 0\n1 0 0\n0 1 0\n0 0 1\n");
    fs::create_directory(work / "dir.xyz");
    fs::create_directory(work / "taken.vtk");
    for (const BadInput& bad : vCases) {
        SCOPED_TRACE(bad.fileName);
        if (!bad.content.empty()) put(bad.fileName, bad.content);
        expectRejected({bad.fileName, "-o", bad.output}, bad.message);
        if (!bad.content.empty()) fs::remove(work / bad.fileName);
    }
}

TEST_F(CliTest, CommandLineMistakesExitWithUsageStatus)
{
    put("a.xyz", "0 0 0\n1 0 0\n0 1 0\n0 0 1\n");
    put("out.vtk", previousOutput);
    const std::set<std::string> before = listing();
    const std::vector<std::vector<std::string>> vMistakes = {
        {},
        {"--bogus", "a.xyz"},
        {"a.xyz", "a.xyz"},
        {"--random", "0"},
        {"--random", "12x"},
        {"--random", "5", "a.xyz"},
        {"--seed", "3", "a.xyz"},
        {"--random", "5", "--seed", "0"},
        {"a.xyz", "-o"},
        {"a.abc", "-o", "out.vtk"},
        {"a.xyz", "-o", "out.stl"},
        {"-q", "-v", "a.xyz"},
    };
    for (const std::vector<std::string>& arguments : vMistakes) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const CliResult result = run(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.err.find("Try 'vesk3d --help'"), std::string::npos) << result.err;
        EXPECT_TRUE(result.out.empty());
        EXPECT_EQ(get("out.vtk"), previousOutput);
        EXPECT_EQ(listing(), before);
    }
    const CliResult help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("Usage: vesk3d"), std::string::npos);
}

// Standard output is the summary and nothing else; the library's lines go to standard error, and
// only with -v or when the run fails; -q silences both but not the error.
TEST_F(CliTest, SummaryCountsAndWhereEachLineGoes)
{
    // The five corners, two of them repeated, with the decorations that point files carry.
    put("points.xyz", "# five corners\n0 0 0 7\n1 0 0 7\n\n0 1 0\n0 0 1\n2 2 2 9 9\n1 0 0\n0 0 0  # again\n");
    const CliResult plain = run({"points.xyz", "--check", "-o", "out.vtk"});
    ASSERT_EQ(plain.status, 0) << plain.err;
    EXPECT_EQ(plain.err, "");
    expectSummaryOnly(plain.out);
    const std::pair<const char*, long long> aCounts[] = {
        {"points read", 7}, {"distinct vertices", 5}, {"duplicates merged", 2}, {"tetrahedra", 2}, {"hull facets", 6}};
    for (const auto& [label, count] : aCounts) EXPECT_EQ(summaryNumber(plain.out, label), count) << label;
    EXPECT_NE(plain.out.find("check               passed"), std::string::npos) << plain.out;
    EXPECT_EQ(get("out.vtk").rfind("# vtk DataFile Version", 0), 0u);
    EXPECT_EQ(listing(), (std::set<std::string>{"points.xyz", "out.vtk"}));

    const CliResult verbose = run({"points.xyz", "--check", "-v", "-o", "out.vtu"});
    expectSummaryOnly(verbose.out);
    const size_t verdict = verbose.err.find("\n** CheckValidity at (vesk3d --check) has been finished, seems OK\n");
    EXPECT_NE(verdict, std::string::npos) << verbose.err;
    EXPECT_LT(verbose.err.find("\nnumPoints=7\n"), verdict);

    const CliResult quiet = run({"-q", "points.xyz", "--check", "-o", "out.msh"});
    EXPECT_EQ(std::make_tuple(quiet.status, quiet.out, quiet.err), std::make_tuple(0, std::string(), std::string()));
    EXPECT_TRUE(fs::exists(work / "out.msh"));

    put("flat.xyz", "0 0 0\n1 0 0\n0 1 0\n1 1 0\n5 5 0\n");
    const CliResult failed = run({"flat.xyz"});
    EXPECT_EQ(failed.out, "");
    EXPECT_EQ(failed.err, "numPoints=5\nvesk3d: error: flat.xyz: no tetrahedron: fewer than four distinct points, or all of "
                          "them in one plane\n");
    const CliResult quietFailure = run({"--quiet", "missing.xyz"});
    EXPECT_EQ(std::make_tuple(quietFailure.status, quietFailure.out), std::make_tuple(1, std::string()));
    EXPECT_NE(quietFailure.err.find("missing.xyz"), std::string::npos);
}

TEST_F(CliTest, CountsOfWhatIsNotReadOnlyWarn)
{
    // A cube with three more vertices, whose header counts 7 faces where 8 follow.
    std::string off = "OFF\n11 7 0\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n2 2 2\n3 0 0\n0 3 0\n";
    for (int face = 0; face < 8; ++face) off += "3 0 1 " + std::to_string(face + 2) + "\n";
    put("cube.off", off);
    // Points 2 and 4 lack the attribute and the marker that the header declares.
    put("marks.node", "5 3 1 1\n1 0 0 0 9.5 1\n2 1 0 0\n3 0 1 0 9.5 0\n4 0 0 1 9.5\n5 2 2 2 9.5 1\n");
    const std::vector<std::tuple<std::string, long long, std::string>> vCases = {
        {"cube.off", 11, "cube.off:2: the header declares 11 vertices and 7 faces, but 8 lines follow the vertices; the faces "
                         "are not read"},
        {"marks.node", 5, "marks.node:3: 4 values where the header on line 1 declares 1 attribute and 1 boundary marker after "
                          "the coordinates (2 point lines differ); attributes and markers are not read"},
    };
    for (const auto& [name, numPoints, warning] : vCases) {
        SCOPED_TRACE(name);
        const CliResult result = run({name});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "vesk3d: warning: " + warning + "\n");
        EXPECT_EQ(summaryNumber(result.out, "points read"), numPoints);
        EXPECT_EQ(run({"-q", name}).err, "");
    }
}

TEST_F(CliTest, EveryInputFormatYieldsTheSamePoints)
{
    // Each vertex record: a flag byte, the coordinates, a list of two ints; then one face.
    auto plyBinary = [](bool bBigEndian, const std::string& type) {
        std::string data = plyHeader(bBigEndian ? "binary_big_endian" : "binary_little_endian", 5, type, true);
        for (const Coordinates& c : twoTetCorners) {
            data += '\x07';
            for (double v : {std::get<0>(c), std::get<1>(c), std::get<2>(c)})
                data += type == "float" ? bytesOf(static_cast<float>(v), bBigEndian) : bytesOf(v, bBigEndian);
            data += '\x02' + bytesOf<int32_t>(-1, bBigEndian) + bytesOf<int32_t>(5, bBigEndian);
        }
        data += '\x03';
        for (int32_t corner : {0, 1, 2}) data += bytesOf(corner, bBigEndian);
        return data;
    };
    const std::vector<std::pair<std::string, std::string>> vFiles = {
        {"a.xyz", "0 0 0\n1 0 0 5\n0 1 0\n0 0 1\n2 2 2\n"},
        {"b.txt", "\t0\t0\t0\n+1 0 0\n0 +1.0 0\n0 0 1e0\n2 2 2\r\n"},
        {"c.csv", "x,y,z\n0,0,0\n1,0,0\n0,1,0\n0,0,1\n2,2,2\n"},
        {"d.pts", "5\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n2 2 2\n"},
        {"e.off", "COFF\n# colours follow the coordinates\n5 1 0\n0 0 0 1 1 1 1\n1 0 0 1 1 1 1\n0 1 0 1 1 1 1\n"
                  "0 0 1 1 1 1 1\n2 2 2 1 1 1 1\n3 0 1 2\n"},
        {"f.obj", "o thing\nv 0 0 0\nv 1 0 0\nvn 0 0 1\nv 0 1 0\nvt 0.5 0.5\nv 0 0 1\nv 2 2 2 1.0\nf 1 2 3\n"},
        {"g.node", "# points\n5 3 1 1\n1 0 0 0 9.5 1\n2 1 0 0 9.5 1\n3 0 1 0 9.5 0\n4 0 0 1 9.5 0\n5 2 2 2 9.5 1\n"},
        {"h.ply", plyHeader("ascii", 5, "double", true) + "7 0 0 0 2 -1 5\n7 1 0 0 0\n7 0 1 0 1 3\n7 0 0 1 0\n7 2 2 2 0\n3 0 1 2\n"},
        {"i.ply", plyBinary(false, "float")},
        {"j.ply", plyBinary(true, "double")},
        {"k.PLY", plyBinary(true, "float")},
    };
    const std::set<Coordinates> expected(twoTetCorners.begin(), twoTetCorners.end());
    std::string firstElements;
    for (const auto& [name, content] : vFiles) {
        SCOPED_TRACE(name);
        put(name, content);
        const CliResult result = run({name, "-o", "out.node"});
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(summaryNumber(result.out, "points read"), 5);
        EXPECT_EQ(nodeFilePoints((work / "out.node").string()), expected);
        // Same points in the same order: the same tetrahedra, to the byte.
        if (firstElements.empty()) firstElements = get("out.ele");
        EXPECT_EQ(get("out.ele"), firstElements);
    }
}

TEST_F(CliTest, RandomPointsAreReproducibleAndCountedExactly)
{
    const std::pair<const char*, const char*> aRuns[] = {{"7", "first.vtu"}, {"7", "again.vtu"}, {"8", "other.vtu"}};
    for (const auto& [seed, output] : aRuns) {
        const CliResult result = run({"--random", "101", "--seed", seed, "-o", output});
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(summaryNumber(result.out, "points read"), 101);
    }
    EXPECT_EQ(get("first.vtu"), get("again.vtu"));
    EXPECT_NE(get("first.vtu"), get("other.vtu"));
}

TEST_F(CliTest, SceneIsWrittenOnlyWithASuccessfulMesh)
{
    put("points.xyz", "0 0 0\n1 0 0\n0 1 0\n0 0 1\n2 2 2\n");
    const CliResult result = run({"points.xyz", "--scene", "mesh.list", "-o", "mesh.vtk"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(get("mesh.list").rfind("LIST", 0), 0u);
    EXPECT_EQ(listing(), (std::set<std::string>{"points.xyz", "mesh.list", "mesh.vtk"}));

    put("mesh.list", previousOutput);
    put("out.vtk", previousOutput);
    fs::create_directory(work / "taken.vtk");
    // The library cannot write the scene where the directory is missing: the command must stop first.
    expectRejected({"points.xyz", "--scene", "nodir/s.list", "-o", "out.vtk"}, "nodir/s.list: cannot create a file in nodir");
    expectRejected({"points.xyz", "--scene", "mesh.list", "-o", "taken.vtk"}, "taken.vtk: cannot replace");
    EXPECT_EQ(get("mesh.list"), previousOutput);
}
