#pragma once
// Work spread over threads of their own for the engine's batch steps: tasks claimed in order from
// a counter, the caller waiting, and a worker's exception passed back to the caller; and a radix
// sort built on them.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <exception>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace VESK3D {

// Elements per task of a step split over threads: enough that a task outweighs handing it out, and
// that a step on a small batch stays on the calling thread.
constexpr size_t elementsPerTask = 65536;

// Runs work(worker, task) for tasks 0..numTasks-1 on up to numWorkers threads of their own, which
// claim tasks in order from a counter; the caller waits (for one worker or one task, the caller
// does the work itself). After every thread is joined, the exception of the lowest failing task
// is rethrown here; a failure stops the claiming of tasks.
template <class Work>
void runTasks(int numWorkers, size_t numTasks, Work& work)
{
    std::atomic<size_t> nextTask{0};
    std::atomic<bool> bFailed{false};
    std::vector<std::exception_ptr> vErrors(numTasks);
    auto serve = [&](int worker) {
        for (size_t task; !bFailed.load() && (task = nextTask.fetch_add(1)) < numTasks;) {
            try {
                work(worker, task);
            } catch (...) {
                vErrors[task] = std::current_exception();
                bFailed = true;
            }
        }
    };
    const size_t numThreads = std::min<size_t>(std::max(numWorkers, 1), numTasks);
    std::vector<std::thread> vThreads;
    try {
        for (size_t worker = 0; worker < numThreads && numThreads > 1; ++worker) vThreads.emplace_back(serve, static_cast<int>(worker));
    } catch (const std::system_error&) {
        // Fewer threads than asked for: the ones running do all the tasks.
    }
    if (vThreads.empty()) serve(0);
    for (std::thread& thread : vThreads) thread.join();
    for (const std::exception_ptr& error : vErrors)
        if (error) std::rethrow_exception(error);
}

// Calls visit(i) for every i in [0, n), in tasks of elementsPerTask consecutive indices on up to
// numWorkers threads.
template <class Visit>
void forEachIndexOnThreads(int numWorkers, size_t n, Visit visit)
{
    auto visitChunk = [&](int /*worker*/, size_t task) {
        const size_t end = std::min(n, (task + 1) * elementsPerTask);
        for (size_t i = task * elementsPerTask; i < end; ++i) visit(i);
    };
    runTasks(numWorkers, (n + elementsPerTask - 1) / elementsPerTask, visitChunk);
}

// Sorts v by keyOf(element), an unsigned key below 2^numBits, keeping the order of equal keys: a
// radix sort of nine bits a pass, least significant first, on up to numWorkers threads. Each pass
// counts the chunks' keys side by side, then scatters the chunks side by side; the result is the
// one stable order, whatever the number of threads. The scratch copy is default-initialised, which
// leaves pointers and types like HC3's candidates unwritten: its pages are first touched by the
// scattering threads rather than zeroed by the caller.
template <class T, class KeyOf>
void radixSortOnThreads(std::vector<T>& v, KeyOf keyOf, unsigned numBits, int numWorkers)
{
    constexpr unsigned bitsPerPass = 9;
    constexpr size_t numBuckets = size_t(1) << bitsPerPass;
    const size_t n = v.size();
    const size_t numChunks = std::max<size_t>(1, std::min<size_t>(std::max(numWorkers, 1), n / elementsPerTask));
    const size_t chunk = (n + numChunks - 1) / numChunks;
    const auto chunkEnd = [n, chunk](size_t c) { return std::min(n, (c + 1) * chunk); };
    const std::unique_ptr<T[]> pScratch(new T[n]);
    T* pFrom = v.data();
    T* pTo = pScratch.get();
    std::vector<std::array<size_t, numBuckets>> vNext(numChunks);
    for (unsigned shift = 0; shift < numBits; shift += bitsPerPass) {
        const auto bucketOf = [&keyOf, shift](const T& element) { return keyOf(element) >> shift & (numBuckets - 1); };
        auto count = [&](int /*worker*/, size_t c) {
            vNext[c].fill(0);
            for (size_t i = c * chunk; i < chunkEnd(c); ++i) ++vNext[c][bucketOf(pFrom[i])];
        };
        runTasks(numWorkers, numChunks, count);
        // Where each chunk's share of each bucket starts: buckets in order, chunks in order within.
        size_t first = 0;
        for (size_t bucket = 0; bucket < numBuckets; ++bucket)
            for (std::array<size_t, numBuckets>& next : vNext) first += std::exchange(next[bucket], first);
        auto scatter = [&](int /*worker*/, size_t c) {
            for (size_t i = c * chunk; i < chunkEnd(c); ++i) pTo[vNext[c][bucketOf(pFrom[i])]++] = pFrom[i];
        };
        runTasks(numWorkers, numChunks, scatter);
        std::swap(pFrom, pTo);
    }
    if (pFrom != v.data()) std::copy(pFrom, pFrom + n, v.data());
}

} // namespace VESK3D
