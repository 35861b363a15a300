// NumberSettings: the process-wide block of number and text-order settings
// read by every reader and printer.
#pragma once

#include <cstdint>

namespace corvane {

struct NumberSettings {
    bool ScientificMode = false;   // math.scientific: printers apply the exponent form
    bool DecimalPointMode = true;  // math.decimal: '.' separates decimals, vectors print with ", "
    bool ThousandsMode = false;    // math.digit: integers group digits in threes
    std::int32_t leading = 0;      // math.leading, stored only
    std::int32_t trailing = 0;     // math.trailing, stored only
    bool degree = true;            // math.degree, stored only
    bool vector = false;           // math.vector, read by the text mesh readers
    bool matrix = false;           // math.matrix, stored only
    bool AlignedTextOrder = true;  // io.align: text order, see compareText
};

// The live settings. The whole block is copied aside and back as one unit.
extern NumberSettings numberSettings;

// Holds a copy of the settings and puts it back when it goes out of scope,
// for code that forces a setting for a stretch.
class NumberSettingsGuard {
public:
    NumberSettingsGuard() : saved_(numberSettings) {}
    ~NumberSettingsGuard() { numberSettings = saved_; }
    NumberSettingsGuard(const NumberSettingsGuard&) = delete;
    NumberSettingsGuard& operator=(const NumberSettingsGuard&) = delete;

private:
    NumberSettings saved_;
};

}  // namespace corvane
