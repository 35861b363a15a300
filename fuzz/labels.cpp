// Arbitrary bytes as a label file: loading into a gray and a fullgray field,
// reading every label back and saving the table must never crash or hang,
// and a load never leaves more entries than the kind can name.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fields/labels.h"
#include "foundation/console.h"

using namespace corvane;

namespace {

const std::string base = "/tmp/corvane-fuzz-labels-" + std::to_string(::getpid());
const std::string inputPath = base + ".txt";
const std::string savedPath = base + "-saved.txt";

void removeFiles() {
    std::remove(inputPath.c_str());
    std::remove(savedPath.c_str());
}

bool writeInput(const std::uint8_t* data, std::size_t size) {
    static const bool cleanupSet = std::atexit(removeFiles) == 0;
    (void)cleanupSet;
    std::FILE* file = std::fopen(inputPath.c_str(), "wb");
    if (!file) return false;
    const bool written = size == 0 || std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

void loadReadAndSave(VoxelKind kind) {
    ScalarField field;
    newField(field, kind);
    loadLabels(field, Text(inputPath));
    const std::int64_t length = labelTableLength(field);
    if (length > highestLabelValue(kind) + 1) __builtin_trap();
    for (std::int64_t value = -1; value <= length; ++value) getLabel(field, value);
    saveLabels(field, Text(savedPath));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = [] {
        outputSettings.consoleActive = false;
        return true;
    }();
    (void)quiet;
    if (!writeInput(data, size)) return 0;
    loadReadAndSave(VoxelKind::scalarGray);
    loadReadAndSave(VoxelKind::scalarFullgray);
    return 0;
}
