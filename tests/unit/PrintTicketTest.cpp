#include <gtest/gtest.h>

#include <sstream>

#include "NvrPrintUtils/IppDevMode.h"
#include "NvrPrintUtils/PrintTicket.h"
#include "SystemServices/CupsPrintTicketProvider.h"
#include "tests/support/FakePrintSystem.h"

using namespace nvrprint;
using testsupport::FakePrintSystem;

namespace {

const std::string kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<psf:PrintTicket xmlns:psf=\"http://schemas.microsoft.com/windows/2003/08/printing/"
    "printschemaframework\" xmlns:psk=\"http://schemas.microsoft.com/windows/2003/08/printing/"
    "printschemakeywords\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" version=\"1\">\n";

std::string Text(const std::vector<unsigned char>& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

}  // namespace

TEST(PrintTicketText, NoFieldsGiveOnlyTheFrame) {
    DevModePtr dm = AllocateDevMode();
    EXPECT_EQ(PrintTicket::DevModeToXml(dm.get()), kHeader + "</psf:PrintTicket>\n");
    EXPECT_EQ(PrintTicket::DevModeToXml(nullptr), "");
}

TEST(PrintTicketText, EveryFieldByteExact) {
    DevModePtr dm = AllocateDevMode();
    dm->dmFields = DM_ORIENTATION | DM_DUPLEX | DM_COPIES | DM_COLLATE | DM_COLOR | DM_PAPERSIZE |
                   DM_PRINTQUALITY | DM_YRESOLUTION | DM_DEFAULTSOURCE;
    dm->dmOrientation = 2;
    dm->dmDuplex = 3;
    dm->dmCopies = 2;
    dm->dmCollate = 1;
    dm->dmColor = 2;
    dm->dmPaperSize = 9;
    dm->dmPrintQuality = -4;
    dm->dmYResolution = 300;
    dm->dmDefaultSource = 4;
    const std::string expected = kHeader +
                                 "  <psf:Feature name=\"psk:PageOrientation\">\n"
                                 "    <psf:Option name=\"psk:Landscape\" />\n"
                                 "  </psf:Feature>\n"
                                 "  <psf:Feature name=\"psk:JobDuplexAllDocumentsContiguously\">\n"
                                 "    <psf:Option name=\"psk:TwoSidedShortEdge\" />\n"
                                 "  </psf:Feature>\n"
                                 "  <psf:Feature name=\"psk:JobCopiesAllDocuments\">\n"
                                 "    <psf:ScoredProperty name=\"psk:JobCopiesAllDocuments\">\n"
                                 "      <psf:Value xsi:type=\"xsd:integer\">2</psf:Value>\n"
                                 "    </psf:ScoredProperty>\n"
                                 "  </psf:Feature>\n"
                                 "  <psf:Feature name=\"psk:DocumentCollate\">\n"
                                 "    <psf:Option name=\"psk:Collated\" />\n"
                                 "  </psf:Feature>\n"
                                 "  <psf:Feature name=\"psk:PageOutputColor\">\n"
                                 "    <psf:Option name=\"psk:Color\" />\n"
                                 "  </psf:Feature>\n"
                                 "  <psf:Feature name=\"psk:PageMediaSize\">\n"
                                 "    <psf:Option name=\"psk:ISOA4\" />\n"
                                 "  </psf:Feature>\n"
                                 "  <psf:Feature name=\"psk:PageResolution\">\n"
                                 "    <psf:ScoredProperty name=\"psk:ResolutionX\">\n"
                                 "      <psf:Value xsi:type=\"xsd:integer\">4</psf:Value>\n"
                                 "    </psf:ScoredProperty>\n"
                                 "    <psf:ScoredProperty name=\"psk:ResolutionY\">\n"
                                 "      <psf:Value xsi:type=\"xsd:integer\">300</psf:Value>\n"
                                 "    </psf:ScoredProperty>\n"
                                 "  </psf:Feature>\n"
                                 "  <psf:Feature name=\"psk:JobInputBin\">\n"
                                 "    <psf:Option name=\"psk:Manual\" />\n"
                                 "  </psf:Feature>\n"
                                 "</psf:PrintTicket>\n";
    EXPECT_EQ(PrintTicket::DevModeToXml(dm.get()), expected);
}

TEST(PrintTicketText, PaperAndResolutionChoices) {
    DevModePtr dm = AllocateDevMode();
    dm->dmFields = DM_PAPERSIZE | DM_PRINTQUALITY;
    for (int16_t size : {10, 29, 2, 12}) {
        dm->dmPaperSize = size;
        EXPECT_NE(PrintTicket::DevModeToXml(dm.get()).find("psk:NorthAmericaLetter"),
                  std::string::npos);
    }
    dm->dmPaperSize = 4;
    std::string xml = PrintTicket::DevModeToXml(dm.get());
    EXPECT_NE(xml.find("psk:NorthAmericaTabloid"), std::string::npos);
    EXPECT_EQ(xml.find("psk:PageResolution"), std::string::npos);  // quality alone
}

TEST(PrintTicketText, ExtensionsFromSettings) {
    DevModePtr dm = AllocateDevMode();
    PrintJobSettings s;
    s.PagesPerSheet = 16;
    s.bReversePages = true;
    s.bStapled = true;
    std::string xml = Text(PrintTicket::CreateFromSettings(dm.get(), s));
    EXPECT_EQ(xml, kHeader +
                       "  <psf:Feature name=\"psk:JobNUpAllDocumentsContiguously\">\n"
                       "    <psf:ScoredProperty name=\"psk:PagesPerSheet\">\n"
                       "      <psf:Value xsi:type=\"xsd:integer\">16</psf:Value>\n"
                       "    </psf:ScoredProperty>\n"
                       "  </psf:Feature>\n"
                       "  <psf:Feature name=\"psk:PageOrder\">\n"
                       "    <psf:Option name=\"psk:Reverse\" />\n"
                       "  </psf:Feature>\n"
                       "  <psf:Feature name=\"psk:JobStapleAllDocuments\">\n"
                       "    <psf:Option name=\"psk:StapleTopLeft\" />\n"
                       "  </psf:Feature>\n"
                       "</psf:PrintTicket>\n");
    s.PagesPerSheet = 17;
    s.bReversePages = s.bStapled = false;
    EXPECT_EQ(Text(PrintTicket::CreateFromSettings(dm.get(), s)), kHeader + "</psf:PrintTicket>\n");
    EXPECT_TRUE(PrintTicket::CreateFromSettings(nullptr, s).empty());
}

TEST(PrintTicketStapling, DetectionRemovalAndVendorOption) {
    const std::string none =
        "<a>\n  <psf:Feature name=\"psk:JobStapleAllDocuments\">\n    <psf:Option "
        "name=\"psk:None\" />\n  </psf:Feature>\n  <b/>\n</a>";
    EXPECT_FALSE(PrintTicket::HasStapling(none));
    EXPECT_TRUE(PrintTicket::HasStapling(
        "<psf:Feature name=\"psk:JobStapleAllDocuments\"><psf:Option name=\"x:Corner\" />"));
    EXPECT_FALSE(PrintTicket::HasStapling("<a/>"));

    std::string copy = none;
    EXPECT_TRUE(PrintTicket::RemoveExistingFeature(copy, "psk:JobStapleAllDocuments"));
    EXPECT_EQ(copy, "<a>\n  <b/>\n</a>");
    EXPECT_FALSE(PrintTicket::RemoveExistingFeature(copy, "psk:JobStapleAllDocuments"));

    std::ostringstream vendor;
    PrintTicket::AddStapling(vendor, "<t xmlns:ns0000=\"http://schemas.hp.com/ptpc/2006/1\">");
    EXPECT_NE(vendor.str().find("ns0000:_1diagonal"), std::string::npos);
    std::ostringstream other;
    PrintTicket::AddStapling(other, "<t xmlns:ns0001=\"http://schemas.hp.com/ptpc/2006/1\">");
    EXPECT_NE(other.str().find("psk:StapleTopLeft"), std::string::npos);
}

TEST(PrintTicketMerge, NoneStaplingIsReplacedOnce) {
    FakePrintSystem system;
    auto printer = system.Open();
    system.hasProvider = true;
    system.driverTicket =
        "<psf:PrintTicket>\n  <psf:Feature name=\"psk:JobStapleAllDocuments\">\n    "
        "<psf:Option name=\"psk:None\" />\n  </psf:Feature>\n</psf:PrintTicket>\n";
    DevModePtr dm = AllocateDevMode();
    PrintJobSettings s;
    s.bStapled = true;
    ASSERT_TRUE(PrintTicket::MergePTSettingsWithDevmode(dm.get(), printer.get(), s));
    const std::string& sent = system.lastTicketIn;
    size_t first = sent.find("psk:JobStapleAllDocuments");
    EXPECT_NE(first, std::string::npos);
    EXPECT_EQ(sent.find("psk:JobStapleAllDocuments", first + 1), std::string::npos);
    EXPECT_NE(sent.find("psk:StapleTopLeft"), std::string::npos);
    EXPECT_EQ(dm->dmCopies, 77);  // the converted DEVMODE came back
}

TEST(PrintTicketMerge, AlreadyStapledOrNotWantedLeavesTheDevModeAlone) {
    FakePrintSystem system;
    auto printer = system.Open();
    system.hasProvider = true;
    system.driverTicket =
        "<psf:PrintTicket><psf:Feature name=\"psk:JobStapleAllDocuments\"><psf:Option "
        "name=\"psk:StapleTopLeft\" /></psf:Feature></psf:PrintTicket>";
    DevModePtr dm = AllocateDevMode();
    PrintJobSettings s;
    s.bStapled = true;
    EXPECT_TRUE(PrintTicket::MergePTSettingsWithDevmode(dm.get(), printer.get(), s));
    s.bStapled = false;
    s.PagesPerSheet = 4;
    EXPECT_TRUE(PrintTicket::MergePTSettingsWithDevmode(dm.get(), printer.get(), s));
    EXPECT_EQ(dm->dmCopies, 0);
    EXPECT_TRUE(system.lastTicketIn.empty());
    EXPECT_FALSE(PrintTicket::MergePTSettingsWithDevmode(dm.get(), nullptr, s));
}

TEST(PrintTicketLog, IndentsNestedTags) {
    EXPECT_EQ(PrintTicket::FormatXmlForLog("<?xml v?><a><b><c/></b></a>"),
              "<?xml v?>\n<a>\n  <b>\n    <c/>\n  </b>\n</a>");
}

TEST(CupsPrintTicketProvider, StaplingTravelsAsTheDriverPrivateOptionItCanPrint) {
    using platform::CreatePrintTicketProvider;
    const nlohmann::json ppd = {{"StapleLocation", {"None", "SinglePortrait"}}};
    EXPECT_EQ(StapleOptionFor(ppd, "").value, "SinglePortrait");
    EXPECT_EQ(StapleOptionFor(ppd, "20").name, "finishings");
    EXPECT_TRUE(StapleOptionFor({{"StapleLocation", {"None"}}}, "").name.empty());

    DevModePtr plain = AllocateDevMode(kDriverExtraBytes);
    plain->dmCopies = 2;
    plain->dmFields = DM_COPIES;
    std::string ticket;
    std::string error;
    DevModePtr back;

    // A stapling printer: a ticket asking for stapling comes back as its finishings option,
    // over the DEVMODE last converted, and survives a second round.
    auto stapler = CreatePrintTicketProvider({"finishings", "4"});
    ASSERT_EQ(stapler->ConvertDevModeToPrintTicket(plain.get(), 0, &ticket), 0);
    EXPECT_FALSE(PrintTicket::HasStapling(ticket));
    EXPECT_NE(ticket.find("psk:JobCopiesAllDocuments"), std::string::npos);
    const std::string base = PrintTicket::DevModeToXml(plain.get());
    const size_t close = base.rfind("</psf:PrintTicket>");
    std::ostringstream stapled;
    stapled << base.substr(0, close);
    PrintTicket::AddStapling(stapled, base);
    stapled << base.substr(close);
    ASSERT_EQ(stapler->ConvertPrintTicketToDevMode(stapled.str(), &back, &error), 0);
    EXPECT_EQ(ReadDriverOptions(back.get()).at("finishings"), "4");
    EXPECT_EQ(back->dmCopies, 2);
    EXPECT_EQ(back->dmDriverExtra, kDriverExtraBytes);
    ASSERT_EQ(stapler->ConvertDevModeToPrintTicket(back.get(), 0, &ticket), 0);
    EXPECT_TRUE(PrintTicket::HasStapling(ticket));

    // A printer that cannot staple drops it on the way back.
    auto plainPrinter = CreatePrintTicketProvider({});
    ASSERT_EQ(plainPrinter->ConvertPrintTicketToDevMode(stapled.str(), &back, &error), -2147024809);
    ASSERT_EQ(plainPrinter->ConvertDevModeToPrintTicket(plain.get(), 0, &ticket), 0);
    ASSERT_EQ(plainPrinter->ConvertPrintTicketToDevMode(stapled.str(), &back, &error), 0);
    EXPECT_TRUE(ReadDriverOptions(back.get()).empty());
    ASSERT_EQ(plainPrinter->ConvertDevModeToPrintTicket(back.get(), 0, &ticket), 0);
    EXPECT_FALSE(PrintTicket::HasStapling(ticket));
}
