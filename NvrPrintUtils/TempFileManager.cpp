#include "NvrPrintUtils/TempFileManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>
#include <vector>

#include "logging/LogMacros.h"
#include "platform/FileSystem.h"

namespace fs = std::filesystem;

namespace nvrprint {
namespace {

constexpr size_t kBaseLength = 15;
constexpr int kMaxBaseAttempts = 60;

bool IsExistingDirectory(const std::string& path) {
    std::error_code ec;
    return fs::is_directory(path, ec);
}

bool IsDigits(const std::string& text, size_t from, size_t count) {
    return std::all_of(text.begin() + from, text.begin() + from + count,
                       [](unsigned char c) { return std::isdigit(c) != 0; });
}

// A capture of standard input: "Data." and the extension its document format gives it.
bool IsCaptureSuffix(std::string_view suffix) {
    constexpr std::string_view kCapture = "Data.";
    constexpr size_t kMaxExtension = 8;
    const std::string_view extension =
        suffix.starts_with(kCapture) ? suffix.substr(kCapture.size()) : std::string_view();
    return !extension.empty() && extension.size() <= kMaxExtension &&
           std::all_of(extension.begin(), extension.end(),
                       [](unsigned char c) { return std::isalnum(c) != 0; });
}

// The names the program gives its own files: base, then one of its suffixes and extensions.
bool IsOwnFileName(const std::string& name) {
    if (!HasTimestampedBase(name) || name.size() <= kBaseLength || name[kBaseLength] != '_') {
        return false;
    }
    static const std::set<std::string, std::less<>> kOwnSuffixes = {
        "Log.log", "Images.tmp", TempFileManager::kReservationSuffix};
    const std::string_view suffix = std::string_view(name).substr(kBaseLength + 1);
    return kOwnSuffixes.contains(suffix) || IsCaptureSuffix(suffix);
}

bool IsReservation(const std::string& name) {
    return name.size() > kBaseLength &&
           std::string_view(name).substr(kBaseLength + 1) == TempFileManager::kReservationSuffix;
}

// A file the keep limit may count and delete: one of the program's own names, a plain file
// (not a link), and this user's. Other users may share a custom directory.
bool IsOwnFile(const fs::path& path) {
    std::error_code ec;
    return IsOwnFileName(path.filename().string()) &&
           fs::is_regular_file(fs::symlink_status(path, ec)) &&
           platform::IsOwnedByCurrentUser(path.string());
}

}  // namespace

bool HasTimestampedBase(const std::string& name) {
    return name.size() >= kBaseLength && name[8] == '_' && IsDigits(name, 0, 8) &&
           IsDigits(name, 9, 6);
}

TempFileManager::~TempFileManager() {
    CleanupTempDirectory();
}

std::string TempFileManager::GetTempDirectory() {
    std::lock_guard lock(m_lock);
    return m_tempDirectory;
}

bool TempFileManager::SetTempDirectory(const std::string& path) {
    std::lock_guard lock(m_lock);
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_DEBUG("{}", path);
    if (!IsExistingDirectory(path)) {
        NVR_LOG_ERROR("Directory does not exist: {}", path);
        NVR_LOG_ENTRY("Returning false");
        return false;
    }
    m_tempDirectory = path;
    m_isDefaultDirectory = false;
    NVR_LOG_INFO("Using custom temp directory: {}", path);
    NVR_LOG_ENTRY("Returning true");
    return true;
}

bool TempFileManager::EnsureTempDirectoryExists() {
    std::lock_guard lock(m_lock);
    NVR_LOG_ENTRY("Entered");
    if (m_tempDirectory.empty() && !InitializeDefaultTempDirectory()) {
        NVR_LOG_ERROR("Failed to initialize default temp directory");
        NVR_LOG_ENTRY("Returning false");
        return false;
    }
    std::error_code ec;
    bool present = fs::exists(fs::symlink_status(m_tempDirectory, ec));
    if (present && m_isDefaultDirectory) {
        if (const Status checked = platform::CheckPrivateDirectory(m_userDirectory); !checked) {
            NVR_LOG_ERROR("Refusing temp directory that {}: {}", checked.error().text,
                          m_userDirectory);
            NVR_LOG_ENTRY("Returning false");
            return false;
        }
    }
    if (present && m_isDefaultDirectory) {
        // The default directory sits in a shared place: use it only when it is ours alone.
        if (const Status checked = platform::CheckPrivateDirectory(m_tempDirectory); !checked) {
            NVR_LOG_ERROR("Refusing temp directory that {}: {}", checked.error().text,
                          m_tempDirectory);
            NVR_LOG_ENTRY("Returning false");
            return false;
        }
    }
    if (present && IsExistingDirectory(m_tempDirectory)) {
        NVR_LOG_DEBUG("Directory already exists: {}", m_tempDirectory);
        NVR_LOG_ENTRY("Returning true");
        return true;
    }
    if (!m_isDefaultDirectory) {
        NVR_LOG_ERROR("Custom directory does not exist: {}", m_tempDirectory);
        NVR_LOG_ENTRY("Returning false");
        return false;
    }
    if (!CreateHiddenDirectory(m_userDirectory) || !CreateHiddenDirectory(m_tempDirectory)) {
        NVR_LOG_ERROR("Failed to create directory: {}", m_tempDirectory);
        NVR_LOG_ENTRY("Returning false");
        return false;
    }
    m_directoryCreatedByUs = true;
    NVR_LOG_INFO("Created hidden temp directory: {}", m_tempDirectory);
    NVR_LOG_ENTRY("Returning true");
    return true;
}

bool TempFileManager::InitializeDefaultTempDirectory() {
    std::string systemTemp = platform::SystemTempPath();
    if (systemTemp.empty()) {
        NVR_LOG_ERROR("GetTempPath failed (Error: {})", 0);
        return false;
    }
    if (systemTemp.size() > 1 && systemTemp.back() == '/') {
        systemTemp.pop_back();
    }
    // The system's temp directory is shared by every user: each has a private directory of
    // their own there, and the program's directory inside it.
    m_userDirectory = (systemTemp == "/" ? "" : systemTemp) +
                      fmt::format("/nvrprint-{}", platform::EffectiveUserId());
    m_tempDirectory = m_userDirectory + "/" + kDefaultDirectoryName;
    m_isDefaultDirectory = true;
    NVR_LOG_DEBUG("{}", m_tempDirectory);
    return true;
}

bool TempFileManager::CreateHiddenDirectory(const std::string& path) {
    if (const Status created = platform::CreatePrivateDirectory(path); !created) {
        NVR_LOG_ERROR("CreateDirectory failed (Error: {}): {}", created.error().code, path);
        return false;
    }
    // Another instance may have made it between our test and our create: it must still be
    // a private directory of ours.
    if (const Status checked = platform::CheckPrivateDirectory(path); !checked) {
        NVR_LOG_ERROR("Refusing temp directory that {}: {}", checked.error().text, path);
        return false;
    }
    return true;
}

bool TempFileManager::FilesExistWithBase(const std::string& base) {
    std::error_code ec;
    const std::string prefix = base + "_";
    for (fs::directory_iterator it(m_tempDirectory, ec), end; !ec && it != end; it.increment(ec)) {
        if (it->path().filename().string().starts_with(prefix)) {
            return true;
        }
    }
    return false;
}

std::string TempFileManager::GenerateUniqueTimestampedBase() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return GenerateUniqueTimestampedBaseFrom(local);
}

std::string TempFileManager::GenerateUniqueTimestampedBaseFrom(std::tm time) {
    std::lock_guard lock(m_lock);
    NVR_LOG_ENTRY("Entered");
    if (m_tempDirectory.empty()) {
        NVR_LOG_ERROR("Temp directory not initialized");
        NVR_LOG_ENTRY("Returning {{}}");
        return {};
    }
    ReleaseReservationLocked();
    for (int attempt = 0; attempt < kMaxBaseAttempts; ++attempt) {
        std::string base =
            fmt::format("{:04}{:02}{:02}_{:02}{:02}{:02}", time.tm_year + 1900, time.tm_mon + 1,
                        time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
        if (!FilesExistWithBase(base) && Reserve(base)) {
            NVR_LOG_DEBUG("Generated unique base: {}", base);
            NVR_LOG_ENTRY("Returning {}", base);
            return base;
        }
        // Advance the copy by one second; the date is not carried.
        if (++time.tm_sec > 59) {
            time.tm_sec = 0;
            if (++time.tm_min > 59) {
                time.tm_min = 0;
                if (++time.tm_hour >= 24) {
                    break;
                }
            }
        }
    }
    NVR_LOG_ERROR("Failed to generate unique base name after 60 attempts");
    NVR_LOG_ENTRY("Returning {{}}");
    return {};
}

bool TempFileManager::Reserve(const std::string& base) {
    // Runs started in the same second race for the same base: the one that creates the
    // reservation first owns it, the others move on to the next second.
    std::string path = m_tempDirectory + "/" + base + "_" + kReservationSuffix;
    Result<platform::UniqueFd> created = platform::CreateNewPrivateFile(path);
    if (!created) {
        NVR_LOG_DEBUG("Base {} is taken (Error: {})", base, created.error().code);
        return false;
    }
    platform::UniqueFd file = std::move(created).value();
    if (!platform::LockExclusive(file.Get())) {
        NVR_LOG_WARNING("Reservation {} could not be locked", path);
    }
    m_reservation = path;
    m_reservationFile = std::move(file);
    return true;
}

void TempFileManager::ReleaseReservationLocked() {
    if (m_reservation.empty()) {
        return;
    }
    std::error_code ec;
    fs::remove(m_reservation, ec);
    m_reservation.clear();
    m_reservationFile.Reset();
}

std::string TempFileManager::GenerateTempFilePath(const std::string& base,
                                                  const std::string& suffix,
                                                  const std::string& extension) {
    std::lock_guard lock(m_lock);
    NVR_LOG_ENTRY("Entered");
    if (m_tempDirectory.empty()) {
        NVR_LOG_ERROR("Temp directory not initialized");
        NVR_LOG_ENTRY("Returning {{}}");
        return {};
    }
    std::string dottedExtension = extension;
    if (!dottedExtension.empty() && dottedExtension.front() != '.') {
        dottedExtension.insert(0, ".");
    }
    std::string path = m_tempDirectory + "/" + base + "_" + suffix + dottedExtension;
    NVR_LOG_DEBUG("{}", path);
    NVR_LOG_ENTRY("Returning {}", path);
    return path;
}

void TempFileManager::EnforceKeepLimit(int32_t limit) {
    std::lock_guard lock(m_lock);
    NVR_LOG_ENTRY("Entered");
    if (m_tempDirectory.empty()) {
        NVR_LOG_WARNING("Cannot enforce keep limit - temp directory not initialized");
        NVR_LOG_ENTRY("Exiting");
        return;
    }
    if (limit < 1) {
        NVR_LOG_WARNING("Invalid keep limit: {}, ignoring", limit);
        NVR_LOG_ENTRY("Exiting");
        return;
    }
    NVR_LOG_DEBUG("Checking temp directory for old file sets");

    // The sets of other runs under way are neither counted nor removed.
    const std::set<std::string> underWay = SettleOtherRunsLocked();
    // Each kept set's files by base; the map's order is the bases' age, oldest first.
    std::map<std::string, std::vector<fs::path>> sets;
    bool anyMatch = false;
    std::error_code ec;
    for (fs::directory_iterator it(m_tempDirectory, ec), end; !ec && it != end; it.increment(ec)) {
        std::string name = it->path().filename().string();
        // First filter: the shape "????????_??????_*".
        if (name.size() < kBaseLength + 1 || name[8] != '_' || name[kBaseLength] != '_') {
            continue;
        }
        anyMatch = true;
        // A reservation is no file set: it only holds the base of a run under way.
        if (IsOwnFile(it->path()) && !IsReservation(name) &&
            !underWay.contains(name.substr(0, kBaseLength))) {
            sets[name.substr(0, kBaseLength)].push_back(it->path());
        }
    }
    if (!anyMatch) {
        NVR_LOG_DEBUG("No timestamped files found");
        NVR_LOG_ENTRY("Exiting");
        return;
    }
    NVR_LOG_DEBUG("Found {} unique timestamped base names", sets.size());
    if (sets.size() <= static_cast<size_t>(limit)) {
        NVR_LOG_DEBUG("Within limit, no cleanup needed");
        NVR_LOG_ENTRY("Exiting");
        return;
    }

    size_t toRemove = sets.size() - static_cast<size_t>(limit);
    NVR_LOG_INFO("Removing {} oldest timestamped file set(s) to enforce limit of {}", toRemove,
                 limit);
    for (auto set = sets.begin(); toRemove > 0; ++set, --toRemove) {
        const auto& [base, doomed] = *set;
        NVR_LOG_DEBUG("Deleting files with base: {}", base);
        int deleted = 0;
        for (const fs::path& path : doomed) {
            std::error_code removeError;
            if (fs::remove(path, removeError)) {
                ++deleted;
            } else {
                NVR_LOG_WARNING("Failed to delete file (Error: {}): {}", removeError.value(),
                                path.string());
            }
        }
        NVR_LOG_DEBUG("Deleted {} file(s) with base: {}", deleted, base);
    }
    NVR_LOG_INFO("Cleanup complete");
    NVR_LOG_ENTRY("Exiting");
}

std::set<std::string> TempFileManager::SettleOtherRunsLocked() {
    // A run locks its reservation as it makes it, holds the lock until it ends, and removes
    // the reservation when it ends of itself. One that nobody holds a minute on is that of a
    // run that was killed, whose capture and log stopped halfway: it goes with its files. A
    // younger one, or one held, is a run under way.
    std::set<std::string> killed;
    std::set<std::string> underWay;
    std::vector<fs::path> own;
    const auto aMinuteAgo = fs::file_time_type::clock::now() - std::chrono::minutes(1);
    std::error_code ec;
    for (fs::directory_iterator it(m_tempDirectory, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (!IsOwnFile(it->path())) {
            continue;
        }
        own.push_back(it->path());
        if (!IsReservation(name) || it->path().string() == m_reservation) {
            continue;
        }
        std::error_code timeError;
        const bool young = fs::last_write_time(it->path(), timeError) >= aMinuteAgo;
        const std::string base = name.substr(0, kBaseLength);
        if (!timeError && !young && platform::IsAbandonedLock(it->path().string())) {
            killed.insert(base);
        } else {
            underWay.insert(base);
        }
    }
    for (const fs::path& path : own) {
        if (killed.contains(path.filename().string().substr(0, kBaseLength))) {
            std::error_code removeError;
            fs::remove(path, removeError);
        }
    }
    for (const std::string& base : killed) {
        NVR_LOG_INFO("Removed the files of a run that was killed: {}", base);
    }
    return underWay;
}

bool TempFileManager::IsDirectoryEmpty(const std::string& path) {
    std::error_code ec;
    fs::directory_iterator it(path, ec);
    if (ec) {
        return false;
    }
    return it == fs::directory_iterator();
}

void TempFileManager::CleanupTempDirectory() {
    std::lock_guard lock(m_lock);
    ReleaseReservationLocked();
    if (!m_directoryCreatedByUs || !m_isDefaultDirectory || m_tempDirectory.empty()) {
        return;
    }
    NVR_LOG_DEBUG("Checking if directory can be removed: {}", m_tempDirectory);
    if (!IsDirectoryEmpty(m_tempDirectory)) {
        NVR_LOG_INFO("Temp directory not empty, keeping: {}", m_tempDirectory);
        return;
    }
    std::error_code ec;
    if (fs::remove(m_tempDirectory, ec)) {
        NVR_LOG_INFO("Removed empty temp directory: {}", m_tempDirectory);
    } else {
        NVR_LOG_WARNING("Failed to remove temp directory (Error: {}): {}", ec.value(),
                        m_tempDirectory);
    }
    // The user's own directory goes too when nothing else lives in it.
    if (!m_userDirectory.empty() && IsDirectoryEmpty(m_userDirectory)) {
        fs::remove(m_userDirectory, ec);
    }
}

}  // namespace nvrprint
