// Start-up in its fixed order, the script run and the teardown.
#include "shell/entry.h"

#include <pthread.h>

#include <string>
#include <vector>

#include "engine/macroengine.h"
#include "engine/runloop.h"
#include "engine/variables.h"
#include "fields/workspaces.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/numbers.h"
#include "foundation/processor.h"
#include "foundation/progress.h"
#include "shell/commands.h"
#include "shell/options.h"
#include "shell/reference.h"

namespace corvane {

namespace {

constexpr std::int64_t bannerStartYear = 2017;
constexpr std::size_t interpreterStackBytes = std::size_t(4) << 30;  // reserved, touched as used
constexpr const char* programName = "corvane";
constexpr const char* firstRunFile = "corvane.macro";

// The process-wide records the entry owns for the length of one run.
struct ProgramState {
    OptionRecord options;
    MacroEngine engine;
    Text macroFile;
};

// Option values become macro variables at level 0, before any run.
void setVariable(ProgramState& state, const Text& name, const Text& value) {
    corvane::setVariable(state.engine, name, value);
}

// A value as a shell or an ini file may leave it: quotes off, double first.
Text stripQuotes(Text value) {
    for (const Char16 quote : {u'"', u'\''}) {
        if (value.at(value.length()) == quote) value = value.copy(1, value.length() - 1);
        if (value.at(1) == quote) value = value.copy(2, value.length());
    }
    return value;
}

void inputOption(ProgramState& state, const char* name, const char* description, const char* fallback) {
    setVariable(state, name, optionText(state.options, name, description, fallback));
}

void notes(const OptionRecord& options, std::initializer_list<const char*> lines) {
    for (const char* line : lines) note(options, line);
}

constexpr std::initializer_list<const char*> builtinImageFormats = {"PNM (PBM, PGM, PPM)", "BMP (DIB)"};
constexpr std::initializer_list<const char*> volumeFormats = {
    "HDR (IMG)           : Analyze 7.5",       "NII                 : NIfTI",
    "gz NII              : gzip NIfTI",        "PCR (VOL)           : PCR (PCA,PCP,PCT)",
    "MIF                 : MIF and MIFX",      "AM                  : Amira",
    "VTK                 : Visualization Toolkit", "VGL                 : VGStudio",
    "RAW                 : Raw file format",   "PNM (PBM, PGM, PPM) : Portable Anymap",
    "BMP (DIB)           : Windows Bitmap",    "IMGF (FRO, FRE)     : GE MR Signa 5.x",
};
constexpr std::initializer_list<const char*> fieldFormats = {
    "HDR (IMG)           : Analyze 7.5", "NII                 : NIfTI", "gz NII              : gzip NIfTI"};

void declareInputOptions(ProgramState& state) {
    OptionRecord& options = state.options;
    section(options, "Input Options");
    inputOption(state, "image.input", "inputfile(s) (image)", "image.ppm");
    notes(options, builtinImageFormats);
    inputOption(state, "scalar.input", "inputfile(s) (scalar field)", "scalar.nii.gz");
    notes(options, volumeFormats);
    inputOption(state, "vector.input", "inputfile(s) (vector field)", "vector.nii.gz");
    notes(options, fieldFormats);
    inputOption(state, "tensor.input", "inputfile(s) (tensor field)", "tensor.nii.gz");
    notes(options, fieldFormats);
    inputOption(state, "mesh.input", "inputfile (meshes)", "input.obj");
    notes(options, {"OBJ        (3) : Wavefront", "DXF        (4) : Autocad",
                    "VRML (WRL) (3) : Virtual Reality Meta Language", "IV         (3) : Inventor",
                    "ANYSURF    (3) : Anybody", "ASC        (1) : Ascii Pointclouds",
                    "CSV        (1) : Excel Pointclouds", "PRN        (1) : Calc Pointclouds"});
}

void declareTransformationOptions(ProgramState& state) {
    OptionRecord& options = state.options;
    section(options, "Transformation Options");
    setVariable(state, "mesh.split", integerToText(optionInteger(options, "mesh.split", "how much biggest objects", 0, 0, 100)));
    setVariable(state, "mesh.smooth", integerToText(optionInteger(options, "mesh.smooth", "how much smooth passes", 0, 0, 100)));
    setVariable(state, "mesh.rotate", vector3ToText(optionVector(options, "mesh.rotate", "rotate object (rad)", {0, 0, 0})));
    // The option feeds a variable of another name, on purpose.
    setVariable(state, "mesh.translate", vector3ToText(optionVector(options, "mesh.transform", "translate object", {0, 0, 0})));
    setVariable(state, "mesh.scale", vector3ToText(optionVector(options, "mesh.scale", "scale object", {1, 1, 1})));
}

void declareOutputOptions(ProgramState& state) {
    OptionRecord& options = state.options;
    section(options, "Output Options");
    inputOption(state, "image.type", "output filetype (image)", "png");
    notes(options, {"PNM (PBM, PGM, PPM)", "BMP (DIB)", "TGA", "TIF", "PNG"});
    inputOption(state, "scalar.type", "output filetype (scalar stack)", "nii.gz");
    notes(options, {"HDR", "NII", "gz NII", "PNM (PBM, PGM, PPM)", "BMP (DIB)", "TGA", "TIF", "PNG"});
    inputOption(state, "vector.type", "output filetype (vector stack)", "nii.gz");
    notes(options, {"HDR", "NII", "gz NII", "FLD", "AM"});
    inputOption(state, "tensor.type", "output filetype (tensor stack)", "nii.gz");
    notes(options, {"HDR", "NII", "gz NII", "NHDR", "NRRD"});
    setVariable(state, "mesh.type", optionText(options, "mesh.type", "output filetype (meshes)", "obj").lowerCase());
    notes(options, {"OBJ   (3) : Wavefront", "DXF   (4) : Autocad", "ASC   (1) : Ascii Pointclouds",
                    "CSV   (1) : Excel Pointclouds", "PRN   (1) : Calc Pointclouds", "POV   (4) : Pov-Ray",
                    "INC   (4) : Pov-Ray include file", "sPOV  (4) : Pov-Ray [smoothed vertex]",
                    "sINC  (4) : Pov-Ray [smoothed vertex]", "nPOV  (4) : Pov-Ray [vertex with normals]",
                    "nINC  (4) : Pov-Ray [vertex with normals]"});
}

void teardown() {
    writeTextLine("Done (" + elapsedSince(progress.programStart) + ").");
    flushOutput();
    stopLog();
}

}  // namespace

namespace {

int runOnThisThread(int argc, char** argv) {
    // 1. Runtime set-up; the processor facts come before anything else.
    markProgramStart();
    const ProcessorFacts processor = identifyProcessor();
    if (!hasRequiredSimd(processor)) {
        writeLine(missingSimdMessage);
        return 1;
    }
    ProgramState state;
    newMacroEngine(state.engine);
    std::vector<ByteText> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);

    // 5.-6. Banner and sources.
    OptionRecord& options = state.options;
    initOptions(options, arguments, programName, "Copyright by the corvane developers", bannerStartYear,
                "https://corvane.example.org/download");
    if (options.updateRequested) {
        runUpdate(options);
        return 0;
    }
    options.processorLine = coreLine(processor);
    options.featureLine = featureLine(processor);
    usage(options, "corvane [<options>]");

    // 7.-13. Declarations, in print order.
    const bool first = optionSwitch(options, "first", "Write first macro file example", false);
    state.macroFile = stripQuotes(optionFile(options, "macro", "macro file", firstRunFile));
    declareInputOptions(state);
    declareTransformationOptions(state);
    declareOutputOptions(state);
    example(options, "corvane -image.input=*.ppm -image.type=png");

    // 14.-15. Positional parameters.
    for (const PositionalParameter& parameter : positionalParameters(options))
        setVariable(state, "parameter." + parameter.name, parameter.value);
    const Text last = lastPositionalValue(options);
    if (!last.empty()) setVariable(state, "parameter.last", last);

    // 16. Finish the options: a bad one ends the run, help ends it too.
    if (reportBadOptions(options)) {
        flushOutput();
        stopLog();
        return 1;
    }
    if (options.helpMode) {
        flushOutput();
        stopLog();
        return 0;
    }
    newline();

    // 17. Worker threads as many as the processor has.
    setVariable(state, "thread.max", integerToText(static_cast<std::uint16_t>(processor.threadCount)));

    // 18.-19. The workspace lists with their DEFAULT entries, then the commands.
    resetWorkspaces();
    registerAllCommands(state.engine);

    // 20.-22. The macro file, or the first-run reference in its place.
    if (!first && fileExists(state.macroFile)) {
        loadMacroFile(state.engine.lines, state.macroFile);
    } else {
        writeFirstRunMacro(firstRunFile, options.version.toText());
        writeLine("This is your first run of the program, please specify the file corvane.macro!");
    }

    // 23. The run; a script error leaves the exit code at 0.
    runScript(state.engine);

    // 24. Teardown.
    freeMacroEngine(state.engine);
    releaseWorkspaces();
    teardown();
    return 0;
}

struct EntryCall {
    int argc;
    char** argv;
    int exitCode;
};

void* entryThread(void* argument) {
    auto* call = static_cast<EntryCall*>(argument);
    call->exitCode = runOnThisThread(call->argc, call->argv);
    return nullptr;
}

}  // namespace

int runCorvane(int argc, char** argv) {
    // Blocks and subroutine calls nest by recursion: the interpreter gets a
    // stack large enough for the deepest nesting the engine allows.
    EntryCall call{argc, argv, 0};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, interpreterStackBytes);
    pthread_t thread;
    const bool started = pthread_create(&thread, &attributes, entryThread, &call) == 0;
    pthread_attr_destroy(&attributes);
    if (!started) return runOnThisThread(argc, argv);
    pthread_join(thread, nullptr);
    return call.exitCode;
}

}  // namespace corvane
