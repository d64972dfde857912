#include "DocFilePageMgr/DocFilePageMgrLib/FileSignature.h"

#include <fstream>

namespace docmgr {

bool ReadFileHead(const std::string& path, size_t maxBytes, std::string* head) {
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open()) {
        return false;
    }
    head->assign(maxBytes, '\0');
    file.read(head->data(), static_cast<std::streamsize>(maxBytes));
    head->resize(static_cast<size_t>(file.gcount()));
    return true;
}

}  // namespace docmgr
