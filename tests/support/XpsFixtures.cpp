#include "tests/support/XpsFixtures.h"

#include <fmt/format.h>
#include <zlib.h>

#include <stdexcept>

#include "tests/support/TestSupport.h"

namespace testsupport {
namespace {

constexpr const char* kFontPath = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

void Put16(std::string* out, uint32_t value) {
    out->push_back(static_cast<char>(value & 0xFF));
    out->push_back(static_cast<char>((value >> 8) & 0xFF));
}

void Put32(std::string* out, uint32_t value) {
    Put16(out, value & 0xFFFF);
    Put16(out, value >> 16);
}

std::string RawDeflate(const std::string& data) {
    z_stream stream{};
    if (deflateInit2(&stream, 9, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("deflateInit2 failed");
    }
    std::string out(deflateBound(&stream, data.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int result = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END) {
        throw std::runtime_error("deflate failed");
    }
    return out;
}

std::string PageMarkup(const char* ns, const XpsPageSize& size, int number) {
    return fmt::format(
        R"(<FixedPage xmlns="{0}" xmlns:x="http://schemas.microsoft.com/xps/2005/06/resourcedictionary-key" Width="{1}" Height="{2}" xml:lang="en-US">
  <Path Data="M 96,96 L 192,96 L 192,192 L 96,192 Z" Fill="#FF000000"/>
  <Path Data="M 80,80 L 208,80 L 208,208 L 80,208 Z" Stroke="#FFFF0000" StrokeThickness="4"/>
  <Glyphs OriginX="96" OriginY="{4}" FontRenderingEmSize="48" FontUri="/Resources/DejaVuSans.ttf" UnicodeString="Page {3}" Fill="#FF000000"/>
</FixedPage>)",
        ns, size.width, size.height, number, size.height - 40);
}

// Splits a part into pieces of about a third each (at least one byte).
std::vector<std::string> Pieces(const std::string& data) {
    const size_t third = std::max<size_t>(data.size() / 3, 1);
    std::vector<std::string> pieces;
    for (size_t at = 0; at < data.size(); at += third) {
        pieces.push_back(data.substr(at, third));
    }
    if (pieces.empty()) {
        pieces.emplace_back();
    }
    return pieces;
}

}  // namespace

std::string Noise(size_t length) {
    std::string text(length, '0');
    uint32_t state = 2463534242u;
    for (char& c : text) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        c = "0123456789abcdef"[state & 15];
    }
    return text;
}

std::vector<std::pair<std::string, XpsOptions>> PackagesWithLateMarkers() {
    return {
        {"compressed content types", {.contentTypesNoise = 4096}},
        {"document properties", {.leadingParts = {{"docProps/core.xml", Noise(4096)}}}},
        {"metadata", {.openXps = true, .leadingParts = {{"Metadata/Job_PT.xml", Noise(4096)}}}},
        {"interleaved piece", {.interleaved = true, .contentTypesNoise = 8192}},
    };
}

std::string MakeZip(const std::vector<ZipEntry>& entries) {
    std::string out;
    std::string central;
    for (const ZipEntry& entry : entries) {
        const std::string stored = entry.deflate ? RawDeflate(entry.data) : entry.data;
        const uint32_t crc =
            static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(entry.data.data()),
                                        static_cast<uInt>(entry.data.size())));
        const uint32_t size = static_cast<uint32_t>(
            entry.declaredSize >= 0 ? entry.declaredSize : static_cast<int64_t>(entry.data.size()));
        const uint32_t flags = entry.dataDescriptor ? 0x0008 : 0;
        const uint32_t method = entry.deflate ? 8 : 0;
        const uint32_t offset = static_cast<uint32_t>(out.size());

        Put32(&out, 0x04034b50);
        Put16(&out, 20);
        Put16(&out, flags);
        Put16(&out, method);
        Put16(&out, 0);       // time
        Put16(&out, 0x5A21);  // date: 2025-01-01
        Put32(&out, entry.dataDescriptor ? 0 : crc);
        Put32(&out, entry.dataDescriptor ? 0 : static_cast<uint32_t>(stored.size()));
        Put32(&out, entry.dataDescriptor ? 0 : size);
        Put16(&out, static_cast<uint32_t>(entry.name.size()));
        Put16(&out, 0);
        out += entry.name;
        out += stored;
        if (entry.dataDescriptor) {
            Put32(&out, 0x08074b50);
            Put32(&out, crc);
            Put32(&out, static_cast<uint32_t>(stored.size()));
            Put32(&out, size);
        }

        Put32(&central, 0x02014b50);
        Put16(&central, 20);
        Put16(&central, 20);
        Put16(&central, flags);
        Put16(&central, method);
        Put16(&central, 0);
        Put16(&central, 0x5A21);
        Put32(&central, crc);
        Put32(&central, static_cast<uint32_t>(stored.size()));
        Put32(&central, size);
        Put16(&central, static_cast<uint32_t>(entry.name.size()));
        Put16(&central, 0);
        Put16(&central, 0);
        Put16(&central, 0);
        Put16(&central, 0);
        Put32(&central, 0);
        Put32(&central, offset);
        central += entry.name;
    }
    const uint32_t centralOffset = static_cast<uint32_t>(out.size());
    out += central;
    Put32(&out, 0x06054b50);
    Put16(&out, 0);
    Put16(&out, 0);
    Put16(&out, static_cast<uint32_t>(entries.size()));
    Put16(&out, static_cast<uint32_t>(entries.size()));
    Put32(&out, static_cast<uint32_t>(central.size()));
    Put32(&out, centralOffset);
    Put16(&out, 0);
    return out;
}

std::vector<ZipEntry> XpsParts(const std::vector<std::vector<XpsPageSize>>& documents,
                               const XpsOptions& options) {
    const char* ns = options.openXps ? "http://schemas.openxps.org/oxps/v1.0"
                                     : "http://schemas.microsoft.com/xps/2005/06";
    const char* representation =
        options.openXps ? "http://schemas.openxps.org/oxps/v1.0/fixedrepresentation"
                        : "http://schemas.microsoft.com/xps/2005/06/fixedrepresentation";
    const char* sequenceType = "application/vnd.ms-package.xps-fixeddocumentsequence+xml";
    std::vector<std::pair<std::string, std::string>> parts = options.leadingParts;
    parts.emplace_back("[Content_Types].xml",
                       fmt::format(R"(<?xml version="1.0" encoding="UTF-8"?>
<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">
  <Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>
  <Default Extension="fdseq" ContentType="{}"/>
  <Default Extension="fdoc" ContentType="application/vnd.ms-package.xps-fixeddocument+xml"/>
  <Default Extension="fpage" ContentType="application/vnd.ms-package.xps-fixedpage+xml"/>
  <Default Extension="ttf" ContentType="application/vnd.ms-opentype"/>
  <Default Extension="xml" ContentType="application/xml"/>
  <!-- {} -->
</Types>)",
                                   sequenceType, Noise(options.contentTypesNoise)));
    parts.emplace_back("_rels/.rels", fmt::format(R"(<?xml version="1.0" encoding="UTF-8"?>
<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">
  <Relationship Id="R0" Type="{}" Target="/FixedDocumentSequence.fdseq"/>
</Relationships>)",
                                                  representation));
    std::string sequence = fmt::format(R"(<FixedDocumentSequence xmlns="{}">)", ns);
    int number = 0;
    for (size_t d = 0; d < documents.size(); ++d) {
        sequence +=
            fmt::format(R"(<DocumentReference Source="/Documents/{}/FixedDocument.fdoc"/>)", d + 1);
        std::string document = fmt::format(R"(<FixedDocument xmlns="{}">)", ns);
        for (size_t p = 0; p < documents[d].size(); ++p) {
            const std::string pagePath = fmt::format("Documents/{}/Pages/{}.fpage", d + 1, p + 1);
            const XpsPageSize declared = options.declaredSize.value_or(documents[d][p]);
            document += fmt::format(R"(<PageContent Source="/{}" Width="{}" Height="{}"/>)",
                                    pagePath, declared.width, declared.height);
            parts.emplace_back(pagePath, PageMarkup(ns, documents[d][p], ++number));
        }
        document += "</FixedDocument>";
        parts.emplace_back(fmt::format("Documents/{}/FixedDocument.fdoc", d + 1), document);
    }
    sequence += "</FixedDocumentSequence>";
    parts.emplace_back("FixedDocumentSequence.fdseq", sequence);
    parts.emplace_back("Resources/DejaVuSans.ttf", ReadFile(kFontPath));

    std::vector<ZipEntry> entries;
    if (!options.interleaved) {
        for (auto& [name, data] : parts) {
            entries.push_back(ZipEntry{name, data, true, options.dataDescriptors});
        }
        return entries;
    }
    // Round after round, one piece of every part that still has pieces left.
    std::vector<std::vector<std::string>> split;
    for (const auto& part : parts) {
        split.push_back(Pieces(part.second));
    }
    for (size_t round = 0;; ++round) {
        bool any = false;
        for (size_t i = 0; i < parts.size(); ++i) {
            if (round >= split[i].size()) {
                continue;
            }
            any = true;
            const bool last = round + 1 == split[i].size();
            entries.push_back(
                ZipEntry{fmt::format("{}/[{}].{}piece", parts[i].first, round, last ? "last." : ""),
                         split[i][round], true, options.dataDescriptors});
        }
        if (!any) {
            break;
        }
    }
    return entries;
}

void MakeXps(const std::string& path, const std::vector<std::vector<XpsPageSize>>& documents,
             const XpsOptions& options) {
    WriteFile(path, MakeZip(XpsParts(documents, options)));
}

}  // namespace testsupport
