// Log lines per second into a file, from one thread and from eight at once, at the level a
// detailed log is written with; every line also goes to the ring that is replayed.
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bench/BenchSupport.h"
#include "logging/LogMacros.h"

namespace {

double LinesPerSecond(unsigned threads, int linesEach) {
    const auto start = bench::Clock::now();
    std::vector<std::jthread> writers;
    for (unsigned t = 0; t < threads; ++t) {
        writers.emplace_back([t, linesEach] {
            for (int i = 0; i < linesEach; ++i) {
                NVR_LOG_DEBUG("Writer {} line {}: rendering page {} at {} DPI", t, i, i % 50, 300);
            }
        });
    }
    writers.clear();
    return threads * linesEach / bench::Seconds(start);
}

}  // namespace

int main() {
    const std::filesystem::path log = std::filesystem::temp_directory_path() / "nvr-log-bench.log";
    nvrprint::Logger& logger = nvrprint::Logger::Instance();
    logger.Initialize("");
    logger.SetModeFlags(nvrprint::LogToTrace | nvrprint::LogToFile);
    logger.SetLogFile(log.string());
    logger.SetLogLevel(nvrprint::Verbose);
    const double one = LinesPerSecond(1, 200000);
    const double eight = LinesPerSecond(8, 25000);
    logger.Shutdown();
    std::filesystem::remove(log);
    std::printf("log lines per second into a file: %.0f from 1 thread, %.0f from 8 threads\n", one,
                eight);
    return 0;
}
