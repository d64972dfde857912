#include "NvrPrintUtils/DialogSettings.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "NvrPrintUtils/IppDevMode.h"
#include "NvrPrintUtils/PrintJobSettingsHelper.h"

namespace nvrprint {

DialogSettings DialogSettingsFromDevMode(const DEVMODEW& devMode) {
    DialogSettings settings;
    if (devMode.dmFields & DM_COPIES) {
        settings.copies = std::max<int32_t>(1, devMode.dmCopies);
    }
    if (devMode.dmFields & DM_COLLATE) {
        settings.collate = devMode.dmCollate == DMCOLLATE_TRUE;
    }
    if (devMode.dmFields & DM_DUPLEX) {
        settings.duplex = devMode.dmDuplex == DMDUP_VERTICAL     ? DialogDuplex::LongEdge
                          : devMode.dmDuplex == DMDUP_HORIZONTAL ? DialogDuplex::ShortEdge
                                                                 : DialogDuplex::OneSided;
    }
    if (devMode.dmFields & DM_COLOR) {
        settings.color = devMode.dmColor != DMCOLOR_MONOCHROME;
    }
    if (devMode.dmFields & DM_ORIENTATION) {
        settings.landscape = devMode.dmOrientation == DMORIENT_LANDSCAPE;
    }
    settings.media = MediaForDevMode(devMode);
    return settings;
}

std::string MediaForPaper(const std::string& name, double widthMm, double heightMm) {
    int width = 0;
    int length = 0;
    if (PaperSizeForMedia(name) > 0 || MediaDimensions(name, &width, &length)) {
        return name;
    }
    const int wanted[] = {static_cast<int>(std::lround(widthMm * 100)),
                          static_cast<int>(std::lround(heightMm * 100))};
    int32_t best = -1;
    std::string bestName;
    for (const auto& [number, media] : PrintJobSettingsHelper::kPaperSizeMediaNames) {
        if (MediaDimensions(media, &width, &length) && std::abs(width - wanted[0]) <= 100 &&
            std::abs(length - wanted[1]) <= 100 && (best < 0 || number < best)) {
            best = number;
            bestName = media;
        }
    }
    if (best > 0) {
        return bestName;
    }
    return CustomMediaName(static_cast<int>(std::lround(widthMm * 10)),
                           static_cast<int>(std::lround(heightMm * 10)));
}

}  // namespace nvrprint
