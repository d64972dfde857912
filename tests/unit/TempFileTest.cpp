// The working directory: never one another user could have planted, and a keep limit that
// deletes only the program's own oldest job sets, whole.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "NvrPrintUtils/TempFileManager.h"
#include "tests/support/TestSupport.h"

using namespace nvrprint;
using namespace testsupport;
namespace fs = std::filesystem;

TEST(TempFiles, SharedOrPlantedDefaultDirectoryIsRefused) {
    const std::string old = getenv("TMPDIR") ? getenv("TMPDIR") : "";
    for (int planted = 0; planted < 3; ++planted) {
        ScratchDir root;
        setenv("TMPDIR", root.Path().c_str(), 1);
        const std::string user = root.File(fmt::format("nvrprint-{}", geteuid()));
        fs::create_directory(user);
        fs::permissions(user, fs::perms::owner_all);
        ScratchDir elsewhere;
        if (planted == 1) {
            fs::create_directory_symlink(elsewhere.Path(), user + "/_NvrPrnData");
        } else if (planted == 2) {
            fs::create_directory(user + "/_NvrPrnData");
            fs::permissions(user + "/_NvrPrnData", fs::perms::all);
        }
        EXPECT_EQ(TempFileManager().EnsureTempDirectoryExists(), planted == 0) << planted;
        setenv("TMPDIR", old.c_str(), 1);
    }
}

TEST(TempFiles, KeepLimitDeletesTheOldestOwnSetsWhole) {
    ScratchDir custom;
    TempFileManager manager;
    ASSERT_TRUE(manager.SetTempDirectory(custom.Path()));
    const std::string d = custom.Path() + "/";
    const std::vector<std::pair<std::string, bool>> files = {
        {"20200101_000000_Log.log", false},    {"20200101_000000_Data.pdf", false},
        {"20200101_000001_Images.tmp", false}, {"20200102_000000_Log.log", false},
        {"20200101_000000_report.txt", true},  // someone else's
        {"20200101_000001_Log.log.bak", true}, {"abcdefgh_ijklmn_x.tmp", true},
        {"20260307_140509_Log.log", true},  // the newest set
    };
    for (const auto& [name, kept] : files)
        WriteFile(d + name, "");
    WriteFile(d + "victim", "");
    fs::create_symlink(d + "victim", d + "20200101_000003_Log.log");
    manager.EnforceKeepLimit(1);
    for (const auto& [name, kept] : files)
        EXPECT_EQ(fs::exists(d + name), kept) << name;
    EXPECT_TRUE(fs::is_symlink(d + "20200101_000003_Log.log"));
    EXPECT_TRUE(fs::exists(d + "victim"));
}
