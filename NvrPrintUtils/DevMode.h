#pragma once

#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

// A portable DEVMODE: the printer half of the Windows structure with its field names, order
// and widths, and the published constant values. A block is dmSize + dmDriverExtra bytes;
// the tail after dmSize is the driver-private part, where our driver keeps CUPS options.
namespace nvrprint {

struct DEVMODEW {
    char16_t dmDeviceName[32];
    uint16_t dmSpecVersion;
    uint16_t dmDriverVersion;
    uint16_t dmSize;
    uint16_t dmDriverExtra;
    uint32_t dmFields;
    int16_t dmOrientation;
    int16_t dmPaperSize;
    int16_t dmPaperLength;
    int16_t dmPaperWidth;
    int16_t dmScale;
    int16_t dmCopies;
    int16_t dmDefaultSource;
    int16_t dmPrintQuality;
    int16_t dmColor;
    int16_t dmDuplex;
    int16_t dmYResolution;
    int16_t dmTTOption;
    int16_t dmCollate;
    char16_t dmFormName[32];
    uint16_t dmLogPixels;
    uint32_t dmBitsPerPel;
    uint32_t dmPelsWidth;
    uint32_t dmPelsHeight;
    uint32_t dmNup;
    uint32_t dmDisplayFrequency;
    uint32_t dmICMMethod;
    uint32_t dmICMIntent;
    uint32_t dmMediaType;
    uint32_t dmDitherType;
    uint32_t dmReserved1;
    uint32_t dmReserved2;
    uint32_t dmPanningWidth;
    uint32_t dmPanningHeight;
};

// dmFields bits.
inline constexpr uint32_t DM_ORIENTATION = 0x00000001;
inline constexpr uint32_t DM_PAPERSIZE = 0x00000002;
inline constexpr uint32_t DM_PAPERLENGTH = 0x00000004;
inline constexpr uint32_t DM_PAPERWIDTH = 0x00000008;
inline constexpr uint32_t DM_SCALE = 0x00000010;
inline constexpr uint32_t DM_NUP = 0x00000040;
inline constexpr uint32_t DM_COPIES = 0x00000100;
inline constexpr uint32_t DM_DEFAULTSOURCE = 0x00000200;
inline constexpr uint32_t DM_PRINTQUALITY = 0x00000400;
inline constexpr uint32_t DM_COLOR = 0x00000800;
inline constexpr uint32_t DM_DUPLEX = 0x00001000;
inline constexpr uint32_t DM_YRESOLUTION = 0x00002000;
inline constexpr uint32_t DM_TTOPTION = 0x00004000;
inline constexpr uint32_t DM_COLLATE = 0x00008000;
inline constexpr uint32_t DM_FORMNAME = 0x00010000;
inline constexpr uint32_t DM_LOGPIXELS = 0x00020000;
inline constexpr uint32_t DM_ICMMETHOD = 0x00800000;
inline constexpr uint32_t DM_ICMINTENT = 0x01000000;
inline constexpr uint32_t DM_MEDIATYPE = 0x02000000;
inline constexpr uint32_t DM_DITHERTYPE = 0x04000000;

inline constexpr uint16_t DM_SPECVERSION = 0x0401;

// Field values.
inline constexpr int16_t DMORIENT_PORTRAIT = 1;
inline constexpr int16_t DMORIENT_LANDSCAPE = 2;
inline constexpr int16_t DMDUP_SIMPLEX = 1;
inline constexpr int16_t DMDUP_VERTICAL = 2;
inline constexpr int16_t DMDUP_HORIZONTAL = 3;
inline constexpr int16_t DMCOLOR_MONOCHROME = 1;
inline constexpr int16_t DMCOLOR_COLOR = 2;
inline constexpr int16_t DMCOLLATE_FALSE = 0;
inline constexpr int16_t DMCOLLATE_TRUE = 1;
inline constexpr int16_t DMRES_DRAFT = -1;
inline constexpr int16_t DMRES_LOW = -2;
inline constexpr int16_t DMRES_MEDIUM = -3;
inline constexpr int16_t DMRES_HIGH = -4;

inline constexpr int16_t DMBIN_UPPER = 1;
inline constexpr int16_t DMBIN_ONLYONE = 1;
inline constexpr int16_t DMBIN_LOWER = 2;
inline constexpr int16_t DMBIN_MIDDLE = 3;
inline constexpr int16_t DMBIN_MANUAL = 4;
inline constexpr int16_t DMBIN_ENVELOPE = 5;
inline constexpr int16_t DMBIN_ENVMANUAL = 6;
inline constexpr int16_t DMBIN_AUTO = 7;
inline constexpr int16_t DMBIN_TRACTOR = 8;
inline constexpr int16_t DMBIN_SMALLFMT = 9;
inline constexpr int16_t DMBIN_LARGEFMT = 10;
inline constexpr int16_t DMBIN_LARGECAPACITY = 11;
inline constexpr int16_t DMBIN_CASSETTE = 14;
inline constexpr int16_t DMBIN_FORMSOURCE = 15;
inline constexpr int16_t DMBIN_USER = 256;

inline constexpr uint32_t DMMEDIA_STANDARD = 1;
inline constexpr uint32_t DMMEDIA_TRANSPARENCY = 2;
inline constexpr uint32_t DMMEDIA_GLOSSY = 3;
inline constexpr uint32_t DMMEDIA_USER = 256;

inline constexpr int16_t DMPAPER_LETTER = 1;
inline constexpr int16_t DMPAPER_LEGAL = 5;
inline constexpr int16_t DMPAPER_A3 = 8;
inline constexpr int16_t DMPAPER_A4 = 9;
inline constexpr int16_t DMPAPER_A5 = 11;

// Frees a DEVMODE block allocated with AllocateDevMode.
struct DevModeDeleter {
    void operator()(DEVMODEW* devMode) const { std::free(devMode); }
};
using DevModePtr = std::unique_ptr<DEVMODEW, DevModeDeleter>;

// A zeroed block with dmSize, dmSpecVersion and dmDriverExtra filled in; empty on failure.
DevModePtr AllocateDevMode(uint16_t driverExtraBytes = 0);
// The size of the whole block, driver-private tail included.
inline size_t DevModeBytes(const DEVMODEW& dm) {
    return static_cast<size_t>(dm.dmSize) + dm.dmDriverExtra;
}
// A byte-for-byte copy of a whole block, driver-private tail included.
DevModePtr CopyDevMode(const DEVMODEW* devMode);

// Text fields: UTF-8 in and out, at most 31 units stored, always NUL-terminated.
std::string GetDevModeText(const char16_t (&field)[32]);
void SetDevModeText(char16_t (&field)[32], const std::string& utf8);

// The driver-private tail: UTF-8 "name=value" pairs, each ended by a NUL, the list ended by
// an empty pair. Reading stops at the end of the block whatever it holds.
std::map<std::string, std::string> ReadDriverOptions(const DEVMODEW* devMode);
// The driver-private option that asks a printer to staple; an empty name when it cannot.
struct StapleOption {
    std::string name;
    std::string value;
};
// Returns a new block carrying the same public part and these options as its tail.
DevModePtr WithDriverOptions(const DEVMODEW* devMode,
                             const std::map<std::string, std::string>& options);

}  // namespace nvrprint
