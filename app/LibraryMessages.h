#pragma once
// Where the library's own lines go while the command runs. Standard output carries only the
// summary, so the lines are held back and dropped after a successful run; they are shown on
// standard error as they come with --verbose, and after the fact when the run fails, where they
// explain the failure (the library's own exits included).
#include <string>
#include <vector>

namespace vesk3dapp {

class LibraryMessages {
public:
    // Installs the library's message sink; the command runs the library in one thread.
    explicit LibraryMessages(bool bVerbose);
    // Restores the library's default sink.
    ~LibraryMessages();
    LibraryMessages(const LibraryMessages&) = delete;
    LibraryMessages& operator=(const LibraryMessages&) = delete;

    // Writes the lines held back so far to standard error.
    void showOnFailure();

private:
    bool bVerbose;
    std::vector<std::string> vHeld;
};

} // namespace vesk3dapp
