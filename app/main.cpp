// vesk3d: reads or generates points, tetrahedralizes them with one batch insertion, and writes
// the mesh, with a short summary of what happened and how long each phase took.
#include <chrono>
#include <cstdio>
#include <iomanip>
#include <iostream>
#include <memory>
#include <new>

#include <Vesk_3D.h>

#include "AppErrors.h"
#include "CommandLine.h"
#include "LibraryMessages.h"
#include "MeshWriters.h"
#include "OutputFile.h"
#include "PointReaders.h"
#include "Progress.h"
#include "TetMesh.h"

using namespace vesk3dapp;

namespace {

class Stopwatch {
public:
    Stopwatch() : start(std::chrono::steady_clock::now()) {}
    double lap()
    {
        const auto now = std::chrono::steady_clock::now();
        const std::chrono::duration<double> elapsed = now - start;
        start = now;
        return elapsed.count();
    }

private:
    std::chrono::steady_clock::time_point start;
};

struct Summary {
    std::string input;
    size_t numPointsRead = 0;
    size_t numVertices = 0;
    size_t numTets = 0;
    size_t numHullFacets = 0;
    int numThreads = 1;
    std::string checkResult;
    double readSeconds = 0.0;
    double triangulateSeconds = 0.0;
    double checkSeconds = -1.0;
    double writeSeconds = -1.0;
};

void printSummary(const Summary& summary, const Options& options)
{
    auto line = [](const char* label) -> std::ostream& { return std::cout << std::left << std::setw(20) << label; };
    auto seconds = [&line](const char* label, double value) {
        line(label) << std::fixed << std::setprecision(3) << value << " s\n" << std::defaultfloat;
    };
    line("input") << summary.input << "\n";
    line("points read") << summary.numPointsRead << "\n";
    line("distinct vertices") << summary.numVertices << "\n";
    line("duplicates merged") << summary.numPointsRead - summary.numVertices << "\n";
    line("tetrahedra") << summary.numTets << "\n";
    line("hull facets") << summary.numHullFacets << "\n";
    line("threads") << summary.numThreads << "\n";
    if (options.bCheck) line("check") << summary.checkResult << "\n";
    const bool bWritten = summary.writeSeconds >= 0.0;
    if (bWritten && !options.outputPath.empty()) line("output") << options.outputPath << "\n";
    if (bWritten && !options.scenePath.empty()) line("scene") << options.scenePath << "\n";
    seconds("time read", summary.readSeconds);
    seconds("time triangulate", summary.triangulateSeconds);
    if (summary.checkSeconds >= 0.0) seconds("time check", summary.checkSeconds);
    if (summary.writeSeconds >= 0.0) seconds("time write", summary.writeSeconds);
    std::cout.flush();
}

std::vector<VESK3D::Point3> makeRandomPoints(const Options& options)
{
    // The generator hands back two points for every three requested.
    std::vector<VESK3D::Point3> vPoints;
    VESK3D::generateRandomPoints((options.numRandomPoints * 3 + 1) / 2, 0.0, 1000.0, vPoints, options.seed);
    vPoints.resize(options.numRandomPoints);
    return vPoints;
}

// The scene is written by the library under a temporary name and takes its final name only after
// the mesh file has been written too.
void writeOutputs(const Options& options, VESK3D::Vesk_3D& triangulation, const TetMesh& mesh, bool bProgress)
{
    std::unique_ptr<OutputFile> pScene;
    if (!options.scenePath.empty()) {
        pScene = std::make_unique<OutputFile>(options.scenePath);
        triangulation.show(pScene->handOverToNamedWriter(), nullptr);
    }
    if (!options.outputPath.empty()) writeMesh(options.outputPath, mesh, bProgress);
    if (pScene) pScene->commit();
}

int run(const Options& options)
{
    const bool bProgress = !options.bQuiet && progressAllowed();
    Summary summary;
    Stopwatch stopwatch;
    std::vector<std::string> vWarnings;
    std::vector<VESK3D::Point3> vPoints =
        options.inputPath.empty() ? makeRandomPoints(options) : readPoints(options.inputPath, bProgress, vWarnings);
    if (!options.bQuiet)
        for (const std::string& warning : vWarnings) std::cerr << "vesk3d: warning: " << warning << "\n";
    summary.input = options.inputPath.empty()
                        ? "--random " + std::to_string(options.numRandomPoints) + " --seed " + std::to_string(options.seed)
                        : options.inputPath;
    summary.numPointsRead = vPoints.size();
    summary.readSeconds = stopwatch.lap();

    LibraryMessages libraryMessages(options.bVerbose);
    try {
        VESK3D::Vesk_3D triangulation;
        triangulation.setVerbosity(options.bVerbose);
        triangulation.setNumThreads(options.numThreads);
        summary.numThreads = triangulation.getNumThreads();
        {
            ElapsedTicker ticker("triangulating", bProgress && vPoints.size() >= largePointCount);
            triangulation.insert(vPoints);
        }
        // The library holds its own copies of the vertices now.
        std::vector<VESK3D::Point3>().swap(vPoints);
        const TetMesh mesh = extractMesh(triangulation);
        summary.triangulateSeconds = stopwatch.lap();
        if (mesh.numTets() == 0)
            throw InputError(summary.input + ": no tetrahedron: fewer than four distinct points, or all of them in one plane");
        summary.numVertices = mesh.numVertices();
        summary.numTets = mesh.numTets();
        summary.numHullFacets = mesh.numHullFacets;

        if (options.bCheck) {
            const bool bValid = triangulation.checkValidity("vesk3d --check", true);
            summary.checkSeconds = stopwatch.lap();
            summary.checkResult = bValid ? "passed" : "FAILED";
            if (!bValid) {
                libraryMessages.showOnFailure();
                if (!options.bQuiet) printSummary(summary, options);
                std::cerr << "vesk3d: error: the validity check found a defect; nothing was written\n";
                return EXIT_INVALID_MESH;
            }
        }
        if (!options.outputPath.empty() || !options.scenePath.empty()) {
            writeOutputs(options, triangulation, mesh, bProgress);
            summary.writeSeconds = stopwatch.lap();
        }
    } catch (...) {
        libraryMessages.showOnFailure();
        throw;
    }
    if (!options.bQuiet) printSummary(summary, options);
    return EXIT_OK;
}

int reportError(const std::string& message)
{
    std::cout.flush();
    std::cerr << "vesk3d: error: " << message << "\n";
    return EXIT_FAILED;
}

} // namespace

int main(int argc, char* argv[])
{
    try {
        const Options options = parseCommandLine(argc, argv);
        if (options.bHelp) {
            std::cout << usageText();
            return EXIT_OK;
        }
        if (options.bVersion) {
            std::cout << "vesk3d (" << VESK3D::getVesk3DVersion() << ")\n";
            return EXIT_OK;
        }
        return run(options);
    } catch (const UsageError& e) {
        std::cerr << "vesk3d: " << e.what() << "\nTry 'vesk3d --help' for more information.\n";
        return EXIT_USAGE;
    } catch (const InputError& e) {
        return reportError(e.what());
    } catch (const OutputError& e) {
        return reportError(e.what());
    } catch (const VESK3D::VeskException& e) {
        return reportError("the triangulation failed the internal check '" + e.getCondition() + "' (" + e.getFile() + ":" +
                           std::to_string(e.getLine()) + ")");
    } catch (const std::bad_alloc&) {
        return reportError("out of memory");
    }
}
