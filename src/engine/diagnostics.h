// Diagnostics: the trace of statements as they run, the repair dialogue for
// an unknown word at a terminal, and the dump. commands.
#pragma once

#include "engine/macroengine.h"

namespace corvane {

// Trace forms; silent while traceFlag is off, console only, never the log.
void traceWord(const MacroEngine& engine, const Text& word);
void traceWordText(const MacroEngine& engine, const Text& word, const Text& text);
// The word and each parameter of the engine's list.
void traceStatement(const MacroEngine& engine, const Text& word);
void traceAssignment(const MacroEngine& engine, const Text& target, const Text& operatorText, const Text& value);
// The same with a literal operator, built only when the trace is on.
inline void traceAssignment(const MacroEngine& engine, const Text& target, const char* operatorText, const Text& value) {
    if (engine.traceFlag) traceAssignment(engine, target, Text(operatorText), value);
}
void traceCall(const MacroEngine& engine, const Text& target, const Text& word);

// Asks for a new line in place of an unknown word. True when the user gave
// one; the word and the parameters are then the new ones.
bool repairDialogue(MacroEngine& engine, Text& word);

// The dump. commands that list the engine's tables.
void registerDumpCommands(MacroEngine& engine);

}  // namespace corvane
