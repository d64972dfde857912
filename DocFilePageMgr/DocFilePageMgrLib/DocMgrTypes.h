#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>

// The vocabulary shared by every document manager and its users: event kinds, their
// payload records, render targets and their parameters. Texts are UTF-8.
namespace docmgr {

enum DocMgrEventType : int32_t {
    InputCaptureStart = 0,
    InputCaptureComplete = 1,
    LoadDocumentStart = 2,
    DocumentSettingsAvailable = 3,
    DocumentLoadError = 4,
    NewPageAvailable = 5,
    PageImageAvailable = 6,
    LoadDocumentComplete = 7,
    PrintJobStarting = 8,
    PrintJobPageSent = 9,
    PrintJobAllPagesSent = 10,
    PrintJobError = 11,
    PrintJobPaused = 12,
    PrintJobResumed = 13,
    PrintJobFinished = 14,
};
inline constexpr int32_t kDocMgrEventTypeCount = 15;

// Display name of a kind; "Unknown" for anything outside the table.
const char* DocMgrEventTypeName(DocMgrEventType kind);

struct InputCaptureStartData {
    std::string sourcePipe;
};
struct InputCaptureCompleteData {
    std::string tempFile;
    uint64_t fileSize = 0;
};
struct LoadDocumentStartData {
    std::string filePath;
    std::string documentType;
};
struct DocumentSettingsAvailableData {
    std::string settingsUtf8;
};
struct DocumentLoadErrorData {
    std::string errorMessage;
    uint32_t errorCode = 0;
};
struct NewPageAvailableData {
    uint64_t pageNumber = 0;
    double widthPoints = 0.0;
    double heightPoints = 0.0;
};
struct PageImageAvailableData {
    uint64_t pageNumber = 0;
};
struct LoadDocumentCompleteData {
    uint64_t totalPages = 0;
};
struct PrintJobStartingData {
    std::string printerName;
    std::string jobTitle;
    uint32_t jobId = 0;
};
struct PrintJobPageSentData {
    uint32_t jobId = 0;
    uint64_t pageNumber = 0;
};
struct PrintJobAllPagesSentData {
    uint32_t jobId = 0;
    uint64_t totalPages = 0;
};
struct PrintJobErrorData {
    uint32_t jobId = 0;
    std::string errorMessage;
    uint32_t errorCode = 0;
};
struct PrintJobPausedData {
    uint32_t jobId = 0;
};
struct PrintJobResumedData {
    uint32_t jobId = 0;
};
struct PrintJobFinishedData {
    uint32_t jobId = 0;
};

// The variant index of a kind's record is the kind's value plus one.
using DocMgrEventData =
    std::variant<std::monostate, InputCaptureStartData, InputCaptureCompleteData,
                 LoadDocumentStartData, DocumentSettingsAvailableData, DocumentLoadErrorData,
                 NewPageAvailableData, PageImageAvailableData, LoadDocumentCompleteData,
                 PrintJobStartingData, PrintJobPageSentData, PrintJobAllPagesSentData,
                 PrintJobErrorData, PrintJobPausedData, PrintJobResumedData, PrintJobFinishedData>;

using DocMgrEventCallback = std::function<void(DocMgrEventType, const DocMgrEventData&)>;

enum RenderTarget : int32_t {
    Thumbnail = 0,
    Screen = 1,
    Printer = 2,
};

// "Thumbnail", "Screen", "Printer" or "Unknown".
const char* RenderTargetName(RenderTarget target);

struct TargetParams {
    double scale = 1.0;
    int32_t dpiX = 96;
    int32_t dpiY = 96;
};

// Pixels along one axis for a page of the given size: points / 72 * scale * dpi, rounded.
int32_t PixelsForPoints(double points, double scale, int32_t dpi);

// The device a job is drawn onto (PrintDevice.h).
class PrintDevice;
// An opaque window of the user-interface layer.
using WindowHandle = void*;

}  // namespace docmgr
