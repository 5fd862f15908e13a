#include "timers.h"

#include <chrono>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <map>

#include "tools.h"

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
        messageStream(MESSAGE_INFO) << "\n*** Timer [" << name << "] start" << std::endl;
        return -1.0;
    }
    const double ticksPerSecond = static_cast<double>(Clock::period::den) / static_cast<double>(Clock::period::num);
    const double elapsed = static_cast<double>(clockTicks() - itStart->second) / ticksPerSecond;
    messageStream(MESSAGE_INFO) << "*** Timer [" << name << "] stop, elapsed time: " << std::fixed << std::setprecision(3)
                                << elapsed << " s\n"
                                << std::endl;
    // Fixed notation is left switched on for later output on purpose, the library's messages
    // included (they follow the number format of std::cout); only the precision is restored.
    std::cout << std::fixed;
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
    std::ostream& out = messageStream(MESSAGE_INFO);
    out << "\nCounters: \n";
    for (const auto& nameCount : mCounts)
        out << nameCount.first << '\t' << nameCount.second << '\n';
}

} // namespace VESK3D
