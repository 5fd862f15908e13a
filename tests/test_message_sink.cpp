// The message sink: a host sink receives exactly the lines the default sink prints, each with its
// kind, nothing reaches the console meanwhile, lines of engines in several threads stay whole and
// complete while the sink is replaced, and a failed assertion's exception says what failed where.
#include <Vesk_3D.h>
#include <Visualizer3.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <optional>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "InputFamilies.h"

using namespace VESK3D;

namespace {

struct Line {
    MessageKind kind;
    std::string text;
};

// Read its lines once no thread writes any more.
struct RecordingSink {
    void install()
    {
        setMessageSink([this](MessageKind kind, const std::string& text) {
            const std::lock_guard<std::mutex> lock(mutex);
            vLines.push_back({kind, text});
        });
    }
    std::mutex mutex;
    std::vector<Line> vLines;
};

// The default sink is back after every test.
class MessageSinkTest : public testing::Test {
protected:
    void TearDown() override { setMessageSink(nullptr); }
};

// A run that informs, warns, dumps and fails an assertion: a batch handed a non-empty handle list,
// the validity check, the text dump, and a listing into a non-empty list.
std::optional<VeskException> warnDumpAndFail()
{
    std::vector<Point3> vPoints = VeskTest::uniformCube(12, 4);
    Vesk_3D dt;
    std::vector<Point3*> vHandles(1, nullptr);
    dt.insert(vPoints, vHandles);
    dt.checkValidity("sink", true);
    dt.print("sink");
    std::vector<Tet3*> vTets(1, nullptr);
    try {
        dt.getTetrahedra(vTets);
    } catch (const VeskException& e) {
        return e;
    }
    return std::nullopt;
}

std::string joined(const std::vector<Line>& vLines)
{
    std::string text;
    for (const Line& line : vLines) text += line.text + "\n";
    return text;
}

// Addresses and labels differ between runs; the dumps print them.
std::string withoutAddresses(const std::string& text)
{
    return std::regex_replace(text, std::regex("(0x|ID=)[0-9a-fA-F]*"), "$1");
}

} // namespace

TEST_F(MessageSinkTest, HostSinkGetsExactlyTheDefaultOutputAndTheConsoleNothing)
{
    testing::internal::CaptureStdout();
    const std::optional<VeskException> onConsole = warnDumpAndFail();
    const std::string console = testing::internal::GetCapturedStdout();

    RecordingSink sink;
    sink.install();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const std::optional<VeskException> inSink = warnDumpAndFail();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    const std::vector<Line>& vLines = sink.vLines;
    EXPECT_EQ(withoutAddresses(joined(vLines)), withoutAddresses(console));
    // The exception tells what the assertion printed: condition, file and line.
    ASSERT_TRUE(onConsole && inSink);
    const VeskException& e = *inSink;
    EXPECT_EQ(e.getCondition(), "vTet.empty()");
    ASSERT_GE(vLines.size(), 2u);
    EXPECT_EQ(vLines.back().kind, MESSAGE_ERROR);
    EXPECT_EQ(vLines.back().text, "      " + e.getFile() + ":" + std::to_string(e.getLine()));
    EXPECT_NE(e.getFile().find("Dt3.cpp"), std::string::npos);
    EXPECT_EQ(std::string(e.what()), VeskException().what());
}

// The line's text is in the text table; here, that the host sink receives it instead of the console.
TEST_F(MessageSinkTest, StandardErrorLinesGoToTheSinkToo)
{
    Point3 a(0, 0, 0), stranger(5, 5, 5);
    RecordingSink sink;
    sink.install();
    testing::internal::CaptureStderr();
    Triangle3(&a, &a, &a).getIntraTriangleIndex(&stranger);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_EQ(sink.vLines.size(), 1u);
    EXPECT_EQ(sink.vLines[0].kind, MESSAGE_ERROR);
}

TEST_F(MessageSinkTest, ASinkThatThrowsDoesNotStopTheLibrary)
{
    setMessageSink([](MessageKind, const std::string&) { throw std::runtime_error("host logger broken"); });
    std::vector<Point3> vPoints = VeskTest::uniformCube(50, 2);
    Vesk_3D dt;
    std::vector<Point3*> vHandles(1, nullptr);
    EXPECT_NO_THROW(dt.insert(vPoints, vHandles));
    EXPECT_EQ(vHandles.size(), 50u);
    EXPECT_TRUE(dt.checkValidity("throwing sink", true));
}

TEST_F(MessageSinkTest, LinesOfEnginesInThreadsStayWholeWhileTheSinkIsReplaced)
{
    constexpr int numThreads = 4;
    // What one engine prints, learnt on its own.
    auto engineRun = [] {
        std::vector<Point3> vPoints = VeskTest::uniformCube(40, 9);
        Vesk_3D dt;
        dt.insert(vPoints);
        dt.checkValidity("thread", false);
        dt.print("thread");
    };
    RecordingSink single;
    single.install();
    engineRun();
    std::multiset<std::string> expected;
    for (const Line& line : single.vLines)
        for (int i = 0; i < numThreads; ++i) expected.insert(withoutAddresses(line.text));
    ASSERT_GT(expected.size(), 400u);

    RecordingSink sinks[2];
    sinks[0].install();
    std::atomic<int> numRunning{numThreads};
    std::vector<std::thread> vThreads;
    for (int i = 0; i < numThreads; ++i) vThreads.emplace_back([&] {
        engineRun();
        --numRunning;
    });
    for (int swap = 0; numRunning > 0; ++swap) {
        sinks[swap % 2].install();
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    for (std::thread& thread : vThreads) thread.join();

    std::multiset<std::string> received;
    for (const RecordingSink& sink : sinks)
        for (const Line& line : sink.vLines) received.insert(withoutAddresses(line.text));
    EXPECT_TRUE(received == expected) << received.size() << " lines received, " << expected.size() << " expected";
}

TEST(MessageSinkDeathTest, ProcessEndingPathsSendTheirMessageFirst)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            setMessageSink([](MessageKind kind, const std::string& line) {
                if (kind == MESSAGE_ERROR) std::fprintf(stderr, "sink: %s\n", line.c_str());
            });
            Visualizer3 scene("no-such-directory/scene.list");
        },
        testing::ExitedWithCode(1), "sink: no-such-directory/scene.list not open\n");
}
