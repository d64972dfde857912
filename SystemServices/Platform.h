#pragma once

#include <memory>

#include "SystemServices/ImageFrameEncoder.h"
#include "SystemServices/PrinterServices.h"
#include "platform/Clock.h"
#include "platform/Display.h"
#include "platform/Files.h"
#include "platform/Launcher.h"
#include "platform/Notice.h"

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
    // Not owned: the system's clock, or a test's.
    Clock* clock = &SystemClock();
};

// The real thing: CUPS, the desktop's launcher, GTK notices, the process's files, TIFF.
Platform CreateSystemPlatform();

}  // namespace nvrprint::platform
