// Declarations, assignments and the operators of the macro language.
#include "engine/assignment.h"

#include <cmath>
#include <vector>

#include "engine/diagnostics.h"
#include "engine/parameters.h"
#include "engine/runloop.h"
#include "foundation/numbers.h"

namespace corvane {

namespace {

Text hyperText(const Vector4& v) { return vector4ToText(v); }

Vector4 combine(const Vector4& a, const Vector4& b, char op) {
    const double x[] = {a.x, a.y, a.z, a.w}, y[] = {b.x, b.y, b.z, b.w};
    double r[4];
    for (int i = 0; i < 4; ++i) {
        switch (op) {
            case '+': r[i] = x[i] + y[i]; break;
            case '-': r[i] = x[i] - y[i]; break;
            case '*': r[i] = x[i] * y[i]; break;
            default: r[i] = y[i] == 0 ? 0 : x[i] / y[i]; break;  // a zero divisor gives 0
        }
    }
    return {r[0], r[1], r[2], r[3]};
}

std::vector<Text> parameterTexts(const MacroEngine& engine, std::int64_t from) {
    std::vector<Text> texts;
    for (std::int64_t i = from; i <= parameterCount(engine); ++i) texts.push_back(parameterOrEmpty(engine, i));
    return texts;
}

Text joinedByBlank(const std::vector<Text>& pieces) {
    Text joined;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (i > 0) joined += " ";
        joined += pieces[i];
    }
    return joined;
}

// +=, -=, *=, /=: left to right over all parameters; none gives zero.
Text arithmetic(const MacroEngine& engine, char op) {
    const std::int64_t count = parameterCount(engine);
    if (count == 0) return hyperText({});
    Vector4 value = vector4Of(parameterOrEmpty(engine, 1));
    for (std::int64_t i = 2; i <= count; ++i) value = combine(value, vector4Of(parameterOrEmpty(engine, i)), op);
    return hyperText(value);
}

Text dotProduct(const MacroEngine& engine) {
    if (parameterCount(engine) == 0) return hyperText({});
    Vector4 value = vector4Of(parameterOrEmpty(engine, 1));
    for (std::int64_t i = 2; i <= parameterCount(engine); ++i) {
        const Vector4 next = vector4Of(parameterOrEmpty(engine, i));
        value = {value.x * next.x + value.y * next.y + value.z * next.z + value.w * next.w, 0, 0, 0};
    }
    return hyperText(value);
}

Text crossProduct(const MacroEngine& engine) {
    if (parameterCount(engine) == 0) return hyperText({});
    Vector4 value = vector4Of(parameterOrEmpty(engine, 1));
    for (std::int64_t i = 2; i <= parameterCount(engine); ++i) {
        const Vector4 b = vector4Of(parameterOrEmpty(engine, i));
        value = {value.y * b.z - value.z * b.y, value.z * b.x - value.x * b.z, value.x * b.y - value.y * b.x, 0};
    }
    return hyperText(value);
}

// Each parameter divided by its largest component.
Text byLargestComponent(MacroEngine& engine) {
    if (parameterCount(engine) < 1) {
        errorCountMin(engine, 1);
        return Text();
    }
    std::vector<Text> pieces;
    for (const Text& text : parameterTexts(engine, 1)) {
        const Vector4 v = vector4Of(text);
        const double largest = std::fmax(std::fmax(v.x, v.y), std::fmax(v.z, v.w));
        pieces.push_back(hyperText(largest == 0 ? Vector4{} : Vector4{v.x / largest, v.y / largest,
                                                                       v.z / largest, v.w / largest}));
    }
    return joinedByBlank(pieces);
}

Text rounded(const MacroEngine& engine) {
    if (parameterCount(engine) == 1) {
        const Vector4 v = vector4Of(parameterOrEmpty(engine, 1));
        return hyperText({std::nearbyint(v.x), std::nearbyint(v.y), std::nearbyint(v.z), std::nearbyint(v.w)});
    }
    const std::int64_t digits = integerOf(parameterOrEmpty(engine, 1));
    std::vector<Text> pieces;
    for (const Text& text : parameterTexts(engine, 2)) {
        const double value = realOf(text);
        if (digits >= 0) {
            const double scale = std::pow(10.0, static_cast<double>(std::min<std::int64_t>(digits, 300)));
            pieces.push_back(realToText(std::nearbyint(value * scale) / scale));
        } else {
            pieces.push_back(realToText(value).padLeft(-digits, '0'));
        }
    }
    return joinedByBlank(pieces);
}

// $= keeps and d= drops characters at the front (n above 0) or the end.
Text cutCharacters(const MacroEngine& engine, bool keep) {
    if (parameterCount(engine) == 1) return parameterOrEmpty(engine, 1);
    const std::int64_t n = integerOf(parameterOrEmpty(engine, 1));
    std::vector<Text> pieces;
    for (const Text& text : parameterTexts(engine, 2)) {
        const std::int64_t length = text.length();
        if (keep) {
            pieces.push_back(n > 0 ? text.copy(1, n) : text.copy(length + n + 1, -n));
        } else {
            pieces.push_back(n > 0 ? text.copy(n + 1, length) : text.copy(1, length + n));
        }
    }
    return joinedByBlank(pieces);
}

Text upToSeparator(const MacroEngine& engine) {
    if (parameterCount(engine) == 1) return parameterOrEmpty(engine, 1);
    const Text separator = parameterOrEmpty(engine, 1);
    std::vector<Text> pieces;
    for (const Text& text : parameterTexts(engine, 2)) {
        const std::int64_t at = separator.empty() ? 0 : text.findFirst(separator);
        pieces.push_back(at == 0 ? text : text.copy(1, at - 1));
    }
    return joinedByBlank(pieces);
}

Text replaced(MacroEngine& engine) {
    if (parameterCount(engine) < 3) {
        errorCountMin(engine, 3);
        return Text();
    }
    const Text search = parameterOrEmpty(engine, 1), replacement = parameterOrEmpty(engine, 2);
    std::vector<Text> pieces;
    for (const Text& text : parameterTexts(engine, 3)) pieces.push_back(text.replaceAll(search, replacement));
    return joinedByBlank(pieces);
}

Text reversedConcatenation(const MacroEngine& engine) {
    Text joined;
    for (std::int64_t i = parameterCount(engine); i >= 1; --i) joined += parameterOrEmpty(engine, i);
    return joined;
}

Text removed(MacroEngine& engine, const Text& oldValue) {
    if (parameterCount(engine) < 1) {
        errorCountMin(engine, 1);
        return Text();
    }
    Text value = oldValue;
    for (const Text& text : parameterTexts(engine, 1)) value = value.replaceAll(text, "");
    return value;
}

// How the trace shows an operator: letters in upper case.
Text shownOperator(const Text& operatorWord) {
    if (operatorWord == Text("d=") || operatorWord == Text("s=") || operatorWord == Text("r=")) return operatorWord.upperCase();
    return operatorWord;
}

}  // namespace

bool isDeclarationWord(const Text& word) {
    return word.startsWith("var") || word.startsWith("local") || word.startsWith("global");
}

void runDeclaration(MacroEngine& engine, const Text& word, const Text& remainder) {
    const bool isVar = word.startsWith("var");
    // The names stand as written; only the values are substituted.
    parseParametersKeepingNames(engine, remainder, isVar ? std::int64_t(1) << 40 : 1);
    if (parameterCount(engine) < 1) {
        errorCountMin(engine, 1);
        return;
    }
    const Text instance = "(instance " + integerToText(engine.level) + ") :=";
    if (isVar) {
        Text names;
        for (std::int64_t i = 1; i <= parameterCount(engine); ++i) {
            if (i > 1) names += "|";
            names += parameterOrEmpty(engine, i);
            setVariable(engine, parameterOrEmpty(engine, i), Text());
        }
        traceAssignment(engine, names, instance, Text());
        return;
    }
    engine.assignTarget = registerText(parameterOrEmpty(engine, 1));
    Text value;
    for (std::int64_t i = 2; i <= parameterCount(engine); ++i) value += parameterOrEmpty(engine, i);
    engine.resultText = registerText(value);
    if (word.startsWith("global")) {
        setGlobalVariable(engine, engine.assignTarget, engine.resultText, 1);
        traceAssignment(engine, engine.assignTarget, "(global) :=", engine.resultText);
    } else {
        setVariable(engine, engine.assignTarget, engine.resultText);
        traceAssignment(engine, engine.assignTarget, instance, engine.resultText);
    }
}

bool isAssignment(const Text& remainder) {
    if (remainder.length() <= 2) return false;
    // "= " from the second character on; both are plain ASCII, so the low
    // bytes tell it unless a high byte sits on one of them.
    std::size_t at = remainder.low().find("= ", 1);
    while (at != std::string::npos) {
        if (remainder.charAtIndex(at) == '=' && remainder.charAtIndex(at + 1) == ' ') return true;
        at = remainder.low().find("= ", at + 1);
    }
    return false;
}

void applyOperator(MacroEngine& engine, const Text& operatorWord, const Text& oldValue) {
    Text result;
    if (operatorWord.length() == 2 && operatorWord.at(2) == '=') {
        switch (operatorWord.at(1)) {
            case '+': case '-': case '*': case '/':
                result = arithmetic(engine, static_cast<char>(operatorWord.at(1)));
                break;
            case 'o': result = dotProduct(engine); break;
            case 'x': result = crossProduct(engine); break;
            case '%': result = byLargestComponent(engine); break;
            case '#': result = rounded(engine); break;
            case '$': result = cutCharacters(engine, true); break;
            case 'd': result = cutCharacters(engine, false); break;
            case 's': result = upToSeparator(engine); break;
            case 'r': result = replaced(engine); break;
            case '|': result = joinedByBlank(parameterTexts(engine, 1)); break;
            case '~': result = reversedConcatenation(engine); break;
            case '!': result = removed(engine, oldValue); break;
            default: break;  // unknown: the target gets empty text
        }
    }
    engine.resultText = registerText(result);
}

void runAssignment(MacroEngine& engine, const Text& word, const Text& remainder) {
    engine.assignTarget = registerText(substituteAtVariables(engine, word));
    engine.resultText = Text();
    const std::int64_t blank = remainder.findChar(' ');
    const Text operatorWord = (blank == 0 ? remainder : remainder.copy(1, blank - 1)).lowerCase();
    const Text rest = blank == 0 ? Text() : remainder.copy(blank + 1, remainder.length());
    engine.commandWord = registerText(operatorWord);

    if (operatorWord != Text(":=")) {
        parseParameters(engine, rest);
        applyOperator(engine, operatorWord, readVariable(engine, engine.assignTarget));
        traceAssignment(engine, engine.assignTarget, shownOperator(operatorWord), engine.resultText);
        setVariable(engine, engine.assignTarget, engine.resultText);
        return;
    }

    // The value rule: a function call, or the parameters joined.
    const std::int64_t restBlank = rest.findChar(' ');
    const Text firstWord = (restBlank == 0 ? rest : rest.copy(1, restBlank - 1)).lowerCase();
    Text function = firstWord;
    bool found = !firstWord.empty() && findFunction(engine, firstWord) != 0;
    if (!found && !firstWord.empty() && withDepth(engine) > 0) {
        function = withPrefix(engine, withDepth(engine)) + "." + firstWord;
        found = findFunction(engine, function) != 0;
    }
    if (found) {
        parseParameters(engine, restBlank == 0 ? Text() : rest.copy(restBlank + 1, rest.length()));
        callFunction(engine, function);
    } else {
        parseParameters(engine, rest);
        engine.resultText = registerText(joinedParameters(engine));
        traceAssignment(engine, engine.assignTarget, ":=", engine.resultText);
    }
    if (!engine.assignTarget.empty()) setVariable(engine, engine.assignTarget, engine.resultText);
}

void runProcedureStatement(MacroEngine& engine, std::int64_t& line, const Text& word, const Text& remainder) {
    parseParameters(engine, remainder);
    const Text name = withDepth(engine) > 0 ? withPrefix(engine, withDepth(engine)) + "." + word : word;
    callProcedure(engine, line, name);
}

}  // namespace corvane
