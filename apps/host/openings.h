// Names of openings, with their codes in the classification A00 to E99.
//
// Shape    a table of lines (code, name, moves) converted to one of positions: a name belongs to
//          the men on their squares and the side to move, whatever the order of moves.
// Source   data/openings.tsv, which is built into the program.
// Thread   a table is constant once it is read; any thread. BuiltInOpenings reads it on first use.
// Errors   a text that begins with the line number; there is then no table.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "torval/records.h"

namespace torval {

struct Opening {
    std::string_view code;  ///< "B12"
    std::string_view name;  ///< "Caro-Kann Defense: Advance Variation", plain ASCII

    /// "B12 Caro-Kann Defense: Advance Variation".
    std::string Text() const;
};

class OpeningTable {
public:
    /// Reads lines of code, name and moves in coordinates from the usual start, separated by tabs.
    /// Moves are only checked for moving a man of the right side, not against the other rules. The
    /// table points into the lines. Two lines to one position are refused.
    static std::optional<OpeningTable> Read(std::span<const std::string_view> lines,
                                            std::string* error);

    /// The opening named for exactly this position, or null.
    const Opening* Find(const CHSBRD& board) const;

    std::size_t size() const { return entries_.size(); }

private:
    /// The men as four bits each, two squares to a byte; then the side to move.
    using Key = std::array<std::uint8_t, 33>;
    struct Entry {
        Key key;
        Opening opening;
    };

    static Key KeyOf(const CHSBRD& board);

    std::vector<Entry> entries_;  ///< by key
};

const OpeningTable& BuiltInOpenings();

}  // namespace torval
