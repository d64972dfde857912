#pragma once

#include <memory>
#include <string>

#include "platform/Result.h"

namespace docmgr {

// A working file of a backend: made empty and private under a fresh name, removed again when
// the object goes.
class ScratchFile {
public:
    // In directory (the system's temp directory when empty), named stem-XXXXXX.extension.
    static nvrprint::Result<std::unique_ptr<ScratchFile>> Create(const std::string& directory,
                                                                 const std::string& stem,
                                                                 const std::string& extension);
    ~ScratchFile();
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    const std::string& Path() const { return m_path; }

    struct Key {
        explicit Key() = default;
    };
    ScratchFile(Key, std::string path) : m_path(std::move(path)) {}

private:
    std::string m_path;
};

}  // namespace docmgr
