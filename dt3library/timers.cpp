#include "timers.h"

#include <chrono>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <map>

namespace VESK3D {

namespace {

using Clock = std::chrono::steady_clock;

std::map<std::string, int64_t>& timerStarts()
{
    static std::map<std::string, int64_t> mStarts;
    return mStarts;
}

int64_t clockTicks()
{
    return Clock::now().time_since_epoch().count();
}

} // namespace

double timer(const std::string& name)
{
    std::map<std::string, int64_t>& mStarts = timerStarts();
    const auto itStart = mStarts.find(name);
    if (itStart == mStarts.end()) {
        mStarts[name] = clockTicks();
        std::cout << "\n*** Timer [" << name << "] start" << std::endl;
        return -1.0;
    }
    const double ticksPerSecond = static_cast<double>(Clock::period::den) / static_cast<double>(Clock::period::num);
    const double elapsed = static_cast<double>(clockTicks() - itStart->second) / ticksPerSecond;
    // Fixed notation is left switched on for later output on purpose; only the precision is restored.
    std::cout << "*** Timer [" << name << "] stop, elapsed time: " << std::fixed << std::setprecision(3) << elapsed
              << " s\n"
              << std::endl;
    std::cout.precision(6);
    mStarts.erase(itStart);
    return elapsed;
}

void benchCounter(std::string& name)
{
    static std::map<std::string, int> mCounts;
    if (name != "GETCOUNTERS") {
        ++mCounts[name];
        return;
    }
    std::cout << "\nCounters: \n";
    for (const auto& nameCount : mCounts)
        std::cout << nameCount.first << '\t' << nameCount.second << '\n';
    std::cout << std::flush;
}

} // namespace VESK3D
