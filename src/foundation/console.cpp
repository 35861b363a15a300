// Console and log sinks, coloured spans, the log file and the I/O error report.
#include "foundation/console.h"

#include <string>

#include "foundation/numbers.h"

namespace corvane {

OutputSettings outputSettings;
OutputStreams outputStreams;

namespace {

thread_local int pendingIoResult = 0;
bool logFileOpen = false;  // the log stream is the file startLog opened

void toConsole(const ByteText& text) {
    if (outputSettings.consoleActive && outputStreams.console)
        std::fwrite(text.data(), 1, text.size(), outputStreams.console);
}

void toLog(const ByteText& text) {
    if (outputSettings.logActive && outputStreams.log)
        std::fwrite(text.data(), 1, text.size(), outputStreams.log);
}

void endLine() {
    toConsole("\n");
    if (outputSettings.logActive && outputStreams.log) {
        std::fputc('\n', outputStreams.log);
        std::fflush(outputStreams.log);
    }
}

}  // namespace

void newline() { endLine(); }

void write(const ByteText& text) {
    toConsole(text);
    toLog(text);
}

void writeLine(const ByteText& text) {
    write(text);
    endLine();
}

void writeLineBlank(const ByteText& text) {
    writeLine(text);
    endLine();
}

void writeText(const Text& text) { write(text.toUtf8()); }
void writeTextLine(const Text& text) { writeLine(text.toUtf8()); }
void writeTextLineBlank(const Text& text) { writeLineBlank(text.toUtf8()); }

void writeLogLine(const ByteText& text) {
    if (!outputSettings.logActive || !outputStreams.log) return;
    toLog(text);
    std::fputc('\n', outputStreams.log);
    std::fflush(outputStreams.log);
}

void writeConsole(const ByteText& text) { toConsole(text); }

void flushOutput() {
    if (outputStreams.console) std::fflush(outputStreams.console);
    if (outputStreams.log) std::fflush(outputStreams.log);
}

ByteText readLine() {
    if (!outputSettings.interactive || !outputStreams.input) return {};
    flushOutput();
    ByteText line;
    for (;;) {
        const int c = std::fgetc(outputStreams.input);
        if (c == EOF || c == '\n') break;
        line += static_cast<char>(c);
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

void pressEnter() {
    write("*** press enter ***");
    readLine();
}

ByteText colored(const ByteText& text, ConsoleColor color) {
    if (!outputSettings.interactive) return text;
    return "\x1b[" + std::to_string(static_cast<int>(color)) + "m" + text + "\x1b[0m";
}

void writeColored(const ByteText& text, ConsoleColor color) {
    toConsole(colored(text, color));
    toLog(text);
}

void writeColoredLine(const ByteText& text, ConsoleColor color) {
    writeColored(text, color);
    endLine();
}

bool startLog(const Text& programName) {
    stopLog();
    const ByteText name = (programName + ".log").toUtf8();
    std::FILE* file = std::fopen(name.c_str(), "w");
    if (!file) return false;
    outputStreams.log = file;
    logFileOpen = true;
    outputSettings.logActive = true;
    return true;
}

void stopLog() {
    // A stream put there by someone else is theirs to close.
    if (logFileOpen && outputStreams.log) {
        std::fclose(outputStreams.log);
        outputStreams.log = nullptr;
    }
    logFileOpen = false;
    outputSettings.logActive = false;
}

void setIoResult(int code) { pendingIoResult = code; }
int peekIoResult() { return pendingIoResult; }

ByteText ioErrorClass(int code) {
    if (code >= 2 && code <= 17) return "DOS-Error";
    if (code >= 100 && code <= 106) return "I/O-Error";
    if (code >= 150 && code <= 162) return "Fatal-Error";
    return "\?\?\?-Error";
}

ByteText ioErrorDetail(int code, const Text& name) {
    const ByteText n = name.toUtf8();
    switch (code) {
        case 2: return "  File (" + n + ") not found.";
        case 3: return "  Path (" + n + ") not found.";
        case 4: return "  Too many open files with (" + n + ").";
        case 5: return "  File (" + n + ") access denied.";
        case 6: return "  Invalid file (" + n + ") handle.";
        case 12: return "  Invalide file (" + n + ") access code.";  // verbatim
        case 15: return "  Invalide drive (" + n + ") number.";      // verbatim
        case 16: return "  Cannot remove current directory (" + n + ").";
        case 17: return "  Cannot rename across drives (" + n + ").";
        case 100: return "  Disk (" + n + ") read error.";
        case 101: return "  Disk (" + n + ") write error.";
        case 102: return "  File (" + n + ") not assigned.";
        case 103: return "  File (" + n + ") not open.";
        case 104: return "  File (" + n + ") not open for input.";
        case 105: return "  File (" + n + ") not open for output.";
        case 106: return "  Invalid numeric format from (" + n + ").";
        case 150: return "  Disk (" + n + ") is write-protected.";
        case 151: return "  Bad drive (" + n + ") request struct length.";
        case 152: return "  Drive (" + n + ") not ready.";
        case 153: return "  Unknown command (" + n + ").";
        case 154: return "  CRC error in data (" + n + ").";
        case 155: return "  Invalid drive (" + n + ") specified.";
        case 156: return "  Disk (" + n + ") seek error.";
        case 157: return "  Unknown media type (" + n + ").";
        case 158: return "  Sector Not Found (" + n + ").";
        case 159: return "  Printer (" + n + ") out of paper.";
        case 160: return "  Device (" + n + ") write fault.";
        case 161: return "  Device (" + n + ") read fault.";
        case 162: return "  Hardware (" + n + ") failure.";
        default: return "  Error number: " + std::to_string(code) + " from " + n;
    }
}

bool reportIoError(const Text& name) {
    const int code = pendingIoResult;
    pendingIoResult = 0;
    if (code == 0) return false;
    writeColoredLine(ioErrorClass(code), ConsoleColor::red);
    writeLine(ioErrorDetail(code, name));
    return true;
}

}  // namespace corvane
