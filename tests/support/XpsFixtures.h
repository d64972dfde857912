#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Writing XPS packages for the tests, and the ZIP archives beneath them, hostile ones too.
namespace testsupport {

// One entry of a ZIP archive as it is to be written.
struct ZipEntry {
    std::string name;
    std::string data;
    bool deflate = true;
    // Sizes and checksum follow the data instead of standing in the local header.
    bool dataDescriptor = false;
    // The uncompressed size the headers declare; -1 for the true one.
    int64_t declaredSize = -1;
};

// The bytes of a ZIP archive holding the entries in this order.
std::string MakeZip(const std::vector<ZipEntry>& entries);

// Page sizes in 1/96 inch, as XPS counts.
struct XpsPageSize {
    double width;
    double height;
};
inline constexpr XpsPageSize kXpsLetter{816, 1056};
inline constexpr XpsPageSize kXpsLetterLandscape{1056, 816};

struct XpsOptions {
    bool openXps = false;      // the OpenXPS namespaces and relationship instead of XPS's
    bool interleaved = false;  // every part stored as pieces, interleaved with the others'
    bool dataDescriptors = false;
    // Parts stored before all others, as Windows stores document properties or metadata.
    std::vector<std::pair<std::string, std::string>> leadingParts{};
    // Bytes of hardly compressible comment in [Content_Types].xml, so that even compressed
    // it fills the archive's first bytes.
    size_t contentTypesNoise = 0;
    // The size the fixed document declares for every page, where it differs from the page's.
    std::optional<XpsPageSize> declaredSize{};
};

// Packages stored as Windows and common XPS libraries store them, whose first 512 bytes name
// no XPS part or content type: a large compressed [Content_Types].xml first, document
// properties first, metadata first (OpenXPS), interleaved pieces. Named by what comes first.
std::vector<std::pair<std::string, XpsOptions>> PackagesWithLateMarkers();

// Hex digits of a fixed pseudo-random sequence: text that deflate hardly shrinks.
std::string Noise(size_t length);

// The parts of an XPS package with one sub-document per element of documents. Every page
// carries, in page units: a black square from (96,96) to (192,192); a stroked red frame
// around (80,80)-(208,208); and "Page N" (N counting from 1 over the whole package) in black
// glyphs of DejaVu Sans, embedded, 48 units high, on a baseline 40 units above the page's
// bottom edge, from x = 96.
std::vector<ZipEntry> XpsParts(const std::vector<std::vector<XpsPageSize>>& documents,
                               const XpsOptions& options = {});
void MakeXps(const std::string& path, const std::vector<std::vector<XpsPageSize>>& documents,
             const XpsOptions& options = {});

}  // namespace testsupport
