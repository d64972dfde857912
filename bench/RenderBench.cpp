// Renders every page of a generated 50-page document at the Screen target (300 DPI) and
// compares the rate with pdftoppm on the same file, in the same run.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "bench/BenchSupport.h"
#include "tests/support/PdfFixtures.h"

using bench::Clock;
using bench::RunCommand;
using bench::Seconds;

int main() {
    constexpr int kPages = 50;
    std::filesystem::path dir = std::filesystem::temp_directory_path() / "nvr-render-bench";
    std::filesystem::create_directories(dir);
    std::string pdf = (dir / "doc.pdf").string();
    testsupport::MakePdf(pdf, std::vector<testsupport::FixturePage>(kPages, testsupport::kLetter));

    docmgr::PageMgrPdfium manager;
    const double ours = bench::TimeScreenRenders(manager, pdf, kPages);
    if (ours < 0) {
        return 1;
    }

    auto start = Clock::now();
    int rc = RunCommand({"pdftoppm", "-r", "300", pdf, (dir / "ppm").string()});
    double theirs = Seconds(start);
    std::filesystem::remove_all(dir);

    std::printf("pages: %d at 300 DPI\n", kPages);
    std::printf("NvrPrintHelper Screen target: %.2f s, %.1f pages/s\n", ours, kPages / ours);
    if (rc == 0) {
        std::printf("pdftoppm -r 300 (PPM):       %.2f s, %.1f pages/s\n", theirs, kPages / theirs);
    } else {
        std::printf("pdftoppm not available\n");
    }
    return 0;
}
