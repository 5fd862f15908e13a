#pragma once
// Console helpers shared by the whole library: the message sink that receives every line the
// library prints, error and warning lines, the banner, the library assertion (prints, then throws
// VeskException), the ways the process is ended, and index-range checks.
#include <functional>
#include <ostream>
#include <string>

#include "VeskException.h"

namespace VESK3D {

// What a line of library output is: part of a failure report (error lines, assertions, the
// validity check's defect report and the dumps printed with them), a warning, progress or a result
// (the batch's point count, the validity check's header and verdict, timers, counters, scene
// files being written), or a dump the host asked for (print, debug).
enum MessageKind { MESSAGE_ERROR, MESSAGE_WARNING, MESSAGE_INFO, MESSAGE_DUMP };

// Receives each line the library prints, without its line end, with its kind.
using MessageSink = std::function<void(MessageKind kind, const std::string& line)>;

// Replaces the process-wide sink; an empty function restores the default, which writes every line
// to standard output exactly as the library always has (the two lines the library has always
// written to standard error, a triangle's failed corner lookup and the facet-index check of the
// predicates, still go there). The default sink writes each line whole, with its line end, and
// flushes. To drop everything, install a sink that does nothing.
//
// Threads: safe to call at any time. Code that prints nothing takes no lock. A line is delivered
// in the thread that printed it, outside every lock of the library, so with engines running in
// several threads the sink may be called from several threads at once: a sink that keeps state
// must guard it. A line already on its way while setMessageSink runs may still reach the previous
// sink, which is kept alive until that call returns; every line printed after setMessageSink
// returns reaches the new one. Each thread assembles its own lines, so lines of two threads never
// mix. The sink must not throw: an exception leaving it is swallowed, since lines are printed on
// paths that cannot pass it on (just before an exception of the library's own, or the end of the
// process). The library keeps the sink until it is replaced, to the end of the process: a host
// whose sink uses something that ends earlier (an interpreter, a logger) restores the default
// before that happens.
void setMessageSink(MessageSink sink);

// Library-internal output: text written to the returned stream (which has the number format of
// std::cout) goes to the sink line by line, each line with `kind` as soon as its line end is
// written. A line left unfinished stays pending in this thread until later text ends it, as it
// would on standard output.
std::ostream& messageStream(MessageKind kind);
// One whole line that the default sink writes to standard error instead of standard output.
void sendStandardErrorLine(MessageKind kind, const std::string& line);

void error(const std::string& source, const std::string& message);
void warning(const std::string& source, const std::string& message);
// The banner is sent as an error: the library frames its defect reports with it.
void box(const std::string& message, bool flagA = false, bool flagB = false);

// Prints the two-line assertion picture for `condition` and throws VeskException carrying the
// condition, the file and the line.
[[noreturn]] void assertionFailed(const char* condition, const char* file, int line);

// The library ends the process, instead of throwing, where a host that caught an exception would
// go on with a corrupt mesh or a pool that cannot serve it. Each place first prints why, through
// the sink, then calls one of these two:
// - goToHell(reason): a null start tetrahedron of the location walk or of a batch, or a null
//   corner of the orientation test. Prints the reason as an error line and dies on an access
//   fault on purpose, so that a debugger stops right there.
// - exitProcess(): exit status 1. Used when a pool runs out of memory or is set up twice, when a
//   scene file cannot be opened, when two tetrahedra that must share a facet do not, when a
//   tetrahedron is asked for a neighbour it does not have, and on a facet index out of range in
//   the predicates.
void goToHell(const std::string& reason);
[[noreturn]] void exitProcess();

inline bool range03(int i) { return i >= 0 && i < 4; }
inline bool range02(int i) { return i >= 0 && i < 3; }

} // namespace VESK3D

// The condition's source text is what the user sees, so call sites write it without blanks
// ("numStoredTCS==0"). Active in every build: a broken mesh must never pass silently.
#define VESK_ASSERT(condition)                                                  \
    do {                                                                        \
        if (__builtin_expect(!(condition), 0))                                  \
            ::VESK3D::assertionFailed(#condition, __FILE__, __LINE__);          \
    } while (0)
