// Parameters and assignment: the two tokenisers, variable substitution,
// the accessors every command handler uses, the reports, and the
// declarations, operators and assignments of a statement.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/macroengine.h"

namespace corvane {

// ---- handler accessors -----------------------------------------------------

std::int64_t parameterCount(const MacroEngine& engine);
// Text of parameter i (1-based); out of range: empty, the at-least report.
Text parameter(MacroEngine& engine, std::int64_t i);
Text parameterOrEmpty(const MacroEngine& engine, std::int64_t i);
std::uint8_t parameterKind(const MacroEngine& engine, std::int64_t i);
Text rawParameter(MacroEngine& engine, std::int64_t i);
std::int64_t rawParameterCount(const MacroEngine& engine);
// All parameters joined with no separator, as print and := join them.
Text joinedParameters(const MacroEngine& engine);
Text getResult(const MacroEngine& engine);
void setResult(MacroEngine& engine, const Text& text);
Text getTarget(const MacroEngine& engine);
void setTarget(MacroEngine& engine, const Text& text);
// While a script runs: true if the count is n, otherwise the exact report.
bool countIs(MacroEngine& engine, std::int64_t n);

// ---- reports: each prints one line, keeps it in errorText, stops the run ----

void errorCountExact(MacroEngine& engine, std::int64_t n);
void errorCountMin(MacroEngine& engine, std::int64_t n);
void errorCountMax(MacroEngine& engine, std::int64_t n);
void reportError(MacroEngine& engine, const Text& text);
void reportSyntaxError(MacroEngine& engine, const Text& text);
// The syntax report with a closing remark: "Unknown procedure!" and the like.
void reportUnknown(MacroEngine& engine, const Text& text, const char* remark);
// "line L (F)" of the current line.
Text lineReference(const MacroEngine& engine);

// ---- parsing ------------------------------------------------------------------

// Substitutes @-variables, fills both lists and substitutes each entry.
void parseParameters(MacroEngine& engine, const Text& text);
// "@" plus a name (or the name in upper case) becomes the value, for every
// variable from the newest to the oldest, anywhere in the text.
Text substituteAtVariables(const MacroEngine& engine, const Text& text);
// The value of the variable the word names, again while the value names an older one.
Text substituteVariable(const MacroEngine& engine, const Text& word);
void splitParameters(MacroEngine& engine, const Text& text);
void splitRawParameters(MacroEngine& engine, const Text& text);
// The words of a text as written, one for each parameter it gives, before
// the '#', '$' and '%' conversions and before substitution.
std::vector<Text> writtenWords(MacroEngine& engine, const Text& text);

// As parseParameters, but the first `literalCount` words stay as written.
void parseParametersKeepingNames(MacroEngine& engine, const Text& text, std::int64_t literalCount);

}  // namespace corvane
