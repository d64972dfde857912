#include "DocFilePageMgr/DocFilePageMgrLib/DocumentFormats.h"

#include <algorithm>

namespace docmgr {

FormatRegistry FormatRegistry::With(DocumentFormat format) const {
    std::vector<DocumentFormat> formats = m_formats;
    formats.push_back(std::move(format));
    return FormatRegistry(std::move(formats));
}

std::optional<FormatRegistry::ClassMatch> FormatRegistry::FindClass(
    const std::string& className) const {
    for (const DocumentFormat& format : m_formats) {
        for (const DocumentClass& documentClass : format.classes) {
            if (documentClass.name == className) {
                return ClassMatch{&format, &documentClass};
            }
        }
    }
    return std::nullopt;
}

const DocumentFormat* FormatRegistry::FindByContent(const std::string& path) const {
    for (const DocumentFormat& format : m_formats) {
        if (format.canHandleFile && format.canHandleFile(path)) {
            return &format;
        }
    }
    return nullptr;
}

std::unique_ptr<DocFilePageMgr> FormatRegistry::Create(const DocumentFormat& format) {
    std::unique_ptr<DocFilePageMgr> manager = format.createBackend();
    if (manager) {
        manager->SetDocumentType(format.type);
    }
    return manager;
}

std::string FormatRegistry::CaptureExtension(const std::string& className) const {
    const std::optional<ClassMatch> match = FindClass(className);
    return match ? match->documentClass->captureExtension : "dat";
}

std::string FormatRegistry::UsageNames() const {
    std::vector<std::string> names;
    for (const DocumentFormat& format : m_formats) {
        for (const DocumentClass& documentClass : format.classes) {
            names.push_back(documentClass.usageName);
        }
    }
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

std::string FormatRegistry::PipeHelpLines() const {
    std::string text;
    for (const DocumentFormat& format : m_formats) {
        for (const DocumentClass& documentClass : format.classes) {
            if (!documentClass.pipeHelp.empty()) {
                text += documentClass.pipeHelp + "\n";
            }
        }
    }
    return text;
}

}  // namespace docmgr
