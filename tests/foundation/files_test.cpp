// File wrappers and handles: success lines, error reports in the classic
// codes, saves through a temporary, directory operations.
#include "foundation/files.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/resource.h>
#include <vector>

#include "foundation/console.h"
#include "foundation/paths.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;

// Runs each test in a fresh working directory with the console captured.
class FileTest : public ::testing::Test {
protected:
    void SetUp() override { setIoResult(0); }
    void TearDown() override { setIoResult(0); }

    // Console text written since the last call.
    std::string output() { return capture_.takeConsole(); }

    static void writeBytes(const fs::path& path, const std::string& bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }
    static std::string contentOf(const fs::path& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    // Files in a directory, hidden temporaries included.
    static int entryCount(const fs::path& directory) {
        int count = 0;
        for ([[maybe_unused]] const auto& entry : fs::directory_iterator(directory)) ++count;
        return count;
    }

    TemporaryWorkingDirectory directory_{"corvane-files"};
    OutputCapture capture_{/*interactive=*/false, /*withLog=*/false};
};

// Lowers the file size limit so that writes beyond it fail with EFBIG, a
// real write error without a full disk; restores it when it goes.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &saved_);
        previousHandler_ = std::signal(SIGXFSZ, SIG_IGN);
        rlimit lowered = saved_;
        lowered.rlim_cur = bytes;
        active_ = ::setrlimit(RLIMIT_FSIZE, &lowered) == 0;
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &saved_);
        std::signal(SIGXFSZ, previousHandler_);
    }
    bool active() const { return active_; }

private:
    rlimit saved_{};
    void (*previousHandler_)(int) = nullptr;
    bool active_ = false;
};

// ---------------------------------------------------------------- open wrappers

using FileOpenReport = FileTest;

TEST_F(FileOpenReport, MissingFileGivesDosErrorAndFileNotFound) {
    FileHandle file;
    EXPECT_FALSE(readTextFile(file, "missing.txt"));
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(output(), "DOS-Error\n  File (missing.txt) not found.\n");
}

TEST_F(FileOpenReport, ClassWordIsRedOnInteractiveConsoleAndPlainInLog) {
    OutputCapture capture(/*interactive=*/true);
    FileHandle file;
    EXPECT_FALSE(readBinaryFile(file, "missing.bin"));
    EXPECT_EQ(capture.console(), "\x1b[91mDOS-Error\x1b[0m\n  File (missing.bin) not found.\n");
    EXPECT_EQ(capture.log(), "DOS-Error\n  File (missing.bin) not found.\n");
}

TEST_F(FileOpenReport, MissingDirectoryGivesPathNotFound) {
    FileHandle file;
    EXPECT_FALSE(readTextFile(file, "nowhere/data.txt"));
    EXPECT_EQ(output(), "DOS-Error\n  Path (nowhere/data.txt) not found.\n");
    EXPECT_FALSE(writeTextFile(file, "nowhere/out.txt"));
    EXPECT_EQ(output(), "DOS-Error\n  Path (nowhere/out.txt) not found.\n");
    EXPECT_FALSE(writeBinaryFile(file, "nowhere/out.bin"));
    EXPECT_EQ(output(), "DOS-Error\n  Path (nowhere/out.bin) not found.\n");
}

TEST_F(FileOpenReport, EmptyNameSaysSoWithoutClassLine) {
    FileHandle file;
    EXPECT_FALSE(readTextFile(file, ""));
    EXPECT_FALSE(writeBinaryFile(file, "", SuccessLine::quiet));
    EXPECT_EQ(output(), "Empty filename!\nEmpty filename!\n");
    EXPECT_EQ(peekIoResult(), 0);
}

TEST_F(FileOpenReport, DirectoryIsNoFile) {
    fs::create_directory("folder");
    FileHandle file;
    EXPECT_FALSE(readTextFile(file, "folder"));
    EXPECT_EQ(output(), "DOS-Error\n  File (folder) access denied.\n");
}

TEST_F(FileOpenReport, SuccessLinesNameTheMode) {
    writeBytes("in.txt", "x\n");
    FileHandle file;
    EXPECT_TRUE(readTextFile(file, "in.txt"));
    EXPECT_TRUE(writeTextFile(file, "out.txt"));
    EXPECT_TRUE(saveTextFile(file, "saved.txt"));
    EXPECT_TRUE(writeBinaryFile(file, "out.bin"));
    EXPECT_TRUE(appendTextFile(file, "log.txt"));
    EXPECT_TRUE(appendBinaryFile(file, "log.bin"));
    file.close();
    EXPECT_EQ(output(),
              "Read file (in.txt).\n"
              "Write file (out.txt).\n"
              "Write file (saved.txt).\n"
              "Write file (out.bin).\n"
              "Append file (log.txt).\n"
              "Append file (log.bin).\n");
}

TEST_F(FileOpenReport, BinaryReadLineGivesTheSize) {
    writeBytes("volume.raw", std::string(1400000, 'v'));
    writeBytes("tiny.raw", "abc");
    FileHandle file;
    EXPECT_TRUE(readBinaryFile(file, "volume.raw"));
    EXPECT_TRUE(readBinaryFile(file, "tiny.raw"));
    EXPECT_EQ(output(), "Read file (volume.raw) with size (1.4 MB).\nRead file (tiny.raw) with size (3 B).\n");
}

TEST_F(FileOpenReport, QuietOpenPrintsNoSuccessLineButReportsFailure) {
    writeBytes("in.txt", "x\n");
    FileHandle file;
    EXPECT_TRUE(readTextFile(file, "in.txt", SuccessLine::quiet));
    EXPECT_TRUE(readBinaryFile(file, "in.txt", SuccessLine::quiet));
    EXPECT_TRUE(appendTextFile(file, "more.txt", SuccessLine::quiet));
    EXPECT_EQ(output(), "");
    EXPECT_FALSE(readTextFile(file, "missing.txt", SuccessLine::quiet));
    EXPECT_EQ(output(), "DOS-Error\n  File (missing.txt) not found.\n");
}

TEST_F(FileOpenReport, StaleResultIsNotChargedToTheNextOpen) {
    writeBytes("in.txt", "x\n");
    setIoResult(100);
    FileHandle file;
    EXPECT_TRUE(readTextFile(file, "in.txt"));
    EXPECT_EQ(output(), "Read file (in.txt).\n");
}

// ---------------------------------------------------------------- path handling

using FilePathHandling = FileTest;

TEST_F(FilePathHandling, BackslashNameOpensTheSameFile) {
    fs::create_directory("sub");
    writeBytes("sub/data.txt", "from the file\n");
    FileHandle file;
    ASSERT_TRUE(readTextFile(file, "sub\\data.txt"));
    ByteText line;
    EXPECT_TRUE(file.readLine(line));
    EXPECT_EQ(line, "from the file");
    EXPECT_EQ(output(), "Read file (sub/data.txt).\n");
}

TEST_F(FilePathHandling, TwoLevelsUpResolveAgainstWorkingDirectory) {
    fs::create_directories("a/b");
    writeBytes("x", "top\n");
    fs::current_path("a/b");
    FileHandle file;
    ASSERT_TRUE(readTextFile(file, "../../x"));
    ByteText line;
    EXPECT_TRUE(file.readLine(line));
    EXPECT_EQ(line, "top");
    const std::string resolved = (directory_.path() / "x").string();
    EXPECT_EQ(output(), "Read file (" + shortenPath(Text(resolved)).toUtf8() + ").\n");
    EXPECT_TRUE(readTextFile(file, "..\\..\\x", SuccessLine::quiet));
}

TEST_F(FilePathHandling, LongNameIsShortenedInLines) {
    const std::string directory = "first/" + std::string(40, 'm') + "/" + std::string(30, 'n');
    fs::create_directories(directory);
    const std::string name = directory + "/result.nii";
    FileHandle file;
    ASSERT_TRUE(writeBinaryFile(file, Text(name)));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(output(), "Write file (first/../" + std::string(30, 'n') + "/result.nii).\n");
    EXPECT_TRUE(fs::exists(name));

    EXPECT_FALSE(readTextFile(file, Text(directory + "/missing.txt")));
    EXPECT_EQ(output(), "DOS-Error\n  File (first/../" + std::string(30, 'n') + "/missing.txt) not found.\n");
}

// ---------------------------------------------------------------- handle

using FileHandleAccess = FileTest;

TEST_F(FileHandleAccess, TextLinesEndInLfCrLfOrCr) {
    writeBytes("lines.txt", "one\ntwo\r\nthree\rfour");
    FileHandle file;
    ASSERT_TRUE(readTextFile(file, "lines.txt", SuccessLine::quiet));
    std::vector<ByteText> lines;
    ByteText line;
    while (file.readLine(line)) lines.push_back(line);
    EXPECT_EQ(lines, (std::vector<ByteText>{"one", "two", "three", "four"}));
    EXPECT_TRUE(file.atEnd());
    EXPECT_EQ(peekIoResult(), 0);
}

TEST_F(FileHandleAccess, EmptyLinesSurviveTheRoundTrip) {
    FileHandle file;
    ASSERT_TRUE(writeTextFile(file, "round.txt", SuccessLine::quiet));
    EXPECT_TRUE(file.writeLine("a"));
    EXPECT_TRUE(file.writeLine(""));
    EXPECT_TRUE(file.writeLine("b"));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf("round.txt"), "a\n\nb\n");
    ASSERT_TRUE(readTextFile(file, "round.txt", SuccessLine::quiet));
    ByteText line;
    std::vector<ByteText> lines;
    while (file.readLine(line)) lines.push_back(line);
    EXPECT_EQ(lines, (std::vector<ByteText>{"a", "", "b"}));
}

TEST_F(FileHandleAccess, ByteBlocksSeekAndSize) {
    FileHandle file;
    ASSERT_TRUE(writeBinaryFile(file, "block.bin", SuccessLine::quiet));
    EXPECT_TRUE(file.write("0123456789"));
    EXPECT_EQ(file.size(), 10);
    EXPECT_EQ(file.position(), 10);
    EXPECT_TRUE(file.seek(4));
    ByteText block;
    EXPECT_TRUE(file.read(block, 3));
    EXPECT_EQ(block, "456");
    EXPECT_TRUE(file.write("xy"));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf("block.bin"), "0123456xy9");
}

TEST_F(FileHandleAccess, ShortBlockIsReadErrorButReadSomeIsNot) {
    writeBytes("short.bin", "abcde");
    FileHandle file;
    ASSERT_TRUE(readBinaryFile(file, "short.bin", SuccessLine::quiet));
    char buffer[8] = {};
    EXPECT_EQ(file.readSome(buffer, 8), 5);
    EXPECT_EQ(peekIoResult(), 0);
    EXPECT_TRUE(file.seek(0));
    EXPECT_FALSE(file.read(buffer, 8));
    EXPECT_TRUE(reportIoError("short.bin"));
    EXPECT_EQ(output(), "I/O-Error\n  Disk (short.bin) read error.\n");
}

TEST_F(FileHandleAccess, WrongDirectionAndClosedHandleHaveTheirCodes) {
    writeBytes("in.txt", "x\n");
    FileHandle file;
    ByteText line;
    EXPECT_FALSE(file.readLine(line));
    EXPECT_EQ(peekIoResult(), 103);
    ASSERT_TRUE(readTextFile(file, "in.txt", SuccessLine::quiet));
    EXPECT_FALSE(file.writeLine("no"));
    EXPECT_EQ(peekIoResult(), 105);
    ASSERT_TRUE(writeTextFile(file, "out.txt", SuccessLine::quiet));
    EXPECT_FALSE(file.readLine(line));
    EXPECT_EQ(peekIoResult(), 104);
    setIoResult(0);
}

TEST_F(FileHandleAccess, AppendCreatesThenAddsAtTheEnd) {
    FileHandle file;
    ASSERT_TRUE(appendTextFile(file, "grow.txt"));
    EXPECT_TRUE(file.writeLine("one"));
    EXPECT_TRUE(file.close());
    ASSERT_TRUE(appendTextFile(file, "grow.txt"));
    EXPECT_TRUE(file.writeLine("two"));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf("grow.txt"), "one\ntwo\n");

    writeBytes("grow.bin", "ab");
    ASSERT_TRUE(appendBinaryFile(file, "grow.bin", SuccessLine::quiet));
    EXPECT_EQ(file.position(), 2);
    EXPECT_TRUE(file.write("cd"));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf("grow.bin"), "abcd");
    EXPECT_EQ(output(), "Append file (grow.txt).\nAppend file (grow.txt).\n");
}

TEST_F(FileHandleAccess, MovedHandleKeepsTheFile) {
    FileHandle first;
    ASSERT_TRUE(writeTextFile(first, "moved.txt", SuccessLine::quiet));
    FileHandle second = std::move(first);
    EXPECT_FALSE(first.isOpen());
    EXPECT_TRUE(second.writeLine("kept"));
    EXPECT_TRUE(second.close());
    EXPECT_EQ(contentOf("moved.txt"), "kept\n");
}

// ---------------------------------------------------------------- saves

using FileSave = FileTest;

TEST_F(FileSave, TargetChangesOnlyAtClose) {
    writeBytes("image.raw", "old");
    FileHandle file;
    ASSERT_TRUE(writeBinaryFile(file, "image.raw", SuccessLine::quiet));
    EXPECT_TRUE(file.write("new content"));
    EXPECT_EQ(contentOf("image.raw"), "old");
    EXPECT_TRUE(file.close());
    EXPECT_EQ(contentOf("image.raw"), "new content");
    EXPECT_EQ(entryCount(directory_.path()), 1);
}

TEST_F(FileSave, AbandonedSaveLeavesTheOldFile) {
    writeBytes("table.txt", "old\n");
    {
        FileHandle file;
        ASSERT_TRUE(saveTextFile(file, "table.txt", SuccessLine::quiet));
        EXPECT_TRUE(file.writeLine("half"));
    }
    EXPECT_EQ(contentOf("table.txt"), "old\n");
    EXPECT_EQ(entryCount(directory_.path()), 1);
    EXPECT_EQ(output(), "");
}

TEST_F(FileSave, SavedFileKeepsItsMode) {
    writeBytes("script.sh", "old");
    fs::permissions("script.sh", fs::perms(0750));
    FileHandle file;
    ASSERT_TRUE(saveTextFile(file, "script.sh", SuccessLine::quiet));
    EXPECT_TRUE(file.writeLine("new"));
    EXPECT_TRUE(file.close());
    EXPECT_EQ(fs::status("script.sh").permissions() & fs::perms::all, fs::perms(0750));
}

TEST_F(FileSave, FailedWriteKeepsTheOldFileAndReportsAtClose) {
    writeBytes("volume.raw", "good old volume");
    FileHandle file;
    ASSERT_TRUE(writeBinaryFile(file, "volume.raw", SuccessLine::quiet));
    {
        FileSizeLimit limit(4096);
        if (!limit.active()) GTEST_SKIP() << "file size limit not available";
        EXPECT_FALSE(file.write(std::string(65536, 'z')));
        EXPECT_EQ(peekIoResult(), 101);
        EXPECT_FALSE(file.close());
    }
    EXPECT_EQ(output(), "I/O-Error\n  Disk (volume.raw) write error.\n");
    EXPECT_EQ(contentOf("volume.raw"), "good old volume");
    EXPECT_EQ(entryCount(directory_.path()), 1);
}

TEST_F(FileSave, FailedFlushAtCloseKeepsTheOldFile) {
    writeBytes("mesh.txt", "good old mesh\n");
    FileHandle file;
    ASSERT_TRUE(saveTextFile(file, "mesh.txt", SuccessLine::quiet));
    {
        FileSizeLimit limit(1000);
        if (!limit.active()) GTEST_SKIP() << "file size limit not available";
        // Small enough to stay in the stream buffer until close.
        EXPECT_TRUE(file.write(std::string(2000, 'z')));
        EXPECT_FALSE(file.close());
    }
    EXPECT_EQ(output(), "I/O-Error\n  Disk (mesh.txt) write error.\n");
    EXPECT_EQ(contentOf("mesh.txt"), "good old mesh\n");
    EXPECT_EQ(entryCount(directory_.path()), 1);
}

TEST_F(FileSave, FullDiskIsWriteError) {
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    FileHandle file;
    ASSERT_TRUE(writeBinaryFile(file, "/dev/full"));
    EXPECT_FALSE(file.write(std::string(65536, 'z')));
    EXPECT_EQ(peekIoResult(), 101);
    EXPECT_FALSE(file.close());
    EXPECT_EQ(output(), "Write file (/dev/full).\nI/O-Error\n  Disk (/dev/full) write error.\n");

    ASSERT_TRUE(writeTextFile(file, "/dev/full", SuccessLine::quiet));
    EXPECT_TRUE(file.writeLine("buffered until close"));
    EXPECT_FALSE(file.close());
    EXPECT_EQ(output(), "I/O-Error\n  Disk (/dev/full) write error.\n");
}

// ---------------------------------------------------------------- error codes

TEST(FileErrorCodes, PlatformValuesMapToClassicCodes) {
    struct Row {
        int errnoValue;
        IoDirection direction;
        int code;
    };
    const Row rows[] = {
        {0, IoDirection::read, 0},          {ENOENT, IoDirection::read, 2},
        {ENOTDIR, IoDirection::read, 3},    {EMFILE, IoDirection::read, 4},
        {ENFILE, IoDirection::read, 4},     {EACCES, IoDirection::read, 5},
        {EPERM, IoDirection::write, 5},     {EISDIR, IoDirection::read, 5},
        {EEXIST, IoDirection::write, 5},    {ENOTEMPTY, IoDirection::write, 5},
        {EBADF, IoDirection::read, 6},      {EINVAL, IoDirection::read, 12},
        {EBUSY, IoDirection::write, 16},    {EXDEV, IoDirection::write, 17},
        {EIO, IoDirection::read, 100},      {EIO, IoDirection::write, 101},
        {ENOSPC, IoDirection::write, 101},  {EDQUOT, IoDirection::write, 101},
        {EFBIG, IoDirection::write, 101},   {EROFS, IoDirection::write, 150},
        {ELOOP, IoDirection::read, 1000 + ELOOP},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(dosCodeFromErrno(row.errnoValue, row.direction), row.code) << "errno " << row.errnoValue;
    }
}

TEST(FileErrorCodes, UnclassicValueIsPrintedAsErrorNumber) {
    OutputCapture capture(/*interactive=*/false, /*withLog=*/false);
    setIoResult(dosCodeFromErrno(ELOOP));
    EXPECT_TRUE(reportIoError("loop"));
    EXPECT_EQ(capture.console(), "\?\?\?-Error\n  Error number: " + std::to_string(1000 + ELOOP) + " from loop\n");
}

// ---------------------------------------------------------------- directories

using FileDirectories = FileTest;

TEST_F(FileDirectories, MakeDirectoriesPrintsEachCreatedLevel) {
    fs::create_directory("a");
    EXPECT_TRUE(makeDirectories("a/b/c"));
    EXPECT_EQ(output(), "Make directory (a/b).\nMake directory (a/b/c).\n");
    EXPECT_TRUE(fs::is_directory("a/b/c"));
    EXPECT_TRUE(makeDirectories("a\\b\\c\\"));
    EXPECT_EQ(output(), "");
}

TEST_F(FileDirectories, MakeDirectoriesStopsAtAFileInTheWay) {
    writeBytes("plain", "");
    EXPECT_FALSE(makeDirectories("plain/sub"));
    EXPECT_FALSE(makeDirectories("plain"));
    EXPECT_EQ(output(),
              "DOS-Error\n  Path (plain/sub) not found.\n"
              "DOS-Error\n  File (plain) access denied.\n");
}

TEST_F(FileDirectories, MakeDirectoryNeedsItsParent) {
    EXPECT_TRUE(makeDirectory("one"));
    EXPECT_FALSE(makeDirectory("one"));
    EXPECT_FALSE(makeDirectory("two/three"));
    EXPECT_EQ(output(),
              "Make directory (one).\n"
              "DOS-Error\n  File (one) access denied.\n"
              "DOS-Error\n  Path (two/three) not found.\n");
}

TEST_F(FileDirectories, ChangeDirectoryMovesTheWorkingDirectory) {
    fs::create_directory("inner");
    EXPECT_TRUE(changeDirectory("inner"));
    EXPECT_EQ(currentDirectory().toUtf8(), (directory_.path() / "inner").string());
    EXPECT_TRUE(changeDirectory(".."));
    EXPECT_EQ(currentDirectory().toUtf8(), directory_.path().string());
    EXPECT_FALSE(changeDirectory("absent"));
    EXPECT_EQ(output(), "Change directory (inner).\nChange directory (" +
                            shortenPath(Text(directory_.path().string())).toUtf8() +
                            ").\nDOS-Error\n  Path (absent) not found.\n");
}

TEST_F(FileDirectories, RemoveDirectoryRefusesWhatIsNotEmpty) {
    fs::create_directories("full/sub");
    EXPECT_FALSE(removeDirectory("full"));
    EXPECT_TRUE(removeDirectory("full/sub"));
    EXPECT_FALSE(removeDirectory("gone"));
    EXPECT_EQ(output(),
              "DOS-Error\n  File (full) access denied.\n"
              "Remove directory (full/sub).\n"
              "DOS-Error\n  Path (gone) not found.\n");
}

TEST_F(FileDirectories, RenameDirectoryNamesBothSides) {
    fs::create_directory("before");
    EXPECT_TRUE(renameDirectory("before", "after"));
    EXPECT_TRUE(fs::is_directory("after"));
    EXPECT_FALSE(renameDirectory("before", "again"));
    EXPECT_EQ(output(), "Rename directory (before -> after).\nDOS-Error\n  Path (before) not found.\n");
}

TEST_F(FileDirectories, DeleteAndRenameFiles) {
    writeBytes("old.txt", "x");
    EXPECT_TRUE(renameFile("old.txt", "new.txt"));
    EXPECT_FALSE(renameFile("new.txt", "nowhere/new.txt"));
    EXPECT_TRUE(deleteFile("new.txt"));
    EXPECT_FALSE(deleteFile("new.txt"));
    EXPECT_FALSE(deleteFile(""));
    EXPECT_EQ(output(),
              "Rename file (old.txt -> new.txt).\n"
              "DOS-Error\n  Path (nowhere/new.txt) not found.\n"
              "Delete file (new.txt).\n"
              "DOS-Error\n  File (new.txt) not found.\n"
              "Empty filename!\n");
}

TEST_F(FileDirectories, ExistenceTestsTellFilesFromDirectories) {
    fs::create_directory("dir");
    writeBytes("dir/file", "x");
    EXPECT_TRUE(fileExists("dir/file"));
    EXPECT_TRUE(fileExists("dir\\file"));
    EXPECT_FALSE(fileExists("dir"));
    EXPECT_TRUE(directoryExists("dir"));
    EXPECT_FALSE(directoryExists("dir/file"));
    EXPECT_FALSE(fileExists("absent"));
    EXPECT_FALSE(fileExists(""));
    EXPECT_FALSE(directoryExists(""));
    EXPECT_EQ(output(), "");
}

}  // namespace
}  // namespace corvane
