// procedure, function, sub, module, and calls of script subroutines.
#include "engine/subroutines.h"

#include "engine/diagnostics.h"
#include "engine/parameters.h"

namespace corvane {

namespace {

// A definition adds its row and skips its block; it runs when called.
std::int64_t define(MacroEngine& engine, std::int64_t line, const Text& remainder, std::uint8_t kind,
                    const char* blockName, bool nameRequired) {
    parseParameters(engine, remainder);
    if (parameterCount(engine) >= 1) {
        registerSubroutine(engine, parameterOrEmpty(engine, 1), engine.level, kind, line);
    } else if (nameRequired) {
        errorCountMin(engine, 1);
    }
    nameBlock(engine, blockName);
    return runBlock(engine, line, false);
}

std::int64_t procedureStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    return define(engine, line, remainder, rowProcedure, "procedure", false);
}

std::int64_t functionStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    return define(engine, line, remainder, rowFunction, "function", false);
}

std::int64_t subStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    return define(engine, line, remainder, rowProcedure, "sub.ignore", true);
}

// module: a visible scope whose lines run where they stand.
std::int64_t moduleStatement(MacroEngine& engine, std::int64_t line, const Text&) {
    engine.modules.push_back({engine.variables.count(), engine.level + 1});
    nameBlock(engine, "module");
    return runBlock(engine, line, true);
}

// All parameters joined by tabs: the list variable "parameter".
Text joinedParameterList(const MacroEngine& engine) {
    Text list;
    for (std::int64_t i = 1; i <= parameterCount(engine); ++i) {
        if (i > 1) list += Char16('\t');
        list += parameterOrEmpty(engine, i);
    }
    return list;
}

}  // namespace

void addSubroutineWords(WordTable& words) {
    words["procedure"] = {procedureStatement, true};
    words["function"] = {functionStatement, true};
    words["module"] = {moduleStatement, true};
    words["sub"] = {subStatement, false};  // not a block opener while skipping
}

void callScriptProcedure(MacroEngine& engine, const Text& name, std::int64_t startLine) {
    traceStatement(engine, name);
    addInstanceVariable(engine, "parameter", joinedParameterList(engine));
    runBlock(engine, startLine, true);
}

void callScriptFunction(MacroEngine& engine, const Text& name, std::int64_t startLine) {
    traceCall(engine, engine.assignTarget, name);
    const Text target = engine.assignTarget;
    setVariable(engine, "result", Text());
    addInstanceVariable(engine, "parameter", joinedParameterList(engine));
    runBlock(engine, startLine, true);
    engine.assignTarget = target;
    setResult(engine, readVariable(engine, "result"));
}

}  // namespace corvane
