// The volume file commands of the scalar, vector and tensor families: load
// and save dispatch by extension, the NIfTI loads with a stack, the header
// loads and the header dump.
#include "formats/volumefiles.h"

#include <type_traits>
#include <vector>

#include "engine/parameters.h"
#include "engine/registry.h"
#include "fields/workspaces.h"
#include "formats/imagefiles.h"
#include "formats/nifti.h"
#include "formats/volumestreams.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/numbers.h"
#include "foundation/paths.h"

namespace corvane {

namespace {

template <class Field>
VoxelKind defaultKindOf();
template <> VoxelKind defaultKindOf<ScalarField>() { return defaultKinds.scalar; }
template <> VoxelKind defaultKindOf<VectorField>() { return defaultKinds.vector; }
template <> VoxelKind defaultKindOf<TensorField>() { return defaultKinds.tensor; }

enum class Reader { none, file, gzip };

// "nii", "hdr", "img" and their gzip forms; later formats join here.
Reader readerFor(const Text& fileName) {
    const Text extension = formatExtension(fileName);
    if (extension == "nii" || extension == "hdr" || extension == "img") return Reader::file;
    if (extension == "nii.gz" || extension == "hdr.gz" || extension == "img.gz") return Reader::gzip;
    return Reader::none;
}

bool isNiftiSaveForm(const Text& extension) {
    return extension == "hdr" || extension == "nii" || extension == "nii.gz";
}

template <class Field>
void reportUnsupported(Field& field, const Text& fileName) {
    writeTextLine("  Unknown file format (" + fileName + ")! Create empty field.");
    newField(field, defaultKindOf<Field>());
    field.name = fileName;
}

// The file name and stack of a load: one or two parameters.
bool loadParameters(MacroEngine& engine, std::int64_t most, Text& fileName, std::int64_t& stack) {
    const std::int64_t count = parameterCount(engine);
    if (count < 1) {
        errorCountMin(engine, 1);
        return false;
    }
    if (count > most) {
        errorCountMax(engine, most);
        return false;
    }
    fileName = parameterOrEmpty(engine, 1);
    stack = count >= 2 ? integerOf(parameterOrEmpty(engine, 2)) : 1;
    return true;
}

template <class Field>
void load(MacroEngine& engine) {
    Text fileName;
    std::int64_t stack = 1;
    Field* field = workspaceList<Field>().current();
    if (!loadParameters(engine, 1, fileName, stack) || field == nullptr) return;
    const Reader reader = readerFor(fileName);
    if (reader == Reader::none) return reportUnsupported(*field, fileName);
    loadNifti(*field, defaultKindOf<Field>(), fileName, stack, reader == Reader::gzip);
}

template <class Field, bool gzip>
void loadNiftiCommand(MacroEngine& engine) {
    Text fileName;
    std::int64_t stack = 1;
    Field* field = workspaceList<Field>().current();
    if (!loadParameters(engine, 2, fileName, stack) || field == nullptr) return;
    loadNifti(*field, defaultKindOf<Field>(), fileName, stack, gzip);
}

bool headerParameter(MacroEngine& engine, Text& fileName, NiftiHeader& header) {
    if (parameterCount(engine) != 1) {
        errorCountExact(engine, 1);
        return false;
    }
    fileName = parameterOrEmpty(engine, 1);
    const Reader reader = readerFor(fileName);
    if (reader == Reader::none) {
        writeTextLine("  Unknown file format (" + fileName + ")!");
        return false;
    }
    return readNiftiHeader(fileName, reader == Reader::gzip, header);
}

// Matrix and offset of the field in use from a header; the voxels stay.
template <class Field>
void loadProperties(MacroEngine& engine) {
    Text fileName;
    NiftiHeader header;
    Field* field = workspaceList<Field>().current();
    if (field == nullptr || !headerParameter(engine, fileName, header)) return;
    const FieldGeometry geometry = niftiGeometry(header);
    setFieldGeometry(*field, geometry);
    reportTransformation(geometry);
}

// A zero field of the header's size and geometry, no voxels read.
template <class Field>
void loadFramework(MacroEngine& engine) {
    Text fileName;
    NiftiHeader header;
    Field* field = workspaceList<Field>().current();
    if (field == nullptr || !headerParameter(engine, fileName, header)) return;
    newField(*field, defaultKindOf<Field>(), header.dim[1], header.dim[2], header.dim[3]);
    const FieldGeometry geometry = niftiGeometry(header);
    setFieldGeometry(*field, geometry);
    field->name = fileName;
    reportTransformation(geometry);
}

// Scalar volumes under any other extension become one image per slice.
void saveOther(const ScalarField& field, const Text& fileName) { saveVolumeSlices(field, fileName); }
template <class Field>
void saveOther(const Field&, const Text& fileName) {
    writeTextLine("  Unknown file format (" + fileName + ")!");
}

void saveField(const ScalarField& field, const Text& fileName, const Text& form, MacroEngine&) {
    saveNifti(field, fileName, form);
}
void saveField(const TensorField& field, const Text& fileName, const Text& form, MacroEngine&) {
    saveNifti(field, fileName, form);
}
// A vector save may scale the components: one vector or three numbers.
void saveField(const VectorField& field, const Text& fileName, const Text& form, MacroEngine& engine) {
    const std::int64_t count = parameterCount(engine);
    Vector3 scale{1, 1, 1};
    if (count == 2) {
        scale = vector3Of(parameterOrEmpty(engine, 2));
    } else if (count >= 3) {
        scale = {realOf(parameterOrEmpty(engine, 2)), realOf(parameterOrEmpty(engine, 3)),
                 realOf(parameterOrEmpty(engine, 4))};
    }
    saveNifti(field, fileName, form, scale);
}

template <class Field>
void save(MacroEngine& engine) {
    constexpr std::int64_t most = std::is_same_v<Field, VectorField> ? 4 : 1;
    const std::int64_t count = parameterCount(engine);
    if (count < 1) return errorCountMin(engine, 1);
    if (count > most) return errorCountMax(engine, most);
    Field* field = workspaceList<Field>().current();
    if (field == nullptr) return;
    const Text fileName = parameterOrEmpty(engine, 1);
    const Text extension = formatExtension(fileName);
    if (isNiftiSaveForm(extension)) return saveField(*field, fileName, extension, engine);
    saveOther(*field, fileName);
}

// ---- header dump ---------------------------------------------------------------

// The raw block as the file holds it, without the opening rules of a load.
bool readRawHeader(const Text& fileName, bool gzip, NiftiHeaderBlock& block) {
    VolumeInput input;
    if (!input.open(fileName, gzip)) {
        writeTextLine("  Couldn't read File (" + fileName + ")!");
        return false;
    }
    block.fill(0);
    input.read(block.data(), static_cast<std::int64_t>(block.size()));  // a short file shows its size word
    return true;
}

// The dump lines of a file, or the line that says why there are none.
std::vector<Text> infoLines(const Text& fileName) {
    const Text extension = formatExtension(fileName);
    if (extension == "mdf" || extension == "mif" || extension == "mifx") return {"Not provided! (" + fileName + ")"};
    if (extension == "pcr") return {"Header file inside (" + fileNameWithoutExtension(fileName) + ".pcr)!"};
    if (extension == "vtk") return {"Not provided!"};
    if (extension == "am") {
        std::vector<Text> lines;
        FileHandle file;
        if (!readTextFile(file, fileName, SuccessLine::quiet)) return lines;
        ByteText line;
        while (file.readLine(line) && line.rfind("@1", 0) != 0) lines.push_back(Text::fromBytes(line));
        return lines;
    }
    const bool gzip = extension == "nii.gz";
    if (!gzip && extension.endsWith(Text("gz"))) return {"Zipped file not provided!"};
    if (!gzip && extension != "img" && extension != "hdr" && extension != "nii" && extension != "nifti") {
        return {"Not provided! (" + fileName + ")"};
    }
    const Text headerName = extension == "img" ? withFormatExtension(fileName, "hdr") : fileName;
    NiftiHeaderBlock block;
    if (!readRawHeader(headerName, gzip, block)) return {};
    const std::int32_t stored = storedHeaderSize(block);
    NiftiHeader header = decodeNiftiHeader(block, stored != 348);
    if (header.sizeofHdr != 348) {
        return {"Error (Header size = " + integerToText(stored) + ")! Not a nifti 1 file format!"};
    }
    return niftiHeaderDump(header);
}

bool infoParameters(MacroEngine& engine) {
    const std::int64_t count = parameterCount(engine);
    if (count < 1) errorCountMin(engine, 1);
    else if (count > 2) errorCountMax(engine, 2);
    return count >= 1 && count <= 2;
}

// info <file> [<output file>]: the dump on the console and in the log, or
// in the output file.
void info(MacroEngine& engine) {
    if (!infoParameters(engine)) return;
    const std::vector<Text> lines = infoLines(parameterOrEmpty(engine, 1));
    if (parameterCount(engine) == 1) {
        for (const Text& line : lines) writeTextLine(line);
        return;
    }
    FileHandle file;
    if (!saveTextFile(file, parameterOrEmpty(engine, 2))) return;
    for (const Text& line : lines) file.writeLine(line.toUtf8());
    file.close();
}

// a := scalar.info <file>: the dump as one text, lines joined by line feeds.
void infoFunction(MacroEngine& engine) {
    if (!infoParameters(engine)) return;
    Text text;
    for (const Text& line : infoLines(parameterOrEmpty(engine, 1))) text += (text.empty() ? Text() : Text("\n")) + line;
    setResult(engine, text);
}

template <class Field>
void registerFamily(MacroEngine& engine, const char* prefix) {
    setRegistrationPrefix(engine, prefix);
    registerOptionProcedure(engine, "load",            load<Field>);
    registerOptionProcedure(engine, "load.nii",        loadNiftiCommand<Field, false>);
    registerOptionProcedure(engine, "loadnii",         loadNiftiCommand<Field, false>);
    registerOptionProcedure(engine, "load.nii.gz",     loadNiftiCommand<Field, true>);
    registerOptionProcedure(engine, "loadnii.gz",      loadNiftiCommand<Field, true>);
    if constexpr (std::is_same_v<Field, ScalarField>) {
        registerOptionProcedure(engine, "load.hdr",    loadNiftiCommand<Field, false>);
        registerOptionProcedure(engine, "loadhdr",     loadNiftiCommand<Field, false>);
    }
    registerOptionProcedure(engine, "load.properties", loadProperties<Field>);
    registerOptionProcedure(engine, "load.framework",  loadFramework<Field>);
    registerOptionProcedure(engine, "save",            save<Field>);
    registerDualCommand    (engine, "info",            info, infoFunction);
    clearRegistrationPrefix(engine);
}

}  // namespace

void registerVolumeFileCommands(MacroEngine& engine) {
    registerFamily<ScalarField>(engine, "scalar.");
    registerFamily<VectorField>(engine, "vector.");
    registerFamily<TensorField>(engine, "tensor.");
}

}  // namespace corvane
