// Every test binary runs with a private TMPDIR, so that default temp directories and
// scratch files never meet those of other runs, and with a print system address where
// nothing listens, so that no test reaches a real printer unless it names one.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::string pattern = (std::filesystem::temp_directory_path() / "nvrtest.XXXXXX").string();
    const char* scratch = ::mkdtemp(pattern.data());
    if (scratch == nullptr) {
        return 2;
    }
    ::setenv("TMPDIR", scratch, 1);
    ::setenv("CUPS_SERVER", "127.0.0.1:9", 1);
    ::unsetenv("PRINTER");
    ::unsetenv("LPDEST");
    int rc = RUN_ALL_TESTS();
    std::error_code ec;
    std::filesystem::remove_all(scratch, ec);
    return rc;
}
