// The index from a name to the rows of a table that bear it, shared by the
// SyntaxTable and the VariableTable, whose newest row of a name wins.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/text.h"

namespace corvane {

// The hash key of a name: its bytes as stored, cut to 254 characters.
std::string nameKey(const Text& name);

// Row numbers (1-based, rising) of each name.
using NameIndex = std::unordered_map<std::string, std::vector<std::int64_t>>;

// Drops the rows from `keep` on, newest first, with their index entries.
template <class Row>
void dropRowsFrom(std::vector<Row>& rows, NameIndex& index, std::size_t keep) {
    while (rows.size() > keep) {
        const std::string key = nameKey(rows.back().name);
        std::vector<std::int64_t>& indices = index[key];
        indices.pop_back();
        if (indices.empty()) index.erase(key);
        rows.pop_back();
    }
}

}  // namespace corvane
