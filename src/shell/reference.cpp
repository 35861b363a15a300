// Command reference table and the first-run macro file.
#include "shell/reference.h"

#include <cstdio>
#include <string>

namespace corvane {

namespace {

// verbatim: the executable head and the notes of the first-run file.
constexpr const char* fileHead[] = {
    "// corvane.macro: the command list of corvane, written on its first run.",
    "// Every line behind halt is an example of one command; nothing there is run.",
    "// corvane 2017-2026, console batch processing of images, volumes, meshes and lines.",
    "",
    "io.file.remove \"corvane.macro\" // remove old command list",
    "execute ./corvane // make new command list",
    "halt // Do not interpret the rest",
    "",
    "// @variable denotes builtin variables.",
    // One line of the file, too long for one line here.
    ("// Assignment := are only used if the stack type is the same (image := image.func) or a result (10 := "
     "image.func)."),
};

constexpr const char* fileEnd = "// For more line commands, look at Fenwy2!";

// One row per registered command, grouped by family in registration order.
constexpr ReferenceLine reference[] = {
    // general
    {"debug",        "debug",                        "trace every statement on the console"},
    {"debug.no",     "debug.no",                     "no trace"},
    {"nop",          "nop",                          "does nothing"},
    {"stop",         "stop",                         "stops the script"},
    {"write",        "write \"a = \" a",             "writes its parameters, no line end"},
    {"write.tab",    "write.tab",                    "writes a tab"},
    {"writeln",      "writeln \"a = \" a",           "writes its parameters and ends the line"},
    {"print",        "print \"a = \" a",             "writes its parameters and ends the line"},
    {"echo",         "echo \"a = \" a",              "writes its parameters and ends the line"},
    {"print.red",    "print.red \"failed: \" name",  "print in red"},
    {"print.green",  "print.green \"done\"",         "print in green"},
    {"print.blue",   "print.blue a",                 "print in blue"},
    {"print.yellow", "print.yellow a",               "print in yellow"},
    {"print.cyan",   "print.cyan a",                 "print in cyan"},
    {"print.purple", "print.purple a",               "print in purple"},
    // dump.
    {"dump.xml",        "dump.xml",        "all tables of the engine"},
    {"dump.line",       "dump.line",       "the macro lines with their source lines"},
    {"dump.used",       "dump.used",       "every command with the count of its calls"},
    {"dump.prog",       "dump.prog",       "commands, procedures and functions"},
    {"dump.func",       "dump.func",       "commands, procedures and functions"},
    {"dump.modulus",    "dump.modulus",    "open modules"},
    {"dump.modul",      "dump.modul",      "open modules"},
    {"dump.var",        "dump.var",        "all variables with their scope"},
    {"dump.var.scope",  "dump.var.scope",  "the variables of the script"},
    {"dump.vars.scope", "dump.vars.scope", "the variables of the script"},
    {"dump.with",       "dump.with",       "open with prefixes"},
    {"dump.output",     "dump.output",     "open output files"},
    {"dump.stack",      "dump.stack",      "the names of the open blocks"},
    {"dump.undo",       "dump.undo",       "undo and redo lists"},
    {"dump.dump.redo",  "dump.dump.redo",  "undo and redo lists"},
    {"dump.all",        "dump.all",        "all tables of the engine"},
    {nullptr, nullptr, nullptr},
};

}  // namespace

std::span<const ReferenceLine> commandReference() {
    return std::span<const ReferenceLine>(reference, sizeof reference / sizeof reference[0] - 1);
}

bool writeFirstRunMacro(const Text& path, const Text& version) {
    std::FILE* file = std::fopen(path.toUtf8().c_str(), "w");
    if (!file) return false;
    std::string text = "//!./corvane // Version: " + version.toUtf8() + "\n";
    for (const char* line : fileHead) text += std::string(line) + "\n";
    for (const ReferenceLine& row : commandReference())
        text += std::string(row.example) + " // " + row.help + "\n";
    text += std::string(fileEnd) + "\n";
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && written;
}

}  // namespace corvane
