// Files: the file handle over a stdio stream, the open wrappers and the
// file and directory operations, all reporting in the classic codes.
#include "foundation/files.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "foundation/console.h"
#include "foundation/numbers.h"
#include "foundation/paths.h"

namespace corvane {

namespace {

constexpr int codeReadError = 100;
constexpr int codeWriteError = 101;
constexpr int codeNotOpen = 103;
constexpr int codeNotOpenForInput = 104;
constexpr int codeNotOpenForOutput = 105;

bool statOf(const ByteText& path, struct stat& info) { return ::stat(path.c_str(), &info) == 0; }

bool isDirectoryPath(const ByteText& path) {
    struct stat info;
    return statOf(path, info) && S_ISDIR(info.st_mode);
}

// Position behind the last '/' of a byte path, 0 when there is none.
std::size_t fileStart(const ByteText& path) {
    const std::size_t slash = path.rfind('/');
    return slash == ByteText::npos ? 0 : slash + 1;
}

// Sets the pending result and yields false, for one-line failure paths.
bool fail(int code) {
    setIoResult(code);
    return false;
}

void announce(const char* verb, const Text& shortName) { writeTextLine(verb + shortName + ")."); }

void announceTwo(const char* verb, const Text& oldShort, const Text& newShort) {
    writeTextLine(verb + oldShort + " -> " + newShort + ").");
}

// The normalised name, or empty after printing the empty-name line.
Text checkedPath(const Text& name) {
    Text path = normalizePath(name);
    if (path.empty()) writeLine("Empty filename!");
    return path;
}

}  // namespace

int dosCodeFromErrno(int errnoValue, IoDirection direction) {
    switch (errnoValue) {
        case 0: return 0;
        case ENOENT: return 2;
        case ENOTDIR: return 3;
        case EMFILE:
        case ENFILE: return 4;
        case EACCES:
        case EPERM:
        case EISDIR:
        case EEXIST:
        case ENOTEMPTY: return 5;
        case EBADF: return 6;
        case EINVAL: return 12;
        case EBUSY: return 16;
        case EXDEV: return 17;
        case EIO: return direction == IoDirection::write ? codeWriteError : codeReadError;
        case ENOSPC:
        case EDQUOT:
        case EFBIG: return codeWriteError;
        case EROFS: return 150;
        // Past the classic table, so that no platform value is mistaken for
        // a classic one; reportIoError prints it as "Error number: ".
        default: return 1000 + errnoValue;
    }
}

int dosCodeForPath(int errnoValue, const Text& path, IoDirection direction) {
    if (errnoValue == ENOENT) {
        const Text directory = directoryPart(path);
        if (!directory.empty() && !isDirectoryPath(directory.toUtf8())) return 3;
    }
    return dosCodeFromErrno(errnoValue, direction);
}

// ---------------------------------------------------------------- handle

FileHandle::FileHandle(FileHandle&& other) noexcept { *this = std::move(other); }

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
    if (this != &other) {
        release();
        stream_ = std::exchange(other.stream_, nullptr);
        name_ = std::move(other.name_);
        temporaryPath_ = std::move(other.temporaryPath_);
        targetPath_ = std::move(other.targetPath_);
        canRead_ = other.canRead_;
        canWrite_ = other.canWrite_;
        writeFailed_ = other.writeFailed_;
        lastAccess_ = other.lastAccess_;
        other.temporaryPath_.clear();
        other.targetPath_.clear();
    }
    return *this;
}

FileHandle::~FileHandle() { release(); }

// Anything but close() leaves the target of a save as it was.
void FileHandle::release() {
    if (!temporaryPath_.empty()) {
        discardTemporary();
    } else if (isOpen()) {
        close();
    }
}

void FileHandle::discardTemporary() {
    if (stream_) std::fclose(stream_);
    stream_ = nullptr;
    ::unlink(temporaryPath_.c_str());
    temporaryPath_.clear();
    targetPath_.clear();
    canRead_ = canWrite_ = writeFailed_ = false;
    lastAccess_ = LastAccess::none;
}

// Read and write may follow each other on one stream only across a seek.
bool FileHandle::readable() {
    if (!stream_) return fail(codeNotOpen);
    if (!canRead_) return fail(codeNotOpenForInput);
    if (lastAccess_ == LastAccess::write) std::fseek(stream_, 0, SEEK_CUR);
    lastAccess_ = LastAccess::read;
    return true;
}

bool FileHandle::writable() {
    if (!stream_) return fail(codeNotOpen);
    if (!canWrite_) return fail(codeNotOpenForOutput);
    if (lastAccess_ == LastAccess::read) std::fseek(stream_, 0, SEEK_CUR);
    lastAccess_ = LastAccess::write;
    return true;
}

bool FileHandle::failRead() {
    std::clearerr(stream_);
    return fail(codeReadError);
}

bool FileHandle::failWrite() {
    writeFailed_ = true;
    return fail(codeWriteError);
}

bool FileHandle::readLine(ByteText& line) {
    line.clear();
    if (!readable()) return false;
    int character = getc_unlocked(stream_);
    if (character == EOF) return std::ferror(stream_) ? failRead() : false;
    while (character != EOF && character != '\n' && character != '\r') {
        line.push_back(static_cast<char>(character));
        character = getc_unlocked(stream_);
    }
    if (character == '\r') {
        const int next = getc_unlocked(stream_);
        if (next != '\n' && next != EOF) std::ungetc(next, stream_);
    }
    if (std::ferror(stream_)) return failRead();
    return true;
}

bool FileHandle::writeLine(std::string_view line) { return write(line) && write("\n"); }

bool FileHandle::atEnd() {
    if (!readable()) return true;
    const int character = getc_unlocked(stream_);
    if (character == EOF) return true;
    std::ungetc(character, stream_);
    return false;
}

std::int64_t FileHandle::readSome(void* data, std::int64_t count) {
    if (!readable() || count <= 0) return 0;
    const std::size_t got = std::fread(data, 1, static_cast<std::size_t>(count), stream_);
    if (got < static_cast<std::size_t>(count) && std::ferror(stream_)) failRead();
    return static_cast<std::int64_t>(got);
}

bool FileHandle::read(void* data, std::int64_t count) {
    if (!readable()) return false;
    if (count <= 0) return true;
    if (std::fread(data, 1, static_cast<std::size_t>(count), stream_) == static_cast<std::size_t>(count)) return true;
    // A short block at the end counts as a read error too: a truncated
    // file must not pass for a whole one.
    return failRead();
}

bool FileHandle::read(ByteText& block, std::int64_t count) {
    block.resize(static_cast<std::size_t>(std::max<std::int64_t>(count, 0)));
    const bool complete = read(block.data(), count);
    if (!complete) block.clear();
    return complete;
}

bool FileHandle::write(const void* data, std::int64_t count) {
    if (!writable()) return false;
    if (count <= 0) return true;
    if (std::fwrite(data, 1, static_cast<std::size_t>(count), stream_) != static_cast<std::size_t>(count)) {
        return failWrite();
    }
    return true;
}

bool FileHandle::write(std::string_view bytes) {
    return write(bytes.data(), static_cast<std::int64_t>(bytes.size()));
}

std::int64_t FileHandle::size() {
    struct stat info;
    if (!stream_) {
        setIoResult(codeNotOpen);
    } else if (canWrite_ && std::fflush(stream_) != 0) {
        failWrite();
    } else if (::fstat(fileno(stream_), &info) != 0) {
        setIoResult(dosCodeFromErrno(errno));
    } else {
        return static_cast<std::int64_t>(info.st_size);
    }
    return 0;
}

std::int64_t FileHandle::position() {
    if (!stream_) {
        setIoResult(codeNotOpen);
        return 0;
    }
    const off_t where = ftello(stream_);
    if (where >= 0) return static_cast<std::int64_t>(where);
    setIoResult(dosCodeFromErrno(errno));
    return 0;
}

bool FileHandle::seek(std::int64_t position) {
    if (!stream_) return fail(codeNotOpen);
    if (fseeko(stream_, static_cast<off_t>(position), SEEK_SET) != 0) {
        return fail(dosCodeFromErrno(errno, canWrite_ ? IoDirection::write : IoDirection::read));
    }
    lastAccess_ = LastAccess::none;
    return true;
}

bool FileHandle::close() {
    if (!stream_) return true;
    bool complete = !writeFailed_;
    if (canWrite_ && std::fflush(stream_) != 0) complete = false;
    // The data must be on the disk before the rename makes it the file.
    if (complete && !temporaryPath_.empty() && ::fsync(fileno(stream_)) != 0) complete = false;
    if (std::fclose(stream_) != 0 && canWrite_) complete = false;
    stream_ = nullptr;

    int code = complete ? 0 : codeWriteError;
    if (complete && !temporaryPath_.empty() && std::rename(temporaryPath_.c_str(), targetPath_.c_str()) != 0) {
        code = dosCodeForPath(errno, name_, IoDirection::write);
    }
    if (code != 0 && !temporaryPath_.empty()) ::unlink(temporaryPath_.c_str());
    temporaryPath_.clear();
    targetPath_.clear();
    const bool wrote = canWrite_;
    canRead_ = canWrite_ = writeFailed_ = false;
    lastAccess_ = LastAccess::none;
    if (code == 0 || !wrote) return true;
    setIoResult(code);
    reportIoError(shortenPath(name_));
    return false;
}

// ---------------------------------------------------------------- opening

namespace {
enum class OpenMode { readText, readBytes, writeText, saveText, writeBytes, appendText, appendBytes };
}  // namespace

struct FileOpener {
    // Opens `path` into `file`; on failure sets the pending result.
    static bool open(FileHandle& file, const Text& path, OpenMode mode) {
        const ByteText target = path.toUtf8();
        switch (mode) {
            case OpenMode::readText:
            case OpenMode::readBytes: return openPlain(file, path, target, O_RDONLY, "rb", true, false);
            case OpenMode::writeText:
                return openPlain(file, path, target, O_WRONLY | O_CREAT | O_TRUNC, "wb", false, true);
            case OpenMode::appendText:
                return openPlain(file, path, target, O_WRONLY | O_CREAT | O_APPEND, "ab", false, true);
            case OpenMode::appendBytes:
                if (!openPlain(file, path, target, O_RDWR | O_CREAT, "r+b", true, true)) return false;
                if (fseeko(file.stream_, 0, SEEK_END) != 0) {
                    const int error = errno;
                    std::fclose(std::exchange(file.stream_, nullptr));
                    return fail(dosCodeFromErrno(error));
                }
                return true;
            case OpenMode::saveText:
            case OpenMode::writeBytes: return openSave(file, path, target);
        }
        return false;
    }

    static bool openPlain(FileHandle& file, const Text& path, const ByteText& target, int flags,
                          const char* streamMode, bool forReading, bool forWriting) {
        const IoDirection direction = forWriting ? IoDirection::write : IoDirection::read;
        const int descriptor = ::open(target.c_str(), flags | O_CLOEXEC, 0666);
        if (descriptor < 0) return fail(dosCodeForPath(errno, path, direction));
        // A directory opens for reading on this platform; it is no file.
        struct stat info;
        if (::fstat(descriptor, &info) == 0 && S_ISDIR(info.st_mode)) {
            ::close(descriptor);
            return fail(dosCodeFromErrno(EISDIR));
        }
        return attach(file, descriptor, streamMode, path, forReading, forWriting);
    }

    // Whole-file saves go to "<dir>/.<name>.XXXXXX" first. Targets that are
    // no regular file (devices such as /dev/null) and directories that
    // refuse new entries are written straight.
    static bool openSave(FileHandle& file, const Text& path, const ByteText& target) {
        ByteText destination = target;
        struct stat existing;
        const bool exists = ::lstat(target.c_str(), &existing) == 0;
        if (exists && S_ISLNK(existing.st_mode)) {
            // Replace the file the link points to, not the link.
            char* resolved = ::realpath(target.c_str(), nullptr);
            const bool regular = resolved && ::stat(resolved, &existing) == 0 && S_ISREG(existing.st_mode);
            if (regular) destination = resolved;
            std::free(resolved);
            if (!regular) return openSaveDirect(file, path, target);
        } else if (exists && !S_ISREG(existing.st_mode)) {
            return openSaveDirect(file, path, target);
        }
        // The rename would replace a write-protected file as well.
        if (exists && ::access(destination.c_str(), W_OK) != 0) {
            return fail(dosCodeFromErrno(errno, IoDirection::write));
        }

        const std::size_t nameStart = fileStart(destination);
        ByteText pattern = destination.substr(0, nameStart) + "." + destination.substr(nameStart) + ".XXXXXX";
        const int descriptor = ::mkostemp(pattern.data(), O_CLOEXEC);
        if (descriptor < 0) {
            const int error = errno;
            if (error == EACCES || error == EPERM || error == ENAMETOOLONG) return openSaveDirect(file, path, target);
            return fail(dosCodeForPath(error, path, IoDirection::write));
        }
        // mkostemp creates with 0600; the saved file gets the old file's mode,
        // or what a plain create would give.
        mode_t mode = 0;
        if (exists) {
            mode = existing.st_mode & 07777;
        } else {
            const mode_t mask = ::umask(0);
            ::umask(mask);
            mode = 0666 & ~mask;
        }
        ::fchmod(descriptor, mode);
        if (!attach(file, descriptor, "w+b", path, true, true)) {
            ::unlink(pattern.c_str());
            return false;
        }
        file.temporaryPath_ = pattern;
        file.targetPath_ = destination;
        return true;
    }

    static bool openSaveDirect(FileHandle& file, const Text& path, const ByteText& target) {
        return openPlain(file, path, target, O_RDWR | O_CREAT | O_TRUNC, "w+b", true, true);
    }

    static bool attach(FileHandle& file, int descriptor, const char* streamMode, const Text& path,
                       bool forReading, bool forWriting) {
        std::FILE* stream = ::fdopen(descriptor, streamMode);
        if (!stream) {
            const int error = errno;
            ::close(descriptor);
            return fail(dosCodeFromErrno(error));
        }
        file.stream_ = stream;
        file.name_ = path;
        file.canRead_ = forReading;
        file.canWrite_ = forWriting;
        file.writeFailed_ = false;
        file.lastAccess_ = FileHandle::LastAccess::none;
        return true;
    }
};

namespace {

bool openWrapped(FileHandle& file, const Text& name, OpenMode mode, SuccessLine line) {
    if (file.isOpen()) file.close();
    const Text path = checkedPath(name);
    if (path.empty()) return false;
    const Text shortName = shortenPath(path);
    setIoResult(0);  // a stale result must not be charged to this name
    FileOpener::open(file, path, mode);
    if (reportIoError(shortName)) return false;
    if (line == SuccessLine::quiet) return true;
    switch (mode) {
        case OpenMode::readBytes: {
            const std::int64_t size = file.size();
            setIoResult(0);
            writeTextLine("Read file (" + shortName + ") with size (" +
                          sizeToText(static_cast<std::uint64_t>(size), 1, "B") + ").");
            break;
        }
        case OpenMode::readText: announce("Read file (", shortName); break;
        case OpenMode::writeText:
        case OpenMode::saveText:
        case OpenMode::writeBytes: announce("Write file (", shortName); break;
        case OpenMode::appendText:
        case OpenMode::appendBytes: announce("Append file (", shortName); break;
    }
    return true;
}

// One operation on one path: normalise, run, report or announce. The
// operation yields 0 or its errno; for directory operations a missing
// entry is always a missing path.
using PathOperation = int (*)(const char* path);

bool wrappedOperation(const Text& name, PathOperation operation, bool onDirectory, const char* verb) {
    const Text path = checkedPath(name);
    if (path.empty()) return false;
    const Text shortName = shortenPath(path);
    setIoResult(0);
    const int error = operation(path.toUtf8().c_str());
    if (error != 0) setIoResult(onDirectory && error == ENOENT ? 3 : dosCodeForPath(error, path));
    if (reportIoError(shortName)) return false;
    announce(verb, shortName);
    return true;
}

bool wrappedRename(const Text& oldName, const Text& newName, bool onDirectory, const char* verb) {
    const Text oldPath = checkedPath(oldName);
    if (oldPath.empty()) return false;
    const Text newPath = checkedPath(newName);
    if (newPath.empty()) return false;
    setIoResult(0);
    Text blamed = oldPath;
    if (std::rename(oldPath.toUtf8().c_str(), newPath.toUtf8().c_str()) != 0) {
        const int error = errno;
        struct stat info;
        // With the old entry present, a missing entry is the new one's path.
        if ((error == ENOENT || error == ENOTDIR) && statOf(oldPath.toUtf8(), info)) {
            blamed = newPath;
            setIoResult(3);
        } else {
            setIoResult(onDirectory && error == ENOENT ? 3 : dosCodeForPath(error, oldPath));
        }
    }
    if (reportIoError(shortenPath(blamed))) return false;
    announceTwo(verb, shortenPath(oldPath), shortenPath(newPath));
    return true;
}

int errnoOf(int result) { return result == 0 ? 0 : errno; }

}  // namespace

bool readTextFile(FileHandle& file, const Text& name, SuccessLine line) {
    return openWrapped(file, name, OpenMode::readText, line);
}
bool readBinaryFile(FileHandle& file, const Text& name, SuccessLine line) {
    return openWrapped(file, name, OpenMode::readBytes, line);
}
bool writeTextFile(FileHandle& file, const Text& name, SuccessLine line) {
    return openWrapped(file, name, OpenMode::writeText, line);
}
bool saveTextFile(FileHandle& file, const Text& name, SuccessLine line) {
    return openWrapped(file, name, OpenMode::saveText, line);
}
bool writeBinaryFile(FileHandle& file, const Text& name, SuccessLine line) {
    return openWrapped(file, name, OpenMode::writeBytes, line);
}
bool appendTextFile(FileHandle& file, const Text& name, SuccessLine line) {
    return openWrapped(file, name, OpenMode::appendText, line);
}
bool appendBinaryFile(FileHandle& file, const Text& name, SuccessLine line) {
    return openWrapped(file, name, OpenMode::appendBytes, line);
}

// ---------------------------------------------------------------- operations

bool deleteFile(const Text& name) {
    return wrappedOperation(
        name, [](const char* path) { return errnoOf(::unlink(path)); }, false, "Delete file (");
}

bool renameFile(const Text& oldName, const Text& newName) {
    return wrappedRename(oldName, newName, false, "Rename file (");
}

bool changeDirectory(const Text& name) {
    return wrappedOperation(
        name, [](const char* path) { return errnoOf(::chdir(path)); }, true, "Change directory (");
}

bool makeDirectory(const Text& name) {
    return wrappedOperation(
        name, [](const char* path) { return errnoOf(::mkdir(path, 0777)); }, true, "Make directory (");
}

bool makeDirectories(const Text& name) {
    Text path = checkedPath(name);
    if (path.empty()) return false;
    while (path.length() > 1 && path.endsWith("/")) path = path.copy(1, path.length() - 1);
    // Each level ends at a '/' that follows a name character.
    std::vector<Text> levels;
    for (std::int64_t position = 2; position <= path.length(); ++position) {
        if (path.at(position) == u'/' && path.at(position - 1) != u'/') levels.push_back(path.copy(1, position - 1));
    }
    levels.push_back(path);
    // A file in the way stops the walk as well; creating below it then
    // reports the path as not found.
    struct stat info;
    std::size_t missing = levels.size();
    while (missing > 0 && !statOf(levels[missing - 1].toUtf8(), info)) --missing;
    if (missing == levels.size()) return S_ISDIR(info.st_mode) || makeDirectory(path);
    for (std::size_t level = missing; level < levels.size(); ++level) {
        if (!makeDirectory(levels[level])) return false;
    }
    return true;
}

bool removeDirectory(const Text& name) {
    return wrappedOperation(
        name, [](const char* path) { return errnoOf(::rmdir(path)); }, true, "Remove directory (");
}

bool renameDirectory(const Text& oldName, const Text& newName) {
    return wrappedRename(oldName, newName, true, "Rename directory (");
}

bool fileExists(const Text& name) {
    const Text path = normalizePath(name);
    struct stat info;
    return !path.empty() && statOf(path.toUtf8(), info) && !S_ISDIR(info.st_mode);
}

bool directoryExists(const Text& name) {
    const Text path = normalizePath(name);
    return !path.empty() && isDirectoryPath(path.toUtf8());
}

Text currentDirectory() {
    std::vector<char> buffer(4096);
    while (::getcwd(buffer.data(), buffer.size()) == nullptr) {
        if (errno != ERANGE) return Text();
        buffer.resize(buffer.size() * 2);
    }
    return Text(buffer.data());
}

}  // namespace corvane
