// Arbitrary bytes into the number readers: they must never fail, crash or hang.
#include <cstddef>
#include <cstdint>
#include <string>

#include "foundation/numbers.h"

using namespace corvane;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    // The first byte picks the settings that change how numbers read and print.
    numberSettings = NumberSettings();
    numberSettings.DecimalPointMode = (data[0] & 1) == 0;
    numberSettings.ScientificMode = (data[0] & 2) != 0;
    numberSettings.ThousandsMode = (data[0] & 4) != 0;
    const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);

    Text text(bytes);
    // Reading until nothing is left must end. Every read consumes at least
    // one character; unit substitutions may lengthen the rest once.
    for (std::size_t reads = 0; !text.empty(); ++reads) {
        realToText(readReal(text));
        if (reads > 32 * bytes.size() + 8) __builtin_trap();
    }
    Text integers = Text::fromBytes(bytes);
    integerToText(readInteger(integers));
    readBool(Text(bytes));
    Text vectors(bytes);
    vector3ToText(readVector3(vectors));
    vector4ToText(readVector4(vectors));
    matrix3ToText(readMatrix3(vectors));
    Text matrix(bytes);
    matrix4ToText(readMatrix4(matrix));
    ByteText raw = bytes;
    shortRealToText(readReal(raw));
    ByteText rawIntegers = bytes;
    readInteger(rawIntegers);
    return 0;
}
