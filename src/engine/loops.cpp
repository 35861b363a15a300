// for, for.random, for.part, parallel, while and repeat.
#include "engine/loops.h"

#include <cmath>
#include <cstdlib>
#include <utility>
#include <vector>

#include "engine/diagnostics.h"
#include "engine/parameters.h"
#include "foundation/console.h"
#include "foundation/numbers.h"
#include "foundation/random.h"

namespace corvane {

namespace {

// The control variables of one pass, as instance rows of the coming block.
struct PassVariables {
    Text length, rest, count, relative;
};

void definePass(MacroEngine& engine, const PassVariables& pass) {
    static const Text length("for.length"), rest("for.rest"), count("for.count"), relative("for.relative");
    addInstanceVariable(engine, length, pass.length);
    addInstanceVariable(engine, rest, pass.rest);
    addInstanceVariable(engine, count, pass.count);
    addInstanceVariable(engine, relative, pass.relative);
}

Text number(double value) { return realToText(value); }

// Loop bounds stay far from the ends of the integers, so that lengths and
// steps never overflow.
std::int64_t bounded(double value) {
    constexpr std::int64_t limit = std::int64_t(1) << 62;
    const std::int64_t integer = truncateReal(value);
    return integer > limit ? limit : integer < -limit ? -limit : integer;
}

// The value list of for.random, or none when it does not fit in memory.
template <class Value, class Fill>
bool makeList(std::vector<Value>& values, std::int64_t count, Fill fill) {
    try {
        values.reserve(static_cast<std::size_t>(count));
    } catch (const std::exception&) {
        writeLine("  Not enough Memory! Create empty field.");
        return false;
    }
    fill(values);
    return true;
}
Text number(std::int64_t value) { return integerToText(value); }

// Runs one pass; the line index counts only from the last planned pass.
bool runPass(MacroEngine& engine, std::int64_t line, bool lastPass, std::int64_t& lineOut) {
    nameBlock(engine, "for");
    const std::int64_t end = runBlock(engine, line, true);
    if (lastPass) lineOut = end;
    return !engine.stopFlag;
}

std::int64_t skipBlock(MacroEngine& engine, std::int64_t line, const char* name) {
    nameBlock(engine, name);
    return runBlock(engine, line, false);
}

// for n: 1 .. n, or -1 down to n.
std::int64_t countedLoop(MacroEngine& engine, std::int64_t line, std::int64_t n) {
    traceWordText(engine, "for", integerToText(n));
    if (n == 0) return skipBlock(engine, line, "for.ignore");
    const std::int64_t passes = n > 0 ? n : -n;
    std::int64_t lineOut = line;
    for (std::int64_t pass = 1; pass <= passes; ++pass) {
        const std::int64_t value = n > 0 ? pass : -pass;
        definePass(engine, {number(passes), number(passes - value), number(value),
                            number(static_cast<double>(value) / static_cast<double>(n))});
        if (!runPass(engine, line, pass == passes, lineOut)) break;
    }
    return lineOut;
}

// for a b: a up or down to b.
std::int64_t rangeLoop(MacroEngine& engine, std::int64_t line, std::int64_t a, std::int64_t b) {
    traceWordText(engine, "for", integerToText(a) + ".." + integerToText(b));
    const bool rising = a <= b;
    const std::int64_t length = rising ? b - a + 1 : a - b + 1;
    std::int64_t lineOut = line;
    for (std::int64_t value = a;; value += rising ? 1 : -1) {
        const double relative = 1.0 / static_cast<double>(length) + static_cast<double>(rising ? value - a : a - value);
        definePass(engine, {number(length), number(length - value), number(value), number(relative)});
        if (!runPass(engine, line, value == b, lineOut) || value == b) break;
    }
    return lineOut;
}

// for a s b: real steps; a moves before the block runs. A step of 0 never ends.
std::int64_t steppedLoop(MacroEngine& engine, std::int64_t line, double a, double step, double b) {
    traceWordText(engine, "for", realToText(a) + "..(" + realToText(step) + ").." + realToText(b));
    const bool rising = a <= b;
    step = rising ? std::fabs(step) : -std::fabs(step);
    std::int64_t lineOut = line;
    for (;;) {
        const double length = rising ? (b - a + 1) / step : (a - b + 1) / step;
        definePass(engine, {number(truncateReal(length)), Text(), number(a), Text()});
        a += step;
        const bool passed = rising ? a > b : a < b;
        if (!runPass(engine, line, passed, lineOut) || passed) break;
    }
    return lineOut;
}

std::int64_t forStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    parseParameters(engine, remainder);
    const auto integer = [&engine](std::int64_t i) { return bounded(realOf(parameterOrEmpty(engine, i))); };
    switch (parameterCount(engine)) {
        case 1: return countedLoop(engine, line, integer(1));
        case 2: return rangeLoop(engine, line, integer(1), integer(2));
        case 3:
            return steppedLoop(engine, line, realOf(parameterOrEmpty(engine, 1)), realOf(parameterOrEmpty(engine, 2)),
                               realOf(parameterOrEmpty(engine, 3)));
        default: errorCountMin(engine, 1); return line;
    }
}

template <class Value>
void shuffle(std::vector<Value>& values) {
    for (std::size_t i = values.size(); i > 1; --i)
        std::swap(values[i - 1], values[static_cast<std::size_t>(randomBelow(static_cast<std::int64_t>(i)))]);
}

// Runs the passes of for.random over an already shuffled list.
template <class Value, class Variables>
std::int64_t shuffledPasses(MacroEngine& engine, std::int64_t line, const std::vector<Value>& values,
                            Variables variablesOfPass) {
    std::int64_t lineOut = line;
    for (std::size_t i = 0; i < values.size(); ++i) {
        definePass(engine, variablesOfPass(static_cast<std::int64_t>(i + 1), values[i]));
        if (!runPass(engine, line, i + 1 == values.size(), lineOut)) break;
    }
    return lineOut;
}

std::int64_t forRandomStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    parseParameters(engine, remainder);
    const auto integer = [&engine](std::int64_t i) { return bounded(realOf(parameterOrEmpty(engine, i))); };
    switch (parameterCount(engine)) {
        case 1: {
            const std::int64_t n = integer(1);
            traceWordText(engine, "for.random", integerToText(n));
            if (n == 0) return skipBlock(engine, line, "for.ignore");
            std::vector<std::int64_t> values;
            if (!makeList(values, std::llabs(n), [n](auto& list) {
                    for (std::int64_t v = 1; v <= std::llabs(n); ++v) list.push_back(v);
                }))
                return line;
            shuffle(values);
            return shuffledPasses(engine, line, values, [n](std::int64_t i, std::int64_t v) {
                return PassVariables{number(n), number(n - i), number(v),
                                     number(static_cast<double>(i) / static_cast<double>(n))};
            });
        }
        case 2: {
            std::int64_t a = integer(1), b = integer(2);
            if (a > b) std::swap(a, b);
            traceWordText(engine, "for.random", integerToText(a) + ".." + integerToText(b));
            std::vector<std::int64_t> values;
            if (!makeList(values, b - a + 1, [a, b](auto& list) {
                    for (std::int64_t v = a; v <= b; ++v) list.push_back(v);
                }))
                return line;
            shuffle(values);
            const std::int64_t length = b - a + 1;
            // i runs from a to b here, so the pass number is i - a + 1.
            return shuffledPasses(engine, line, values, [a, length](std::int64_t pass, std::int64_t v) {
                const std::int64_t i = a + pass - 1;
                return PassVariables{number(length), number(length - i), number(v),
                                     number(1.0 / static_cast<double>(length) + static_cast<double>(i - a))};
            });
        }
        case 3: {
            double a = realOf(parameterOrEmpty(engine, 1)), b = realOf(parameterOrEmpty(engine, 3));
            const double step = std::fabs(realOf(parameterOrEmpty(engine, 2)));
            if (b < a) std::swap(a, b);
            traceWordText(engine, "for", realToText(a) + "..(" + realToText(step) + ").." + realToText(b));
            if (step == 0 || !std::isfinite(step)) return steppedLoop(engine, line, a, 0, b);  // never ends, as for
            std::vector<double> values;
            const double count = std::floor((b - a) / step) + 1;
            if (!std::isfinite(count) || count > 1e15 ||
                !makeList(values, static_cast<std::int64_t>(count), [a, b, step](auto& list) {
                    for (double v = a; list.empty() || v <= b; v += step) list.push_back(v);
                }))
                return line;
            shuffle(values);
            const auto n = static_cast<std::int64_t>(values.size());
            return shuffledPasses(engine, line, values, [n](std::int64_t i, double v) {
                return PassVariables{number(n), number(n - i), number(v),
                                     number(static_cast<double>(i) / static_cast<double>(n))};
            });
        }
        default: errorCountMin(engine, 1); return line;
    }
}

// for.part total part parts: one part of 1 .. total.
std::int64_t forPartStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    parseParameters(engine, remainder);
    if (parameterCount(engine) != 3) {
        errorCountExact(engine, 3);
        return line;
    }
    const std::int64_t total = bounded(realOf(parameterOrEmpty(engine, 1)));
    const std::int64_t part = bounded(realOf(parameterOrEmpty(engine, 2)));
    const std::int64_t parts = bounded(realOf(parameterOrEmpty(engine, 3)));
    if (total <= 0 || part <= 0 || parts <= 0) return line;  // its lines then run as ordinary lines
    const std::int64_t share = total / parts;
    std::int64_t first = share * (part - 1) + 1, last = share * part;
    if (part == 1) first = 1, last = share;
    if (parts == part) last = total;
    traceWordText(engine, "for.part", integerToText(first) + ".." + integerToText(last));
    const bool rising = first <= last;
    const std::int64_t length = rising ? last - first + 1 : first - last + 1;
    std::int64_t lineOut = line;
    for (std::int64_t value = first;; value += rising ? 1 : -1) {
        addInstanceVariable(engine, "for.length", number(length));
        addInstanceVariable(engine, "for.count", number(value));
        addInstanceVariable(engine, "for.relativ", number(1.0 / static_cast<double>(length) +  // verbatim name
                                                          static_cast<double>(rising ? value - first : first - value)));
        if (!runPass(engine, line, value == last, lineOut) || value == last) break;
    }
    return lineOut;
}

// while and repeat: true when every parameter reads at least 1.
bool loopTest(MacroEngine& engine, const Text& text) {
    parseParameters(engine, text);
    if (parameterCount(engine) == 0) {
        errorCountMin(engine, 1);
        return false;
    }
    for (std::int64_t i = 1; i <= parameterCount(engine); ++i) {
        if (realOf(parameterOrEmpty(engine, i)) < 1) return false;
    }
    return true;
}

// After the last pass the block is skipped once to find its end.
std::int64_t closingSkip(MacroEngine& engine, std::int64_t line, const char* name) {
    addInstanceVariable(engine, "condition", "0");
    return skipBlock(engine, line, name);
}

std::int64_t whileStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    traceWord(engine, "while");
    while (loopTest(engine, remainder) && !engine.stopFlag) {
        addInstanceVariable(engine, "condition", "1");
        nameBlock(engine, "while");
        runBlock(engine, line, true);
    }
    return closingSkip(engine, line, "while.ignore");
}

std::int64_t repeatStatement(MacroEngine& engine, std::int64_t line, const Text&) {
    traceWord(engine, "repeat");
    do {
        addInstanceVariable(engine, "condition", "1");
        nameBlock(engine, "repeat");
        runBlock(engine, line, true);
    } while (!loopTest(engine, engine.resultText) && !engine.stopFlag);
    return closingSkip(engine, line, "repeat.ignore");
}

// parallel: a for while no slot is set, as in every run of the system.
std::int64_t parallelStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    if (engine.parallelSlot[0] == 0 && engine.parallelSlot[1] == 0) return forStatement(engine, line, remainder);
    const std::int64_t slot = engine.parallelSlot[0], slots = engine.parallelSlot[1];
    if (slot < 0 || slots < 0 || slots < slot) {
        reportError(engine, "Wrong parallel initialization (" + integerToText(slot) + ", " + integerToText(slots) + ")!");
    }
    parseParameters(engine, remainder);
    std::int64_t first = 1, last = 0;
    if (parameterCount(engine) == 1) {
        last = bounded(realOf(parameterOrEmpty(engine, 1)));
        traceWordText(engine, "parallel", integerToText(last));
        if (last == 0) return skipBlock(engine, line, "parallel.ignore");
        first = last > 0 ? 1 : -1;
    } else if (parameterCount(engine) == 2) {
        first = bounded(realOf(parameterOrEmpty(engine, 1)));
        last = bounded(realOf(parameterOrEmpty(engine, 2)));
        traceWordText(engine, "parallel", integerToText(first) + ".." + integerToText(last));
    } else {
        errorCountMin(engine, 1);
        return line;
    }
    const std::int64_t step = first <= last ? 1 : -1;
    const std::int64_t length = std::llabs(last - first) + 1;
    std::int64_t lineOut = line;
    bool lastRan = false;
    for (std::int64_t value = first; !engine.stopFlag; value += step) {
        if (slots > 0 && ((value % slots) + slots) % slots == slot) {
            addInstanceVariable(engine, "parallel.length", number(length));
            addInstanceVariable(engine, "parallel.count", number(value));
            addInstanceVariable(engine, "parallel.relativ",  // verbatim name
                                number(parameterCount(engine) == 1
                                           ? static_cast<double>(value) / static_cast<double>(last)
                                           : 1.0 / static_cast<double>(length) + static_cast<double>(std::llabs(value - first))));
            nameBlock(engine, "parallel");
            const std::int64_t end = runBlock(engine, line, true);
            if (value == last) lineOut = end, lastRan = true;
        }
        if (value == last) break;
    }
    // The pass of the last value belonged to another slot: find the end here.
    if (!lastRan && !engine.stopFlag) lineOut = skipBlock(engine, line, "parallel.ignore");
    return lineOut;
}

}  // namespace

void addLoopWords(WordTable& words) {
    words["for"] = {forStatement, true};
    words["parallel"] = {parallelStatement, true};
    words["for.part"] = {forPartStatement, false};
    words["for.random"] = {forRandomStatement, false};
    words["while"] = {whileStatement, true};
    words["repeat"] = {repeatStatement, true};
}

}  // namespace corvane
