// The run's three decisions, each a plain function: the command line into options, the
// operation mode, and the settings layers into the job's settings. Then the application's use
// of them: its boxes, and the mode it takes from load events arriving on another thread.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "tests/support/InProcessApp.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using namespace testsupport;

namespace {

// The options that differ from a bare command line, or the box the parse ended with.
std::string Describe(const ProgramOptions& o) {
    if (!o.error.empty()) {
        return "box: " + o.error + (o.errorWithUsage ? " +usage" : "");
    }
    std::string out;
    auto add = [&](bool set, const std::string& text) {
        if (set)
            out += (out.empty() ? "" : " ") + text;
    };
    const char* when[] = {"never", "interactive", "always"};
    add(o.help, "help");
    add(!o.inputFile.empty(), "input=" + o.inputFile);
    add(!o.printerName.empty(), "printer=" + o.printerName);
    add(!o.documentClass.empty(), "type=" + o.documentClass);
    add(!o.settingsFile.empty(), "settings=" + o.settingsFile);
    add(!o.tempDir.empty(), "tempDir=" + o.tempDir);
    add(!o.previewApp.empty(), "previewApp=" + o.previewApp);
    add(o.logLevel != 3, fmt::format("logLevel={}", o.logLevel));
    add(o.keepLimit != 10, fmt::format("keepLimit={}", o.keepLimit));
    add(o.forceSilent, "silent");
    add(o.forceInteractive, "interactive");
    add(o.keepTempFiles, "keep");
    add(o.keepImages, "keepImages");
    add(o.usePreviewApp != UsePreviewAppMode::Interactive,
        std::string("usePreviewApp=") + when[static_cast<int>(o.usePreviewApp)]);
    return out;
}

// A file system holding the directory /dir and the file /app.
PathKind KindOf(const std::string& path) {
    return path == "/dir"   ? PathKind::Directory
           : path == "/app" ? PathKind::File
                            : PathKind::Missing;
}

// Inputs from words: -s, -i, override (its preview), doc=0 or doc=1 (the embedded
// preview), settings (announced, maybe empty), end (of the load), printer, pipe.
ModeInputs Inputs(const std::string& words) {
    ModeInputs in;
    std::istringstream stream(words);
    for (std::string word; stream >> word;) {
        in.forceSilent |= word == "-s";
        in.forceInteractive |= word == "-i";
        in.overridePreview |= word == "override";
        if (word.starts_with("doc="))
            in.documentPreview = word == "doc=1";
        in.settingsAnnounced |= word == "settings";
        in.loadComplete |= word == "end";
        in.printerNamed |= word == "printer";
        in.inputFromPipe |= word == "pipe";
    }
    return in;
}

}  // namespace

TEST(CommandLine, ArgumentsBecomeOptionsOrTheFirstRefusal) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"---TYPE=PDFium", "--KeepLimit", "3", "-LOGLEVEL=99", "doc.pdf"},
         "input=doc.pdf type=pdfium logLevel=6 keepLimit=3"},
        {{"doc.pdf", "PrinterA", "-printer=PrinterB"}, "input=doc.pdf printer=PrinterB"},
        {{"-printer=PrinterB", "doc.pdf", "PrinterA"}, "input=doc.pdf printer=PrinterA"},
        {{"-type", "xps", "-"}, "input=- type=xps"},
        // A value is the next argument whatever it looks like.
        {{"-settings", "-silent", "doc.pdf"}, "input=doc.pdf settings=-silent"},
        {{"-keep=no", "-keepImages=0", "-s", "-i", "x"},
         "input=x silent interactive keep keepImages"},
        {{"-print", "x"}, "input=x silent"},
        {{"-logLevel=-1", "x"}, "input=x logLevel=0"},
        {{"-logLevel=4x", "x"}, "input=x logLevel=4"},
        {{"-usePreviewApp=NEVER", "x"}, "input=x usePreviewApp=never"},
        {{"-usePreviewApp", "Always", "x"}, "input=x usePreviewApp=always"},
        {{"-tempDir=\"/dir\"", "-previewApp", "/app", "x"}, "input=x tempDir=/dir previewApp=/app"},
        {{"-?", "-bogus"}, "help"},
        {{"-printer=", "doc.pdf"},
         "box: Error: -printer option requires a printer name value +usage"},
        {{"-keepLimit=0", "x"}, "box: Error: -keepLimit value must be at least 1 +usage"},
        {{"-usePreviewApp=sometimes"},
         "box: Error: Invalid -UsePreviewApp option value: sometimes +usage"},
        {{"x", "-usePreviewApp"},
         "box: Error: -UsePreviewApp option requires a value (Always, Interactive, or Never)"},
        {{"-tempDir=temp"},
         "box: Error: -TempDir path must be fully qualified (e.g., /path/to/dir): temp +usage"},
        {{"-tempDir=/none"}, "box: Error: -TempDir directory does not exist: /none +usage"},
        {{"-tempDir=/app"},
         "box: Error: -TempDir path must be a directory, not a file: /app +usage"},
        {{"-previewApp=app"},
         "box: Error: -PreviewApp path must be fully qualified (e.g., /path/to/app): app +usage"},
        {{"-previewApp=/none"}, "box: Error: -PreviewApp file does not exist: /none +usage"},
        {{"-previewApp=/dir"},
         "box: Error: -PreviewApp path must be a file, not a directory: /dir +usage"},
        {{"a", "b", "c"}, "box: Unexpected positional argument 2: c +usage"},
        {{"--", "doc.pdf"}, "box: Error: Unknown option:-- +usage"},
    };
    for (const auto& [args, expected] : cases) {
        EXPECT_EQ(Describe(ParseArguments(args, KindOf)), expected)
            << fmt::format("{}", fmt::join(args, " "));
    }
}

TEST(OperationMode, ForcedFlagsThenTheLayersPreviewThenTheLoadsEnd) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"-s doc=1 end", "silent"},
        {"override doc=0 printer", "interactive"},
        {"doc=1 printer", "interactive"},
        {"doc=0", "silent"},
        {"", "open"},
        // No settings: a pipe for no printer in particular, or a named file, is previewed.
        {"end pipe", "interactive"},
        {"end", "interactive"},
        // Empty settings: a pipe without a printer prints.
        {"settings end pipe", "silent"},
        {"end printer", "silent"},
    };
    for (const auto& [words, expected] : cases) {
        std::optional<bool> mode = DecideOperationMode(Inputs(words));
        EXPECT_EQ(!mode ? "open" : *mode ? "interactive" : "silent", expected) << words;
    }
}

TEST(SettingsLayers, OverrideOverDocumentOverPrinterDefaults) {
    auto settings = [](const char* json) {
        PrintJobSettings s;
        EXPECT_TRUE(s.LoadFromString(json));
        return s;
    };
    DevModePtr printer = AllocateDevMode();
    printer->dmFields = DM_COPIES | DM_DUPLEX | DM_COLLATE;
    printer->dmCopies = 1;
    printer->dmDuplex = DMDUP_VERTICAL;
    printer->dmCollate = 1;
    struct Case {
        const DEVMODEW* printer;
        const char* document;  // null: the load announced no settings
        const char* override;
        const char* expected;  // copies, duplex, collate, pages per sheet, reverse
    };
    const Case cases[] = {
        {printer.get(), nullptr, "{}", "1 2 1 1 0"},
        {printer.get(), R"({"dmCopies": 2, "PagesPerSheet": 4})", "{}", "2 2 1 4 0"},
        {printer.get(), R"({"dmCopies": 2, "PagesPerSheet": 4})", R"({"dmCopies": 3})",
         "3 2 1 4 0"},
        {printer.get(), R"({"dmDuplex": 1, "bReversePages": true})",
         R"({"PagesPerSheet": 2, "bReversePages": false})", "1 1 1 2 0"},
        {nullptr, R"({"dmCollate": 0})", "{}", "-1 -1 0 1 0"},
        {nullptr, nullptr, R"({"dmCopies": 5, "bReversePages": true})", "5 -1 -1 1 1"},
    };
    for (const Case& c : cases) {
        const PrintJobSettings document = settings(c.document ? c.document : "{}");
        const PrintJobSettings s =
            LayerSettings(c.printer, c.document ? &document : nullptr, settings(c.override));
        EXPECT_EQ(fmt::format("{} {} {} {} {:d}", s.dmCopies, s.dmDuplex, s.dmCollate,
                              s.PagesPerSheet, s.bReversePages),
                  c.expected)
            << (c.document ? c.document : "-") << " / " << c.override;
    }
}

// The application's glue: the order of its checks, and its mode from load events.
class AppDecisions : public ::testing::Test, protected InProcessApp {
protected:
    bool Parse(std::vector<std::string> args) { return Start(args) && app->ProcessInputFile(); }
    std::string Mode() {
        if (!app->IsModeDetermined())
            return "open";
        return app->IsInteractive() ? "interactive" : "silent";
    }
};

TEST_F(AppDecisions, ModeFromFlagsOverrideAndLoadEvents) {
    using namespace docmgr;
    WriteFile(dir.File("doc.pdf"), "%PDF-1.4");
    WriteFile(dir.File("preview.json"), R"({"bShowPreview": true})");
    const DocumentSettingsAvailableData preview{R"({"bShowPreview": true, "PagesPerSheet": 4})"};
    // A forced mode stands against the document, which still gives its settings.
    ASSERT_TRUE(Parse({"-silent", dir.File("doc.pdf")}));
    app->OnDocumentEvent(DocumentSettingsAvailable, preview);
    EXPECT_EQ(Mode(), "silent");
    EXPECT_EQ(app->DocumentSettings().PagesPerSheet, 4);
    ASSERT_TRUE(Parse({"-settings=" + dir.File("preview.json"), dir.File("doc.pdf"), "P"}));
    EXPECT_EQ(Mode(), "interactive");
    // The first decision stands; invalid JSON counts as settings without the preview.
    ASSERT_TRUE(Parse({dir.File("doc.pdf"), "P"}));
    app->OnDocumentEvent(DocumentSettingsAvailable, preview);
    app->OnDocumentEvent(DocumentSettingsAvailable,
                         DocumentSettingsAvailableData{R"({"bShowPreview": false})"});
    EXPECT_EQ(Mode(), "interactive");
    ASSERT_TRUE(Parse({dir.File("doc.pdf")}));
    app->OnDocumentEvent(DocumentSettingsAvailable, DocumentSettingsAvailableData{"{ broken"});
    EXPECT_EQ(Mode(), "silent");
    // A record that does not match its kind changes nothing; the load's end decides.
    ASSERT_TRUE(Parse({dir.File("doc.pdf")}));
    app->OnDocumentEvent(DocumentSettingsAvailable, LoadDocumentCompleteData{1});
    app->OnDocumentEvent(LoadDocumentComplete, LoadDocumentCompleteData{1});
    EXPECT_EQ(Mode(), "interactive");
}
