// What the Nalimov databases say about a position and each of its moves, in words.
//
// Purpose  reads the files by itself and shares nothing with the engine, so a host may ask while the
//          engine computes.
// Thread   one at a time.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "torval/records.h"

namespace torval {

class TableReader;

/// An exact value for the side to move.
struct Verdict {
    std::string words;  ///< "mate in 3", "mated in 2", "checkmate", "draw"
    bool is_draw = false;
};

class DatabaseWords {
public:
    DatabaseWords();
    ~DatabaseWords();
    DatabaseWords(const DatabaseWords&) = delete;
    DatabaseWords& operator=(const DatabaseWords&) = delete;

    /// The directories that the engine searches; an empty path for its own directory alone.
    void Use(const std::string& paths);

    /// "66 files of up to 4 men", "no files".
    std::string Extent() const;

    /// The value for the side to move, when the files have one. `last` is the move that led to the
    /// position, or null.
    std::optional<Verdict> Value(const CHSBRD& board, const EVAR* last);

    /// The value and those of all moves, a line for each value; or why there is no value.
    std::vector<std::string> Lines(const CHSBRD& board, const EVAR* last);

private:
    std::unique_ptr<TableReader> reader_;
};

}  // namespace torval
