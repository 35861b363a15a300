// The fixed list of command registrations, in the order of start-up.
#pragma once

#include "engine/macroengine.h"

namespace corvane {

// Library commands first, then the workspace families under their prefixes.
void registerAllCommands(MacroEngine& engine);

}  // namespace corvane
