#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "platform/Result.h"

namespace docmgr {

// What a package may hold before any of its parts is read. The numbers are those its central
// directory declares, so a zip bomb is refused without being expanded.
struct XpsPackageLimits {
    uint64_t maxEntries = 10000;
    uint64_t maxPartBytes = uint64_t{256} << 20;
    uint64_t maxTotalBytes = uint64_t{1} << 30;
    // Parts up to this size may expand as much as they like; larger ones at most maxRatio
    // times their stored size.
    uint64_t ratioFreeBytes = uint64_t{1} << 20;
    uint64_t maxRatio = 200;
};

// Whether a ZIP archive's central directory shows an XPS or OpenXPS package: package
// relationships ("_rels/.rels") and a fixed document sequence (a ".fdseq" part, a part named
// for one, or content types stored as interleaved pieces), read within the limits and without
// expanding any part. Packages written on Windows often start with compressed or
// interleaved parts, metadata or document properties, whose first bytes name none of these.
bool HasXpsPackageDirectory(const std::string& path, const XpsPackageLimits& limits = {});

// Checks an XPS package (a ZIP archive) against the limits and writes it to outputPath as a
// plain package: one stored entry per part, the pieces of an interleaved part
// ("[0].piece" ... "[n].last.piece") joined in order, no data descriptors, every size and
// checksum verified while copying. What reads outputPath afterwards thus sees exactly what
// was checked. Fails, with the reason and no output file, for anything else.
nvrprint::Status RewriteXpsPackage(const std::string& sourcePath, const std::string& outputPath,
                                   const XpsPackageLimits& limits = {});
// The same for a package held in memory.
nvrprint::Status RewriteXpsPackage(std::span<const unsigned char> bytes,
                                   const std::string& outputPath,
                                   const XpsPackageLimits& limits = {});

}  // namespace docmgr
