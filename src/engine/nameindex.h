// The index from a name to the rows of a table that bear it, shared by the
// SyntaxTable and the VariableTable, whose newest row of a name wins.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/text.h"

namespace corvane {

// The hash key of a name: its bytes as stored, cut to 254 characters.
std::string nameKey(const Text& name);

// The same key for a lookup: a view of the name's own bytes when it has no
// high bytes and fits, so that the common lookup copies nothing.
class NameKeyView {
public:
    explicit NameKeyView(const Text& name) {
        if (!name.hasHighBytes() && name.length() <= shortTextCapacity) {
            view_ = name.low();
        } else {
            owned_ = nameKey(name);
            view_ = owned_;
        }
    }
    NameKeyView(const NameKeyView&) = delete;
    NameKeyView& operator=(const NameKeyView&) = delete;
    std::string_view view() const { return view_; }

private:
    std::string owned_;
    std::string_view view_;
};

// Maps keyed by names that look up by view. Names are short, so an inline
// multiply-mix over eight-byte words beats the library's out-of-line hash.
struct NameHash {
    using is_transparent = void;
    // Not noexcept on purpose: the map then keeps each node's hash, so
    // bucket walks compare numbers before bytes.
    std::size_t operator()(std::string_view key) const {
        constexpr std::uint64_t multiplier = 0x9E3779B97F4A7C15ull;
        std::uint64_t hash = key.size() * multiplier;
        std::size_t at = 0;
        for (; at + 8 <= key.size(); at += 8) {
            std::uint64_t word;
            std::memcpy(&word, key.data() + at, 8);
            hash = (hash ^ word) * multiplier;
            hash ^= hash >> 29;
        }
        std::uint64_t tail = 0;
        for (std::size_t shift = 0; at < key.size(); ++at, shift += 8)
            tail |= std::uint64_t(static_cast<unsigned char>(key[at])) << shift;
        hash = (hash ^ tail) * multiplier;
        return static_cast<std::size_t>(hash ^ (hash >> 32));
    }
};

// The entry of a name, made when missing; the key is built only then.
template <class Value>
Value& entryOf(std::unordered_map<std::string, Value, NameHash, std::equal_to<>>& map, std::string_view key) {
    const auto hit = map.find(key);
    if (hit != map.end()) return hit->second;
    return map.emplace(std::string(key), Value()).first->second;
}
template <class Value>
using NameMap = std::unordered_map<std::string, Value, NameHash, std::equal_to<>>;

// Row numbers (1-based, rising) of each name.
using NameIndex = NameMap<std::vector<std::int64_t>>;

// Drops the rows from `keep` on, newest first, with their index entries.
// An emptied entry stays for the next row of that name, as loop variables
// come back on every pass.
template <class Row>
void dropRowsFrom(std::vector<Row>& rows, NameIndex& index, std::size_t keep) {
    while (rows.size() > keep) {
        const NameKeyView key(rows.back().name);
        const auto entry = index.find(key.view());
        if (entry != index.end() && !entry->second.empty()) entry->second.pop_back();
        rows.pop_back();
    }
}

}  // namespace corvane
