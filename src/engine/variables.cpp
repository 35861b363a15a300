// Variables, with prefixes, output files and the end-of-block rule.
#include "engine/variables.h"

#include <algorithm>

#include "engine/macroengine.h"
#include "engine/parameters.h"
#include "foundation/console.h"
#include "foundation/numbers.h"

namespace corvane {

namespace {

void cutToShort(Text& text) {
    if (text.length() > shortTextCapacity) text = text.copy(1, shortTextCapacity);
}

bool isNormalName(const Text& name) {
    const std::string& bytes = name.low();
    return std::none_of(bytes.begin(), bytes.end(), [](char c) { return c == ' ' || (c >= 'A' && c <= 'Z'); });
}

// Names as stored: normal form, at most 254 characters.
void storeForm(Text& name) {
    if (!isNormalName(name)) name = name.replaceAll(" ", ".").lowerCase();
    cutToShort(name);
}

// Index of the first row whose scope is at least `scope`; rows are ordered
// by scope, so a binary search finds it.
template <class Row>
std::size_t firstRowOfScope(const std::vector<Row>& rows, std::int64_t scope) {
    return static_cast<std::size_t>(
        std::partition_point(rows.begin(), rows.end(), [scope](const Row& row) { return row.scope < scope; }) -
        rows.begin());
}

// Element list rebuilt with `value` at position `index` (1-based), the other
// elements kept; positions beyond the end are filled with empty elements.
Text replaceElement(const Text& list, std::int64_t index, const Text& value) {
    Text result;
    Text rest = list;
    bool restLeft = !list.empty();
    for (std::int64_t position = 1; restLeft || position <= index; ++position) {
        Text element;
        if (restLeft) {
            const std::int64_t tab = rest.findChar('\t');
            element = tab == 0 ? rest : rest.copy(1, tab - 1);
            rest = tab == 0 ? Text() : rest.copy(tab + 1, rest.length());
            restLeft = tab != 0;
        }
        if (position > 1) result += Char16('\t');
        result += position == index ? value : element;
    }
    return result;
}

// Applies the index suffix "name[i]": the plain name and the value to store.
void resolveIndexSuffix(const MacroEngine& engine, Text& name, Text& value) {
    if (name.at(name.length()) != ']') return;
    const std::int64_t open = name.findChar('[');
    if (open == 0) return;
    Text indexText = name.copy(open, name.length());
    const std::int64_t index = readInteger(indexText);
    name = name.copy(1, open - 1);
    if (index >= 1) value = replaceElement(readVariable(engine, name), index, value);
}

// Normal form and value of a setter's arguments; false after the overloaded report.
bool prepareSet(MacroEngine& engine, Text& name, Text& value) {
    resolveIndexSuffix(engine, name, value);
    storeForm(name);
    cutToShort(value);
    if (findAnyRow(engine, name) != 0) {
        reportError(engine, "overloaded identifier: " + name);
        return false;
    }
    return true;
}

}  // namespace

std::int64_t VariableTable::newest(const Text& name) const {
    const NameKeyView key(name);
    const auto hit = rowsByName.find(key.view());
    return hit == rowsByName.end() || hit->second.empty() ? 0 : hit->second.back();
}

std::int64_t VariableTable::newestBefore(const Text& name, std::int64_t before) const {
    const NameKeyView key(name);
    const auto hit = rowsByName.find(key.view());
    if (hit == rowsByName.end()) return 0;
    const std::vector<std::int64_t>& indices = hit->second;
    const auto at = std::lower_bound(indices.begin(), indices.end(), before);
    return at == indices.begin() ? 0 : *(at - 1);
}

std::int64_t VariableTable::append(const Text& name, const Text& value, std::int64_t scope) {
    rows.push_back({name, value, scope});
    const auto index = count();
    const NameKeyView key(name);
    entryOf(rowsByName, key.view()).push_back(index);
    return index;
}

std::int64_t VariableTable::insertAt(std::int64_t index, const Text& name, const Text& value, std::int64_t scope) {
    // Rows behind the place move up by one; their index entries follow.
    for (std::int64_t moved = count(); moved >= index; --moved) {
        std::vector<std::int64_t>& indices = rowsByName[nameKey(row(moved).name)];
        *std::find(indices.begin(), indices.end(), moved) += 1;
    }
    rows.insert(rows.begin() + (index - 1), VariableRow{name, value, scope});
    std::vector<std::int64_t>& indices = rowsByName[nameKey(name)];
    indices.insert(std::lower_bound(indices.begin(), indices.end(), index), index);
    return index;
}

void VariableTable::truncateAtScope(std::int64_t scope) {
    dropRowsFrom(rows, rowsByName, firstRowOfScope(rows, scope));
}

void VariableTable::clear() {
    rows.clear();
    rowsByName.clear();
}

Text normalName(const Text& name) {
    // Most names are already in normal form: no blank, no upper-case letter.
    if (isNormalName(name)) return name;
    return name.replaceAll(" ", ".").lowerCase();
}

void setVariable(MacroEngine& engine, const Text& name, const Text& value) {
    Text storedName = name, storedValue = value;
    if (!prepareSet(engine, storedName, storedValue)) return;
    const std::int64_t existing = engine.variables.newest(storedName);
    if (existing != 0) {
        engine.variables.row(existing).value = storedValue;
    } else {
        engine.variables.append(storedName, storedValue, engine.level);
    }
}

void setGlobalVariable(MacroEngine& engine, const Text& name, const Text& value, std::int64_t scope) {
    Text storedName = name, storedValue = value;
    if (!prepareSet(engine, storedName, storedValue)) return;
    VariableTable& table = engine.variables;
    const std::int64_t existing = table.newest(storedName);
    if (existing != 0) {
        table.row(existing).value = storedValue;
        return;
    }
    if (table.count() == 0 || table.row(table.count()).scope <= scope) {
        table.append(storedName, storedValue, scope);
        return;
    }
    std::int64_t place = table.count();
    while (place >= 1 && table.row(place).scope > scope) --place;
    table.insertAt(place + 1, storedName, storedValue, scope);
}

void addInstanceVariable(MacroEngine& engine, const Text& name, const Text& value) {
    Text storedName = name, storedValue = value;
    resolveIndexSuffix(engine, storedName, storedValue);
    storeForm(storedName);
    cutToShort(storedValue);
    engine.variables.append(storedName, storedValue, engine.level + 1);
}

Text readVariable(const MacroEngine& engine, const Text& name) {
    const std::int64_t index = findVariable(engine, name);
    return index == 0 ? Text() : engine.variables.row(index).value;
}

std::int64_t findVariable(const MacroEngine& engine, const Text& name) {
    if (isNormalName(name)) return engine.variables.newest(name);
    return engine.variables.newest(normalName(name));
}

void pushWith(MacroEngine& engine, const Text& prefix) { engine.withStack.push_back({prefix, engine.level + 1}); }

std::int64_t withDepth(const MacroEngine& engine) { return static_cast<std::int64_t>(engine.withStack.size()); }

Text withPrefix(const MacroEngine& engine, std::int64_t n) {
    if (n < 1 || n > withDepth(engine)) return Text();
    Text joined;
    for (std::int64_t i = 0; i < n; ++i) {
        if (i > 0) joined += ".";
        joined += engine.withStack[static_cast<std::size_t>(i)].prefix;
    }
    return joined;
}

std::int64_t pushOutput(MacroEngine& engine, const Text& name) {
    for (std::size_t i = 1; i < engine.outputs.size(); ++i) {
        if (engine.outputs[i]->name == name) {
            writeTextLine("Attention file is open! (" + name + ")");
            return 0;
        }
    }
    if (static_cast<std::int64_t>(engine.outputs.size()) - 1 >= outputStackLimit) {
        writeTextLine("To much open files! (" + name + ")");  // verbatim
        return 0;
    }
    auto row = std::make_unique<OutputRow>();
    row->name = name;
    row->scope = engine.level + 1;
    engine.outputs.push_back(std::move(row));
    return static_cast<std::int64_t>(engine.outputs.size()) - 1;
}

bool outputActive(const MacroEngine& engine) { return !engine.outputs.back()->name.empty(); }

FileHandle& currentOutput(MacroEngine& engine) { return engine.outputs.back()->file; }

void writeToOutput(MacroEngine& engine, const Text& text, bool lineEnd) {
    if (outputActive(engine)) {
        FileHandle& file = currentOutput(engine);
        if (lineEnd) {
            file.writeLine(text.toUtf8());
        } else {
            file.write(text.toUtf8());
        }
        return;
    }
    writeText(text);
    if (lineEnd) newline();
}

namespace {

// Closes the files of the rows from the top down to `keep` and drops them.
void closeOutputsDownTo(MacroEngine& engine, std::size_t keep) {
    while (engine.outputs.size() > keep && engine.outputs.size() > 1) {
        OutputRow& row = *engine.outputs.back();
        if (!row.name.empty() && row.file.isOpen()) row.file.close();
        engine.outputs.pop_back();
    }
}

}  // namespace

void popLevel(MacroEngine& engine) {
    const std::int64_t level = engine.level;
    engine.syntax.truncateAtScope(level);
    engine.modules.resize(firstRowOfScope(engine.modules, level));
    engine.variables.truncateAtScope(level);
    engine.withStack.resize(firstRowOfScope(engine.withStack, level));
    std::size_t keep = engine.outputs.size();
    while (keep > 1 && engine.outputs[keep - 1]->scope >= level) --keep;
    closeOutputsDownTo(engine, keep);
    engine.level = std::max<std::int64_t>(0, level - 1);
    // Entry L names the block opened from level L; the one just closed stays
    // until the next block from this level writes over it.
    if (static_cast<std::int64_t>(engine.blockStack.size()) > engine.level + 1)
        engine.blockStack.resize(static_cast<std::size_t>(engine.level + 1));
}

void resetEngine(MacroEngine& engine) {
    engine.level = 0;
    engine.blockStack.clear();
    engine.syntax.truncateAtScope(1);
    engine.variables.truncateAtScope(1);
    engine.modules.clear();
    engine.withStack.clear();
    engine.parameters.clear();
    engine.rawParameters.clear();
    engine.undo.clear();
    engine.redo.clear();
    closeOutputsDownTo(engine, 1);
    engine.stopFlag = false;
    engine.runningFlag = false;
    engine.currentLine = 0;
    engine.errorText = Text();
}

}  // namespace corvane
