// Arbitrary bytes as a point file: the first byte picks the format, the rest is the file. A
// reader must either report an InputError or return finite points, and never crash, hang or
// allocate far more than the file could describe.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "AppErrors.h"
#include "FuzzBytes.h"
#include "PointFormats.h"

namespace {

using Reader = void (*)(const std::string&, std::string_view, vesk3dapp::Progress&, vesk3dapp::PointList&,
                        vesk3dapp::WarningList&);

constexpr Reader aReaders[] = {vesk3dapp::readCoordinateLines, vesk3dapp::readOff, vesk3dapp::readObj,
                               vesk3dapp::readTetGenNode, vesk3dapp::readPly};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t size)
{
    if (size == 0) return 0;
    const Reader read = aReaders[pData[0] % (sizeof(aReaders) / sizeof(aReaders[0]))];
    const std::string_view text(reinterpret_cast<const char*>(pData + 1), size - 1);
    const std::string path = "input";
    vesk3dapp::PointList vPoints;
    vesk3dapp::WarningList vWarnings;
    try {
        vesk3dapp::Progress progress("reading", text.size(), false);
        read(path, text, progress, vPoints, vWarnings);
    } catch (const vesk3dapp::InputError&) {
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        VeskFuzz::fail("a reader threw something other than InputError");
    }
    // Every point takes at least one byte of the file: room reserved beyond that was claimed by a
    // header, not backed by data.
    if (vPoints.capacity() > text.size()) VeskFuzz::fail("a reader reserved room for more points than the file can hold");
    // One warning a file at most: a mismatch on every line must not flood the terminal.
    if (vWarnings.size() > 1) VeskFuzz::fail("a reader warned more than once");
    for (const VESK3D::Point3& p : vPoints) {
        if (!std::isfinite(p.x()) || !std::isfinite(p.y()) || !std::isfinite(p.z()))
            VeskFuzz::fail("a reader returned a coordinate that is not finite");
    }
    return 0;
}
