#pragma once

#include <optional>
#include <string>
#include <string_view>

typedef struct zip zip_t;

// What lets one bad element of an XPS page cost only itself: libgxps stops drawing a page at
// the first element it cannot draw, and its error tells which part and where. The element is
// cut out of the page's markup in the package copy, and the page drawn again.
namespace docmgr {

// A page the library stopped drawing, as its error tells it.
struct XpsDrawingFault {
    std::string part;             // the page's part: "/Documents/1/Pages/1.fpage"
    int line = 0;                 // where in the part's markup the library stood, from 1;
    int column = 0;               // 0 when the error names no place
    std::string element;          // the element the error names there, if it names one
    std::string missingResource;  // a resource the package lacks: "/Resources/a.ttf"
    std::string detail;           // the error's words after the part's name
};

// The fault in an error of gxps_page_render; nullopt when the error names no page part.
std::optional<XpsDrawingFault> ParseDrawingFault(std::string_view error);

// The page's markup without the element at fault, with everything it holds, and the name of
// what was cut. The element is the last one started before the place the error names, or
// the first that refers to the missing resource. Nullopt when that would be the page itself
// or nothing is found.
struct ElementCut {
    std::string markup;
    std::string element;
};
std::optional<ElementCut> CutFaultyElement(std::string_view markup, const XpsDrawingFault& fault);

// One part of a plain package (a stored ZIP archive), read whole or replaced in place. Part
// names are as XPS writes them, with the leading slash.
std::optional<std::string> ReadPackagePart(const std::string& packagePath, const std::string& part);
std::optional<std::string> ReadPackagePart(zip_t* package, const std::string& part);
bool ReplacePackagePart(const std::string& packagePath, const std::string& part,
                        const std::string& data);

}  // namespace docmgr
