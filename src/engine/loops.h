// Loops: for and its kin, while, repeat, and parallel as a for.
#pragma once

#include "engine/runloop.h"

namespace corvane {

void addLoopWords(WordTable& words);

}  // namespace corvane
