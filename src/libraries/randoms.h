// Random commands: ranges, reals and vectors of reals, integer values and
// colours, all drawn from the one process-wide random source.
#pragma once

#include "engine/macroengine.h"

namespace corvane {

void registerRandomCommands(MacroEngine& engine);

}  // namespace corvane
