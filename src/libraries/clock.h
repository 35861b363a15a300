// Time, calendar and timer commands: the parts of the present local time and
// date, the weekday, leap years and the stop watch of timer.start.
#pragma once

#include "engine/macroengine.h"

namespace corvane {

void registerTimeCommands(MacroEngine& engine);

}  // namespace corvane
