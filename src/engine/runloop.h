// Execution loop: runScript, runBlock with its word list, skipping mode and
// store blocks, and the calls of procedures, functions and variable functions.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "engine/macroengine.h"

namespace corvane {

// Nesting limit of runBlock: beyond it a block is refused with a report.
constexpr std::int64_t maxBlockDepth = 50000;

// A clean engine with the trace on.
void newMacroEngine(MacroEngine& engine);
void freeMacroEngine(MacroEngine& engine);

// Runs the loaded table once: "Script runs...", the lines, "Script ends.".
// The main script needs registered commands; a sub-script of `run` has
// none and runs all the same.
enum class ScriptKind { main, subScript };
void runScript(MacroEngine& engine, ScriptKind kind = ScriptKind::main);
// Runs (active) or skips the lines behind `line` up to the closing end;
// yields the index of the last line read.
std::int64_t runBlock(MacroEngine& engine, std::int64_t line, bool active);

bool callProcedure(MacroEngine& engine, std::int64_t& line, const Text& name);
bool callFunction(MacroEngine& engine, const Text& name);
bool callVariableFunction(MacroEngine& engine, const Text& name);

// "In line L (F)." and the message, then the stop flag: break and stop.
void stopScript(MacroEngine& engine, const char* message);

// A statement of the language's word list: runs with the line's remainder
// and yields the index of the last line it read.
using WordStatement = std::int64_t (*)(MacroEngine& engine, std::int64_t line, const Text& remainder);

struct LanguageWord {
    WordStatement statement;
    bool opensSkippedBlock;  // pairing in skipping mode rests on these
};
using WordTable = std::unordered_map<std::string, LanguageWord>;

// Names the block about to run at the current level, for dump.stack and store lines.
void nameBlock(MacroEngine& engine, const Text& name);

}  // namespace corvane
