#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include <filesystem>

#include "NvrPrintUtils/TempFileManager.h"
#include "tests/support/TestSupport.h"

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
    std::string User() const { return m_root.File(fmt::format("nvrprint-{}", geteuid())); }
    std::string Default() const { return User() + "/_NvrPrnData"; }
    // The user's directory as an earlier run leaves it.
    void MakeUser() const {
        fs::create_directory(User());
        fs::permissions(User(), fs::perms::owner_all);
    }
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
        ASSERT_EQ(stat(tmp.User().c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0700u);
    }
    EXPECT_FALSE(fs::exists(tmp.Default()));
    EXPECT_FALSE(fs::exists(tmp.User()));
}

TEST(TempFileManager, DirectoryLeftFromEarlierRunIsUsedAndKept) {
    DefaultTempDir tmp;
    tmp.MakeUser();
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
        tmp.MakeUser();
        ScratchDir elsewhere;
        fs::create_directory_symlink(elsewhere.Path(), tmp.Default());
        TempFileManager manager;
        EXPECT_FALSE(manager.EnsureTempDirectoryExists());
    }
    {
        DefaultTempDir tmp;
        tmp.MakeUser();
        fs::create_directory(tmp.Default());
        fs::permissions(tmp.Default(), fs::perms::all);
        TempFileManager manager;
        EXPECT_FALSE(manager.EnsureTempDirectoryExists());
    }
    if (geteuid() == 0) {
        DefaultTempDir tmp;
        tmp.MakeUser();
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
    WriteFile(d + "20260307_140509_Log.log", "");     // the current job, newest
    WriteFile(d + "abcdefgh_ijklmn_x.tmp", "");       // fits the wildcard, not a base
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

TEST(TempFileManager, DefaultDirectoryIsPerUserAndItsParentMustBePrivate) {
    DefaultTempDir tmp;
    // Another user's directory in the shared place does not stand in the way.
    fs::create_directory(tmp.Root().File("_NvrPrnData"));
    fs::permissions(tmp.Root().File("_NvrPrnData"), fs::perms::none);
    {
        TempFileManager manager;
        ASSERT_TRUE(manager.EnsureTempDirectoryExists());
        EXPECT_EQ(manager.GetTempDirectory(), tmp.Default());
    }
    // A user directory others may enter, or a link in its place, is refused.
    fs::create_directory(tmp.User());
    fs::permissions(tmp.User(), fs::perms::all);
    {
        TempFileManager manager;
        EXPECT_FALSE(manager.EnsureTempDirectoryExists());
    }
    fs::remove(tmp.User());
    ScratchDir elsewhere;
    fs::create_directory_symlink(elsewhere.Path(), tmp.User());
    TempFileManager manager;
    EXPECT_FALSE(manager.EnsureTempDirectoryExists());
    EXPECT_TRUE(fs::is_empty(elsewhere.Path()));
}

TEST(TempFileManager, BaseIsReservedUntilTheManagerEnds) {
    ScratchDir custom;
    const std::tm when = LocalTime(2026, 3, 7, 14, 5, 9);
    {
        TempFileManager first;
        TempFileManager second;
        ASSERT_TRUE(first.SetTempDirectory(custom.Path()));
        ASSERT_TRUE(second.SetTempDirectory(custom.Path()));
        // Two runs in the same second: the second one moves on, though no job file exists yet.
        EXPECT_EQ(first.GenerateUniqueTimestampedBaseFrom(when), "20260307_140509");
        EXPECT_EQ(second.GenerateUniqueTimestampedBaseFrom(when), "20260307_140510");
        struct stat info {};
        ASSERT_EQ(lstat(custom.File("20260307_140509_Run.lock").c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0600u);
        // Choosing again gives the first base back.
        EXPECT_EQ(first.GenerateUniqueTimestampedBaseFrom(LocalTime(2026, 3, 7, 14, 6, 0)),
                  "20260307_140600");
        EXPECT_FALSE(fs::exists(custom.File("20260307_140509_Run.lock")));
    }
    EXPECT_TRUE(fs::is_empty(custom.Path()));
}

TEST(TempFileManager, KeepLimitTouchesOnlyThisUsersFilesWithTheProgramsNames) {
    ScratchDir custom;
    TempFileManager manager;
    ASSERT_TRUE(manager.SetTempDirectory(custom.Path()));
    const std::string d = custom.Path() + "/";
    WriteFile(d + "20200101_000000_report.txt", "someone else's");
    WriteFile(d + "20200101_000001_Log.log.bak", "");
    WriteFile(d + "20200101_000002_Data.pdf", "");
    WriteFile(d + "20200101_000002_Images.tmp", "");
    WriteFile(d + "20200101_000002_Data.tmp", "");
    WriteFile(d + "victim", "");
    fs::create_symlink(d + "victim", d + "20200101_000003_Log.log");
    WriteFile(d + "20260307_140509_Log.log", "");
    manager.EnforceKeepLimit(1);
    EXPECT_TRUE(fs::exists(d + "20200101_000000_report.txt"));
    EXPECT_TRUE(fs::exists(d + "20200101_000001_Log.log.bak"));
    EXPECT_FALSE(fs::exists(d + "20200101_000002_Data.pdf"));
    EXPECT_FALSE(fs::exists(d + "20200101_000002_Images.tmp"));
    EXPECT_FALSE(fs::exists(d + "20200101_000002_Data.tmp"));
    EXPECT_TRUE(fs::is_symlink(d + "20200101_000003_Log.log"));
    EXPECT_TRUE(fs::exists(d + "20260307_140509_Log.log"));

    if (geteuid() == 0) {
        WriteFile(d + "20200101_000004_Log.log", "");
        ASSERT_EQ(chown((d + "20200101_000004_Log.log").c_str(), 65534, 65534), 0);
        manager.EnforceKeepLimit(1);
        EXPECT_TRUE(fs::exists(d + "20200101_000004_Log.log"));
    }
}
