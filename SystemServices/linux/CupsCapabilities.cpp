#include "SystemServices/linux/CupsCapabilities.h"

// The PPD interface is deprecated in libcups but remains the only way to read a queue's
// PPD options.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <cups/ppd.h>

#include <unistd.h>

#include <memory>

namespace nvrprint::platform {
namespace {

std::vector<std::string> SupportedKeywords(const CupsDestination& d, const char* option) {
    std::vector<std::string> values;
    ipp_attribute_t* attr = cupsFindDestSupported(d.Http(), d.Dest(), d.Info(), option);
    for (int i = 0; attr != nullptr && i < ippGetCount(attr); ++i) {
        if (const char* value = ippGetString(attr, i, nullptr)) {
            values.emplace_back(value);
        }
    }
    return values;
}

// A queue option set by the user or the administrator, else the printer's default.
std::string Keyword(const CupsDestination& d, const char* option) {
    const char* chosen = cupsGetOption(option, d.Dest()->num_options, d.Dest()->options);
    return chosen != nullptr ? chosen : d.DefaultKeyword(option);
}

Resolution ResolutionOf(ipp_attribute_t* attr, int index) {
    ipp_res_t units;
    int y = 0;
    int x = ippGetResolution(attr, index, &y, &units);
    if (units == IPP_RES_PER_CM) {
        x = static_cast<int>(x * 2.54 + 0.5);
        y = static_cast<int>(y * 2.54 + 0.5);
    }
    return {x, y};
}

// The custom size range: a media-size-supported entry whose dimensions are ranges.
void ReadCustomSizes(const CupsDestination& d, PrinterCapabilities& caps) {
    ipp_attribute_t* sizes = cupsFindDestSupported(d.Http(), d.Dest(), d.Info(), "media-size");
    for (int i = 0; sizes != nullptr && i < ippGetCount(sizes); ++i) {
        ipp_t* size = ippGetCollection(sizes, i);
        ipp_attribute_t* x = ippFindAttribute(size, "x-dimension", IPP_TAG_RANGE);
        ipp_attribute_t* y = ippFindAttribute(size, "y-dimension", IPP_TAG_RANGE);
        if (x != nullptr && y != nullptr) {
            caps.customMinWidth = ippGetRange(x, 0, &caps.customMaxWidth);
            caps.customMinLength = ippGetRange(y, 0, &caps.customMaxLength);
            return;
        }
    }
}

struct PpdClose {
    void operator()(ppd_file_t* ppd) const { ppdClose(ppd); }
};

}  // namespace

PrinterCapabilities CapabilitiesOf(const CupsDestination& d) {
    PrinterCapabilities caps;
    caps.mediaSupported = SupportedKeywords(d, CUPS_MEDIA);
    caps.mediaDefault = Keyword(d, CUPS_MEDIA);
    ReadCustomSizes(d, caps);
    cups_size_t size;
    if (caps.mediaDefault.empty() && d.DefaultMedia(&size)) {
        caps.mediaDefault = size.media;
    }
    if (auto sides = SupportedKeywords(d, CUPS_SIDES); !sides.empty()) {
        caps.sidesSupported = sides;
    }
    if (auto sides = Keyword(d, CUPS_SIDES); !sides.empty()) {
        caps.sidesDefault = sides;
    }
    if (auto modes = SupportedKeywords(d, CUPS_PRINT_COLOR_MODE); !modes.empty()) {
        caps.colorModesSupported = modes;
    }
    if (auto mode = Keyword(d, CUPS_PRINT_COLOR_MODE); !mode.empty()) {
        caps.colorModeDefault = mode;
    }
    if (ipp_attribute_t* copies =
            cupsFindDestSupported(d.Http(), d.Dest(), d.Info(), CUPS_COPIES)) {
        int upper = 0;
        ippGetRange(copies, 0, &upper);
        if (upper > 0) {
            caps.copiesMax = upper;
        }
    }
    if (d.DefaultInteger(CUPS_ORIENTATION, IPP_ORIENT_PORTRAIT) == IPP_ORIENT_LANDSCAPE) {
        caps.orientationDefault = "landscape";
    }
    if (ipp_attribute_t* res =
            cupsFindDestSupported(d.Http(), d.Dest(), d.Info(), "printer-resolution")) {
        for (int i = 0; i < ippGetCount(res); ++i) {
            caps.resolutionsSupported.push_back(ResolutionOf(res, i));
        }
    }
    if (ipp_attribute_t* res =
            cupsFindDestDefault(d.Http(), d.Dest(), d.Info(), "printer-resolution")) {
        caps.resolutionDefault = ResolutionOf(res, 0);
    } else if (!caps.resolutionsSupported.empty()) {
        caps.resolutionDefault = caps.resolutionsSupported.front();
    }
    caps.mediaSourceDefault = Keyword(d, CUPS_MEDIA_SOURCE);
    caps.mediaTypeDefault = Keyword(d, CUPS_MEDIA_TYPE);
    return caps;
}

nlohmann::json PpdOptionsOf(const CupsDestination& d) {
    nlohmann::json options = nlohmann::json::object();
    if (!d.IsQueue()) {
        return options;
    }
    // Fetched over the destination's own connection: the library's fetch would open another
    // to the host the scheduler names itself by.
    char path[1024];
    const int fd = cupsTempFd(path, sizeof path);
    if (fd < 0) {
        return options;
    }
    const std::string resource = std::string("/printers/") + d.Dest()->name + ".ppd";
    const http_status_t status = cupsGetFd(d.Http(), resource.c_str(), fd);
    close(fd);
    std::unique_ptr<ppd_file_t, PpdClose> ppd(status == HTTP_STATUS_OK ? ppdOpenFile(path)
                                                                       : nullptr);
    unlink(path);
    if (!ppd) {
        return options;
    }
    for (ppd_option_t* option = ppdFirstOption(ppd.get()); option != nullptr;
         option = ppdNextOption(ppd.get())) {
        nlohmann::json choices = nlohmann::json::array();
        for (int i = 0; i < option->num_choices; ++i) {
            choices.push_back(option->choices[i].choice);
        }
        options[option->keyword] = std::move(choices);
    }
    return options;
}

}  // namespace nvrprint::platform

#pragma GCC diagnostic pop
