// Maths commands: number settings (math.*), vector lists, quaternions and
// matrices given as parameters.
#pragma once

#include "engine/macroengine.h"

namespace corvane {

void registerMathsCommands(MacroEngine& engine);

}  // namespace corvane
