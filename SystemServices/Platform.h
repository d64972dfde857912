#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "SystemServices/Display.h"
#include "SystemServices/Files.h"
#include "SystemServices/ImageFrameEncoder.h"
#include "SystemServices/Launcher.h"
#include "SystemServices/Notice.h"
#include "SystemServices/PrinterServices.h"

// Everything the application asks of the operating system, in one bundle: made once in main,
// handed down by reference, and put together from fakes in tests.
namespace nvrprint::platform {

struct Platform {
    // Opened for the first window; notices, the preview and its dialogs share it.
    std::unique_ptr<Display> display;
    std::unique_ptr<PrintSystem> printers;
    std::unique_ptr<Launcher> launcher;
    std::unique_ptr<NoticePresenter> notices;
    std::unique_ptr<Files> files;
    // The encoder of the pages' image file, one per file.
    ImageFrameEncoderFactory imageEncoders;
    std::function<void(std::chrono::milliseconds)> sleep;
};

// The real thing: CUPS, the desktop's launcher, GTK notices, the process's files, TIFF.
Platform CreateSystemPlatform();

}  // namespace nvrprint::platform
