// Files: the file handle, the open wrappers that normalise, report and
// announce, and the file and directory operations of the macro commands.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string_view>

#include "foundation/text.h"

namespace corvane {

enum class IoDirection { read, write };

// Classic result code of a platform errno value, as reportIoError prints it.
// ENOENT gives 2; callers that know the path use dosCodeForPath, which makes
// it 3 when the directory of the path is missing.
int dosCodeFromErrno(int errnoValue, IoDirection direction = IoDirection::read);
int dosCodeForPath(int errnoValue, const Text& path, IoDirection direction = IoDirection::read);

// An open file: text lines and byte blocks alike. Every failure leaves its
// classic code as the pending I/O result (100 read, 101 write, 103 not
// open, 104 not open for input, 105 not open for output) and yields false;
// the caller reports it with reportIoError when it wants a message.
//
// A handle opened by writeBinaryFile or saveTextFile writes into a
// temporary beside the target, and close() puts it in place, so that an
// existing file survives a failed save. Such a handle that is destroyed
// without close() leaves the target untouched. Devices, and targets in
// directories that refuse new entries, are written straight.
class FileHandle {
public:
    FileHandle() = default;
    FileHandle(FileHandle&& other) noexcept;
    FileHandle& operator=(FileHandle&& other) noexcept;
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    ~FileHandle();

    bool isOpen() const { return stream_ != nullptr; }
    // The normalised name the handle was opened with.
    const Text& name() const { return name_; }

    // Text lines; LF, CR LF and a lone CR all end a line. readLine yields
    // false at the end of the file, which is no failure.
    bool readLine(ByteText& line);
    bool writeLine(std::string_view line);
    bool atEnd();

    // Byte blocks. read wants all `count` bytes; fewer is a read error.
    // readSome takes what there is and yields the count.
    bool read(void* data, std::int64_t count);
    bool read(ByteText& block, std::int64_t count);
    std::int64_t readSome(void* data, std::int64_t count);
    bool write(const void* data, std::int64_t count);
    bool write(std::string_view bytes);

    std::int64_t size();      // bytes; 0 on failure
    std::int64_t position();  // from 0
    bool seek(std::int64_t position);

    // Flushes and closes; a save through a temporary is put in place here.
    // A write failure of the handle's life, or of the close itself, is
    // reported at once with the shortened name and yields false.
    bool close();

private:
    friend struct FileOpener;
    enum class LastAccess { none, read, write };

    bool readable();
    bool writable();
    bool failRead();
    bool failWrite();
    void release();
    void discardTemporary();

    std::FILE* stream_ = nullptr;
    Text name_;
    ByteText temporaryPath_;  // set while a save goes through a temporary
    ByteText targetPath_;     // where close() puts the temporary
    bool canRead_ = false;
    bool canWrite_ = false;
    bool writeFailed_ = false;
    LastAccess lastAccess_ = LastAccess::none;
};

// Open wrappers: normalise the name, open, report a failure through
// reportIoError with the shortened name, else print the success line.
// An empty name prints "Empty filename!". Quiet calls print no success line.
// A handle that is still open is closed first.
enum class SuccessLine { print, quiet };
bool readTextFile(FileHandle& file, const Text& name, SuccessLine line = SuccessLine::print);
bool readBinaryFile(FileHandle& file, const Text& name, SuccessLine line = SuccessLine::print);
// Writes straight into the file, for text written piece by piece.
bool writeTextFile(FileHandle& file, const Text& name, SuccessLine line = SuccessLine::print);
// Whole-file saves through a temporary; the handle is readable too.
bool saveTextFile(FileHandle& file, const Text& name, SuccessLine line = SuccessLine::print);
bool writeBinaryFile(FileHandle& file, const Text& name, SuccessLine line = SuccessLine::print);
// Created when missing. Text appends always write at the end; a byte
// handle starts at the end and may seek back.
bool appendTextFile(FileHandle& file, const Text& name, SuccessLine line = SuccessLine::print);
bool appendBinaryFile(FileHandle& file, const Text& name, SuccessLine line = SuccessLine::print);

bool deleteFile(const Text& name);
bool renameFile(const Text& oldName, const Text& newName);
bool changeDirectory(const Text& name);
bool makeDirectory(const Text& name);
// Creates the missing levels from the longest existing parent downward,
// with one line for each created level.
bool makeDirectories(const Text& name);
bool removeDirectory(const Text& name);
bool renameDirectory(const Text& oldName, const Text& newName);

// Silent tests after normalising; anything but a directory is a file.
bool fileExists(const Text& name);
bool directoryExists(const Text& name);
Text currentDirectory();

}  // namespace corvane
