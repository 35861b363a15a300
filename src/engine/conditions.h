// Conditions: the if words that set the block's flag, then and else blocks,
// case with its of and ofnot blocks.
#pragma once

#include "engine/runloop.h"

namespace corvane {

void addConditionWords(WordTable& words);

}  // namespace corvane
