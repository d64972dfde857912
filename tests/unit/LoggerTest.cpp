#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <string>

#include "logging/LogMacros.h"
#include "logging/Logger.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using testsupport::ReadFile;
using testsupport::ScratchDir;

namespace {

// A logger of its own whose console is a memory stream.
class LoggerTest : public ::testing::Test {
protected:
    void SetUp() override {
        console = open_memstream(&consoleBuffer, &consoleSize);
        logger.SetConsoleStream(console);
        logger.Initialize("");
    }
    void TearDown() override {
        logger.Shutdown();
        std::fclose(console);
        std::free(consoleBuffer);
    }
    std::string Console() {
        std::fflush(console);
        return std::string(consoleBuffer, consoleSize);
    }
    void Say(const std::string& message, int level = Info, const char* function = "ns::Fn",
             int line = 12) {
        logger.Log(level, message, function, "/src/dir/File.cpp", line);
    }

    Logger logger;
    ScratchDir dir;
    FILE* console = nullptr;
    char* consoleBuffer = nullptr;
    size_t consoleSize = 0;
};

}  // namespace

TEST_F(LoggerTest, LineCarriesTimestampLevelAndPrefix) {
    logger.SetModeFlags(LogToStdout);
    logger.ReleaseConsoleOutput();
    Say("hello");
    logger.SetModeFlags(LogToStdout | LogSourceLocation);
    Say("located");
    Say("no line", Info, "ns::Fn", 0);
    Say("no function", Info, nullptr);
    Say("odd level", 42);

    std::string out = Console();
    std::regex stamp(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )");
    EXPECT_TRUE(std::regex_search(
        out, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[INFO\] ns::Fn: hello\n)")));
    EXPECT_NE(out.find("[INFO] ns::Fn(File.cpp:12): located\n"), std::string::npos);
    EXPECT_NE(out.find("[INFO] ns::Fn: no line\n"), std::string::npos);
    EXPECT_NE(out.find("[INFO] no function\n"), std::string::npos);
    EXPECT_NE(out.find("[UNKNOWN] ns::Fn(File.cpp:12): odd level\n"), std::string::npos);
}

TEST_F(LoggerTest, ConsoleHeldBackUntilReleasedThenReplayed) {
    logger.SetModeFlags(LogToStdout);
    Say("early");
    EXPECT_EQ(Console(), "");
    logger.ReleaseConsoleOutput();
    EXPECT_NE(Console().find("early"), std::string::npos);
    Say("live");
    EXPECT_NE(Console().find("live"), std::string::npos);
}

TEST_F(LoggerTest, ReleaseWithStdoutOffShowsNothingEver) {
    logger.SetModeFlags(0);
    Say("held");
    logger.ReleaseConsoleOutput();
    logger.SetModeFlags(LogToStdout);
    EXPECT_EQ(Console(), "");
}

TEST_F(LoggerTest, FileReplaysStartupLinesInEitherOrderOfFlagsAndPath) {
    std::string first = dir.File("first.log");
    std::string second = dir.File("second.log");
    logger.SetModeFlags(0);
    Say("before anything");

    // Path first, then the file bit.
    EXPECT_TRUE(logger.SetLogFile(first));
    EXPECT_EQ(ReadFile(first), "");
    logger.SetModeFlags(LogToFile);
    std::string text = ReadFile(first);
    EXPECT_EQ(text.rfind("===== Log file initialized: ", 0), 0u);
    size_t flushing = text.find("===== Flushing in-memory buffer (startup messages) =====\n");
    size_t early = text.find("ns::Fn: before anything\n");
    size_t end = text.find("===== End of in-memory buffer =====\n");
    ASSERT_NE(flushing, std::string::npos);
    EXPECT_LT(flushing, early);
    EXPECT_LT(early, end);

    // File bit already on, then a second path: the ring is replayed again from its start.
    Say("after first");
    EXPECT_TRUE(logger.SetLogFile(second));
    std::string again = ReadFile(second);
    EXPECT_NE(again.find("before anything"), std::string::npos);
    EXPECT_NE(again.find("after first"), std::string::npos);
    EXPECT_FALSE(logger.SetLogFile(""));
}

TEST_F(LoggerTest, SettingTheSameFileTwiceTruncates) {
    std::string path = dir.File("same.log");
    logger.SetModeFlags(LogToFile);
    logger.SetLogFile(path);
    Say("one");
    logger.SetLogFile(path);
    std::string text = ReadFile(path);
    EXPECT_EQ(text.find("===== Log file initialized"), 0u);
    EXPECT_EQ(text.find("===== Log file initialized", 1), std::string::npos);
}

TEST_F(LoggerTest, RingKeepsNewestCharactersAndReplaysMidLine) {
    std::string path = dir.File("wrap.log");
    logger.SetModeFlags(0);
    // Each line is well over 100 characters; 300 of them wrap the ring.
    for (int i = 0; i < 300; ++i) {
        Say(fmt::format("line {:04} {}", i, std::string(100, 'x')));
    }
    logger.SetLogFile(path);
    logger.SetModeFlags(LogToFile);
    std::string text = ReadFile(path);
    size_t begin = text.find("=====\n", text.find("Flushing")) + 6;
    size_t end = text.find("===== End of in-memory buffer");
    std::string replay = text.substr(begin, end - begin);
    EXPECT_EQ(replay.size(), Logger::kRingCapacity);
    EXPECT_NE(replay.find("line 0299"), std::string::npos);
    EXPECT_EQ(replay.find("line 0000"), std::string::npos);
    // The oldest line starts in mid-line: no timestamp at the very start.
    EXPECT_FALSE(std::regex_search(replay.substr(0, 24), std::regex(R"(^\d{4}-\d\d-\d\d)")));
}

TEST_F(LoggerTest, RingCountsCharactersNotBytes) {
    std::string path = dir.File("utf8.log");
    logger.SetModeFlags(0);
    Say("Grüße – ✓");
    logger.SetLogFile(path);
    logger.SetModeFlags(LogToFile);
    EXPECT_NE(ReadFile(path).find("Grüße – ✓\n"), std::string::npos);
}

TEST_F(LoggerTest, LevelChangeLineOnlyWhenRaisedToInfoOrAbove) {
    logger.SetModeFlags(LogToStdout);
    logger.ReleaseConsoleOutput();
    logger.SetLogLevel(2);
    logger.SetLogLevel(2);
    EXPECT_EQ(Console().find("Log level changed"), std::string::npos);
    logger.SetLogLevel(Debug);
    EXPECT_NE(Console().find("[INFO] Log level changed from WARNING to DEBUG\n"),
              std::string::npos);
    logger.SetLogLevel(Debug);
    EXPECT_EQ(Console().find("Log level changed", Console().find("to DEBUG") + 1),
              std::string::npos);
}

TEST_F(LoggerTest, NothingIsLoggedBeforeInitializeOrAfterShutdown) {
    Logger fresh;
    fresh.SetConsoleStream(console);
    fresh.Log(Info, "ignored", "f", nullptr, 0);
    logger.SetModeFlags(LogToStdout);
    logger.ReleaseConsoleOutput();
    logger.Shutdown();
    Say("late");
    EXPECT_EQ(Console().find("late"), std::string::npos);
    EXPECT_EQ(Console().find("ignored"), std::string::npos);
}

TEST_F(LoggerTest, LogPrintfFormatsAtDebug) {
    logger.SetModeFlags(LogToStdout);
    logger.ReleaseConsoleOutput();
    logger.LogPrintf("ns::Render", nullptr, 0, "page %d of %s", 3, "doc");
    EXPECT_EQ(Console().find("page 3"), std::string::npos);
    logger.SetLogLevel(Debug);
    logger.LogPrintf("ns::Render", nullptr, 0, "page %d of %s", 3, "doc");
    EXPECT_NE(Console().find("[DEBUG] ns::Render: page 3 of doc\n"), std::string::npos);
}

TEST(LogMacros, QualifiedNameFromSignature) {
    using logdetail::QualifiedName;
    EXPECT_EQ(QualifiedName("bool nvrprint::Foo::Bar(int) const"), "nvrprint::Foo::Bar");
    EXPECT_EQ(QualifiedName("int main(int, char**)"), "main");
    EXPECT_EQ(QualifiedName("nvrprint::Foo::Foo()"), "nvrprint::Foo::Foo");
    EXPECT_EQ(QualifiedName("std::shared_ptr<docmgr::PageImage> docmgr::Mgr::Get(size_t)"),
              "docmgr::Mgr::Get");
    EXPECT_EQ(QualifiedName("void {anonymous}::Helper(std::string)"), "{anonymous}::Helper");
    EXPECT_EQ(QualifiedName("void ns::X::Run()::<lambda(int)>"), "ns::X::Run");
}
