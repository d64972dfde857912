#pragma once

#include <string>
#include <vector>

namespace testsupport {

struct FixturePage {
    double width;
    double height;
};

// Writes a PDF whose pages carry "Page N" in large black type and a black band across
// their middle, so that renders of them are visibly not blank.
void MakePdf(const std::string& path, const std::vector<FixturePage>& pages);

// Writes a PDF of letter pages whose only ink is a square that moves across and down with the
// page's number, so that where each page lands tells which page it is.
void MakeMarkedPdf(const std::string& path, int pageCount);

// Writes a PDF of letter pages laid out like a paper: two columns of running text, a chart of
// curves and bars, a shaded box and a photograph-like raster image, each page a little
// different from the one before.
void MakeArticlePdf(const std::string& path, int pageCount);

// How a test document carries its job settings.
enum class CarrierForm {
    Literal,           // page 1 /Norvan -> indirect dictionary with a literal string
    Hex,               // the same with a hexadecimal string
    DirectDictionary,  // /Norvan holds the dictionary itself
    MissingObject,     // /Norvan refers to an object that does not exist
    SecondPageOnly,    // the literal carrier, but on page 2
};

// Appends an incremental update that gives the document a settings carrier.
void AddSettingsCarrier(const std::string& in, const std::string& out, const std::string& json,
                        CarrierForm form);

// Rewrites a document with every eligible object packed into object streams.
void PackIntoObjectStreams(const std::string& in, const std::string& out);

// Rewrites a document encrypted with a user password.
void EncryptWithUserPassword(const std::string& in, const std::string& out,
                             const std::string& userPassword);

// A PDF of the given pages carrying the settings in the usual, literal form.
void MakePdfWithSettings(const std::string& path, const std::vector<FixturePage>& pages,
                         const std::string& json);

inline constexpr FixturePage kLetter{612, 792};
inline constexpr FixturePage kA4{595.28, 841.89};
inline constexpr FixturePage kLetterLandscape{792, 612};

}  // namespace testsupport
