#pragma once
// Console helpers shared by the whole library: error and warning lines, the banner, the library
// assertion (prints, then throws VeskException), the emergency stop, and index-range checks.
// Everything is written to standard output; nothing is filtered by verbosity.
#include <string>

#include "VeskException.h"

namespace VESK3D {

void error(const std::string& source, const std::string& message);
void warning(const std::string& source, const std::string& message);
void box(const std::string& message, bool flagA = false, bool flagB = false);

// Prints the two-line assertion picture for `condition` and throws VeskException.
[[noreturn]] void assertionFailed(const char* condition, const char* file, int line);

// Emergency stop for states where continuing would corrupt the mesh: prints the reason and dies
// on an access fault on purpose. It is deliberately not an exception.
void goToHell(const std::string& reason);

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
