// Text: the system's text value, 16-bit characters held as a low-byte and a
// high-byte string; ByteText, the plain byte string; ShortText, the fixed form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace corvane {

// Plain one-byte string of the runtime: UTF-8 or binary data.
using ByteText = std::string;

// A 16-bit character; characters above 0xFFFF do not exist in the system.
using Char16 = char16_t;

constexpr std::int64_t shortTextCapacity = 254;

// Text keeps the invariant that `high` is either empty (every high byte is 0)
// or exactly as long as `low`. Positions count from 1; a position outside
// 1..length reads as character 0 and writes nothing.
class Text {
public:
    Text() = default;
    // From UTF-8: two- and three-byte sequences give their value, anything
    // else that is not plain ASCII gives character 0.
    Text(const char* utf8);
    Text(std::string_view utf8);
    explicit Text(const ByteText& utf8) : Text(std::string_view(utf8)) {}
    explicit Text(Char16 character);

    // Byte-wise copy into the low bytes, for binary data.
    static Text fromBytes(std::string_view bytes);
    // From the two byte strings as stored; a shorter high string reads as zeros.
    static Text fromParts(std::string_view low, std::string_view high);
    // UTF-8 form; character 0 vanishes.
    ByteText toUtf8() const;
    // The low bytes as they stand.
    const std::string& low() const { return low_; }
    const std::string& high() const { return high_; }
    bool hasHighBytes() const { return !high_.empty(); }

    std::int64_t length() const { return static_cast<std::int64_t>(low_.size()); }
    bool empty() const { return low_.empty(); }
    Char16 at(std::int64_t position) const;
    void setAt(std::int64_t position, Char16 character);
    // 0-based access for scans that have already checked their bounds.
    Char16 charAtIndex(std::size_t index) const {
        return static_cast<Char16>(static_cast<unsigned char>(low_[index]) |
                                   (high_.empty() ? 0 : static_cast<unsigned char>(high_[index]) << 8));
    }

    Text& operator+=(const Text& other);
    Text& operator+=(Char16 character);
    Text& operator+=(const char* utf8) { return *this += Text(utf8); }
    friend Text operator+(Text left, const Text& right) { return left += right; }
    friend Text operator+(Text left, const char* right) { return left += Text(right); }
    friend Text operator+(const char* left, const Text& right) { return Text(left) += right; }

    Text copy(std::int64_t start, std::int64_t count) const;
    // Characters from..to; a range with to below from yields the whole text.
    Text copyRange(std::int64_t from, std::int64_t to) const;
    Text& remove(std::int64_t start, std::int64_t count);
    Text& insert(const Text& piece, std::int64_t position);

    // Positions or 0; an empty needle or one longer than the text gives 0.
    std::int64_t findFirst(const Text& needle) const { return findFirstFrom(needle, 1); }
    std::int64_t findLast(const Text& needle) const { return findLastFrom(needle, length()); }
    std::int64_t findFirstFrom(const Text& needle, std::int64_t position) const;
    // Last occurrence that starts at or before position.
    std::int64_t findLastFrom(const Text& needle, std::int64_t position) const;
    std::int64_t findChar(Char16 character) const;
    bool contains(const Text& needle) const { return findFirst(needle) > 0; }

    // One pass left to right; replaced pieces are not rescanned.
    Text replaceAll(const Text& find, const Text& with) const;
    // ASCII letters of the low bytes only, whatever the high byte holds.
    Text lowerCase() const;
    Text upperCase() const;
    Text capitalised() const;
    Text trimLeft(Char16 character = ' ') const;
    Text trimRight(Char16 character = ' ') const;
    Text trim(Char16 character = ' ') const { return trimLeft(character).trimRight(character); }
    Text withoutBlanks() const;
    Text padLeft(std::int64_t toLength, Char16 filler = ' ') const;
    Text padRight(std::int64_t toLength, Char16 filler = ' ') const;
    // Split at the first delimiter; without one, before is the whole text and after empty.
    Text beforeFirst(const Text& delimiter) const;
    Text afterFirst(const Text& delimiter) const;

    bool startsWith(const Text& prefix) const;
    // Against an ASCII literal, without building a Text.
    bool startsWith(std::string_view ascii) const {
        return low_.compare(0, ascii.size(), ascii) == 0 && ascii.size() <= low_.size() &&
               (high_.empty() || high_.find_first_not_of('\0', 0) >= ascii.size());
    }
    bool startsWith(const char* ascii) const { return startsWith(std::string_view(ascii)); }
    bool endsWith(const Text& suffix) const;

    // Same characters, same length.
    friend bool operator==(const Text& a, const Text& b);
    // Against an ASCII literal, without building a Text.
    friend bool operator==(const Text& a, std::string_view ascii);
    friend bool operator==(const Text& a, const char* ascii) { return a == std::string_view(ascii); }

private:
    void widenHigh();
    void dropHighIfZero();

    std::string low_;   // TextLow
    std::string high_;  // TextHigh, empty while every character is below 256
};

// Text order by 16-bit code, no locale. With AlignedTextOrder set a prefix
// sorts first; with it clear the shorter text is less, so that plain numbers
// in file names sort numerically. Returns <0, 0 or >0.
int compareText(const Text& a, const Text& b);

// The two tests callers use to tell whether a text holds a number at all:
// true when a digit or '-' stands in it; the second skips blanks and TABs
// before it and looks at the first other character only.
bool containsNumber(const Text& text);
bool startsWithNumber(const Text& text);

// Fixed form for records that must not own strings: two counted strings of
// capacity 255, at most 254 characters used, a zero byte behind the low one.
struct ShortText {
    std::uint8_t lowLength = 0;
    char low[255] = {};
    std::uint8_t highLength = 0;
    char high[255] = {};

    ShortText() = default;
    ShortText(const Text& text) { assign(text); }
    ShortText& operator=(const Text& text) { assign(text); return *this; }
    void assign(const Text& text);
    Text toText() const;
    std::int64_t length() const { return lowLength; }
    bool empty() const { return lowLength == 0; }
    // Same characters as the text, with the text cut to 254 like a store.
    bool equals(const Text& text) const;
    friend bool operator==(const ShortText& a, const ShortText& b);
};
static_assert(sizeof(ShortText) == 512, "name lists rely on 512-byte entries");

}  // namespace corvane

template <>
struct std::hash<corvane::Text> {
    std::size_t operator()(const corvane::Text& text) const noexcept {
        return std::hash<std::string>()(text.low());
    }
};
