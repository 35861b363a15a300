// General commands: print and its colours, write, echo, nop, stop, debug.
#include "libraries/general.h"

#include "engine/parameters.h"
#include "engine/registry.h"
#include "engine/runloop.h"
#include "foundation/console.h"

namespace corvane {

namespace {

Text joinedParameters(const MacroEngine& engine) {
    Text text;
    for (std::int64_t i = 1; i <= parameterCount(engine); ++i) text += parameterOrEmpty(engine, i);
    return text;
}

// Into the open output file of a block, or to console and log.
void emit(MacroEngine& engine, const Text& text, bool lineEnd, const ConsoleColor* color) {
    if (outputActive(engine)) {
        FileHandle& file = currentOutput(engine);
        if (lineEnd) {
            file.writeLine(text.toUtf8());
        } else {
            file.write(text.toUtf8());
        }
        return;
    }
    if (color != nullptr) {
        writeColored(text.toUtf8(), *color);
    } else {
        writeText(text);
    }
    if (lineEnd) newline();
}

// debug
void debug(MacroEngine& engine) { engine.traceFlag = true; }
// debug.no
void debugNo(MacroEngine& engine) { engine.traceFlag = false; }
// nop
void nop() {}
// stop
void stop(MacroEngine& engine) { stopScript(engine, "Script stop."); }
// write [<text> ...]
void write(MacroEngine& engine) {
    if (parameterCount(engine) > 0) emit(engine, joinedParameters(engine), false, nullptr);
}
// write.tab
void writeTab(MacroEngine& engine) { emit(engine, Text(Char16('\t')), false, nullptr); }
// print [<text> ...], also writeln and echo
void print(MacroEngine& engine) { emit(engine, joinedParameters(engine), true, nullptr); }

template <ConsoleColor color>
void printColored(MacroEngine& engine) {
    const ConsoleColor chosen = color;
    emit(engine, joinedParameters(engine), true, &chosen);
}

}  // namespace

void registerGeneralCommands(MacroEngine& engine) {
    registerOptionProcedure(engine, "debug",        debug);
    registerOptionProcedure(engine, "debug.no",     debugNo);
    registerProcedure      (engine, "nop",          nop);
    registerOptionProcedure(engine, "stop",         stop);
    registerOptionProcedure(engine, "write",        write);
    registerOptionProcedure(engine, "write.tab",    writeTab);
    registerOptionProcedure(engine, "writeln",      print);
    registerOptionProcedure(engine, "print",        print);
    registerOptionProcedure(engine, "echo",         print);
    registerOptionProcedure(engine, "print.red",    printColored<ConsoleColor::red>);
    registerOptionProcedure(engine, "print.green",  printColored<ConsoleColor::green>);
    registerOptionProcedure(engine, "print.blue",   printColored<ConsoleColor::blue>);
    registerOptionProcedure(engine, "print.yellow", printColored<ConsoleColor::yellow>);
    registerOptionProcedure(engine, "print.cyan",   printColored<ConsoleColor::cyan>);
    registerOptionProcedure(engine, "print.purple", printColored<ConsoleColor::purple>);
}

}  // namespace corvane
