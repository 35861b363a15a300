// Number readers, the expression evaluator behind them, and the printers.
#include "foundation/numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

namespace corvane {

NumberSettings numberSettings;

namespace {

constexpr double twoTo63 = 9223372036854775808.0;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

char decimalSeparator() { return numberSettings.DecimalPointMode ? '.' : ','; }

bool inTokenSet(char c, char separator) {
    switch (c) {
        case '&': case '*': case '+': case '-': case '/': case '<': case '=': case '>': case 'e': case '|':
            return true;
        default:
            return isDigit(c) || c == separator;
    }
}

// Steps 4 to 6 of the readers on the lower-cased text: find where the token
// starts and ends. `hasHigh(i)` tells whether character i has a high byte.
// Yields false when nothing can begin a number; `restIndex` is where the
// unconsumed text begins.
template <class HighTest>
bool cutToken(const std::string& low, HighTest hasHigh, std::string& token, std::size_t& restIndex) {
    const char separator = decimalSeparator();
    const std::size_t size = low.size();
    std::size_t i = 0;
    while (i < size && (hasHigh(i) || !(low[i] == '-' || low[i] == separator || isDigit(low[i])))) ++i;
    if (i == size) {
        restIndex = size;
        return false;
    }
    // A leading separator is passed over: ".25" reads as 25, "-.25" as -0.25.
    while (i + 1 < size && (hasHigh(i) || !(low[i] == '-' || isDigit(low[i])))) ++i;
    std::size_t end = i;
    while (end < size && !hasHigh(end) && inTokenSet(low[end], separator)) ++end;
    token.assign(low, i, end - i);
    if (separator == ',') {
        for (char& c : token) {
            if (c == ',') c = '.';
        }
    }
    restIndex = end;
    return true;
}

bool readPlainReal(std::string_view text, double& value) {
    if (text.empty()) return false;
    double result = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result);
    if (error != std::errc() || end != text.data() + text.size()) return false;
    value = result;
    return true;
}

bool readPlainInteger(std::string_view text, std::int64_t& value) {
    if (text.empty()) return false;
    std::int64_t result = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result);
    if (error != std::errc() || end != text.data() + text.size()) return false;
    value = result;
    return true;
}

// Single left-to-right pass; replaced pieces are not rescanned.
std::string replaceEvery(const std::string& text, std::string_view find, std::string_view with) {
    std::string result;
    std::size_t from = 0;
    for (;;) {
        const std::size_t hit = text.find(find, from);
        if (hit == std::string::npos) break;
        result.append(text, from, hit - from);
        result += with;
        from = hit + find.size();
    }
    if (from == 0) return text;
    result.append(text, from, std::string::npos);
    return result;
}

bool isTermChar(char c) {
    return isDigit(c) || c == '.' || c == 'e' || c == 'i' || c == decimalSeparator();
}

// Reads a term from position `pos`: an optional '-', then digits, separator,
// 'e' and 'i'. The longest plain number at its front is the value, so that
// "1e" gives the mantissa; anything unreadable gives 0. Sets `loneMinus`
// when the term is a '-' alone.
double readTerm(const std::string& s, std::size_t& pos, bool& loneMinus) {
    const std::size_t start = pos;
    if (pos < s.size() && s[pos] == '-') ++pos;
    const std::size_t digitsStart = pos;
    while (pos < s.size() && isTermChar(s[pos])) ++pos;
    loneMinus = pos == digitsStart && digitsStart > start;
    if (pos == start || loneMinus) return 0;
    std::string term(s, start, pos - start);
    for (char& c : term) {
        if (c == ',') c = '.';
    }
    double value = 0;
    const auto [end, error] = std::from_chars(term.data(), term.data() + term.size(), value);
    if (error != std::errc() || end == term.data()) return 0;
    return value;
}

double bitwise(double a, double b, char op) {
    const std::int64_t x = truncateReal(a), y = truncateReal(b);
    return static_cast<double>(op == '&' ? (x & y) : (x | y));
}

// Evaluates an expression token: terms joined by operators, no parentheses.
// A '+' or '-' makes the rest of the text one operand; a multiplicative or
// comparison result is re-read through its printed form before going on.
double evalExpression(std::string s) {
    double total = 0;  // sum of the finished '+' and '-' pieces
    double sign = 1;
    std::size_t pos = 0;
    for (;;) {  // one pass from step 1
        bool loneMinus = false;
        double accumulator = readTerm(s, pos, loneMinus);
        if (loneMinus) return total;
        bool restart = false;
        while (!restart && s.size() - pos > 1) {
            const char op = s[pos++];
            if (op == '+' || op == '-') {
                const std::size_t behindOperator = pos;
                const double operand = readTerm(s, pos, loneMinus);
                if (loneMinus) pos = s.size();
                if (pos >= s.size()) {
                    accumulator = op == '+' ? accumulator + operand : accumulator - operand;
                    break;
                }
                total += sign * accumulator;
                if (op == '-') sign = -sign;
                pos = behindOperator;
                restart = true;
                break;
            }
            char secondChar = pos < s.size() ? s[pos] : '\0';
            int comparison = 0;  // 1 '=', 2 '<', 3 '<=', 4 '<>', 5 '>', 6 '>='
            switch (op) {
                case '*': case '/': case '&': case '|': break;
                case '=': comparison = 1; break;
                case '<':
                    comparison = secondChar == '=' ? 3 : secondChar == '>' ? 4 : 2;
                    if (comparison != 2) ++pos;
                    break;
                case '>':
                    comparison = secondChar == '=' ? 6 : 5;
                    if (comparison == 6) ++pos;
                    break;
                default:
                    return total + sign * accumulator;  // anything else ends the evaluation
            }
            const double operand = readTerm(s, pos, loneMinus);
            if (loneMinus) pos = s.size();  // a lone '-' reads 0 and empties the token
            switch (comparison) {
                case 0:
                    if (op == '*') accumulator *= operand;
                    else if (op == '/') accumulator = operand == 0 ? 0 : accumulator / operand;
                    else accumulator = bitwise(accumulator, operand, op);
                    break;
                case 1: accumulator = accumulator == operand; break;
                case 2: accumulator = accumulator < operand; break;
                case 3: accumulator = accumulator <= operand; break;
                case 4: accumulator = accumulator != operand; break;
                case 5: accumulator = accumulator > operand; break;
                case 6: accumulator = accumulator >= operand; break;
            }
            if (pos < s.size()) {
                // The intermediate value passes through its printed form.
                const std::string printed = realToText(accumulator).low();
                std::size_t printedPos = 0;
                const double reread = readTerm(printed, printedPos, loneMinus);
                if (printedPos == printed.size() && !loneMinus) {
                    accumulator = reread;
                } else {
                    s = printed + s.substr(pos);
                    pos = 0;
                    restart = true;
                }
            }
        }
        if (!restart) return total + sign * accumulator;
    }
}

bool isFactorEnd(Char16 c) { return (c >= '0' && c <= '9') || c == '.' || c == ','; }

// Pi is a factor behind a number ("2π" is 2*π) and a plain number elsewhere,
// so that "π/2" and "-π" read as written.
Text substitutePi(const Text& text, bool point) {
    const Text plain = point ? "3.141592653589793116" : "3,141592653589793116";
    const Text factor = "*" + plain;
    Text result;
    for (std::int64_t i = 1; i <= text.length(); ++i) {
        const Char16 c = text.at(i);
        if (c != 0x03C0) {
            result += c;
        } else {
            result += i > 1 && isFactorEnd(text.at(i - 1)) ? factor : plain;
        }
    }
    return result;
}

// Degree and percent are factors; the decimal separator follows the mode.
Text substituteUnits(const Text& text) {
    const bool point = numberSettings.DecimalPointMode;
    Text result = text;
    if (result.findChar(0x00B0) != 0)
        result = result.replaceAll(Text(Char16(0x00B0)), point ? "*0.01745329251994329509" : "*0,01745329251994329509");
    if (result.findChar('%') != 0) result = result.replaceAll("%", point ? "*0.01" : "*0,01");
    if (result.findChar(0x03C0) != 0) result = substitutePi(result, point);
    return result;
}

ByteText substituteUnitBytes(const ByteText& text) {
    const bool point = numberSettings.DecimalPointMode;
    ByteText result = text;
    if (result.find("\xC2\xB0") != ByteText::npos)
        result = replaceEvery(result, "\xC2\xB0", point ? "*0.01745329251994329509" : "*0,01745329251994329509");
    if (result.find('%') != ByteText::npos) result = replaceEvery(result, "%", point ? "*0.01" : "*0,01");
    if (result.find("\xCF\x80") == ByteText::npos) return result;
    const ByteText plain = point ? "3.141592653589793116" : "3,141592653589793116";
    ByteText withPi;
    for (std::size_t i = 0; i < result.size(); ++i) {
        if (result.compare(i, 2, "\xCF\x80") != 0) {
            withPi += result[i];
            continue;
        }
        if (i > 0 && isFactorEnd(static_cast<unsigned char>(result[i - 1]))) withPi += '*';
        withPi += plain;
        ++i;
    }
    return withPi;
}

std::string rewriteExpression(const std::string& token) {
    std::string s = replaceEvery(token, "-", "++");
    s = replaceEvery(s, "++", "+-");
    s = replaceEvery(s, "e-", "i");
    return replaceEvery(s, "e+", "e");
}

// The expression path shared by both readers; "" and "." give 0.
double expressionValue(const std::string& token) {
    const std::string rewritten = rewriteExpression(token);
    if (rewritten.empty() || rewritten == ".") return 0;
    return evalExpression(rewritten);
}

ByteText lowerBytes(ByteText text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
    }
    return text;
}

// Starts with '-' or a digit and holds only digits, '-' and '.'.
bool isWholeToken(const std::string& text) {
    if (text.empty() || !(text[0] == '-' || isDigit(text[0]))) return false;
    return std::all_of(text.begin(), text.end(), [](char c) { return isDigit(c) || c == '-' || c == '.'; });
}

// Step 7 and 8: the plain read first, the expression when that fails.
template <class Value>
Value tokenValue(const std::string& token) {
    if constexpr (std::is_same_v<Value, double>) {
        double value = 0;
        if (readPlainReal(token, value)) return value;
        return expressionValue(token);
    } else {
        std::int64_t value = 0;
        if (readPlainInteger(token, value)) return value;
        return roundReal(expressionValue(token));
    }
}

template <class Value>
Value readFromText(Text& text, bool substitute) {
    if (text.empty()) return 0;
    // A text that is one token already, as most parameters are, needs no
    // lower-casing, substitution or cutting: the whole of it is the token.
    if (numberSettings.DecimalPointMode && !text.hasHighBytes() && isWholeToken(text.low())) {
        const std::string token = text.low();
        text = Text();
        return tokenValue<Value>(token);
    }
    Text lowered = text.lowerCase();
    if (substitute) lowered = substituteUnits(lowered);
    const auto hasHigh = [&lowered](std::size_t i) { return (lowered.charAtIndex(i) >> 8) != 0; };
    std::string token;
    std::size_t restIndex = 0;
    const bool found = lowered.hasHighBytes() ? cutToken(lowered.low(), hasHigh, token, restIndex)
                                              : cutToken(lowered.low(), [](std::size_t) { return false; },
                                                         token, restIndex);
    text = lowered.copy(static_cast<std::int64_t>(restIndex) + 1, lowered.length());
    return found ? tokenValue<Value>(token) : 0;
}

template <class Value>
Value readFromBytes(ByteText& text, bool substitute) {
    if (text.empty()) return 0;
    ByteText lowered = lowerBytes(text);
    if (substitute) lowered = substituteUnitBytes(lowered);
    std::string token;
    std::size_t restIndex = 0;
    const bool found = cutToken(lowered, [](std::size_t) { return false; }, token, restIndex);
    text = lowered.substr(restIndex);
    return found ? tokenValue<Value>(token) : 0;
}

}  // namespace

double readReal(Text& text) { return readFromText<double>(text, true); }
std::int64_t readInteger(Text& text) { return readFromText<std::int64_t>(text, false); }
double readReal(ByteText& text) { return readFromBytes<double>(text, true); }
std::int64_t readInteger(ByteText& text) { return readFromBytes<std::int64_t>(text, false); }

bool readBool(const Text& text) {
    Text value = text.trim(' ').lowerCase();
    if (value.empty()) return false;
    const Char16 first = value.at(1);
    if (first == 'y' || first == 'j' || first == 'h' || first == 't') return true;
    if (value == "on" || value == "ok" || value == "1" || value == "+") return true;
    return readInteger(value) > 0;
}

Vector2 readVector2(Text& text) {
    Vector2 v;
    v.x = readReal(text);
    v.y = readReal(text);
    return v;
}

Vector3 readVector3(Text& text) {
    Vector3 v;
    v.x = readReal(text);
    v.y = readReal(text);
    v.z = readReal(text);
    return v;
}

Vector4 readVector4(Text& text) {
    Vector4 v;
    v.x = readReal(text);
    v.y = readReal(text);
    v.z = readReal(text);
    v.w = readReal(text);
    return v;
}

Matrix3 readMatrix3(Text& text) {
    Matrix3 m;
    for (Vector3& row : m.rows) row = readVector3(text);
    return m;
}

Matrix4 readMatrix4(Text& text) {
    Matrix4 m;
    if (text.findChar(';') == 0) {
        for (Vector4& row : m.rows) row = readVector4(text);
        return m;
    }
    for (Vector4& row : m.rows) {
        Text piece = text.beforeFirst(";");
        text = text.findChar(';') ? text.afterFirst(";") : Text();
        row = readVector4(piece);
    }
    return m;
}

double readDigits(const Text& digits, int base) {
    static constexpr char digitChars[] = "0123456789abcdef";
    double sum = 0, place = 1;
    for (std::int64_t i = digits.length(); i >= 1; --i) {
        Char16 c = digits.at(i);
        if (c >= 'A' && c <= 'Z') c = static_cast<Char16>(c + ('a' - 'A'));
        int value = -1;
        for (int d = 0; d < base && d < 16; ++d) {
            if (c == static_cast<Char16>(digitChars[d])) value = d;
        }
        if (value < 0) continue;
        sum += value * place;
        place *= base;
    }
    return sum;
}

std::int64_t truncateReal(double value) {
    if (std::isnan(value)) return 0;
    if (value >= twoTo63) return std::numeric_limits<std::int64_t>::max();
    if (value <= -twoTo63) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
}

std::int64_t roundReal(double value) { return truncateReal(std::nearbyint(value)); }

double realModulo(double value, double divisor) {
    if (divisor == 0) return static_cast<double>(truncateReal(value));
    return std::fmod(value, divisor);
}

// ---- printers ------------------------------------------------------------

namespace {

std::string fixedText(double value, std::int64_t fractionDigits) {
    if (!std::isfinite(value)) return "0";
    if (fractionDigits < 0) fractionDigits = 0;
    if (fractionDigits > 340) fractionDigits = 340;
    char buffer[720];
    const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed,
                                            static_cast<int>(fractionDigits));
    if (error != std::errc()) return "0";
    return std::string(buffer, end);
}

// Steps 2 to 4 of realToText: trim noise digits, tidy, apply the modes.
Text finishRealText(std::string s) {
    const std::size_t point = s.find('.');
    // The point stands before half the length (1-based position).
    if (point != std::string::npos && 2 * (point + 1) <= s.size()) {
        const std::size_t length = s.size();
        std::size_t cut = length;
        if (s[length - 1] == '0') {
            cut = length - 1;
        } else if (s[length - 2] == '0') {
            cut = length - 2;
        } else if (length >= 3 && s[length - 3] == '0') {
            cut = length - 3;
        }
        if (cut != length) {
            while (cut > 0 && s[cut - 1] == '0') --cut;
            s.erase(cut);
        }
    }
    std::erase(s, ' ');
    if (!s.empty() && s.back() == '.') s.pop_back();
    if (s == "-0" || s.empty()) s.assign(1, '0');
    Text text = Text::fromBytes(s);
    if (numberSettings.ScientificMode) text = exponentForm(text);
    if (!numberSettings.DecimalPointMode) text = text.replaceAll(".", ",");
    return text;
}

// Fraction digits that leave about six significant digits.
std::int64_t shortFractionDigits(double value) {
    const double magnitude = std::fabs(value);
    static constexpr double limits[] = {100000, 10000, 1000, 100, 10, 1, 0.1, 0.01, 0.001, 0.0001, 0.00001};
    std::int64_t digits = 0;
    for (const double limit : limits) {
        if (magnitude >= limit) return digits;
        ++digits;
    }
    return digits;
}

Text groupDigits(const std::string& digits, char separator) {
    std::string sign, body = digits;
    if (!body.empty() && body[0] == '-') {
        sign = "-";
        body.erase(0, 1);
    }
    if (body.size() <= 3) return Text::fromBytes(digits);
    std::string grouped;
    const std::size_t firstGroup = body.size() % 3 == 0 ? 3 : body.size() % 3;
    grouped.append(body, 0, firstGroup);
    for (std::size_t i = firstGroup; i < body.size(); i += 3) {
        grouped += separator;
        grouped.append(body, i, 3);
    }
    return Text::fromBytes(sign + grouped);
}

const char* vectorSeparator() { return numberSettings.DecimalPointMode ? ", " : "; "; }

Text componentText(double value, VectorStyle style, std::int64_t digits) {
    switch (style) {
        case VectorStyle::realDigits: return realToTextDigits(value, digits);
        case VectorStyle::integer: return integerToText(roundReal(value));
        default: return realToText(value);
    }
}

}  // namespace

Text realToText(double value) {
    // Whole numbers print as their digits when the sixteen zeros would all
    // be trimmed: sign and digits at most fifteen characters.
    if (value == std::trunc(value) && (value >= 0 ? value < 1e15 : value > -1e14)) {
        char digits[24];
        const auto [end, error] = std::to_chars(digits, digits + sizeof digits, static_cast<std::int64_t>(value));
        Text text = Text::fromBytes(std::string_view(digits, static_cast<std::size_t>(end - digits)));
        return numberSettings.ScientificMode ? exponentForm(text) : text;
    }
    return finishRealText(fixedText(value, 16));
}

Text shortRealToText(double value) {
    if (value == 0) return "0";
    return finishRealText(fixedText(value, shortFractionDigits(value)));
}

Text realToTextDigits(double value, std::int64_t fractionDigits) {
    return finishRealText(fixedText(value, fractionDigits));
}

Text shortRealToTextDigits(double value, std::int64_t significantDigits) {
    if (value == 0) return "0";
    return finishRealText(fixedText(value, std::max<std::int64_t>(0, shortFractionDigits(value) - 6 + significantDigits)));
}

Text exponentForm(const Text& printed) {
    const std::string& s = printed.low();
    const bool negative = !s.empty() && s[0] == '-';
    const std::string body = negative ? s.substr(1) : s;
    const std::string sign = negative ? "-" : "";
    if (body.size() > 2 && body.compare(0, 2, "0.") == 0) {
        const std::size_t behindPoint = body.size() - 2;
        std::size_t first = 2;
        while (first < body.size() && body[first] == '0') ++first;
        if (first == body.size()) return printed;
        return Text::fromBytes(sign + body.substr(first) + "E-" + std::to_string(behindPoint));
    }
    if (s.size() >= 2 && s.back() == '0') {
        std::size_t cut = s.size();
        while (cut > 0 && s[cut - 1] == '0') --cut;
        if (cut == 0 || (cut == 1 && negative)) return printed;
        return Text::fromBytes(s.substr(0, cut) + "E" + std::to_string(s.size() - cut));
    }
    return printed;
}

Text integerToText(std::int64_t value) {
    const std::string digits = std::to_string(value);
    if (numberSettings.ScientificMode) return exponentForm(Text::fromBytes(digits));
    if (numberSettings.ThousandsMode) return groupDigits(digits, numberSettings.DecimalPointMode ? ',' : '.');
    return Text::fromBytes(digits);
}

Text groupedIntegerToText(std::int64_t value) {
    return groupDigits(std::to_string(value), numberSettings.DecimalPointMode ? ',' : '.');
}

Text hexToText(std::int64_t value, std::int64_t width) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::uint64_t magnitude = value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    std::string hex;
    do {
        hex.insert(hex.begin(), digits[magnitude & 15]);
        magnitude >>= 4;
    } while (magnitude != 0);
    if (width > 64) width = 64;
    while (static_cast<std::int64_t>(hex.size()) < width) hex.insert(hex.begin(), '0');
    return Text::fromBytes(value < 0 ? "-" + hex : hex);
}

Text boolToText(bool value) { return value ? "true" : "false"; }

Text vectorToText(const double* components, int count, VectorStyle style, std::int64_t digits) {
    Text text = style == VectorStyle::plain ? Text() : Text("<");
    const VectorStyle componentStyle = style == VectorStyle::plain ? VectorStyle::real : style;
    for (int i = 0; i < count; ++i) {
        if (i > 0) text += vectorSeparator();
        text += componentText(components[i], componentStyle, digits);
    }
    if (style != VectorStyle::plain) text += ">";
    return text;
}

Text vector2ToText(const Vector2& v, VectorStyle style, std::int64_t digits) {
    const double c[] = {v.x, v.y};
    return vectorToText(c, 2, style, digits);
}

Text vector3ToText(const Vector3& v, VectorStyle style, std::int64_t digits) {
    const double c[] = {v.x, v.y, v.z};
    return vectorToText(c, 3, style, digits);
}

Text vector4ToText(const Vector4& v, VectorStyle style, std::int64_t digits) {
    const double c[] = {v.x, v.y, v.z, v.w};
    return vectorToText(c, 4, style, digits);
}

Text intVector3ToText(const IntVector3& v) {
    return "<" + integerToText(v.x) + vectorSeparator() + integerToText(v.y) + vectorSeparator() +
           integerToText(v.z) + ">";
}

Text matrix3ToText(const Matrix3& m, VectorStyle style, std::int64_t digits) {
    return "(" + vector3ToText(m.rows[0], style, digits) + ";" + vector3ToText(m.rows[1], style, digits) + ";" +
           vector3ToText(m.rows[2], style, digits) + ")";
}

Text matrix4ToText(const Matrix4& m, VectorStyle style, std::int64_t digits) {
    return "(" + vector4ToText(m.rows[0], style, digits) + ";" + vector4ToText(m.rows[1], style, digits) + ";" +
           vector4ToText(m.rows[2], style, digits) + ";" + vector4ToText(m.rows[3], style, digits) + ")";
}

Text sizeToText(std::uint64_t value, std::int64_t digits, const Text& unit) {
    struct Prefix {
        std::uint64_t divisor;
        const char* name;
    };
    static constexpr Prefix prefixes[] = {
        {1000000000000000000ULL, " E"}, {1000000000000000ULL, " P"}, {1000000000000ULL, " T"},
        {1000000000ULL, " G"},          {1000000ULL, " M"},          {1000ULL, " k"},
    };
    for (const Prefix& prefix : prefixes) {
        if (value >= prefix.divisor)
            return realToTextDigits(static_cast<double>(value) / static_cast<double>(prefix.divisor), digits) +
                   prefix.name + unit;
    }
    return Text::fromBytes(std::to_string(value)) + " " + unit;
}

Text durationToText(const Duration& duration) {
    const std::int64_t fields[] = {duration.days, duration.hours, duration.minutes, duration.seconds,
                                   duration.hundredths};
    static constexpr const char* units[] = {" d", " h", " min", " sec", " 100sec"};
    int first = -1, last = -1;
    for (int i = 0; i < 5; ++i) {
        if (fields[i] != 0) {
            if (first < 0) first = i;
            last = i;
        }
    }
    if (first < 0) return "0 sec";
    std::string text;
    for (int i = first; i <= last; ++i) {
        if (i > first) text += ':';
        text += std::to_string(fields[i]);
    }
    if (text.empty()) return "0";
    return Text::fromBytes(text + units[first]);
}

}  // namespace corvane
