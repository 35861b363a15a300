// Text positions, UTF-8 conversion, operations and text order.
#include "foundation/text.h"

#include <gtest/gtest.h>

#include "foundation/numbersettings.h"

namespace corvane {
namespace {

TEST(TextUtf8, DecodesOneToThreeByteSequences) {
    const Text text("aé€");
    ASSERT_EQ(text.length(), 3);
    EXPECT_EQ(text.at(1), u'a');
    EXPECT_EQ(text.at(2), 0x00E9);
    EXPECT_EQ(text.at(3), 0x20AC);
    EXPECT_EQ(text.toUtf8(), "aé€");
}

TEST(TextUtf8, FourByteSequenceBecomesOneCharacterZeroThatVanishes) {
    const Text text("a😀b");
    ASSERT_EQ(text.length(), 3);
    EXPECT_EQ(text.at(2), 0);
    EXPECT_EQ(text.toUtf8(), "ab");
}

TEST(TextUtf8, StrayAndCutOffBytesGiveCharacterZero) {
    struct Case {
        const char* bytes;
        std::int64_t length;
        const char* back;
    };
    const Case cases[] = {
        {"a\x80" "b", 3, "ab"},                 // continuation byte out of place
        {"a\xFF" "b", 3, "ab"},                 // byte that starts nothing
        {"a\xE2\x82", 2, "a"},                  // cut off by the end
        {"\xF8\x88\x80\x80\x80x", 2, "x"},      // five-byte sequence skipped whole
        {"\xC3\x28", 1, "\xC3\xA8"},            // continuation masked, not validated
    };
    for (const Case& c : cases) {
        const Text text(c.bytes);
        EXPECT_EQ(text.length(), c.length) << c.bytes;
        EXPECT_EQ(text.toUtf8(), c.back) << c.bytes;
    }
}

TEST(TextUtf8, BinaryCopyKeepsEveryByte) {
    const std::string bytes("\x00\xFF\x80z", 4);
    const Text text = Text::fromBytes(bytes);
    EXPECT_EQ(text.length(), 4);
    EXPECT_EQ(text.low(), bytes);
    EXPECT_EQ(text.at(2), 0xFF);
}

TEST(TextPositions, OutOfRangeReadsZeroAndWritesNothing) {
    Text text("abc");
    EXPECT_EQ(text.at(0), 0);
    EXPECT_EQ(text.at(4), 0);
    EXPECT_EQ(text.at(-7), 0);
    text.setAt(0, 'x');
    text.setAt(4, 'x');
    EXPECT_EQ(text, Text("abc"));
    text.setAt(2, 0x20AC);
    EXPECT_EQ(text.toUtf8(), "a€c");
    text.setAt(2, 'b');
    EXPECT_FALSE(text.hasHighBytes());
}

TEST(TextOperations, CopyDeleteInsertKeepBothWordsInStep) {
    const Text text("h€llo");
    EXPECT_EQ(text.copy(2, 3).toUtf8(), "€ll");
    EXPECT_EQ(text.copy(4, 99).toUtf8(), "lo");
    EXPECT_EQ(text.copy(9, 2).toUtf8(), "");
    EXPECT_EQ(text.copyRange(2, 3).toUtf8(), "€l");
    EXPECT_EQ(text.copyRange(4, 2).toUtf8(), "h€llo");  // to below from: whole text
    Text edited = text;
    edited.remove(2, 1);
    EXPECT_EQ(edited.toUtf8(), "hllo");
    EXPECT_FALSE(edited.hasHighBytes());
    edited.insert(Text("é"), 1);
    EXPECT_EQ(edited.toUtf8(), "éhllo");
    EXPECT_EQ((Text("a") + "€" + Text("b")).toUtf8(), "a€b");
}

TEST(TextOperations, FindFamily) {
    const Text text("abcabc");
    EXPECT_EQ(text.findFirst("bc"), 2);
    EXPECT_EQ(text.findLast("bc"), 5);
    EXPECT_EQ(text.findFirstFrom("bc", 3), 5);
    EXPECT_EQ(text.findLastFrom("bc", 4), 2);
    EXPECT_EQ(text.findFirst(""), 0);
    EXPECT_EQ(text.findFirst("abcabcabc"), 0);
    EXPECT_EQ(text.findChar('c'), 3);
    EXPECT_EQ(text.findChar('z'), 0);
    // The high byte takes part: 'A' with a high byte is not 'A'.
    Text wide("xA");
    wide.setAt(2, 0x0141);
    EXPECT_EQ(wide.findFirst("A"), 0);
    EXPECT_EQ(wide.findChar(0x0141), 2);
}

TEST(TextOperations, ReplaceAllIsOnePass) {
    EXPECT_EQ(Text("aaa").replaceAll("a", "aa").toUtf8(), "aaaaaa");
    EXPECT_EQ(Text("abab").replaceAll("ab", "b").toUtf8(), "bb");
    EXPECT_EQ(Text("aXbXc").replaceAll("X", "€").toUtf8(), "a€b€c");
    EXPECT_EQ(Text("abc").replaceAll("", "x").toUtf8(), "abc");
    EXPECT_EQ(Text("").replaceAll("a", "x").toUtf8(), "");
}

TEST(TextOperations, CaseChangesTouchAsciiLowBytesOnly) {
    EXPECT_EQ(Text("MiXeD Ä 1").lowerCase().toUtf8(), "mixed Ä 1");
    EXPECT_EQ(Text("mixed ä").upperCase().toUtf8(), "MIXED ä");
    EXPECT_EQ(Text("hELLO wORLD").capitalised().toUtf8(), "Hello world");
    Text wide("A");
    wide.setAt(1, 0x0141);  // low byte 'A' under a high byte
    EXPECT_EQ(wide.lowerCase().at(1), 0x0161);
}

TEST(TextOperations, TrimPadSplit) {
    EXPECT_EQ(Text("  a b  ").trimLeft().toUtf8(), "a b  ");
    EXPECT_EQ(Text("  a b  ").trimRight().toUtf8(), "  a b");
    EXPECT_EQ(Text("xxaxx").trim('x').toUtf8(), "a");
    EXPECT_EQ(Text(" a b ").withoutBlanks().toUtf8(), "ab");
    EXPECT_EQ(Text("7").padLeft(3, '0').toUtf8(), "007");
    EXPECT_EQ(Text("ab").padRight(4, '.').toUtf8(), "ab..");
    EXPECT_EQ(Text("abcd").padRight(2).toUtf8(), "abcd");
    EXPECT_EQ(Text("key=value=x").beforeFirst("=").toUtf8(), "key");
    EXPECT_EQ(Text("key=value=x").afterFirst("=").toUtf8(), "value=x");
    EXPECT_EQ(Text("novalue").beforeFirst("=").toUtf8(), "novalue");
    EXPECT_EQ(Text("novalue").afterFirst("=").toUtf8(), "");
}

TEST(TextOrder, AlignedAndLengthFirstOrders) {
    NumberSettingsGuard keep;
    numberSettings.AlignedTextOrder = true;
    EXPECT_LT(compareText("ab", "abc"), 0);
    EXPECT_LT(compareText("10", "9"), 0);
    EXPECT_GT(compareText("b", "abc"), 0);
    EXPECT_EQ(compareText("abc", "abc"), 0);
    numberSettings.AlignedTextOrder = false;
    EXPECT_LT(compareText("9", "10"), 0);   // plain numbers sort numerically
    EXPECT_LT(compareText("zz", "abc"), 0);  // the shorter is less whatever it holds
    EXPECT_LT(compareText("abc", "abd"), 0);
    EXPECT_GT(compareText("€", "z"), 0);    // by 16-bit code
}

TEST(TextNumberTests, DigitOrMinusSomewhereOrFirst) {
    EXPECT_TRUE(containsNumber("abc-"));
    EXPECT_TRUE(containsNumber("x7"));
    EXPECT_FALSE(containsNumber("abc"));
    EXPECT_TRUE(startsWithNumber(" \t-3"));
    EXPECT_FALSE(startsWithNumber(" x3"));
}

TEST(ShortTextForm, KeepsAtMost254CharactersAndATerminator) {
    const Text longText = Text("x").padRight(300, 'y');
    const ShortText shortText(longText);
    EXPECT_EQ(shortText.length(), 254);
    EXPECT_EQ(shortText.low[254], '\0');
    EXPECT_EQ(shortText.toText(), longText.copy(1, 254));
    EXPECT_TRUE(shortText.equals(longText));
    const ShortText wide(Text("a€"));
    EXPECT_EQ(wide.toText().toUtf8(), "a€");
    EXPECT_FALSE(wide.equals("a"));
    EXPECT_TRUE(ShortText(Text("ab")) == ShortText(Text("ab")));
}

}  // namespace
}  // namespace corvane
