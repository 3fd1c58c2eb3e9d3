// The positions of the opening table, and the moves between them.
//
// Shape    every position that a line passes through is there once. Its moves are those of the lines
//          and any other that leads to a position of the lines one half-move later, so that
//          transpositions which no line has stay within the table.
// Losses   what a move of the table loses by a search, for moves that lose much:
//          data/openings-losses.tsv, which tools/vet_openings.cpp writes.
// Thread   the thread that works on the position; game and position are changed after Read.
// Errors   std::runtime_error for a line that cannot be played, and for a loss whose move is not in
//          the table.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "apps/makers/books/book_image.h"
#include "board/position.h"

namespace torval {

struct OpeningStep {
    Move move;
    std::size_t to;   ///< the position after it
    bool is_on_line;  ///< else it only connects
    int loss;         ///< in 1/100 pawn, 0 where none is known
};

struct OpeningPosition {
    HashKey key;
    std::string moves;  ///< in coordinates, the fewest from the start
    std::size_t ply;    ///< their number
    bool has_name;      ///< a line ends here
    std::size_t names;  ///< that lines through here lead to, this position's own included
    std::vector<OpeningStep> steps;
};

class OpeningGraph {
public:
    /// Lines as data/openings.tsv has them, losses as data/openings-losses.tsv; `version` is that
    /// of the book whose keys the positions get.
    static OpeningGraph Read(std::span<const std::string_view> lines,
                             std::span<const std::string_view> losses,
                             std::uint8_t version);

    /// The start position comes first.
    std::span<const OpeningPosition> Positions() const { return positions_; }

private:
    std::vector<OpeningPosition> positions_;
};

/// Scores   0 for the move that leads to the most names, lower for fewer names and for a loss
///          beyond half a pawn; moves within 40, the engine's margin, are equally fit to be played.
///          A move whose names alone put it beyond twice that margin is excluded from play, and so
///          is one that loses a pawn, a limit that rises by a quarter for each doubling of the
///          names.
BookImage OpeningBook(const OpeningGraph& graph, BookShape shape);

}  // namespace torval
