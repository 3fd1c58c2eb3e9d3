// The files of single classes, whole and in memory, for the tools.
//
// Range    classes of up to five men; those of six are too large for this.
// Errors   InputError for a file that is missing, damaged or of another kind, naming it.
// Thread   any thread, after BuildIndexTables; no shared state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/makers/tables/small_board.h"
#include "egtb/nalimov/values.h"

namespace torval {

struct TableFile {
    int class_id = 0;
    int side = 0;  ///< to move
    std::string path;
    bool is_compressed = false;
};

/// Which file a name stands for, in any of the five forms: "tb/kqkr.nbw", "kqkr_nbb.emd".
TableFile TableFileByName(const std::string& path);

/// The first file of a class and side in the directories, damaged or not; nullopt when there is
/// none.
std::optional<TableFile> FindTableFile(const std::vector<std::string>& directories,
                                       int class_id,
                                       int side);

/// The entries, all checksums compared.
std::vector<std::int8_t> ReadTableFile(const TableFile& file);

/// The class of a name that a user gave.
int ClassByName(const std::string& name);

/// "kqkr.nbw".
std::string TableFileName(int class_id, int side);

/// "mate in 3", "mated in 2", "checkmate", "draw", "unknown", for the side to move.
std::string ValueText(TablebaseValue value);

/// A FEN with the first side as White.
std::string FenOf(const SmallBoard& board);

/// The value of a position whose best move leads to one with this value for the other side.
TablebaseValue ValueBefore(TablebaseValue after);

}  // namespace torval
