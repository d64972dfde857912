// XPS on a generated 50-page package: page rendering at the Screen target (300 DPI) beside
// xpstopng -r 300, and conversion into the job's PDF beside xpstopdf, on the same file in
// the same run.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrXps.h"
#include "bench/BenchSupport.h"
#include "tests/support/XpsFixtures.h"

namespace {

using bench::Clock;
using bench::RunCommand;
using bench::Seconds;

void Report(const char* what, double seconds, int pages) {
    std::printf("%-52s %6.2f s, %6.1f pages/s\n", what, seconds, pages / seconds);
}

}  // namespace

int main() {
    constexpr int kPages = 50;
    std::filesystem::path dir = std::filesystem::temp_directory_path() / "nvr-xps-bench";
    std::filesystem::create_directories(dir);
    const std::string xps = (dir / "doc.xps").string();
    std::vector<testsupport::XpsPageSize> sizes;
    for (int i = 0; i < kPages; ++i) {
        sizes.push_back(i % 2 == 0 ? testsupport::kXpsLetter : testsupport::kXpsLetterLandscape);
    }
    testsupport::MakeXps(xps, {sizes});

    // Conversion into the job's document, load included, as a print does it; the best of
    // three runs on each side, since one run is short.
    constexpr int kRuns = 3;
    double convert = 1e9;
    double theirPdf = 1e9;
    int pdfRc = 0;
    for (int run = 0; run < kRuns; ++run) {
        auto start = Clock::now();
        docmgr::PageMgrXps manager;
        manager.SetScratchDirectory(dir.string());
        manager.LoadDocument(xps, false, nullptr, "");
        if (!manager.WaitForDocumentLoad(30000) ||
            !manager.WriteJobPdf((dir / "job.pdf").string())) {
            std::fprintf(stderr, "conversion failed\n");
            return 1;
        }
        convert = std::min(convert, Seconds(start));
        start = Clock::now();
        pdfRc = RunCommand({"xpstopdf", xps, (dir / "theirs.pdf").string()});
        theirPdf = std::min(theirPdf, Seconds(start));
    }

    docmgr::PageMgrXps manager;
    manager.SetScratchDirectory(dir.string());
    const double render = bench::TimeScreenRenders(manager, xps, kPages);
    if (render < 0) {
        return 1;
    }
    auto start = Clock::now();
    const int pngRc = RunCommand({"xpstopng", "-r", "300", xps, (dir / "png").string()});
    const double theirPng = Seconds(start);
    std::filesystem::remove_all(dir);

    std::printf("pages: %d (Letter, alternating portrait and landscape)\n", kPages);
    Report("NvrPrintHelper XPS -> job PDF (with load, best of 3):", convert, kPages);
    if (pdfRc == 0) {
        Report("xpstopdf (best of 3):", theirPdf, kPages);
    } else {
        std::printf("xpstopdf not available\n");
    }
    Report("NvrPrintHelper XPS Screen target (300 DPI):", render, kPages);
    if (pngRc == 0) {
        Report("xpstopng -r 300 (PNG, encoding included):", theirPng, kPages);
    } else {
        std::printf("xpstopng not available\n");
    }
    return 0;
}
