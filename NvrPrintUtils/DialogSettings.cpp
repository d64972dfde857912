#include "NvrPrintUtils/DialogSettings.h"

#include <algorithm>

#include "NvrPrintUtils/IppDevMode.h"
#include "logging/TextCodec.h"

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

void ApplyDialogSettings(const DialogSettings& settings, DEVMODEW* devMode) {
    devMode->dmCopies = static_cast<int16_t>(std::clamp<int32_t>(settings.copies, 1, 9999));
    devMode->dmCollate = settings.collate ? DMCOLLATE_TRUE : DMCOLLATE_FALSE;
    devMode->dmDuplex = settings.duplex == DialogDuplex::LongEdge    ? DMDUP_VERTICAL
                        : settings.duplex == DialogDuplex::ShortEdge ? DMDUP_HORIZONTAL
                                                                     : DMDUP_SIMPLEX;
    devMode->dmColor = settings.color ? DMCOLOR_COLOR : DMCOLOR_MONOCHROME;
    devMode->dmOrientation = settings.landscape ? DMORIENT_LANDSCAPE : DMORIENT_PORTRAIT;
    devMode->dmFields |= DM_COPIES | DM_COLLATE | DM_DUPLEX | DM_COLOR | DM_ORIENTATION;
    if (settings.media.empty()) {
        return;
    }
    int16_t paper = PaperSizeForMedia(settings.media);
    int width = 0;
    int length = 0;
    if (paper > 0) {
        devMode->dmPaperSize = paper;
        devMode->dmPaperWidth = 0;
        devMode->dmPaperLength = 0;
        devMode->dmFields = (devMode->dmFields | DM_PAPERSIZE) & ~(DM_PAPERWIDTH | DM_PAPERLENGTH);
    } else if (MediaDimensions(settings.media, &width, &length)) {
        // A paper without a number: its size, in tenths of a millimetre.
        devMode->dmPaperSize = 0;
        devMode->dmPaperWidth = static_cast<int16_t>(std::min(width / 10, 32767));
        devMode->dmPaperLength = static_cast<int16_t>(std::min(length / 10, 32767));
        devMode->dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH;
    } else {
        return;
    }
    std::u16string form = text::Utf8ToUtf16(FormNameForMedia(settings.media));
    std::fill(std::begin(devMode->dmFormName), std::end(devMode->dmFormName), u'\0');
    std::copy_n(form.begin(), std::min<size_t>(form.size(), 31), devMode->dmFormName);
    devMode->dmFields |= DM_FORMNAME;
}

}  // namespace nvrprint
