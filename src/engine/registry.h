// Identifier registry: the SyntaxTable of built-in commands and script
// subroutines, the five registrars and the lookups with their singular and
// plural candidates.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/nameindex.h"
#include "foundation/text.h"

namespace corvane {

struct MacroEngine;

using PlainHandler = void (*)();
using EngineHandler = void (*)(MacroEngine&);

// Row kinds, the low four bits of the kind byte.
enum RowKind : std::uint8_t { rowBlock = 1, rowProcedure = 2, rowFunction = 3, rowVariableFunction = 4 };
// Calling bits: 0 calls the handler with no argument, 16 with the engine.
constexpr std::uint8_t callWithEngine = 16;

// A handler of either calling form; which one is meant follows the kind byte.
struct HandlerRef {
    PlainHandler plain = nullptr;
    EngineHandler withEngine = nullptr;
    bool set() const { return plain != nullptr || withEngine != nullptr; }
};

struct SyntaxMember {
    Text name;                 // prefix plus word, lower case, at most 254 characters
    std::uint8_t kind = 0;     // row kind | calling bits
    HandlerRef handler;
    HandlerRef secondHandler;
    std::int64_t startLine = 0;  // LineTable index of a script subroutine, 0 for built-ins
    std::int64_t usedCount = 0;  // successful lookups
    std::int64_t scope = 0;      // level of the definition, 0 for built-ins
    ShortText notes[3];          // kept for each row, always empty
};

// Rows in definition order; the newest row of a name wins. An index from
// name to the row numbers of that name keeps lookups at hash cost, and is
// trimmed together with the rows.
struct SyntaxTable {
    std::vector<SyntaxMember> rows;  // row r (1-based) is rows[r - 1]
    NameIndex rowsByName;
    // Results of whole lookups with their plural candidates, by kind wanted;
    // valid while `generation` stands, which every change of the rows moves.
    std::uint64_t generation = 0;
    std::int64_t highestScope = 0;  // of all rows; most block ends have nothing to drop
    std::uint64_t cacheGeneration = 0;
    NameMap<std::int64_t> lookupCache[5];
    // While set, every found row is noted here, so that a remembered
    // tokenisation can count its lookups again.
    std::vector<std::int64_t>* hitLog = nullptr;

    std::int64_t count() const { return static_cast<std::int64_t>(rows.size()); }
    SyntaxMember& row(std::int64_t index) { return rows[static_cast<std::size_t>(index - 1)]; }
    const SyntaxMember& row(std::int64_t index) const { return rows[static_cast<std::size_t>(index - 1)]; }
    // Drops every row from the first one of scope at least `scope` on.
    void truncateAtScope(std::int64_t scope);
    void clear();
};

void setRegistrationPrefix(MacroEngine& engine, const Text& prefix);
void clearRegistrationPrefix(MacroEngine& engine);

void registerProcedure(MacroEngine& engine, const Text& word, PlainHandler handler);
void registerOptionProcedure(MacroEngine& engine, const Text& word, EngineHandler handler);
void registerFunction(MacroEngine& engine, const Text& word, EngineHandler handler);
void registerDualCommand(MacroEngine& engine, const Text& word, EngineHandler procedure, EngineHandler function);
void registerVariableFunction(MacroEngine& engine, const Text& word, EngineHandler handler);
// A script procedure, function or module: null handlers, its start line.
void registerSubroutine(MacroEngine& engine, const Text& name, std::int64_t scope, std::uint8_t kind,
                        std::int64_t startLine);

// Row index or 0. Each hit counts in the row's used count. findProcedure
// accepts blocks and procedures and, with allowRepair and the trace on,
// opens the repair dialogue when nothing is found.
std::int64_t findProcedure(MacroEngine& engine, const Text& word, bool allowRepair);
std::int64_t findFunction(MacroEngine& engine, const Text& word);
std::int64_t findVariableFunction(MacroEngine& engine, const Text& word);
// Any row of exactly this name, whatever its kind; 0 when none.
std::int64_t findAnyRow(const MacroEngine& engine, const Text& name);

// The singular and plural forms tried, in order, when a word is not found.
std::vector<Text> pluralCandidates(const Text& word);

}  // namespace corvane
