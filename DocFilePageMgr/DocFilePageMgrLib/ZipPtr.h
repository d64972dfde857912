#pragma once

#include <zip.h>

#include <memory>

// Owning pointers for libzip archives and their open entries. An archive is let go without
// writing; an archive opened for writing is written by zip_close on a released pointer.
namespace docmgr {

struct ZipDiscard {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
using ZipPtr = std::unique_ptr<zip_t, ZipDiscard>;

struct ZipFileClose {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};
using ZipFilePtr = std::unique_ptr<zip_file_t, ZipFileClose>;

}  // namespace docmgr
