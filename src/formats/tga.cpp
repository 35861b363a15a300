// TGA writer: an 18-byte header and 24-bit rows from the bottom.
#include "formats/tga.h"

#include <cstdint>

#include "formats/imagecommon.h"
#include "foundation/files.h"

namespace corvane {

bool saveTga(const ImageField& image, const Text& fileName) {
    if (!imageToSave(image)) return false;
    const Text name = withWriterExtension(fileName, {"tga"});
    const ImagePayload& p = *image.payload;
    std::uint8_t header[18] = {};
    header[2] = 2;  // uncompressed true colour
    putLittleEndian16(header + 12, static_cast<std::uint32_t>(p.sizeX));
    putLittleEndian16(header + 14, static_cast<std::uint32_t>(p.sizeY));
    header[16] = 24;
    header[17] = 0;  // no alpha bits, origin at the bottom left
    RowBlockWriter rows(p.sizeY, p.sizeX * 3);
    if (!rows.ready()) return false;
    FileHandle file;
    if (!writeBinaryFile(file, name)) return false;
    const bool written = file.write(header, sizeof header);
    if (written) {
        const auto fill = [&p](std::int64_t y, std::uint8_t* out) { interleaveRow(p, y, PixelLayout::bgr, out); };
        rows.run(true, fill, [&file](const void* data, std::int64_t count) { return file.write(data, count); });
    }
    return file.close();
}

}  // namespace corvane
