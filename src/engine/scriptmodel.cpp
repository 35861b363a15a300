// Script model: loading macro files into a LineTable, include splices, and
// the reading of a line up to its split into command word and remainder.
#include "engine/scriptmodel.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string_view>

#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/paths.h"
#include "foundation/progress.h"

namespace corvane {

namespace {

constexpr std::int64_t progressStep = std::int64_t(4) << 20;  // bytes between progress calls
constexpr unsigned readBlock = 1u << 16;                       // bytes per read call

// ---------------------------------------------------------------- reading

// Reads up to count bytes, fewer only at the end; -1 on a read error.
std::int64_t readFully(int descriptor, char* data, std::int64_t count) {
    std::int64_t done = 0;
    while (done < count) {
        const ssize_t got = ::read(descriptor, data + done, static_cast<std::size_t>(count - done));
        if (got < 0) {
            if (errno == EINTR) continue;
            return -1;
        }
        if (got == 0) break;
        done += got;
    }
    return done;
}

// The rest of a plain file behind the bytes already in the buffer.
bool readRaw(int descriptor, std::int64_t expectedSize, std::string& buffer) {
    if (expectedSize > maxMacroFileBytes) return false;
    // One spare byte for the zero behind an unterminated last line.
    buffer.reserve(static_cast<std::size_t>(std::max<std::int64_t>(expectedSize, 0)) + 1);
    char block[readBlock];
    for (;;) {
        const std::int64_t got = readFully(descriptor, block, sizeof block);
        if (got < 0) return false;
        if (got == 0) return true;
        if (static_cast<std::int64_t>(buffer.size()) + got > maxMacroFileBytes) return false;
        buffer.append(block, static_cast<std::size_t>(got));
    }
}

// The whole file through zlib's gzip reader, which passes a file that is no
// gzip stream through as it stands. Takes over the descriptor. A corrupt
// stream is unreadable; a stream cut short gives what was decompressed.
bool readGzip(int descriptor, std::string& buffer) {
    if (::lseek(descriptor, 0, SEEK_SET) != 0) {
        ::close(descriptor);
        return false;
    }
    gzFile file = gzdopen(descriptor, "rb");
    if (!file) {
        ::close(descriptor);
        return false;
    }
    gzbuffer(file, readBlock);
    buffer.clear();
    bool success = true;
    char block[readBlock];
    for (;;) {
        const int got = gzread(file, block, sizeof block);
        if (got < 0 || static_cast<std::int64_t>(buffer.size()) + got > maxMacroFileBytes) {
            success = false;
            break;
        }
        if (got == 0) break;
        buffer.append(block, static_cast<std::size_t>(got));
    }
    gzclose(file);
    return success;
}

bool isGzipName(const Text& path) { return lastExtension(path).lowerCase() == Text("gz"); }

// ---------------------------------------------------------------- line scan

// One pass over the buffer: LF, CR LF and a lone CR end a line and are
// zeroed. A last line without an end counts when it is not empty and gets a
// zero byte behind it, so that every line is zero-terminated.
void scanLines(LineTable& table) {
    std::string& buffer = table.buffer;
    char* bytes = buffer.data();
    const auto size = static_cast<std::int64_t>(buffer.size());
    const Text title(" Analyze");
    bool reported = false;
    std::int64_t lineStart = 0;
    std::int64_t position = 0;
    while (position < size) {
        const std::int64_t chunkEnd = std::min(size, position + progressStep);
        while (position < chunkEnd) {
            const char byte = bytes[position];
            if (byte != '\n' && byte != '\r') {
                ++position;
                continue;
            }
            table.lineStarts.push_back(lineStart);
            table.lineLengths.push_back(position - lineStart);
            bytes[position++] = '\0';
            if (byte == '\r' && position < size && bytes[position] == '\n') bytes[position++] = '\0';
            lineStart = position;
        }
        if (position < size) {
            ready(static_cast<double>(position) / static_cast<double>(size), title);
            reported = true;
        }
    }
    if (lineStart < size) {
        table.lineStarts.push_back(lineStart);
        table.lineLengths.push_back(size - lineStart);
        buffer.push_back('\0');
    }
    if (reported) readyDone();
}

// ---------------------------------------------------------------- splice help

// Replaces entry `row` of a list by the given pieces.
void replaceRow(std::vector<std::int64_t>& list, std::size_t row, const std::vector<std::int64_t>& pieces) {
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(row));
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(row), pieces.begin(), pieces.end());
}

bool isBlankOrTab(Char16 character) { return character == u' ' || character == u'\t'; }

}  // namespace

// ---------------------------------------------------------------- accessors

Text LineTable::lineText(std::int64_t index) const {
    if (index < 1 || index > lineCount()) return Text();
    const auto row = static_cast<std::size_t>(index - 1);
    // Decoded by length, so zero bytes of the file stay as character 0.
    return Text(std::string_view(buffer.data() + lineStarts[row], static_cast<std::size_t>(lineLengths[row])));
}

std::int64_t LineTable::sourceLine(std::int64_t index) const {
    if (index < 1 || index > lineCount()) return 0;
    if (sourceNames.empty()) return index;
    return sourceLines[static_cast<std::size_t>(index - 1)];
}

Text LineTable::sourceName(std::int64_t index) const {
    if (index < 1 || index > lineCount()) return Text();
    if (sourceNames.empty()) return fileName;
    const std::int64_t source = sourceFiles[static_cast<std::size_t>(index - 1)];
    if (source < 1 || source > static_cast<std::int64_t>(sourceNames.size())) return Text();
    return sourceNames[static_cast<std::size_t>(source - 1)].toText();
}

// ---------------------------------------------------------------- loading

bool loadMacroFile(LineTable& table, const Text& path) {
    table = LineTable();
    table.fileName = path;
    const ByteText name = normalizePath(path).toUtf8();
    if (name.empty()) return false;

    // Plain POSIX calls: a macro file that cannot be read is no report here.
    const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    struct stat info {};
    if (::fstat(descriptor, &info) != 0 || S_ISDIR(info.st_mode)) {
        ::close(descriptor);
        return false;
    }

    char head[2] = {};
    const std::int64_t headCount = readFully(descriptor, head, 2);
    if (headCount < 0) {
        ::close(descriptor);
        return false;
    }
    if (headCount < 2) {  // fewer than two bytes: an empty table
        ::close(descriptor);
        return true;
    }

    const bool gzipMagic = static_cast<unsigned char>(head[0]) == 0x1F && static_cast<unsigned char>(head[1]) == 0x8B;
    bool success;
    if (gzipMagic || isGzipName(path)) {
        success = readGzip(descriptor, table.buffer);  // closes the descriptor
    } else {
        const std::int64_t expected = S_ISREG(info.st_mode) ? static_cast<std::int64_t>(info.st_size) : 0;
        table.buffer.assign(head, 2);
        success = readRaw(descriptor, expected, table.buffer);
        ::close(descriptor);
    }
    if (!success) {
        table = LineTable();
        table.fileName = path;
        return false;
    }
    // Decompressed content of fewer than two bytes counts as such a file.
    if (table.buffer.size() < 2) {
        table.buffer.clear();
        return true;
    }
    scanLines(table);
    return true;
}

// ---------------------------------------------------------------- include

void spliceInclude(LineTable& table, std::int64_t lineIndex, const Text& path) {
    if (!fileExists(path)) {
        writeTextLine(" Include file (" + path + ") not found!");  // verbatim
        return;
    }
    const std::int64_t count = table.lineCount();
    if (lineIndex < 1 || lineIndex > count) return;
    LineTable included;
    if (!loadMacroFile(included, path) || included.lineCount() == 0) return;

    const auto row = static_cast<std::size_t>(lineIndex - 1);
    const auto pieces = static_cast<std::size_t>(included.lineCount());
    // The include line with its line end reaches up to the next line's start.
    const std::int64_t start = table.lineStarts[row];
    const std::int64_t end =
        lineIndex < count ? table.lineStarts[row + 1] : static_cast<std::int64_t>(table.buffer.size());
    const std::int64_t shift = static_cast<std::int64_t>(included.buffer.size()) - (end - start);

    // The included buffer already holds its zeroed line ends, so the pieces
    // join without a scan, and zero bytes of either file stay inside lines.
    std::string merged;
    merged.reserve(table.buffer.size() + included.buffer.size() - static_cast<std::size_t>(end - start));
    merged.append(table.buffer, 0, static_cast<std::size_t>(start));
    merged.append(included.buffer);
    merged.append(table.buffer, static_cast<std::size_t>(end), std::string::npos);
    table.buffer = std::move(merged);

    std::vector<std::int64_t> starts = included.lineStarts;
    for (std::int64_t& offset : starts) offset += start;
    replaceRow(table.lineStarts, row, starts);
    for (std::size_t behind = row + pieces; behind < table.lineStarts.size(); ++behind) {
        table.lineStarts[behind] += shift;
    }
    replaceRow(table.lineLengths, row, included.lineLengths);

    // First include: every line so far comes from the main file, source 1.
    if (table.sourceNames.empty()) {
        table.sourceLines.resize(static_cast<std::size_t>(count));
        for (std::size_t line = 0; line < table.sourceLines.size(); ++line) {
            table.sourceLines[line] = static_cast<std::int64_t>(line) + 1;
        }
        table.sourceFiles.assign(static_cast<std::size_t>(count), 1);
        table.sourceNames.emplace_back(table.fileName);
        table.lastSource = 1;
    }
    table.sourceNames.emplace_back(path);
    table.lastSource = static_cast<std::int64_t>(table.sourceNames.size());

    std::vector<std::int64_t> numbers(pieces);
    for (std::size_t line = 0; line < pieces; ++line) numbers[line] = static_cast<std::int64_t>(line) + 1;
    replaceRow(table.sourceLines, row, numbers);
    replaceRow(table.sourceFiles, row, std::vector<std::int64_t>(pieces, table.lastSource));
    table.generation = LineTable::nextGeneration();
}

// ---------------------------------------------------------------- line reading

Text prepareLine(const LineTable& table, std::int64_t index) {
    const Text line = table.lineText(index);
    // Only the very first line of the table may open with '!'.
    if (index == 1 && line.at(1) == u'!') return Text();
    return trimAndCutComment(line);
}

Text trimAndCutComment(const Text& line) {
    std::int64_t first = 1;
    std::int64_t last = line.length();
    while (first <= last && isBlankOrTab(line.at(first))) ++first;
    while (last >= first && isBlankOrTab(line.at(last))) --last;
    const Text trimmed = line.copy(first, last - first + 1);

    // The comment search knows nothing of quotes; '#' and '%' count only
    // in column 1, and blanks in front of " //" stay.
    std::int64_t cut = 0;
    if (trimmed.startsWith("//") || trimmed.startsWith("#") || trimmed.startsWith("%")) {
        cut = 1;
    } else {
        cut = trimmed.findFirst(" //");
    }
    return cut > 0 ? trimmed.copy(1, cut - 1) : trimmed;
}

void splitCommand(const Text& line, Text& commandWord, Text& remainder) {
    const std::int64_t blank = line.findChar(u' ');
    if (blank == 0) {
        Text word = line.lowerCase();
        remainder = Text();
        commandWord = std::move(word);
        return;
    }
    // Both parts are built before either output is written, since line may
    // be one of them.
    Text word = line.copy(1, blank - 1).lowerCase();
    Text rest = line.copy(blank + 1, line.length() - blank);
    commandWord = std::move(word);
    remainder = std::move(rest);
}

}  // namespace corvane
