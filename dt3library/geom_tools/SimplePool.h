#pragma once
// Typed bump allocator: records come from large raw containers and are never freed one by one.
// A reset makes every record free again at once; recycling single records is the owner's business.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

#include "tools.h"

namespace VESK3D {

namespace poolDetail {

// Prints the assertion picture and ends the process (exitProcess). The library assertion
// throws, but a pool that cannot serve requests (or was set up twice) leaves nothing an
// exception handler could sensibly continue with, so the exception is caught right here.
[[noreturn]] inline void dieAfterMessage(const char* source, const char* message)
{
    error(source, message);
    try {
        VESK_ASSERT(false);
    } catch (const VeskException&) {
    }
    exitProcess();
}

} // namespace poolDetail

template <class T>
class SimplePool {
public:
    SimplePool() = default;
    SimplePool(const SimplePool&) = delete;
    SimplePool& operator=(const SimplePool&) = delete;

    ~SimplePool()
    {
        if (vContainers.size() > 50)
            messageStream(MESSAGE_INFO) << "SimplePool::~SimplePool: Number of containers to release: " << vContainers.size()
                                        << std::endl;
        release();
    }

    // increaseSize < 0 selects automatic growth, which needs initialSize >= 2 (the second
    // container is half the first). Each container holds at most 100,000,000 bytes of records.
    void init(int initialSize_, int increaseSize_)
    {
        if (initialized)
            poolDetail::dieAfterMessage("SimplePool::init(..)", "This pool is already initialized");
        limit = static_cast<int>(100000000 / sizeof(T));
        if (limit == 1)
            messageStream(MESSAGE_WARNING) << "GeomPool::init(..), Warning: increaseLimit=1" << std::endl;
        initialSize = initialSize_;
        increaseSize = increaseSize_;
        openContainer(initialSize);
        initialized = true;
    }

    // Before init currentSize is -1, so the first request takes the slow path, which checks init.
    T* getNewRecord()
    {
        ++currentIndex;
        if (__builtin_expect(currentIndex < currentSize, 1))
            return pCurrent + currentIndex;
        return recordFromNewContainer();
    }

    // n consecutive records (n at most a container's limit) for a caller that hands them out
    // itself: the first run given back that is long enough, in pool order, or else the pool's next
    // records; the rest of a container too short for them is kept as a run given back.
    T* takeRun(int n)
    {
        // A longer run would never fit in a new container.
        VESK_ASSERT(n <= (increaseSize < 0 ? limit : increaseSize));
        for (auto pRun = vUnusedRuns.begin(); pRun != vUnusedRuns.end(); ++pRun) {
            if (pRun->numRecords < size_t(n)) continue;
            T* pFirst = pRun->pFirst;
            pRun->pFirst += n;
            pRun->position += n;
            pRun->numRecords -= n;
            if (pRun->numRecords == 0) vUnusedRuns.erase(pRun);
            return pFirst;
        }
        while (true) {
            int numGiven = 0;
            T* pFirst = getNewRecords(n, numGiven);
            if (numGiven == n) return pFirst;
            giveBackRun(pFirst, numGiven);
        }
    }

    // Records of a run from takeRun that were never written: forEachRecord skips them, and a later
    // takeRun hands them out again. Their pages stay untouched, so an unused run costs no memory.
    void giveBackRun(T* pFirst, int n)
    {
        if (n == 0) return;
        const UnusedRun run{getPosition(pFirst), pFirst, size_t(n)};
        auto pNext = std::upper_bound(vUnusedRuns.begin(), vUnusedRuns.end(), run,
                                      [](const UnusedRun& a, const UnusedRun& b) { return a.position < b.position; });
        pNext = vUnusedRuns.insert(pNext, run);
        // Neighbours in position and in memory (never across containers) become one run.
        if (pNext + 1 != vUnusedRuns.end() && pNext->isFollowedBy(*(pNext + 1))) {
            pNext->numRecords += (pNext + 1)->numRecords;
            vUnusedRuns.erase(pNext + 1);
        }
        if (pNext != vUnusedRuns.begin() && (pNext - 1)->isFollowedBy(*pNext)) {
            (pNext - 1)->numRecords += pNext->numRecords;
            vUnusedRuns.erase(pNext);
        }
    }

    void reset()
    {
        vUnusedRuns.clear();
        currentIndex = -1;
        if (noGrowth)
            return;
        for (size_t i = 1; i < vContainers.size(); ++i)
            freeContainer(vContainers[i]);
        vContainers.resize(1);
        vRangesByAddress.assign(1, ContainerRange{reinterpret_cast<std::uintptr_t>(vContainers.front()), 0, size_t(initialSize)});
        firstPositionOfCurrent = 0;
        pCurrent = vContainers.front();
        currentSize = initialSize;
        noGrowth = true;
    }

    // Visits every record handed out since construction or the last reset, in allocation order,
    // except the runs given back.
    template <class Visitor>
    void forEachRecord(Visitor visit) const
    {
        forEachRecordAt([&visit](T* pRecord, size_t) { visit(pRecord); });
    }

    // The same, with each record's position (runs given back leave gaps in the positions).
    template <class Visitor>
    void forEachRecordAt(Visitor visit) const
    {
        const size_t numContainers = vContainers.size();
        auto pRun = vUnusedRuns.begin();
        size_t position = 0;
        for (size_t i = 0; i < numContainers; ++i) {
            T* const pEnd = vContainers[i] + (i + 1 == numContainers ? currentIndex + 1 : containerSize(i));
            for (T* pRecord = vContainers[i]; pRecord < pEnd; ++pRecord, ++position) {
                if (pRun != vUnusedRuns.end() && pRun->position == position) {
                    pRecord += pRun->numRecords - 1;
                    position += pRun->numRecords - 1;
                    ++pRun;
                    continue;
                }
                visit(pRecord, position);
            }
        }
    }

    // Records handed out since construction or the last reset.
    size_t getNumRecords() const { return vContainers.empty() ? 0 : firstPositionOfCurrent + (currentIndex + 1); }

    // The position of a record handed out since the last reset, in forEachRecord's order. A binary
    // search over the few containers' address ranges: a dense array indexed by position can then
    // stand in for a hash map of records.
    size_t getPosition(const T* pRecord) const
    {
        const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(pRecord);
        const auto pAfter = std::upper_bound(vRangesByAddress.begin(), vRangesByAddress.end(), address,
                                             [](std::uintptr_t a, const ContainerRange& range) { return a < range.begin; });
        size_t position = SIZE_MAX;
        if (pAfter != vRangesByAddress.begin()) {
            const ContainerRange& range = *(pAfter - 1);
            const size_t offset = (address - range.begin) / sizeof(T);
            if (offset < range.numRecords) position = range.firstPosition + offset;
        }
        const bool bHandedOut = position < getNumRecords();
        VESK_ASSERT(bHandedOut);
        return position;
    }

    // Read-only views for diagnostics and tests. Sizes keep their history across resets.
    size_t getNumContainers() const { return vContainers.size(); }
    const std::vector<int>& getContainerSizes() const { return vSizes; }

private:
    // Up to n (at least one) consecutive records: as many as the current container still holds,
    // after opening a new one when it is full.
    T* getNewRecords(int n, int& numGiven)
    {
        T* pFirst = getNewRecord();
        numGiven = std::min(n, currentSize - currentIndex);
        currentIndex += numGiven - 1;
        return pFirst;
    }

    __attribute__((noinline)) T* recordFromNewContainer()
    {
        VESK_ASSERT(initialized);
        openContainer(increaseSize);
        ++currentIndex;
        noGrowth = false;
        return pCurrent;
    }

    // The containers opened since the last reset are the last entries of the size history.
    int containerSize(size_t i) const
    {
        return i == 0 ? initialSize : vSizes[vSizes.size() - vContainers.size() + i];
    }

    void openContainer(int n)
    {
        if (n < 0) {
            VESK_ASSERT(!vSizes.empty());
            VESK_ASSERT(vSizes.back()>0);
            n = vSizes.size() == 1 ? vSizes.back() / 2 : vSizes.back() * 2;
            n = n < limit ? n : limit;
        }
        // An empty container would hand out memory past its end.
        VESK_ASSERT(n>0);
        vSizes.push_back(n);
        // Cache-line aligned, so that records of a line's size never straddle two lines.
        T* pBlock = static_cast<T*>(::operator new(static_cast<size_t>(n) * sizeof(T), cacheLine, std::nothrow));
        if (pBlock == nullptr)
            poolDetail::dieAfterMessage("SimplePool::alloc(..)", "Out of memory, sorry");
        vContainers.push_back(pBlock);
        addRange(pBlock, n);
        pCurrent = pBlock;
        currentSize = n;
        currentIndex = -1;
    }

    // The new container's records follow those of the full current one.
    void addRange(T* pBlock, int n)
    {
        firstPositionOfCurrent = vContainers.size() == 1 ? 0 : firstPositionOfCurrent + size_t(currentSize);
        const ContainerRange range{reinterpret_cast<std::uintptr_t>(pBlock), firstPositionOfCurrent, size_t(n)};
        vRangesByAddress.insert(std::upper_bound(vRangesByAddress.begin(), vRangesByAddress.end(), range,
                                                 [](const ContainerRange& a, const ContainerRange& b) { return a.begin < b.begin; }),
                                range);
    }

    void release()
    {
        vUnusedRuns.clear();
        for (T* pBlock : vContainers)
            freeContainer(pBlock);
        noGrowth = true;
        vContainers.clear();
        vRangesByAddress.clear();
    }

    static void freeContainer(T* pBlock) { ::operator delete(pBlock, cacheLine); }

    static constexpr std::align_val_t cacheLine{64};

    struct ContainerRange {
        std::uintptr_t begin;
        size_t firstPosition;
        size_t numRecords;
    };

    struct UnusedRun {
        size_t position;
        T* pFirst;
        size_t numRecords;
        bool isFollowedBy(const UnusedRun& next) const
        {
            return position + numRecords == next.position && pFirst + numRecords == next.pFirst;
        }
    };

    std::vector<T*> vContainers;
    // Sorted by position.
    std::vector<UnusedRun> vUnusedRuns;
    std::vector<ContainerRange> vRangesByAddress;
    size_t firstPositionOfCurrent = 0;
    std::vector<int> vSizes;
    T* pCurrent = nullptr;
    int currentIndex = -1;
    int currentSize = -1;
    int initialSize = -1;
    int increaseSize = -1;
    // Named without the flag prefix: the failed assertion must read "initialized".
    bool initialized = false;
    bool noGrowth = true;
    int limit = -1;
};

} // namespace VESK3D
