// MacroEngine: the record of all interpreter state, one for the main
// script and one for each sub-script, and the frame of a running block.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/registry.h"
#include "engine/scriptmodel.h"
#include "engine/variables.h"
#include "foundation/text.h"

namespace corvane {

// Parameter kinds, which also colour the trace.
enum ParameterKind : std::uint8_t {
    parameterWord = 0,             // replaced when a variable of that name exists
    parameterNumber = 1,           // starts with '-' or a digit
    parameterString = 2,           // quoted text or a '#' character code
    parameterList = 3,             // bracket, '$' hexadecimal or '%' binary
    parameterElement = 4,          // name[index]
    parameterFunction = 8,         // first word that names a function
    parameterVariableFunction = 9  // runs, its result replaces the word
};

struct Parameter {
    Text text;  // at most 254 characters
    std::uint8_t kind = parameterWord;
};

// 1-based for the handlers; the vector keeps its capacity between statements.
struct ParameterList {
    std::vector<Parameter> items;
    std::int64_t count() const { return static_cast<std::int64_t>(items.size()); }
    void clear() { items.clear(); }
};

// Both tokenisations of one text, kept while the registry stays as it is,
// with the rows whose lookups they made, so that these count again.
struct SplitResult {
    std::vector<Parameter> parameters, raw;
    std::vector<std::int64_t> foundRows;
    bool rawAlike = false;  // both lists equal, without variable functions
};

// The locals of one runBlock activation, visible to statement handlers.
struct BlockFrame {
    std::int64_t line = 0;       // index of the line being run
    Text remainder;              // the line behind its command word
    bool condition = true;       // flag of if*, then, else
    bool spare = true;
    Text caseValue;              // value of case, for of
    Text templateRegister;       // @@$ of store lines
    Text separator;              // copy of storeSpace
    std::vector<Text> masks;     // mask list of store lines
};

// A line as read and split, kept while the line table stays as it is:
// reading and splitting depend on the line's text alone.
struct PreparedLine {
    bool ready = false;
    Text word;       // lower-cased command word, empty for a blank line
    Text remainder;  // the rest behind the first blank
};

struct MacroEngine {
    // Text registers, each kept in the 508-character form of registerText.
    Text prefixRegister, errorText, assignTarget, resultText, commandWord;

    SyntaxTable syntax;
    std::vector<ModuleRow> modules;
    VariableTable variables;
    std::vector<WithRow> withStack;
    // Row 0 is the spare record; rows 1..255 are the open files.
    std::vector<std::unique_ptr<OutputRow>> outputs = makeOutputStack();
    std::vector<ShortText> blockStack;  // entry for each level, from 0
    std::vector<ShortText> undo, redo;  // shown by the dumps, never filled

    std::int64_t level = 0;
    bool runningFlag = false;
    bool stopFlag = false;
    bool traceFlag = true;
    std::array<std::int64_t, 2> parallelSlot = {0, 0};

    LineTable lines;
    std::int64_t currentLine = 0;
    std::vector<PreparedLine> preparedLines;
    std::uint64_t preparedGeneration = 0;
    ParameterList parameters, rawParameters;
    NameMap<SplitResult> splitCache;
    std::uint64_t splitCacheGeneration = 0;
    void (*lineHook)() = nullptr;  // called before each line

    BlockFrame* frame = nullptr;  // innermost running block
    // Ends the process for halt; tests and the fuzzer replace it.
    void (*haltProcess)(MacroEngine& engine, int code) = nullptr;
    bool halted = false;  // set when haltProcess returned instead of exiting

    static std::vector<std::unique_ptr<OutputRow>> makeOutputStack() {
        std::vector<std::unique_ptr<OutputRow>> stack;
        stack.push_back(std::make_unique<OutputRow>());
        return stack;
    }
};

// The process-wide separator of store lines, set by store.space and append.space.
extern Text storeSpace;

// Register texts keep the first 254 characters and, of a longer text,
// characters 256 to 509; character 255 and all behind 509 are lost.
Text registerText(const Text& text);

}  // namespace corvane
