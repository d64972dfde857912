#include <gtest/gtest.h>

#include "NvrPrintUtils/PrintJobSettings.h"
#include "tests/support/FakePrintSystem.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using testsupport::FakePrintSystem;
using testsupport::LogCapture;

namespace {

PrintJobSettings Settings(const std::string& json) {
    PrintJobSettings s;
    EXPECT_TRUE(s.LoadFromString(json));
    return s;
}

}  // namespace

TEST(ApplyToDevMode, OrientationTurnsForTwoAndSixUpOnly) {
    struct Case {
        std::string json;
        int16_t expected;
    };
    for (const Case& c : {Case{R"({"PagesPerSheet": 4, "dmOrientation": 2})", 2},
                          Case{R"({"PagesPerSheet": 2, "dmOrientation": 2})", 1},
                          Case{R"({"PagesPerSheet": 6, "dmOrientation": 2})", 1},
                          Case{R"({"PagesPerSheet": 2, "dmOrientation": 1})", 2},
                          Case{R"({"PagesPerSheet": 6})", 2},
                          Case{R"({"PagesPerSheet": 2, "dmOrientation": 3})", 3}}) {
        DevModePtr dm = AllocateDevMode();
        ASSERT_TRUE(Settings(c.json).ApplyToDevMode(dm.get(), nullptr));
        EXPECT_EQ(dm->dmOrientation, c.expected) << c.json;
        EXPECT_TRUE(dm->dmFields & DM_ORIENTATION) << c.json;
    }
}

TEST(ApplyToDevMode, WithoutPrinterWritesFieldsAndCallsNobody) {
    DevModePtr dm = AllocateDevMode();
    dm->dmFields = DM_SCALE;
    PrintJobSettings s = Settings(
        R"({"dmCopies": 3, "dmDuplex": 2, "dmFormName": "A4", "dmMediaType": 2, "bStapled": true})");
    ASSERT_TRUE(s.ApplyToDevMode(dm.get(), nullptr));
    EXPECT_EQ(dm->dmFields, DM_SCALE | DM_COPIES | DM_DUPLEX | DM_FORMNAME | DM_MEDIATYPE);
    EXPECT_EQ(dm->dmCopies, 3);
    EXPECT_EQ(GetDevModeText(dm->dmFormName), "A4");
    EXPECT_EQ(dm->dmMediaType, 2u);
    EXPECT_FALSE(PrintJobSettings().ApplyToDevMode(nullptr, nullptr));
}

TEST(ApplyToDevMode, DefaultsWithPrinterNeedNoValidation) {
    FakePrintSystem system;
    auto printer = system.Open();
    DevModePtr dm = AllocateDevMode();
    EXPECT_TRUE(PrintJobSettings().ApplyToDevMode(dm.get(), printer.get()));
    EXPECT_EQ(system.validations, 0);
    EXPECT_EQ(system.providers, 0);
}

TEST(ApplyToDevMode, StaplingAloneTriesThePrintTicketButSkipsValidation) {
    FakePrintSystem system;
    auto printer = system.Open();
    LogCapture log;
    DevModePtr dm = AllocateDevMode();
    EXPECT_TRUE(Settings(R"({"bStapled": true})").ApplyToDevMode(dm.get(), printer.get()));
    EXPECT_EQ(system.validations, 0);
    EXPECT_TRUE(log.Contains(
        "PTOpenProvider failed (HRESULT: 0x80004001). Printer may not support Print Tickets."));
    EXPECT_TRUE(
        log.Contains("Failed to merge Print Ticket settings with DEVMODE (driver may not "
                     "support Print Tickets)"));
}

TEST(ApplyToDevMode, DriverCorrectionsAreAppliedAndLogged) {
    FakePrintSystem system;
    auto printer = system.Open();
    system.correct = [](DEVMODEW& dm) {
        dm.dmDuplex = DMDUP_SIMPLEX;  // a one-sided printer
        dm.dmFields &= ~DM_COLLATE;   // drops collation
    };
    LogCapture log;
    DevModePtr dm = AllocateDevMode();
    PrintJobSettings s = Settings(
        R"({"dmDuplex": 2, "dmCollate": 1, "dmCopies": 2, "dmFormName": "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcd"})");
    ASSERT_TRUE(s.ApplyToDevMode(dm.get(), printer.get()));
    EXPECT_EQ(dm->dmDuplex, DMDUP_SIMPLEX);
    EXPECT_TRUE(log.Contains("dmDuplex corrected from 2 to 1"));
    EXPECT_TRUE(log.Contains("dmCollate corrected from 1 to -1"));
    EXPECT_TRUE(
        log.Contains("dmFormName corrected from 'ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcd' "
                     "to 'ABCDEFGHIJKLMNOPQRSTUVWXYZ01234'"));
    EXPECT_TRUE(log.Contains("3 standard DEVMODE setting(s) were corrected"));
    EXPECT_FALSE(log.Contains("dmCopies corrected"));
}

TEST(ApplyToDevMode, RefusedSettingsFail) {
    FakePrintSystem system;
    auto printer = system.Open();
    DevModePtr dm = AllocateDevMode();
    PrintJobSettings s = Settings(R"({"dmCopies": 2})");
    system.validateResult = -1;
    LogCapture log;
    EXPECT_FALSE(s.ApplyToDevMode(dm.get(), printer.get()));
    EXPECT_TRUE(log.Contains("DocumentProperties validation failed (result: -1)"));
    EXPECT_EQ(dm->dmCopies, 2);  // written fields stay written
}

TEST(ApplyToDevMode, StaplingSurvivalIsCheckedThroughTheProvider) {
    FakePrintSystem system;
    auto printer = system.Open();
    system.hasProvider = true;
    system.driverTicket =
        "<psf:PrintTicket>\n  <psf:Feature name=\"psk:JobStapleAllDocuments\">\n"
        "    <psf:Option name=\"psk:None\" />\n  </psf:Feature>\n</psf:PrintTicket>\n";
    LogCapture log;
    DevModePtr dm = AllocateDevMode();
    ASSERT_TRUE(
        Settings(R"({"bStapled": true, "dmCopies": 1})").ApplyToDevMode(dm.get(), printer.get()));
    EXPECT_TRUE(log.Contains("Successfully merged Print Ticket settings with DEVMODE"));
    EXPECT_TRUE(
        log.Contains("\xC3\xA2\xC5\x93\xE2\x80\x9C Stapling setting survived "
                     "DocumentProperties validation"));
    EXPECT_TRUE(log.Contains("1 Print Ticket extended setting(s) preserved through validation"));

    system.driverTicket = "<psf:PrintTicket>\n</psf:PrintTicket>\n";
    system.hasProvider = true;
    // A driver that drops stapling again on every conversion.
    LogCapture lostLog;
    DevModePtr again = AllocateDevMode();
    system.correct = [&](DEVMODEW&) { system.driverTicket = "<psf:PrintTicket/>"; };
    ASSERT_TRUE(Settings(R"({"bStapled": true, "dmCopies": 1})")
                    .ApplyToDevMode(again.get(), printer.get()));
    EXPECT_TRUE(
        lostLog.Contains("\xC3\xA2\xC5\x93\xE2\x80\x94 Stapling setting was removed by "
                         "DocumentProperties validation"));
}
