// Number syntax of the macro language: the never-failing readers (which double
// as a small expression evaluator) and the printers of reals, integers,
// vectors, matrices, sizes and durations.
#pragma once

#include <cstdint>

#include "foundation/numbersettings.h"
#include "foundation/text.h"
#include "foundation/vectors.h"

namespace corvane {

// Readers consume what they can from the front of the text and leave the
// rest behind; unreadable input yields 0. They never fail.
double readReal(Text& text);
std::int64_t readInteger(Text& text);
bool readBool(const Text& text);
// Byte variants for data files: every byte is a character, no substitutions.
double readReal(ByteText& text);
std::int64_t readInteger(ByteText& text);

// Convenience forms that read from a copy.
inline double realOf(Text text) { return readReal(text); }
inline std::int64_t integerOf(Text text) { return readInteger(text); }

// Vectors and matrices: repeated readReal on the same text; missing
// components read 0 and surplus text stays behind.
Vector2 readVector2(Text& text);
Vector3 readVector3(Text& text);
Vector4 readVector4(Text& text);
Matrix3 readMatrix3(Text& text);
// Cut at each ';' into rows of four reads when the text holds one.
Matrix4 readMatrix4(Text& text);
inline Vector3 vector3Of(Text text) { return readVector3(text); }
inline Vector4 vector4Of(Text text) { return readVector4(text); }

// A number written in base 2 to 16: the digits are read from the last
// character back, and a character that is no digit of the base takes no place.
double readDigits(const Text& digits, int base);

// Real to integer: both clamp to plus or minus 2^63 first; NaN gives 0.
std::int64_t truncateReal(double value);
std::int64_t roundReal(double value);  // to nearest, ties to even
// Modulo of reals; a zero divisor yields the truncated value.
double realModulo(double value, double divisor);

// Printers.
Text realToText(double value);
// About six significant digits.
Text shortRealToText(double value);
// The given count of fraction digits.
Text realToTextDigits(double value, std::int64_t fractionDigits);
// The short form with the caller's count in place of six significant digits.
Text shortRealToTextDigits(double value, std::int64_t significantDigits);
Text integerToText(std::int64_t value);
// Always grouped in threes, as in the memory log lines.
Text groupedIntegerToText(std::int64_t value);
Text hexToText(std::int64_t value, std::int64_t width);
Text boolToText(bool value);
// The exponent form applied to an already printed number.
Text exponentForm(const Text& printed);

enum class VectorStyle { real, realDigits, integer, plain };
Text vectorToText(const double* components, int count, VectorStyle style = VectorStyle::real,
                  std::int64_t digits = 0);
Text vector2ToText(const Vector2& v, VectorStyle style = VectorStyle::real, std::int64_t digits = 0);
Text vector3ToText(const Vector3& v, VectorStyle style = VectorStyle::real, std::int64_t digits = 0);
Text vector4ToText(const Vector4& v, VectorStyle style = VectorStyle::real, std::int64_t digits = 0);
Text intVector3ToText(const IntVector3& v);
// "(" row ";" row ";" row ")"; style real or realDigits.
Text matrix3ToText(const Matrix3& m, VectorStyle style = VectorStyle::real, std::int64_t digits = 0);
Text matrix4ToText(const Matrix4& m, VectorStyle style = VectorStyle::real, std::int64_t digits = 0);

// Decimal prefixes, also for bytes: sizeToText(1400000, 1, "B") is "1.4 MB".
Text sizeToText(std::uint64_t value, std::int64_t digits, const Text& unit);

struct Duration {
    std::int64_t days = 0, hours = 0, minutes = 0, seconds = 0, hundredths = 0;
};
// The span from the first to the last non-zero field, joined by ':', with the
// unit of the first field: "1:5 min"; all zero gives "0 sec".
Text durationToText(const Duration& duration);

}  // namespace corvane
