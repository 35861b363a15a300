// General commands without prefix: printing, tracing switches, nop, stop,
// waiting, progress, sub-scripts, min and max, and the random family.
#pragma once

#include "engine/macroengine.h"

namespace corvane {

void registerGeneralCommands(MacroEngine& engine);

}  // namespace corvane
