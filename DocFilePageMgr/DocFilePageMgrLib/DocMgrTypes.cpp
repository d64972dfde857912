#include "DocFilePageMgr/DocFilePageMgrLib/DocMgrTypes.h"

namespace docmgr {

const char* DocMgrEventTypeName(DocMgrEventType kind) {
    static constexpr const char* kNames[kDocMgrEventTypeCount] = {
        "InputCaptureStart",    "InputCaptureComplete",
        "LoadDocumentStart",    "DocumentSettingsAvailable",
        "DocumentLoadError",    "NewPageAvailable",
        "PageImageAvailable",   "LoadDocumentComplete",
        "PrintJobStarting",     "PrintJobPageSent",
        "PrintJobAllPagesSent", "PrintJobError",
        "PrintJobPaused",       "PrintJobResumed",
        "PrintJobFinished",
    };
    int32_t index = static_cast<int32_t>(kind);
    return index >= 0 && index < kDocMgrEventTypeCount ? kNames[index] : "Unknown";
}

const char* RenderTargetName(RenderTarget target) {
    switch (target) {
        case Thumbnail:
            return "Thumbnail";
        case Screen:
            return "Screen";
        case Printer:
            return "Printer";
        default:
            return "Unknown";
    }
}

int32_t PixelsForPoints(double points, double scale, int32_t dpi) {
    return static_cast<int32_t>(dpi * (points / 72.0 * scale) + 0.5);
}

}  // namespace docmgr
