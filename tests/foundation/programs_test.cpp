// Sub-programs: exit codes, start failures, waiting, and the program search.
#include "foundation/programs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <sys/resource.h>

#include "foundation/console.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;

// Fresh working directory and a captured console for each test.
class ProgramTest : public ::testing::Test {
protected:
    void SetUp() override { setIoResult(0); }

    // Console text written since the last call.
    std::string output() { return capture_.takeConsole(); }

    TemporaryWorkingDirectory directory_{"corvane-programs"};
    OutputCapture capture_{/*interactive=*/false, /*withLog=*/false};
};

double processorSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

using ProgramRun = ProgramTest;

TEST_F(ProgramRun, ExitCodeComesBack) {
    EXPECT_EQ(runProgram("/bin/true", {}), 0);
    EXPECT_EQ(runProgram("/bin/false", {}), 1);
    EXPECT_EQ(runProgram("/bin/sh", {"-c", "exit 7"}), 7);
    EXPECT_EQ(output(), "");
}

TEST_F(ProgramRun, ArgumentsArriveWhole) {
    EXPECT_EQ(runProgram("/bin/sh", {"-c", "test \"$1\" = 'two words' && test $# = 1", "sh", "two words"}), 0);
}

TEST_F(ProgramRun, ProgramThatCannotStartGivesNegativeResultAndReport) {
    EXPECT_LT(runProgram("missing-program", {}), 0);
    EXPECT_EQ(output(), "DOS-Error\n  File (missing-program) not found.\n");
    std::ofstream("not-executable") << "data";
    EXPECT_LT(runProgram("not-executable", {}), 0);
    EXPECT_EQ(output(), "DOS-Error\n  File (not-executable) access denied.\n");
}

TEST_F(ProgramRun, WaitingCostsNoProcessorTime) {
    const double before = processorSeconds();
    EXPECT_EQ(runProgram("/bin/sleep", {"0.3"}), 0);
    EXPECT_LT(processorSeconds() - before, 0.1);
}

using ProgramSearch = ProgramTest;

TEST_F(ProgramSearch, BareNameIsFoundInSystemDirectories) {
    const ByteText shell = resolveProgram("sh").toUtf8();
    EXPECT_TRUE(shell == "/bin/sh" || shell == "/usr/bin/sh") << shell;
    EXPECT_EQ(output(), "");
}

TEST_F(ProgramSearch, WorkingDirectoryComesFirst) {
    std::ofstream("sh") << "#!/bin/sh\n";
    EXPECT_EQ(resolveProgram("sh").toUtf8(), "sh");
}

TEST_F(ProgramSearch, NameWithSeparatorIsTakenAsItStands) {
    fs::create_directory("tools");
    std::ofstream("tools/run") << "#!/bin/sh\n";
    EXPECT_EQ(resolveProgram("tools\\run").toUtf8(), "tools/run");
    EXPECT_EQ(resolveProgram("/bin/sh").toUtf8(), "/bin/sh");
    EXPECT_EQ(output(), "");
    EXPECT_EQ(resolveProgram("tools/absent").toUtf8(), "tools/absent");
    EXPECT_EQ(output(), "Possible wrong binary (tools/absent)!\n");
}

TEST_F(ProgramSearch, MissingProgramIsNamedAndKept) {
    EXPECT_EQ(resolveProgram("no-such-tool-here").toUtf8(), "no-such-tool-here");
    EXPECT_EQ(output(), "Possible wrong binary (no-such-tool-here)!\n");
    outputSettings.interactive = true;
    resolveProgram("no-such-tool-here");
    EXPECT_EQ(output(), "\x1b[91mPossible wrong binary (no-such-tool-here)!\x1b[0m\n");
}

TEST_F(ProgramSearch, WindowsProgramsGoThroughWine) {
    const Text wine = resolveProgram("wine64");
    const std::string wineReport = output();
    EXPECT_EQ(resolveProgram("setup.EXE"), wine);
    EXPECT_EQ(resolveProgram("tool.com"), wine);
    EXPECT_EQ(output(), wineReport + wineReport);
}

}  // namespace
}  // namespace corvane
