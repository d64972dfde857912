// The log under load: lines from many threads at once reach the file and the replay of the
// ring whole, none lost, none torn, in any script.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>
#include <thread>
#include <vector>

#include "logging/Logger.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using namespace testsupport;

namespace {

// Writes linesEach numbered lines from each of eight threads at once, tagged with phase.
void LogFromEightThreads(Logger& logger, const std::string& phase, int linesEach) {
    std::vector<std::jthread> writers;
    for (int t = 0; t < 8; ++t) {
        writers.emplace_back([&logger, &phase, t, linesEach] {
            for (int i = 0; i < linesEach; ++i) {
                logger.Log(Info,
                           phase + " writer " + std::to_string(t) + " line " + std::to_string(i) +
                               " Seite ü 日本語 ✓",
                           "LoggerTest", __FILE__, __LINE__);
            }
        });
    }
}

// How often each "phase writer t line i" occurs in text; a line of any other shape counts as
// torn under the key "torn".
std::map<std::string, int> CountLines(const std::string& text) {
    static const std::regex kLine(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[INFO\] LoggerTest: (\w+ writer \d line \d+) Seite ü 日本語 ✓)");
    std::map<std::string, int> counts;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::smatch match;
        if (line.starts_with("=====")) {
            continue;
        }
        ++counts[std::regex_match(line, match, kLine) ? match[1].str() : "torn"];
    }
    return counts;
}

}  // namespace

TEST(Logging, EightThreadsAtOnceReachTheFileAndTheReplayWhole) {
    ScratchDir dir;
    Logger logger;
    logger.Initialize("");
    logger.SetModeFlags(LogToTrace);
    // Before the file is known, the lines wait in the ring (these fit in it).
    LogFromEightThreads(logger, "early", 60);
    logger.SetModeFlags(LogToTrace | LogToFile);
    ASSERT_TRUE(logger.SetLogFile(dir.File("run.log")));
    LogFromEightThreads(logger, "late", 2000);
    logger.Shutdown();

    const std::string text = ReadFile(dir.File("run.log"));
    const size_t replayEnd = text.find("===== End of in-memory buffer =====");
    ASSERT_NE(replayEnd, std::string::npos);
    const std::map<std::string, int> replayed = CountLines(text.substr(0, replayEnd));
    const std::map<std::string, int> written = CountLines(text.substr(replayEnd));
    EXPECT_FALSE(replayed.contains("torn"));
    EXPECT_FALSE(written.contains("torn"));
    EXPECT_EQ(replayed.size(), 8u * 60);
    EXPECT_EQ(written.size(), 8u * 2000);
    for (const auto& [line, count] : replayed)
        EXPECT_EQ(count, 1) << line;
    for (const auto& [line, count] : written)
        EXPECT_EQ(count, 1) << line;
}

// A ring that went round replays whole lines only: the newest ones, in order.
TEST(Logging, RingThatWentRoundReplaysItsNewestLinesWhole) {
    ScratchDir dir;
    Logger logger;
    logger.Initialize("");
    logger.SetModeFlags(LogToTrace);
    for (int i = 0; i < 4000; ++i)
        logger.Log(Info, "early writer 0 line " + std::to_string(i) + " Seite ü 日本語 ✓",
                   "LoggerTest", __FILE__, __LINE__);
    logger.SetModeFlags(LogToTrace | LogToFile);
    ASSERT_TRUE(logger.SetLogFile(dir.File("run.log")));
    logger.Shutdown();
    const std::map<std::string, int> replayed = CountLines(ReadFile(dir.File("run.log")));
    EXPECT_FALSE(replayed.contains("torn"));
    ASSERT_GT(replayed.size(), 500u);
    // The newest lines, without a gap.
    for (int i = 4000 - static_cast<int>(replayed.size()); i < 4000; ++i)
        EXPECT_TRUE(replayed.contains("early writer 0 line " + std::to_string(i))) << i;
}
