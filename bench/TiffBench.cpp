// The TIFF export beside pdftoppm -tiff at 300 DPI, in the same run: wall time and peak memory
// of each, as separate processes, on a generated 14-page paper, on a real document when the
// machine has one, and at 200 pages to show that memory does not grow with the page count.
//   tiff_bench                       the comparison
//   tiff_bench --export <pdf> <tif>  one export, as the program makes it (the measured child)
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/PageMgrPdfium.h"
#include "SystemServices/PageFrameExport.h"
#include "bench/BenchSupport.h"
#include "platform/OrderedWork.h"
#include "tests/support/PdfFixtures.h"

namespace {

namespace fs = std::filesystem;

struct Usage {
    double seconds = -1;
    long peakKb = 0;
};

// Runs a program, its messages discarded, and reports its wall time and peak resident
// memory; seconds < 0 when it could not run or failed.
Usage Measure(std::vector<std::string> argv) {
    std::vector<char*> args;
    for (std::string& a : argv)
        args.push_back(a.data());
    args.push_back(nullptr);
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, 2, "/dev/null", O_WRONLY, 0);
    const auto start = bench::Clock::now();
    pid_t pid;
    const int spawned = posix_spawnp(&pid, args[0], &quiet, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&quiet);
    if (spawned != 0)
        return {};
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return {};
    return {bench::Seconds(start), usage.ru_maxrss};
}

int ExportOnce(const std::string& pdf, const std::string& tif) {
    docmgr::PageMgrPdfium document;
    document.LoadDocument(pdf, false, nullptr, "");
    if (!document.WaitForDocumentLoad(60000))
        return 1;
    document.SetTargetParams(docmgr::Printer, docmgr::TargetParams{1.0, 300, 300});
    auto encoder = nvrprint::platform::CreateTiffEncoder(300);
    const bool ok = nvrprint::ExportPageFrames(document, document.m_pageCount, *encoder, tif,
                                               nvrprint::platform::WorkersForCores());
    encoder.reset();
    return ok ? 0 : 1;
}

// Best of three runs of each, one after the other.
void Compare(const char* self, const std::string& name, const std::string& pdf,
             const fs::path& dir) {
    Usage ours{1e9, 0}, theirs{1e9, 0};
    for (int run = 0; run < 3; ++run) {
        const Usage o = Measure({self, "--export", pdf, (dir / "ours.tif").string()});
        const Usage t = Measure({"pdftoppm", "-r", "300", "-tiff", "-tiffcompression", "deflate",
                                 pdf, (dir / "theirs").string()});
        if (o.seconds < 0 || t.seconds < 0) {
            std::printf("%-28s could not run (ours %s, pdftoppm %s)\n", name.c_str(),
                        o.seconds < 0 ? "failed" : "ran", t.seconds < 0 ? "failed" : "ran");
            return;
        }
        if (o.seconds < ours.seconds)
            ours = o;
        if (t.seconds < theirs.seconds)
            theirs = t;
    }
    std::printf("%-28s %8.2f s %8ld kB %10.2f s %8ld kB %7.2f %7.2f\n", name.c_str(), ours.seconds,
                ours.peakKb, theirs.seconds, theirs.peakKb, ours.seconds / theirs.seconds,
                static_cast<double>(ours.peakKb) / static_cast<double>(theirs.peakKb));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--export") == 0)
        return ExportOnce(argv[2], argv[3]);

    const fs::path dir = fs::temp_directory_path() / "nvr-tiff-bench";
    fs::create_directories(dir);
    const std::string paper = (dir / "paper.pdf").string();
    const std::string longPaper = (dir / "paper-200.pdf").string();
    testsupport::MakeArticlePdf(paper, 14);
    testsupport::MakeArticlePdf(longPaper, 200);

    std::printf("TIFF at 300 DPI, Deflate; %u worker(s); best of 3\n",
                nvrprint::platform::WorkersForCores());
    std::printf("%-28s %10s %11s %12s %11s %7s %7s\n", "document", "ours", "peak", "pdftoppm",
                "peak", "time", "memory");
    Compare(argv[0], "generated paper, 14 pages", paper, dir);
    // A real document: the first 14 pages of the MIME database manual that Debian installs.
    const char* real = "/usr/share/doc/shared-mime-info/shared-mime-info-spec.pdf";
    const std::string realCut = (dir / "real.pdf").string();
    if (fs::exists(real) &&
        bench::RunCommand({"qpdf", real, "--pages", ".", "1-14", "--", realCut}) == 0) {
        Compare(argv[0], "MIME database manual, 14 p", realCut, dir);
    } else {
        std::printf("%-28s not on this machine\n", "MIME database manual");
    }
    const Usage fourteen = Measure({argv[0], "--export", paper, (dir / "a.tif").string()});
    const Usage twoHundred = Measure({argv[0], "--export", longPaper, (dir / "b.tif").string()});
    std::printf("\nPeak memory of the export: %ld kB at 14 pages, %ld kB at 200 pages (%.2f s)\n",
                fourteen.peakKb, twoHundred.peakKb, twoHundred.seconds);
    fs::remove_all(dir);
    return 0;
}
