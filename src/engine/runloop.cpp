// runScript, runBlock, the statements of the word list that belong to the
// loop itself, store blocks with their template lines, and the calls.
#include "engine/runloop.h"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string>
#include <thread>
#include <unordered_map>

#include "engine/assignment.h"
#include "engine/conditions.h"
#include "engine/loops.h"
#include "engine/search.h"
#include "engine/subroutines.h"
#include "engine/diagnostics.h"
#include "engine/parameters.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/maths.h"
#include "foundation/numbers.h"
#include "foundation/programs.h"

namespace corvane {

namespace {

// ---- the word list ------------------------------------------------------------

std::int64_t ignoreStatement(MacroEngine& engine, std::int64_t line, const Text&) {
    nameBlock(engine, "ignore");
    return runBlock(engine, line, false);
}

std::int64_t processStatement(MacroEngine& engine, std::int64_t line, const Text&) {
    nameBlock(engine, "process");
    return runBlock(engine, line, true);
}

// with <prefix>: plain statement words of the block get the prefix.
std::int64_t withStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    parseParameters(engine, remainder);
    traceStatement(engine, "with");
    if (parameterCount(engine) > 0) pushWith(engine, parameterOrEmpty(engine, 1).lowerCase());
    nameBlock(engine, "with");
    return runBlock(engine, line, true);
}

// Opens the block's file through the output stack; false when it could not.
bool openBlockOutput(MacroEngine& engine, const Text& remainder, bool append, const char* word) {
    parseParameters(engine, remainder);
    const Text name = parameter(engine, 1);
    if (engine.stopFlag) return false;
    traceWordText(engine, word, name);
    const std::int64_t position = pushOutput(engine, name);
    if (position == 0) return false;
    FileHandle& file = engine.outputs[static_cast<std::size_t>(position)]->file;
    return append ? appendTextFile(file, name, SuccessLine::quiet) : writeTextFile(file, name, SuccessLine::quiet);
}

// store and append: the block's lines are text for the file, not statements.
std::int64_t storeBlock(MacroEngine& engine, std::int64_t line, const Text& remainder, bool append) {
    const char* word = append ? "append" : "store";
    openBlockOutput(engine, remainder, append, word);
    nameBlock(engine, word);
    return runBlock(engine, line, false);
}

std::int64_t storeStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    return storeBlock(engine, line, remainder, false);
}

std::int64_t appendStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    return storeBlock(engine, line, remainder, true);
}

// output.store and output.append run their lines with printing redirected.
std::int64_t outputBlock(MacroEngine& engine, std::int64_t line, const Text& remainder, bool append) {
    const char* word = append ? "output.append" : "output.store";
    openBlockOutput(engine, remainder, append, word);
    nameBlock(engine, word);
    return runBlock(engine, line, true);
}

std::int64_t outputStoreStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    return outputBlock(engine, line, remainder, false);
}

std::int64_t outputAppendStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    return outputBlock(engine, line, remainder, true);
}

std::int64_t storeSpaceStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    parseParameters(engine, remainder);
    traceStatement(engine, "store.space");
    storeSpace = parameterOrEmpty(engine, 1);
    return line;
}

// execute <program> [arguments]: an outside program, waited for.
std::int64_t executeStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    parseParameters(engine, remainder);
    if (parameterCount(engine) < 1) {
        errorCountExact(engine, 1);
        return line;
    }
    traceStatement(engine, "execute");
    const Text program = parameterOrEmpty(engine, 1);
    // Each parameter is one argument; a Windows program runs through wine64
    // with its own name as the first argument.
    const bool throughWine = program.findFirst(".exe") != 0;
    const Text shownName = throughWine ? Text("wine64") : program;
    std::vector<ByteText> arguments;
    if (throughWine) arguments.push_back(program.toUtf8());
    for (std::int64_t i = 2; i <= parameterCount(engine); ++i) arguments.push_back(parameterOrEmpty(engine, i).toUtf8());
    newline();
    writeTextLine(">>>> Sub program (" + shownName + ")");
    flushOutput();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    runProgram(resolveProgram(shownName), arguments);
    newline();
    writeLine("<<<<< End of sub program");
    return line;
}

// Words tested as text before any command lookup; they can't be overridden.
WordTable makeLanguageWords() {
    WordTable words = {
        {"ignore", {ignoreStatement, true}},
        {"process", {processStatement, true}},
        {"with", {withStatement, true}},
        {"output.store", {outputStoreStatement, true}},
        {"output.append", {outputAppendStatement, true}},
        {"store.space", {storeSpaceStatement, false}},
        {"store", {storeStatement, true}},
        {"append.space", {storeSpaceStatement, false}},
        {"append", {appendStatement, true}},
        {"execute", {executeStatement, false}},
    };
    addConditionWords(words);
    addLoopWords(words);
    addSubroutineWords(words);
    addSearchWords(words);
    return words;
}

const WordTable& languageWords() {
    static const WordTable words = makeLanguageWords();
    return words;
}

// Words that open a block in skipping mode beyond those above; they belong
// to conditions, loops and subroutines.
bool opensSkippedBlock(MacroEngine& engine, const Text& word) {
    const auto hit = languageWords().find(word.low());
    if (hit != languageWords().end() && hit->second.opensSkippedBlock) return true;
    const std::int64_t row = findProcedure(engine, word, false);
    return row != 0 && (engine.syntax.row(row).kind & 15) == rowBlock;
}

// ---- store lines ----------------------------------------------------------------

bool inStoreBlock(const MacroEngine& engine) {
    if (!outputActive(engine) || engine.level < 1) return false;
    const auto below = static_cast<std::size_t>(engine.level - 1);
    if (below >= engine.blockStack.size()) return false;
    const Text name = engine.blockStack[below].toText();
    return name == "store" || name == "append";
}

void writeOutputLine(MacroEngine& engine, const Text& text) { currentOutput(engine).writeLine(text.toUtf8()); }

Text joinedPieces(const std::vector<Text>& pieces, const Text& separator) {
    Text line;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (i > 0) line += separator;
        line += pieces[i];
    }
    return line;
}

std::vector<Text> parametersFrom(const MacroEngine& engine, std::int64_t first) {
    std::vector<Text> pieces;
    for (std::int64_t i = first; i <= parameterCount(engine); ++i) pieces.push_back(parameterOrEmpty(engine, i));
    return pieces;
}

// The turn of a t line: the shortest rotation that takes direction `from`
// onto direction `to`, as a unit quaternion.
Vector4 turnBetween(const Vector3& from, const Vector3& to) {
    if (length(from) == 0 || length(to) == 0) return {1, 0, 0, 0};
    const Vector3 a = normalise(from), b = normalise(to);
    const Vector3 axis = cross(a, b);
    Vector4 q{1 + dot(a, b), axis.x, axis.y, axis.z};
    if (q.x < 1e-12) q = std::fabs(a.x) < 0.9 ? Vector4{0, 0, -a.z, a.y} : Vector4{0, -a.z, 0, a.x};  // half turn
    return normalise(q);
}

// The rotation of an r line: about the axis <x, y, z> by the angle w in radians.
Vector4 rotationAbout(const Vector4& axis) {
    return quaternionFromAxisAngle(normalise(Vector3{axis.x, axis.y, axis.z}), axis.w);
}

Text pointText(const Vector3& p) { return realToText(p.x) + " " + realToText(p.y) + " " + realToText(p.z); }

// One piece of a mask line: mask i decides what becomes of parameter i.
Text maskedPiece(const Text& mask, const Text& value, Char16 op) {
    if (mask.empty()) return value;
    if (!startsWithNumber(mask)) return mask == "@" ? value : mask + value;
    const double m = realOf(mask), v = realOf(value);
    switch (op) {
        case '*': return realToText(v * m);
        case '+': return realToText(v + m);
        default: return realToText(m - v);
    }
}

void maskLine(MacroEngine& engine, BlockFrame& frame, Char16 op) {
    const std::int64_t count = parameterCount(engine);
    const auto masks = static_cast<std::int64_t>(frame.masks.size());
    if (count == 0 && masks == 0) {
        writeOutputLine(engine, Text());
        return;
    }
    std::vector<Text> pieces;
    for (std::int64_t i = 1; i <= std::max(count, masks); ++i) {
        const Text value = parameterOrEmpty(engine, i);
        if (op == '+') writeTextLine(">>" + value + "<<");
        const Text mask = i <= masks ? frame.masks[static_cast<std::size_t>(i - 1)] : Text();
        pieces.push_back(maskedPiece(mask, value, op));
    }
    writeOutputLine(engine, joinedPieces(pieces, frame.separator));
}

// t and r lines: a point among the parameters is turned or rotated, the
// other positions follow the mask rule.
void turnLine(MacroEngine& engine, BlockFrame& frame, bool rotate) {
    const auto n = static_cast<std::int64_t>(frame.masks.size());
    const std::int64_t count = parameterCount(engine);
    const auto maskAt = [&frame](std::int64_t i) { return frame.masks[static_cast<std::size_t>(i - 1)]; };
    if (rotate ? (n < 1 || count < n + 2) : (n < 2 || count <= n + 1)) {
        maskLine(engine, frame, '*');
        return;
    }
    Vector4 turn;
    std::int64_t pointAt = 0;
    if (rotate) {
        const Vector4 axis = vector4Of(maskAt(n));
        if (axis.x == 0 && axis.y == 0 && axis.z == 0 && axis.w == 0) {
            writeOutputLine(engine, Text());
            return;
        }
        turn = rotationAbout(axis);
        pointAt = n;
    } else {
        const Vector4 a = vector4Of(maskAt(n - 1)), b = vector4Of(maskAt(n));
        if (a.x == 0 && a.y == 0 && a.z == 0 && a.w == 0 && b.x == 0 && b.y == 0 && b.z == 0 && b.w == 0) {
            writeOutputLine(engine, Text());
            return;
        }
        turn = turnBetween({a.x, a.y, a.z}, {b.x, b.y, b.z});
        pointAt = n - 1;
    }
    const Vector3 point{realOf(parameterOrEmpty(engine, pointAt)), realOf(parameterOrEmpty(engine, pointAt + 1)),
                        realOf(parameterOrEmpty(engine, pointAt + 2))};
    std::vector<Text> pieces;
    for (std::int64_t i = 1; i <= std::max(count, n); ++i) {
        if (i == pointAt) {
            pieces.push_back(pointText(quaternionRotate(turn, point)));
        } else if (i == pointAt + 1 || i == pointAt + 2) {
            continue;
        } else {
            pieces.push_back(maskedPiece(i <= n ? maskAt(i) : Text(), parameterOrEmpty(engine, i), '*'));
        }
    }
    writeOutputLine(engine, joinedPieces(pieces, frame.separator));
}

// Writes `pieces` when there are at least `minimum` parameters.
bool enoughFor(MacroEngine& engine, std::int64_t minimum) {
    if (parameterCount(engine) >= minimum) return true;
    errorCountMin(engine, minimum);
    return false;
}

void templateLine(MacroEngine& engine, BlockFrame& frame, Text raw, std::int64_t line) {
    raw = raw.replaceAll("@@$", "@@" + frame.templateRegister);
    if (raw.length() == 2 || raw.at(3) == ' ') return;
    const Char16 select = raw.at(3);
    parseParameters(engine, raw.copy(4, raw.length()));
    const Text separator = frame.separator;
    switch (select) {
        case 'c': case 'C':
            if (enoughFor(engine, 3) && parameterOrEmpty(engine, 1) == parameterOrEmpty(engine, 2))
                writeOutputLine(engine, joinedPieces(parametersFrom(engine, 3), separator));
            return;
        case '!':
            if (enoughFor(engine, 2) && integerOf(parameterOrEmpty(engine, 1)) < 1)
                writeOutputLine(engine, joinedPieces(parametersFrom(engine, 2), separator));
            return;
        case '?':
            if (enoughFor(engine, 2) && integerOf(parameterOrEmpty(engine, 1)) > 0)
                writeOutputLine(engine, joinedPieces(parametersFrom(engine, 2), separator));
            return;
        case 'i': case 'I':
            if (parameterCount(engine) >= 1) spliceInclude(engine.lines, line, parameterOrEmpty(engine, 1));
            return;
        case 'j': case 'J': frame.templateRegister = parameterOrEmpty(engine, 1).trim(' '); return;
        case 's': case 'S': frame.separator = parameterOrEmpty(engine, 1); return;
        case 'm': case 'M':
            frame.masks = parametersFrom(engine, 1);
            if (frame.masks.empty()) errorCountMin(engine, 1);
            return;
        case '*': case '+': case '-': maskLine(engine, frame, select); return;
        case 't': case 'T': turnLine(engine, frame, false); return;
        case 'r': case 'R': turnLine(engine, frame, true); return;
        default:
            if (select >= '0' && select <= '9') {
                if (enoughFor(engine, 2) && parameterOrEmpty(engine, 1) == Text(select))
                    writeOutputLine(engine, joinedPieces(parametersFrom(engine, 2), separator));
                return;
            }
            reportUnknown(engine, raw, "Unknown @ command!");
    }
}

// A skipped line of a store or append block is written to the block's file.
void storeLine(MacroEngine& engine, BlockFrame& frame, std::int64_t line) {
    const Text raw = engine.lines.lineText(line);
    if (raw.at(1) != '@') {
        writeOutputLine(engine, raw);
    } else if (raw.at(2) != '@') {
        parseParameters(engine, raw.copy(2, raw.length()));
        writeOutputLine(engine, joinedPieces(parametersFrom(engine, 1), frame.separator));
    } else {
        templateLine(engine, frame, raw, line);
    }
}

// ---- halt and break -------------------------------------------------------------

void defaultHalt(MacroEngine&, int code) {
    flushOutput();
    std::exit(code);
}

void haltStatement(MacroEngine& engine) {
    writeTextLine("In " + lineReference(engine) + ".");
    writeLine("Script & program halt. Terminate everything.");
    const int code = parameterCount(engine) > 0 ? static_cast<int>(integerOf(parameterOrEmpty(engine, 1))) : 0;
    engine.halted = true;
    engine.stopFlag = true;
    (engine.haltProcess ? engine.haltProcess : defaultHalt)(engine, code);
}

// ---- one-line forms -------------------------------------------------------------

// then/else/of with a statement behind them: the statement when the
// condition holds, nothing otherwise, except halt and break, which always act.
void resolveOneLineForm(const BlockFrame& frame, Text& word, Text& remainder) {
    // then, else, of and their if. forms all start with one of these letters.
    const Char16 first = word.at(1);
    if (remainder.empty() || (first != 't' && first != 'e' && first != 'o' && first != 'i')) return;
    const bool isThen = word == "then" || word == "if.then" || word == "if.true";
    const bool isElse = word == "else" || word == "if.else" || word == "if.false";
    const bool isOf = word == "of";
    if ((!isThen && !isElse && !isOf) || remainder.empty()) return;
    Text statement = remainder;
    bool applies = isThen ? frame.condition : !frame.condition;
    if (isOf) {
        const std::int64_t blank = remainder.findChar(' ');
        if (blank == 0) return;  // "of value" alone opens a block
        applies = remainder.copy(1, blank - 1) == frame.caseValue;
        statement = remainder.copy(blank + 1, remainder.length());
    }
    if (applies) {
        splitCommand(statement, word, remainder);
    } else if (statement == "halt" || statement == "break") {
        word = statement;
        remainder = Text();
    } else {
        word = Text();
        remainder = Text();
    }
}

// The line read and split, from the cache while the table is unchanged.
const PreparedLine& preparedLine(MacroEngine& engine, std::int64_t line) {
    if (engine.preparedGeneration != engine.lines.generation ||
        static_cast<std::int64_t>(engine.preparedLines.size()) != engine.lines.lineCount()) {
        engine.preparedLines.assign(static_cast<std::size_t>(engine.lines.lineCount()), PreparedLine());
        engine.preparedGeneration = engine.lines.generation;
    }
    PreparedLine& prepared = engine.preparedLines[static_cast<std::size_t>(line - 1)];
    if (!prepared.ready) {
        const Text text = prepareLine(engine.lines, line);
        if (!text.empty()) splitCommand(text, prepared.word, prepared.remainder);
        prepared.ready = true;
    }
    return prepared;
}

// ---- calls ------------------------------------------------------------------------

void callHandler(MacroEngine& engine, std::uint8_t kind, const HandlerRef& handler) {
    if ((kind & 0x30) == callWithEngine && handler.withEngine) {
        handler.withEngine(engine);
    } else if (handler.plain) {
        handler.plain();
    } else if (handler.withEngine) {
        handler.withEngine(engine);
    }
}

}  // namespace

void nameBlock(MacroEngine& engine, const Text& name) {
    if (static_cast<std::int64_t>(engine.blockStack.size()) <= engine.level)
        engine.blockStack.resize(static_cast<std::size_t>(engine.level + 1));
    engine.blockStack[static_cast<std::size_t>(engine.level)] = name;
}

void newMacroEngine(MacroEngine& engine) {
    freeMacroEngine(engine);
    engine.traceFlag = true;
}

void freeMacroEngine(MacroEngine& engine) {
    resetEngine(engine);
    engine.syntax.clear();
    engine.variables.clear();
    engine.lines = LineTable();
    engine.prefixRegister = engine.errorText = engine.assignTarget = engine.resultText = engine.commandWord = Text();
    engine.parallelSlot = {0, 0};
    engine.frame = nullptr;
}

void runScript(MacroEngine& engine, ScriptKind kind) {
    if (engine.lines.lineCount() > 0 && (engine.syntax.count() > 0 || kind == ScriptKind::subScript)) {
        resetEngine(engine);
        writeLine("Script runs...");
        engine.runningFlag = true;
        engine.stopFlag = false;
        setVariable(engine, "true", "1");
        setVariable(engine, "false", "0");
        for (const char* name : {"condition", "for.length", "for.rest", "for.count", "for.relative"})
            setVariable(engine, name, "0");
        runBlock(engine, 0, true);
        popLevel(engine);
        engine.runningFlag = false;
        writeLine("Script ends.");
    }
    engine.parameters.clear();
    engine.rawParameters.clear();
}

std::int64_t runBlock(MacroEngine& engine, std::int64_t line, bool active) {
    if (engine.level >= maxBlockDepth) {
        // Deeper nesting, mostly a recursion without end, would overflow the stack.
        reportError(engine, "blocks nested deeper than " + integerToText(maxBlockDepth) + " levels");
        return line;
    }
    BlockFrame frame;
    frame.separator = storeSpace;
    BlockFrame* const outer = engine.frame;
    engine.frame = &frame;
    ++engine.level;
    Text word, remainder;
    for (;;) {
        if (line >= engine.lines.lineCount() || engine.stopFlag) break;
        if (engine.lineHook) engine.lineHook();
        ++line;
        engine.currentLine = line;
        frame.line = line;
        const PreparedLine& prepared = preparedLine(engine, line);
        if (prepared.word.empty()) continue;
        engine.assignTarget = Text();
        engine.resultText = Text();
        word = prepared.word;
        remainder = prepared.remainder;
        if (word == "include") {
            parseParameters(engine, remainder);
            const Text name = parameter(engine, 1);
            traceWordText(engine, "include", name);
            if (!name.empty()) spliceInclude(engine.lines, line, name);
        }
        resolveOneLineForm(frame, word, remainder);
        if (word.empty()) continue;
        // The word as its register holds it: character 255 and all behind 509 are lost.
        if (word.length() > shortTextCapacity) word = registerText(word);
        engine.commandWord = word;
        frame.remainder = remainder;

        if (word == "halt") {
            parseParameters(engine, remainder);
            haltStatement(engine);
            break;
        }
        if (word == "break") {
            parseParameters(engine, remainder);
            stopScript(engine, "Script break. Terminate everything.");
            break;
        }
        if (word == "end" || word == "until") {
            engine.resultText = registerText(substituteVariable(engine, remainder));
            popLevel(engine);
            engine.frame = outer;
            return line;
        }
        if (word == "begin") continue;

        if (!active) {
            if (opensSkippedBlock(engine, word)) {
                nameBlock(engine, word + ".ignore");
                line = runBlock(engine, line, false);
            }
            if (inStoreBlock(engine)) storeLine(engine, frame, line);
            continue;
        }
        const auto statement = languageWords().find(word.low());
        if (statement != languageWords().end()) {
            line = statement->second.statement(engine, line, remainder);
        } else if (isDeclarationWord(word)) {
            runDeclaration(engine, word, remainder);
        } else if (isAssignment(remainder)) {
            runAssignment(engine, word, remainder);
        } else {
            runProcedureStatement(engine, line, word, remainder);
        }
    }
    engine.frame = outer;
    return line;
}

void stopScript(MacroEngine& engine, const char* message) {
    writeTextLine("In " + lineReference(engine) + ".");
    writeLine(message);
    engine.stopFlag = true;
}

bool callProcedure(MacroEngine& engine, std::int64_t& line, const Text& name) {
    const std::int64_t index = findProcedure(engine, name, outputSettings.interactive);
    if (index == 0) {
        reportUnknown(engine, name, "Unknown procedure!");
        return false;
    }
    // A copy of what the call needs: a handler may add or drop rows.
    const SyntaxMember& found = engine.syntax.row(index);
    const struct {
        std::uint8_t kind;
        HandlerRef handler, secondHandler;
        std::int64_t startLine;
    } row = {found.kind, found.handler, found.secondHandler, found.startLine};
    const std::uint8_t kind = row.kind & 15;
    if (kind == rowBlock) {
        if (!row.handler.set() || !row.secondHandler.set() || row.startLine != 0) {
            reportUnknown(engine, name, "Unknown block!");
            return false;
        }
        traceStatement(engine, name);
        callHandler(engine, row.kind, row.handler);
        line = runBlock(engine, line, true);
        callHandler(engine, row.kind, row.secondHandler);
        return true;
    }
    if (kind == rowProcedure && row.startLine == 0 && row.handler.set() != row.secondHandler.set()) {
        traceStatement(engine, name);
        callHandler(engine, row.kind, row.handler.set() ? row.handler : row.secondHandler);
        return true;
    }
    if (kind == rowProcedure && !row.handler.set() && !row.secondHandler.set() && row.startLine != 0) {
        callScriptProcedure(engine, name, row.startLine);
        return true;
    }
    reportUnknown(engine, name, "Unknown procedure!");
    return false;
}

bool callFunction(MacroEngine& engine, const Text& name) {
    const std::int64_t index = findFunction(engine, name);
    if (index == 0) {
        reportUnknown(engine, engine.assignTarget + " := " + name, "Unknown function!");
        return false;
    }
    const SyntaxMember& row = engine.syntax.row(index);
    if (row.startLine != 0 && !row.handler.set() && !row.secondHandler.set()) {
        callScriptFunction(engine, name, row.startLine);
        return true;
    }
    if (row.startLine != 0 || row.handler.set() == row.secondHandler.set()) {
        reportUnknown(engine, engine.assignTarget + " := " + name, "Unknown function!");
        return false;
    }
    traceCall(engine, engine.assignTarget, name);
    const std::uint8_t kind = row.kind;
    const HandlerRef handler = row.handler.set() ? row.handler : row.secondHandler;
    callHandler(engine, kind, handler);
    return true;
}

bool callVariableFunction(MacroEngine& engine, const Text& name) {
    const std::int64_t index = findVariableFunction(engine, name);
    if (index == 0 || !(engine.syntax.row(index).handler.set() || engine.syntax.row(index).secondHandler.set())) {
        reportUnknown(engine, name, "Unknown variable \u03bb function!");
        return false;
    }
    const SyntaxMember& row = engine.syntax.row(index);
    callHandler(engine, row.kind, row.handler.set() ? row.handler : row.secondHandler);
    return true;
}

}  // namespace corvane
