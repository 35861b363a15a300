// Script model: the LineTable that holds a macro file as text lines, the
// loading of plain and gzip macro files, the splice of an include file, and
// the reading of one line up to its split into command word and remainder.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/text.h"

namespace corvane {

// A macro file as lines. The whole file stays in one buffer; each line end
// (LF, CR LF or a lone CR) is overwritten by zero bytes, so every line is a
// zero-terminated piece of the buffer and stays in place. When the last line
// of a file has no line end, one zero byte is appended behind it.
//
// The starts and lengths are the only record of where lines are. A zero byte
// that was already in the file is no line end: it stays inside its line,
// counts in its length and reads as character 0. For that reason the buffer
// is never rescanned for zero bytes after loading; a splice moves the line
// records along with the bytes.
//
// Line indices on the accessors count from 1; the lists themselves are
// 0-based, entry i holding line i + 1.
struct LineTable {
    std::string buffer;                   // file bytes, line ends zeroed
    Text fileName;                        // name it was loaded from, as given
    std::vector<std::int64_t> lineStarts;   // byte offset into buffer, per line
    std::vector<std::int64_t> lineLengths;  // bytes, line end not counted
    // Empty until the first include; then one entry per line.
    std::vector<std::int64_t> sourceLines;  // 1-based line in its source file
    std::vector<std::int64_t> sourceFiles;  // 1-based number into sourceNames
    // Entry 0 (source 1) is the main file, then one entry per include.
    std::vector<ShortText> sourceNames;
    std::int64_t lastSource = 0;  // number of the source last added; 0 before any include
    // Moves with every load and splice, so that readers can tell when
    // what they keep about lines no longer holds.
    std::uint64_t generation = nextGeneration();

    static std::uint64_t nextGeneration() {
        static std::uint64_t counter = 0;
        return ++counter;
    }

    std::int64_t lineCount() const { return static_cast<std::int64_t>(lineStarts.size()); }
    // UTF-8 decoded; out of range gives empty text.
    Text lineText(std::int64_t index) const;
    // Line number in the file the line came from: before any include the
    // index itself, out of range 0.
    std::int64_t sourceLine(std::int64_t index) const;
    // Name of the file the line came from: before any include the loaded
    // file name, out of range empty.
    Text sourceName(std::int64_t index) const;
};

// Decompressed macro files above this size are refused as unreadable, and
// so are plain files above it; this stops a gzip bomb from filling memory.
constexpr std::int64_t maxMacroFileBytes = std::int64_t(1) << 30;

// Fills the table from a plain or gzip-compressed file: gzip when the first
// two bytes are 1F 8B or the extension is ".gz". A file of fewer than two
// bytes gives an empty table. A missing, unreadable or oversized file, or a
// directory, gives an empty table and false without any message. Progress
// of the line scan shows under " Analyze" for files of several megabytes.
bool loadMacroFile(LineTable& table, const Text& path);

// include <file>: replaces line lineIndex by the lines of the file. A file
// that does not exist prints " Include file (" name ") not found!" and
// changes nothing; so do an unreadable or empty file and an index outside
// the table, without a message. The first included line takes the index of
// the include line. The source lists are created on the first include and
// grow by one source name on each further one. No guard against repeats.
void spliceInclude(LineTable& table, std::int64_t lineIndex, const Text& path);

// A line as the runner sees it before the split: blank when it is line 1 and
// starts with '!'; otherwise trimmed of tabs and blanks at both ends and cut
// at a comment ("//" or '#' or '%' in column 1, else the first " //", even
// inside quotes; blanks before the cut stay). Empty means nothing to do.
Text prepareLine(const LineTable& table, std::int64_t index);
// The same for a text of its own: trimmed, and cut at a comment.
Text trimAndCutComment(const Text& line);

// Splits at the first blank (tabs and quotes do not count): the word before
// it, lower-cased, and the rest behind that one blank, as it stands. Without
// a blank the whole line is the word and the remainder is empty. The line may
// be the same object as remainder, so a one-line form (then, else, of) can
// split its own remainder again.
void splitCommand(const Text& line, Text& commandWord, Text& remainder);

}  // namespace corvane
