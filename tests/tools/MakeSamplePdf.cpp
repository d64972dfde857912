// Writes a sample PDF for demonstrations and benchmarks:
//   make_sample_pdf <out.pdf> [pages] [settings-json | --paper]
// Letter pages; with settings the first page carries them; --paper lays them out like a paper
// of text and figures.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/support/PdfFixtures.h"

int main(int argc, char** argv) {
    const int pages = argc > 2 ? std::atoi(argv[2]) : 3;
    if (argc < 2 || pages < 1) {
        std::fprintf(stderr, "usage: %s <out.pdf> [pages, at least 1] [settings-json | --paper]\n",
                     argv[0]);
        return 2;
    }
    const std::vector<testsupport::FixturePage> sizes(static_cast<size_t>(pages),
                                                      testsupport::kLetter);
    if (argc > 3 && std::string(argv[3]) == "--paper") {
        testsupport::MakeArticlePdf(argv[1], pages);
    } else if (argc > 3) {
        testsupport::MakePdfWithSettings(argv[1], sizes, argv[3]);
    } else {
        testsupport::MakePdf(argv[1], sizes);
    }
    return 0;
}
