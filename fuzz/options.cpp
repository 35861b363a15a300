// Arbitrary bytes as command-line arguments and as options-file lines: the
// grammar, the declaration calls and the positional parameters must never
// crash or hang, and the two lists must stay in step.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/console.h"
#include "shell/options.h"

using namespace corvane;

namespace {

// Zero bytes part the arguments, as they could never stand inside one;
// the arguments are joined by TAB as the program joins argv.
Text argumentText(std::string_view bytes) {
    Text joined;
    std::size_t start = 0;
    for (bool first = true; start <= bytes.size(); first = false) {
        std::size_t end = bytes.find('\0', start);
        if (end == std::string_view::npos) end = bytes.size();
        if (!first) joined += Char16('\t');
        joined += Text(ByteText(bytes.substr(start, end - start)));
        start = end + 1;
    }
    return joined;
}

// Lines as the options-file reader hands them over: without their line end.
void addFileLines(OptionRecord& options, std::string_view bytes) {
    std::size_t start = 0;
    while (start < bytes.size()) {
        std::size_t end = bytes.find_first_of("\r\n", start);
        if (end == std::string_view::npos) end = bytes.size();
        addOptionsFileLine(options, Text(ByteText(bytes.substr(start, end - start))));
        start = end + 1;
    }
}

void checkLists(const OptionRecord& options) {
    const std::int64_t count = options.names.count();
    if (options.values.count() != count) __builtin_trap();
    if (static_cast<std::int64_t>(options.used.size()) != count) __builtin_trap();
    if (options.lastUnnamed < 0 || options.lastUnnamed > count) __builtin_trap();
    const auto positional = positionalParameters(options);
    if (static_cast<std::int64_t>(positional.size()) > count) __builtin_trap();
    for (const PositionalParameter& parameter : positional) {
        if (parameter.name.empty()) __builtin_trap();
    }
    if (options.lastUnnamed == 0 && !lastPositionalValue(options).empty()) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The echo lines of the declaration calls go nowhere.
    outputSettings.consoleActive = false;
    outputSettings.logActive = false;
    outputSettings.interactive = false;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    OptionRecord options;
    options.names.allocDynamic();
    options.values.allocDynamic();

    parseLine(options, argumentText(bytes));
    checkLists(options);
    addFileLines(options, bytes);
    checkLists(options);

    // Declarations read values through the number readers and mark entries
    // as read, which changes the positional parameters.
    optionInteger(options, "mesh.split", "how much biggest objects", 0, 0, 100);
    optionVector(options, "mesh.rotate", "rotate object (rad)", {0, 0, 0});
    optionText(options, "image.input", "inputfile(s) (image)", "image.ppm");
    optionFile(options, "macro", "macro file", "corvane.macro");
    optionSwitch(options, "verbose", "verbose", true);
    checkLists(options);
    lastPositionalValue(options);
    reportBadOptions(options);
    return 0;
}
