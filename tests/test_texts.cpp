// The library's printed lines in one table: each action's lines as a host sink receives them, with
// the kind of the first line, while nothing reaches the console. Only the reports that need a
// corrupted mesh, a scene file or a bare record to provoke stay with those tests. Then the sink
// itself: a host sink receives exactly the lines the default sink prints, lines of engines in
// several threads stay whole and complete while the sink is replaced, and a failed assertion's
// exception says what failed where.
#include <GeomTest3.h>
#include <Vesk_3D.h>
#include <Visualizer3.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <iostream>
#include <mutex>
#include <optional>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "InputFamilies.h"
#include "WorkDir.h"

#if defined(__SANITIZE_ADDRESS__)
// Let the access fault of goToHell kill the process as it does without the sanitizer.
extern "C" const char* __asan_default_options() { return "handle_segv=0"; }
#endif

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

std::string joined(const std::vector<Line>& vLines)
{
    std::string text;
    for (const Line& line : vLines) text += line.text + "\n";
    return text;
}

// The lines an action prints, as a host sink receives them; meanwhile nothing may reach the console.
std::vector<Line> printedBy(const std::function<void()>& action)
{
    RecordingSink sink;
    sink.install();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    try {
        action();
    } catch (const VeskException&) {
        // Failed assertions are part of the table; what they print is the point.
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    setMessageSink(nullptr);
    return sink.vLines;
}

const std::string rule46(46, '*');

struct TextCase {
    const char* what;
    std::function<void()> action;
    MessageKind kind;
    std::string expected;
    bool bPrefixOnly; // the rest names a source position
};

const std::vector<TextCase>& textCases()
{
    static const std::vector<TextCase> cases = {
        {"failed assertion", [] { int numStoredTCS = 3; VESK_ASSERT(numStoredTCS==0); }, MESSAGE_ERROR,
         "\n      Vesk, , ERROR: Condition [ numStoredTCS==0 failed ]\n      " __FILE__ ":", true},
        {"error and warning lines", [] { error("Dt3::checkValidity", "bad tet"); warning("Visualizer3", "no file"); }, MESSAGE_ERROR,
         "\n      Dt3::checkValidity, ERROR: bad tet\n\n      Visualizer3, WARNING: no file\n", false},
        {"banner", [] { box("0123456789"); }, MESSAGE_ERROR,
         "\n\n" + rule46 + "\n" + rule46 + "\n                0123456789\n" + rule46 + "\n" + rule46 + "\n", false},
        {"timer start", [] { timer("phase one"); }, MESSAGE_INFO, "\n*** Timer [phase one] start\n", false},
        {"counters", [] { std::string a = "insert", list = "GETCOUNTERS"; benchCounter(a); benchCounter(a); benchCounter(list); },
         MESSAGE_INFO, "\nCounters: \ninsert\t2\n", false},
        {"empty batch", [] { std::vector<Point3> v; Vesk_3D().insert(v); }, MESSAGE_INFO, "numPoints=0\n", false},
        {"verbose batch", [] { Vesk_3D dt; dt.setVerbosity(true); std::vector<Point3> v(1, Point3(0, 0, 0)); dt.insert(v); }, MESSAGE_INFO,
         "\nDt3::insert(vector,vector) has been called\nnumPoints=1\n", false},
        {"fifth point ends the start-up",
         [] {
             Vesk_3D dt;
             for (Point3 p : {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(1, 1, 0), Point3(0, 0, 1)}) dt.insert(p);
         },
         MESSAGE_WARNING, "Attention: triangulate has got an empty vector\n", false},
        {"listing before the first tetrahedron", [] { Vesk_3D dt; std::vector<Tet3*> v; dt.getTetrahedra(v); }, MESSAGE_WARNING,
         "Dt3::getAllTetrahedra(), oneTet==NULL\n", false},
        {"star of a held vertex",
         [] {
             Vesk_3D dt;
             Point3 p(0, 0, 0);
             std::vector<Tet3*> v;
             dt.getTetsAroundVertex(dt.insert(p), v);
         },
         MESSAGE_WARNING, "\n      Dt3::getTetsAroundVertex(), WARNING: pVtx does not belong to the triangulation\n", false},
        {"non-empty handle list",
         [] {
             Vesk_3D dt;
             std::vector<Point3> v{Point3(0, 0, 0)};
             std::vector<Point3*> vHandles(1, nullptr);
             dt.insert(v, vHandles);
         },
         MESSAGE_WARNING, "\n      Dt3::insert(), WARNING: vUserHandles is not empty as it should be\nnumPoints=1\n", false},
        {"non-finite point", [] { Vesk_3D dt; Point3 p(0, HUGE_VAL, 0); dt.insert(p); }, MESSAGE_ERROR,
         "\n      Vesk, , ERROR: Condition [ hasFiniteCoordinates(p) failed ]\n", true},
        {"print of an empty engine", [] { Vesk_3D().print("empty"); }, MESSAGE_DUMP, "\n\n**** Dt3::print(empty), numTets=0\n", false},
        {"zero vector normalized", [] { Vector3(0, 0, 0).normalize(); }, MESSAGE_WARNING,
         "warning: normalize(const Vector3& other), Null length vector!\n", false},
        {"point and enlarged box dumps",
         [] {
             Point3(1.5, -2, 3).debug();
             Bbox3 flat(std::vector<Point3>{Point3(0, 0, 0), Point3(10, 20, 0)});
             flat.enlargeBounds(0.1);
             flat.debug();
         },
         MESSAGE_DUMP, "Point3: 1.5,-2,3\nBbox3: (-0.5,-1,0) -> (10.5,21,0)\n", false},
        {"a triangle asked for a stranger's index",
         [] {
             Point3 a(0, 0, 0), stranger(1, 1, 1);
             Triangle3(&a, &a, &a).getIntraTriangleIndex(&stranger);
         },
         MESSAGE_ERROR, "Triangle3::getIntraTriangleIndex(): invalid (p)\n", false},
        {"empty random interval", [] { std::vector<double> v; generateRandomNumbers(5, 1.0, 1.0, v, 4); }, MESSAGE_ERROR,
         "\n      Vesk, , ERROR: Condition [ min<max failed ]\n", true},
    };
    return cases;
}

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

// Addresses and labels differ between runs; the dumps print them.
std::string withoutAddresses(const std::string& text)
{
    return std::regex_replace(text, std::regex("(0x|ID=)[0-9a-fA-F]*"), "$1");
}

} // namespace

TEST(Texts, EveryPrintedLineAsATable)
{
    for (const TextCase& c : textCases()) {
        const std::vector<Line> vLines = printedBy(c.action);
        ASSERT_FALSE(vLines.empty()) << c.what;
        const std::string text = joined(vLines);
        EXPECT_EQ(c.bPrefixOnly ? text.substr(0, c.expected.size()) : text, c.expected) << c.what;
        EXPECT_EQ(vLines[0].kind, c.kind) << c.what;
    }
}

TEST(Texts, NamesVersionAndException)
{
    EXPECT_EQ(GeomTest3::getOrientationName(ORIENTATION3_POSITIVE), "ORI3_ORIENTATION3_POSITIVE");
    EXPECT_EQ(GeomTest3::getOrientationName(ORIENTATION3_NEGATIVE), "ORI3_ORIENTATION3_NEGATIVE");
    EXPECT_EQ(GeomTest3::getOrientationName(ORIENTATION3_COPLANAR), "ORI3_ZERO");
    EXPECT_EQ(getMajorVersionNumber(), 0);
    EXPECT_EQ(getMinorVersionNumber(), 99);
    EXPECT_EQ(getRevisionNumber(), 0);
#ifdef NDEBUG
    EXPECT_TRUE(isRelease());
    EXPECT_EQ(getVesk3DVersion(), "Vesk3D, RELEASE, v0.99.0");
#else
    EXPECT_FALSE(isRelease());
    EXPECT_EQ(getVesk3DVersion(), "Vesk3D, DEBUG, v0.99.0");
#endif
    const std::string start = "\n  VESK EXCEPTION due to a bug _or_ wrong usage of Vesk. If you think it is a \n"
                              "  bug then please report this incident and it will be fixed quickly: ";
    EXPECT_EQ(std::string(VeskException().what()).compare(0, start.size(), start), 0) << VeskException().what();
}

TEST(Texts, TimerStopLineAndItsLastingNumberFormat)
{
    const std::ios_base::fmtflags savedFlags = std::cout.flags();
    const std::streamsize savedPrecision = std::cout.precision();
    double elapsed = 0;
    const std::string out = VeskTest::stdoutOf([&] {
        timer("format");
        elapsed = timer("format");
        std::cout << 0.5;
    });
    std::cout.flags(savedFlags);
    std::cout.precision(savedPrecision);
    char seconds[64];
    std::snprintf(seconds, sizeof seconds, "%.3f", elapsed);
    EXPECT_EQ(out, "\n*** Timer [format] start\n*** Timer [format] stop, elapsed time: " + std::string(seconds) + " s\n\n0.500000");
}

TEST_F(MessageSinkTest, HostSinkGetsExactlyTheDefaultOutputAndTheConsoleNothing)
{
    std::optional<VeskException> onConsole;
    const std::string console = VeskTest::stdoutOf([&] { onConsole = warnDumpAndFail(); });

    std::optional<VeskException> inSink;
    const std::vector<Line> vLines = printedBy([&] { inSink = warnDumpAndFail(); });
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
    std::multiset<std::string> expected;
    for (const Line& line : printedBy(engineRun))
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

// An unopenable scene file exits with code 1; goToHell dies of an access fault.
TEST(MessageSinkDeathTest, ProcessEndingPathsSendTheirMessageFirst)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto withErrorsOnStderr = [](const std::function<void()>& action) {
        setMessageSink([](MessageKind kind, const std::string& line) {
            if (kind == MESSAGE_ERROR) std::fprintf(stderr, "sink: %s\n", line.c_str());
        });
        action();
    };
    EXPECT_EXIT(withErrorsOnStderr([] { Visualizer3 scene("no-such-directory/scene.list"); }), testing::ExitedWithCode(1),
                "sink: no-such-directory/scene.list not open\n");
    EXPECT_EXIT(withErrorsOnStderr([] { goToHell("no start tetrahedron"); }), testing::KilledBySignal(SIGSEGV),
                "sink: \nsink:       goToHell, ERROR:  reason: no start tetrahedron\n");
}
