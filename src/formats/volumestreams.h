// Byte streams of the volume formats: a plain file or a gzip stream to read
// from, and a plain or gzip-compressed target to write to. Readers see one
// interface whatever the form, so that the block readers exist once.
#pragma once

#include <cstdint>
#include <memory>

#include "foundation/files.h"
#include "foundation/text.h"

namespace corvane {

class VolumeInput {
public:
    VolumeInput();
    VolumeInput(VolumeInput&&) noexcept;
    VolumeInput& operator=(VolumeInput&&) noexcept;
    ~VolumeInput();

    // Opens without any report; false when the file can't be opened. With
    // `gzip` the file is read through zlib's gzip layer, which also passes
    // plain files through unchanged.
    bool open(const Text& name, bool gzip);
    bool isOpen() const;
    bool isGzip() const { return gzip_; }
    void close();

    // Wants all `count` bytes; fewer is false (the bytes read stay put).
    bool read(void* data, std::int64_t count);
    // Absolute position from the start of the data; a gzip stream rewinds to
    // go backwards.
    bool seek(std::int64_t position);
    // Bytes in the file; plain files only, 0 for a gzip stream.
    std::int64_t size();

private:
    struct State;
    std::unique_ptr<State> state_;
    bool gzip_ = false;
};

// A target written through a temporary beside it (FileHandle), either plain
// or deflated into the gzip format at level 6.
class VolumeOutput {
public:
    VolumeOutput();
    ~VolumeOutput();

    // Opens through writeBinaryFile, which prints "Write file (" or reports
    // the failure.
    bool open(const Text& name, bool gzip);
    bool write(const void* data, std::int64_t count);
    // Ends the gzip stream, closes and puts the file in place; a failure
    // anywhere in the life of the target gives false.
    bool close();

private:
    bool deflateAndWrite(const void* data, std::int64_t count, bool finish);

    FileHandle file_;
    struct Deflater;
    std::unique_ptr<Deflater> deflater_;
    bool failed_ = false;
};

}  // namespace corvane
