#include <SimplePool.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <unistd.h>
#include <vector>

#include "WorkDir.h"

#if defined(__SANITIZE_ADDRESS__)
// Lets an impossible allocation come back as null, as it does without the sanitizer, so that
// the pool's own out-of-memory path is what gets tested.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
#endif

using namespace VESK3D;

namespace {

// Counts constructor runs: the pool hands out raw memory and must never construct records.
struct Counted {
    static int numConstructed;
    Counted() { ++numConstructed; }
    double payload[5];
};
int Counted::numConstructed = 0;

template <class T>
std::vector<T*> requestRecords(SimplePool<T>& pool, int n)
{
    std::vector<T*> vRecords;
    for (int i = 0; i < n; ++i) vRecords.push_back(pool.getNewRecord());
    return vRecords;
}

// Requests are served in order from contiguous containers, and no two records overlap. The number
// of places where a record does not directly follow its predecessor is the number of containers - 1.
void expectContiguousDisjointRecords(const std::vector<Counted*>& vRecords, size_t numContainers)
{
    size_t numJumps = 0;
    for (size_t i = 1; i < vRecords.size(); ++i) numJumps += vRecords[i] != vRecords[i - 1] + 1;
    EXPECT_EQ(numJumps + 1, numContainers);

    std::vector<std::uintptr_t> vAddresses;
    for (Counted* p : vRecords) vAddresses.push_back(reinterpret_cast<std::uintptr_t>(p));
    std::sort(vAddresses.begin(), vAddresses.end());
    for (size_t i = 1; i < vAddresses.size(); ++i)
        ASSERT_GE(vAddresses[i] - vAddresses[i - 1], sizeof(Counted)) << "records overlap";
}

} // namespace

// Container sizes after a number of requests, with a reset in between where asked for.
TEST(SimplePool, GrowthOfContainersAndResets)
{
    const struct {
        int initialSize, increase, numRequests, numAfterReset;
        std::vector<int> sizes;
    } cases[] = {
        {28, -1, 28, 0, {28}},                       // automatic growth halves once, then doubles
        {28, -1, 29, 0, {28, 14}},
        {28, -1, 43, 0, {28, 14, 28}},
        {28, -1, 127, 0, {28, 14, 28, 56, 112}},
        {1024, 512, 2049, 0, {1024, 512, 512, 512}}, // fixed growth
        {28, -1, 43, 29, {28, 14, 28, 56}},          // after a reset, growth continues from the last size
        {1024, 512, 1100, 1025, {1024, 512, 512}},   // a reset keeps only the first container
        {16, -1, 10, 10, {16}},                      // a reset without overflow only rewinds
    };
    for (const auto& c : cases) {
        Counted::numConstructed = 0;
        SimplePool<Counted> pool;
        pool.init(c.initialSize, c.increase);
        std::vector<Counted*> vRecords = requestRecords(pool, c.numRequests);
        expectContiguousDisjointRecords(vRecords, pool.getNumContainers());
        if (c.numAfterReset > 0) {
            pool.reset();
            const std::vector<Counted*> vAgain = requestRecords(pool, c.numAfterReset);
            const size_t numReused = std::min<size_t>(vAgain.size(), c.initialSize);
            EXPECT_TRUE(std::equal(vAgain.begin(), vAgain.begin() + numReused, vRecords.begin())) << "restarts at the first record";
        }
        EXPECT_EQ(pool.getContainerSizes(), c.sizes) << c.initialSize << " " << c.numRequests << " " << c.numAfterReset;
        EXPECT_EQ(Counted::numConstructed, 0);
    }
}

// The memory of these records is never touched.
TEST(SimplePool, AutomaticGrowthIsCappedAtOneHundredMillionBytesPerContainer)
{
    struct Huge {
        char bytes[25000000]; // at most 4 per container
    };
    SimplePool<Huge> pool;
    pool.init(2, -1);
    requestRecords(pool, 2 + 1 + 2 + 4 + 1);
    EXPECT_EQ(pool.getContainerSizes(), std::vector<int>({2, 1, 2, 4, 4}));
    struct Giant {
        char bytes[60000000]; // a limit of one record is warned about
    };
    SimplePool<Giant> giants;
    EXPECT_EQ(VeskTest::stdoutOf([&] { giants.init(2, -1); }), "GeomPool::init(..), Warning: increaseLimit=1\n");
}

TEST(SimplePool, PositionsFollowTheRequestOrderAcrossContainersAndResets)
{
    SimplePool<Counted> pool;
    pool.init(3, -1);
    for (int numRequests : {700, 2, 90}) {
        const std::vector<Counted*> vRecords = requestRecords(pool, numRequests);
        ASSERT_EQ(pool.getNumRecords(), vRecords.size());
        for (size_t i = 0; i < vRecords.size(); ++i) ASSERT_EQ(pool.getPosition(vRecords[i]), i);
        // A record not handed out yet, and one from elsewhere, have no position.
        VeskTest::expectFailedAssertion([&] { pool.getPosition(vRecords.back() + 1); }, "bHandedOut");
        const Counted stranger;
        VeskTest::expectFailedAssertion([&] { pool.getPosition(&stranger); }, "bHandedOut");
        pool.reset();
        EXPECT_EQ(pool.getNumRecords(), 0u);
    }
}

TEST(SimplePool, DestructionReportsOnlyMoreThanFiftyContainers)
{
    for (int numContainers : {50, 51}) {
        const std::string printed = VeskTest::stdoutOf([&] {
            SimplePool<Counted> pool;
            pool.init(1, 1);
            requestRecords(pool, numContainers);
            ASSERT_EQ(pool.getNumContainers(), static_cast<size_t>(numContainers));
        });
        EXPECT_EQ(printed, numContainers > 50 ? "SimplePool::~SimplePool: Number of containers to release: 51\n" : "");
    }
}

TEST(SimplePool, RequestBeforeInitAndAnEmptyContainerFailTheAssertion)
{
    SimplePool<Counted> uninitialised, single;
    // Automatic growth from a single record would halve to an empty second container.
    single.init(1, -1);
    single.getNewRecord();
    VeskTest::expectFailedAssertion([&] { uninitialised.getNewRecord(); }, "initialized");
    VeskTest::expectFailedAssertion([&] { single.getNewRecord(); }, "n>0");
}

TEST(SimplePoolDeathTest, FatalStatesPrintAndExitWithCodeOne)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    // The messages go to standard output; the child sends it to standard error for the matcher.
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            SimplePool<Counted> pool;
            pool.init(4, -1);
            pool.init(4, -1);
        },
        testing::ExitedWithCode(1),
        "\n      SimplePool::init\\(\\.\\.\\), ERROR: This pool is already initialized\n"
        "\n      Vesk, , ERROR: Condition \\[ false failed \\]\n      .*:[0-9]+\n");

    struct Block {
        char bytes[1 << 20];
    };
    EXPECT_EXIT(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            SimplePool<Block> pool;
            pool.init(1 << 30, -1);
        },
        testing::ExitedWithCode(1),
        "\n      SimplePool::alloc\\(\\.\\.\\), ERROR: Out of memory, sorry\n"
        "\n      Vesk, , ERROR: Condition \\[ false failed \\]\n");
}

// Runs are for callers that hand records out themselves (threads, each with its own run). The
// records of a run given back are never visited and are the first a later run of their size gets.
TEST(SimplePool, RunsGivenBackAreSkippedAndTakenAgainInPositionOrder)
{
    SimplePool<Counted> pool;
    pool.init(100, -1);
    std::vector<Counted*> vInUse = requestRecords(pool, 5);
    Counted* const pFirstRun = pool.takeRun(30);
    Counted* const pSecondRun = pool.takeRun(40);
    EXPECT_EQ(pSecondRun, pFirstRun + 30);
    // Given back out of order: the two halves and the second run's head become one run of 30.
    pool.giveBackRun(pFirstRun + 20, 10);
    pool.giveBackRun(pFirstRun + 10, 10);
    pool.giveBackRun(pSecondRun, 10);
    // The container's last 25 records are too few for 31: they are given back, and a new container serves.
    Counted* const pThirdRun = pool.takeRun(31);
    EXPECT_EQ(pool.getNumContainers(), 2u);
    EXPECT_EQ(pool.takeRun(30), pFirstRun + 10);
    EXPECT_EQ(pool.takeRun(25), pSecondRun + 40);
    // Every record of the first container is in use again, and the third run's in the second.
    for (int i = 0; i < 95; ++i) vInUse.push_back(pFirstRun + i);
    for (int i = 0; i < 31; ++i) vInUse.push_back(pThirdRun + i);

    std::vector<Counted*> vVisited;
    pool.forEachRecord([&](Counted* p) { vVisited.push_back(p); });
    std::sort(vInUse.begin(), vInUse.end(), [&](Counted* a, Counted* b) { return pool.getPosition(a) < pool.getPosition(b); });
    EXPECT_EQ(vVisited, vInUse);
    // Positions skip the runs given back (regression: an export counted visits instead).
    pool.forEachRecordAt([&](Counted* p, size_t position) { EXPECT_EQ(position, pool.getPosition(p)); });
    pool.reset();
    vVisited.clear();
    pool.forEachRecord([&](Counted* p) { vVisited.push_back(p); });
    EXPECT_TRUE(vVisited.empty());
}
