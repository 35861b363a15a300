#include "formats/niftiheader.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace corvane {

namespace {

// Walks the block field by field in file order, reading or writing.
class HeaderCursor {
public:
    HeaderCursor(NiftiHeaderBlock& block, bool swapped) : block_(block), swapped_(swapped) {}

    template <class Value>
    void read(Value& value) {
        std::uint8_t bytes[sizeof(Value)];
        std::memcpy(bytes, block_.data() + at_, sizeof(Value));
        if (swapped_) std::reverse(bytes, bytes + sizeof(Value));
        std::memcpy(&value, bytes, sizeof(Value));
        at_ += sizeof(Value);
    }
    template <class Value>
    void write(const Value& value) {
        std::memcpy(block_.data() + at_, &value, sizeof(Value));
        at_ += sizeof(Value);
    }
    void readText(std::string& text, std::size_t width) {
        const auto* start = reinterpret_cast<const char*>(block_.data() + at_);
        text.assign(start, std::find(start, start + width, '\0'));
        at_ += width;
    }
    void writeText(const std::string& text, std::size_t width) {
        std::memcpy(block_.data() + at_, text.data(), std::min(text.size(), width));
        at_ += width;
    }

private:
    NiftiHeaderBlock& block_;
    bool swapped_;
    std::size_t at_ = 0;
};

// One list of the fields in file order serves both directions.
template <class Header, class Number, class Words>
void visitHeader(Header& h, Number number, Words words) {
    number(h.sizeofHdr);
    words(h.dataType, 10);
    words(h.dbName, 18);
    number(h.extents);
    number(h.sessionError);
    number(h.regular);
    number(h.dimInfo);
    for (auto& d : h.dim) number(d);
    number(h.intentP1);
    number(h.intentP2);
    number(h.intentP3);
    number(h.intentCode);
    number(h.datatype);
    number(h.bitpix);
    number(h.sliceStart);
    for (auto& p : h.pixdim) number(p);
    number(h.voxOffset);
    number(h.sclSlope);
    number(h.sclInter);
    number(h.sliceEnd);
    number(h.sliceCode);
    number(h.xyztUnits);
    number(h.calMax);
    number(h.calMin);
    number(h.sliceDuration);
    number(h.toffset);
    number(h.glmax);
    number(h.glmin);
    words(h.descrip, 80);
    words(h.auxFile, 24);
    number(h.qformCode);
    number(h.sformCode);
    number(h.quaternB);
    number(h.quaternC);
    number(h.quaternD);
    number(h.qoffsetX);
    number(h.qoffsetY);
    number(h.qoffsetZ);
    for (auto& s : h.srowX) number(s);
    for (auto& s : h.srowY) number(s);
    for (auto& s : h.srowZ) number(s);
    words(h.intentName, 16);
    words(h.magic, 4);
}

}  // namespace

NiftiHeader decodeNiftiHeader(const NiftiHeaderBlock& block, bool swapped) {
    NiftiHeaderBlock copy = block;
    HeaderCursor cursor(copy, swapped);
    NiftiHeader header;
    visitHeader(
        header, [&](auto& value) { cursor.read(value); },
        [&](std::string& text, std::size_t width) { cursor.readText(text, width); });
    return header;
}

NiftiHeaderBlock encodeNiftiHeader(const NiftiHeader& header) {
    static_assert(std::endian::native == std::endian::little, "headers are written little-endian");
    NiftiHeaderBlock block{};
    HeaderCursor cursor(block, false);
    NiftiHeader fields = header;
    visitHeader(
        fields, [&](auto& value) { cursor.write(value); },
        [&](std::string& text, std::size_t width) { cursor.writeText(text, width); });
    return block;
}

std::int32_t storedHeaderSize(const NiftiHeaderBlock& block) {
    std::int32_t size;
    std::memcpy(&size, block.data(), sizeof size);
    return size;
}

}  // namespace corvane
