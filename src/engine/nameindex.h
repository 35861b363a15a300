// The index from a name to the rows of a table that bear it, shared by the
// SyntaxTable and the VariableTable, whose newest row of a name wins.
#pragma once

#include <cstdint>
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

// Maps keyed by names that look up by view.
struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const noexcept { return std::hash<std::string_view>()(key); }
};
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
