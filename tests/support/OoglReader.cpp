#include "OoglReader.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

using VESK3D::Point3;

namespace VeskTest {

SceneReader::SceneReader(const std::string& text)
{
    std::string spaced;
    for (char c : text) {
        if (c == '{' || c == '}') spaced += std::string(" ") + c + " ";
        else spaced += c;
    }
    std::istringstream in(spaced);
    for (std::string token; in >> token;) vTokens.push_back(token);
}

std::vector<Block> SceneReader::read()
{
    expect("LIST");
    expect("{");
    std::vector<Block> vBlocks;
    while (peek() != "}") vBlocks.push_back(member());
    expect("}");
    if (pos != vTokens.size()) fail("text after the closing brace");
    return vBlocks;
}

Block SceneReader::member()
{
    if (peek() == "LIST") return pointSet();
    expect("{");
    Block b;
    if (peek() == "VECT") {
        b = vect();
        b.kind = "segment";
        if (b.vertices.size() != 2) fail("a segment needs two vertices");
    } else if (peek() == "OFF") {
        b = off();
    } else {
        b = sphere();
    }
    expect("}");
    return b;
}

Block SceneReader::pointSet()
{
    expect("LIST");
    expect("{");
    expect("appearance");
    expect("{");
    expect("linewidth");
    const int linewidth = static_cast<int>(integer());
    expect("}");
    Block b = vect();
    b.kind = "points";
    b.linewidth = linewidth;
    expect("}");
    return b;
}

Block SceneReader::vect()
{
    expect("VECT");
    const long numPolylines = integer(), numVertices = integer(), numColors = integer();
    long sumVertices = 0, sumColors = 0;
    for (long i = 0; i < numPolylines; ++i) {
        const long nv = integer();
        if (nv != 1 && !(numPolylines == 1 && nv == 2)) fail("unexpected polyline length");
        sumVertices += nv;
    }
    for (long i = 0; i < numPolylines; ++i) sumColors += integer();
    if (sumVertices != numVertices || sumColors != numColors || numColors != 1) fail("VECT header counts");
    Block b;
    for (long i = 0; i < numVertices; ++i) b.vertices.push_back(point());
    b.color = rgba();
    return b;
}

Block SceneReader::off()
{
    expect("OFF");
    if (integer() != 3 || integer() != 1 || integer() != 0) fail("OFF header of one triangle");
    Block b;
    b.kind = "triangle";
    for (int i = 0; i < 3; ++i) b.vertices.push_back(point());
    if (integer() != 3 || integer() != 0 || integer() != 1 || integer() != 2) fail("OFF face");
    b.color = rgba();
    return b;
}

Block SceneReader::sphere()
{
    for (const char* word : {"appearance", "{", "+edge", "-face", "}", "SPHERE"}) expect(word);
    Block b;
    b.kind = "sphere";
    b.radius = number();
    b.vertices.push_back(point());
    return b;
}

Point3 SceneReader::point()
{
    const double x = number(), y = number();
    return Point3(x, y, number());
}

std::vector<double> SceneReader::rgba()
{
    std::vector<double> v;
    for (int i = 0; i < 4; ++i) v.push_back(number());
    return v;
}

double SceneReader::number()
{
    const std::string& t = next();
    char* end = nullptr;
    const double value = std::strtod(t.c_str(), &end);
    if (end == t.c_str() || *end != '\0') fail("not a number: " + t);
    return value;
}

long SceneReader::integer()
{
    const std::string& t = next();
    char* end = nullptr;
    const long value = std::strtol(t.c_str(), &end, 10);
    if (end == t.c_str() || *end != '\0') fail("not an integer: " + t);
    return value;
}

const std::string& SceneReader::peek()
{
    if (pos >= vTokens.size()) fail("unexpected end of file");
    return vTokens[pos];
}

const std::string& SceneReader::next()
{
    const std::string& t = peek();
    ++pos;
    return t;
}

void SceneReader::expect(const std::string& word)
{
    if (next() != word) fail("expected " + word + " but found " + vTokens[pos - 1]);
}

void SceneReader::fail(const std::string& why) const
{
    throw std::runtime_error("token " + std::to_string(pos) + ": " + why);
}

std::vector<double> rgbaOf(const std::string& color)
{
    std::istringstream in(color);
    std::vector<double> v;
    for (double d; in >> d;) v.push_back(d);
    return v;
}

std::string readFile(const std::string& name)
{
    std::ifstream in(name);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

TempWorkDir::TempWorkDir() : previousDir(std::filesystem::current_path())
{
    std::string pattern = (std::filesystem::temp_directory_path() / "vesk3d-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed for " + pattern);
    tempDir = pattern;
    std::filesystem::current_path(tempDir);
}

TempWorkDir::~TempWorkDir()
{
    std::filesystem::current_path(previousDir);
    std::filesystem::remove_all(tempDir);
}

std::vector<std::string> TempWorkDir::fileNames() const
{
    std::vector<std::string> vNames;
    for (const auto& entry : std::filesystem::directory_iterator(tempDir))
        if (entry.is_regular_file()) vNames.push_back(entry.path().filename().string());
    std::sort(vNames.begin(), vNames.end());
    return vNames;
}

} // namespace VeskTest
