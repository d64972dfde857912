#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include <filesystem>

#include "TempFileManager.h"
#include "TestSupport.h"

using namespace nvrprint;
using testsupport::ScratchDir;
using testsupport::WriteFile;
namespace fs = std::filesystem;

namespace {

std::tm LocalTime(int year, int month, int day, int hour, int minute, int second) {
    std::tm t{};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    return t;
}

// Points the default directory at a scratch place for the length of a test.
class DefaultTempDir {
public:
    DefaultTempDir() : m_old(getenv("TMPDIR")) { setenv("TMPDIR", m_root.Path().c_str(), 1); }
    ~DefaultTempDir() { setenv("TMPDIR", m_old.c_str(), 1); }
    std::string Default() const { return m_root.File("_NvrPrnData"); }
    const ScratchDir& Root() const { return m_root; }

private:
    ScratchDir m_root;
    std::string m_old;
};

}  // namespace

TEST(TempFileManager, DefaultDirectoryIsCreatedPrivateAndRemovedWhenEmpty) {
    DefaultTempDir tmp;
    {
        TempFileManager manager;
        ASSERT_TRUE(manager.EnsureTempDirectoryExists());
        EXPECT_EQ(manager.GetTempDirectory(), tmp.Default());
        struct stat info {};
        ASSERT_EQ(stat(tmp.Default().c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0700u);
    }
    EXPECT_FALSE(fs::exists(tmp.Default()));
}

TEST(TempFileManager, DirectoryLeftFromEarlierRunIsUsedAndKept) {
    DefaultTempDir tmp;
    fs::create_directory(tmp.Default());
    fs::permissions(tmp.Default(), fs::perms::owner_all);
    {
        TempFileManager manager;
        ASSERT_TRUE(manager.EnsureTempDirectoryExists());
    }
    EXPECT_TRUE(fs::exists(tmp.Default()));
}

TEST(TempFileManager, NonEmptyDirectoryIsKept) {
    DefaultTempDir tmp;
    {
        TempFileManager manager;
        ASSERT_TRUE(manager.EnsureTempDirectoryExists());
        WriteFile(tmp.Default() + "/20260101_000000_Data.pdf", "x");
    }
    EXPECT_TRUE(fs::exists(tmp.Default()));
}

TEST(TempFileManager, SharedOrForeignDefaultDirectoryIsRefused) {
    {
        DefaultTempDir tmp;
        ScratchDir elsewhere;
        fs::create_directory_symlink(elsewhere.Path(), tmp.Default());
        TempFileManager manager;
        EXPECT_FALSE(manager.EnsureTempDirectoryExists());
    }
    {
        DefaultTempDir tmp;
        fs::create_directory(tmp.Default());
        fs::permissions(tmp.Default(), fs::perms::all);
        TempFileManager manager;
        EXPECT_FALSE(manager.EnsureTempDirectoryExists());
    }
    if (geteuid() == 0) {
        DefaultTempDir tmp;
        fs::create_directory(tmp.Default());
        fs::permissions(tmp.Default(), fs::perms::owner_all);
        ASSERT_EQ(chown(tmp.Default().c_str(), 65534, 65534), 0);
        TempFileManager manager;
        EXPECT_FALSE(manager.EnsureTempDirectoryExists());
    }
}

TEST(TempFileManager, CustomDirectoryMustExistAndIsNeverRemoved) {
    DefaultTempDir tmp;
    ScratchDir custom;
    {
        TempFileManager manager;
        EXPECT_FALSE(manager.SetTempDirectory(custom.File("missing")));
        ASSERT_TRUE(manager.SetTempDirectory(custom.Path()));
        ASSERT_TRUE(manager.EnsureTempDirectoryExists());
        EXPECT_EQ(manager.GenerateTempFilePath("20260307_140509", "Log", "log"),
                  custom.Path() + "/20260307_140509_Log.log");
    }
    EXPECT_TRUE(fs::exists(custom.Path()));
}

TEST(TempFileManager, PathsFromBaseSuffixAndExtension) {
    DefaultTempDir tmp;
    TempFileManager manager;
    EXPECT_EQ(manager.GenerateTempFilePath("b", "Log", "log"), "");  // not initialized
    ASSERT_TRUE(manager.EnsureTempDirectoryExists());
    EXPECT_EQ(manager.GenerateTempFilePath("b", "Log", ".log"), tmp.Default() + "/b_Log.log");
    EXPECT_EQ(manager.GenerateTempFilePath("b", "Data", ""), tmp.Default() + "/b_Data");
}

TEST(TempFileManager, BaseSkipsSecondsTakenByExistingSets) {
    DefaultTempDir tmp;
    TempFileManager manager;
    EXPECT_EQ(manager.GenerateUniqueTimestampedBaseFrom(LocalTime(2026, 3, 7, 14, 5, 9)), "");
    ASSERT_TRUE(manager.EnsureTempDirectoryExists());
    EXPECT_EQ(manager.GenerateUniqueTimestampedBaseFrom(LocalTime(2026, 3, 7, 14, 5, 9)),
              "20260307_140509");
    WriteFile(tmp.Default() + "/20260307_140559_Log.log", "");
    WriteFile(tmp.Default() + "/20260307_140600_Data.pdf", "");
    EXPECT_EQ(manager.GenerateUniqueTimestampedBaseFrom(LocalTime(2026, 3, 7, 14, 5, 59)),
              "20260307_140601");
}

TEST(TempFileManager, BaseFailsAtMidnightAndAfterSixtyAttempts) {
    DefaultTempDir tmp;
    TempFileManager manager;
    ASSERT_TRUE(manager.EnsureTempDirectoryExists());
    WriteFile(tmp.Default() + "/20260307_235959_Log.log", "");
    EXPECT_EQ(manager.GenerateUniqueTimestampedBaseFrom(LocalTime(2026, 3, 7, 23, 59, 59)), "");
    for (int s = 0; s < 60; ++s) {
        WriteFile(tmp.Default() + fmt::format("/20260307_1000{:02}_Log.log", s), "");
    }
    EXPECT_EQ(manager.GenerateUniqueTimestampedBaseFrom(LocalTime(2026, 3, 7, 10, 0, 0)), "");
}

TEST(TempFileManager, KeepLimitDeletesOldestSetsWhole) {
    DefaultTempDir tmp;
    TempFileManager manager;
    ASSERT_TRUE(manager.EnsureTempDirectoryExists());
    const std::string d = tmp.Default() + "/";
    WriteFile(d + "20250101_000000_Log.log", "");
    WriteFile(d + "20250101_000000_Data.pdf", "");
    WriteFile(d + "20250102_000000_Log.log", "");
    WriteFile(d + "20250103_000000_Log.log", "");
    WriteFile(d + "20260307_140509_Log.log", "");  // the current job, newest
    WriteFile(d + "abcdefgh_ijklmn_x.tmp", "");    // fits the wildcard, not a base
    fs::create_directory(d + "20240101_000000_dir");  // a directory is neither counted nor removed

    manager.EnforceKeepLimit(5);  // 4 sets: within the limit
    EXPECT_TRUE(fs::exists(d + "20250101_000000_Log.log"));
    manager.EnforceKeepLimit(4);  // equal: nothing deleted
    EXPECT_TRUE(fs::exists(d + "20250101_000000_Log.log"));
    manager.EnforceKeepLimit(0);  // invalid: ignored
    EXPECT_TRUE(fs::exists(d + "20250101_000000_Log.log"));

    manager.EnforceKeepLimit(1);
    EXPECT_FALSE(fs::exists(d + "20250101_000000_Log.log"));
    EXPECT_FALSE(fs::exists(d + "20250101_000000_Data.pdf"));
    EXPECT_FALSE(fs::exists(d + "20250102_000000_Log.log"));
    EXPECT_FALSE(fs::exists(d + "20250103_000000_Log.log"));
    EXPECT_TRUE(fs::exists(d + "20260307_140509_Log.log"));
    EXPECT_TRUE(fs::exists(d + "abcdefgh_ijklmn_x.tmp"));
    EXPECT_TRUE(fs::exists(d + "20240101_000000_dir"));
}

TEST(TempFileManager, TimestampedBaseShape) {
    EXPECT_TRUE(HasTimestampedBase("20260307_140509_Log.log"));
    EXPECT_FALSE(HasTimestampedBase("2026030x_140509_Log.log"));
    EXPECT_FALSE(HasTimestampedBase("20260307-140509_Log.log"));
    EXPECT_FALSE(HasTimestampedBase("20260307_1405"));
}
