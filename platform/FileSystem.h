#pragma once

#include <string>

// File-system operations whose meaning differs between platforms.
namespace nvrprint::platform {

// Directory the system offers for temporary files, without a trailing separator;
// empty when the system names none that is usable.
std::string SystemTempPath();

// Creates a directory that only the current user may enter. An existing directory counts as
// created (another instance may have won the race). On failure returns false and sets error.
bool CreatePrivateDirectory(const std::string& path, int* error);

// Checks that path is a real directory (not a link), owned by the current user, and closed
// to everybody else. On refusal returns false and describes why in reason.
bool IsPrivateDirectory(const std::string& path, std::string* reason);

}  // namespace nvrprint::platform
