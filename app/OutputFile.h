#pragma once
// Output that never leaves a partial file behind: the data goes to a temporary file in the
// target's directory, and commit() renames it over the target. A file that is not committed is
// removed, also when the run is ended by SIGINT, SIGTERM or SIGHUP.
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "Endian.h"

namespace vesk3dapp {

class OutputFile {
public:
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(std::string_view text) { writeBytes(text.data(), text.size()); }
    void writeBytes(const void* pData, size_t size);
    // The shortest text that reads back as the same double, so meshes keep their exact points.
    void writeNumber(double value)
    {
        char* pSpace = space(maxNumberLength);
        used += static_cast<size_t>(std::to_chars(pSpace, pSpace + maxNumberLength, value).ptr - pSpace);
    }
    void writeNumber(int64_t value)
    {
        char* pSpace = space(maxNumberLength);
        used += static_cast<size_t>(std::to_chars(pSpace, pSpace + maxNumberLength, value).ptr - pSpace);
    }
    template <typename T>
    void writeBigEndian(T value)
    {
        char aBytes[sizeof(T)];
        std::memcpy(aBytes, &value, sizeof(T));
        char* pSpace = space(sizeof(T));
        for (size_t i = 0; i < sizeof(T); ++i) pSpace[i] = aBytes[hostIsBigEndian() ? i : sizeof(T) - 1 - i];
        used += sizeof(T);
    }

    // Renames the finished file over the target; the target is replaced only here.
    void commit();
    // For a writer that opens the file by its name (the library's scene writer): closes this side.
    const std::string& handOverToNamedWriter();
    const std::string& targetName() const { return targetPath; }

private:
    static constexpr size_t maxNumberLength = 32;

    char* space(size_t size)
    {
        if (vBuffer.size() - used < size) flushBuffer();
        return vBuffer.data() + used;
    }
    void flushBuffer();
    bool closeDescriptor();
    [[noreturn]] void fail(const std::string& action);

    std::string targetPath;
    std::string temporaryPath;
    int fd;
    std::vector<char> vBuffer;
    size_t used;
    bool bCommitted;
};

} // namespace vesk3dapp
