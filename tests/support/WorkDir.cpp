#include "WorkDir.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <stdlib.h>

#include <gtest/gtest.h>

#include <Visualizer3.h>
#include <VeskException.h>

namespace VeskTest {

std::string readFile(const std::string& name)
{
    std::ifstream in(name);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string stdoutOf(const std::function<void()>& action)
{
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

std::string assertionLine(const std::string& condition)
{
    return "\n      Vesk, , ERROR: Condition [ " + condition + " failed ]\n";
}

void expectFailedAssertion(const std::function<void()>& call, const std::string& condition)
{
    const std::string output = stdoutOf([&] { EXPECT_THROW(call(), VESK3D::VeskException); });
    EXPECT_NE(output.find(assertionLine(condition)), std::string::npos) << output;
}

int rotationCursor()
{
    const std::string current = VESK3D::Visualizer3::getColor();
    for (int i = 0; i < VESK3D::Visualizer3::NUM_ROTATION_COLORS; ++i)
        if (current == VESK3D::Visualizer3::colorArray[i]) return i;
    return -1;
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
