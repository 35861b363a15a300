// Statements that are no word of the language: declarations, assignments
// with their operators, and procedure statements.
#pragma once

#include <cstdint>

#include "engine/macroengine.h"

namespace corvane {

// var, local, global: the word is tested by its beginning, so variable,
// locals and global.x are declarations too.
bool isDeclarationWord(const Text& word);
void runDeclaration(MacroEngine& engine, const Text& word, const Text& remainder);

// True when "= " stands at position 2 or later of a remainder of more than two characters.
bool isAssignment(const Text& remainder);
// target op rest: := calls a function or joins the parameters; the other
// operators compute from the parameters.
void runAssignment(MacroEngine& engine, const Text& word, const Text& remainder);
// Applies an operator other than := to the parsed parameters; the result
// goes to resultText. The target's old value is read only by "!=".
void applyOperator(MacroEngine& engine, const Text& operatorWord, const Text& oldValue);

// A procedure statement, behind the with prefix when one is open.
void runProcedureStatement(MacroEngine& engine, std::int64_t& line, const Text& word, const Text& remainder);

}  // namespace corvane
