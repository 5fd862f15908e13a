#include "CommandLine.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "AppErrors.h"
#include "MeshWriters.h"
#include "PointReaders.h"

namespace vesk3dapp {

namespace {

unsigned long long parseCount(const std::string& option, const std::string& text)
{
    unsigned long long value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (text.empty() || result.ec != std::errc() || result.ptr != end)
        throw UsageError(option + " needs a non-negative whole number, not '" + text + "'");
    return value;
}

class ArgumentList {
public:
    ArgumentList(int argc, const char* const* argv) : argc(argc), argv(argv), next(1) {}
    bool done() const { return next >= argc; }
    std::string take() { return argv[next++]; }
    std::string valueOf(const std::string& option)
    {
        if (done()) throw UsageError(option + " needs a value");
        return take();
    }

private:
    int argc;
    const char* const* argv;
    int next;
};

void checkFileNames(const Options& options)
{
    const bool bRandom = options.numRandomPoints > 0;
    if (bRandom && !options.inputPath.empty())
        throw UsageError("give either an input file or --random, not both");
    if (!bRandom && options.inputPath.empty()) throw UsageError("no input: give a point file or --random N");
    if (!options.inputPath.empty() && !isReadableExtension(lowerCaseExtension(options.inputPath)))
        throw UsageError("cannot read '" + options.inputPath + "': unknown extension (known: " +
                         readableExtensions() + ")");
    if (!options.outputPath.empty() && !isWritableExtension(lowerCaseExtension(options.outputPath)))
        throw UsageError("cannot write '" + options.outputPath + "': unknown extension (known: " +
                         writableExtensions() + ")");
}

} // namespace

std::string lowerCaseExtension(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    std::string extension = path.substr(dot);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

Options parseCommandLine(int argc, const char* const* argv)
{
    Options options;
    bool bSeedGiven = false;
    ArgumentList arguments(argc, argv);
    while (!arguments.done()) {
        const std::string argument = arguments.take();
        if (argument == "-h" || argument == "--help") {
            options.bHelp = true;
        } else if (argument == "--version") {
            options.bVersion = true;
        } else if (argument == "-q" || argument == "--quiet") {
            options.bQuiet = true;
        } else if (argument == "-v" || argument == "--verbose") {
            options.bVerbose = true;
        } else if (argument == "--check") {
            options.bCheck = true;
        } else if (argument == "-o" || argument == "--output") {
            options.outputPath = arguments.valueOf(argument);
        } else if (argument == "--scene") {
            options.scenePath = arguments.valueOf(argument);
        } else if (argument == "--random") {
            options.numRandomPoints = parseCount(argument, arguments.valueOf(argument));
            if (options.numRandomPoints == 0) throw UsageError("--random needs at least one point");
        } else if (argument == "--threads") {
            const unsigned long long numThreads = parseCount(argument, arguments.valueOf(argument));
            if (numThreads == 0 || numThreads > 1024) throw UsageError("--threads must lie in 1..1024");
            options.numThreads = static_cast<int>(numThreads);
        } else if (argument == "--seed") {
            const unsigned long long seed = parseCount(argument, arguments.valueOf(argument));
            // Seed 0 would ask the generator for a clock-based sequence: not reproducible.
            if (seed == 0 || seed > 0xffffffffull) throw UsageError("--seed must lie in 1..4294967295");
            options.seed = static_cast<unsigned>(seed);
            bSeedGiven = true;
        } else if (argument.size() > 1 && argument[0] == '-') {
            throw UsageError("unknown option '" + argument + "'");
        } else if (!options.inputPath.empty()) {
            throw UsageError("more than one input file ('" + options.inputPath + "', '" + argument +
                             "'); the output is given with -o");
        } else {
            options.inputPath = argument;
        }
    }
    if (options.bHelp || options.bVersion) return options;
    if (options.bQuiet && options.bVerbose) throw UsageError("give either --quiet or --verbose, not both");
    if (bSeedGiven && options.numRandomPoints == 0) throw UsageError("--seed only applies to --random");
    checkFileNames(options);
    return options;
}

std::string usageText()
{
    return "Usage: vesk3d [options] INPUT [-o OUTPUT]\n"
           "       vesk3d [options] --random N [--seed S] [-o OUTPUT]\n"
           "\n"
           "Computes the 3D Delaunay tetrahedralization of a point set.\n"
           "\n"
           "Input (chosen by extension): .xyz .txt .pts .csv (x y z per line), .ply (ascii or binary),\n"
           "  .off, .obj (their vertices), .node (TetGen). Duplicated points are merged.\n"
           "Output (chosen by extension): .vtk (VTK legacy), .vtu (VTK XML), .mesh (Medit),\n"
           "  .msh (Gmsh 4.1), .node (TetGen, with the .ele file beside it).\n"
           "\n"
           "Options:\n"
           "  -o, --output FILE   write the tetrahedra to FILE\n"
           "  --random N          triangulate N random points in the cube [0, 1000)^3\n"
           "  --seed S            seed of --random, 1..4294967295 (default 1)\n"
           "  --threads N         insert with N threads (default: all cores); the mesh is the same for\n"
           "                      every N from 2 on, and N = 1 is the sequential engine\n"
           "  --check             verify the triangulation (orientation and empty spheres); fail if broken\n"
           "  --scene FILE        also write the mesh as an OOGL scene (.list) for a 3D viewer\n"
           "  -q, --quiet         print nothing but errors (no summary, no warnings)\n"
           "  -v, --verbose       also show the library's own messages (on standard error)\n"
           "  -h, --help          show this text\n"
           "  --version           show the library version\n"
           "\n"
           "Exit status: 0 success, 1 unreadable or malformed input or unwritable output,\n"
           "  2 bad command line, 3 the check found a defect.\n"
           "The summary goes to standard output; warnings, errors and progress to standard error.\n"
           "An existing output file is replaced only when the whole run succeeds.\n";
}

} // namespace vesk3dapp
