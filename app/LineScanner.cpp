#include "LineScanner.h"

#include <charconv>
#include <cmath>

#include "AppErrors.h"

namespace vesk3dapp {

namespace {
bool isSeparator(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == ',' || c == ';' || c == '\f' || c == '\v';
}
} // namespace

std::string quoted(std::string_view text)
{
    constexpr size_t maxShown = 40;
    if (text.size() <= maxShown) return "'" + std::string(text) + "'";
    return "'" + std::string(text.substr(0, maxShown)) + "...'";
}

LineScanner::LineScanner(const std::string& path, std::string_view text, size_t startOffset, size_t firstLine)
    : path(path), text(text), position(startOffset), line(firstLine - 1), nextLine(firstLine)
{
}

bool LineScanner::nextDataLine()
{
    while (position < text.size()) {
        size_t end = text.find('\n', position);
        if (end == std::string_view::npos) end = text.size();
        std::string_view content = text.substr(position, end - position);
        const size_t hash = content.find('#');
        if (hash != std::string_view::npos) content = content.substr(0, hash);
        position = end < text.size() ? end + 1 : end;
        line = nextLine++;
        splitFields(content);
        if (!vFields.empty()) return true;
    }
    vFields.clear();
    return false;
}

void LineScanner::splitFields(std::string_view content)
{
    vFields.clear();
    size_t i = 0;
    while (i < content.size()) {
        while (i < content.size() && isSeparator(content[i])) ++i;
        const size_t start = i;
        while (i < content.size() && !isSeparator(content[i])) ++i;
        if (i > start) vFields.push_back(content.substr(start, i - start));
    }
}

void LineScanner::requireField(size_t i) const
{
    if (i >= vFields.size())
        fail("expected at least " + std::to_string(i + 1) + " values, found " + std::to_string(vFields.size()));
}

double LineScanner::coordinate(size_t i) const
{
    requireField(i);
    std::string_view number = vFields[i];
    // from_chars takes no explicit plus sign; other tools write one.
    if (number.size() > 1 && number[0] == '+' && number[1] != '-') number.remove_prefix(1);
    double value = 0.0;
    const char* end = number.data() + number.size();
    const auto result = std::from_chars(number.data(), end, value);
    const std::string column = " in column " + std::to_string(i + 1);
    if (result.ec == std::errc::result_out_of_range && result.ptr == end)
        fail("number " + quoted(vFields[i]) + column + " is out of the range of a double");
    if (result.ec != std::errc() || result.ptr != end) fail("malformed number " + quoted(vFields[i]) + column);
    if (!std::isfinite(value)) fail("coordinate " + quoted(vFields[i]) + column + " is not a finite number");
    return value;
}

bool LineScanner::isCount(size_t i) const
{
    if (i >= vFields.size()) return false;
    size_t value = 0;
    const char* end = vFields[i].data() + vFields[i].size();
    const auto result = std::from_chars(vFields[i].data(), end, value);
    return result.ec == std::errc() && result.ptr == end;
}

size_t LineScanner::count(size_t i) const
{
    requireField(i);
    if (!isCount(i))
        fail("expected a non-negative whole number in column " + std::to_string(i + 1) + ", found " +
             quoted(vFields[i]));
    size_t value = 0;
    std::from_chars(vFields[i].data(), vFields[i].data() + vFields[i].size(), value);
    return value;
}

void LineScanner::fail(const std::string& what) const
{
    throw errorAtLine(path, line, what);
}

} // namespace vesk3dapp
