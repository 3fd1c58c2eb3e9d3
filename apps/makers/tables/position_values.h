// What the endgame databases say about a position and each of its moves, for display.
//
// Purpose  reads the files by itself and shares nothing with the engine, so a host may ask while the
//          engine computes.
// Range    positions without castling; classes of up to five men are read fully, wide ones too.
// Errors   kUnknownValue where no file answers.
// Thread   one at a time. After BuildIndexTables.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/makers/tables/small_board.h"
#include "egtb/nalimov/container.h"
#include "egtb/nalimov/values.h"
#include "platform/disk_file.h"
#include "torval/records.h"

namespace torval {

/// An entry of a class with a side of it to move.
using EntryReader = std::function<TablebaseValue(int class_id, int side, std::uint64_t index)>;

/// Why the files have no value for a position.
struct Gap {
    enum class Reason {
        NoClass,     ///< no database is for these men
        NoFile,      ///< the file needed is missing
        Damaged,     ///< it cannot be read where the value should be
        NoPosition,  ///< the class has no such position
        NoValue,     ///< the file leaves this position out
    };
    Reason reason;
    std::string file;  ///< "kqkr.nbb" for a missing one, else its full name, if any

    /// A clause: "there is no file kqkr.nbb".
    std::string Words() const;
};

/// The files of some directories, opened on first use. Files that come or go later are not noticed.
class TableReader {
public:
    explicit TableReader(std::vector<std::string> directories)
        : directories_(std::move(directories)) {}

    TablebaseValue Read(int class_id, int side, std::uint64_t index);

    /// Why Read has no value.
    Gap WhyUnknown(int class_id, int side, std::uint64_t index);

    struct Extent {
        int files = 0;
        int men = 0;  ///< of the largest class, kings included
    };
    Extent Count() const;

private:
    struct Table {
        bool is_there = false;
        std::string name;  ///< of a file that may be damaged; empty for none
        DiskFile file;
        std::unique_ptr<CompressedFileInfo> info;  ///< none for an uncompressed file
        std::uint32_t block = 0;                   ///< whose bytes `data` has
        std::vector<std::uint8_t> data;            ///< empty: of none
        std::size_t size = 0;                      ///< bytes of the block

        bool Fetch(std::uint32_t wanted);
    };
    Table& Open(int class_id, int file_side);

    std::vector<std::string> directories_;
    std::map<std::pair<int, int>, Table> tables_;
};

/// Whether a king and a rook that have not moved are at home.
bool MayCastle(const CHSBRD& board);

/// The square that the pawn of this move has passed, when a pawn stands beside it that could take;
/// kNoEnPassant for any other move.
int PassedSquare(const CHSBRD& board, const EVAR& last);

/// The position with White as side 0; nullopt with more men than a class has, or without a king.
std::optional<SmallBoard> SmallBoardOf(const CHSBRD& board, int en_passant);

/// For the side to move. Bare kings are a draw.
TablebaseValue ValueOf(const SmallBoard& board, const EntryReader& read);

struct MoveValue {
    std::string move;      ///< in algebraic notation
    TablebaseValue value;  ///< for the side that makes it: MatesIn(1) for mate itself
};

/// All legal moves, the best first; unknown ones last.
std::vector<MoveValue> MoveValues(const SmallBoard& board, const EntryReader& read);

/// For a position without a value.
Gap FindGap(const SmallBoard& board, TableReader* reader);

}  // namespace torval
