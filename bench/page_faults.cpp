// What a fresh page costs on this machine: the seconds to first-touch 1 GiB of new memory, one
// byte a page, from 1 thread and split over 2; and, on Linux, to have the kernel populate the same
// amount in one call (MADV_POPULATE_WRITE), which the library cannot do with the standard library
// alone. Prints "touch1=<s> touch2=<s> populate=<s or ->".
#include <chrono>
#include <cstddef>
#include <iostream>
#include <memory>
#include <thread>
#include <vector>
#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace {

constexpr size_t numBytes = size_t(1) << 30;
constexpr size_t pageBytes = 4096;

double secondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double touchSeconds(int numThreads)
{
    const std::unique_ptr<char[]> pBlock(new char[numBytes]);
    const size_t share = numBytes / numThreads;
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> vThreads;
    for (int t = 0; t < numThreads; ++t)
        vThreads.emplace_back([&pBlock, share, t] {
            for (size_t i = t * share; i < (t + 1) * share; i += pageBytes) static_cast<volatile char*>(pBlock.get())[i] = 1;
        });
    for (std::thread& thread : vThreads) thread.join();
    return secondsSince(start);
}

double populateSeconds()
{
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
    void* pBlock = mmap(nullptr, numBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const auto start = std::chrono::steady_clock::now();
    const int result = madvise(pBlock, numBytes, MADV_POPULATE_WRITE);
    const double seconds = secondsSince(start);
    munmap(pBlock, numBytes);
    return result == 0 ? seconds : -1;
#else
    return -1;
#endif
}

} // namespace

int main()
{
    const double touch1 = touchSeconds(1), touch2 = touchSeconds(2), populate = populateSeconds();
    std::cout << "touch1=" << touch1 << " touch2=" << touch2 << " populate=";
    if (populate < 0)
        std::cout << "-";
    else
        std::cout << populate;
    std::cout << std::endl;
    return 0;
}
