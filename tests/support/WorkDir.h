#pragma once
// A scratch working directory for the tests that write scene and dump files, and the texts they compare.
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace VeskTest {

std::string readFile(const std::string& name);

// What the action prints on standard output, kept off the console.
std::string stdoutOf(const std::function<void()>& action);

// The line a failed library assertion prints for its condition.
std::string assertionLine(const std::string& condition);

// Expects the call to fail the library assertion on the condition.
void expectFailedAssertion(const std::function<void()>& call, const std::string& condition);

// Where the process-wide colour rotation of the scene writer stands.
int rotationCursor();

// What the value prints to a stream (for a pointer: its address).
template <class T>
std::string streamed(const T& value)
{
    std::ostringstream os;
    os << value;
    return os.str();
}

// Makes a fresh temporary directory the working directory for its lifetime, then restores the old
// one and removes the directory with everything written into it.
class TempWorkDir {
public:
    TempWorkDir();
    ~TempWorkDir();
    TempWorkDir(const TempWorkDir&) = delete;
    TempWorkDir& operator=(const TempWorkDir&) = delete;

    // Names of the regular files in the directory, sorted.
    std::vector<std::string> fileNames() const;

private:
    std::filesystem::path previousDir;
    std::filesystem::path tempDir;
};

} // namespace VeskTest
