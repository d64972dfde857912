#include "DocFilePageMgr/DocFilePageMgrLib/XpsPageSizes.h"

#include <glib.h>

#include <functional>
#include <map>
#include <string_view>

#include "DocFilePageMgr/DocFilePageMgrLib/XpsPageRepair.h"
#include "DocFilePageMgr/DocFilePageMgrLib/ZipPtr.h"

namespace docmgr {
namespace {

using Attributes = std::map<std::string, std::string, std::less<>>;
// Hears each element's local name and attributes; false stops the reading.
using ElementVisitor = std::function<bool(std::string_view name, const Attributes& attributes)>;

std::string_view LocalName(std::string_view name) {
    const size_t colon = name.rfind(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

// Reads the elements of markup in document order until the visitor says stop. False when
// the markup is not well formed up to that point.
bool VisitElements(const std::string& markup, const ElementVisitor& visit) {
    struct State {
        const ElementVisitor* visit;
        bool stopped = false;
    } state{&visit};
    GMarkupParser parser{};
    parser.start_element = [](GMarkupParseContext*, const gchar* name, const gchar** names,
                              const gchar** values, gpointer data, GError** error) {
        auto* state = static_cast<State*>(data);
        Attributes attributes;
        for (size_t i = 0; names[i] != nullptr; ++i) {
            attributes.emplace(LocalName(names[i]), values[i]);
        }
        if (!(*state->visit)(LocalName(name), attributes)) {
            state->stopped = true;
            g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT, "stop");
        }
    };
    GMarkupParseContext* context = g_markup_parse_context_new(&parser, {}, &state, nullptr);
    GError* error = nullptr;
    const bool parsed = g_markup_parse_context_parse(context, markup.data(),
                                                     static_cast<gssize>(markup.size()), &error) &&
                        g_markup_parse_context_end_parse(context, &error);
    g_clear_error(&error);
    g_markup_parse_context_free(context);
    return parsed || state.stopped;
}

// A part named by reference from another part: absolute, or relative to the other's folder.
std::string ResolvePart(const std::string& from, std::string_view reference) {
    std::string path = reference.starts_with('/')
                           ? std::string(reference)
                           : from.substr(0, from.rfind('/') + 1) + std::string(reference);
    std::vector<std::string> segments;
    size_t start = 1;
    while (start <= path.size()) {
        const size_t end = std::min(path.find('/', start), path.size());
        const std::string segment = path.substr(start, end - start);
        if (segment == "..") {
            if (!segments.empty()) {
                segments.pop_back();
            }
        } else if (!segment.empty() && segment != ".") {
            segments.push_back(segment);
        }
        start = end + 1;
    }
    std::string resolved;
    for (const std::string& segment : segments) {
        resolved += "/" + segment;
    }
    return resolved;
}

double Extent(const Attributes& attributes, std::string_view name) {
    const auto found = attributes.find(name);
    if (found == attributes.end()) {
        return 0.0;
    }
    char* end = nullptr;
    const double value = g_ascii_strtod(found->second.c_str(), &end);
    return end != found->second.c_str() && value > 0.0 ? value : 0.0;
}

// The parts one part refers to through an attribute of one kind of element, in order.
std::optional<std::vector<std::string>> References(zip_t* package, const std::string& part,
                                                   std::string_view element,
                                                   std::string_view attribute) {
    const std::optional<std::string> markup = ReadPackagePart(package, part);
    std::vector<std::string> parts;
    const bool read =
        markup && VisitElements(*markup, [&](std::string_view name, const Attributes& attributes) {
            if (name == element) {
                const auto found = attributes.find(attribute);
                if (found != attributes.end()) {
                    parts.push_back(ResolvePart(part, found->second));
                }
            }
            return true;
        });
    if (!read) {
        return std::nullopt;
    }
    return parts;
}

// The sequence the package's root relationships name as its fixed representation.
std::optional<std::string> FixedDocumentSequence(zip_t* package) {
    const std::optional<std::string> markup = ReadPackagePart(package, "/_rels/.rels");
    std::optional<std::string> sequence;
    if (markup) {
        VisitElements(*markup, [&](std::string_view name, const Attributes& attributes) {
            const auto type = attributes.find("Type");
            const auto target = attributes.find("Target");
            if (name == "Relationship" && type != attributes.end() && target != attributes.end() &&
                type->second.ends_with("/fixedrepresentation")) {
                sequence = ResolvePart("/", target->second);
                return false;
            }
            return true;
        });
    }
    return sequence;
}

std::optional<XpsPageExtent> PageExtent(zip_t* package, const std::string& page) {
    const std::optional<std::string> markup = ReadPackagePart(package, page);
    std::optional<XpsPageExtent> extent;
    if (markup) {
        // The page's own element is its first: nothing after it is read.
        VisitElements(*markup, [&](std::string_view, const Attributes& attributes) {
            extent = XpsPageExtent{Extent(attributes, "Width"), Extent(attributes, "Height")};
            return false;
        });
    }
    return extent;
}

}  // namespace

std::optional<std::vector<std::vector<XpsPageExtent>>> ReadXpsPageExtents(
    const std::string& packagePath) {
    int error = 0;
    ZipPtr package(zip_open(packagePath.c_str(), ZIP_RDONLY, &error));
    const std::optional<std::string> sequence =
        package ? FixedDocumentSequence(package.get()) : std::nullopt;
    const auto documents = sequence
                               ? References(package.get(), *sequence, "DocumentReference", "Source")
                               : std::nullopt;
    if (!documents) {
        return std::nullopt;
    }
    std::vector<std::vector<XpsPageExtent>> extents;
    for (const std::string& document : *documents) {
        const auto pages = References(package.get(), document, "PageContent", "Source");
        if (!pages) {
            return std::nullopt;
        }
        std::vector<XpsPageExtent>& sizes = extents.emplace_back();
        for (const std::string& page : *pages) {
            const std::optional<XpsPageExtent> extent = PageExtent(package.get(), page);
            if (!extent) {
                return std::nullopt;
            }
            sizes.push_back(*extent);
        }
    }
    return extents;
}

}  // namespace docmgr
