#pragma once
// The failures that the command reports to the user; each kind has its own exit status so that
// scripts can tell a bad file from a bad command line.
#include <cstddef>
#include <stdexcept>
#include <string>

namespace vesk3dapp {

enum ExitStatus { EXIT_OK = 0, EXIT_FAILED = 1, EXIT_USAGE = 2, EXIT_INVALID_MESH = 3 };

// A bad command line: unknown option, missing value, unknown file extension.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// An input file that cannot be read or does not hold what its format promises.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// An output file that cannot be created or written.
struct OutputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "FILE:LINE: what", the form that editors and terminals turn into a link.
inline std::string atLine(const std::string& path, size_t line, const std::string& what)
{
    return path + ":" + std::to_string(line) + ": " + what;
}

inline InputError errorAtLine(const std::string& path, size_t line, const std::string& what)
{
    return InputError(atLine(path, line, what));
}

inline InputError errorAtByte(const std::string& path, size_t offset, const std::string& what)
{
    return InputError(path + ": byte " + std::to_string(offset) + ": " + what);
}

} // namespace vesk3dapp
