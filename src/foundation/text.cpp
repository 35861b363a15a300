// Text operations, UTF-8 conversion and text order.
#include "foundation/text.h"

#include <algorithm>
#include <cstring>

#include "foundation/numbersettings.h"

namespace corvane {

namespace {

unsigned char lowByte(Char16 c) { return static_cast<unsigned char>(c & 0xFF); }
unsigned char highByte(Char16 c) { return static_cast<unsigned char>(c >> 8); }

bool isAsciiUpper(unsigned char c) { return c >= 'A' && c <= 'Z'; }
bool isAsciiLower(unsigned char c) { return c >= 'a' && c <= 'z'; }

// Length of the UTF-8 sequence a lead byte announces; 0 for a stray byte.
int sequenceLength(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xC0) return 0;  // continuation byte out of place
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    if (lead < 0xF8) return 4;
    if (lead < 0xFC) return 5;
    if (lead < 0xFE) return 6;
    if (lead < 0xFF) return 7;
    return 0;
}

}  // namespace

Text::Text(const char* utf8) : Text(std::string_view(utf8 ? utf8 : "")) {}

Text::Text(std::string_view utf8) {
    const bool ascii = std::all_of(utf8.begin(), utf8.end(), [](char c) { return (c & 0x80) == 0; });
    if (ascii) {
        low_.assign(utf8.data(), utf8.size());
        return;
    }
    low_.reserve(utf8.size());
    const auto* bytes = reinterpret_cast<const unsigned char*>(utf8.data());
    const std::size_t size = utf8.size();
    std::size_t i = 0;
    while (i < size) {
        const unsigned char lead = bytes[i];
        if (lead < 0x80) {
            *this += static_cast<Char16>(lead);
            ++i;
            continue;
        }
        const int length = sequenceLength(lead);
        if (length == 0) {
            *this += Char16(0);
            ++i;
            continue;
        }
        if (i + length > size) {  // cut off by the end of the input
            *this += Char16(0);
            break;
        }
        // Continuation bytes are masked, not validated.
        if (length == 2) {
            *this += static_cast<Char16>(((lead & 0x1F) << 6) | (bytes[i + 1] & 0x3F));
        } else if (length == 3) {
            *this += static_cast<Char16>(((lead & 0x0F) << 12) | ((bytes[i + 1] & 0x3F) << 6) |
                                         (bytes[i + 2] & 0x3F));
        } else {
            *this += Char16(0);  // beyond 16 bits: one slot, character 0
        }
        i += length;
    }
}

Text::Text(Char16 character) { *this += character; }

Text Text::fromBytes(std::string_view bytes) {
    Text text;
    text.low_.assign(bytes.data(), bytes.size());
    return text;
}

Text Text::fromParts(std::string_view low, std::string_view high) {
    Text text;
    text.low_.assign(low.data(), low.size());
    if (!high.empty()) {
        text.high_.assign(high.data(), std::min(high.size(), low.size()));
        text.widenHigh();
        text.dropHighIfZero();
    }
    return text;
}

ByteText Text::toUtf8() const {
    ByteText out;
    out.reserve(low_.size());
    for (std::size_t i = 0; i < low_.size(); ++i) {
        const Char16 c = charAtIndex(i);
        if (c == 0) continue;
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

void Text::widenHigh() {
    if (high_.size() != low_.size()) high_.resize(low_.size(), '\0');
}

void Text::dropHighIfZero() {
    if (!high_.empty() && high_.find_first_not_of('\0') == std::string::npos) high_.clear();
}

Char16 Text::at(std::int64_t position) const {
    if (position < 1 || position > length()) return 0;
    return charAtIndex(static_cast<std::size_t>(position - 1));
}

void Text::setAt(std::int64_t position, Char16 character) {
    if (position < 1 || position > length()) return;
    const auto index = static_cast<std::size_t>(position - 1);
    low_[index] = static_cast<char>(lowByte(character));
    if (highByte(character) != 0) widenHigh();
    if (!high_.empty()) {
        high_[index] = static_cast<char>(highByte(character));
        if (highByte(character) == 0) dropHighIfZero();
    }
}

Text& Text::operator+=(const Text& other) {
    if (other.high_.empty()) {
        low_ += other.low_;
        if (!high_.empty()) high_.resize(low_.size(), '\0');
    } else {
        widenHigh();
        low_ += other.low_;
        high_ += other.high_;
    }
    return *this;
}

Text& Text::operator+=(Char16 character) {
    low_ += static_cast<char>(lowByte(character));
    if (highByte(character) != 0) {
        high_.resize(low_.size() - 1, '\0');
        high_ += static_cast<char>(highByte(character));
    } else if (!high_.empty()) {
        high_ += '\0';
    }
    return *this;
}

Text Text::copy(std::int64_t start, std::int64_t count) const {
    Text result;
    if (start < 1) {
        count += start - 1;
        start = 1;
    }
    if (count <= 0 || start > length()) return result;
    count = std::min(count, length() - start + 1);
    const auto from = static_cast<std::size_t>(start - 1);
    const auto n = static_cast<std::size_t>(count);
    result.low_.assign(low_, from, n);
    if (!high_.empty()) {
        result.high_.assign(high_, from, n);
        result.dropHighIfZero();
    }
    return result;
}

Text Text::copyRange(std::int64_t from, std::int64_t to) const {
    if (to < from) return *this;
    return copy(from, to - from + 1);
}

Text& Text::remove(std::int64_t start, std::int64_t count) {
    if (start < 1) {
        count += start - 1;
        start = 1;
    }
    if (count <= 0 || start > length()) return *this;
    count = std::min(count, length() - start + 1);
    const auto from = static_cast<std::size_t>(start - 1);
    const auto n = static_cast<std::size_t>(count);
    low_.erase(from, n);
    if (!high_.empty()) {
        high_.erase(from, n);
        dropHighIfZero();
    }
    return *this;
}

Text& Text::insert(const Text& piece, std::int64_t position) {
    position = std::clamp<std::int64_t>(position, 1, length() + 1);
    *this = copy(1, position - 1) + piece + copy(position, length());
    return *this;
}

namespace {

// Characters of the needle match the text at index (0-based).
bool matchesAt(const Text& text, const Text& needle, std::size_t index) {
    if (std::memcmp(text.low().data() + index, needle.low().data(), needle.low().size()) != 0) return false;
    if (!text.hasHighBytes() && !needle.hasHighBytes()) return true;
    for (std::size_t k = 0; k < needle.low().size(); ++k) {
        if (text.charAtIndex(index + k) != needle.charAtIndex(k)) return false;
    }
    return true;
}

}  // namespace

std::int64_t Text::findFirstFrom(const Text& needle, std::int64_t position) const {
    const std::int64_t n = needle.length();
    if (n == 0 || n > length()) return 0;
    if (position < 1) position = 1;
    std::size_t index = static_cast<std::size_t>(position - 1);
    while (index + static_cast<std::size_t>(n) <= low_.size()) {
        index = low_.find(needle.low_, index);
        if (index == std::string::npos) return 0;
        if (matchesAt(*this, needle, index)) return static_cast<std::int64_t>(index) + 1;
        ++index;
    }
    return 0;
}

std::int64_t Text::findLastFrom(const Text& needle, std::int64_t position) const {
    const std::int64_t n = needle.length();
    if (n == 0 || n > length() || position < 1) return 0;
    std::int64_t start = std::min(position, length() - n + 1);
    for (; start >= 1; --start) {
        if (matchesAt(*this, needle, static_cast<std::size_t>(start - 1))) return start;
    }
    return 0;
}

std::int64_t Text::findChar(Char16 character) const {
    if (high_.empty()) {
        if (highByte(character) != 0) return 0;
        const auto index = low_.find(static_cast<char>(character));
        return index == std::string::npos ? 0 : static_cast<std::int64_t>(index) + 1;
    }
    for (std::size_t i = 0; i < low_.size(); ++i) {
        if (charAtIndex(i) == character) return static_cast<std::int64_t>(i) + 1;
    }
    return 0;
}

Text Text::replaceAll(const Text& find, const Text& with) const {
    if (empty() || find.empty()) return *this;
    Text result;
    std::int64_t from = 1;
    for (;;) {
        const std::int64_t hit = findFirstFrom(find, from);
        if (hit == 0) break;
        result += copy(from, hit - from);
        result += with;
        from = hit + find.length();
    }
    if (from == 1) return *this;
    result += copy(from, length() - from + 1);
    return result;
}

Text Text::lowerCase() const {
    Text result = *this;
    for (char& c : result.low_) {
        if (isAsciiUpper(static_cast<unsigned char>(c))) c = static_cast<char>(c + ('a' - 'A'));
    }
    return result;
}

Text Text::upperCase() const {
    Text result = *this;
    for (char& c : result.low_) {
        if (isAsciiLower(static_cast<unsigned char>(c))) c = static_cast<char>(c - ('a' - 'A'));
    }
    return result;
}

Text Text::capitalised() const {
    Text result = lowerCase();
    for (char& c : result.low_) {
        if (isAsciiLower(static_cast<unsigned char>(c))) {
            c = static_cast<char>(c - ('a' - 'A'));
            break;
        }
    }
    return result;
}

Text Text::trimLeft(Char16 character) const {
    std::int64_t start = 1;
    while (start <= length() && at(start) == character) ++start;
    return copy(start, length() - start + 1);
}

Text Text::trimRight(Char16 character) const {
    std::int64_t end = length();
    while (end >= 1 && at(end) == character) --end;
    return copy(1, end);
}

Text Text::withoutBlanks() const {
    if (findChar(' ') == 0) return *this;
    Text result;
    for (std::size_t i = 0; i < low_.size(); ++i) {
        const Char16 c = charAtIndex(i);
        if (c != ' ') result += c;
    }
    return result;
}

Text Text::padLeft(std::int64_t toLength, Char16 filler) const {
    Text padding;
    for (std::int64_t i = length(); i < toLength; ++i) padding += filler;
    return padding + *this;
}

Text Text::padRight(std::int64_t toLength, Char16 filler) const {
    Text result = *this;
    for (std::int64_t i = length(); i < toLength; ++i) result += filler;
    return result;
}

Text Text::beforeFirst(const Text& delimiter) const {
    const std::int64_t at = findFirst(delimiter);
    return at == 0 ? *this : copy(1, at - 1);
}

Text Text::afterFirst(const Text& delimiter) const {
    const std::int64_t at = findFirst(delimiter);
    return at == 0 ? Text() : copy(at + delimiter.length(), length());
}

bool Text::startsWith(const Text& prefix) const {
    return prefix.length() <= length() && matchesAt(*this, prefix, 0);
}

bool Text::endsWith(const Text& suffix) const {
    return suffix.length() <= length() &&
           matchesAt(*this, suffix, static_cast<std::size_t>(length() - suffix.length()));
}

bool operator==(const Text& a, const Text& b) {
    return a.length() == b.length() && (a.empty() || matchesAt(a, b, 0));
}

bool operator==(const Text& a, std::string_view ascii) {
    if (a.low_ != ascii) return false;
    return a.high_.empty() || a.high_.find_first_not_of('\0') == std::string::npos;
}

int compareText(const Text& a, const Text& b) {
    const std::int64_t lengthA = a.length(), lengthB = b.length();
    if (!numberSettings.AlignedTextOrder && lengthA != lengthB) return lengthA < lengthB ? -1 : 1;
    const std::int64_t longer = std::max(lengthA, lengthB);
    for (std::int64_t i = 1; i <= longer; ++i) {
        const Char16 ca = a.at(i), cb = b.at(i);
        if (ca != cb) return ca < cb ? -1 : 1;
    }
    return 0;
}

bool containsNumber(const Text& text) {
    for (std::int64_t i = 1; i <= text.length(); ++i) {
        const Char16 c = text.at(i);
        if (c == '-' || (c >= '0' && c <= '9')) return true;
    }
    return false;
}

bool startsWithNumber(const Text& text) {
    for (std::int64_t i = 1; i <= text.length(); ++i) {
        const Char16 c = text.at(i);
        if (c == ' ' || c == '\t') continue;
        return c == '-' || (c >= '0' && c <= '9');
    }
    return false;
}

void ShortText::assign(const Text& text) {
    const auto n = static_cast<std::size_t>(std::min<std::int64_t>(text.length(), shortTextCapacity));
    std::memcpy(low, text.low().data(), n);
    low[n] = '\0';
    lowLength = static_cast<std::uint8_t>(n);
    if (text.hasHighBytes()) {
        std::memcpy(high, text.high().data(), n);
        highLength = static_cast<std::uint8_t>(n);
    } else {
        highLength = 0;
    }
}

Text ShortText::toText() const {
    return Text::fromParts(std::string_view(low, lowLength), std::string_view(high, highLength));
}

bool ShortText::equals(const Text& text) const {
    const auto n = static_cast<std::size_t>(std::min<std::int64_t>(text.length(), shortTextCapacity));
    if (n != lowLength || std::memcmp(low, text.low().data(), n) != 0) return false;
    for (std::size_t i = 0; i < n; ++i) {
        const char mine = i < highLength ? high[i] : '\0';
        const char theirs = text.hasHighBytes() ? text.high()[i] : '\0';
        if (mine != theirs) return false;
    }
    return true;
}

bool operator==(const ShortText& a, const ShortText& b) {
    if (a.lowLength != b.lowLength || std::memcmp(a.low, b.low, a.lowLength) != 0) return false;
    for (std::size_t i = 0; i < a.lowLength; ++i) {
        const char ha = i < a.highLength ? a.high[i] : '\0';
        const char hb = i < b.highLength ? b.high[i] : '\0';
        if (ha != hb) return false;
    }
    return true;
}

}  // namespace corvane
