// Arbitrary bytes as a macro file: loading, reading and splitting every line,
// and the file spliced into itself must never fail, crash or hang.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "engine/scriptmodel.h"

using namespace corvane;

namespace {

// One file name per process, so that parallel fuzzing jobs do not meet. An
// input whose first byte has its top bit set goes under the ".gz" name,
// which sends even a plain file through the gzip reader.
const std::string base = "/tmp/corvane-fuzz-macrofile-" + std::to_string(::getpid());
const std::string plainPath = base + ".macro";
const std::string packedPath = base + ".gz";

void removeInputs() {
    std::remove(plainPath.c_str());
    std::remove(packedPath.c_str());
}

const std::string& inputPath(bool gzipName) {
    static const bool cleanupSet = std::atexit(removeInputs) == 0;
    (void)cleanupSet;
    return gzipName ? packedPath : plainPath;
}

bool writeInput(const std::string& path, const std::uint8_t* data, std::size_t size) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    const bool written = size == 0 || std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

void readEveryLine(const LineTable& table) {
    for (std::int64_t index = 1; index <= table.lineCount(); ++index) {
        Text word;
        Text remainder;
        const Text line = prepareLine(table, index);
        if (line.length() > table.lineText(index).length()) __builtin_trap();
        splitCommand(line, word, remainder);
        if (word.findChar(u' ') != 0) __builtin_trap();
        // A one-line form splits its own remainder once more.
        splitCommand(remainder, word, remainder);
        table.sourceLine(index);
        table.sourceName(index);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string& name = inputPath(size > 0 && (data[0] & 0x80) != 0);
    if (!writeInput(name, data, size)) return 0;
    const Text path(name);
    LineTable table;
    if (!loadMacroFile(table, path)) {
        if (table.lineCount() != 0) __builtin_trap();
        return 0;
    }
    readEveryLine(table);

    const std::int64_t before = table.lineCount();
    if (before == 0) return 0;
    spliceInclude(table, 1, path);
    // The file replaces its own first line.
    if (table.lineCount() != 2 * before - 1) __builtin_trap();
    // Behind the copy, lines 2.. of the original follow with their numbers.
    for (std::int64_t index = 1; index <= before; ++index) {
        if (table.sourceLine(index) != index) __builtin_trap();
        if (index > 1 && !(table.lineText(index) == table.lineText(before - 1 + index))) __builtin_trap();
    }
    for (std::int64_t index = before + 1; index <= table.lineCount(); ++index) {
        if (table.sourceLine(index) != index - before + 1) __builtin_trap();
    }
    readEveryLine(table);
    return 0;
}
