// General commands: print and its colours, write, echo, nop, stop, debug,
// waiting, progress, sub-scripts, min and max, binary digits.
#include "libraries/general.h"

#include <chrono>
#include <limits>
#include <memory>
#include <thread>

#include "engine/parameters.h"
#include "engine/registry.h"
#include "engine/runloop.h"
#include "engine/variables.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/numbers.h"
#include "foundation/progress.h"
#include "libraries/randoms.h"

namespace corvane {

namespace {

// Into the open output file of a block, or to console and log.
// A file gets no colour.
void emit(MacroEngine& engine, const Text& text, bool lineEnd, const ConsoleColor* color) {
    if (color == nullptr || outputActive(engine)) {
        writeToOutput(engine, text, lineEnd);
        return;
    }
    writeColored(text.toUtf8(), *color);
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

// wait [<seconds>], also sleep and delay
void wait(MacroEngine& engine) {
    if (parameterCount(engine) < 1) return;
    const std::int64_t milliseconds = roundReal(realOf(parameterOrEmpty(engine, 1)) * 1000);
    if (milliseconds > 0) std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// progress [<text> <percent>]: the value is a percent, as the line shows it.
void progressLine(MacroEngine& engine) {
    const std::int64_t count = parameterCount(engine);
    if (count == 0) {
        readyDone();
    } else if (count == 2) {
        ready(realOf(parameterOrEmpty(engine, 2)) / 100, parameterOrEmpty(engine, 1));
    } else {
        errorCountMax(engine, 2);
    }
}

// run <macro file>: a sub-script in an engine of its own; its error stops the caller.
void run(MacroEngine& engine) {
    if (parameterCount(engine) < 1) {
        errorCountExact(engine, 1);
        return;
    }
    const Text file = parameterOrEmpty(engine, 1);
    if (!fileExists(file)) return;
    newline();
    writeLine(">>>> Sub program");
    // On the heap: sub-scripts may nest, and the record is large.
    auto sub = std::make_unique<MacroEngine>();
    newMacroEngine(*sub);
    // halt ends the process, so the sub-script shares the caller's way of ending.
    sub->haltProcess = engine.haltProcess;
    loadMacroFile(sub->lines, file);
    runScript(*sub, ScriptKind::subScript);
    if (!sub->errorText.empty()) {
        engine.errorText = sub->errorText;
        engine.stopFlag = true;
    }
    if (sub->halted) {
        engine.halted = true;
        engine.stopFlag = true;
    }
    freeMacroEngine(*sub);
    newline();
    writeLine("<<<<< End of sub program");
}

// x := min <number> ...; x := max <number> ...
template <bool smallest>
void extreme(MacroEngine& engine) {
    setResult(engine, Text());
    const std::int64_t count = parameterCount(engine);
    if (count < 1) {
        errorCountMin(engine, 1);
        return;
    }
    double value = smallest ? std::numeric_limits<double>::infinity() : -std::numeric_limits<double>::infinity();
    for (std::int64_t i = 1; i <= count; ++i) {
        const double next = realOf(parameterOrEmpty(engine, i));
        if (smallest ? next < value : next > value) value = next;
    }
    setResult(engine, realToText(value));
}

// x := minmax <low> <value> <high>
void minMax(MacroEngine& engine) {
    setResult(engine, Text());
    if (parameterCount(engine) != 3) {
        errorCountExact(engine, 3);
        return;
    }
    const double low = realOf(parameterOrEmpty(engine, 1));
    double value = realOf(parameterOrEmpty(engine, 2));
    const double high = realOf(parameterOrEmpty(engine, 3));
    if (value < low) value = low;
    if (value > high) value = high;
    setResult(engine, realToText(value));
}

// x := bin.to.txt <binary digits>, also binary.to.text: the decimal text of a
// number written in binary, read as the % words are (from the last digit
// back, only 0 and 1 take a place), so that a variable's digits convert too.
void binaryToText(MacroEngine& engine) {
    setResult(engine, Text());
    if (parameterCount(engine) != 1) {
        errorCountExact(engine, 1);
        return;
    }
    setResult(engine, realToText(readDigits(parameterOrEmpty(engine, 1), 2)));
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
    registerOptionProcedure(engine, "wait",         wait);
    registerOptionProcedure(engine, "sleep",        wait);
    registerOptionProcedure(engine, "delay",        wait);
    registerOptionProcedure(engine, "progress",     progressLine);
    registerOptionProcedure(engine, "run",          run);
    registerFunction       (engine, "min",          extreme<true>);
    registerFunction       (engine, "max",          extreme<false>);
    registerFunction       (engine, "minmax",       minMax);
    registerFunction       (engine, "bin.to.txt",     binaryToText);
    registerFunction       (engine, "binary.to.text", binaryToText);
    registerRandomCommands(engine);
}

}  // namespace corvane
