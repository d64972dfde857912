// A silent job driven inside the process against a fake print system: the printer is reached
// once and that one session serves every step from its defaults to the print device.
#include <gtest/gtest.h>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "tests/support/FakePrintSystem.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/RecordingPrintDevice.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using namespace testsupport;

namespace {

class SilentJob : public ::testing::Test {
protected:
    SilentJob() : os(TestPlatform(&notices)) {
        auto fake = std::make_unique<FakePrintSystem>();
        printers = fake.get();
        printers->hasProvider = true;
        printers->makeDevice = [] { return std::make_unique<RecordingPrintDevice>(); };
        os.printers = std::move(fake);
    }

    int Run(std::vector<std::string> args) {
        args.insert(args.begin(),
                    {"NvrPrintHelper", "-tempDir=" + dir.Path(), "-logFile=" + log.Path(),
                     "-silent", "-usePreviewApp=never", "-logLevel=6"});
        std::vector<const char*> argv;
        for (const std::string& a : args)
            argv.push_back(a.c_str());
        NvrPrintHelper app(os);
        if (!app.ParseCommandLine(static_cast<int>(argv.size()), argv.data())) {
            return -1;
        }
        return app.Run();
    }

    ScratchDir dir;
    LogCapture log;
    std::vector<RecordedNotice> notices;
    platform::Platform os;
    FakePrintSystem* printers = nullptr;
};

TEST_F(SilentJob, ReachesItsPrinterOnceForDefaultsTicketValidationAndDevice) {
    const std::string doc = dir.File("doc.pdf");
    // Stapling and 2-up take the Print Ticket merge and the survival check as well.
    MakePdfWithSettings(doc, {kLetter, kLetter, kLetter},
                        R"({"bStapled": true, "PagesPerSheet": 2, "dmCopies": 2})");
    ASSERT_EQ(Run({doc, "Office"}), 0) << log.Text();
    EXPECT_EQ(printers->opens, 1);
    EXPECT_EQ(printers->devices, 1);
    EXPECT_GE(printers->validations, 2);  // the defaults, then the job's settings
    EXPECT_GE(printers->providers, 2);    // the merge, then the survival check
    EXPECT_TRUE(log.Contains("Document printed successfully"));
    EXPECT_TRUE(notices.empty());
}

TEST_F(SilentJob, DefaultPrinterIsOpenedOnceToo) {
    const std::string doc = dir.File("doc.pdf");
    MakePdf(doc, {kLetter});
    printers->defaultPrinter = "Office";
    ASSERT_EQ(Run({doc}), 0) << log.Text();
    EXPECT_TRUE(log.Contains("Using default printer: Office"));
    EXPECT_EQ(printers->opens, 1);
}

TEST_F(SilentJob, UnknownPrinterAndMissingDeviceFailTheRun) {
    const std::string doc = dir.File("doc.pdf");
    MakePdf(doc, {kLetter});
    EXPECT_EQ(Run({doc, "Nowhere"}), 1);
    EXPECT_TRUE(log.Contains("Failed to open printer (Error: 2): Nowhere"));
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0].text, "Error: Invalid or inaccessible printer: Nowhere");

    printers->makeDevice = nullptr;
    EXPECT_EQ(Run({doc, "Office"}), 1);
    EXPECT_TRUE(log.Contains("Failed to create printer DC (Error: 5)"));
    EXPECT_EQ(printers->opens, 2);
}

}  // namespace
