#include "Progress.h"

#include <cstdio>
#include <unistd.h>

namespace vesk3dapp {

namespace {
void clearLine()
{
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}
} // namespace

bool progressAllowed()
{
    return isatty(STDERR_FILENO) == 1;
}

Progress::Progress(const char* phase, size_t total, bool bShown)
    : phase(phase), total(total), nextRedraw(0), bShown(bShown && total > 0)
{
}

Progress::~Progress()
{
    if (bShown) clearLine();
}

void Progress::redraw(size_t done)
{
    const size_t percent = done >= total ? 100 : done * 100 / total;
    std::fprintf(stderr, "\r%s %3zu%%", phase, percent);
    std::fflush(stderr);
    nextRedraw = (percent + 1) * total / 100 + 1;
}

ElapsedTicker::ElapsedTicker(const char* phase, bool bShown)
    : phase(phase), start(std::chrono::steady_clock::now()), bStop(false)
{
    if (bShown) ticker = std::thread(&ElapsedTicker::run, this);
}

ElapsedTicker::~ElapsedTicker()
{
    if (!ticker.joinable()) return;
    {
        std::lock_guard<std::mutex> lock(mutex);
        bStop = true;
    }
    stopped.notify_one();
    ticker.join();
    clearLine();
}

void ElapsedTicker::run()
{
    std::unique_lock<std::mutex> lock(mutex);
    while (!stopped.wait_for(lock, std::chrono::milliseconds(500), [this] { return bStop; })) {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        std::fprintf(stderr, "\r%s %.1f s", phase, elapsed.count());
        std::fflush(stderr);
    }
}

} // namespace vesk3dapp
