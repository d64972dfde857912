// Writes a sample XPS package for demonstrations and benchmarks:
//   make_sample_xps <out.xps> [pages] [oxps|interleaved]
// One sub-document; pages alternate Letter portrait and Letter landscape.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/XpsFixtures.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <out.xps> [pages] [oxps|interleaved]\n", argv[0]);
        return 2;
    }
    const int pages = argc > 2 ? std::atoi(argv[2]) : 3;
    if (pages < 1) {
        std::fprintf(stderr, "pages must be at least 1\n");
        return 2;
    }
    testsupport::XpsOptions options;
    const std::string form = argc > 3 ? argv[3] : "";
    options.openXps = form == "oxps";
    options.interleaved = form == "interleaved";
    std::vector<testsupport::XpsPageSize> sizes;
    for (int i = 0; i < pages; ++i) {
        sizes.push_back(i % 2 == 0 ? testsupport::kXpsLetter : testsupport::kXpsLetterLandscape);
    }
    testsupport::MakeXps(argv[1], {sizes}, options);
    return 0;
}
