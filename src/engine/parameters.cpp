// Parameter lists, substitution, handler accessors and reports.
#include "engine/parameters.h"

#include <algorithm>
#include <cmath>

#include "engine/diagnostics.h"
#include "engine/runloop.h"
#include "foundation/console.h"
#include "foundation/numbers.h"

namespace corvane {

Text storeSpace;

namespace {
constexpr std::size_t splitCacheLimit = 4096;  // texts remembered; beyond, the cache starts anew
}

Text registerText(const Text& text) {
    if (text.length() <= shortTextCapacity) return text;
    return text.copy(1, shortTextCapacity) + text.copy(256, 254);
}

// ---- accessors ---------------------------------------------------------------

namespace {

// "Parameter error!" in colour, then the rest of the line.
void parameterReport(MacroEngine& engine, const Text& rest) {
    writeColored("Parameter error!", ConsoleColor::red);
    writeTextLine(rest);
    engine.errorText = registerText("Parameter error!" + rest);
    engine.stopFlag = true;
}

// Row i of a list, or the at-least report for an index outside it.
Text listEntry(MacroEngine& engine, const ParameterList& list, std::int64_t i) {
    if (i >= 1 && i <= list.count()) return list.items[static_cast<std::size_t>(i - 1)].text;
    parameterReport(engine, " Please at least " + integerToText(i) + " parameters in " + lineReference(engine) + ".");
    return Text();
}

}  // namespace

std::int64_t parameterCount(const MacroEngine& engine) { return engine.parameters.count(); }

Text parameter(MacroEngine& engine, std::int64_t i) { return listEntry(engine, engine.parameters, i); }

Text parameterOrEmpty(const MacroEngine& engine, std::int64_t i) {
    if (i < 1 || i > engine.parameters.count()) return Text();
    return engine.parameters.items[static_cast<std::size_t>(i - 1)].text;
}

std::uint8_t parameterKind(const MacroEngine& engine, std::int64_t i) {
    if (i < 1 || i > engine.parameters.count()) return parameterWord;
    return engine.parameters.items[static_cast<std::size_t>(i - 1)].kind;
}

std::int64_t rawParameterCount(const MacroEngine& engine) { return engine.rawParameters.count(); }

Text rawParameter(MacroEngine& engine, std::int64_t i) { return listEntry(engine, engine.rawParameters, i); }

Text joinedParameters(const MacroEngine& engine) {
    Text joined;
    for (const Parameter& item : engine.parameters.items) joined += item.text;
    return joined;
}

Text getResult(const MacroEngine& engine) { return engine.resultText; }
void setResult(MacroEngine& engine, const Text& text) { engine.resultText = registerText(text); }
Text getTarget(const MacroEngine& engine) { return engine.assignTarget; }
void setTarget(MacroEngine& engine, const Text& text) { engine.assignTarget = registerText(text); }

bool countIs(MacroEngine& engine, std::int64_t n) {
    if (!engine.runningFlag || engine.parameters.count() == n) return true;
    errorCountExact(engine, n);
    return false;
}

// ---- reports -------------------------------------------------------------------

Text lineReference(const MacroEngine& engine) {
    return "line " + integerToText(engine.lines.sourceLine(engine.currentLine)) + " (" +
           engine.lines.sourceName(engine.currentLine) + ")";
}

namespace {

// The whole line in colour.
void wholeLineReport(MacroEngine& engine, const Text& line) {
    writeColoredLine(line.toUtf8(), ConsoleColor::red);
    engine.errorText = registerText(line);
    engine.stopFlag = true;
}

void countReport(MacroEngine& engine, std::int64_t n, const char* bound) {
    if (n < 1) {  // nothing to say, the run stops all the same
        engine.stopFlag = true;
        return;
    }
    const Text amount = n == 1 ? Text("one parameter") : integerToText(n) + " parameters";
    parameterReport(engine, Text(" Please use ") + bound + amount + " in " + lineReference(engine) + ".");
}

}  // namespace

void errorCountExact(MacroEngine& engine, std::int64_t n) {
    if (n == 0) {
        parameterReport(engine, " No parameter needed.");
        return;
    }
    countReport(engine, n, "");
}

void errorCountMin(MacroEngine& engine, std::int64_t n) { countReport(engine, n, "min. "); }
void errorCountMax(MacroEngine& engine, std::int64_t n) { countReport(engine, n, "max. "); }

void reportError(MacroEngine& engine, const Text& text) {
    wholeLineReport(engine, "Error (" + text + ") in " + lineReference(engine) + "!");
}

void reportSyntaxError(MacroEngine& engine, const Text& text) {
    wholeLineReport(engine, "Syntax error (" + text + ") in " + lineReference(engine) + "!");
}

void reportUnknown(MacroEngine& engine, const Text& text, const char* remark) {
    wholeLineReport(engine, "Syntax error (" + text + ") in " + lineReference(engine) + "! " + remark);
}

// ---- tokenisers -----------------------------------------------------------------

namespace {

bool isDigit(Char16 c) { return c >= '0' && c <= '9'; }

Char16 closingBracket(Char16 opening) {
    switch (opening) {
        case '<': return '>';
        case '(': return ')';
        case '{': return '}';
        default: return ']';
    }
}

// Cuts the next word off the rest: at the first blank outside quotes and
// brackets. Unbalanced brackets swallow the rest of the line.
Text cutWord(Text& rest) {
    Char16 quote = 0;
    int round = 0, angle = 0, square = 0, curly = 0;
    for (std::int64_t i = 1; i <= rest.length(); ++i) {
        const Char16 c = rest.at(i);
        if (quote != 0) {
            if (c == quote) quote = 0;
            continue;
        }
        switch (c) {
            case '"': case '\'': quote = c; break;
            case '(': ++round; break;
            case ')': --round; break;
            case '<': ++angle; break;
            case '>': --angle; break;
            case '[': ++square; break;
            case ']': --square; break;
            case '{': ++curly; break;
            case '}': --curly; break;
            case ' ':
                if (round == 0 && angle == 0 && square == 0 && curly == 0) {
                    const Text word = rest.copy(1, i - 1);
                    rest = rest.copy(i + 1, rest.length());
                    return word;
                }
                break;
            default: break;
        }
    }
    const Text word = rest;
    rest = Text();
    return word;
}

// Digits of base 16 or 2 read from the last character back to the second;
// characters that are no digit of the base take no place.
Text numberOfDigits(const Text& word, int base) {
    if (word.length() < 2) return "0";
    return realToText(readDigits(word.copy(2, word.length()), base));
}

void addParameter(ParameterList& list, const Text& text, std::uint8_t kind) {
    list.items.push_back({text.length() > shortTextCapacity ? text.copy(1, shortTextCapacity) : text, kind});
}

// Kind of a word that is no number, string or list.
std::uint8_t plainWordKind(MacroEngine& engine, const Text& word, bool first) {
    if (word.at(word.length()) == ']') return parameterElement;
    if (first && findFunction(engine, word) != 0) return parameterFunction;
    if (findVariableFunction(engine, word) != 0) return parameterVariableFunction;
    return parameterWord;
}

// With `words`, the word behind each parameter is noted as written, and
// plain words are not looked up.
void split(MacroEngine& engine, ParameterList& list, const Text& text, bool raw, std::vector<Text>* words = nullptr) {
    list.clear();
    Text rest = text;
    for (;;) {
        rest = rest.trim(' ');
        if (rest.empty()) return;
        const Text word = cutWord(rest);
        if (words) words->resize(static_cast<std::size_t>(list.count()));
        if (words) words->push_back(word);
        const Char16 first = word.at(1);
        const bool firstParameter = list.count() == 0;
        if (first == '"' || first == '\'') {
            Text inside = word.copy(2, word.length());
            if (inside.empty()) {
                inside = Text(first);
            } else if (inside.at(inside.length()) == first) {
                inside = inside.copy(1, inside.length() - 1);
            }
            const Text quote(first);
            rest = rest.replaceAll(quote + quote, quote);  // the rest of the line, not this word
            if (!inside.empty()) addParameter(list, inside, parameterString);
        } else if (first == '#') {
            Text code = word.copy(2, word.length());
            addParameter(list, Text(static_cast<Char16>(readInteger(code) & 0xFFFF)), parameterString);
        } else if (first == '$') {
            addParameter(list, numberOfDigits(word, 16), parameterList);
        } else if (first == '%') {
            addParameter(list, numberOfDigits(word, 2), parameterList);
        } else if ((first == '<' && !raw) || first == '(' || first == '{' || first == '[') {
            Text inside = word.copy(2, word.length());
            if (inside.empty()) {
                inside = Text(first);
            } else if (inside.at(inside.length()) == closingBracket(first)) {
                inside = inside.copy(1, inside.length() - 1);
            }
            if (!inside.empty()) addParameter(list, inside, parameterList);
        } else if (first == '-' || isDigit(first)) {
            addParameter(list, word, parameterNumber);
        } else {
            addParameter(list, word, words ? std::uint8_t(parameterWord) : plainWordKind(engine, word, firstParameter));
        }
    }
}

// Each element of a list, cut at ',' or ';', substituted; empty ones vanish.
Text substituteElements(const MacroEngine& engine, const Text& list) {
    Text result;
    Text rest = list;
    while (!rest.empty()) {
        const std::int64_t comma = rest.findChar(',');
        const std::int64_t semicolon = rest.findChar(';');
        std::int64_t cut = comma;
        if (cut == 0 || (semicolon != 0 && semicolon < cut)) cut = semicolon;
        const Text element = (cut == 0 ? rest : rest.copy(1, cut - 1)).trim(' ');
        const Text separator = cut == 0 ? Text() : Text(rest.at(cut));
        rest = cut == 0 ? Text() : rest.copy(cut + 1, rest.length());
        if (!element.empty()) result += substituteVariable(engine, element) + separator;
    }
    return result;
}

// name[index]: an element, the element count for index 0, or the word itself.
Text elementOf(const MacroEngine& engine, const Text& word) {
    const std::int64_t open = word.findChar('[');
    const std::int64_t close = word.findChar(']');
    const Text value = readVariable(engine, word.copy(1, open - 1));
    Text inner = close > open ? word.copy(open + 1, close - open - 1).trim(' ') : Text();
    if (!inner.empty()) inner = substituteVariable(engine, inner);
    const std::int64_t index = inner.empty() ? 0 : integerOf(inner);
    if (index < 0) return word;
    if (index == 0) {
        std::int64_t tabs = 0;
        for (std::int64_t i = 1; i <= value.length(); ++i) tabs += value.at(i) == '\t';
        return integerToText(tabs + 1);
    }
    Text rest = value;
    for (std::int64_t position = 1;; ++position) {
        const std::int64_t tab = rest.findChar('\t');
        if (position == index) return tab == 0 ? rest : rest.copy(1, tab - 1);
        if (tab == 0) return Text();
        rest = rest.copy(tab + 1, rest.length());
    }
}

void substituteByKind(MacroEngine& engine, Parameter& item) {
    switch (item.kind) {
        case parameterNumber:
        case parameterString: return;
        case parameterList: item.text = substituteElements(engine, item.text); return;
        case parameterElement: item.text = elementOf(engine, item.text); return;
        case parameterVariableFunction: {
            const Text saved = engine.resultText;
            if (callVariableFunction(engine, item.text.lowerCase())) {
                item.text = engine.resultText;
                engine.resultText = saved;
                return;
            }
            engine.resultText = saved;
            item.text = substituteVariable(engine, item.text);
            return;
        }
        default: item.text = substituteVariable(engine, item.text); return;
    }
}

void substituteList(MacroEngine& engine, ParameterList& list, std::int64_t literalCount) {
    for (std::int64_t i = 0; i < list.count(); ++i) {
        Parameter& item = list.items[static_cast<std::size_t>(i)];
        if (i < literalCount || item.text.empty()) continue;
        substituteByKind(engine, item);
        if (item.text.length() > shortTextCapacity) item.text = item.text.copy(1, shortTextCapacity);
    }
}

}  // namespace

void splitParameters(MacroEngine& engine, const Text& text) { split(engine, engine.parameters, text, false); }

std::vector<Text> writtenWords(MacroEngine& engine, const Text& text) {
    ParameterList scratch;
    std::vector<Text> words;
    split(engine, scratch, substituteAtVariables(engine, text), false, &words);
    words.resize(static_cast<std::size_t>(scratch.count()));  // a word that added nothing has no place
    return words;
}
void splitRawParameters(MacroEngine& engine, const Text& text) { split(engine, engine.rawParameters, text, true); }

Text substituteAtVariables(const MacroEngine& engine, const Text& text) {
    if (text.empty() || text.findChar('@') == 0) return text;
    Text result = text;
    for (std::int64_t row = engine.variables.count(); row >= 1; --row) {
        if (result.findChar('@') == 0) break;
        const VariableRow& variable = engine.variables.row(row);
        if (variable.name.empty()) continue;
        result = result.replaceAll("@" + variable.name, variable.value);
        result = result.replaceAll("@" + variable.name.upperCase(), variable.value);
    }
    return result;
}

Text substituteVariable(const MacroEngine& engine, const Text& word) {
    Text current = word;
    std::int64_t before = engine.variables.count() + 1;
    for (;;) {
        const std::string& bytes = current.low();
        const bool lower = std::none_of(bytes.begin(), bytes.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
        const std::int64_t row = engine.variables.newestBefore(lower ? current : current.lowerCase(), before);
        if (row == 0) return current;
        current = engine.variables.row(row).value;
        before = row;
    }
}

namespace {

// Both tokenisations of a text, from the cache when the same text was split
// under the same registry and number settings.
// Both tokenisations of a text, from the cache when the same text was split
// under the same registry and number settings. True when the two lists
// came out alike and hold no variable function: then substituting the raw
// list gives the same as substituting the other, and that is copied.
bool splitBoth(MacroEngine& engine, const Text& text) {
    if (engine.splitCacheGeneration != engine.syntax.generation || engine.splitCache.size() > splitCacheLimit) {
        engine.splitCache.clear();
        engine.splitCacheGeneration = engine.syntax.generation;
    }
    // '#', '$' and '%' words read and print numbers: the settings are part of the key.
    std::string key(1, static_cast<char>('0' + numberSettings.ScientificMode * 2 + numberSettings.DecimalPointMode));
    key += text.low();
    if (text.hasHighBytes()) key += '\x01' + text.high();
    const auto hit = engine.splitCache.find(key);
    if (hit != engine.splitCache.end()) {
        engine.parameters.items = hit->second.parameters;
        if (!hit->second.rawAlike) engine.rawParameters.items = hit->second.raw;
        for (const std::int64_t row : hit->second.foundRows) ++engine.syntax.row(row).usedCount;
        return hit->second.rawAlike;
    }
    SplitResult result;
    engine.syntax.hitLog = &result.foundRows;
    splitParameters(engine, text);
    splitRawParameters(engine, text);
    engine.syntax.hitLog = nullptr;
    result.parameters = engine.parameters.items;
    result.raw = engine.rawParameters.items;
    result.rawAlike = std::equal(result.parameters.begin(), result.parameters.end(), result.raw.begin(), result.raw.end(),
                                 [](const Parameter& a, const Parameter& b) {
                                     return a.kind == b.kind && a.kind != parameterVariableFunction && a.text == b.text;
                                 });
    const bool alike = result.rawAlike;
    engine.splitCache.emplace(std::move(key), std::move(result));
    return alike;
}

void parseWithLiterals(MacroEngine& engine, const Text& text, std::int64_t literalCount) {
    const bool rawAlike = splitBoth(engine, substituteAtVariables(engine, text));
    substituteList(engine, engine.parameters, literalCount);
    if (rawAlike) {
        engine.rawParameters.items = engine.parameters.items;
    } else {
        substituteList(engine, engine.rawParameters, literalCount);
    }
}

}  // namespace

void parseParameters(MacroEngine& engine, const Text& text) { parseWithLiterals(engine, text, 0); }

void parseParametersKeepingNames(MacroEngine& engine, const Text& text, std::int64_t literalCount) {
    parseWithLiterals(engine, text, literalCount);
}

}  // namespace corvane
