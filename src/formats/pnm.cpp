// PNM loader and writers: P1 to P6, the 16-bit forms behind "magic + 10",
// and P7 (PAM) written only; each plain or through gzip.
#include "formats/pnm.h"

#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "formats/imagecommon.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/numbers.h"
#include "foundation/progress.h"

namespace corvane {

namespace {

// ---- input ------------------------------------------------------------------------

struct FreeBlock {
    void operator()(std::uint8_t* block) const { std::free(block); }
};
using Block = std::unique_ptr<std::uint8_t, FreeBlock>;

// The inflated content of the gzip members one after the other; data that
// is no gzip stream passes as it is. Damage ends the content where it
// starts, as does a block that can't grow (realloc, so that no exception
// leaves here).
std::int64_t inflateAll(const std::uint8_t* in, std::int64_t size, Block& out) {
    if (size < 2 || in[0] != 0x1f || in[1] != 0x8b) {
        out.reset(static_cast<std::uint8_t*>(std::malloc(static_cast<std::size_t>(std::max<std::int64_t>(size, 1)))));
        if (!out) return 0;
        if (size > 0) std::memcpy(out.get(), in, static_cast<std::size_t>(size));
        return size;
    }
    z_stream stream{};
    if (inflateInit2(&stream, 15 + 16) != Z_OK) return 0;
    std::int64_t capacity = 0, produced = 0, consumed = 0;
    for (;;) {
        if (produced == capacity) {
            const std::int64_t grown = std::max<std::int64_t>(capacity * 2, 1 << 16);
            auto* block = static_cast<std::uint8_t*>(std::realloc(out.get(), static_cast<std::size_t>(grown)));
            if (block == nullptr) break;
            (void)out.release();
            out.reset(block);
            capacity = grown;
        }
        // zlib counts in 32 bits; big files go in slices.
        stream.next_in = const_cast<std::uint8_t*>(in + consumed);
        stream.avail_in = static_cast<uInt>(std::min<std::int64_t>(size - consumed, 1 << 30));
        stream.next_out = out.get() + produced;
        stream.avail_out = static_cast<uInt>(std::min<std::int64_t>(capacity - produced, 1 << 30));
        const uInt inBefore = stream.avail_in, outBefore = stream.avail_out;
        const int result = inflate(&stream, Z_NO_FLUSH);
        consumed += inBefore - stream.avail_in;
        produced += outBefore - stream.avail_out;
        if (result == Z_STREAM_END) {
            // Another member may follow; anything else behind is ignored.
            if (size - consumed < 2 || in[consumed] != 0x1f || in[consumed + 1] != 0x8b) break;
            if (inflateReset(&stream) != Z_OK) break;
        } else if (result != Z_OK || (inBefore == stream.avail_in && outBefore == stream.avail_out)) {
            break;  // damaged, or truncated with nothing left to give
        }
    }
    inflateEnd(&stream);
    return produced;
}

// The bytes of a PNM file: a plain file read through a window, or a gzip
// file inflated whole into memory. Either way the bytes left are known, so
// that a header can be checked against them before anything is allocated.
class PnmInput {
public:
    bool openPlain(const Text& fileName) {
        if (!openImageFile(file_, fileName)) return false;
        fileLeft_ = file_.size();
        window_ = std::make_unique<std::uint8_t[]>(windowBytes);
        data_ = window_.get();
        return true;
    }

    bool openGzip(const Text& fileName) {
        FileHandle file;
        if (!openImageFile(file, fileName)) return false;
        const std::int64_t size = file.size();
        Block packed(static_cast<std::uint8_t*>(std::malloc(static_cast<std::size_t>(std::max<std::int64_t>(size, 1)))));
        std::int64_t got = packed ? file.readSome(packed.get(), size) : 0;
        setIoResult(0);  // a short read shows as missing data below
        file.close();
        end_ = inflateAll(packed.get(), got, inflated_);
        data_ = inflated_.get();
        return true;
    }

    // The next byte, -1 at the end.
    int next() {
        if (at_ == end_ && !refill()) return -1;
        return data_[at_++];
    }

    // Up to `count` bytes; how many came.
    std::int64_t read(void* target, std::int64_t count) {
        auto* out = static_cast<std::uint8_t*>(target);
        std::int64_t done = std::min(count, end_ - at_);
        if (done > 0) std::memcpy(out, data_ + at_, static_cast<std::size_t>(done));
        at_ += done;
        if (done < count && fileLeft_ > 0) {
            const std::int64_t got = file_.readSome(out + done, std::min(count - done, fileLeft_));
            fileLeft_ = got > 0 ? fileLeft_ - got : 0;
            done += std::max<std::int64_t>(got, 0);
        }
        return done;
    }

    std::int64_t remaining() const { return end_ - at_ + fileLeft_; }

private:
    static constexpr std::int64_t windowBytes = 1 << 16;

    bool refill() {
        if (fileLeft_ <= 0 || !window_) return false;
        const std::int64_t got = file_.readSome(window_.get(), std::min(windowBytes, fileLeft_));
        if (got <= 0) {
            fileLeft_ = 0;
            return false;
        }
        fileLeft_ -= got;
        at_ = 0;
        end_ = got;
        return true;
    }

    FileHandle file_;
    std::unique_ptr<std::uint8_t[]> window_;
    Block inflated_;
    const std::uint8_t* data_ = nullptr;
    std::int64_t at_ = 0, end_ = 0;
    std::int64_t fileLeft_ = 0;  // plain form: bytes not yet in the window
};

// ---- tokens -----------------------------------------------------------------------

constexpr std::size_t keptTokenBytes = 32;  // enough for any number; the rest is read and dropped

// Every byte of 32 or below ends a token, and '#' starts a comment to the
// line end, inside a token too. Empty tokens are skipped; empty at the end.
ByteText nextToken(PnmInput& in) {
    ByteText token;
    bool any = false;
    for (;;) {
        int c = in.next();
        if (c < 0) return token;
        if (c == '#') {
            do c = in.next();
            while (c >= 0 && c != '\n' && c != '\r');
            if (any) return token;
            continue;
        }
        if (c <= ' ') {
            if (any) return token;
            continue;
        }
        any = true;
        if (token.size() < keptTokenBytes) token += static_cast<char>(c);
    }
}

constexpr std::int64_t tokenValueCap = 1'000'000'000'000'000;  // 10^15: ten times it still fits

// Decimal digits behind an optional sign, up to the first other byte; 0
// without digits. Capped far above anything a file can hold.
std::int64_t tokenValue(std::string_view token) {
    std::size_t i = 0;
    bool negative = false;
    if (i < token.size() && (token[i] == '-' || token[i] == '+')) negative = token[i++] == '-';
    std::int64_t value = 0;
    for (; i < token.size() && token[i] >= '0' && token[i] <= '9'; ++i) {
        value = std::min(value * 10 + (token[i] - '0'), tokenValueCap);
    }
    return negative ? -value : value;
}

std::int64_t nextValue(PnmInput& in) { return tokenValue(nextToken(in)); }

// ---- forms ----------------------------------------------------------------------

enum class Samples { mono, gray, rgb };

struct PnmForm {
    std::int64_t magic;
    bool ascii;
    Samples samples;
    bool sixteenBit;
    const char* grayText;
    const char* fullgrayText;
    const char* colourText;  // null: colour kinds don't take it
};

// The magic number after the +10 of a maximum value above 255.
constexpr PnmForm pnmForms[] = {
    {1,  true,  Samples::mono, false, "  Grey (Mono) with (",     "  Fullgrey (Mono) with (",    " RGB (Grey) with ("},
    {4,  false, Samples::mono, false, "  Grey (Mono) with (",     "  Fullgrey (Mono) with (",    " RGB (Grey) with ("},
    {2,  true,  Samples::gray, false, "  Grey with (",            "  Fullgrey (Grey) with (",    "  RGB (Grey) with ("},
    {5,  false, Samples::gray, false, "  Grey with (",            "  Fullgrey (Grey) with (",    "  RGB (Grey) with ("},
    {3,  true,  Samples::rgb,  false, "  Grey (RGB) with (",      "  Fullgrey (RGB) with (",     "  RGB with ("},
    {6,  false, Samples::rgb,  false, "  Grey (RGB) with (",      "  Fullgrey (RGB) with (",     "  RGB with ("},
    {12, true,  Samples::gray, true,  "  Grey (Fullgrey) with (", "  Fullgrey with (",           nullptr},
    {15, false, Samples::gray, true,  "  Grey (Fullgrey) with (", "  Fullgrey with (",           nullptr},
    {13, true,  Samples::rgb,  true,  "  Grey (Fullrgb) with (",  "  Fullgrey (Fullrgb) with (", nullptr},
    {16, false, Samples::rgb,  true,  "  Grey (Fullrgb) with (",  "  Fullgrey (Fullrgb) with (", nullptr},
};

const PnmForm* formOf(std::int64_t magic, VoxelKind kind) {
    for (const PnmForm& form : pnmForms) {
        if (form.magic != magic) continue;
        return isColourImageKind(kind) && form.colourText == nullptr ? nullptr : &form;
    }
    return nullptr;
}

const char* formText(const PnmForm& form, VoxelKind kind) {
    if (kind == VoxelKind::imageGray) return form.grayText;
    return kind == VoxelKind::imageFullgray ? form.fullgrayText : form.colourText;
}

int sampleCount(Samples samples) { return samples == Samples::rgb ? 3 : 1; }

// Gray kinds take up to 65535, colour kinds up to 255.
bool depthAccepted(std::int64_t depth, VoxelKind kind) {
    const Text shown = integerToText(depth);
    if (isColourImageKind(kind)) {
        if (depth <= 255) return true;
        writeTextLine("  Bad value Depth (" + shown + ") max = 255.");
        return false;
    }
    if (depth <= 65535) return true;
    writeTextLine("  Bad value Depth (" + shown + (kind == VoxelKind::imageFullgray ? ") max = 65535!." : ") max = 65535!"));
    return false;
}

// Whether the data can be there: binary rows in full, and at least one byte
// for each ASCII value. P1 and P4 count from behind the third token, since
// their fourth token is data.
bool dataCanFit(const PnmForm& form, std::int64_t width, std::int64_t height, std::int64_t afterThird,
                std::int64_t afterFourth) {
    const std::int64_t values = width * height * sampleCount(form.samples);
    if (form.samples == Samples::mono) return form.ascii ? values <= afterThird : (width + 7) / 8 * height <= afterThird;
    if (form.ascii) return values <= afterFourth;
    return values * (form.sixteenBit ? 2 : 1) <= afterFourth;
}

// ---- rows -------------------------------------------------------------------------

std::uint16_t clampWord(std::int64_t value) {
    return static_cast<std::uint16_t>(std::clamp<std::int64_t>(value, 0, 65535));
}

// One ASCII row: a token per value. The end of the data reads as 0.
void readAsciiRow(PnmInput& in, const PnmForm& form, ImagePayload& image, std::int64_t y, std::int64_t* raw,
                  std::uint8_t* colour, std::uint16_t* gray) {
    const std::int64_t n = image.sizeX;
    const int samples = sampleCount(form.samples);
    for (std::int64_t i = 0; i < n * samples; ++i) raw[i] = nextValue(in);
    if (form.samples == Samples::rgb && isColourImageKind(image.kind)) {
        for (std::int64_t i = 0; i < n * 3; ++i) colour[i] = static_cast<std::uint8_t>(std::clamp<std::int64_t>(raw[i], 0, 255));
        storeColourRow(image, y, colour, 3, ChannelOrder::rgb, GrayRule::mean);
        return;
    }
    if (form.samples == Samples::rgb) {
        for (std::int64_t x = 0; x < n; ++x) gray[x] = clampWord((raw[x * 3] + raw[x * 3 + 1] + raw[x * 3 + 2]) / 3);
    } else if (form.samples == Samples::mono) {
        for (std::int64_t x = 0; x < n; ++x) gray[x] = clampWord(1 - raw[x]);  // 0 is white
    } else {
        for (std::int64_t x = 0; x < n; ++x) gray[x] = clampWord(raw[x]);
    }
    storeGrayRow(image, y, gray, form.sixteenBit);
}

// Bits from the high one down, rows padded to whole bytes; a set bit is black (0).
void monoRow(const std::uint8_t* bits, std::int64_t n, std::uint8_t* out) {
    for (std::int64_t x = 0; x < n; ++x) out[x] = static_cast<std::uint8_t>(1 - ((bits[x >> 3] >> (7 - (x & 7))) & 1));
}

void bigEndianWords(const std::uint8_t* bytes, std::int64_t count, std::uint16_t* out) {
    for (std::int64_t i = 0; i < count; ++i) out[i] = static_cast<std::uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
}

// Binary 16-bit rgb: gray clamps the sum to 0..65535 before dividing by 3
// and by 256, as the 8-bit form caps at 85; fullgray takes the plain mean.
void storeWideColourRow(ImagePayload& image, std::int64_t y, const std::uint16_t* rgb, std::uint16_t* gray) {
    const std::int64_t n = image.sizeX;
    if (image.kind == VoxelKind::imageGray) {
        std::uint8_t* out = image.plane<std::uint8_t>(0) + y * n;
        for (std::int64_t x = 0; x < n; ++x) {
            const int sum = std::min(rgb[3 * x] + rgb[3 * x + 1] + rgb[3 * x + 2], 65535);
            out[x] = static_cast<std::uint8_t>(sum / 3 / 256);
        }
        return;
    }
    for (std::int64_t x = 0; x < n; ++x) gray[x] = static_cast<std::uint16_t>((rgb[3 * x] + rgb[3 * x + 1] + rgb[3 * x + 2]) / 3);
    storeGrayRow(image, y, gray, true);
}

// Samples in the form the image holds them, 8-bit gray or 16-bit fullgray,
// go into the plane in blocks of rows; 16-bit words are turned around there.
// A short end reads as 0.
void readStraightRows(PnmInput& in, ImagePayload& image, bool sixteenBit, const Text& title) {
    const std::int64_t rowBytes = image.sizeX * (sixteenBit ? 2 : 1), rows = image.sizeY;
    const std::int64_t rowsPerBlock = std::max<std::int64_t>(1, (1 << 20) / rowBytes);
    auto* plane = image.planes[0].records<std::uint8_t>();
    for (std::int64_t y = 0; y < rows; y += rowsPerBlock) {
        std::uint8_t* block = plane + y * rowBytes;
        const std::int64_t count = std::min(rowsPerBlock, rows - y) * rowBytes;
        const std::int64_t got = in.read(block, count);
        if (got < count) std::memset(block + got, 0, static_cast<std::size_t>(count - got));
        if (sixteenBit) {
            std::uint16_t* words = image.plane<std::uint16_t>(0) + y * image.sizeX;
            for (std::int64_t i = 0; i < count / 2; ++i) words[i] = static_cast<std::uint16_t>(words[i] >> 8 | words[i] << 8);
        }
        ready(static_cast<double>(std::min(y + rowsPerBlock, rows)) / static_cast<double>(rows), title);
    }
}

// The data of one binary form into the image; a short end reads as 0.
// False when no row buffer could be had.
bool readBinaryRows(PnmInput& in, const PnmForm& form, ImagePayload& image, const Text& title,
                    std::uint8_t* values, std::uint16_t* words) {
    const std::int64_t n = image.sizeX, rows = image.sizeY;
    const bool straight = form.samples == Samples::gray &&
                          image.kind == (form.sixteenBit ? VoxelKind::imageFullgray : VoxelKind::imageGray);
    if (straight) {
        readStraightRows(in, image, form.sixteenBit, title);
        return true;
    }
    const int samples = sampleCount(form.samples);
    const std::int64_t rowBytes = form.samples == Samples::mono ? (n + 7) / 8 : n * samples * (form.sixteenBit ? 2 : 1);
    RowBlocks blocks(rowBytes, rowBytes, rows, true, [&in](void* data, std::int64_t count) { return in.read(data, count); });
    if (!blocks.ready()) return false;
    // The cap at 85 belongs to gray; fullgray has room for the mean.
    const GrayRule rule = image.kind == VoxelKind::imageGray ? GrayRule::saturatingMean : GrayRule::mean;
    for (std::int64_t y = 0; y < rows; ++y) {
        const std::uint8_t* row = blocks.next();
        if (form.samples == Samples::mono) {
            monoRow(row, n, values);
            storeGrayRow(image, y, values);
        } else if (form.samples == Samples::gray && !form.sixteenBit) {
            storeGrayRow(image, y, row);
        } else if (form.samples == Samples::gray) {
            bigEndianWords(row, n, words);
            storeGrayRow(image, y, words, true);
        } else if (!form.sixteenBit) {
            storeColourRow(image, y, row, 3, ChannelOrder::rgb, rule);
        } else {
            bigEndianWords(row, n * 3, words);
            storeWideColourRow(image, y, words, words + n * 3);
        }
        ready(static_cast<double>(y + 1) / static_cast<double>(rows), title);
    }
    return true;
}

void readAsciiRows(PnmInput& in, const PnmForm& form, ImagePayload& image, const Text& title,
                   std::int64_t* raw, std::uint8_t* colour, std::uint16_t* gray) {
    const std::int64_t rows = image.sizeY;
    for (std::int64_t y = 0; y < rows; ++y) {
        readAsciiRow(in, form, image, y, raw, colour, gray);
        ready(static_cast<double>(y + 1) / static_cast<double>(rows), title);
    }
}

}  // namespace

void loadPnm(ImageField& image, const Text& fileName, bool gzip) {
    const VoxelKind kind = image.kind;
    if (!isGrayImageKind(kind) && !isColourImageKind(kind)) {
        writeLine("Unknown imagefield!");
        emptyImage(image, fileName);
        return;
    }
    PnmInput in;
    if (!(gzip ? in.openGzip(fileName) : in.openPlain(fileName))) {
        emptyImage(image, fileName);
        return;
    }
    const ByteText magicToken = nextToken(in);
    std::int64_t magic = tokenValue(std::string_view(magicToken).substr(std::min<std::size_t>(1, magicToken.size())));
    const std::int64_t width = nextValue(in);
    const std::int64_t height = nextValue(in);
    const std::int64_t afterThird = in.remaining();
    // Read for every form, so P1 and P4 lose their first data token here.
    const std::int64_t depth = nextValue(in);
    if (depth > 255) magic += 10;

    if (!depthAccepted(depth, kind)) {
        emptyImage(image, fileName);
        return;
    }
    const PnmForm* form = formOf(magic, kind);
    if (form == nullptr) {
        writeTextLine("  Bad Magic Identifier (" + integerToText(magic) + ")!");
        emptyImage(image, fileName);
        return;
    }
    if (!plausibleImageSize(width, height)) {
        emptyImage(image, fileName);
        return;
    }
    if (!dataCanFit(*form, width, height, afterThird, in.remaining())) {
        failShortImage(image, fileName);
        return;
    }
    if (!makeLoadedImage(image, fileName, width, height)) return;

    const int samples = sampleCount(form->samples);
    const Text title = progressTitle(formText(*form, kind), width, height);
    auto bytes = rowBuffer<std::uint8_t>(width * samples);
    auto words = rowBuffer<std::uint16_t>(width * samples + width);
    auto raw = rowBuffer<std::int64_t>(form->ascii ? width * samples : 1);
    if (!bytes || !words || !raw) {
        emptyImage(image, fileName);
        return;
    }
    if (form->ascii) {
        readAsciiRows(in, *form, *image.payload, title, raw.get(), bytes.get(), words.get());
    } else if (!readBinaryRows(in, *form, *image.payload, title, bytes.get(), words.get())) {
        emptyImage(image, fileName);
    }
    readyDone();
}

// ---- writers ------------------------------------------------------------------------

namespace {

// A target written through a temporary, plain or deflated into gzip.
class PnmOutput {
public:
    ~PnmOutput() {
        if (deflating_) deflateEnd(&stream_);
    }

    bool open(const Text& fileName, bool gzip) {
        if (!writeBinaryFile(file_, fileName)) return false;
        if (gzip) {
            deflating_ = deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) == Z_OK;
            failed_ = !deflating_;
        }
        return true;
    }

    void write(const void* data, std::int64_t count) {
        if (failed_) return;
        if (!deflating_) {
            failed_ = writeFailed_ = !file_.write(data, count);
            return;
        }
        failed_ = !deflateAndWrite(static_cast<const std::uint8_t*>(data), count, Z_NO_FLUSH);
    }
    void write(std::string_view text) { write(text.data(), static_cast<std::int64_t>(text.size())); }

    // Ends the stream and puts the file in place. A failed write is
    // reported by the handle's close, which keeps the old file; a deflate
    // that fails without one leaves the handle to drop its temporary.
    bool close() {
        if (deflating_ && !failed_) failed_ = !deflateAndWrite(nullptr, 0, Z_FINISH);
        if (failed_ && !writeFailed_) return false;
        return file_.close() && !failed_;
    }

private:
    bool deflateAndWrite(const std::uint8_t* data, std::int64_t count, int flush) {
        std::uint8_t out[1 << 16];
        std::int64_t offered = 0;
        do {
            const auto slice = static_cast<uInt>(std::min<std::int64_t>(count - offered, 1 << 30));
            stream_.next_in = const_cast<std::uint8_t*>(data + offered);
            stream_.avail_in = slice;
            const bool last = offered + slice == count;
            const int mode = last ? flush : Z_NO_FLUSH;
            do {
                stream_.next_out = out;
                stream_.avail_out = sizeof out;
                const int result = deflate(&stream_, mode);
                if (result == Z_STREAM_ERROR) return false;
                if (!file_.write(out, static_cast<std::int64_t>(sizeof out - stream_.avail_out))) {
                    writeFailed_ = true;
                    return false;
                }
            } while (stream_.avail_out == 0);
            offered += slice;
        } while (offered < count);
        return true;
    }

    FileHandle file_;
    z_stream stream_{};
    bool deflating_ = false;
    bool failed_ = false;
    bool writeFailed_ = false;
};

// "# " and the name, kept on its line.
ByteText nameComment(const Text& fileName) {
    ByteText name = fileName.toUtf8();
    std::replace_if(name.begin(), name.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    return "# " + name + "\n";
}

ByteText number(std::int64_t value) { return std::to_string(value); }

}  // namespace

std::int64_t pbmRasterBytes(std::int64_t width, std::int64_t height) {
    if ((width - 1) % 8 != 0) return (width + 1) * height / 8;
    return width * height / 8;
}

bool savePgm(const ImageField& image, const Text& fileName, bool gzip) {
    if (!imageToSave(image)) return false;
    const Text name = withWriterExtension(fileName, gzip ? std::initializer_list<const char*>{"pgm.gz", "pnm.gz"}
                                                         : std::initializer_list<const char*>{"pgm", "pnm"});
    const ImagePayload& p = *image.payload;
    const bool wide = p.kind == VoxelKind::imageFullgray;
    const bool asHeld = isGrayImageKind(p.kind);
    RowBlockWriter rows(asHeld ? 1 : p.sizeY, p.sizeX);  // colour rows become gray ones
    if (!rows.ready()) return false;
    PnmOutput out;
    if (!out.open(name, gzip)) return false;
    out.write("P5\n" + nameComment(name) + number(p.sizeX) + " " + number(p.sizeY) + "\n" + (wide ? "65535\n" : "255\n"));
    if (asHeld) {
        // The plane in one piece; 16-bit words in the order held in memory,
        // as the file has always been written.
        out.write(p.planes[0].records<std::uint8_t>(), p.sizeX * p.sizeY * (wide ? 2 : 1));
    } else {
        const auto fill = [&p](std::int64_t y, std::uint8_t* row) { grayRow(p, y, row); };
        rows.run(false, fill, [&out](const void* data, std::int64_t count) {
            out.write(data, count);
            return true;  // the output keeps its own failure for close
        });
    }
    return out.close();
}

bool savePbm(const ImageField& image, const Text& fileName, bool gzip) {
    if (!imageToSave(image)) return false;
    const Text name = withWriterExtension(fileName, {gzip ? "pbm.gz" : "pbm"});
    const ImagePayload& p = *image.payload;
    const std::int64_t bytes = pbmRasterBytes(p.sizeX, p.sizeY);
    auto raster = rowBuffer<std::uint8_t>(std::max<std::int64_t>(bytes, 1));
    auto gray = rowBuffer<std::uint8_t>(p.sizeX);
    if (!raster || !gray) return false;
    std::memset(raster.get(), 0, static_cast<std::size_t>(std::max<std::int64_t>(bytes, 1)));
    const Text title = progressTitle("  Monochrome with (", p.sizeX, p.sizeY);
    // One bit a pixel, packed on across rows as the image holds them; the
    // bits the buffer has no room for are dropped. A dark pixel is 1.
    const std::int64_t bits = bytes * 8;
    std::int64_t bit = 0;
    for (std::int64_t y = 0; y < p.sizeY && bit < bits; ++y) {
        if (p.kind == VoxelKind::imageFullgray) {
            const std::uint16_t* words = p.plane<std::uint16_t>(0) + y * p.sizeX;
            for (std::int64_t x = 0; x < p.sizeX; ++x) gray[x] = words[x] < 32768 ? 0 : 255;
        } else {
            grayRow(p, y, gray.get());
        }
        for (std::int64_t x = 0; x < p.sizeX && bit < bits; ++x, ++bit) {
            if (gray[x] < 128) raster[bit >> 3] |= static_cast<std::uint8_t>(0x80 >> (bit & 7));
        }
        ready(static_cast<double>(y + 1) / static_cast<double>(p.sizeY), title);
    }
    readyDone();
    PnmOutput out;
    if (!out.open(name, gzip)) return false;
    out.write("P4\n" + nameComment(name) + number(p.sizeX) + " " + number(p.sizeY) + "\n");
    out.write(raster.get(), std::max<std::int64_t>(bytes, 0));
    return out.close();
}

namespace {

// Interleaved rows in blocks; the writer is had before the file is opened.
void saveInterleaved(const ImagePayload& p, PnmOutput& out, RowBlockWriter& rows, PixelLayout layout) {
    const auto fill = [&p, layout](std::int64_t y, std::uint8_t* row) { interleaveRow(p, y, layout, row); };
    rows.run(false, fill, [&out](const void* data, std::int64_t count) {
        out.write(data, count);
        return true;  // the output keeps its own failure for close
    });
}

}  // namespace

bool savePpm(const ImageField& image, const Text& fileName, bool gzip) {
    if (!imageToSave(image)) return false;
    const Text name = withWriterExtension(fileName, gzip ? std::initializer_list<const char*>{"ppm.gz", "pnm.gz"}
                                                         : std::initializer_list<const char*>{"ppm", "pnm"});
    const ImagePayload& p = *image.payload;
    RowBlockWriter rows(p.sizeY, p.sizeX * 3);
    if (!rows.ready()) return false;
    PnmOutput out;
    if (!out.open(name, gzip)) return false;
    out.write("P6\n" + nameComment(name) + number(p.sizeX) + " " + number(p.sizeY) + "\n255\n");
    saveInterleaved(p, out, rows, PixelLayout::rgb);
    return out.close();
}

bool savePam(const ImageField& image, const Text& fileName, bool gzip) {
    if (!imageToSave(image)) return false;
    const Text name = withWriterExtension(fileName, {gzip ? "pam.gz" : "pam"});
    const ImagePayload& p = *image.payload;
    const bool alpha = p.kind == VoxelKind::imageRgba;
    RowBlockWriter rows(p.sizeY, p.sizeX * (alpha ? 4 : 3));
    if (!rows.ready()) return false;
    PnmOutput out;
    if (!out.open(name, gzip)) return false;
    // verbatim: the MAXVAL and TUPLTYPE lines keep their trailing blanks.
    out.write("P7\n" + nameComment(name) + "WIDTH " + number(p.sizeX) + "\nHEIGHT " + number(p.sizeY) +
              (alpha ? "\nDEPTH 4\nMAXVAL 255 \nTUPLTYPE RGB_ALPHA  \nENDHDR\n" : "\nDEPTH 3\nMAXVAL 255 \nTUPLTYPE RGB  \nENDHDR\n"));
    saveInterleaved(p, out, rows, alpha ? PixelLayout::rgba : PixelLayout::rgb);
    return out.close();
}

}  // namespace corvane
