// Search blocks: minimize and maximize repeat their block with trial values
// until the block's variable result says the goal is met.
#pragma once

#include "engine/runloop.h"

namespace corvane {

void addSearchWords(WordTable& words);

}  // namespace corvane
