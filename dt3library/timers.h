#pragma once
// Process-wide named stopwatches and event counters for quick instrumentation; both print to
// the message sink (tools.h) and are not thread-safe.
#include <string>

namespace VESK3D {

// A toggle: the first call for a name starts its stopwatch and returns -1.0; the next call stops
// it, prints the elapsed time and returns it in seconds.
double timer(const std::string& name);

// Counts one event under name; the name "GETCOUNTERS" lists every count instead. Listing does
// not reset the counts.
void benchCounter(std::string& name);

} // namespace VESK3D
