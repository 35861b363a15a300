// Script model: macro files as line tables, plain and gzip; include splices
// with their source lines and names; the reading of a line up to its split.
#include "engine/scriptmodel.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

void writeBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

void writeGzip(const fs::path& path, const std::string& bytes) {
    gzFile file = gzopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(gzwrite(file, bytes.data(), static_cast<unsigned>(bytes.size())), static_cast<int>(bytes.size()));
    ASSERT_EQ(gzclose(file), Z_OK);
}

// Every line's characters as bytes; the test lines are ASCII, so a
// character 0 shows as a zero byte.
Lines linesOf(const LineTable& table) {
    Lines lines;
    for (std::int64_t index = 1; index <= table.lineCount(); ++index) {
        const Text line = table.lineText(index);
        EXPECT_FALSE(line.hasHighBytes()) << "line " << index;
        lines.push_back(line.low());
    }
    return lines;
}

std::vector<std::int64_t> sourceLinesOf(const LineTable& table) {
    std::vector<std::int64_t> numbers;
    for (std::int64_t index = 1; index <= table.lineCount(); ++index) numbers.push_back(table.sourceLine(index));
    return numbers;
}

Lines sourceNamesOf(const LineTable& table) {
    Lines names;
    for (std::int64_t index = 1; index <= table.lineCount(); ++index) {
        names.push_back(table.sourceName(index).toUtf8());
    }
    return names;
}

// Each test in a fresh working directory with the console and log captured.
class ScriptModelTest : public ::testing::Test {
protected:
    // Writes the bytes as `name` and loads that file.
    LineTable load(const std::string& bytes, const std::string& name = "test.macro") {
        writeBytes(name, bytes);
        LineTable table;
        EXPECT_TRUE(loadMacroFile(table, Text(name)));
        return table;
    }

    TemporaryWorkingDirectory directory_{"corvane-scriptmodel"};
    OutputCapture capture_;
};

// ---------------------------------------------------------------- loading

class ScriptLoad : public ScriptModelTest {};

TEST_F(ScriptLoad, LineEndsAndEmptyLines) {
    struct Row {
        const char* name;
        std::string bytes;
        Lines lines;
    };
    const std::vector<Row> rows = {
        {"LF", "one\ntwo\n", {"one", "two"}},
        {"CR LF is one break", "one\r\ntwo\r\n", {"one", "two"}},
        {"CR alone splits in two", "one\rtwo", {"one", "two"}},
        {"CR CR is two breaks", "x\r\ry", {"x", "", "y"}},
        {"LF CR is two breaks", "x\n\ry", {"x", "", "y"}},
        {"CR LF LF", "x\r\n\ny", {"x", "", "y"}},
        {"mixed ends", "a\nb\r\nc\rd", {"a", "b", "c", "d"}},
        {"last line without end", "one\ntwo", {"one", "two"}},
        {"empty lines count", "a\n\nb\n", {"a", "", "b"}},
        {"empty line at the end", "a\n\n", {"a", ""}},
        {"only line ends", "\n\n\n", {"", "", ""}},
        {"one CR LF", "\r\n", {""}},
        {"two bytes", "ab", {"ab"}},
        {"blanks and tabs kept", " \ta \t\n", {" \ta \t"}},
        {"empty file", "", {}},
        {"one byte", "x", {}},
        {"one line end", "\n", {}},
    };
    for (const Row& row : rows) {
        const LineTable table = load(row.bytes);
        EXPECT_EQ(linesOf(table), row.lines) << row.name;
        EXPECT_EQ(table.lineCount(), static_cast<std::int64_t>(row.lines.size())) << row.name;
    }
}

TEST_F(ScriptLoad, ZeroByteOfTheFileStaysInItsLine) {
    const LineTable table = load(std::string("a\0b\nc\0\n\0", 8));
    EXPECT_EQ(linesOf(table), (Lines{std::string("a\0b", 3), std::string("c\0", 2), std::string("\0", 1)}));
    EXPECT_EQ(table.lineText(1).length(), 3);
    EXPECT_EQ(table.lineText(1).at(2), Char16(0));
}

TEST_F(ScriptLoad, LineEndsBecomeZeroBytesInPlace) {
    const LineTable table = load("ab\r\ncd\ref");
    EXPECT_EQ(table.buffer, std::string("ab\0\0cd\0ef\0", 10));
    EXPECT_EQ(table.lineStarts, (std::vector<std::int64_t>{0, 4, 7}));
}

TEST_F(ScriptLoad, LinesDecodeUtf8) {
    const LineTable table = load("print \xC3\xA4\xE2\x82\xAC\n");
    const Text line = table.lineText(1);
    ASSERT_EQ(line.length(), 8);
    EXPECT_EQ(line.at(7), Char16(0xE4));
    EXPECT_EQ(line.at(8), Char16(0x20AC));
}

TEST_F(ScriptLoad, AccessorsBeforeAnyInclude) {
    const LineTable table = load("a\nb\nc\n", "main.macro");
    EXPECT_EQ(sourceLinesOf(table), (std::vector<std::int64_t>{1, 2, 3}));
    EXPECT_EQ(sourceNamesOf(table), (Lines{"main.macro", "main.macro", "main.macro"}));
    for (const std::int64_t outside : {std::int64_t(0), std::int64_t(-1), std::int64_t(4)}) {
        EXPECT_TRUE(table.lineText(outside).empty()) << outside;
        EXPECT_EQ(table.sourceLine(outside), 0) << outside;
        EXPECT_TRUE(table.sourceName(outside).empty()) << outside;
    }
}

TEST_F(ScriptLoad, GzipByMagicAndByExtension) {
    writeGzip("packed.macro", "one\r\ntwo\n\nthree");
    writeGzip("packed.gz", "one\rtwo");
    writeBytes("plain.GZ", "plain\ntext\n");
    struct Row {
        const char* name;
        Lines lines;
    };
    const std::vector<Row> rows = {
        {"packed.macro", {"one", "two", "", "three"}},
        {"packed.gz", {"one", "two"}},
        {"plain.GZ", {"plain", "text"}},  // no gzip stream: read as it stands
    };
    for (const Row& row : rows) {
        LineTable table;
        EXPECT_TRUE(loadMacroFile(table, Text(row.name))) << row.name;
        EXPECT_EQ(linesOf(table), row.lines) << row.name;
    }
}

TEST_F(ScriptLoad, CorruptGzipIsUnreadable) {
    writeBytes("broken.macro", std::string("\x1F\x8B\x08\x00garbage that inflates to nothing", 36));
    LineTable table;
    EXPECT_FALSE(loadMacroFile(table, "broken.macro"));
    EXPECT_EQ(table.lineCount(), 0);
}

TEST_F(ScriptLoad, MissingFileOrDirectoryGivesEmptyTableSilently) {
    fs::create_directory("folder");
    for (const char* name : {"missing.macro", "folder", "", "nowhere/missing.macro"}) {
        LineTable table = load("left\nover\n", "previous.macro");
        EXPECT_FALSE(loadMacroFile(table, Text(name))) << name;
        EXPECT_EQ(table.lineCount(), 0) << name;
        EXPECT_TRUE(table.lineText(1).empty()) << name;
    }
    EXPECT_EQ(capture_.console(), "");
    EXPECT_EQ(capture_.log(), "");
}

TEST_F(ScriptLoad, OneLongLine) {
    const std::string line(9 << 20, 'x');
    const LineTable table = load(line + "\nend");
    ASSERT_EQ(table.lineCount(), 2);
    EXPECT_EQ(table.lineText(1).length(), static_cast<std::int64_t>(line.size()));
    EXPECT_EQ(table.lineText(2).low(), "end");
    EXPECT_EQ(capture_.log(), "");  // progress never reaches the log
}

// ---------------------------------------------------------------- line reading

class ScriptLinePrepare : public ScriptModelTest {};

TEST_F(ScriptLinePrepare, TrimAndCommentCut) {
    struct Row {
        std::string line;
        std::string prepared;
    };
    const std::vector<Row> rows = {
        {"print \"a //b\"", "print \"a"},  // quotes do not protect
        {"   // text", ""},
        {"# text", ""},
        {"% text", ""},
        {"\t# text", ""},
        {"//", ""},
        {"x # y", "x # y"},  // '#' and '%' only in column 1
        {"x % y", "x % y"},
        {"print 1  // note", "print 1 "},  // blanks before the cut stay
        {"a//b", "a//b"},
        {"a\t//b", "a\t//b"},  // a tab is no blank for the cut
        {" \t print 1 \t ", "print 1"},
        {"!x", "!x"},  // '!' matters in line 1 only
        {"\t", ""},
        {"", ""},
    };
    std::string file = "first line\n";
    for (const Row& row : rows) file += row.line + "\n";
    const LineTable table = load(file);
    ASSERT_EQ(table.lineCount(), static_cast<std::int64_t>(rows.size()) + 1);
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const auto index = static_cast<std::int64_t>(row) + 2;
        EXPECT_EQ(prepareLine(table, index).low(), rows[row].prepared) << '"' << rows[row].line << '"';
    }
}

TEST_F(ScriptLinePrepare, ExclamationMarkBlanksTheFirstLineOnly) {
    const LineTable table = load("!./corvane print 1\n!print 2\n");
    EXPECT_EQ(prepareLine(table, 1).low(), "");
    EXPECT_EQ(prepareLine(table, 2).low(), "!print 2");
    // Only the very first character counts: a blank in front keeps the line.
    const LineTable indented = load(" !print 3\n");
    EXPECT_EQ(prepareLine(indented, 1).low(), "!print 3");
}

TEST_F(ScriptLinePrepare, FirstRunHeaderIsAComment) {
    const LineTable table = load("//!./corvane // Version: 1.0\nprint 1\n");
    EXPECT_EQ(prepareLine(table, 1).low(), "");
    EXPECT_EQ(prepareLine(table, 2).low(), "print 1");
}

TEST_F(ScriptLinePrepare, OutsideTheTableIsEmpty) {
    const LineTable table = load("print 1\n");
    EXPECT_TRUE(prepareLine(table, 0).empty());
    EXPECT_TRUE(prepareLine(table, 2).empty());
}

TEST_F(ScriptLinePrepare, ThenSplitAtTheFirstBlank) {
    const LineTable table = load("// header\n\tScalar.Load   scalar.input // load it\n");
    Text word;
    Text remainder;
    splitCommand(prepareLine(table, 2), word, remainder);
    EXPECT_EQ(word.low(), "scalar.load");
    EXPECT_EQ(remainder.low(), "  scalar.input");
}

class ScriptCommandSplit : public ::testing::Test {};

TEST_F(ScriptCommandSplit, FirstBlankSplits) {
    struct Row {
        std::string line;
        std::string word;
        std::string remainder;
    };
    const std::vector<Row> rows = {
        {"Print x y", "print", "x y"},
        {"halt", "halt", ""},
        {"SCALAR.Copy 0.5", "scalar.copy", "0.5"},
        {"a\tb c", "a\tb", "c"},             // tabs do not split
        {"print  x", "print", " x"},         // only one blank goes
        {"print \"a b\" c", "print", "\"a b\" c"},
        {"\"A b\" c", "\"a", "b\" c"},       // quotes do not count
        {"word ", "word", ""},
        {"New := scalar.copy 0.5", "new", ":= scalar.copy 0.5"},
        {"", "", ""},
    };
    for (const Row& row : rows) {
        Text word("stale");
        Text remainder("stale");
        splitCommand(Text(row.line), word, remainder);
        EXPECT_EQ(word.low(), row.word) << '"' << row.line << '"';
        EXPECT_EQ(remainder.low(), row.remainder) << '"' << row.line << '"';
    }
}

TEST_F(ScriptCommandSplit, RemainderSplitsAgainInPlace) {
    // The way a one-line form takes the next word from its own remainder.
    Text word;
    Text line("then Print 1 2");
    splitCommand(line, word, line);
    EXPECT_EQ(word.low(), "then");
    EXPECT_EQ(line.low(), "Print 1 2");
    splitCommand(line, word, line);
    EXPECT_EQ(word.low(), "print");
    EXPECT_EQ(line.low(), "1 2");
    Text single("HALT");
    splitCommand(single, single, word);
    EXPECT_EQ(single.low(), "halt");
    EXPECT_TRUE(word.empty());
}

// ---------------------------------------------------------------- include

class IncludeSplice : public ScriptModelTest {};

TEST_F(IncludeSplice, OneInclude) {
    LineTable table = load("// main\na\ninclude inc.macro\nb\nc\n", "main.macro");
    writeBytes("inc.macro", "// inc\nx\ny\n");
    spliceInclude(table, 3, "inc.macro");
    EXPECT_EQ(linesOf(table), (Lines{"// main", "a", "// inc", "x", "y", "b", "c"}));
    EXPECT_EQ(sourceLinesOf(table), (std::vector<std::int64_t>{1, 2, 1, 2, 3, 4, 5}));
    EXPECT_EQ(sourceNamesOf(table),
              (Lines{"main.macro", "main.macro", "inc.macro", "inc.macro", "inc.macro", "main.macro", "main.macro"}));
    EXPECT_EQ(table.lastSource, 2);
    EXPECT_EQ(table.sourceLine(8), 0);
    EXPECT_TRUE(table.sourceName(8).empty());
    EXPECT_EQ(capture_.console(), "");
}

TEST_F(IncludeSplice, IncludeInsideAnIncludedRegion) {
    LineTable table = load("// main\na\ninclude inc.macro\nb\nc\n", "main.macro");
    writeBytes("inc.macro", "// inc\ninclude deep.macro\ny\n");
    writeBytes("deep.macro", "// deep\nd\n");
    spliceInclude(table, 3, "inc.macro");
    spliceInclude(table, 4, "deep.macro");
    EXPECT_EQ(linesOf(table), (Lines{"// main", "a", "// inc", "// deep", "d", "y", "b", "c"}));
    EXPECT_EQ(sourceLinesOf(table), (std::vector<std::int64_t>{1, 2, 1, 1, 2, 3, 4, 5}));
    EXPECT_EQ(sourceNamesOf(table), (Lines{"main.macro", "main.macro", "inc.macro", "deep.macro", "deep.macro",
                                           "inc.macro", "main.macro", "main.macro"}));
    EXPECT_EQ(table.lastSource, 3);
}

TEST_F(IncludeSplice, IncludeBeforeAnEarlierInclude) {
    LineTable table = load("// main\ninclude early.macro\na\ninclude inc.macro\nb\n", "main.macro");
    writeBytes("inc.macro", "// inc\nx\n");
    writeBytes("early.macro", "// early\re1\re2");
    spliceInclude(table, 4, "inc.macro");
    spliceInclude(table, 2, "early.macro");
    EXPECT_EQ(linesOf(table), (Lines{"// main", "// early", "e1", "e2", "a", "// inc", "x", "b"}));
    EXPECT_EQ(sourceLinesOf(table), (std::vector<std::int64_t>{1, 1, 2, 3, 3, 1, 2, 5}));
    EXPECT_EQ(sourceNamesOf(table), (Lines{"main.macro", "early.macro", "early.macro", "early.macro", "main.macro",
                                           "inc.macro", "inc.macro", "main.macro"}));
}

TEST_F(IncludeSplice, SameFileTwiceIsTwoSources) {
    LineTable table = load("include inc.macro\nend\n", "main.macro");
    writeBytes("inc.macro", "// inc\nx\n");
    spliceInclude(table, 1, "inc.macro");
    spliceInclude(table, 1, "inc.macro");
    EXPECT_EQ(linesOf(table), (Lines{"// inc", "x", "x", "end"}));
    EXPECT_EQ(sourceLinesOf(table), (std::vector<std::int64_t>{1, 2, 2, 2}));
    EXPECT_EQ(table.lastSource, 3);
    ASSERT_EQ(table.sourceNames.size(), 3u);
    EXPECT_EQ(table.sourceFiles, (std::vector<std::int64_t>{3, 3, 2, 1}));
}

TEST_F(IncludeSplice, LastLinesWithoutLineEnd) {
    LineTable table = load("a\ninclude inc.macro", "main.macro");
    writeBytes("inc.macro", "p\r\nq");
    spliceInclude(table, 2, "inc.macro");
    EXPECT_EQ(linesOf(table), (Lines{"a", "p", "q"}));
    spliceInclude(table, 3, "inc.macro");
    EXPECT_EQ(linesOf(table), (Lines{"a", "p", "p", "q"}));
    EXPECT_EQ(sourceLinesOf(table), (std::vector<std::int64_t>{1, 1, 1, 2}));
}

TEST_F(IncludeSplice, ZeroBytesSurviveTheSplice) {
    LineTable table = load(std::string("a\0b\ninclude inc.macro\nc\0d\n", 26), "main.macro");
    writeBytes("inc.macro", std::string("p\0q\n\0\n", 6));
    spliceInclude(table, 2, "inc.macro");
    EXPECT_EQ(linesOf(table), (Lines{std::string("a\0b", 3), std::string("p\0q", 3), std::string("\0", 1),
                                     std::string("c\0d", 3)}));
}

TEST_F(IncludeSplice, GzipInclude) {
    LineTable table = load("a\ninclude inc.gz\nb\n", "main.macro");
    writeGzip("inc.gz", "// inc\nx\n");
    spliceInclude(table, 2, "inc.gz");
    EXPECT_EQ(linesOf(table), (Lines{"a", "// inc", "x", "b"}));
}

TEST_F(IncludeSplice, MissingFileReportsAndChangesNothing) {
    fs::create_directory("folder");
    LineTable table = load("a\ninclude nothere.macro\nb\n", "main.macro");
    spliceInclude(table, 2, "nothere.macro");
    spliceInclude(table, 2, "folder");
    EXPECT_EQ(capture_.console(), " Include file (nothere.macro) not found!\n Include file (folder) not found!\n");
    EXPECT_EQ(linesOf(table), (Lines{"a", "include nothere.macro", "b"}));
    EXPECT_TRUE(table.sourceNames.empty());
    EXPECT_EQ(table.sourceName(2).toUtf8(), "main.macro");
}

TEST_F(IncludeSplice, EmptyFileChangesNothing) {
    LineTable table = load("a\ninclude empty.macro\nb\n", "main.macro");
    for (const std::string& bytes : {std::string(), std::string("x")}) {
        writeBytes("empty.macro", bytes);
        spliceInclude(table, 2, "empty.macro");
        EXPECT_EQ(linesOf(table), (Lines{"a", "include empty.macro", "b"}));
        EXPECT_TRUE(table.sourceNames.empty());
        EXPECT_EQ(table.sourceLine(3), 3);
    }
    EXPECT_EQ(capture_.console(), "");
}

}  // namespace
}  // namespace corvane
