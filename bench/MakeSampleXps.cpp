// Writes an XPS package of Letter pages, portrait and landscape in turn, each with a square,
// a frame and its number in an embedded font, for the print benchmark.
// Usage: make_sample_xps <path> <pages>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tests/support/XpsFixtures.h"

int main(int argc, char** argv) {
    if (argc != 3 || std::atoi(argv[2]) < 1) {
        std::fprintf(stderr, "usage: make_sample_xps <path> <pages>\n");
        return 1;
    }
    std::vector<testsupport::XpsPageSize> sizes;
    for (int i = 0; i < std::atoi(argv[2]); ++i) {
        sizes.push_back(i % 2 == 0 ? testsupport::kXpsLetter : testsupport::kXpsLetterLandscape);
    }
    testsupport::MakeXps(argv[1], {sizes});
    return 0;
}
