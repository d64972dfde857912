#include "DocFilePageMgr/DocFilePageMgrLib/ScratchFile.h"

#include <stdlib.h>
#include <unistd.h>

#include <cerrno>

#include "platform/FileSystem.h"

namespace docmgr {

nvrprint::Result<std::unique_ptr<ScratchFile>> ScratchFile::Create(const std::string& directory,
                                                                   const std::string& stem,
                                                                   const std::string& extension) {
    std::string dir = directory.empty() ? nvrprint::platform::SystemTempPath() : directory;
    if (dir.empty()) {
        dir = "/tmp";
    }
    const std::string suffix = "." + extension;
    std::string pattern = dir + "/" + stem + "-XXXXXX" + suffix;
    const int fd = ::mkstemps(pattern.data(), static_cast<int>(suffix.size()));
    if (fd < 0) {
        return nvrprint::SystemFailure(errno);
    }
    ::close(fd);
    return std::make_unique<ScratchFile>(Key{}, pattern);
}

ScratchFile::~ScratchFile() {
    ::unlink(m_path.c_str());
}

}  // namespace docmgr
