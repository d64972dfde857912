#include <unistd.h>

#include "SystemServices/Platform.h"

namespace nvrprint::platform {
namespace {

// The resolution of the pages' image file.
constexpr int kImageFileDpi = 300;

}  // namespace

Platform CreateSystemPlatform() {
    Platform os;
    os.display = CreateSystemDisplay();
    os.printers = CreateSystemPrintSystem();
    os.launcher = CreateSystemLauncher();
    os.notices = CreateSystemNoticePresenter(*os.display);
    os.files = CreateSystemFiles(STDIN_FILENO);
    os.imageEncoders = [] { return CreateTiffEncoder(kImageFileDpi); };
    return os;
}

}  // namespace nvrprint::platform
