#include "OutputFile.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

#include "AppErrors.h"

namespace vesk3dapp {

namespace {

// Temporary files that a signal must remove. Plain arrays: the handler may only touch memory
// that needs no allocation.
constexpr int maxPendingFiles = 8;
char aPendingNames[maxPendingFiles][4096];
std::atomic<bool> aPendingUsed[maxPendingFiles];

extern "C" void removePendingAndDie(int signalNumber)
{
    for (int i = 0; i < maxPendingFiles; ++i) {
        if (aPendingUsed[i].load()) unlink(aPendingNames[i]);
    }
    std::signal(signalNumber, SIG_DFL);
    std::raise(signalNumber);
}

void addPending(const std::string& name)
{
    static const bool bHandlersInstalled = [] {
        for (int signalNumber : {SIGINT, SIGTERM, SIGHUP}) std::signal(signalNumber, removePendingAndDie);
        return true;
    }();
    (void)bHandlersInstalled;
    for (int i = 0; i < maxPendingFiles; ++i) {
        if (aPendingUsed[i].load() || name.size() >= sizeof(aPendingNames[i])) continue;
        std::memcpy(aPendingNames[i], name.c_str(), name.size() + 1);
        aPendingUsed[i].store(true);
        return;
    }
}

void removePending(const std::string& name)
{
    for (int i = 0; i < maxPendingFiles; ++i) {
        if (aPendingUsed[i].load() && name == aPendingNames[i]) aPendingUsed[i].store(false);
    }
}

std::string directoryOf(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string fileNameOf(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

} // namespace

OutputFile::OutputFile(const std::string& path)
    : targetPath(path), fd(-1), vBuffer(size_t(1) << 20), used(0), bCommitted(false)
{
    std::string pattern = directoryOf(path) + "/." + fileNameOf(path) + ".XXXXXX";
    fd = mkstemp(pattern.data());
    if (fd < 0) fail("cannot create a file in " + directoryOf(path));
    temporaryPath = pattern;
    addPending(temporaryPath);
    // mkstemp makes the file private; the result should have the usual permissions.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
}

OutputFile::~OutputFile()
{
    closeDescriptor();
    if (!bCommitted && !temporaryPath.empty()) {
        unlink(temporaryPath.c_str());
        removePending(temporaryPath);
    }
}

void OutputFile::writeBytes(const void* pData, size_t size)
{
    const char* pBytes = static_cast<const char*>(pData);
    while (size > 0) {
        if (used == vBuffer.size()) flushBuffer();
        const size_t chunk = std::min(size, vBuffer.size() - used);
        std::memcpy(vBuffer.data() + used, pBytes, chunk);
        used += chunk;
        pBytes += chunk;
        size -= chunk;
    }
}

void OutputFile::flushBuffer()
{
    if (fd < 0) return;
    size_t done = 0;
    while (done < used) {
        const ssize_t written = ::write(fd, vBuffer.data() + done, used - done);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) fail("cannot write");
        done += static_cast<size_t>(written);
    }
    used = 0;
}

bool OutputFile::closeDescriptor()
{
    if (fd < 0) return true;
    const int closed = ::close(fd);
    fd = -1;
    return closed == 0;
}

// close() reports the write errors that a network file system defers, so its result counts.
void OutputFile::commit()
{
    flushBuffer();
    if (!closeDescriptor()) fail("cannot write");
    if (std::rename(temporaryPath.c_str(), targetPath.c_str()) != 0) fail("cannot replace");
    bCommitted = true;
    removePending(temporaryPath);
}

const std::string& OutputFile::handOverToNamedWriter()
{
    flushBuffer();
    if (!closeDescriptor()) fail("cannot write");
    return temporaryPath;
}

void OutputFile::fail(const std::string& action)
{
    throw OutputError(targetPath + ": " + action + ": " + std::strerror(errno));
}

} // namespace vesk3dapp
