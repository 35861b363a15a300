// Value labels of scalar fields and the load filter: the label table with its
// ditto marks, its file forms and the commands around both (scalar. prefix).
#pragma once

#include <cstdint>

#include "fields/fieldrecords.h"
#include "foundation/text.h"

namespace corvane {

struct MacroEngine;

// A label that stands for the name of the nearest lower entry that is no
// ditto mark itself.
constexpr const char* labelDittoMark = "*";

// Highest voxel value a kind can name: 255 for gray, 65535 for fullgray,
// -1 for every kind that holds no labels.
std::int64_t highestLabelValue(VoxelKind kind);

// The name of voxel value `value`, ditto marks resolved; empty for a field
// without payload, a value outside the kind's range or beyond the table.
Text getLabel(const ScalarField& field, std::int64_t value);
// Stores the name of voxel value `value`, growing the table as needed; a
// value outside the kind's range is ignored without a message.
void setLabel(ScalarField& field, std::int64_t value, const Text& name);
// Entries in the table: the highest voxel value named plus one.
std::int64_t labelTableLength(const ScalarField& field);

// Reads a label file into the table (a sibling "<name>.atlas.xml" wins over
// the given file) and prints the "  Found ..." report. A file that cannot be
// read leaves the table empty.
void loadLabels(ScalarField& field, const Text& fileName);
// Writes one line "value<TAB>name" for each value with a name, through a
// temporary; a field without payload or labels writes nothing.
void saveLabels(const ScalarField& field, const Text& fileName);

void registerLabelCommands(MacroEngine& engine);

}  // namespace corvane
