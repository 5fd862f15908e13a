#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "AppErrors.h"
#include "Endian.h"
#include "LineScanner.h"
#include "PointFormats.h"

namespace vesk3dapp {

namespace {

enum class PlyType { Int8, UInt8, Int16, UInt16, Int32, UInt32, Float32, Float64, Unknown };
enum class PlyEncoding { Ascii, LittleEndian, BigEndian };

struct PlyProperty {
    std::string name;
    PlyType type = PlyType::Unknown;  // the item type of a list
    PlyType countType = PlyType::Unknown;  // Unknown for a scalar
    bool isList() const { return countType != PlyType::Unknown; }
};

struct PlyElement {
    std::string name;
    size_t count = 0;
    std::vector<PlyProperty> vProperties;
};

struct PlyHeader {
    PlyEncoding encoding = PlyEncoding::Ascii;
    std::vector<PlyElement> vElements;
    size_t bodyOffset = 0;
    size_t bodyLine = 0;
};

PlyType typeNamed(std::string_view name)
{
    struct TypeName {
        const char* name;
        PlyType type;
    };
    static const TypeName aNames[] = {
        {"char", PlyType::Int8},     {"int8", PlyType::Int8},       {"uchar", PlyType::UInt8},
        {"uint8", PlyType::UInt8},   {"short", PlyType::Int16},     {"int16", PlyType::Int16},
        {"ushort", PlyType::UInt16}, {"uint16", PlyType::UInt16},   {"int", PlyType::Int32},
        {"int32", PlyType::Int32},   {"uint", PlyType::UInt32},     {"uint32", PlyType::UInt32},
        {"float", PlyType::Float32}, {"float32", PlyType::Float32}, {"double", PlyType::Float64},
        {"float64", PlyType::Float64},
    };
    for (const TypeName& entry : aNames) {
        if (name == entry.name) return entry.type;
    }
    return PlyType::Unknown;
}

size_t sizeOf(PlyType type)
{
    switch (type) {
    case PlyType::Int8:
    case PlyType::UInt8: return 1;
    case PlyType::Int16:
    case PlyType::UInt16: return 2;
    case PlyType::Int32:
    case PlyType::UInt32:
    case PlyType::Float32: return 4;
    case PlyType::Float64: return 8;
    case PlyType::Unknown: break;
    }
    return 0;
}

PlyType requireType(const LineScanner& scanner, size_t column)
{
    const PlyType type = typeNamed(scanner.field(column));
    if (type == PlyType::Unknown) scanner.fail("unknown property type " + quoted(scanner.field(column)));
    return type;
}

void addProperty(const LineScanner& scanner, PlyHeader& header)
{
    if (header.vElements.empty()) scanner.fail("a property before any element");
    PlyProperty property;
    if (scanner.numFields() >= 2 && scanner.field(1) == "list") {
        if (scanner.numFields() != 5) scanner.fail("expected 'property list COUNT-TYPE ITEM-TYPE NAME'");
        property.countType = requireType(scanner, 2);
        if (property.countType == PlyType::Float32 || property.countType == PlyType::Float64)
            scanner.fail("the length of a list must have an integer type");
        property.type = requireType(scanner, 3);
        property.name = std::string(scanner.field(4));
    } else {
        if (scanner.numFields() != 3) scanner.fail("expected 'property TYPE NAME'");
        property.type = requireType(scanner, 1);
        property.name = std::string(scanner.field(2));
    }
    header.vElements.back().vProperties.push_back(property);
}

void setEncoding(const LineScanner& scanner, PlyHeader& header)
{
    if (scanner.numFields() != 3 || scanner.field(2) != "1.0") scanner.fail("expected 'format ENCODING 1.0'");
    const std::string_view encoding = scanner.field(1);
    if (encoding == "ascii")
        header.encoding = PlyEncoding::Ascii;
    else if (encoding == "binary_little_endian")
        header.encoding = PlyEncoding::LittleEndian;
    else if (encoding == "binary_big_endian")
        header.encoding = PlyEncoding::BigEndian;
    else
        scanner.fail("unknown encoding " + quoted(encoding));
}

// Header lines hold no '#' comments, but a PLY "comment" line may contain anything.
PlyHeader parseHeader(const std::string& path, std::string_view text)
{
    const size_t magicEnd = text.find('\n');
    std::string_view magic = text.substr(0, magicEnd);
    if (!magic.empty() && magic.back() == '\r') magic.remove_suffix(1);
    if (magicEnd == std::string_view::npos || magic != "ply")
        throw errorAtLine(path, 1, "not a PLY file: the first line must be 'ply'");
    PlyHeader header;
    LineScanner scanner(path, text, magicEnd + 1, 2);
    bool bFormatSeen = false;
    while (scanner.nextDataLine()) {
        const std::string_view keyword = scanner.field(0);
        if (keyword == "comment" || keyword == "obj_info") continue;
        if (keyword == "end_header") {
            if (!bFormatSeen) scanner.fail("end of header without a format line");
            header.bodyOffset = scanner.offset();
            header.bodyLine = scanner.lineNumber() + 1;
            return header;
        }
        if (keyword == "format") {
            setEncoding(scanner, header);
            bFormatSeen = true;
        } else if (keyword == "element") {
            if (scanner.numFields() != 3) scanner.fail("expected 'element NAME COUNT'");
            header.vElements.push_back(PlyElement{std::string(scanner.field(1)), scanner.count(2), {}});
        } else if (keyword == "property") {
            addProperty(scanner, header);
        } else {
            scanner.fail("unknown header keyword " + quoted(keyword));
        }
    }
    throw errorAtLine(path, scanner.lineNumber(), "the header has no end_header line");
}

// Column (ascii) or record position of x, y and z within the vertex element; all three must be
// scalars.
struct VertexLayout {
    size_t elementIndex = 0;
    int aCoordinateProperty[3] = {-1, -1, -1};
};

VertexLayout findVertexLayout(const std::string& path, const PlyHeader& header)
{
    static const char* const aAxisNames[3] = {"x", "y", "z"};
    for (size_t e = 0; e < header.vElements.size(); ++e) {
        const PlyElement& element = header.vElements[e];
        if (element.name != "vertex") continue;
        VertexLayout layout;
        layout.elementIndex = e;
        for (size_t p = 0; p < element.vProperties.size(); ++p) {
            for (int axis = 0; axis < 3; ++axis) {
                if (element.vProperties[p].name != aAxisNames[axis]) continue;
                if (element.vProperties[p].isList())
                    throw errorAtLine(path, 1, std::string("the vertex property ") + aAxisNames[axis] + " is a list");
                layout.aCoordinateProperty[axis] = static_cast<int>(p);
            }
        }
        for (int axis = 0; axis < 3; ++axis) {
            if (layout.aCoordinateProperty[axis] < 0)
                throw errorAtLine(path, 1, std::string("the vertex element has no property ") + aAxisNames[axis]);
        }
        return layout;
    }
    throw errorAtLine(path, 1, "the header declares no vertex element");
}

// ----- ascii body

size_t skipAsciiProperty(const LineScanner& scanner, const PlyProperty& property, size_t column)
{
    if (!property.isList()) return column + 1;
    const size_t numItems = scanner.count(column);
    if (numItems >= scanner.numFields() - column)
        scanner.fail("the list in column " + std::to_string(column + 1) + " runs past the end of the line");
    return column + 1 + numItems;
}

void readAsciiBody(const std::string& path, std::string_view text, const PlyHeader& header, const VertexLayout& layout,
                   Progress& progress, PointList& vPoints)
{
    LineScanner scanner(path, text, header.bodyOffset, header.bodyLine);
    for (size_t e = 0; e < header.vElements.size(); ++e) {
        const PlyElement& element = header.vElements[e];
        const bool bVertex = e == layout.elementIndex;
        for (size_t r = 0; r < element.count; ++r) {
            if (!scanner.nextDataLine())
                throw errorAtLine(path, scanner.lineNumber(),
                                  "the header declares " + std::to_string(element.count) + " " + element.name +
                                      " records but the file ends after " + std::to_string(r));
            if (!bVertex) continue;
            double aXyz[3] = {0.0, 0.0, 0.0};
            size_t column = 0;
            for (size_t p = 0; p < element.vProperties.size(); ++p) {
                for (int axis = 0; axis < 3; ++axis) {
                    if (layout.aCoordinateProperty[axis] == static_cast<int>(p)) aXyz[axis] = scanner.coordinate(column);
                }
                column = skipAsciiProperty(scanner, element.vProperties[p], column);
            }
            vPoints.emplace_back(aXyz[0], aXyz[1], aXyz[2]);
            progress.update(scanner.offset());
        }
    }
    if (scanner.nextDataLine()) scanner.fail("data after the last record that the header declares");
}

// ----- binary body

template <typename T>
double load(const char* pBytes, bool bSwap)
{
    char aBytes[sizeof(T)];
    std::memcpy(aBytes, pBytes, sizeof(T));
    if (bSwap) std::reverse(aBytes, aBytes + sizeof(T));
    T value;
    std::memcpy(&value, aBytes, sizeof(T));
    return static_cast<double>(value);
}

double loadValue(const char* pBytes, PlyType type, bool bSwap)
{
    switch (type) {
    case PlyType::Int8: return load<int8_t>(pBytes, bSwap);
    case PlyType::UInt8: return load<uint8_t>(pBytes, bSwap);
    case PlyType::Int16: return load<int16_t>(pBytes, bSwap);
    case PlyType::UInt16: return load<uint16_t>(pBytes, bSwap);
    case PlyType::Int32: return load<int32_t>(pBytes, bSwap);
    case PlyType::UInt32: return load<uint32_t>(pBytes, bSwap);
    case PlyType::Float32: return load<float>(pBytes, bSwap);
    case PlyType::Float64: return load<double>(pBytes, bSwap);
    case PlyType::Unknown: break;
    }
    return 0.0;
}

class BinaryBody {
public:
    BinaryBody(const std::string& path, std::string_view text, const PlyHeader& header)
        : path(path), text(text), position(header.bodyOffset),
          bSwap((header.encoding == PlyEncoding::BigEndian) != hostIsBigEndian())
    {
    }

    // Reads one value and moves past it; a file too short names the record being read.
    double take(PlyType type, const PlyElement& element, size_t record)
    {
        const size_t size = sizeOf(type);
        if (text.size() - position < size)
            throw errorAtByte(path, text.size(),
                              "the file ends inside " + element.name + " record " + std::to_string(record) + " of the " +
                                  std::to_string(element.count) + " that the header declares (truncated?)");
        const double value = loadValue(text.data() + position, type, bSwap);
        position += size;
        return value;
    }

    void skipList(const PlyProperty& property, const PlyElement& element, size_t record)
    {
        const size_t countOffset = position;
        const double numItems = take(property.countType, element, record);
        if (numItems < 0) throw errorAtByte(path, countOffset, "negative list length in " + element.name + " record " + std::to_string(record));
        for (size_t i = 0; i < static_cast<size_t>(numItems); ++i) take(property.type, element, record);
    }

    size_t offset() const { return position; }
    size_t remaining() const { return text.size() - position; }

private:
    const std::string& path;
    std::string_view text;
    size_t position;
    bool bSwap;
};

void readBinaryBody(const std::string& path, std::string_view text, const PlyHeader& header,
                    const VertexLayout& layout, Progress& progress, PointList& vPoints)
{
    BinaryBody body(path, text, header);
    for (size_t e = 0; e < header.vElements.size(); ++e) {
        const PlyElement& element = header.vElements[e];
        // Records without properties take no bytes, however many the header declares.
        if (element.vProperties.empty()) continue;
        const bool bVertex = e == layout.elementIndex;
        if (bVertex) vPoints.reserve(std::min(element.count, text.size() / 3));
        for (size_t r = 0; r < element.count; ++r) {
            const size_t recordOffset = body.offset();
            double aXyz[3] = {0.0, 0.0, 0.0};
            for (size_t p = 0; p < element.vProperties.size(); ++p) {
                const PlyProperty& property = element.vProperties[p];
                if (property.isList()) {
                    body.skipList(property, element, r);
                    continue;
                }
                const double value = body.take(property.type, element, r);
                for (int axis = 0; axis < 3; ++axis) {
                    if (bVertex && layout.aCoordinateProperty[axis] == static_cast<int>(p)) aXyz[axis] = value;
                }
            }
            if (!bVertex) continue;
            if (!std::isfinite(aXyz[0]) || !std::isfinite(aXyz[1]) || !std::isfinite(aXyz[2]))
                throw errorAtByte(path, recordOffset, "vertex " + std::to_string(r) + " has a coordinate that is not a finite number");
            vPoints.emplace_back(aXyz[0], aXyz[1], aXyz[2]);
            progress.update(body.offset());
        }
    }
    if (body.remaining() != 0)
        throw errorAtByte(path, body.offset(),
                          std::to_string(body.remaining()) + " bytes follow the last record that the header declares");
}

} // namespace

void readPly(const std::string& path, std::string_view text, Progress& progress, PointList& vPoints, WarningList&)
{
    const PlyHeader header = parseHeader(path, text);
    const VertexLayout layout = findVertexLayout(path, header);
    if (header.encoding == PlyEncoding::Ascii)
        readAsciiBody(path, text, header, layout, progress, vPoints);
    else
        readBinaryBody(path, text, header, layout, progress, vPoints);
}

} // namespace vesk3dapp
