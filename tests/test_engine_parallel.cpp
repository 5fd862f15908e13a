// Batch insertion on several threads: every input family gives a mesh that the exact checker
// accepts, in general position the sequential engine's tetrahedra, the same tetrahedra in the same
// listing order for every thread count and every run, and a failure inside a worker reaches the
// caller as the library's exception.
#include <algorithm>
#include <array>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <Vesk_3D.h>

#include "InputFamilies.h"
#include "MeshBuilder.h"
#include "MeshChecker.h"

using namespace VeskTest;
using VESK3D::Point3;
using VESK3D::Tet3;

namespace {

// Levels of at least 16,384 points run on threads: the last level of each batch here is above that.
constexpr int batchSize = 40000;
constexpr int threadCounts[] = {2, 3, 4, 8};

// How the points reach the triangulation: the parallel path serves batch insertions only, into an
// empty engine or one that holds points already.
enum class Pattern { OneBatch, SinglesThenBatches };

BuiltMesh build(const Points& vPoints, Pattern pattern, int numThreads)
{
    BuiltMesh mesh;
    mesh.dt->setNumThreads(numThreads);
    if (pattern == Pattern::OneBatch) {
        EXPECT_TRUE(insertPoints(mesh, vPoints, InsertMode::Batch, 1));
        return mesh;
    }
    // Single points, a batch large enough for the threads, and a small one that is not.
    const size_t numSingles = 200, numLast = 2000;
    const auto at = [&](size_t k) { return vPoints.begin() + static_cast<std::ptrdiff_t>(k); };
    EXPECT_TRUE(insertPoints(mesh, Points(at(0), at(numSingles)), InsertMode::Singles, 1));
    EXPECT_TRUE(insertPoints(mesh, Points(at(numSingles), at(vPoints.size() - numLast)), InsertMode::BatchHandles, 1));
    EXPECT_TRUE(insertPoints(mesh, Points(at(vPoints.size() - numLast), vPoints.end()), InsertMode::Batch, 1));
    return mesh;
}

// The tetrahedra as sets of corners, whatever the corner order and the listing order.
std::set<std::set<std::array<double, 3>>> cornerSets(const Listing& vListed)
{
    std::set<std::set<std::array<double, 3>>> tets;
    for (const auto& c : vListed)
        tets.insert({{c[0], c[1], c[2]}, {c[3], c[4], c[5]}, {c[6], c[7], c[8]}, {c[9], c[10], c[11]}});
    return tets;
}

} // namespace

// The checker judges the mesh of two threads; every other count, and a second run, must list the
// very same tetrahedra in the very same order, so the verdict holds for them too.
// The families take turns with the two insertion patterns, which keeps the run short.
TEST(EngineParallel, EveryFamilyGivesOneValidMeshListedAlikeForEveryThreadCount)
{
    const std::vector<Family>& vFamilies = allFamilies();
    for (size_t f = 0; f < vFamilies.size(); ++f) {
        const Pattern pattern = f % 2 == 0 ? Pattern::OneBatch : Pattern::SinglesThenBatches;
        const Points vPoints = vFamilies[f].make(batchSize + 2200, 21);
        const std::string name = vFamilies[f].name + (pattern == Pattern::OneBatch ? ", one batch" : ", singles then batches");
        const BuiltMesh reference = build(vPoints, pattern, threadCounts[0]);
        EXPECT_TRUE(checkMesh(reference)) << name;
        const Listing expected = listing(*reference.dt);
        // Where the Delaunay tetrahedralization is unique, the sequential engine must find the same.
        if (std::set<std::string>{"uniformCube", "gaussianClusters", "nearSphere"}.count(vFamilies[f].name))
            EXPECT_EQ(cornerSets(listing(*build(vPoints, pattern, 1).dt)), cornerSets(expected)) << name;
        for (int numThreads : threadCounts)
            EXPECT_EQ(listing(*build(vPoints, pattern, numThreads).dt), expected) << name << ", threads " << numThreads;
    }
}

// A tetrahedron marked as removed, in the middle of the second batch's points, breaks the gluing of
// the cavity next to it. The worker that meets it prints the failed condition from its own thread,
// and the caller receives the exception once the workers are joined.
TEST(EngineParallel, AFailureInsideAWorkerReachesTheCaller)
{
    VESK3D::Vesk_3D dt;
    dt.setNumThreads(2);
    std::vector<Point3> vFirst = uniformCube(batchSize, 41), vSecond = uniformCube(batchSize, 42);
    std::mutex mutex;
    std::vector<std::thread::id> vFailingThreads;
    VESK3D::setMessageSink([&](VESK3D::MessageKind, const std::string& line) {
        std::lock_guard<std::mutex> lock(mutex);
        if (line.find("Condition [ ") != std::string::npos) vFailingThreads.push_back(std::this_thread::get_id());
    });
    dt.insert(vFirst);
    Tet3* pMarked = dt.locate(Point3(0.3, 0.6, 0.4));
    ASSERT_NE(pMarked, nullptr);
    pMarked->hasBeenVisited = true;
    EXPECT_THROW(dt.insert(vSecond), VESK3D::VeskException);
    VESK3D::setMessageSink(nullptr);
    ASSERT_EQ(vFailingThreads.size(), 1u);
    EXPECT_NE(vFailingThreads.front(), std::this_thread::get_id());
}

// Engines share nothing but the process-wide label counter, from which threaded ones reserve
// ranges per round: two engines in two threads, sequential or each with workers of its own, build
// what each builds alone (regression: a racy counter once let a thread's labels run backwards,
// which reordered the hull facets a vertex sees).
TEST(EngineParallel, TwoEnginesInTwoThreadsBuildWhatEachBuildsAlone)
{
    const Points vFirst = uniformCube(batchSize, 51), vSecond = withDuplicates(gaussianClusters(batchSize, 52), 53, 0.1);
    // Standard output cannot be captured from two threads: the engines' lines go to a sink instead.
    VESK3D::setMessageSink([](VESK3D::MessageKind, const std::string&) {});
    for (int numThreads : {1, 3}) {
        const auto alone = [numThreads](const Points& vPoints) {
            VESK3D::Vesk_3D dt;
            dt.setNumThreads(numThreads);
            Points vCopy = vPoints;
            dt.insert(vCopy);
            return listing(dt);
        };
        const Listing expectedFirst = alone(vFirst), expectedSecond = alone(vSecond);
        Listing first, second;
        std::thread other([&] { second = alone(vSecond); });
        first = alone(vFirst);
        other.join();
        EXPECT_EQ(first, expectedFirst) << numThreads << " threads";
        EXPECT_EQ(second, expectedSecond) << numThreads << " threads";
    }
    VESK3D::setMessageSink(nullptr);
}

TEST(EngineParallel, ThreadCountZeroMeansEveryHardwareThread)
{
    VESK3D::Vesk_3D dt;
    EXPECT_EQ(dt.getNumThreads(), 1);
    dt.setNumThreads(0);
    EXPECT_EQ(dt.getNumThreads(), static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
    EXPECT_THROW(dt.setNumThreads(-1), VESK3D::VeskException);
}
