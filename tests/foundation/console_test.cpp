// Console and log sinks, colours, reading lines and the I/O error report.
#include "foundation/console.h"

#include <gtest/gtest.h>

#include "support/outputcapture.h"

namespace corvane {
namespace {

TEST(ConsoleWriters, EveryWriterReachesBothSinks) {
    OutputCapture capture;
    write("a");
    writeLine("b");
    writeLineBlank("c");
    writeText("€");
    writeTextLine(Text("d"));
    newline();
    const std::string expected = "ab\nc\n\n€d\n\n";
    EXPECT_EQ(capture.console(), expected);
    EXPECT_EQ(capture.log(), expected);
}

TEST(ConsoleWriters, SinksAreIndependent) {
    OutputCapture capture;
    outputSettings.consoleActive = false;
    writeLine("log only");
    outputSettings.consoleActive = true;
    outputSettings.logActive = false;
    writeLine("console only");
    outputSettings.logActive = true;
    writeLogLine("  Allocate first : 8 Bytes (1 * 8)");
    writeConsole("transient\r");
    EXPECT_EQ(capture.console(), "console only\ntransient\r");
    EXPECT_EQ(capture.log(), "log only\n  Allocate first : 8 Bytes (1 * 8)\n");
}

TEST(ConsoleColours, EscapesOnlyOnAnInteractiveConsole) {
    {
        OutputCapture capture(/*interactive=*/true);
        writeColoredLine("Error", ConsoleColor::red);
        writeColored("ok", ConsoleColor::green);
        EXPECT_EQ(capture.console(), "\x1b[91mError\x1b[0m\n\x1b[32mok\x1b[0m");
        EXPECT_EQ(capture.log(), "Error\nok");
    }
    {
        OutputCapture capture(/*interactive=*/false);
        writeColoredLine("Error", ConsoleColor::purple);
        EXPECT_EQ(capture.console(), "Error\n");
    }
    OutputCapture capture(/*interactive=*/true);
    EXPECT_EQ(colored("x", ConsoleColor::blue), "\x1b[34mx\x1b[0m");
    EXPECT_EQ(colored("x", ConsoleColor::yellow), "\x1b[33mx\x1b[0m");
    EXPECT_EQ(colored("x", ConsoleColor::cyan), "\x1b[36mx\x1b[0m");
}

TEST(ConsoleInput, ReadLineOnlyWhenInteractive) {
    char text[] = "first line\r\nsecond";
    std::FILE* input = fmemopen(text, sizeof text - 1, "r");
    OutputCapture capture(/*interactive=*/true);
    outputStreams.input = input;
    EXPECT_EQ(readLine(), "first line");
    outputSettings.interactive = false;
    EXPECT_EQ(readLine(), "");  // at once, nothing consumed
    outputSettings.interactive = true;
    EXPECT_EQ(readLine(), "second");
    EXPECT_EQ(readLine(), "");  // end of input
    pressEnter();
    EXPECT_EQ(capture.console(), "*** press enter ***");
    std::fclose(input);
}

TEST(IoErrorReport, ClassAndDetailLines) {
    struct Case {
        int code;
        const char* lines;
    };
    const Case cases[] = {
        {2, "DOS-Error\n  File (x.nii) not found.\n"},
        {3, "DOS-Error\n  Path (x.nii) not found.\n"},
        {5, "DOS-Error\n  File (x.nii) access denied.\n"},
        {12, "DOS-Error\n  Invalide file (x.nii) access code.\n"},
        {18, "?\?\?-Error\n  Error number: 18 from x.nii\n"},
        {100, "I/O-Error\n  Disk (x.nii) read error.\n"},
        {101, "I/O-Error\n  Disk (x.nii) write error.\n"},
        {106, "I/O-Error\n  Invalid numeric format from (x.nii).\n"},
        {107, "?\?\?-Error\n  Error number: 107 from x.nii\n"},
        {150, "Fatal-Error\n  Disk (x.nii) is write-protected.\n"},
        {162, "Fatal-Error\n  Hardware (x.nii) failure.\n"},
        {1, "?\?\?-Error\n  Error number: 1 from x.nii\n"},
        {1028, "?\?\?-Error\n  Error number: 1028 from x.nii\n"},
    };
    for (const Case& c : cases) {
        OutputCapture capture;
        setIoResult(c.code);
        EXPECT_TRUE(reportIoError("x.nii"));
        EXPECT_EQ(capture.console(), c.lines) << c.code;
        EXPECT_EQ(peekIoResult(), 0);
    }
}

TEST(IoErrorReport, ColouredClassAndNothingWithoutError) {
    OutputCapture capture(/*interactive=*/true);
    EXPECT_FALSE(reportIoError("x"));
    EXPECT_EQ(capture.console(), "");
    setIoResult(2);
    EXPECT_TRUE(reportIoError("x"));
    EXPECT_EQ(capture.console(), "\x1b[91mDOS-Error\x1b[0m\n  File (x) not found.\n");
    EXPECT_EQ(capture.log(), "DOS-Error\n  File (x) not found.\n");
}

TEST(LogFile, NamedAfterTheProgramInTheWorkingDirectory) {
    const OutputSettings savedSettings = outputSettings;
    const OutputStreams savedStreams = outputStreams;
    char directory[] = "/tmp/corvane-log-XXXXXX";
    ASSERT_NE(mkdtemp(directory), nullptr);
    const std::string name = std::string(directory) + "/prog";
    outputSettings.consoleActive = false;
    ASSERT_TRUE(startLog(Text(name)));
    EXPECT_TRUE(outputSettings.logActive);
    writeLine("first");
    // Flushed by line: the text is on disk before the log is closed.
    std::FILE* reader = std::fopen((name + ".log").c_str(), "r");
    ASSERT_NE(reader, nullptr);
    char buffer[16] = {};
    EXPECT_EQ(std::fread(buffer, 1, sizeof buffer - 1, reader), 6u);
    EXPECT_STREQ(buffer, "first\n");
    std::fclose(reader);
    stopLog();
    EXPECT_FALSE(outputSettings.logActive);
    EXPECT_FALSE(startLog(Text(std::string(directory) + "/missing/prog")));
    EXPECT_FALSE(outputSettings.logActive);
    std::remove((name + ".log").c_str());
    rmdir(directory);
    outputSettings = savedSettings;
    outputStreams = savedStreams;
}

}  // namespace
}  // namespace corvane
