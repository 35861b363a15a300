// Test support for the image formats: images with a known pattern, files
// as byte strings, and little helpers to build and read file headers.
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fields/fieldrecords.h"
#include "support/outputcapture.h"

namespace corvane {

// A pattern that differs in every pixel and channel and reaches both ends
// of the byte range.
inline std::uint32_t patternValue(std::int64_t x, std::int64_t y, int channel, std::uint32_t highest) {
    return static_cast<std::uint32_t>((x * 37 + y * 101 + channel * 59) * (highest == 255 ? 1 : 257)) % (highest + 1);
}

inline ImageField patternImage(VoxelKind kind, std::int64_t sizeX, std::int64_t sizeY) {
    ImageField image;
    newField(image, kind, sizeX, sizeY);
    const int channels = image.payload->channels();
    for (std::int64_t y = 1; y <= sizeY; ++y) {
        for (std::int64_t x = 1; x <= sizeX; ++x) {
            for (int c = 0; c < channels; ++c) {
                const std::uint32_t highest = image.payload->sampleBytes(c) == 2 ? 65535 : 255;
                setPixel(image, x, y, patternValue(x, y, c, highest), c);
            }
        }
    }
    return image;
}

inline ImageField emptyOfKind(VoxelKind kind) {
    ImageField image;
    newField(image, kind);
    return image;
}

inline void writeBytes(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
}

inline std::string readBytes(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

inline std::uint8_t byteAt(const std::string& bytes, std::size_t at) { return static_cast<std::uint8_t>(bytes.at(at)); }
inline std::uint32_t le16At(const std::string& b, std::size_t at) { return byteAt(b, at) | byteAt(b, at + 1) << 8; }
inline std::uint32_t le32At(const std::string& b, std::size_t at) { return le16At(b, at) | le16At(b, at + 2) << 16; }
inline std::uint32_t be32At(const std::string& b, std::size_t at) {
    return static_cast<std::uint32_t>(byteAt(b, at)) << 24 | byteAt(b, at + 1) << 16 | byteAt(b, at + 2) << 8 |
           byteAt(b, at + 3);
}

inline void putLe16(std::string& b, std::uint32_t v) {
    b += static_cast<char>(v & 255);
    b += static_cast<char>(v >> 8 & 255);
}
inline void putLe32(std::string& b, std::uint32_t v) {
    putLe16(b, v & 0xffff);
    putLe16(b, v >> 16);
}

// The lines of a log without the memory lines of the tracked arrays.
inline std::string withoutMemoryLines(const std::string& log) {
    std::string kept;
    std::size_t start = 0;
    while (start < log.size()) {
        std::size_t end = log.find('\n', start);
        end = end == std::string::npos ? log.size() : end + 1;
        const std::string line = log.substr(start, end - start);
        if (line.rfind("  Allocate ", 0) != 0 && line.rfind("  Deallocate ", 0) != 0) kept += line;
        start = end;
    }
    return kept;
}

inline std::int64_t imageWidth(const ImageField& image) { return hasPayload(image) ? image.payload->sizeX : 0; }
inline std::int64_t imageHeight(const ImageField& image) { return hasPayload(image) ? image.payload->sizeY : 0; }

// What the log got since the last call, memory lines left out.
inline std::string messages(OutputCapture& output) { return withoutMemoryLines(output.takeLog()); }

// Every pixel of every channel, row by row from the top.
inline std::vector<std::uint32_t> allPixels(const ImageField& image) {
    std::vector<std::uint32_t> values;
    if (!hasPayload(image)) return values;
    for (std::int64_t y = 1; y <= image.payload->sizeY; ++y) {
        for (std::int64_t x = 1; x <= image.payload->sizeX; ++x) {
            for (int c = 0; c < image.payload->channels(); ++c) values.push_back(getPixel(image, x, y, c));
        }
    }
    return values;
}

}  // namespace corvane
