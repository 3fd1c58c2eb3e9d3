#include "apps/makers/tables/database_words.h"

#include "apps/makers/tables/directories.h"
#include "apps/makers/tables/position_values.h"
#include "apps/makers/tables/table_file.h"
#include "egtb/nalimov/index.h"

namespace torval {

DatabaseWords::DatabaseWords() : reader_(std::make_unique<TableReader>(SearchedDirectories({}))) {}

DatabaseWords::~DatabaseWords() = default;

void DatabaseWords::Use(const std::string& paths) {
    reader_ = std::make_unique<TableReader>(SearchedDirectories(paths));
}

std::string DatabaseWords::Extent() const {
    const TableReader::Extent extent = reader_->Count();
    if (extent.files == 0) return "no files";
    return std::to_string(extent.files) + (extent.files == 1 ? " file" : " files") + " of up to " +
           std::to_string(extent.men) + " men";
}

std::optional<Verdict> DatabaseWords::Value(const CHSBRD& board, const EVAR* last) {
    if (MayCastle(board)) return std::nullopt;
    const auto small = SmallBoardOf(board, last ? PassedSquare(board, *last) : kNoEnPassant);
    if (!small || small->side[0].count + small->side[1].count == 0) return std::nullopt;
    BuildIndexTables();
    const TablebaseValue value = ValueOf(
        *small, [this](int id, int side, std::uint64_t at) { return reader_->Read(id, side, at); });
    if (value == kUnknownValue) return std::nullopt;
    return Verdict{.words = ValueText(value), .is_draw = value == kDrawValue};
}

std::vector<std::string> DatabaseWords::Lines(const CHSBRD& board, const EVAR* last) {
    const auto small = SmallBoardOf(board, last ? PassedSquare(board, *last) : kNoEnPassant);
    if (!small) return {"There are too many men on the board for the databases."};
    if (MayCastle(board)) return {"Castling is still possible: no database knows such positions."};
    BuildIndexTables();
    const EntryReader read = [this](int id, int side, std::uint64_t at) {
        return reader_->Read(id, side, at);
    };
    const TablebaseValue value = ValueOf(*small, read);
    std::vector<std::string> lines;
    if (value == kUnknownValue) {
        const Gap gap = FindGap(*small, reader_.get());
        switch (gap.reason) {
            case Gap::Reason::NoClass: lines.emplace_back("No database knows these men."); break;
            case Gap::Reason::NoFile:
                lines.push_back("There is no file that knows this position: " + gap.file +
                                " would.");
                break;
            default:
                lines.push_back("The databases do not know this position: " + gap.Words() + ".");
        }
    } else {
        lines.push_back(std::string(board.color == 0 ? "White" : "Black") +
                        " to move: " + ValueText(value) + ".");
    }
    TablebaseValue row = kUnknownValue;
    for (const MoveValue& move : MoveValues(*small, read)) {
        // Without files there is nothing to say about moves either.
        if (move.value == kUnknownValue && value == kUnknownValue) continue;
        if (move.value != row || lines.size() == 1) {
            lines.push_back("  " + ValueText(move.value) + ":");
            row = move.value;
        }
        lines.back() += " " + move.move;
    }
    return lines;
}

}  // namespace torval
