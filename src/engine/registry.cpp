// SyntaxTable rows, registrars and lookups.
#include "engine/registry.h"

#include <algorithm>

#include "engine/diagnostics.h"
#include "engine/macroengine.h"
#include "foundation/console.h"

namespace corvane {

void SyntaxTable::truncateAtScope(std::int64_t scope) {
    // Most blocks define nothing: then no row reaches the level.
    if (rows.empty() || highestScope < scope) return;
    const auto first = std::find_if(rows.begin(), rows.end(), [scope](const SyntaxMember& row) {
        return row.scope >= scope;
    });
    const auto keep = static_cast<std::size_t>(first - rows.begin());
    if (rows.size() > keep) ++generation;
    dropRowsFrom(rows, rowsByName, keep);
    highestScope = 0;
    for (const SyntaxMember& row : rows) highestScope = std::max(highestScope, row.scope);
}

void SyntaxTable::clear() {
    rows.clear();
    rowsByName.clear();
    ++generation;
    highestScope = 0;
}

void setRegistrationPrefix(MacroEngine& engine, const Text& prefix) {
    engine.prefixRegister = registerText(prefix.lowerCase());
}

void clearRegistrationPrefix(MacroEngine& engine) { engine.prefixRegister = Text(); }

namespace {

void addRow(MacroEngine& engine, const Text& word, std::uint8_t kind, HandlerRef first, HandlerRef second,
            std::int64_t scope, std::int64_t startLine) {
    Text lowered = word.lowerCase();
    if (lowered.findChar(' ') != 0) {
        writeTextLine("Attention, wrong char ( ) inside command (" + lowered + ")!");
        lowered = lowered.replaceAll(" ", ".");
    }
    Text name = engine.prefixRegister + lowered;
    if (name.length() > shortTextCapacity) name = name.copy(1, shortTextCapacity);
    SyntaxTable& table = engine.syntax;
    const std::string key = nameKey(name);
    const auto existing = table.rowsByName.find(key);
    if (existing != table.rowsByName.end() && !existing->second.empty()) {
        const SyntaxMember& firstRow = table.row(existing->second.front());
        if (firstRow.scope == scope && (firstRow.kind & 15) == (kind & 15)) {
            writeTextLine("Attention double syntax member in this scope! (" + lowered + ")");
            return;
        }
    }
    SyntaxMember row;
    row.name = name;
    row.kind = kind;
    row.handler = first;
    row.secondHandler = second;
    row.scope = scope;
    row.startLine = startLine;
    table.rows.push_back(std::move(row));
    table.rowsByName[key].push_back(table.count());
    ++table.generation;
    table.highestScope = std::max(table.highestScope, scope);
}

HandlerRef plain(PlainHandler handler) { return HandlerRef{handler, nullptr}; }
HandlerRef withEngine(EngineHandler handler) { return HandlerRef{nullptr, handler}; }

bool kindFits(std::uint8_t kind, std::uint8_t wanted) {
    const std::uint8_t rowKind = kind & 15;
    if (wanted == rowProcedure) return rowKind == rowProcedure || rowKind == rowBlock;
    return rowKind == wanted;
}

// Newest row of exactly this name whose kind fits, counting the hit.
std::int64_t findExact(MacroEngine& engine, const Text& word, std::uint8_t wanted) {
    const NameKeyView key(word);
    const auto hit = engine.syntax.rowsByName.find(key.view());
    if (hit == engine.syntax.rowsByName.end()) return 0;
    const std::vector<std::int64_t>& indices = hit->second;
    for (auto at = indices.rbegin(); at != indices.rend(); ++at) {
        SyntaxMember& row = engine.syntax.row(*at);
        if (kindFits(row.kind, wanted)) {
            ++row.usedCount;
            return *at;
        }
    }
    return 0;
}

std::int64_t searchWithCandidates(MacroEngine& engine, const Text& word, std::uint8_t wanted) {
    const Text lowered = word.lowerCase();
    if (const std::int64_t row = findExact(engine, lowered, wanted)) return row;
    for (const Text& candidate : pluralCandidates(lowered)) {
        if (const std::int64_t row = findExact(engine, candidate, wanted)) return row;
    }
    return 0;
}

// The search above, remembered until the rows change; a remembered hit
// still counts in the row's used count.
std::int64_t findWithCandidates(MacroEngine& engine, const Text& word, std::uint8_t wanted) {
    SyntaxTable& table = engine.syntax;
    if (table.cacheGeneration != table.generation) {
        for (auto& cache : table.lookupCache) cache.clear();
        table.cacheGeneration = table.generation;
    }
    auto& cache = table.lookupCache[wanted];
    const NameKeyView key(word);
    const auto hit = cache.find(key.view());
    std::int64_t row = 0;
    if (hit != cache.end()) {
        row = hit->second;
        if (row != 0) ++table.row(row).usedCount;
    } else {
        row = searchWithCandidates(engine, word, wanted);
        cache.emplace(std::string(key.view()), row);
    }
    if (row != 0 && table.hitLog) table.hitLog->push_back(row);
    return row;
}

}  // namespace

void registerProcedure(MacroEngine& engine, const Text& word, PlainHandler handler) {
    addRow(engine, word, rowProcedure, plain(handler), {}, 0, 0);
}

void registerOptionProcedure(MacroEngine& engine, const Text& word, EngineHandler handler) {
    addRow(engine, word, rowProcedure | callWithEngine, withEngine(handler), {}, 0, 0);
}

void registerFunction(MacroEngine& engine, const Text& word, EngineHandler handler) {
    addRow(engine, word, rowFunction | callWithEngine, withEngine(handler), {}, 0, 0);
}

void registerDualCommand(MacroEngine& engine, const Text& word, EngineHandler procedure, EngineHandler function) {
    addRow(engine, word, rowProcedure | callWithEngine, withEngine(procedure), {}, 0, 0);
    addRow(engine, word, rowFunction | callWithEngine, withEngine(function), {}, 0, 0);
}

void registerVariableFunction(MacroEngine& engine, const Text& word, EngineHandler handler) {
    addRow(engine, word, rowVariableFunction | callWithEngine, withEngine(handler), {}, 0, 0);
}

void registerSubroutine(MacroEngine& engine, const Text& name, std::int64_t scope, std::uint8_t kind,
                        std::int64_t startLine) {
    addRow(engine, name, kind, {}, {}, scope, startLine);
}

std::int64_t findProcedure(MacroEngine& engine, const Text& word, bool allowRepair) {
    if (const std::int64_t row = findWithCandidates(engine, word, rowProcedure)) return row;
    if (!allowRepair || !engine.traceFlag) return 0;
    Text repaired = word;
    if (!repairDialogue(engine, repaired)) return 0;
    return findExact(engine, repaired.lowerCase(), rowProcedure);
}

std::int64_t findFunction(MacroEngine& engine, const Text& word) {
    return findWithCandidates(engine, word, rowFunction);
}

std::int64_t findVariableFunction(MacroEngine& engine, const Text& word) {
    return findWithCandidates(engine, word, rowVariableFunction);
}

std::int64_t findAnyRow(const MacroEngine& engine, const Text& name) {
    const NameKeyView key(name);
    const auto hit = engine.syntax.rowsByName.find(key.view());
    return hit == engine.syntax.rowsByName.end() || hit->second.empty() ? 0 : hit->second.back();
}

std::vector<Text> pluralCandidates(const Text& word) {
    const std::int64_t length = word.length();
    if (length == 0) return {};
    const Char16 last = word.at(length);
    if ((last >> 8) != 0) return {};
    // w-n: the word without its last n characters.
    const auto cut = [&word, length](std::int64_t n) { return word.copy(1, length - n); };
    switch (last) {
        case 'a': return {word + "e", cut(1) + "um"};
        case 'e': return {cut(2) + "ves", cut(1)};
        case 'f': return {cut(1) + "ves"};
        case 'i': return {cut(1) + "us"};
        case 'm': return {cut(2) + "a"};
        case 's':
            return {cut(2) + "es", cut(2) + "i",  cut(3) + "fe", cut(3) + "f", cut(1) + "os", cut(2) + "oes",
                    cut(2) + "is", cut(2) + "y",  cut(3) + "y",  cut(1),       cut(2)};
        case 'y': return {word + "s", cut(1) + "ies"};
        default: return {word + "s", word + "es"};  // also below 'a' and 'o'
    }
}

}  // namespace corvane
