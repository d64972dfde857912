#include "DocFilePageMgr/DocFilePageMgrLib/XpsPackage.h"
#include "DocFilePageMgr/DocFilePageMgrLib/ZipPtr.h"

#include <zip.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <map>
#include <memory>
#include <vector>

#include <fmt/format.h>

namespace docmgr {
namespace {

using nvrprint::Failure;
using nvrprint::Result;
using nvrprint::Status;

// A package refused or not copied, in words for the log.
Failure BadPackage(std::string why) {
    return Failure{EBADMSG, std::move(why)};
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

struct Piece {
    uint64_t number;
    bool last;
    zip_uint64_t index;
    uint64_t size;
};

// One part of the package as it is to be written: its name and the entries holding it.
struct Part {
    std::string name;
    std::vector<Piece> pieces;
    bool interleaved = false;
};

// "<part>/[<n>].piece" or "<part>/[<n>].last.piece": the part's name, number and last flag.
bool ParsePieceName(const std::string& name, std::string* part, uint64_t* number, bool* last) {
    const size_t slash = name.rfind("/[");
    if (slash == std::string::npos || slash == 0) {
        return false;
    }
    const size_t close = name.find(']', slash);
    if (close == std::string::npos || close == slash + 2 || close - slash - 2 > 9) {
        return false;
    }
    const std::string digits = name.substr(slash + 2, close - slash - 2);
    if (!std::all_of(digits.begin(), digits.end(),
                     [](unsigned char c) { return std::isdigit(c); })) {
        return false;
    }
    const std::string suffix = Lower(name.substr(close + 1));
    if (suffix != ".piece" && suffix != ".last.piece") {
        return false;
    }
    *part = name.substr(0, slash);
    *number = std::stoull(digits);
    *last = suffix == ".last.piece";
    return true;
}

std::string ZipErrorText(zip_error_t* error) {
    return zip_error_strerror(error);
}

// The text of an error code zip_open gave.
std::string ZipOpenErrorText(int code) {
    zip_error_t details;
    zip_error_init_with_code(&details, code);
    std::string text = ZipErrorText(&details);
    zip_error_fini(&details);
    return text;
}

// Reads the central directory, checks it against the limits, and groups the entries into
// parts in the order their first entry appears.
Status PlanParts(zip_t* archive, const XpsPackageLimits& limits, std::vector<Part>* parts) {
    const zip_int64_t count = zip_get_num_entries(archive, 0);
    if (count <= 0) {
        return BadPackage("the archive holds no entries");
    }
    if (static_cast<uint64_t>(count) > limits.maxEntries) {
        return BadPackage(
            fmt::format("the archive holds {} entries, more than {}", count, limits.maxEntries));
    }
    std::map<std::string, size_t> byName;  // lower-case part name -> index in parts
    uint64_t total = 0;
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t st;
        zip_stat_init(&st);
        if (zip_stat_index(archive, static_cast<zip_uint64_t>(i), 0, &st) != 0 ||
            !(st.valid & ZIP_STAT_NAME) || !(st.valid & ZIP_STAT_SIZE) ||
            !(st.valid & ZIP_STAT_COMP_SIZE) || !(st.valid & ZIP_STAT_COMP_METHOD)) {
            return BadPackage(fmt::format("entry {} cannot be read from the central directory", i));
        }
        const std::string name = st.name;
        if (name.empty() || name.back() == '/') {
            continue;  // a folder
        }
        if ((st.valid & ZIP_STAT_ENCRYPTION_METHOD) && st.encryption_method != ZIP_EM_NONE) {
            return BadPackage(fmt::format("entry {} is encrypted", name));
        }
        if (st.comp_method != ZIP_CM_STORE && st.comp_method != ZIP_CM_DEFLATE) {
            return BadPackage(
                fmt::format("entry {} uses compression method {}", name, st.comp_method));
        }
        if (st.size > limits.maxPartBytes) {
            return BadPackage(fmt::format("entry {} expands to {} bytes, more than {}", name,
                                          st.size, limits.maxPartBytes));
        }
        total += st.size;
        if (total > limits.maxTotalBytes) {
            return BadPackage(
                fmt::format("the entries expand to more than {} bytes", limits.maxTotalBytes));
        }
        if (st.size > limits.ratioFreeBytes &&
            st.size / std::max<uint64_t>(st.comp_size, 1) > limits.maxRatio) {
            return BadPackage(fmt::format("entry {} expands {} bytes to {}, more than {} times",
                                          name, st.comp_size, st.size, limits.maxRatio));
        }

        std::string partName = name;
        uint64_t number = 0;
        bool last = false;
        const bool isPiece = ParsePieceName(name, &partName, &number, &last);
        const std::string key = Lower(partName);
        auto found = byName.find(key);
        if (found == byName.end()) {
            found = byName.emplace(key, parts->size()).first;
            parts->push_back(Part{partName, {}, isPiece});
        }
        Part& part = (*parts)[found->second];
        if (part.interleaved != isPiece || (!isPiece && !part.pieces.empty())) {
            return BadPackage(fmt::format("part {} is stored more than once", partName));
        }
        part.pieces.push_back(Piece{number, last, static_cast<zip_uint64_t>(i), st.size});
    }
    if (parts->empty()) {
        return BadPackage("the archive holds only folders");
    }
    for (Part& part : *parts) {
        if (!part.interleaved) {
            continue;
        }
        std::sort(part.pieces.begin(), part.pieces.end(),
                  [](const Piece& a, const Piece& b) { return a.number < b.number; });
        for (size_t k = 0; k < part.pieces.size(); ++k) {
            const bool shouldBeLast = k + 1 == part.pieces.size();
            if (part.pieces[k].number != k || part.pieces[k].last != shouldBeLast) {
                return BadPackage(fmt::format("the pieces of part {} are incomplete", part.name));
            }
        }
    }
    return {};
}

// Streams one part out of the source archive, piece after piece, for the writer. Each entry
// must give exactly the bytes its directory entry declares; the library checks the CRC.
class PartReader {
public:
    PartReader(zip_t* source, const Part& part) : m_source(source), m_part(part) {
        zip_error_init(&m_error);
        for (const Piece& piece : part.pieces) {
            m_size += piece.size;
        }
    }
    ~PartReader() { zip_error_fini(&m_error); }
    PartReader(const PartReader&) = delete;
    PartReader& operator=(const PartReader&) = delete;

    const std::string& Failure() const { return m_failure; }

    static zip_int64_t Callback(void* state, void* data, zip_uint64_t length,
                                zip_source_cmd_t command) {
        return static_cast<PartReader*>(state)->Handle(data, length, command);
    }

private:
    zip_int64_t Fail(const std::string& what, int code) {
        if (m_failure.empty()) {
            m_failure = what;
        }
        zip_error_set(&m_error, code, 0);
        return -1;
    }

    zip_int64_t Handle(void* data, zip_uint64_t length, zip_source_cmd_t command) {
        switch (command) {
            case ZIP_SOURCE_OPEN:
                m_next = 0;
                m_current.reset();
                return 0;
            case ZIP_SOURCE_READ:
                return Read(static_cast<char*>(data), length);
            case ZIP_SOURCE_CLOSE:
                m_current.reset();
                return 0;
            case ZIP_SOURCE_STAT: {
                auto* st = static_cast<zip_stat_t*>(data);
                zip_stat_init(st);
                st->size = m_size;
                st->mtime = 0;
                st->valid = ZIP_STAT_SIZE | ZIP_STAT_MTIME;
                return sizeof(*st);
            }
            case ZIP_SOURCE_ERROR:
                return zip_error_to_data(&m_error, data, length);
            case ZIP_SOURCE_FREE:
                return 0;
            case ZIP_SOURCE_SUPPORTS:
                return ZIP_SOURCE_SUPPORTS_READABLE;
            default:
                zip_error_set(&m_error, ZIP_ER_OPNOTSUPP, 0);
                return -1;
        }
    }

    zip_int64_t Read(char* data, zip_uint64_t length) {
        while (true) {
            if (!m_current) {
                if (m_next == m_part.pieces.size()) {
                    return 0;
                }
                const Piece& piece = m_part.pieces[m_next];
                m_current.reset(zip_fopen_index(m_source, piece.index, 0));
                if (!m_current) {
                    return Fail(fmt::format("part {} cannot be read: {}", m_part.name,
                                            zip_strerror(m_source)),
                                ZIP_ER_READ);
                }
                m_pieceLeft = piece.size;
            }
            // One byte more than declared shows an entry that expands beyond its size.
            const zip_uint64_t want = std::min<zip_uint64_t>(length, m_pieceLeft + 1);
            const zip_int64_t got = zip_fread(m_current.get(), data, want);
            if (got < 0) {
                return Fail(fmt::format("part {} is damaged: {}", m_part.name,
                                        zip_file_strerror(m_current.get())),
                            ZIP_ER_READ);
            }
            if (static_cast<zip_uint64_t>(got) > m_pieceLeft) {
                return Fail(fmt::format("part {} holds more than its declared size", m_part.name),
                            ZIP_ER_INCONS);
            }
            m_pieceLeft -= static_cast<zip_uint64_t>(got);
            if (got > 0) {
                return got;
            }
            if (m_pieceLeft != 0) {
                return Fail(fmt::format("part {} is shorter than its declared size", m_part.name),
                            ZIP_ER_INCONS);
            }
            m_current.reset();
            ++m_next;
        }
    }

    zip_t* m_source;
    const Part& m_part;
    zip_error_t m_error;
    uint64_t m_size = 0;
    size_t m_next = 0;
    ZipFilePtr m_current;
    uint64_t m_pieceLeft = 0;
    std::string m_failure;
};

Status WritePlainPackage(zip_t* source, const std::vector<Part>& parts,
                         const std::string& outputPath) {
    int error = 0;
    ZipPtr output(zip_open(outputPath.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error));
    if (!output) {
        return BadPackage(fmt::format("cannot create {}: {}", outputPath, ZipOpenErrorText(error)));
    }
    std::vector<std::unique_ptr<PartReader>> readers;
    for (const Part& part : parts) {
        readers.push_back(std::make_unique<PartReader>(source, part));
        zip_source_t* data =
            zip_source_function(output.get(), &PartReader::Callback, readers.back().get());
        if (data == nullptr) {
            return BadPackage(
                fmt::format("cannot add part {}: {}", part.name, zip_strerror(output.get())));
        }
        const zip_int64_t index = zip_file_add(output.get(), part.name.c_str(), data, 0);
        if (index < 0) {
            zip_source_free(data);
            return BadPackage(
                fmt::format("cannot add part {}: {}", part.name, zip_strerror(output.get())));
        }
        zip_set_file_compression(output.get(), static_cast<zip_uint64_t>(index), ZIP_CM_STORE, 0);
    }
    if (zip_close(output.get()) != 0) {
        std::string why = zip_strerror(output.get());
        for (const auto& reader : readers) {
            if (!reader->Failure().empty()) {
                why = reader->Failure();
                break;
            }
        }
        std::remove(outputPath.c_str());
        return BadPackage("the package cannot be copied: " + why);
    }
    output.release();  // zip_close freed it
    return {};
}

bool HoldsFixedDocumentSequence(const std::vector<Part>& parts) {
    bool relationships = false;
    bool sequence = false;
    for (const Part& part : parts) {
        const std::string name = Lower(part.name);
        relationships = relationships || name == "_rels/.rels";
        sequence = sequence || name.ends_with(".fdseq") ||
                   name.find("fixeddocumentsequence") != std::string::npos ||
                   (name == "[content_types].xml" && part.interleaved);
    }
    return relationships && sequence;
}

Result<ZipPtr> OpenArchive(const std::string& path) {
    int error = 0;
    ZipPtr archive(zip_open(path.c_str(), ZIP_RDONLY | ZIP_CHECKCONS, &error));
    if (!archive) {
        return BadPackage(fmt::format("not a readable ZIP archive: {}", ZipOpenErrorText(error)));
    }
    return archive;
}

Status Rewrite(zip_t* source, const std::string& outputPath, const XpsPackageLimits& limits) {
    std::vector<Part> parts;
    if (Status planned = PlanParts(source, limits, &parts); !planned) {
        return planned;
    }
    return WritePlainPackage(source, parts, outputPath);
}

}  // namespace

bool HasXpsPackageDirectory(const std::string& path, const XpsPackageLimits& limits) {
    Result<ZipPtr> archive = OpenArchive(path);
    std::vector<Part> parts;
    return archive && PlanParts(archive->get(), limits, &parts).ok() &&
           HoldsFixedDocumentSequence(parts);
}

Status RewriteXpsPackage(const std::string& sourcePath, const std::string& outputPath,
                         const XpsPackageLimits& limits) {
    Result<ZipPtr> source = OpenArchive(sourcePath);
    if (!source) {
        return source.error();
    }
    return Rewrite(source->get(), outputPath, limits);
}

Status RewriteXpsPackage(std::span<const unsigned char> bytes, const std::string& outputPath,
                         const XpsPackageLimits& limits) {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* buffer = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
    if (buffer == nullptr) {
        const std::string why = ZipErrorText(&error);
        zip_error_fini(&error);
        return BadPackage("cannot read the package: " + why);
    }
    ZipPtr source(zip_open_from_source(buffer, ZIP_RDONLY | ZIP_CHECKCONS, &error));
    if (!source) {
        zip_source_free(buffer);
        const std::string why = ZipErrorText(&error);
        zip_error_fini(&error);
        return BadPackage("not a readable ZIP archive: " + why);
    }
    zip_error_fini(&error);
    return Rewrite(source.get(), outputPath, limits);
}

}  // namespace docmgr
