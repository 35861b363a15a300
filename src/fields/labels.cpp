// Value labels of scalar fields and the load filter: scalar.label,
// scalar.labels.*, scalar.load.labels, scalar.save.labels, scalar.load.filter
// and scalar.load.scale.
#include "fields/labels.h"

#include <cstddef>
#include <vector>

#include "engine/parameters.h"
#include "engine/registry.h"
#include "fields/workspaces.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/numbers.h"
#include "foundation/paths.h"

namespace corvane {

std::int64_t highestLabelValue(VoxelKind kind) {
    switch (kind) {
        case VoxelKind::scalarGray: return 255;
        case VoxelKind::scalarFullgray: return 65535;
        default: return -1;
    }
}

Text getLabel(const ScalarField& field, std::int64_t value) {
    if (!hasPayload(field) || value < 0 || value > highestLabelValue(field.kind)) return Text();
    // Entry value + 1 of the table is labels[value].
    auto entry = static_cast<std::size_t>(value);
    if (entry >= field.labels.size()) return Text();
    while (entry > 0 && field.labels[entry] == labelDittoMark) --entry;
    return field.labels[entry];
}

void setLabel(ScalarField& field, std::int64_t value, const Text& name) {
    if (value < 0 || value > highestLabelValue(field.kind)) return;
    const auto entry = static_cast<std::size_t>(value);
    if (entry >= field.labels.size()) field.labels.resize(entry + 1);
    field.labels[entry] = name;
}

std::int64_t labelTableLength(const ScalarField& field) { return static_cast<std::int64_t>(field.labels.size()); }

namespace {

// ---- file forms -----------------------------------------------------------------

// An atlas has at least four lines, and "<atlas>" alone on one of the first three.
bool isAtlasForm(const std::vector<Text>& lines) {
    if (lines.size() < 4) return false;
    for (std::size_t i = 0; i < 3; ++i) {
        if (lines[i].lowerCase() == "<atlas>") return true;
    }
    return false;
}

// Every "<area" line takes the next free value, the table's length at that
// moment; its name="..." (behind the sixth character, so after "<area ")
// is kept in its original case. An area without a name sets nothing, so the
// next area takes the same value.
void readAtlasForm(ScalarField& field, const std::vector<Text>& lines) {
    const Text nameOpening = "name=\"";
    for (const Text& line : lines) {
        const Text lowered = line.lowerCase();
        if (!lowered.contains("<area")) continue;
        const std::int64_t value = labelTableLength(field);
        const std::int64_t opening = lowered.findFirst(nameOpening);
        if (opening <= 6) continue;
        const std::int64_t start = opening + nameOpening.length();
        const std::int64_t closing = line.findFirstFrom("\"", start);
        const std::int64_t count = closing == 0 ? line.length() - start + 1 : closing - start;
        setLabel(field, value, line.copy(start, count));
    }
}

// Behind the "index" line: value, tab, name. A line without a tab is a
// value with an empty name.
void readIndexForm(ScalarField& field, const std::vector<ByteText>& rawLines) {
    for (std::size_t i = 1; i < rawLines.size(); ++i) {
        const ByteText& line = rawLines[i];
        const std::size_t tab = line.find('\t');
        ByteText valueText = line.substr(0, tab);
        const Text name = tab == ByteText::npos ? Text() : Text(std::string_view(line).substr(tab + 1));
        setLabel(field, readInteger(valueText), name);
    }
}

// One name a line, for the values from 0 on.
void readPlainForm(ScalarField& field, const std::vector<Text>& lines) {
    for (std::size_t i = 0; i < lines.size(); ++i) setLabel(field, static_cast<std::int64_t>(i), lines[i]);
}

void reportLabelCount(const ScalarField& field) {
    const std::int64_t count = labelTableLength(field);
    if (count == 0) {
        writeLine("  Found nothing.");
    } else if (count == 1) {
        writeLine("  Found one label.");
    } else {
        writeTextLine("  Found " + integerToText(count) + " labels.");
    }
}

}  // namespace

void loadLabels(ScalarField& field, const Text& fileName) {
    // An atlas beside the file, as a volume "brain.nii" has "brain.atlas.xml".
    const Text atlasName = replaceExtension(fileName, ".atlas.xml");
    const Text chosen = fileExists(atlasName) ? atlasName : fileName;

    std::vector<ByteText> rawLines;
    FileHandle file;
    bool readable = readTextFile(file, chosen);
    if (readable) {
        ByteText line;
        while (file.readLine(line)) rawLines.push_back(line);
        // readLine ends quietly on a read error too; the pending result tells.
        if (reportIoError(shortenPath(file.name()))) readable = false;
        file.close();
    }
    if (!readable) {
        field.labels.clear();
        reportLabelCount(field);
        return;
    }

    if (!rawLines.empty()) {
        std::vector<Text> lines;
        lines.reserve(rawLines.size());
        for (const ByteText& raw : rawLines) lines.emplace_back(raw);
        field.labels.clear();
        if (isAtlasForm(lines)) {
            readAtlasForm(field, lines);
        } else if (lines.size() >= 2 && lines[0].lowerCase() == "index") {
            readIndexForm(field, rawLines);
        } else {
            readPlainForm(field, lines);
        }
    }
    reportLabelCount(field);
}

void saveLabels(const ScalarField& field, const Text& fileName) {
    if (field.labels.empty() || !hasPayload(field)) return;
    FileHandle file;
    if (!saveTextFile(file, fileName)) return;
    // Ditto marks are written as the names they stand for.
    for (std::int64_t value = 0; value <= labelTableLength(field); ++value) {
        const Text name = getLabel(field, value);
        if (!name.empty()) file.writeLine((integerToText(value) + "\t" + name).toUtf8());
    }
    file.close();
}

namespace {

// ---- commands ---------------------------------------------------------------------

ScalarField* fieldInUse() { return workspaces.scalars.current(); }

// scalar.labels.new, also scalar.labels.clean and scalar.labels.clear
void scalarLabelsNew() {
    if (ScalarField* field = fieldInUse()) field->labels.clear();
}

// n := scalar.labels.length
void scalarLabelsLength(MacroEngine& engine) {
    const ScalarField* field = fieldInUse();
    setResult(engine, integerToText(field == nullptr ? 0 : labelTableLength(*field)));
}

// scalar.label <value> <name>
void scalarLabel(MacroEngine& engine) {
    if (parameterCount(engine) != 2) {
        errorCountMin(engine, 2);
        return;
    }
    if (ScalarField* field = fieldInUse()) {
        setLabel(*field, integerOf(parameterOrEmpty(engine, 1)), parameterOrEmpty(engine, 2));
    }
}

// name := scalar.label <value>
void scalarLabelFunction(MacroEngine& engine) {
    if (parameterCount(engine) != 1) {
        errorCountMin(engine, 1);
        setResult(engine, Text());
        return;
    }
    const ScalarField* field = fieldInUse();
    if (field == nullptr) {
        setResult(engine, Text());
        return;
    }
    if (field->labels.empty()) {
        // The result stays as it was.
        writeTextLine("  No labels in: " + field->name.toText() + ".");
        return;
    }
    setResult(engine, getLabel(*field, integerOf(parameterOrEmpty(engine, 1))));
}

// scalar.labels.dump: every entry as stored, ditto marks included.
void scalarLabelsDump() {
    writeLine("***** dump.labels *****");
    const ScalarField* field = fieldInUse();
    if (field == nullptr || field->labels.empty()) {
        writeLine("  No labels.");
    } else {
        for (std::int64_t value = 0; value < labelTableLength(*field); ++value) {
            writeTextLine("   " + integerToText(value) + ": " + field->labels[static_cast<std::size_t>(value)]);
        }
    }
    writeLine("***** dump.labels end *****");
}

// scalar.load.labels <file>
void scalarLoadLabels(MacroEngine& engine) {
    if (parameterCount(engine) != 1) {
        errorCountExact(engine, 1);
        return;
    }
    const Text fileName = parameterOrEmpty(engine, 1);
    ScalarField* field = fieldInUse();
    if (fileName.empty() || field == nullptr) return;
    loadLabels(*field, fileName);
}

// scalar.save.labels <file>
void scalarSaveLabels(MacroEngine& engine) {
    if (parameterCount(engine) < 1) {
        errorCountExact(engine, 1);
        return;
    }
    const Text fileName = parameterOrEmpty(engine, 1);
    const ScalarField* field = fieldInUse();
    if (fileName.empty() || field == nullptr) return;
    saveLabels(*field, fileName);
}

// scalar.load.filter [<add> [<factor>]]: the two integers a volume load
// applies to stored values; a missing one is 0.
void scalarLoadFilter(MacroEngine& engine) {
    const std::int64_t count = parameterCount(engine);
    if (count > 2) {
        errorCountMax(engine, 2);
        return;
    }
    ScalarField* field = fieldInUse();
    if (field == nullptr) return;
    field->loadAdd = count >= 1 ? integerOf(parameterOrEmpty(engine, 1)) : 0;
    field->loadFactor = count >= 2 ? integerOf(parameterOrEmpty(engine, 2)) : 0;
}

// scalar.load.scale [<divisors>], also scalar.loadscale: the three divisors
// a float volume load applies on x, y and z. One parameter is read as a
// vector "<a, b, c>", two or three as one component each; a missing
// component reads 0, and a divisor of 0 counts as 1, so that no parameter
// at all resets the divisors to <1, 1, 1>.
void scalarLoadScale(MacroEngine& engine) {
    const std::int64_t count = parameterCount(engine);
    if (count > 3) {
        errorCountMax(engine, 3);
        return;
    }
    ScalarField* field = fieldInUse();
    if (field == nullptr) return;
    Vector3 divisors{};
    if (count == 1) {
        divisors = vector3Of(parameterOrEmpty(engine, 1));
    } else if (count >= 2) {
        divisors.x = realOf(parameterOrEmpty(engine, 1));
        divisors.y = realOf(parameterOrEmpty(engine, 2));
        divisors.z = count == 3 ? realOf(parameterOrEmpty(engine, 3)) : 0;
    }
    for (double* divisor : {&divisors.x, &divisors.y, &divisors.z}) {
        if (*divisor == 0) *divisor = 1;
    }
    field->loadScale = divisors;
}

}  // namespace

void registerLabelCommands(MacroEngine& engine) {
    setRegistrationPrefix(engine, "scalar.");
    registerProcedure        (engine, "labels.new",    scalarLabelsNew);
    registerProcedure        (engine, "labels.clean",  scalarLabelsNew);
    registerProcedure        (engine, "labels.clear",  scalarLabelsNew);
    registerVariableFunction (engine, "labels.length", scalarLabelsLength);
    registerDualCommand      (engine, "label",         scalarLabel, scalarLabelFunction);
    registerProcedure        (engine, "labels.dump",   scalarLabelsDump);
    registerOptionProcedure  (engine, "load.labels",   scalarLoadLabels);
    registerOptionProcedure  (engine, "save.labels",   scalarSaveLabels);
    registerOptionProcedure  (engine, "load.filter",   scalarLoadFilter);
    registerOptionProcedure  (engine, "load.scale",    scalarLoadScale);
    registerOptionProcedure  (engine, "loadscale",     scalarLoadScale);
    clearRegistrationPrefix(engine);
}

}  // namespace corvane
