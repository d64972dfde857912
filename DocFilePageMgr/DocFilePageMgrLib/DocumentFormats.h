#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"

namespace docmgr {

// A name under which -type asks for a format (lower case, as the command line leaves it),
// and what that name brings with it.
struct DocumentClass {
    std::string name;              // "pdfium"
    std::string usageName;         // as the usage text lists it: "Pdfium"
    std::string captureExtension;  // of the file standard input is captured into: "pdf"
    std::string pipeHelp;          // its line in the standard-input help; empty: none
    std::string createdLine;       // logged when a manager is made for the class
    std::string returnedLine;      // logged as that manager is handed back
};

// A document format: its type, how its files are known by their content, the classes that
// ask for it and its backend. A new format is one entry and one backend.
struct DocumentFormat {
    DocumentType type;  // what GetDocumentType and LoadDocumentStart tell
    // The content probe; a format without one is reached through its classes only.
    std::function<bool(const std::string& path)> canHandleFile;
    std::string handledLine;   // logged when the probe took a file
    std::string returnedLine;  // logged as the manager for that file is handed back
    std::vector<DocumentClass> classes;
    std::function<std::unique_ptr<DocFilePageMgr>()> createBackend;
};

// The formats the program opens, asked in order: a file two probes would take belongs to
// the earlier format.
class FormatRegistry {
public:
    explicit FormatRegistry(std::vector<DocumentFormat> formats) : m_formats(std::move(formats)) {}

    // PDF, then XPS and OpenXPS.
    static FormatRegistry Standard();
    // These formats and one more, asked after them.
    FormatRegistry With(DocumentFormat format) const;

    struct ClassMatch {
        const DocumentFormat* format;
        const DocumentClass* documentClass;
    };
    std::optional<ClassMatch> FindClass(const std::string& className) const;
    // The first format whose probe takes the file; null when none does.
    const DocumentFormat* FindByContent(const std::string& path) const;
    // A manager of the format's backend, telling the format's type.
    static std::unique_ptr<DocFilePageMgr> Create(const DocumentFormat& format);

    // The extension of standard input's capture for a class: "dat" for one no format has.
    std::string CaptureExtension(const std::string& className) const;
    // The classes as the usage text names them, in alphabetical order: "Pdfium, Xps".
    std::string UsageNames() const;
    // The standard-input help's lines of the classes that have one, each ending a line.
    std::string PipeHelpLines() const;

private:
    std::vector<DocumentFormat> m_formats;
};

}  // namespace docmgr
