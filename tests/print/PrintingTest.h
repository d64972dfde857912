#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "tests/support/PrinterStack.h"
#include "tests/support/Process.h"
#include "tests/support/TestSupport.h"

namespace testsupport {

inline bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The scheduler's id of the job the program created, from its log.
inline int SchedulerJobId(const std::string& log) {
    std::smatch match;
    static const std::regex kCreated("Created job (\\d+) on ");
    return std::regex_search(log, match, kCreated) ? std::stoi(match[1]) : 0;
}

// The real program printing silently on the private print stack of this test run.
class PrintingTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!s_stack)
            s_stack = PrinterStack::Start();
        ASSERT_TRUE(s_stack) << "the printer stack did not start";
        // Each test reads only what it printed itself.
        for (const std::string& dir : {s_stack->recordDir, s_stack->stapleRecordDir}) {
            std::error_code ec;
            for (const auto& entry : std::filesystem::directory_iterator(dir, ec))
                std::filesystem::remove(entry.path(), ec);
        }
    }

    ProcessResult Print(std::vector<std::string> args, ProcessOptions options = {}) {
        args.insert(args.begin(), {"-silent", "-usePreviewApp=never", "-logLevel=4"});
        options.setEnv["CUPS_SERVER"] = s_stack->cupsServer;
        return RunProgram(args, tmp.Path(), options);
    }

    ReceivedJob Received(const std::string& name, bool stapler = false) {
        std::optional<ReceivedJob> job =
            WaitForJobIn(stapler ? s_stack->stapleRecordDir : s_stack->recordDir, name);
        EXPECT_TRUE(job) << "the printer received no job named " << name;
        return job.value_or(ReceivedJob{});
    }

    static inline std::optional<PrinterStack> s_stack;
    ScratchDir tmp;
    ScratchDir work;
};

}  // namespace testsupport
