#include "Vesk_3D.h"

namespace VESK3D {

namespace {
constexpr int majorVersion = 0;
constexpr int minorVersion = 99;
constexpr int revision = 0;
#ifdef NDEBUG
constexpr bool releaseBuild = true;
constexpr const char* configurationText = "RELEASE";
#else
constexpr bool releaseBuild = false;
constexpr const char* configurationText = "DEBUG";
#endif

const std::string versionText = std::string("Vesk3D, ") + configurationText + ", v" + std::to_string(majorVersion) + "." +
                                std::to_string(minorVersion) + "." + std::to_string(revision);
} // namespace

int getMajorVersionNumber() { return majorVersion; }
int getMinorVersionNumber() { return minorVersion; }
int getRevisionNumber() { return revision; }
bool isRelease() { return releaseBuild; }
std::string getVesk3DVersion() { return versionText; }

} // namespace VESK3D
