#include "apps/makers/tables/position_values.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "apps/makers/tables/table_file.h"
#include "apps/text/san.h"
#include "apps/text/text.h"
#include "board/piece.h"
#include "egtb/nalimov/probe.h"
#include "egtb/nalimov/registry.h"
#include "platform/files.h"
#include "torval/en_passant.h"

namespace torval {

namespace {

/// A piece byte without the attack marks that the engine adds.
constexpr unsigned kCodeBits = 31;

unsigned TypeAt(const SmallBoard::Men& men, int square) {
    if (men.king == square) return King;
    for (std::uint8_t i = 0; i < men.count; ++i) {
        if (men.square[i] == square) return men.type[i];
    }
    return NoType;
}

struct Reply {
    SmallMove move;
    SmallBoard after;
};

std::vector<Reply> RepliesOf(const SmallBoard& board) {
    std::vector<Reply> replies;
    ForEachMove(board, [&](const SmallMove& move, const SmallBoard& after) {
        replies.push_back({move, after});
    });
    return replies;
}

std::string MoveName(const SmallBoard& board, const Reply& reply, const std::vector<Reply>& all) {
    const SmallBoard::Men& men = board.side[board.to_move];
    const SmallMove& move = reply.move;
    const unsigned them = 1U - board.to_move;
    SanMove san = {.type = static_cast<int>(TypeAt(men, move.from)),
                   .from = SquareAt(move.from),
                   .to = SquareAt(move.to),
                   .takes = reply.after.side[them].count < board.side[them].count,
                   .promotion = move.promotion};
    std::vector<std::uint8_t> others;
    for (const Reply& other : all) {
        if (other.move.to != move.to || other.move.from == move.from) continue;
        if (static_cast<int>(TypeAt(men, other.move.from)) != san.type) continue;
        others.push_back(SquareAt(other.move.from));
    }
    san.TellFrom(others);
    if (reply.after.InCheck(reply.after.to_move)) {
        san.sign = RepliesOf(reply.after).empty() ? SanSign::Mate : SanSign::Check;
    }
    return WriteSan(san);
}

}  // namespace

bool TableReader::Table::Fetch(std::uint32_t wanted) {
    if (!data.empty() && block == wanted) return true;
    data.assign(kBlockBytes + kSpareBytes, 0);
    block = wanted;
    bool read = false;
    if (!info) {
        read = file.Seek(std::uint64_t{wanted} * kBlockBytes);
        size = read ? file.Read(std::span(data).first(kBlockBytes)) : 0;
        read = size > 0 && !file.ReadFailed();
    } else if (wanted < info->blocks) {
        std::vector<std::uint8_t> packed(info->CompressedSizeOf(wanted));
        size = info->SizeOf(wanted);
        read = file.Seek(info->offsets[wanted]) && file.Read(packed) == packed.size() &&
               DecodeBlock(*info, wanted, packed, data) == ErrorNone;
    }
    if (!read) data.clear();
    return read;
}

TableReader::Table& TableReader::Open(int class_id, int file_side) {
    const auto [place, is_new] = tables_.try_emplace({class_id, file_side});
    Table& table = place->second;
    if (!is_new) return table;
    for (const std::string& directory : directories_) {
        FoundFile found = FindTablebaseFile(directory, class_id, file_side);
        if (found.name.empty()) continue;
        table.name = found.name;
        table.is_there = found.problem.empty() && table.file.Open(found.name, DiskAccess::ReadOnly);
        table.info = std::move(found.info);
        break;
    }
    return table;
}

TablebaseValue TableReader::Read(int class_id, int side, std::uint64_t index) {
    const int file_side = FileSideOf(class_id, side);
    Table& table = Open(class_id, file_side);
    if (!table.is_there) return kUnknownValue;
    return TablebaseValueFrom(
        class_id, file_side, index, [&](std::uint32_t block, std::uint32_t offset) -> int {
            if (!table.Fetch(block) || offset >= table.size) return kUnknownValue;
            return static_cast<std::int8_t>(table.data[offset]);
        });
}

Gap TableReader::WhyUnknown(int class_id, int side, std::uint64_t index) {
    const int file_side = FileSideOf(class_id, side);
    Table& table = Open(class_id, file_side);
    if (table.name.empty()) return {Gap::Reason::NoFile, TableFileName(class_id, file_side)};
    bool readable = table.is_there;
    if (readable) {
        TablebaseValueFrom(
            class_id, file_side, index, [&](std::uint32_t block, std::uint32_t offset) -> int {
                if (!table.Fetch(block) || offset >= table.size) readable = false;
                return kUnknownValue;
            });
    }
    return {readable ? Gap::Reason::NoValue : Gap::Reason::Damaged, table.name};
}

TableReader::Extent TableReader::Count() const {
    Extent extent;
    for (int id = 1; id < kClasses; ++id) {
        const auto& men = kTablebaseClasses[static_cast<std::size_t>(id)].men;
        for (int side = 0; side < SidesOf(id); ++side) {
            if (!FindTableFile(directories_, id, side)) continue;
            ++extent.files;
            extent.men = std::max(extent.men, CountOf(men[0]) + CountOf(men[1]) + 2);
        }
    }
    return extent;
}

bool MayCastle(const CHSBRD& board) {
    struct Right {
        unsigned lost;
        int rook;
        Side side;
    };
    for (const Right& right : {Right{1 | 2, 7, White},
                               Right{4 | 2, 0, White},
                               Right{16 | 32, 63, Black},
                               Right{64 | 32, 56, Black}}) {
        // A rook that was captured at home leaves its right set.
        if (!(board.castle & right.lost) &&
            (board.board[right.rook] & kCodeBits) == (CodeOf(right.side, Rook) & kCodeBits)) {
            return true;
        }
    }
    return false;
}

int PassedSquare(const CHSBRD& board, const EVAR& last) {
    const auto passed = EnPassantSquare(last, board);
    return passed ? IndexOf(*passed) : kNoEnPassant;
}

std::optional<SmallBoard> SmallBoardOf(const CHSBRD& board, int en_passant) {
    SmallBoard small;
    small.to_move = board.color;
    small.en_passant = en_passant;
    int kings = 0;
    for (std::uint8_t square = 0; square < 64; ++square) {
        const unsigned code = board.board[square];
        const auto type = static_cast<std::uint8_t>(code & 7);
        if (type == NoType) continue;
        SmallBoard::Men& men = small.side[code & kBlackBit ? 1 : 0];
        if (type == King) {
            men.king = square;
            ++kings;
            continue;
        }
        if (men.count == kMostMen) return std::nullopt;
        men.type[men.count] = type;
        men.square[men.count++] = square;
    }
    if (kings != 2) return std::nullopt;
    return small;
}

TablebaseValue ValueOf(const SmallBoard& board, const EntryReader& read) {
    ClassPosition seen;
    int side = 0;
    const int id = std::abs(board.Classify(&seen, &side));
    if (id == 0) {
        return board.side[0].count + board.side[1].count == 0 ? kDrawValue : kUnknownValue;
    }
    const auto index = IndexOf(id, side, seen);
    return index ? read(id, side, *index) : kUnknownValue;
}

std::vector<MoveValue> MoveValues(const SmallBoard& board, const EntryReader& read) {
    const std::vector<Reply> replies = RepliesOf(board);
    std::vector<MoveValue> moves;
    moves.reserve(replies.size());
    for (const Reply& reply : replies) {
        moves.push_back({MoveName(board, reply, replies), ValueBefore(ValueOf(reply.after, read))});
    }
    const auto rank = [](const MoveValue& move) {
        return move.value == kUnknownValue ? INT_MIN : int{move.value};
    };
    std::ranges::stable_sort(moves, std::greater{}, rank);
    return moves;
}

std::string Gap::Words() const {
    switch (reason) {
        case Reason::NoClass: return "no database is for these men";
        case Reason::NoFile: return "there is no file " + file;
        case Reason::Damaged: return QuoteName(file) + " is damaged";
        case Reason::NoPosition: return "no database has such a position";
        case Reason::NoValue: break;
    }
    return QuoteName(file) + " leaves it out";
}

Gap FindGap(const SmallBoard& board, TableReader* reader) {
    ClassPosition seen;
    int side = 0;
    const int id = std::abs(board.Classify(&seen, &side));
    if (id == 0) return {Gap::Reason::NoClass, {}};
    const auto index = IndexOf(id, side, seen);
    if (!index) return {Gap::Reason::NoPosition, {}};
    return reader->WhyUnknown(id, side, *index);
}

}  // namespace torval
