// Command-line and options-file settings: the option record, the banner,
// the source grammar and the declaration calls that read and echo options.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/text.h"
#include "foundation/typedarrays.h"
#include "foundation/vectors.h"

namespace corvane {

struct OptionRecord {
    ShortText usageText;       // program name as given
    ShortText versionLine;     // first banner line
    ShortText makerLine;       // second banner line
    ShortText programPath;     // program path of the process
    ShortText startDirectory;  // working directory at start
    ShortText version;         // version number as printed
    bool helpMode = false;     // the declaration calls only print
    bool waitMode = false;     // sections wait for enter
    std::int64_t year = 0, month = 0, day = 0;  // build date
    NameList names;            // option names, case as written; "" for a bare value
    NameList values;           // one value for each name
    Text updateSource;         // full source of the -update download

    // Bookkeeping behind the lists.
    std::vector<ByteText> arguments;               // argv[1..]
    std::unordered_map<std::string, std::int64_t> firstIndex;  // name -> first entry
    std::vector<bool> used;                        // entry read by a declaration
    std::int64_t unnamedCount = 0;
    std::int64_t lastUnnamed = 0;                  // entry index of the last bare value
    bool valueMayFollow = false;
    std::vector<Text> badOptions;                  // tokens with an empty name
    bool updateRequested = false;
    Text processorLine;                            // "  : " lines of the processor facts
    Text featureLine;
};

// One positional parameter for the macro: parameter.NAME := value.
struct PositionalParameter {
    Text name;
    Text value;
};

// Build date as "year/month/day" and the version made of it.
Text buildDateText();
Text versionText(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t startYear);

// Clears the lists, keeps the arguments and prints the banner. A first
// argument "-strict" turns interactive output off.
void initOptions(OptionRecord& options, const std::vector<ByteText>& arguments, const Text& name,
                 const Text& maker, std::int64_t startYear, const Text& url);
// Runs /usr/bin/wget on the update source and prints what its exit code means.
void runUpdate(OptionRecord& options);
// Prints the usage line, reads all sources and sets the help modes.
void usage(OptionRecord& options, const Text& text);

// The grammar of the joined arguments: appends entries to the lists.
void parseLine(OptionRecord& options, Text text);
// One options-file line: cut at the first '=', else the first blank.
void addOptionsFileLine(OptionRecord& options, const Text& line);
void addOption(OptionRecord& options, const Text& name, const Text& value);
// Entry index of the first entry of that name, 0 when none.
std::int64_t findOption(const OptionRecord& options, const Text& name);
Text unquoteOption(const Text& value);

std::int64_t optionInteger(OptionRecord& options, const Text& name, const Text& description,
                           std::int64_t fallback, std::int64_t minimum, std::int64_t maximum);
Vector3 optionVector(OptionRecord& options, const Text& name, const Text& description, const Vector3& fallback);
Text optionText(OptionRecord& options, const Text& name, const Text& description, const Text& fallback);
// Without the name, the last bare value when there is one.
Text optionFile(OptionRecord& options, const Text& name, const Text& description, const Text& fallback);
bool optionSwitch(OptionRecord& options, const Text& name, const Text& description, bool fallback);

void section(const OptionRecord& options, const Text& title);
void note(const OptionRecord& options, const Text& text);
void example(const OptionRecord& options, const Text& text);

// Bare values as parameter.1, parameter.2, ... and named entries that no
// declaration read as parameter.NAME, in the order of the entries.
std::vector<PositionalParameter> positionalParameters(const OptionRecord& options);
// The last bare value; empty when there is none.
Text lastPositionalValue(const OptionRecord& options);
// Prints the bad options; true when there were any.
bool reportBadOptions(const OptionRecord& options);

}  // namespace corvane
