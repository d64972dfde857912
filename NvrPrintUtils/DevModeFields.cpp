#include "NvrPrintUtils/DevModeFields.h"

#include <fmt/format.h>

namespace nvrprint {
namespace {

using Kind = DevModeField::Kind;
using S = PrintJobSettings;
using D = DEVMODEW;

constexpr bool Positive(int16_t v) {
    return v >= 1;
}

const DevModeField kFields[] = {
    {"dmCollate", DM_COLLATE, Kind::Number, &S::dmCollate, &D::dmCollate, true,
     [](int16_t v) { return v == 0 || v == 1; }, 1},
    {"dmColor", DM_COLOR, Kind::Number, &S::dmColor, &D::dmColor, true,
     [](int16_t v) { return v == 1 || v == 2; }, 2},
    {"dmCopies", DM_COPIES, Kind::Number, &S::dmCopies, &D::dmCopies, true, Positive, 1},
    {"dmDefaultSource", DM_DEFAULTSOURCE, Kind::Number, &S::dmDefaultSource, &D::dmDefaultSource,
     true, Positive, 15},
    {"dmDuplex", DM_DUPLEX, Kind::Number, &S::dmDuplex, &D::dmDuplex, true,
     [](int16_t v) { return v >= 1 && v <= 3; }, 1},
    {"dmFormName", DM_FORMNAME, Kind::FormName, nullptr, nullptr, true, nullptr, std::nullopt},
    {"dmMediaType", DM_MEDIATYPE, Kind::MediaType, &S::dmMediaType, nullptr, false, nullptr,
     std::nullopt},
    {"dmOrientation", DM_ORIENTATION, Kind::Number, &S::dmOrientation, &D::dmOrientation, true,
     [](int16_t v) { return v == 1 || v == 2; }, 1},
    {"dmPaperLength", DM_PAPERLENGTH, Kind::Number, &S::dmPaperLength, &D::dmPaperLength, false,
     Positive, std::nullopt},
    {"dmPaperSize", DM_PAPERSIZE, Kind::Number, &S::dmPaperSize, &D::dmPaperSize, true,
     [](int16_t v) { return v >= 0; }, 1},
    {"dmPaperWidth", DM_PAPERWIDTH, Kind::Number, &S::dmPaperWidth, &D::dmPaperWidth, false,
     Positive, std::nullopt},
    {"dmPrintQuality", DM_PRINTQUALITY, Kind::Number, &S::dmPrintQuality, &D::dmPrintQuality, false,
     [](int16_t v) { return v >= -4 && v != 0; }, -4},
    {"dmScale", DM_SCALE, Kind::Number, &S::dmScale, &D::dmScale, false,
     [](int16_t v) { return v >= 1 && v <= 1000; }, 100},
    {"dmYResolution", DM_YRESOLUTION, Kind::Number, &S::dmYResolution, &D::dmYResolution, false,
     Positive, std::nullopt},
};

}  // namespace

std::span<const DevModeField> DevModeFields() {
    return kFields;
}

bool DevModeField::IsSet(const PrintJobSettings& settings) const {
    return kind == Kind::FormName ? !settings.dmFormName.empty() : settings.*setting >= 0;
}

std::string DevModeField::LogText(const PrintJobSettings& settings) const {
    return kind == Kind::FormName ? "'" + settings.dmFormName + "'"
                                  : fmt::format("{}", settings.*setting);
}

bool DevModeField::SameValue(const PrintJobSettings& a, const PrintJobSettings& b) const {
    return kind == Kind::FormName ? a.dmFormName == b.dmFormName : a.*setting == b.*setting;
}

void DevModeField::Copy(const PrintJobSettings& from, PrintJobSettings* to) const {
    if (kind == Kind::FormName) {
        to->dmFormName = from.dmFormName;
    } else {
        to->*setting = from.*setting;
    }
}

void DevModeField::WriteTo(const PrintJobSettings& settings, DEVMODEW* devMode) const {
    switch (kind) {
        case Kind::Number:
            devMode->*device = settings.*setting;
            break;
        case Kind::FormName:
            SetDevModeText(devMode->dmFormName, settings.dmFormName);
            break;
        case Kind::MediaType:
            devMode->dmMediaType = static_cast<uint32_t>(settings.*setting);
            break;
    }
    devMode->dmFields |= bit;
}

bool DevModeField::ReadFrom(const DEVMODEW* devMode, PrintJobSettings* settings) const {
    if ((devMode->dmFields & bit) == 0) {
        return false;
    }
    switch (kind) {
        case Kind::Number:
            settings->*setting = devMode->*device;
            break;
        case Kind::FormName:
            settings->dmFormName = GetDevModeText(devMode->dmFormName);
            break;
        case Kind::MediaType:
            settings->*setting = static_cast<int16_t>(devMode->dmMediaType);
            break;
    }
    return true;
}

}  // namespace nvrprint
