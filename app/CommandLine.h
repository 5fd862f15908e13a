#pragma once
// The command line of vesk3d.
#include <cstddef>
#include <string>

namespace vesk3dapp {

struct Options {
    std::string inputPath;  // empty when the points are generated
    size_t numRandomPoints = 0;
    unsigned seed = 1;
    std::string outputPath;  // empty: triangulate and report only
    std::string scenePath;
    int numThreads = 0;  // 0: every hardware thread
    bool bCheck = false;
    bool bQuiet = false;
    bool bVerbose = false;  // the library's own lines on standard error
    bool bHelp = false;
    bool bVersion = false;
};

// Throws UsageError. File extensions are checked here, before any expensive work.
Options parseCommandLine(int argc, const char* const* argv);

std::string usageText();

// The extension of path in lower case, with its dot (".ply"), or "" when there is none.
std::string lowerCaseExtension(const std::string& path);

} // namespace vesk3dapp
