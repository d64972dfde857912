// Writes a sample PDF for demonstrations and benchmarks:
//   make_sample_pdf <out.pdf> [pages] [settings-json]
// Letter pages; with settings the first page carries them.
#include <cstdio>
#include <cstdlib>

#include "tests/support/PdfFixtures.h"

int main(int argc, char** argv) {
    const int pages = argc > 2 ? std::atoi(argv[2]) : 3;
    if (argc < 2 || pages < 1) {
        std::fprintf(stderr, "usage: %s <out.pdf> [pages, at least 1] [settings-json]\n", argv[0]);
        return 2;
    }
    const std::vector<testsupport::FixturePage> sizes(static_cast<size_t>(pages),
                                                      testsupport::kLetter);
    if (argc > 3) {
        testsupport::MakePdfWithSettings(argv[1], sizes, argv[3]);
    } else {
        testsupport::MakePdf(argv[1], sizes);
    }
    return 0;
}
