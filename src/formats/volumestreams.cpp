#include "formats/volumestreams.h"

#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <vector>

#include "foundation/paths.h"

namespace corvane {

namespace {

constexpr unsigned gzipBufferBytes = 1u << 16;  // reads of twice this go straight into the caller's memory
constexpr std::size_t fileBufferBytes = std::size_t{1} << 20;
constexpr std::int64_t largestZlibCall = INT_MAX / 2;  // zlib counts in int and unsigned
constexpr int gzipLevel = 6;
constexpr int gzipWindowBits = 15 + 16;  // +16 asks deflate for the gzip wrapper

}  // namespace

// ---- input ---------------------------------------------------------------------

struct VolumeInput::State {
    std::FILE* file = nullptr;
    gzFile stream = nullptr;
};

VolumeInput::VolumeInput() : state_(std::make_unique<State>()) {}
VolumeInput::VolumeInput(VolumeInput&&) noexcept = default;
VolumeInput& VolumeInput::operator=(VolumeInput&&) noexcept = default;
VolumeInput::~VolumeInput() { close(); }

bool VolumeInput::open(const Text& name, bool gzip) {
    close();
    if (!state_) state_ = std::make_unique<State>();
    const ByteText path = normalizePath(name).toUtf8();
    if (path.empty()) return false;
    gzip_ = gzip;
    if (gzip) {
        state_->stream = gzopen(path.c_str(), "rb");
        if (state_->stream != nullptr) gzbuffer(state_->stream, gzipBufferBytes);
    } else {
        state_->file = std::fopen(path.c_str(), "rb");
        // Rows are read one at a time; a large buffer keeps system calls few.
        if (state_->file != nullptr) std::setvbuf(state_->file, nullptr, _IOFBF, fileBufferBytes);
    }
    return isOpen();
}

bool VolumeInput::isOpen() const { return state_ && (state_->file != nullptr || state_->stream != nullptr); }

void VolumeInput::close() {
    if (!state_) return;
    if (state_->file != nullptr) std::fclose(state_->file);
    if (state_->stream != nullptr) gzclose(state_->stream);
    state_->file = nullptr;
    state_->stream = nullptr;
}

bool VolumeInput::read(void* data, std::int64_t count) {
    if (!isOpen() || count < 0) return false;
    auto* out = static_cast<unsigned char*>(data);
    if (state_->file != nullptr) {
        return std::fread(out, 1, static_cast<std::size_t>(count), state_->file) == static_cast<std::size_t>(count);
    }
    while (count > 0) {
        const std::int64_t piece = std::min(count, largestZlibCall);
        const int got = gzread(state_->stream, out, static_cast<unsigned>(piece));
        if (got <= 0) return false;
        out += got;
        count -= got;
    }
    return true;
}

bool VolumeInput::seek(std::int64_t position) {
    if (!isOpen() || position < 0) return false;
    if (state_->file != nullptr) return fseeko(state_->file, position, SEEK_SET) == 0;
    return gzseek64(state_->stream, position, SEEK_SET) == position;
}

std::int64_t VolumeInput::size() {
    if (!isOpen() || state_->file == nullptr) return 0;
    const off_t here = ftello(state_->file);
    if (fseeko(state_->file, 0, SEEK_END) != 0) return 0;
    const off_t end = ftello(state_->file);
    fseeko(state_->file, here, SEEK_SET);
    return end < 0 ? 0 : end;
}

// ---- output --------------------------------------------------------------------

struct VolumeOutput::Deflater {
    z_stream stream{};
    std::vector<unsigned char> buffer = std::vector<unsigned char>(gzipBufferBytes);
    bool ready = false;
    ~Deflater() {
        if (ready) deflateEnd(&stream);
    }
};

VolumeOutput::VolumeOutput() = default;
VolumeOutput::~VolumeOutput() = default;

bool VolumeOutput::open(const Text& name, bool gzip) {
    deflater_.reset();
    failed_ = false;
    if (!writeBinaryFile(file_, name)) return false;
    if (gzip) {
        deflater_ = std::make_unique<Deflater>();
        deflater_->ready = deflateInit2(&deflater_->stream, gzipLevel, Z_DEFLATED, gzipWindowBits, 8,
                                        Z_DEFAULT_STRATEGY) == Z_OK;
        failed_ = !deflater_->ready;
    }
    return !failed_;
}

bool VolumeOutput::write(const void* data, std::int64_t count) {
    if (failed_ || !file_.isOpen()) return false;
    if (count <= 0) return true;
    if (deflater_) return deflateAndWrite(data, count, false);
    failed_ = !file_.write(data, count);
    return !failed_;
}

bool VolumeOutput::deflateAndWrite(const void* data, std::int64_t count, bool finish) {
    z_stream& stream = deflater_->stream;
    auto* in = static_cast<const unsigned char*>(data);
    do {
        const std::int64_t piece = std::min(count, largestZlibCall);
        stream.next_in = const_cast<unsigned char*>(in);
        stream.avail_in = static_cast<unsigned>(piece);
        in += piece;
        count -= piece;
        const int flush = finish && count == 0 ? Z_FINISH : Z_NO_FLUSH;
        int result = Z_OK;
        do {
            stream.next_out = deflater_->buffer.data();
            stream.avail_out = static_cast<unsigned>(deflater_->buffer.size());
            result = deflate(&stream, flush);
            if (result == Z_STREAM_ERROR) {
                file_ = FileHandle();  // drops the temporary; the target stays as it was
                return !(failed_ = true);
            }
            const std::int64_t produced = static_cast<std::int64_t>(deflater_->buffer.size()) - stream.avail_out;
            if (produced > 0 && !file_.write(deflater_->buffer.data(), produced)) return !(failed_ = true);
        } while (stream.avail_out == 0 || (flush == Z_FINISH && result != Z_STREAM_END));
    } while (count > 0);
    return true;
}

bool VolumeOutput::close() {
    if (!file_.isOpen()) return false;
    if (!failed_ && deflater_) deflateAndWrite(nullptr, 0, true);
    deflater_.reset();
    if (failed_) {
        // The handle's close reports the write failure and leaves the target alone.
        file_.close();
        return false;
    }
    return file_.close();
}

}  // namespace corvane
