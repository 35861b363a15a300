// The stack calculator: `stack` with its tokens on four-component values,
// and stack.length, stack.clear and stack.flip.
#pragma once

#include <cstdint>

#include "engine/macroengine.h"
#include "foundation/vectors.h"

namespace corvane {

void registerStackCommands(MacroEngine& engine);

// The calculator stack as the list commands will read it, 1-based.
std::int64_t calculatorStackSize();
Vector4 calculatorStackElement(std::int64_t index);

}  // namespace corvane
