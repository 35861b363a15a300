// Variables and scopes: the VariableTable ordered by block depth, the with
// prefixes, the stack of open output files and the block names.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/nameindex.h"
#include "foundation/files.h"
#include "foundation/text.h"

namespace corvane {

struct MacroEngine;

struct VariableRow {
    Text name;   // lower case, blanks as '.', at most 254 characters
    Text value;  // at most 254 characters
    std::int64_t scope = 0;
};

// Rows ordered so that scope never falls from one row to the next. The
// newest row of a name is what readers find; an index from name to its rows
// keeps that at hash cost.
struct VariableTable {
    std::vector<VariableRow> rows;  // row r (1-based) is rows[r - 1]
    NameIndex rowsByName;

    std::int64_t count() const { return static_cast<std::int64_t>(rows.size()); }
    VariableRow& row(std::int64_t index) { return rows[static_cast<std::size_t>(index - 1)]; }
    const VariableRow& row(std::int64_t index) const { return rows[static_cast<std::size_t>(index - 1)]; }
    // Newest row of the name, 0 when none; the name is taken as it stands.
    std::int64_t newest(const Text& name) const;
    // Newest row of the name below row `before`, 0 when none.
    std::int64_t newestBefore(const Text& name, std::int64_t before) const;
    std::int64_t append(const Text& name, const Text& value, std::int64_t scope);
    std::int64_t insertAt(std::int64_t index, const Text& name, const Text& value, std::int64_t scope);
    void truncateAtScope(std::int64_t scope);
    void clear();
};

struct WithRow {
    Text prefix;
    std::int64_t scope = 0;
};

struct ModuleRow {
    std::int64_t variableCount = 0;
    std::int64_t scope = 0;
};

// One open output file of a store or output block.
struct OutputRow {
    Text name;
    std::int64_t scope = 0;
    FileHandle file;
};

constexpr std::int64_t outputStackLimit = 255;  // usable rows; position 0 is the spare record

// Name normal form: blanks as '.', lower case.
Text normalName(const Text& name);

void setVariable(MacroEngine& engine, const Text& name, const Text& value);
void setGlobalVariable(MacroEngine& engine, const Text& name, const Text& value, std::int64_t scope);
void addInstanceVariable(MacroEngine& engine, const Text& name, const Text& value);
Text readVariable(const MacroEngine& engine, const Text& name);
std::int64_t findVariable(const MacroEngine& engine, const Text& name);

void pushWith(MacroEngine& engine, const Text& prefix);
std::int64_t withDepth(const MacroEngine& engine);
// The first n prefixes joined by '.'; n out of range gives empty text.
Text withPrefix(const MacroEngine& engine, std::int64_t n);

// Position of the new row, or 0 with the attention or too-many line.
std::int64_t pushOutput(MacroEngine& engine, const Text& name);
bool outputActive(const MacroEngine& engine);
// The file of the top row, the spare record when the stack is empty.
FileHandle& currentOutput(MacroEngine& engine);

// Into the open output file of a block when there is one, else to console
// and log; with or without a line end.
void writeToOutput(MacroEngine& engine, const Text& text, bool lineEnd);

// End of a block: drops every row of the closing level, closes its files.
void popLevel(MacroEngine& engine);
// Start of a run: keeps the rows of scope 0, the built-ins and predefined variables.
void resetEngine(MacroEngine& engine);

}  // namespace corvane
