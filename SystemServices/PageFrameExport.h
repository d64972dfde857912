#pragma once

#include <cstdint>
#include <string>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"
#include "SystemServices/ImageFrameEncoder.h"

namespace nvrprint {

// Rows of a frame compressed as one band.
inline constexpr int32_t kFrameBandRows = 64;

// Writes pages 1..pageCount of the document, as the manager renders them for the Printer
// target, as the frames of one file at path. Each page is rendered once and let go when its
// frame is written; its bands are compressed on `workers` threads at once and added in order.
// False on the first page that fails, with its cause in the log; the file keeps the pages
// before it.
bool ExportPageFrames(docmgr::DocFilePageMgr& document, uint64_t pageCount,
                      platform::ImageFrameEncoder& encoder, const std::string& path,
                      unsigned workers);

}  // namespace nvrprint
