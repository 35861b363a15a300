// The 348-byte header of NIfTI-1 and Analyze 7.5 files, decoded from and
// encoded to its on-disk block in either byte order.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace corvane {

constexpr std::size_t niftiHeaderBytes = 348;
using NiftiHeaderBlock = std::array<std::uint8_t, niftiHeaderBytes>;

struct NiftiHeader {
    std::int32_t sizeofHdr = 348;
    std::string dataType;  // 10 bytes on disk
    std::string dbName;    // 18 bytes
    std::int32_t extents = 0;
    std::int16_t sessionError = 0;
    char regular = 'r';
    std::uint8_t dimInfo = 0;
    std::array<std::int16_t, 8> dim{};
    float intentP1 = 0, intentP2 = 0, intentP3 = 0;
    std::int16_t intentCode = 0;
    std::int16_t datatype = 0;
    std::int16_t bitpix = 0;
    std::int16_t sliceStart = 0;
    std::array<float, 8> pixdim{};
    float voxOffset = 0;
    float sclSlope = 1, sclInter = 0;
    std::int16_t sliceEnd = 0;
    std::uint8_t sliceCode = 0;
    std::uint8_t xyztUnits = 0;
    float calMax = 0, calMin = 0;
    float sliceDuration = 0, toffset = 0;
    std::int32_t glmax = 0, glmin = 0;
    std::string descrip;     // 80 bytes
    std::string auxFile;     // 24 bytes
    std::int16_t qformCode = 0, sformCode = 0;
    float quaternB = 0, quaternC = 0, quaternD = 0;
    float qoffsetX = 0, qoffsetY = 0, qoffsetZ = 0;
    std::array<float, 4> srowX{}, srowY{}, srowZ{};
    std::string intentName;  // 16 bytes
    std::string magic;       // 4 bytes
};

// Reads every field; with `swapped` each multi-byte value has its bytes
// reversed. Text fields stop at their first zero byte.
NiftiHeader decodeNiftiHeader(const NiftiHeaderBlock& block, bool swapped);
// Little-endian, text fields zero padded and cut to their width.
NiftiHeaderBlock encodeNiftiHeader(const NiftiHeader& header);
// The sizeof_hdr word as stored, read little-endian.
std::int32_t storedHeaderSize(const NiftiHeaderBlock& block);

}  // namespace corvane
