// Arbitrary bytes as a macro run with the general commands: every run must
// end without a crash, whatever its lines do, including an include that
// splices a file into itself again and again.
#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "engine/macroengine.h"
#include "engine/runloop.h"
#include "engine/scriptmodel.h"
#include "foundation/console.h"
#include "libraries/general.h"

using namespace corvane;

// A fuzzed line may name any program for execute; none is started.
extern "C" int posix_spawn(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                           char* const[], char* const[]) {
    return ENOENT;
}
extern "C" int posix_spawnp(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                            char* const[], char* const[]) {
    return ENOENT;
}

namespace {

// The language has no guard against endless splicing and deep nesting is
// limited only by the stack; a run is stopped well before either matters.
constexpr std::int64_t maxLinesRun = 100000;
constexpr std::int64_t maxGrowth = 5000;  // lines an input may add by include
constexpr std::int64_t maxLevel = 400;
constexpr auto maxRunTime = std::chrono::seconds(2);  // each execute line waits 100 ms

// Each input runs in a private directory a few levels deep, so that files
// the script stores, also under "../", stay inside it; the macro file is "f"
// there. Between inputs the fuzzer's own directory is current again, for its
// relative corpus paths.
std::filesystem::path scratchRoot;
std::filesystem::path scratchWork;
std::filesystem::path fuzzerDirectory;
const char* const macroName = "f";

MacroEngine engine;
std::int64_t linesRun = 0;
std::int64_t lineLimit = 0;
std::chrono::steady_clock::time_point runStart;

void removeScratch() {
    std::error_code ignored;
    std::filesystem::remove_all(scratchRoot, ignored);
}

// A crash inside a run leaves the scratch directory current, so artifacts
// get an absolute prefix unless one was given.
void addArtifactPrefix(int* argc, char*** argv) {
    static std::vector<char*> arguments;
    static std::string prefix;
    bool given = false;
    for (int i = 0; i < *argc; ++i) {
        const std::string argument = (*argv)[i];
        if (argument.rfind("-artifact_prefix=", 0) == 0 || argument.rfind("-exact_artifact_path=", 0) == 0)
            given = true;
        arguments.push_back((*argv)[i]);
    }
    if (!given && *argc > 0) {
        prefix = "-artifact_prefix=" + fuzzerDirectory.string() + "/";
        arguments.insert(arguments.begin() + 1, prefix.data());
    }
    arguments.push_back(nullptr);
    *argc = static_cast<int>(arguments.size()) - 1;
    *argv = arguments.data();
}

void guardLine() {
    ++linesRun;
    if (linesRun > maxLinesRun || engine.lines.lineCount() > lineLimit || engine.level > maxLevel ||
        ((linesRun & 63) == 0 && std::chrono::steady_clock::now() - runStart > maxRunTime)) {
        engine.stopFlag = true;
    }
}

void returnFromHalt(MacroEngine&, int) {}

bool writeMacro(const std::uint8_t* data, std::size_t size) {
    std::FILE* file = std::fopen(macroName, "wb");
    if (!file) return false;
    const bool written = size == 0 || std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    fuzzerDirectory = std::filesystem::current_path();
    scratchRoot = "/tmp/corvane-fuzz-engine-" + std::to_string(::getpid());
    scratchWork = scratchRoot / "a" / "b" / "c";
    std::filesystem::create_directories(scratchWork);
    std::atexit(removeScratch);
    addArtifactPrefix(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::error_code failed;
    std::filesystem::current_path(scratchWork, failed);
    if (failed) __builtin_trap();
    outputSettings.consoleActive = false;
    outputSettings.logActive = false;
    outputSettings.interactive = false;
    storeSpace = Text();
    if (writeMacro(data, size)) {
        newMacroEngine(engine);
        registerGeneralCommands(engine);
        engine.haltProcess = returnFromHalt;
        engine.lineHook = guardLine;
        if (loadMacroFile(engine.lines, macroName)) {
            linesRun = 0;
            lineLimit = engine.lines.lineCount() + maxGrowth;
            runStart = std::chrono::steady_clock::now();
            runScript(engine);
        }
        // Closes what the run left open.
        freeMacroEngine(engine);
    }
    std::filesystem::current_path(fuzzerDirectory, failed);
    if (failed) __builtin_trap();
    return 0;
}
