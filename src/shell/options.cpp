// Option record, banner, source grammar and declaration calls.
#include "shell/options.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/numbers.h"
#include "foundation/paths.h"
#include "foundation/programs.h"

namespace corvane {

namespace {

// The build date of this translation unit, as "year/month/day".
Text compiledDate() {
    static constexpr const char* monthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const char* date = __DATE__;  // "Mmm dd yyyy"
    int month = 1;
    for (int i = 0; i < 12; ++i) {
        if (std::strncmp(date, monthNames[i], 3) == 0) month = i + 1;
    }
    const int day = std::atoi(date + 4);
    const int year = std::atoi(date + 7);
    char text[16];
    std::snprintf(text, sizeof text, "%04d/%02d/%02d", year, month, day);
    return Text(text);
}

bool isBigEndian() {
    const std::uint16_t probe = 1;
    unsigned char first = 0;
    std::memcpy(&first, &probe, 1);
    return first == 0;
}

Text currentWorkingDirectory() {
    char buffer[4096];
    return getcwd(buffer, sizeof buffer) ? Text(buffer) : Text();
}

Text programPathOf(const Text& fallback) {
    char buffer[4096];
    const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (length <= 0) return fallback;
    return Text(std::string_view(buffer, static_cast<std::size_t>(length)));
}

// Names compare as stored, cut to the 254 characters of a list entry.
std::string optionKey(const Text& name) {
    const Text stored = ShortText(name).toText();
    return stored.low() + '\0' + stored.high();
}

// Entry index of the first entry of that name, marked as read.
std::int64_t lookup(OptionRecord& options, const Text& name) {
    const std::int64_t index = findOption(options, name);
    if (index > 0) options.used[static_cast<std::size_t>(index - 1)] = true;
    return index;
}

void echo(const Text& line) { writeTextLine(line); }

// The press-enter step of the waiting help.
void pauseForEnter() {
    newline();
    pressEnter();
}

}  // namespace

Text buildDateText() { return compiledDate(); }

Text versionText(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t startYear) {
    return integerToText(year - startYear) + "." + integerToText(month) + "." + integerToText(day);
}

void initOptions(OptionRecord& options, const std::vector<ByteText>& arguments, const Text& name,
                 const Text& maker, std::int64_t startYear, const Text& url) {
    options.names.allocDynamic();
    options.values.allocDynamic();
    options.arguments = arguments;
    options.firstIndex.clear();
    options.used.clear();
    options.badOptions.clear();
    options.unnamedCount = 0;
    options.lastUnnamed = 0;
    options.valueMayFollow = false;

    // Field by field: read whole, "2026/04/08" would be a division.
    const Text date = buildDateText();
    options.year = integerOf(date.beforeFirst("/"));
    options.month = integerOf(date.afterFirst("/").beforeFirst("/"));
    options.day = integerOf(date.afterFirst("/").afterFirst("/"));
    options.version = versionText(options.year, options.month, options.day, startYear);
#ifdef NDEBUG
    const char* versionWord = " - Version ";
#else
    const char* versionWord = " - Debug version ";
#endif
    options.versionLine = name + versionWord + options.version.toText() + " for " + "FreeBSD" + " (" + "x86_64" +
                          "_SSE" + (isBigEndian() ? " BE)" : " LE)");
    options.makerLine = maker + " " + integerToText(startYear) + "-" + integerToText(options.year);
    options.programPath = programPathOf(name);
    options.startDirectory = currentWorkingDirectory();

    newline();
    writeTextLine(options.versionLine.toText());
    writeTextLine(options.makerLine.toText());
    newline();
    if (!arguments.empty() && arguments[0] == "-strict") outputSettings.interactive = false;
    options.updateSource = url + "/x86_64-FreeBSD/" + filePart(options.programPath.toText());
    writeTextLine("  -update : Load a new version from " + options.updateSource);
    options.updateRequested = !arguments.empty() && arguments[0] == "-update";
}

void runUpdate(OptionRecord& options) {
    newline();
    const int code = runProgram("/usr/bin/wget", {options.updateSource.toUtf8()});
    static constexpr const char* messages[] = {
        nullptr,
        "Generic error code.",
        "Parse error\u2014for instance, when parsing command-line options, the \u2018.wgetrc\u2019 or "
        "\u2018.netrc\u2019...",
        "File I/O error.",
        "Network failure.",
        "SSL verification failure.",
        "Username/password authentication failure.",
        "Protocol errors.",
        "Server issued an error response.",
    };
    if (code < 0 || code > 8) {
        writeLine("Wget not found! Please install wget (https://www.gnu.org/software/wget/)");
    } else if (code == 0) {
        writeTextLine("You can find the new file at \"" + filePart(options.updateSource) + ".n\".");
    } else {
        writeLine(messages[code]);
    }
}

void addOption(OptionRecord& options, const Text& name, const Text& value) {
    options.names.append(name);
    options.values.append(value);
    options.used.push_back(false);
    const std::int64_t index = options.names.count();
    options.firstIndex.emplace(optionKey(name), index);
    if (name.empty()) {
        ++options.unnamedCount;
        options.lastUnnamed = index;
    }
}

std::int64_t findOption(const OptionRecord& options, const Text& name) {
    const auto hit = options.firstIndex.find(optionKey(name));
    return hit == options.firstIndex.end() ? 0 : hit->second;
}

Text unquoteOption(const Text& value) {
    const Char16 quote = value.at(1);
    if (quote != '"' && quote != '\'') return value;
    Text inner = value.copy(2, value.length());
    if (inner.at(inner.length()) == quote) inner = inner.copy(1, inner.length() - 1);
    const Text quoteText(quote);
    inner = inner.replaceAll(quoteText + quoteText, "#9");  // kept literally on purpose
    return inner.replaceAll("\t", quoteText);
}

namespace {

// The first token: up to the first TAB outside quotes.
Text cutToken(Text& text) {
    Char16 openQuote = 0;
    for (std::int64_t i = 1; i <= text.length(); ++i) {
        const Char16 c = text.at(i);
        if (openQuote != 0) {
            if (c == openQuote) openQuote = 0;
        } else if (c == '"' || c == '\'') {
            openQuote = c;
        } else if (c == '\t') {
            const Text token = text.copy(1, i - 1);
            text = text.copy(i + 1, text.length());
            return token;
        }
    }
    const Text token = text;
    text = Text();
    return token;
}

Text withoutLeadingDashes(Text name) {
    while (name.at(1) == '-') name = name.copy(2, name.length());
    return name;
}

}  // namespace

void parseLine(OptionRecord& options, Text text) {
    for (;;) {
        text = text.trim(' ');
        if (text.empty()) return;
        const Text token = cutToken(text).replaceAll("\t", " ");
        if (token.empty()) continue;
        const Char16 first = token.at(1);
        bool setsValueMayFollow = false;
        if (first == '+') {
            const Text name = token.copy(2, token.length());
            if (name.empty()) options.badOptions.push_back(token);
            addOption(options, name, "true");
        } else if (first == '-') {
            const std::int64_t equals = token.findChar('=');
            Text name;
            if (equals >= 2) {
                name = withoutLeadingDashes(token.copy(2, equals - 2));
                if (!name.empty()) addOption(options, name, unquoteOption(token.copy(equals + 1, token.length())));
            } else {
                name = withoutLeadingDashes(token.copy(2, token.length()));
                if (!name.empty()) addOption(options, name, "false");
                setsValueMayFollow = !name.empty();
            }
            if (name.empty()) options.badOptions.push_back(token);
        } else if (options.valueMayFollow) {
            const ShortText value(unquoteOption(token));  // "-name value" works as "-name=value"
            options.values.array.setRecord(options.values.count(), &value);
        } else {
            addOption(options, Text(), unquoteOption(token));
        }
        options.valueMayFollow = setsValueMayFollow;
    }
}

void addOptionsFileLine(OptionRecord& options, const Text& line) {
    if (line.empty()) return;
    std::int64_t cut = line.findChar('=');
    if (cut == 0) cut = line.findChar(' ');
    const Text name = cut == 0 ? line : line.copy(1, cut - 1);
    const Text value = cut == 0 ? Text() : line.copy(cut + 1, line.length());
    addOption(options, withoutLeadingDashes(name), value);
}

namespace {

// A file that is missing or can't be read is skipped without a message.
void readOptionsFile(OptionRecord& options, const Text& name) {
    if (!fileExists(name) || access(normalizePath(name).toUtf8().c_str(), R_OK) != 0) return;
    FileHandle file;
    if (!readTextFile(file, name, SuccessLine::quiet)) return;
    ByteText line;
    while (file.readLine(line)) addOptionsFileLine(options, Text(line));
    file.close();
}

void writeLogHead(const OptionRecord& options) {
    writeLogLine("Usage: " + options.usageText.toText().toUtf8());
    writeLogLine("");
    writeLogLine(options.versionLine.toText().toUtf8());
    writeLogLine(options.makerLine.toText().toUtf8());
    writeLogLine("");
    writeLogLine("  Program: " + options.programPath.toText().toUtf8());
}

void parseSources(OptionRecord& options) {
    Text joined;
    for (std::size_t i = 0; i < options.arguments.size(); ++i) {
        if (i > 0) joined += Char16('\t');
        joined += Text(options.arguments[i]);
    }
    parseLine(options, joined);
    const Text programName = filePart(options.usageText.toText().beforeFirst(" "));
    const Text optionsFile = optionText(options, "#", "optionsfile", programName + ".ini");
    readOptionsFile(options, optionsFile);
    if (optionSwitch(options, "log", "logfile", false)) {
        if (startLog(programName)) writeLogHead(options);
    } else {
        stopLog();
    }
    echo("  : " + options.processorLine);
    echo("  : " + options.featureLine);
    if (!isatty(STDOUT_FILENO)) {
        outputSettings.consoleActive = false;
    } else {
        outputSettings.consoleActive = optionSwitch(options, "verbose", "verbose", true);
    }
}

}  // namespace

void usage(OptionRecord& options, const Text& text) {
    options.usageText = text;
    newline();
    writeTextLine("Usage: " + text);
    parseSources(options);
    options.helpMode = false;
    options.waitMode = false;
    if (lookup(options, "?") > 0) {
        options.helpMode = true;
        options.waitMode = true;
    }
    if (lookup(options, "h") > 0 || lookup(options, "help") > 0 || lookup(options, "hilfe") > 0)
        options.helpMode = true;
    for (const char* consumed : {"strict", "update"}) lookup(options, consumed);
}

namespace {

// The value of the first entry of the name; false when absent or in help mode.
bool optionValue(OptionRecord& options, const Text& name, Text& value) {
    if (options.helpMode) return false;
    const std::int64_t index = lookup(options, name);
    if (index == 0) return false;
    value = options.values.get(index);
    return true;
}

}  // namespace

std::int64_t optionInteger(OptionRecord& options, const Text& name, const Text& description,
                           std::int64_t fallback, std::int64_t minimum, std::int64_t maximum) {
    std::int64_t value = fallback;
    Text text;
    if (optionValue(options, name, text)) value = readInteger(text);
    if (value < minimum) value = minimum;
    if (value > maximum) value = maximum;
    echo("  -" + name + " : " + description + " (" + integerToText(minimum) + "-" + integerToText(maximum) +
         ") = " + integerToText(value));
    return value;
}

Vector3 optionVector(OptionRecord& options, const Text& name, const Text& description, const Vector3& fallback) {
    Vector3 value = fallback;
    Text text;
    if (optionValue(options, name, text)) value = readVector3(text);
    echo("  -" + name + " : " + description + " = " + vector3ToText(value));
    return value;
}

Text optionText(OptionRecord& options, const Text& name, const Text& description, const Text& fallback) {
    Text value = fallback;
    optionValue(options, name, value);
    echo("  -" + name + " : " + description + " = " + value);
    return value;
}

Text optionFile(OptionRecord& options, const Text& name, const Text& description, const Text& fallback) {
    Text value = fallback;
    if (!optionValue(options, name, value) && !options.helpMode && options.lastUnnamed > 0)
        value = options.values.get(options.lastUnnamed);
    echo("  -" + name + " : " + description + " = " + value);
    return value;
}

bool optionSwitch(OptionRecord& options, const Text& name, const Text& description, bool fallback) {
    bool value = fallback;
    Text text;
    if (optionValue(options, name, text)) value = readBool(text);
    echo("  +/-" + name + " : " + description + (value ? " = on" : " = off"));
    return value;
}

void section(const OptionRecord& options, const Text& title) {
    if (options.waitMode) pauseForEnter();
    newline();
    writeTextLine(title + ":");
}

void note(const OptionRecord& options, const Text& text) {
    if (options.helpMode) writeTextLine("      " + text);
}

void example(const OptionRecord& options, const Text& text) {
    if (options.waitMode) pauseForEnter();
    newline();
    writeLine("  -? : show this help");
    writeLine("  -h : shows this help without waiting");
    if (options.helpMode) {
        newline();
        writeTextLine("Example: " + text);
    }
}

std::vector<PositionalParameter> positionalParameters(const OptionRecord& options) {
    std::vector<PositionalParameter> parameters;
    std::int64_t unnamed = 0;
    for (std::int64_t i = 1; i <= options.names.count(); ++i) {
        const Text name = options.names.get(i);
        if (name.empty()) {
            parameters.push_back({integerToText(++unnamed), options.values.get(i)});
        } else if (!options.used[static_cast<std::size_t>(i - 1)] && findOption(options, name) == i) {
            parameters.push_back({name, options.values.get(i)});
        }
    }
    return parameters;
}

Text lastPositionalValue(const OptionRecord& options) {
    return options.lastUnnamed > 0 ? options.values.get(options.lastUnnamed) : Text();
}

bool reportBadOptions(const OptionRecord& options) {
    for (const Text& token : options.badOptions) writeTextLine("Bad option (" + token + ")!");
    return !options.badOptions.empty();
}

}  // namespace corvane
