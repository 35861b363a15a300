// Trace forms and the repair dialogue.
#include "engine/diagnostics.h"

#include "engine/parameters.h"
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
    (void)engine;
    (void)word;
    return false;
}

}  // namespace corvane
