#pragma once
// An independent reader of the OOGL subset the scene writer is meant to produce, and a scratch
// working directory for the tests that write scene files.
#include <filesystem>
#include <string>
#include <vector>

#include <Point3.h>

namespace VeskTest {

struct Block {
    std::string kind; // "points", "segment", "triangle" or "sphere"
    std::vector<VESK3D::Point3> vertices;
    std::vector<double> color;
    int linewidth = -1;
    double radius = 0.0;
};

// Checks the grammar and every count in the VECT and OFF headers against what follows, and throws
// std::runtime_error on any mismatch, naming the token.
class SceneReader {
public:
    explicit SceneReader(const std::string& text);
    // The members of the top-level LIST, in file order.
    std::vector<Block> read();

private:
    Block member();
    Block pointSet();
    Block vect();
    Block off();
    Block sphere();
    VESK3D::Point3 point();
    std::vector<double> rgba();
    double number();
    long integer();
    const std::string& peek();
    const std::string& next();
    void expect(const std::string& word);
    [[noreturn]] void fail(const std::string& why) const;

    std::vector<std::string> vTokens;
    size_t pos = 0;
};

// The numbers of an RGBA colour text.
std::vector<double> rgbaOf(const std::string& color);
std::string readFile(const std::string& name);

// Makes a fresh temporary directory the working directory for its lifetime, then restores the old
// one and removes the directory with everything written into it.
class TempWorkDir {
public:
    TempWorkDir();
    ~TempWorkDir();
    TempWorkDir(const TempWorkDir&) = delete;
    TempWorkDir& operator=(const TempWorkDir&) = delete;

    // Names of the regular files in the directory, sorted.
    std::vector<std::string> fileNames() const;

private:
    std::filesystem::path previousDir;
    std::filesystem::path tempDir;
};

} // namespace VeskTest
