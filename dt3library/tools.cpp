#include "tools.h"

#include <iostream>

namespace VESK3D {

namespace {
void consoleLine(const std::string& source, const char* kind, const std::string& message)
{
    std::cout << std::endl << "      " << source << kind << message << std::endl;
}
} // namespace

void error(const std::string& source, const std::string& message)
{
    consoleLine(source, ", ERROR: ", message);
}

void warning(const std::string& source, const std::string& message)
{
    consoleLine(source, ", WARNING: ", message);
}

void box(const std::string& message, bool, bool)
{
    const std::string rule(message.size() + 36, '*');
    std::cout << "\n\n" + rule + "\n" + rule + "\n" + std::string(16, ' ') + message + "\n" + rule + "\n" + rule + "\n";
}

void assertionFailed(const char* condition, const char* file, int line)
{
    error("Vesk, ", std::string("Condition [ ") + condition + " failed ]");
    std::cout << "      " << file << ":" << line << std::endl;
    throw VeskException();
}

// The fault itself is the intended way to die, so the undefined-behaviour checker must not turn it
// into an ordinary exit.
__attribute__((no_sanitize("undefined"))) void goToHell(const std::string& reason)
{
    error("goToHell", " reason: " + reason);
    volatile int* volatile nowhere = nullptr;
    const int value = *nowhere;
    std::cout << value << std::endl;
}

} // namespace VESK3D
