#pragma once
// Walks the lines of a text file held in memory, with the line numbers that error messages need.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vesk3dapp {

class LineScanner {
public:
    LineScanner(const std::string& path, std::string_view text, size_t startOffset = 0, size_t firstLine = 1);

    // Moves to the next line that holds data: blank lines and '#' comments are skipped. Fields are
    // separated by blanks, tabs, commas or semicolons.
    bool nextDataLine();

    size_t numFields() const { return vFields.size(); }
    std::string_view field(size_t i) const { return vFields[i]; }
    size_t lineNumber() const { return line; }
    // Byte offset just past the current line.
    size_t offset() const { return position; }
    size_t bytesLeft() const { return text.size() - position; }

    // The finite number in field i, or an error naming line and column.
    double coordinate(size_t i) const;
    // The non-negative whole number in field i.
    size_t count(size_t i) const;
    bool isCount(size_t i) const;

    [[noreturn]] void fail(const std::string& what) const;

private:
    void requireField(size_t i) const;
    void splitFields(std::string_view content);

    const std::string& path;
    std::string_view text;
    size_t position;
    size_t line;
    size_t nextLine;
    std::vector<std::string_view> vFields;
};

// A field as it may be quoted in a message: long ones are cut.
std::string quoted(std::string_view text);

} // namespace vesk3dapp
