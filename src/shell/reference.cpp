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
    {"wait",           "wait 0.25",                "sleeps the seconds, rounded to milliseconds"},
    {"sleep",          "sleep 0.25",               "sleeps the seconds, rounded to milliseconds"},
    {"delay",          "delay 0.25",               "sleeps the seconds, rounded to milliseconds"},
    {"progress",       "progress \"Filtering\" 40", "percent line: text and percent; without parameters it ends"},
    {"run",            "run \"sub.macro\"",         "runs a macro file in an engine of its own, without commands"},
    {"min",            "min a b 3",                "x := min a b 3: the smallest number"},
    {"max",            "max a b 3",                "x := max a b 3: the largest number"},
    {"minmax",         "minmax 0 a 255",           "x := minmax low value high: the value limited to low and high"},
    {"bin.to.txt",     "bin.to.txt 1011",          "x := bin.to.txt 1011: binary digits to decimal text (11)"},
    {"binary.to.text", "binary.to.text 1011",      "x := binary.to.text 1011: binary digits to decimal text (11)"},
    // random
    {"random.range",     "random.range 0.5 2",  "x := random.range low high: a real in the range"},
    {"random.range.nat", "random.range.nat 1 6", "x := random.range.nat low high: an integer from low to high"},
    {"random",           "random",              "a real r in 0 up to 1"},
    {"random2",          "random2",             "a 2-vector of reals in 0 up to 1"},
    {"random3",          "random3",             "a 3-vector of reals in 0 up to 1"},
    {"random4",          "random4",             "a 4-vector of reals in 0 up to 1"},
    {"random.full",      "random.full",         "a real 2r - 1 in -1 up to 1"},
    {"random2.full",     "random2.full",        "a 2-vector of reals in -1 up to 1"},
    {"random3.full",     "random3.full",        "a 3-vector of reals in -1 up to 1"},
    {"random4.full",     "random4.full",        "a 4-vector of reals in -1 up to 1"},
    {"random.byte",      "random.byte",         "an integer below 256"},
    {"random.gray",      "random.gray",         "an integer below 256"},
    {"random.word",      "random.word",         "an integer below 65536"},
    {"random.fullgray",  "random.fullgray",     "an integer below 65536"},
    {"random.rgb",       "random.rgb",          "a colour: three integers below 256"},
    {"random.rgba",      "random.rgba",         "a colour: four integers below 256"},
    // time
    {"timer.start", "timer.start",   "starts the stop watch"},
    {"timer.get",   "timer.get",     "x := timer.get: the time since timer.start"},
    {"hour",        "hour",          "hour of the present time"},
    {"minute",      "minute",        "minute of the present time"},
    {"second",      "second",        "second of the present time"},
    {"milliscond",  "milliscond",    "millisecond of the present time"},
    {"timestamp",   "timestamp",     "hour:minute:second:millisecond"},
    {"year",        "year",          "year of the present date"},
    {"month",       "month",         "month of the present date"},
    {"day",         "day",           "day of the present date"},
    {"weekday",     "weekday",       "name of the day: Sunday, Monday, ..."},
    {"leapyear",    "leapyear 2024", "x := leapyear 2024: 1 or 0"},
    {"datestamp",   "datestamp",     "year_month_day"},
    // stack
    {"stack",           "stack 1 2 + dup *",           "postfix calculator on <a, b, c, d> values: : § + - * / ² ³ ^ | % ° o x d sd neg inv log sin cos tan arcsin arccos arctan min max sum mean var mod /mod dup over swap rot drop; min and max compare elements by their norm"},
    {"stack.length",    "stack.length",                "elements on the calculator stack"},
    {"stack.size",      "stack.size",                  "elements on the calculator stack"},
    {"stack.clean",     "stack.clean",                 "empties the calculator stack"},
    {"stack.clear",     "stack.clear",                 "empties the calculator stack"},
    {"stack.flip",      "stack.flip",                  "reverses the calculator stack"},
    // math.
    {"math.scientific", "math.scientific on",          "numbers print in exponent form"},
    {"math.decimal",    "math.decimal off",            "off: ',' is the decimal separator and vectors print with \"; \""},
    {"math.digit",      "math.digit on",               "integers print grouped in threes"},
    {"math.leading",    "math.leading 3",              "stored setting"},
    {"math.trailing",   "math.trailing 3",             "stored setting"},
    {"math.degree",     "math.degree on",              "stored setting"},
    {"math.vector",     "math.vector on",              "text mesh readers read vectors"},
    {"math.matrix",     "math.matrix on",              "stored setting"},
    {"math.minnorm",    "math.minnorm <1, 2, 4> <2, 2>", "each vector divided by its smallest component"},
    {"math.norm",       "math.norm <3, 4> <0, 1>",     "each vector divided by its length"},
    {"math.maxnorm",    "math.maxnorm <1, 2, 4>",      "each vector divided by its largest component"},
    {"math.length",     "math.length <3, 4>",          "length of each vector"},
    {"math.angle",      "math.angle <1, 0> <0, 1>",    "angle between two vectors in radians"},
    // quaternions <w, x, y, z>
    {"quat",                "quat <0, 0, 1> 90\u00b0",            "quaternion of a rotation about an axis"},
    {"quat.vector",         "quat.vector q",                  "axis of a quaternion"},
    {"quat.angle",          "quat.angle q",                   "angle of a quaternion"},
    {"quat.conjugate",      "quat.conjugate q",               "conjugate quaternion"},
    {"quat.mul",            "quat.mul q1 q2",                 "Hamilton product q2 q1"},
    {"quat.join",           "quat.join q1 q2",                "Hamilton product q1 q2"},
    {"quat.transform",      "quat.transform q <1, 0, 0>",     "vector rotated by the quaternion"},
    {"matrix2quat",         "matrix2quat \"1 0 0; 0 1 0; 0 0 1\"", "quaternion of a rotation matrix"},
    {"quat2matrix",         "quat2matrix q",                  "3-by-3 rotation matrix of a quaternion"},
    // matrices: 16 numbers in column order or one text of rows cut at ';'
    {"matrix",              "matrix <1, 0, 0> <0, 1, 0> <0, 0, 1> <5, 0, 0> <2, 2, 2>", "4-by-4 from its rows over the unit matrix; five vectors: three rotation rows, translation, row scales"},
    {"matrix.trace",        "matrix.trace m",                 "the diagonal"},
    {"matrix.v1",           "matrix.v1 m",                    "first row"},
    {"matrix.v2",           "matrix.v2 m",                    "second row"},
    {"matrix.v3",           "matrix.v3 m",                    "third row"},
    {"matrix.v4",           "matrix.v4 m",                    "fourth row"},
    {"matrix.rotation",     "matrix.rotation m3",             "3-by-3 with its rows made unit length"},
    {"matrix.rotation.get", "matrix.rotation.get m",          "upper 3-by-3"},
    {"matrix.scale",        "matrix.scale m <2, 2, 2>",       "scale matrix, or the rows of m scaled"},
    {"matrix.scale.get",    "matrix.scale.get m",             "lengths of the three upper rows"},
    {"matrix.move",         "matrix.move m <1, 2, 3>",        "translation matrix, or m with the translation set"},
    {"matrix.move.get",     "matrix.move.get m",              "translation of a 4-by-4"},
    {"matrix.eigen",        "matrix.eigen m3",                "eigenvalues of a symmetric 3-by-3"},
    {"matrix.e1",           "matrix.e1 m3",                   "largest eigenvalue"},
    {"matrix.e2",           "matrix.e2 m3",                   "middle eigenvalue"},
    {"matrix.e3",           "matrix.e3 m3",                   "smallest eigenvalue"},
    {"matrix.ev1",          "matrix.ev1 m3",                  "eigenvector of the first eigenvalue"},
    {"matrix.ev2",          "matrix.ev2 m3",                  "eigenvector of the second eigenvalue"},
    {"matrix.ev3",          "matrix.ev3 m3",                  "eigenvector of the third eigenvalue"},
    {"matrix.fa",           "matrix.fa m3",                   "fractional anisotropy of the eigenvalues"},
    {"matrix.transpose",    "matrix.transpose m",             "transpose"},
    {"matrix.inverse",      "matrix.inverse m",               "inverse, zero when singular"},
    {"matrix.join",         "matrix.join m1 m2",              "product m1 m2"},
    {"matrix.transform",    "matrix.transform m <1, 2, 3>",   "point transformed with w = 1"},
    {"matrix.vector",       "matrix.vector m",                "the four rows as vectors"},
    {"matrix.space",        "matrix.space m",                 "the twelve numbers of the upper rows: three axes with their offsets"},
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
