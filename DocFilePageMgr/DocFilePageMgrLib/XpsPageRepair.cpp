#include "DocFilePageMgr/DocFilePageMgrLib/XpsPageRepair.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/ZipPtr.h"

namespace docmgr {
namespace {

// An element of the markup: from the '<' of its start tag to just past its end tag.
struct ElementSpan {
    size_t start = 0;
    size_t tagEnd = 0;  // just past its start tag
    size_t end = 0;
    std::string name;
};

// Every element of the markup in the order they start; comments, processing instructions
// and character data are passed over. An element left open ends with the markup.
std::vector<ElementSpan> Elements(std::string_view markup) {
    std::vector<ElementSpan> spans;
    std::vector<size_t> open;
    size_t pos = 0;
    auto skipTo = [&](std::string_view closing) {
        const size_t at = markup.find(closing, pos);
        pos = at == std::string_view::npos ? markup.size() : at + closing.size();
    };
    while ((pos = markup.find('<', pos)) != std::string_view::npos) {
        const std::string_view rest = markup.substr(pos);
        if (rest.starts_with("<!--")) {
            skipTo("-->");
        } else if (rest.starts_with("<![CDATA[")) {
            skipTo("]]>");
        } else if (rest.starts_with("<?")) {
            skipTo("?>");
        } else if (rest.starts_with("<!")) {
            skipTo(">");
        } else if (rest.starts_with("</")) {
            skipTo(">");
            if (!open.empty()) {
                spans[open.back()].end = pos;
                open.pop_back();
            }
        } else {
            ElementSpan span;
            span.start = pos;
            const size_t nameEnd = markup.find_first_of(" \t\r\n/>", pos + 1);
            span.name = markup.substr(pos + 1, nameEnd - pos - 1);
            char quote = 0;
            size_t at = std::min(nameEnd, markup.size());
            for (; at < markup.size(); ++at) {
                const char c = markup[at];
                if (quote != 0) {
                    quote = c == quote ? 0 : quote;
                } else if (c == '"' || c == '\'') {
                    quote = c;
                } else if (c == '>') {
                    break;
                }
            }
            pos = span.tagEnd = at < markup.size() ? at + 1 : markup.size();
            const bool selfClosing = at < markup.size() && markup[at - 1] == '/';
            span.end = selfClosing ? pos : markup.size();
            spans.push_back(std::move(span));
            if (!selfClosing) {
                open.push_back(spans.size() - 1);
            }
        }
    }
    return spans;
}

// The byte offset of a place as the markup parser counts it: lines from 1, columns in bytes
// from 1 on the first line and from 2 on the others (it counts the line's newline). A byte
// order mark, which the parser never sees, shifts the first line.
size_t OffsetOf(std::string_view markup, int line, int column) {
    size_t pos = markup.starts_with("\xEF\xBB\xBF") ? 3 : 0;
    for (int l = 1; l < line && pos < markup.size(); ++l) {
        const size_t newline = markup.find('\n', pos);
        pos = newline == std::string_view::npos ? markup.size() : newline + 1;
    }
    const size_t skip = static_cast<size_t>(std::max(0, column - (line > 1 ? 2 : 1)));
    return std::min(markup.size(), pos + skip);
}

}  // namespace

std::optional<XpsDrawingFault> ParseDrawingFault(std::string_view error) {
    // Only the head of a message is read: the library quotes page content after it.
    constexpr size_t kReadBytes = 4096;
    const std::string_view text = error.substr(0, kReadBytes);
    constexpr std::string_view kPage = "Error rendering page ";
    const size_t pageAt = text.find(kPage);
    const size_t partAt = pageAt == std::string_view::npos ? pageAt : pageAt + kPage.size();
    const size_t partEnd = partAt == std::string_view::npos ? partAt : text.find(": ", partAt);
    if (partEnd == std::string_view::npos || partEnd == partAt) {
        return std::nullopt;
    }
    XpsDrawingFault fault;
    fault.part = text.substr(partAt, partEnd - partAt);
    fault.detail = text.substr(partEnd + 2);
    const std::string_view detail = fault.detail;
    // "<part>:<line>:<column> invalid content in attribute 'A' of element 'E': ..."
    if (detail.starts_with(fault.part) && detail.substr(fault.part.size()).starts_with(':')) {
        const char* at = detail.data() + fault.part.size() + 1;
        const char* end = detail.data() + detail.size();
        auto [afterLine, lineError] = std::from_chars(at, end, fault.line);
        if (lineError == std::errc() && afterLine < end && *afterLine == ':') {
            auto [afterColumn, columnError] = std::from_chars(afterLine + 1, end, fault.column);
            if (columnError != std::errc() || fault.line < 1 || fault.column < 1) {
                fault.line = fault.column = 0;
            }
        } else {
            fault.line = 0;
        }
        constexpr std::string_view kElement = "of element '";
        const size_t elementAt = detail.find(kElement);
        const size_t elementEnd = elementAt == std::string_view::npos
                                      ? elementAt
                                      : detail.find('\'', elementAt + kElement.size());
        if (fault.line > 0 && elementEnd != std::string_view::npos) {
            fault.element = detail.substr(elementAt + kElement.size(),
                                          elementEnd - elementAt - kElement.size());
        }
        return fault;
    }
    // "The entry '<name>' was not found in archive"
    constexpr std::string_view kEntry = "The entry '";
    if (detail.starts_with(kEntry)) {
        const size_t nameEnd = detail.find("' was not found in archive", kEntry.size());
        if (nameEnd != std::string_view::npos) {
            fault.missingResource = detail.substr(kEntry.size(), nameEnd - kEntry.size());
        }
    }
    return fault;
}

std::optional<ElementCut> CutFaultyElement(std::string_view markup, const XpsDrawingFault& fault) {
    const std::vector<ElementSpan> spans = Elements(markup);
    const ElementSpan* chosen = nullptr;
    if (fault.line > 0) {
        // The parser names its place a character or two either side of the end of the start
        // tag at fault: the element it names that ends its tag about there, else the last
        // one that started before.
        const size_t place = OffsetOf(markup, fault.line, fault.column);
        const ElementSpan* endingThere = nullptr;
        for (const ElementSpan& span : spans) {
            if (span.start >= place || (!fault.element.empty() && span.name != fault.element)) {
                continue;
            }
            chosen = &span;
            if (span.tagEnd <= place + 2) {
                endingThere = &span;
            }
        }
        chosen = endingThere != nullptr ? endingThere : chosen;
    } else if (!fault.missingResource.empty()) {
        // Markup may name the resource relative to the page; its last segment is enough.
        const std::string name = fault.missingResource.substr(fault.missingResource.rfind('/') + 1);
        for (const ElementSpan& span : spans) {
            const std::string_view tag = markup.substr(span.start, span.tagEnd - span.start);
            if (!name.empty() && tag.find(name) != std::string_view::npos) {
                chosen = &span;
                break;
            }
        }
    }
    // The first element is the page itself: without it nothing is left to draw.
    if (chosen == nullptr || chosen == &spans.front()) {
        return std::nullopt;
    }
    std::string cut(markup.substr(0, chosen->start));
    cut.append(markup.substr(chosen->end));
    return ElementCut{std::move(cut), chosen->name};
}

std::optional<std::string> ReadPackagePart(zip_t* package, const std::string& part) {
    const std::string name = part.starts_with('/') ? part.substr(1) : part;
    const zip_int64_t index = zip_name_locate(package, name.c_str(), ZIP_FL_NOCASE);
    zip_stat_t st;
    zip_stat_init(&st);
    if (index < 0 || zip_stat_index(package, static_cast<zip_uint64_t>(index), 0, &st) != 0 ||
        (st.valid & ZIP_STAT_SIZE) == 0) {
        return std::nullopt;
    }
    ZipFilePtr file(zip_fopen_index(package, static_cast<zip_uint64_t>(index), 0));
    std::string data(static_cast<size_t>(st.size), '\0');
    if (!file || zip_fread(file.get(), data.data(), st.size) != static_cast<zip_int64_t>(st.size)) {
        return std::nullopt;
    }
    return data;
}

std::optional<std::string> ReadPackagePart(const std::string& packagePath,
                                           const std::string& part) {
    int error = 0;
    ZipPtr archive(zip_open(packagePath.c_str(), ZIP_RDONLY, &error));
    if (!archive) {
        return std::nullopt;
    }
    return ReadPackagePart(archive.get(), part);
}

bool ReplacePackagePart(const std::string& packagePath, const std::string& part,
                        const std::string& data) {
    int error = 0;
    ZipPtr archive(zip_open(packagePath.c_str(), 0, &error));
    if (!archive) {
        return false;
    }
    const std::string name = part.starts_with('/') ? part.substr(1) : part;
    const zip_int64_t index = zip_name_locate(archive.get(), name.c_str(), ZIP_FL_NOCASE);
    if (index < 0) {
        return false;
    }
    // The archive copies the bytes when it is written, before data goes.
    zip_source_t* source = zip_source_buffer(archive.get(), data.data(), data.size(), 0);
    if (source == nullptr) {
        return false;
    }
    if (zip_file_replace(archive.get(), static_cast<zip_uint64_t>(index), source, 0) != 0) {
        zip_source_free(source);
        return false;
    }
    zip_set_file_compression(archive.get(), static_cast<zip_uint64_t>(index), ZIP_CM_STORE, 0);
    // Written now; the archive is closed either way.
    zip_t* raw = archive.release();
    if (zip_close(raw) != 0) {
        zip_discard(raw);
        return false;
    }
    return true;
}

}  // namespace docmgr
