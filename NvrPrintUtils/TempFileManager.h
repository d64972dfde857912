#pragma once

#include <ctime>
#include <mutex>
#include <set>
#include <string>

#include "platform/FileSystem.h"

namespace nvrprint {

// Owns the directory where a job's working files live. Hands out timestamped base names
// (YYYYMMDD_HHMMSS), each held for this run by a reservation file, forms file paths from
// base, suffix and extension, limits how many old file sets stay on disk and removes the
// directory at the end when this run made it and it is empty. Apart from the reservation it
// works on names only; it never creates or reads the job's files themselves.
class TempFileManager {
public:
    static constexpr const char* kDefaultDirectoryName = "_NvrPrnData";
    // The file that holds a base for the run that made it, from the moment the base is
    // chosen until the manager ends. The run keeps it open and locked; one that nobody holds
    // was left by a run that was killed, and goes at the next keep limit.
    static constexpr const char* kReservationSuffix = "Run.lock";

    TempFileManager() = default;
    ~TempFileManager();
    TempFileManager(const TempFileManager&) = delete;
    TempFileManager& operator=(const TempFileManager&) = delete;

    bool SetTempDirectory(const std::string& path);
    bool EnsureTempDirectoryExists();
    std::string GenerateUniqueTimestampedBase();
    // Same, starting from the given local time instead of the clock.
    std::string GenerateUniqueTimestampedBaseFrom(std::tm localTime);
    std::string GenerateTempFilePath(const std::string& base, const std::string& suffix,
                                     const std::string& extension);
    void EnforceKeepLimit(int32_t limit);
    void CleanupTempDirectory();

    std::string GetTempDirectory();

private:
    bool InitializeDefaultTempDirectory();
    bool IsDirectoryEmpty(const std::string& path);
    bool CreateHiddenDirectory(const std::string& path);
    bool FilesExistWithBase(const std::string& base);
    bool Reserve(const std::string& base);
    void ReleaseReservationLocked();
    // Removes the reservations of killed runs with the files of their bases; the bases of the
    // other runs under way.
    std::set<std::string> SettleOtherRunsLocked();

    std::string m_tempDirectory;
    std::string m_userDirectory;  // parent of the default directory; empty for a custom one
    std::string m_reservation;
    platform::UniqueFd m_reservationFile;  // open and locked while the base is ours
    bool m_isDefaultDirectory = true;
    bool m_directoryCreatedByUs = false;
    std::mutex m_lock;
};

// True when name starts with a timestamped base: 8 digits, "_", 6 digits.
bool HasTimestampedBase(const std::string& name);

}  // namespace nvrprint
