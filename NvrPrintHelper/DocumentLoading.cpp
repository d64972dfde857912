// From the parsed command line to a loaded document: the input check, the job's default
// paths, the choice of document manager and the wait for its load.
#include <sys/stat.h>

#include <cerrno>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "logging/LogMacros.h"

namespace nvrprint {
namespace {

// The help for standard input without a class, listing the classes that take a pipe.
std::string PipeWithoutClassText(const docmgr::FormatRegistry& formats) {
    return "Error: When reading from pipe (stdin), you must specify the document type using -t "
           "option.\n"
           "\n"
           "Valid document types:\n" +
           formats.PipeHelpLines() +
           "\n"
           "Example: command | NvrPrintHelper -t pdfium -";
}

}  // namespace

bool NvrPrintHelper::ProcessInputFile() {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_DEBUG("Processing input file");
    if (m_inputFile == "-") {
        m_inputFromPipe = true;
        if (m_documentClass.empty()) {
            NVR_LOG_ERROR("Pipe input requires -t <class> option");
            ShowError(PipeWithoutClassText(m_formats), false);
            NVR_LOG_ENTRY("Returning false");
            return false;
        }
        NVR_LOG_INFO("Will read input from stdin (document class: {})", m_documentClass);
        m_actualInputFile = "-";
    } else {
        m_inputFromPipe = false;
        m_actualInputFile = m_inputFile;
        NVR_LOG_DEBUG("Using file: {}", m_actualInputFile);
        struct stat info {};
        if (::stat(m_actualInputFile.c_str(), &info) != 0) {
            NVR_LOG_ERROR("Input file not found (Error: {}): {}", errno, m_actualInputFile);
            NVR_LOG_ENTRY("Returning false");
            return false;
        }
        if (S_ISDIR(info.st_mode)) {
            NVR_LOG_ERROR("Input path is a directory, not a file: {}", m_actualInputFile);
            NVR_LOG_ENTRY("Returning false");
            return false;
        }
        if (!S_ISREG(info.st_mode)) {
            // A pipe or a device would block the reading of the document for ever.
            NVR_LOG_ERROR("Input is not a regular file: {}", m_actualInputFile);
            NVR_LOG_ENTRY("Returning false");
            return false;
        }
    }
    NVR_LOG_DEBUG("Input file processed successfully");

    if (m_logFile.empty()) {
        std::string logPath =
            m_tempFileManager.GenerateTempFilePath(m_uniqueBaseName, "Log", "log");
        if (!logPath.empty()) {
            Logger::Instance().SetLogFile(logPath, true);
            NVR_LOG_INFO("Using default log file: {}", logPath);
        }
    }
    if (m_keepImages && m_imagePath.empty()) {
        std::string imagePath =
            m_tempFileManager.GenerateTempFilePath(m_uniqueBaseName, "Images", "tmp");
        if (!imagePath.empty()) {
            m_imagePath = imagePath;
            m_imagePathIsDefault = true;
            NVR_LOG_INFO("Using default image path: {}", m_imagePath);
        }
    }
    NVR_LOG_DEBUG("Enforcing keep limit of {} timestamped sets", m_keepLimit);
    m_tempFileManager.EnforceKeepLimit(m_keepLimit);
    NVR_LOG_ENTRY("Returning true");
    return true;
}

std::unique_ptr<docmgr::DocFilePageMgr> NvrPrintHelper::CreateDocumentManagerByClass(
    const std::string& documentClass) {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_DEBUG("Creating manager for class: {}", documentClass);
    const auto match = m_formats.FindClass(documentClass);
    if (!match) {
        NVR_LOG_ERROR("Unknown document class: {}", documentClass);
        NVR_LOG_ENTRY("Returning nullptr");
        return nullptr;
    }
    NVR_LOG_INFO("{}", match->documentClass->createdLine);
    NVR_LOG_ENTRY("{}", match->documentClass->returnedLine);
    return docmgr::FormatRegistry::Create(*match->format);
}

std::unique_ptr<docmgr::DocFilePageMgr> NvrPrintHelper::CreateDocumentManager(
    const std::string& filePath) {
    NVR_LOG_ENTRY("Entered");
    NVR_LOG_INFO("Auto-detecting document type for: {}", filePath);
    const docmgr::DocumentFormat* format = m_formats.FindByContent(filePath);
    if (format == nullptr) {
        NVR_LOG_ERROR("No suitable document manager found for: {}", filePath);
        NVR_LOG_ENTRY("Returning nullptr");
        return nullptr;
    }
    NVR_LOG_INFO("{}", format->handledLine);
    NVR_LOG_ENTRY("{}", format->returnedLine);
    return docmgr::FormatRegistry::Create(*format);
}

bool NvrPrintHelper::LoadDocument() {
    NVR_LOG_INFO("Loading document");
    if (m_inputFromPipe || !m_documentClass.empty()) {
        m_docMgr = CreateDocumentManagerByClass(m_documentClass);
    } else {
        m_docMgr = CreateDocumentManager(m_actualInputFile);
    }
    if (!m_docMgr) {
        NVR_LOG_ERROR("Failed to create document manager");
        return false;
    }
    m_docMgr->SetScratchDirectory(m_tempFileManager.GetTempDirectory());
    if (m_keepTempFiles) {
        NVR_LOG_INFO("Disabling temporary file deletion (-Keep option specified)");
        m_docMgr->m_deleteTempFile = false;
    }
    s_instance = this;

    std::string capturePath;
    if (m_inputFromPipe) {
        capturePath = m_tempFileManager.GenerateTempFilePath(
            m_uniqueBaseName, "Data", m_formats.CaptureExtension(m_documentClass));
        if (capturePath.empty()) {
            NVR_LOG_ERROR("Failed to generate temp file path for pipe input");
            return false;
        }
        NVR_LOG_DEBUG("Generated temp file path for pipe input: {}", capturePath);
    }

    m_docMgr->SetInputFiles(*m_os.files);
    if (m_docMgr->LoadDocument(m_actualInputFile, m_inputFromPipe, &DocumentEventThunk,
                               capturePath) == nullptr) {
        NVR_LOG_ERROR("Failed to start document loading");
        return false;
    }
    NVR_LOG_INFO("Document loading started in background");

    if (!m_docMgr->WaitForDocumentLoad(static_cast<uint32_t>(m_loadTimeout.count()))) {
        NVR_LOG_ERROR("Document loading failed or timed out");
        // Input that never ends must not keep the process alive: the capture gives up.
        m_docMgr->StopLoad();
        std::lock_guard lock(m_modeMutex);
        m_loadError = true;
        return false;
    }
    if (m_docMgr->m_pageCount == 0) {
        NVR_LOG_ERROR("Document has no pages");
        return false;
    }
    NVR_LOG_INFO("Successfully loaded document with {} page(s)", m_docMgr->m_pageCount);
    m_documentLoaded = true;
    NVR_LOG_DEBUG("Document loading completed successfully");
    return true;
}

}  // namespace nvrprint
