#pragma once
// A one-line progress display on standard error. It shows only when standard error is a terminal
// and the work is large, so logs and pipes never receive it.
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

namespace vesk3dapp {

class Progress {
public:
    // total: the units of work (bytes, tetrahedra) of the phase.
    Progress(const char* phase, size_t total, bool bShown);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // Cheap enough for every line or record: prints only when the percentage changes.
    void update(size_t done)
    {
        if (bShown && done >= nextRedraw) redraw(done);
    }

private:
    void redraw(size_t done);

    const char* phase;
    size_t total;
    size_t nextRedraw;
    bool bShown;
};

// For a phase that reports nothing while it runs: shows the elapsed seconds from a helper thread.
class ElapsedTicker {
public:
    ElapsedTicker(const char* phase, bool bShown);
    ~ElapsedTicker();
    ElapsedTicker(const ElapsedTicker&) = delete;
    ElapsedTicker& operator=(const ElapsedTicker&) = delete;

private:
    void run();

    const char* phase;
    std::chrono::steady_clock::time_point start;
    std::mutex mutex;
    std::condition_variable stopped;
    bool bStop;
    std::thread ticker;
};

// True when progress lines may be drawn at all (standard error is a terminal).
bool progressAllowed();

// Inputs and meshes below these sizes finish too fast for a progress line to help.
constexpr size_t largeInputBytes = 16u << 20;
constexpr size_t largeMeshTets = 1000000;
constexpr size_t largePointCount = 100000;

} // namespace vesk3dapp
