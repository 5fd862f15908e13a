#include "PointReaders.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "AppErrors.h"
#include "CommandLine.h"
#include "PointFormats.h"

namespace vesk3dapp {

namespace {

using FormatReader = void (*)(const std::string&, std::string_view, Progress&, PointList&, WarningList&);

struct InputFormat {
    const char* extension;
    FormatReader read;
};

const InputFormat aInputFormats[] = {
    {".xyz", readCoordinateLines}, {".txt", readCoordinateLines}, {".pts", readCoordinateLines},
    {".csv", readCoordinateLines}, {".ply", readPly}, {".off", readOff},
    {".obj", readObj}, {".node", readTetGenNode},
};

const InputFormat* findFormat(const std::string& extension)
{
    for (const InputFormat& format : aInputFormats) {
        if (extension == format.extension) return &format;
    }
    return nullptr;
}

std::string loadFile(const std::string& path)
{
    struct Closer {
        void operator()(std::FILE* pFile) const { std::fclose(pFile); }
    };
    std::unique_ptr<std::FILE, Closer> pFile(std::fopen(path.c_str(), "rb"));
    if (!pFile) throw InputError(path + ": cannot open: " + std::strerror(errno));
    std::string content;
    char aChunk[1 << 16];
    size_t numRead = 0;
    while ((numRead = std::fread(aChunk, 1, sizeof(aChunk), pFile.get())) > 0) content.append(aChunk, numRead);
    if (std::ferror(pFile.get())) throw InputError(path + ": cannot read: " + std::strerror(errno));
    return content;
}

} // namespace

bool isReadableExtension(const std::string& extension)
{
    return findFormat(extension) != nullptr;
}

std::string readableExtensions()
{
    std::string list;
    for (const InputFormat& format : aInputFormats) list += (list.empty() ? "" : " ") + std::string(format.extension);
    return list;
}

std::vector<VESK3D::Point3> readPoints(const std::string& path, bool bShowProgress, std::vector<std::string>& vWarnings)
{
    const InputFormat* pFormat = findFormat(lowerCaseExtension(path));
    if (pFormat == nullptr) throw InputError(path + ": unknown extension (known: " + readableExtensions() + ")");
    const std::string content = loadFile(path);
    PointList vPoints;
    {
        Progress progress("reading", content.size(), bShowProgress && content.size() >= largeInputBytes);
        pFormat->read(path, content, progress, vPoints, vWarnings);
    }
    if (vPoints.empty()) throw InputError(path + ": the file holds no points");
    return vPoints;
}

} // namespace vesk3dapp
