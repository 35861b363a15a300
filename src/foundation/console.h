// Console and log: the two sinks every report of the system goes through,
// coloured spans, the log file and the pending I/O result report.
#pragma once

#include <cstdio>

#include "foundation/text.h"

namespace corvane {

struct OutputSettings {
    bool logActive = false;     // lines also go to the log file
    bool consoleActive = true;  // lines go to standard output
    bool interactive = true;    // colours and waiting for enter allowed; -strict clears it
};
extern OutputSettings outputSettings;

// The streams behind the sinks. Tests may point them elsewhere.
struct OutputStreams {
    std::FILE* console = stdout;
    std::FILE* input = stdin;
    std::FILE* log = nullptr;
};
extern OutputStreams outputStreams;

// Writers: each writes to every active sink and never fails.
void newline();
void write(const ByteText& text);
void writeLine(const ByteText& text);
void writeLineBlank(const ByteText& text);
void writeText(const Text& text);
void writeTextLine(const Text& text);
void writeTextLineBlank(const Text& text);
// Log only: the memory lines have no console twin.
void writeLogLine(const ByteText& text);
// Console only, for the progress line and other transient output.
void writeConsole(const ByteText& text);
void flushOutput();

// Reads one line from standard input when interactive; otherwise, and at
// the end of input, yields empty at once.
ByteText readLine();
// "*** press enter ***", then waits for a line when interactive.
void pressEnter();

enum class ConsoleColor { red = 91, green = 32, blue = 34, yellow = 33, cyan = 36, purple = 35 };
// The console gets "\x1b[" code "m" text "\x1b[0m" when interactive; the log
// and a non-interactive console get the plain text.
ByteText colored(const ByteText& text, ConsoleColor color);
void writeColored(const ByteText& text, ConsoleColor color);
void writeColoredLine(const ByteText& text, ConsoleColor color);

// Log file named program + ".log" in the working directory, flushed by line.
bool startLog(const Text& programName);
void stopLog();

// Pending I/O result, in the classic DOS numbering: 2 file not found,
// 3 path not found, 4 too many open files, 5 access denied, 100 read error,
// 101 write error, 150 write-protected, ... 0 means no error.
void setIoResult(int code);
int peekIoResult();
// Reads and clears the pending result; on an error prints the class line
// and the detail line for `name` and yields true.
bool reportIoError(const Text& name);
// The class word of a code, "DOS-Error", "I/O-Error" and so on.
ByteText ioErrorClass(int code);
ByteText ioErrorDetail(int code, const Text& name);

}  // namespace corvane
