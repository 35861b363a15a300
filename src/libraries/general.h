// General commands without prefix: printing, tracing switches, nop and stop.
#pragma once

#include "engine/macroengine.h"

namespace corvane {

void registerGeneralCommands(MacroEngine& engine);

}  // namespace corvane
