// Trace forms and the repair dialogue.
#include "engine/diagnostics.h"

#include "engine/parameters.h"
#include "engine/scriptmodel.h"
#include "foundation/numbers.h"
#include "foundation/console.h"

namespace corvane {

namespace {

// Trace pieces: coloured on an interactive console, plain otherwise.
ByteText paint(const Text& text, ConsoleColor color) { return colored(text.toUtf8(), color); }

ByteText parameterTrace(const Parameter& item) {
    switch (item.kind) {
        case parameterNumber:
        case parameterList: return paint(item.text, ConsoleColor::blue);
        case parameterString: return paint(item.text, ConsoleColor::red);
        case parameterFunction:
        case parameterVariableFunction: return paint(item.text, ConsoleColor::green);
        default: return item.text.toUtf8();
    }
}

ByteText parametersTrace(const MacroEngine& engine) {
    ByteText text;
    for (const Parameter& item : engine.parameters.items) text += parameterTrace(item) + "|";
    return text;
}

// Writes " " and the pieces as one trace line. Built by appending: g++ 12
// warns wrongly about `" " + text`.
void traceLine(std::initializer_list<ByteText> pieces) {
    ByteText line(1, ' ');
    for (const ByteText& piece : pieces) line += piece;
    line += '\n';
    writeConsole(line);
}

}  // namespace

void traceWord(const MacroEngine& engine, const Text& word) {
    if (engine.traceFlag) traceLine({paint(word, ConsoleColor::green), "|"});
}

void traceWordText(const MacroEngine& engine, const Text& word, const Text& text) {
    if (engine.traceFlag) traceLine({paint(word, ConsoleColor::green), "|", text.toUtf8(), "|"});
}

void traceStatement(const MacroEngine& engine, const Text& word) {
    if (engine.traceFlag) traceLine({paint(word, ConsoleColor::green), "|", parametersTrace(engine)});
}

void traceAssignment(const MacroEngine& engine, const Text& target, const Text& operatorText, const Text& value) {
    if (!engine.traceFlag) return;
    traceLine({paint(target, ConsoleColor::yellow), " ", paint(operatorText, ConsoleColor::green), "|", value.toUtf8(),
               "|"});
}

void traceCall(const MacroEngine& engine, const Text& target, const Text& word) {
    if (!engine.traceFlag) return;
    traceLine({paint(target, ConsoleColor::yellow), " := [", paint(word, ConsoleColor::green), "]|",
               parametersTrace(engine)});
}

bool repairDialogue(MacroEngine& engine, Text& word) {
    writeColored("Syntax error", ConsoleColor::red);
    writeTextLine(" (" + word + ") in " + lineReference(engine) + "!");
    writeTextLine(engine.lines.lineText(engine.currentLine));
    writeLine("Would you like to change the whole command line?");
    writeLine("  leave blank \u2013 reload command (with the same line numbering!)");
    writeLine("  ... \u2013 new comannd (without parameters)");  // verbatim
    writeLine("  nop \u2013 for ignore it");
    writeLine("  stop, break, halt \u2013 for a stop with ascending enforcement");
    writeColored(">>", ConsoleColor::red);
    write(" ");
    Text answer(readLine());
    if (answer.empty()) {
        // The line as it stands on disk now, under the same numbering.
        LineTable fresh;
        loadMacroFile(fresh, engine.lines.sourceName(engine.currentLine));
        answer = fresh.lineText(engine.lines.sourceLine(engine.currentLine));
    }
    Text newWord, rest;
    splitCommand(trimAndCutComment(answer), newWord, rest);
    parseParameters(engine, rest);
    if (withDepth(engine) > 0) newWord = withPrefix(engine, withDepth(engine)) + "." + newWord;
    engine.commandWord = registerText(newWord);
    word = newWord;
    return true;
}

// ---- dumps ---------------------------------------------------------------------------

namespace {

void dumpLine(MacroEngine& engine, const Text& line) { writeToOutput(engine, line, true); }

Text number(std::int64_t value) { return integerToText(value); }

// dump.line
void dumpLines(MacroEngine& engine) {
    dumpLine(engine, "***** dump.lines *****");
    const LineTable& lines = engine.lines;
    for (std::int64_t i = 1; i <= lines.lineCount(); ++i)
        dumpLine(engine, "  " + number(i) + " (" + number(lines.sourceLine(i)) + "): " + lines.lineText(i) + " [" +
                             lines.sourceName(i) + "]");
    dumpLine(engine, "***** dump.lines end *****");
}

// dump.used
void dumpUsed(MacroEngine& engine) {
    dumpLine(engine, "***** dump.used *****");
    for (const SyntaxMember& row : engine.syntax.rows)
        dumpLine(engine, " (" + number(row.scope) + ")+[" + number(row.kind) + "] " + row.name + " " +
                             number(row.usedCount) + " times");
    dumpLine(engine, "***** dump.used end *****");
}

// dump.prog, dump.func
void dumpPrograms(MacroEngine& engine) {
    dumpLine(engine, "***** dump.progs *****");
    for (const SyntaxMember& row : engine.syntax.rows)
        dumpLine(engine, " (" + number(row.scope) + ")+[" + number(row.kind) + "] " + row.name);
    dumpLine(engine, "***** dump.progs end *****");
}

// dump.modulus, dump.modul
void dumpModules(MacroEngine& engine) {
    dumpLine(engine, "***** dump.modulus *****");
    for (const ModuleRow& row : engine.modules) dumpLine(engine, " (" + number(row.scope) + ") " + number(row.variableCount));
    dumpLine(engine, "***** dump.modulus end *****");
}

void dumpVariableRows(MacroEngine& engine, bool scopedOnly) {
    dumpLine(engine, "***** dump.vars *****");
    for (const VariableRow& row : engine.variables.rows) {
        if (scopedOnly && row.scope <= 0) continue;
        dumpLine(engine, " (" + number(row.scope) + ") " + row.name + " := \"" + row.value + "\"");
    }
    dumpLine(engine, "***** dump.vars end *****");
}

// dump.var
void dumpVariables(MacroEngine& engine) { dumpVariableRows(engine, false); }
// dump.var.scope, dump.vars.scope
void dumpScopedVariables(MacroEngine& engine) { dumpVariableRows(engine, true); }

// dump.with
void dumpWiths(MacroEngine& engine) {
    dumpLine(engine, "***** dump.withs *****");
    for (const WithRow& row : engine.withStack) dumpLine(engine, " (" + number(row.scope) + ") " + row.prefix);
    dumpLine(engine, "***** dump.withs end *****");
}

// dump.output
void dumpOutputs(MacroEngine& engine) {
    dumpLine(engine, "***** dump.outputs *****");
    for (std::size_t i = 1; i < engine.outputs.size(); ++i)
        dumpLine(engine, " (" + number(engine.outputs[i]->scope) + ") " + engine.outputs[i]->name);
    dumpLine(engine, "***** dump.outputs end *****");
}

// dump.stack
void dumpStack(MacroEngine& engine) {
    dumpLine(engine, "***** dump.stack *****");
    // Entry 0 stays empty: the top block is opened by the run, not from a level.
    for (std::size_t i = 1; i < engine.blockStack.size(); ++i)
        dumpLine(engine, " (" + number(static_cast<std::int64_t>(i)) + ") " + engine.blockStack[i].toText());
    dumpLine(engine, "***** dump.stack end *****");
}

// dump.undo, dump.dump.redo
void dumpUndo(MacroEngine& engine) {
    dumpLine(engine, "***** dump.redo & undo *****");
    for (std::size_t i = 0; i < engine.redo.size(); ++i)
        dumpLine(engine, " (" + number(static_cast<std::int64_t>(i + 1)) + ") " + engine.redo[i].toText());
    dumpLine(engine, "***** *****");
    for (std::size_t i = 0; i < engine.undo.size(); ++i)
        dumpLine(engine, " (" + number(static_cast<std::int64_t>(i + 1)) + ") " + engine.undo[i].toText());
    dumpLine(engine, "***** dump.redo & undo end *****");
}

// dump.all
void dumpAll(MacroEngine& engine) {
    dumpLines(engine);
    dumpPrograms(engine);
    dumpModules(engine);
    dumpVariables(engine);
    dumpWiths(engine);
    dumpOutputs(engine);
    dumpStack(engine);
    dumpUndo(engine);
}

}  // namespace

void registerDumpCommands(MacroEngine& engine) {
    setRegistrationPrefix(engine, "dump.");
    registerOptionProcedure(engine, "xml",        dumpAll);
    registerOptionProcedure(engine, "line",       dumpLines);
    registerOptionProcedure(engine, "used",       dumpUsed);
    registerOptionProcedure(engine, "prog",       dumpPrograms);
    registerOptionProcedure(engine, "func",       dumpPrograms);
    registerOptionProcedure(engine, "modulus",    dumpModules);
    registerOptionProcedure(engine, "modul",      dumpModules);
    registerOptionProcedure(engine, "var",        dumpVariables);
    registerOptionProcedure(engine, "var.scope",  dumpScopedVariables);
    registerOptionProcedure(engine, "vars.scope", dumpScopedVariables);
    registerOptionProcedure(engine, "with",       dumpWiths);
    registerOptionProcedure(engine, "output",     dumpOutputs);
    registerOptionProcedure(engine, "stack",      dumpStack);
    registerOptionProcedure(engine, "undo",       dumpUndo);
    registerOptionProcedure(engine, "dump.redo",  dumpUndo);  // the name is dump.dump.redo, as it stands
    registerOptionProcedure(engine, "all",        dumpAll);
    clearRegistrationPrefix(engine);
}

}  // namespace corvane
