#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "NvrPrintUtils/DevMode.h"
#include "NvrPrintUtils/PrintJobSettings.h"

namespace nvrprint {

// One of the fourteen DEVMODE fields a job may set: its name in the settings JSON and in the
// log, its dmFields bit, where it lives in a job's settings and in a DEVMODE, and what the
// attribute mapping takes of a printer's value. Every walk over the fields goes through
// DevModeFields(), so a field is added or changed in one row.
struct DevModeField {
    // Number: a 16-bit field on both sides. FormName: text, dmFormName. MediaType: 16 bits
    // in the settings, 32 in the DEVMODE.
    enum class Kind { Number, FormName, MediaType };

    const char* key;
    uint32_t bit;
    Kind kind;
    int16_t PrintJobSettings::*setting = nullptr;  // Number and MediaType
    int16_t DEVMODEW::*device = nullptr;           // Number
    // Compared with the driver's validated DEVMODE and reported when the driver changed it.
    bool reportedWhenCorrected = false;
    // A printer's value the attribute mapping takes as it is; any other becomes the
    // fallback, or is left out without one. Number only.
    bool (*accepted)(int16_t) = nullptr;
    std::optional<int16_t> fallback;

    // Set means not negative, for the form name not empty.
    bool IsSet(const PrintJobSettings& settings) const;
    // The value as the log shows it: numbers bare, the form name in single quotes.
    std::string LogText(const PrintJobSettings& settings) const;
    bool SameValue(const PrintJobSettings& a, const PrintJobSettings& b) const;
    void Copy(const PrintJobSettings& from, PrintJobSettings* to) const;
    // Stores the value and sets the bit.
    void WriteTo(const PrintJobSettings& settings, DEVMODEW* devMode) const;
    // Takes the value when the DEVMODE's bit is set; false otherwise.
    bool ReadFrom(const DEVMODEW* devMode, PrintJobSettings* settings) const;
};

// The fields in the order of the settings document: the order of reading, merging, writing
// and reporting.
std::span<const DevModeField> DevModeFields();

}  // namespace nvrprint
