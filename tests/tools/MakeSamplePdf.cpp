// Writes a sample PDF for demonstrations and benchmarks:
//   make_sample_pdf <out.pdf> [pages] [settings-json]
// Pages alternate Letter portrait and A4; with settings the first page carries them.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/PdfFixtures.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <out.pdf> [pages] [settings-json]\n", argv[0]);
        return 2;
    }
    int pages = argc > 2 ? std::atoi(argv[2]) : 3;
    if (pages < 1) {
        std::fprintf(stderr, "pages must be at least 1\n");
        return 2;
    }
    std::vector<testsupport::FixturePage> sizes;
    for (int i = 0; i < pages; ++i) {
        sizes.push_back(testsupport::kLetter);
    }
    if (argc > 3) {
        testsupport::MakePdfWithSettings(argv[1], sizes, argv[3]);
    } else {
        testsupport::MakePdf(argv[1], sizes);
    }
    return 0;
}
