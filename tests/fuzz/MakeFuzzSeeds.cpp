// Writes the seed corpora of the fuzz targets, made by the tests' own fixture writers:
//   make_fuzz_seeds <dir>
// gives <dir>/settings_json, <dir>/embedded_settings, <dir>/command_line and
// <dir>/xps_package.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/PdfFixtures.h"
#include "tests/support/TestSupport.h"
#include "tests/support/XpsFixtures.h"

namespace fs = std::filesystem;
using namespace testsupport;

namespace {

const std::vector<std::string> kSettings = {
    R"({"PrintJobTitle": "Norvan print job", "bShowPreview": false, "PagesPerSheet": 2,
        "bReversePages": true, "bStapled": true, "dmCollate": 1, "dmColor": 2, "dmCopies": 2,
        "dmDefaultSource": 7, "dmDuplex": 2, "dmFormName": "A4", "dmMediaType": 1,
        "dmOrientation": 2, "dmPaperLength": 2970, "dmPaperSize": 9, "dmPaperWidth": 2100,
        "dmPrintQuality": 600, "dmScale": 100, "dmYResolution": 600, "Extra": [1, 2]})",
    R"({"dmCopies": 70000, "dmScale": 40000, "dmColor": 2.9})",
    R"({"PagesPerSheet": 6, "dmOrientation": 2, "bShowPreview": true})",
    R"({"PrintJobTitle": "\u00e4\u00f6\u00fc \ud83d\udda8", "dmFormName": "Letter"})",
    R"([[[{"a": [null, true, 1e308, -0.0]}]]])",
};

const std::vector<std::vector<std::string>> kCommandLines = {
    {"-silent", "-printer=Office", "-logLevel=6", "-logFlags=0x1F", "doc.pdf"},
    {"-type=pdfium", "-", "Office"},
    {"-i", "-usePreviewApp=never", "-keepImages", "-imagePath=/tmp/x.tif", "doc.pdf"},
    {"-settings", "/no/such.json", "-keep", "-keepLimit=3", "-tempDir=/tmp", "doc.pdf"},
    {"--PreviewApp=/bin/true", "-usePreviewApp=Always", "a", "b", "c"},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <dir>\n", argv[0]);
        return 2;
    }
    const fs::path root(argv[1]);
    for (const char* corpus :
         {"settings_json", "embedded_settings", "command_line", "xps_package"}) {
        fs::create_directories(root / corpus);
    }
    for (size_t i = 0; i < kSettings.size(); ++i) {
        WriteFile(root / "settings_json" / ("seed" + std::to_string(i)), kSettings[i]);
    }
    for (size_t i = 0; i < kCommandLines.size(); ++i) {
        std::string joined;
        for (const std::string& argument : kCommandLines[i]) {
            joined += (joined.empty() ? "" : std::string(1, '\0')) + argument;
        }
        WriteFile(root / "command_line" / ("seed" + std::to_string(i)), joined);
    }

    const fs::path pdfs = root / "embedded_settings";
    const std::string plain = (pdfs / "plain.pdf").string();
    MakePdf(plain, {kLetter, kA4});
    MakePdfWithSettings((pdfs / "literal.pdf").string(), {kLetter}, kSettings[0]);
    const std::pair<CarrierForm, const char*> forms[] = {
        {CarrierForm::Hex, "hex.pdf"},
        {CarrierForm::DirectDictionary, "direct.pdf"},
        {CarrierForm::MissingObject, "missing.pdf"},
        {CarrierForm::SecondPageOnly, "second-page.pdf"},
    };
    for (const auto& [form, name] : forms) {
        AddSettingsCarrier(plain, (pdfs / name).string(), kSettings[2], form);
    }
    PackIntoObjectStreams((pdfs / "literal.pdf").string(), (pdfs / "packed.pdf").string());
    EncryptWithUserPassword((pdfs / "literal.pdf").string(), (pdfs / "encrypted.pdf").string(),
                            "secret");

    const fs::path xps = root / "xps_package";
    const std::vector<std::vector<XpsPageSize>> documents = {{kXpsLetter, kXpsLetterLandscape},
                                                             {kXpsLetter}};
    MakeXps((xps / "plain.xps").string(), documents);
    MakeXps((xps / "open.oxps").string(), documents, {.openXps = true});
    MakeXps((xps / "pieces.xps").string(), documents,
            {.interleaved = true, .dataDescriptors = true});
    return 0;
}
