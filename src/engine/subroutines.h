// Procedures, functions and modules defined by a script, and their calls.
#pragma once

#include <cstdint>

#include "engine/runloop.h"

namespace corvane {

void addSubroutineWords(WordTable& words);

// Runs a script procedure row: its parameters as the list "parameter".
void callScriptProcedure(MacroEngine& engine, const Text& name, std::int64_t startLine);
// Runs a script function row; its "result" becomes resultText.
void callScriptFunction(MacroEngine& engine, const Text& name, std::int64_t startLine);

}  // namespace corvane
