// The commands every grid family shares: geometry functions and setters,
// value and background, the bit levels that pick the kind of new fields,
// new, and the local/global conversions.
#pragma once

namespace corvane {

struct MacroEngine;

void registerFieldCommands(MacroEngine& engine);

}  // namespace corvane
