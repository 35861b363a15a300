// Number readers, the expression evaluator and the printers.
#include "foundation/numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace corvane {
namespace {

// Every test starts from the initial settings and leaves them so.
class Numbers : public ::testing::Test {
protected:
    void SetUp() override { numberSettings = NumberSettings(); }
    void TearDown() override { numberSettings = NumberSettings(); }
};

struct RealCase {
    const char* input;
    double value;
    const char* rest;  // what the read leaves behind
};

TEST_F(Numbers, ReadRealPlainAndExpressions) {
    const RealCase cases[] = {
        {"3.25", 3.25, ""},
        {"128", 128, ""},
        {".5", 5, ""},  // a leading point is passed over
        {"-.5", -0.5, ""},
        {"1e-3", 0.001, ""},  // the plain read comes first
        {"1e-3*2", -5, ""},   // mantissa 1, then minus 3*2
        {"1e+3*2", 2000, ""},
        {"6/0", 0, ""},
        {"abc", 0, ""},
        {"1+2*3", 7, ""},
        {"2*3+1", 7, ""},
        {"1+2<3", 2, ""},
        {"2<3+1", 2, ""},
        {"3-2", 1, ""},
        {"-3+1", -2, ""},
        {"10-2-3", 5, ""},
        {"3*4+2", 14, ""},
        {"1/3*3", 1, ""},
        {"2*-3", -3, ""},  // '*' meets the rewritten "+-" and reads 0 first
        {"5&3", 1, ""},
        {"5|3", 7, ""},
        {"2=2", 1, ""},
        {"2<>2", 0, ""},
        {"2<=2", 1, ""},
        {"3>=4", 0, ""},
        {"3><4", 1, ""},
        {"-", 0, ""},
        {".", 0, ""},
        {"", 0, ""},
        {"x=5 rest", 5, " rest"},
        {"12abc", 12, "abc"},
        {"7,8", 7, ",8"},
        {"1.5.5", 1.5, ""},
        {"1e400", 0, ""},
    };
    for (const RealCase& c : cases) {
        Text text(c.input);
        EXPECT_DOUBLE_EQ(readReal(text), c.value) << '"' << c.input << '"';
        EXPECT_EQ(text.toUtf8(), c.rest) << '"' << c.input << '"';
    }
}

TEST_F(Numbers, ReadRealUnitsAreFactors) {
    EXPECT_DOUBLE_EQ(realOf("10%"), 0.1);
    EXPECT_NEAR(realOf("180°"), 3.141592653589793, 1e-15);
    EXPECT_NEAR(realOf("-90°"), -1.5707963267948966, 1e-15);
    EXPECT_DOUBLE_EQ(realOf("2π"), 6.283185307179586);
    EXPECT_DOUBLE_EQ(realOf("π"), 3.141592653589793);
    EXPECT_DOUBLE_EQ(realOf("-π"), -3.141592653589793);
    EXPECT_DOUBLE_EQ(realOf("π/2"), 1.5707963267948966);
    EXPECT_EQ(realToText(realOf("2π")).toUtf8(), "6.2831853071795862");  // sixteen digits, no noise to trim
}

TEST_F(Numbers, ReadRealLowerCasesAndKeepsTheRest) {
    Text text("1E3 NEXT");
    EXPECT_DOUBLE_EQ(readReal(text), 1000);
    EXPECT_EQ(text.toUtf8(), " next");
    Text wide("€5");  // a character with a high byte never begins a number
    EXPECT_DOUBLE_EQ(readReal(wide), 5);
}

TEST_F(Numbers, VectorsAreRepeatedReads) {
    for (const char* input : {"<1, 2, 3>", "1 2 3", "1;2;3", "(1,2,3)"}) {
        Text text(input);
        const Vector3 v = readVector3(text);
        EXPECT_EQ(v.x, 1) << input;
        EXPECT_EQ(v.y, 2) << input;
        EXPECT_EQ(v.z, 3) << input;
    }
    Text two("<4, 5>");
    const Vector4 v4 = readVector4(two);
    EXPECT_EQ(v4.x, 4);
    EXPECT_EQ(v4.y, 5);
    EXPECT_EQ(v4.z, 0);  // missing components read 0
    EXPECT_EQ(v4.w, 0);
    Text surplus("1 2 3 4");
    readVector2(surplus);
    EXPECT_EQ(surplus.toUtf8(), " 3 4");
    // Without a blank between them two vectors run into one expression.
    Text joined("<1,2,3><4,5,6>");
    const Vector3 first = readVector3(joined);
    EXPECT_EQ(first.z, 1);
}

TEST_F(Numbers, MatricesReadByRowsOrSixteenReads) {
    Text rows("1 2 3 4; 5 6; 9 10 11 12; 13 14 15 16");
    const Matrix4 m = readMatrix4(rows);
    EXPECT_EQ(m.rows[1].x, 5);
    EXPECT_EQ(m.rows[1].y, 6);
    EXPECT_EQ(m.rows[1].z, 0);  // a short row does not borrow from the next
    EXPECT_EQ(m.rows[2].x, 9);
    EXPECT_EQ(m.rows[3].w, 16);
    Text flat("1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1");
    const Matrix4 identity = readMatrix4(flat);
    EXPECT_EQ(identity.rows[3].w, 1);
    EXPECT_EQ(identity.rows[0].y, 0);
    Text nine("1 2 3 4 5 6 7 8 9");
    EXPECT_EQ(readMatrix3(nine).rows[2].z, 9);
}

TEST_F(Numbers, CommaMode) {
    numberSettings.DecimalPointMode = false;
    EXPECT_DOUBLE_EQ(realOf("1,5"), 1.5);
    Text text("<1,5; 2>");
    const Vector2 v = readVector2(text);
    EXPECT_DOUBLE_EQ(v.x, 1.5);
    EXPECT_DOUBLE_EQ(v.y, 2);
    EXPECT_EQ(vector2ToText(v).toUtf8(), "<1,5; 2>");
    EXPECT_EQ(realToText(0.25).toUtf8(), "0,25");
    EXPECT_DOUBLE_EQ(realOf("1,5*2"), 3);
    EXPECT_DOUBLE_EQ(realOf("10%"), 0.1);
}

TEST_F(Numbers, ReadIntegerRoundsTiesToEvenAndClamps) {
    struct Case {
        const char* input;
        std::int64_t value;
    };
    const Case cases[] = {
        {"128", 128},
        {"-17", -17},
        {"1.5", 2},
        {"2.5", 2},
        {"-2.5", -2},
        {"3.5", 4},
        {"1e3", 1000},
        {"10%", 10},  // no substitutions in the integer reader
        {"2*3+1", 7},
        {"9999999999999999999", std::numeric_limits<std::int64_t>::max()},
        {"-99999999999999999999", std::numeric_limits<std::int64_t>::min()},
        {"abc", 0},
    };
    for (const Case& c : cases) EXPECT_EQ(integerOf(c.input), c.value) << c.input;
}

TEST_F(Numbers, ByteTextReaders) {
    ByteText bytes("3.5 10% \xCF\x80");
    EXPECT_DOUBLE_EQ(readReal(bytes), 3.5);
    EXPECT_DOUBLE_EQ(readReal(bytes), 0.1);
    EXPECT_DOUBLE_EQ(readReal(bytes), 3.141592653589793);
    ByteText integers("7 8% \xFF" "9");
    EXPECT_EQ(readInteger(integers), 7);
    EXPECT_EQ(readInteger(integers), 8);
    EXPECT_EQ(readInteger(integers), 9);
}

TEST_F(Numbers, ReadBool) {
    for (const char* yes : {"yes", "Ja", "true", "Top", "hallo", "2", "on", "OK", "1", "+", "  y  "})
        EXPECT_TRUE(readBool(yes)) << yes;
    for (const char* no : {"", "   ", "no", "off", "false", "0", "-1", "0.5", "nein"})
        EXPECT_FALSE(readBool(no)) << no;
}

TEST_F(Numbers, RealConversionsClamp) {
    EXPECT_EQ(truncateReal(1e300), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(truncateReal(-1e300), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(truncateReal(std::nan("")), 0);
    EXPECT_EQ(truncateReal(-2.7), -2);
    EXPECT_EQ(roundReal(0.5), 0);
    EXPECT_EQ(roundReal(1.5), 2);
    EXPECT_EQ(realModulo(7.5, 2), 1.5);
    EXPECT_EQ(realModulo(7.5, 0), 7);
}

TEST_F(Numbers, RealToTextTrimsNoise) {
    struct Case {
        double value;
        const char* text;
    };
    const Case cases[] = {
        {1.2000000000000002, "1.2"},
        {0.1 + 0.2, "0.3"},
        {12.5, "12.5"},
        {100, "100"},
        {1500000, "1500000"},
        {-0.0, "0"},
        {-1e-20, "0"},
        {1.0000000000000012, "1"},  // noise behind a run of zeros
        {-3.75, "-3.75"},
        {123456789012345.0, "123456789012345"},  // fifteen integer digits trim
        {1234567890123456.0, "1234567890123456.0000000000000000"},  // sixteen keep
        {-12345678901234.0, "-12345678901234"},                   // the sign counts as a digit
        {-123456789012345.0, "-123456789012345.0000000000000000"},
        {std::numeric_limits<double>::infinity(), "0"},
    };
    for (const Case& c : cases) EXPECT_EQ(realToText(c.value).toUtf8(), c.text) << c.value;
}

TEST_F(Numbers, ShortAndDigitForms) {
    EXPECT_EQ(shortRealToText(0).toUtf8(), "0");
    EXPECT_EQ(shortRealToText(3.14159265).toUtf8(), "3.14159");
    EXPECT_EQ(shortRealToText(0.5).toUtf8(), "0.5");
    EXPECT_EQ(shortRealToText(50).toUtf8(), "50");
    EXPECT_EQ(shortRealToText(500).toUtf8(), "500.000");  // 100 and above keep their digits
    EXPECT_EQ(shortRealToText(12345.6).toUtf8(), "12345.6");
    EXPECT_EQ(shortRealToText(1234567.8).toUtf8(), "1234568");
    EXPECT_EQ(shortRealToText(0.000012345678).toUtf8(), "0.0000123457");
    EXPECT_EQ(realToTextDigits(50, 2).toUtf8(), "50.00");
    EXPECT_EQ(realToTextDigits(2.0 / 3, 3).toUtf8(), "0.667");
    EXPECT_EQ(shortRealToTextDigits(3.14159265, 3).toUtf8(), "3.14");
}

TEST_F(Numbers, ExponentForm) {
    numberSettings.ScientificMode = true;
    EXPECT_EQ(realToText(0.00123).toUtf8(), "123E-5");
    EXPECT_EQ(realToText(-0.00123).toUtf8(), "-123E-5");
    EXPECT_EQ(realToText(1500000).toUtf8(), "15E5");
    EXPECT_EQ(realToText(12.5).toUtf8(), "12.5");
    EXPECT_EQ(realToText(0).toUtf8(), "0");
    EXPECT_EQ(integerToText(1500000).toUtf8(), "15E5");
    EXPECT_EQ(integerToText(7).toUtf8(), "7");
}

TEST_F(Numbers, IntegerPrinting) {
    EXPECT_EQ(integerToText(1234567).toUtf8(), "1234567");
    numberSettings.ThousandsMode = true;
    EXPECT_EQ(integerToText(1234567).toUtf8(), "1,234,567");
    EXPECT_EQ(integerToText(999).toUtf8(), "999");  // three digits never grouped
    EXPECT_EQ(integerToText(-999).toUtf8(), "-999");
    EXPECT_EQ(integerToText(-1234).toUtf8(), "-1,234");
    EXPECT_EQ(integerToText(123456).toUtf8(), "123,456");
    numberSettings.DecimalPointMode = false;
    EXPECT_EQ(integerToText(1234567).toUtf8(), "1.234.567");
    numberSettings = NumberSettings();
    EXPECT_EQ(groupedIntegerToText(1048576).toUtf8(), "1,048,576");
    EXPECT_EQ(hexToText(255, 4).toUtf8(), "00FF");
    EXPECT_EQ(hexToText(-255, 4).toUtf8(), "-00FF");
    EXPECT_EQ(hexToText(0, 0).toUtf8(), "0");
    EXPECT_EQ(hexToText(std::numeric_limits<std::int64_t>::min(), 1).toUtf8(), "-8000000000000000");
    EXPECT_EQ(boolToText(true).toUtf8(), "true");
    EXPECT_EQ(boolToText(false).toUtf8(), "false");
}

TEST_F(Numbers, VectorAndMatrixPrinting) {
    const Vector3 v{1, 2.5, -3};
    EXPECT_EQ(vector3ToText(v).toUtf8(), "<1, 2.5, -3>");
    EXPECT_EQ(vector3ToText(v, VectorStyle::plain).toUtf8(), "1, 2.5, -3");
    EXPECT_EQ(vector3ToText(v, VectorStyle::integer).toUtf8(), "<1, 2, -3>");
    EXPECT_EQ(vector3ToText({1.0 / 3, 0, 0}, VectorStyle::realDigits, 2).toUtf8(), "<0.33, 0, 0>");
    EXPECT_EQ(vector4ToText({1, 2, 3, 4}).toUtf8(), "<1, 2, 3, 4>");
    EXPECT_EQ(intVector3ToText({1, -2, 3}).toUtf8(), "<1, -2, 3>");
    const Matrix3 identity{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    EXPECT_EQ(matrix3ToText(identity).toUtf8(), "(<1, 0, 0>;<0, 1, 0>;<0, 0, 1>)");
    Matrix4 m4;
    m4.rows[0].x = 2;
    EXPECT_EQ(matrix4ToText(m4).toUtf8(), "(<2, 0, 0, 0>;<0, 0, 0, 0>;<0, 0, 0, 0>;<0, 0, 0, 0>)");
}

TEST_F(Numbers, SizesAndDurations) {
    EXPECT_EQ(sizeToText(1400000, 1, "B").toUtf8(), "1.4 MB");
    EXPECT_EQ(sizeToText(999, 1, "B").toUtf8(), "999 B");
    EXPECT_EQ(sizeToText(1000, 1, "B").toUtf8(), "1.0 kB");
    EXPECT_EQ(sizeToText(2500000000000000000ULL, 2, "B").toUtf8(), "2.5 EB");
    EXPECT_EQ(durationToText({}).toUtf8(), "0 sec");
    EXPECT_EQ(durationToText({0, 0, 0, 3, 0}).toUtf8(), "3 sec");
    EXPECT_EQ(durationToText({0, 0, 1, 5, 0}).toUtf8(), "1:5 min");
    EXPECT_EQ(durationToText({0, 2, 0, 0, 50}).toUtf8(), "2:0:0:50 h");
    EXPECT_EQ(durationToText({1, 0, 0, 0, 0}).toUtf8(), "1 d");
    EXPECT_EQ(durationToText({0, 0, 0, 0, 7}).toUtf8(), "7 100sec");
}

TEST_F(Numbers, SettingsCopiedAsideAndBack) {
    {
        NumberSettingsGuard keep;
        numberSettings.ScientificMode = true;
        numberSettings.leading = 3;
    }
    EXPECT_FALSE(numberSettings.ScientificMode);
    EXPECT_EQ(numberSettings.leading, 0);
}

}  // namespace
}  // namespace corvane
