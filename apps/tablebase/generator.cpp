#include "apps/tablebase/generator.h"

#include <algorithm>
#include <atomic>
#include <set>
#include <stdexcept>
#include <thread>

#include "egtb/lengths.h"

namespace torval {

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr std::uint8_t kNeverLost = 255;

/// The places of a class's entries for one side to move.
std::size_t FileSide(int class_id, int side) {
    const bool symmetric = kTablebaseClasses[static_cast<std::size_t>(class_id)].IsSymmetric();
    return symmetric ? 0 : static_cast<std::size_t>(side);
}

/// The board with the sides exchanged in the diagonal a1-h8.
SmallBoard InDiagonal(const SmallBoard& board) {
    const auto mirrored = [](std::uint8_t square) {
        return static_cast<std::uint8_t>(square >> 3 | (square & 7) << 3);
    };
    SmallBoard other = board;
    for (SmallBoard::Men& men : other.side) {
        men.king = mirrored(men.king);
        for (std::uint8_t& square : men.square) square = mirrored(square);
    }
    return other;
}

/// Both kings on one of the long diagonals: the numbering of classes without pawns then tells mirror
/// images apart.
bool KingsOnLongDiagonal(const SmallBoard& board) {
    const auto on_rising = [](int square) { return (square >> 3) == (square & 7); };
    const auto on_falling = [](int square) { return (square >> 3) + (square & 7) == 7; };
    const int a = board.side[0].king;
    const int b = board.side[1].king;
    return (on_rising(a) && on_rising(b)) || (on_falling(a) && on_falling(b));
}

/// Work on one class. Numbers of moves are those of the side that wins.
class Generation {
public:
    Generation(int class_id, const TableSet& tables) : id_(class_id), tables_(tables) {
        const TablebaseClass& entry = kTablebaseClasses[static_cast<std::size_t>(class_id)];
        sides_ = entry.IsSymmetric() ? 1 : 2;
        has_pawns_ = entry.HasPawns();
        for (int side = 0; side < sides_; ++side) {
            const std::size_t count = IndexCount(class_id, side);
            Side& s = side_[static_cast<std::size_t>(side)];
            s.value.resize(count);
            s.moves.resize(count);
            s.change.resize(count);
        }
    }

    ClassEntries Run(const std::function<void(double)>& tell) {
        ForAll([this](int side, std::size_t index) { Prepare(side, index); });
        tell(0.5);
        constexpr int kMostMoves = 126;
        for (int moves = 0; moves < kMostMoves; ++moves) {
            const bool more_wins = Spread(moves);
            if (!more_wins && moves > longest_change_) break;
            tell(std::min(0.99, 0.5 + 0.01 * moves));
        }
        if (!has_pawns_) ForAll([this](int side, std::size_t index) { TakeOver(side, index); });
        ClassEntries entries;
        for (std::size_t side = 0; side < 2; ++side)
            entries.side[side] = std::move(side_[side].value);
        tell(1);
        return entries;
    }

private:
    struct Side {
        std::vector<std::int8_t> value;   ///< as an entry; 0 also while it is open
        std::vector<std::uint8_t> moves;  ///< successors of the class that are not won yet
        /// The best move that changes the men: k > 0 wins in k, -(k + 1) loses in k, 0 none. With
        /// moves at kNeverLost one of them draws.
        std::vector<std::int8_t> change;
    };

    template <typename Work>
    void ForAll(Work work) {
        for (int side = 0; side < sides_; ++side) {
            const std::size_t count = side_[static_cast<std::size_t>(side)].value.size();
            constexpr std::size_t kPiece = 4096;
            std::atomic<std::size_t> next = 0;
            const auto share = [&] {
                for (std::size_t begin; (begin = next.fetch_add(kPiece)) < count;) {
                    const std::size_t end = std::min(begin + kPiece, count);
                    for (std::size_t i = begin; i < end; ++i) work(side, i);
                }
            };
            std::thread other(share);
            share();
            other.join();
        }
    }

    std::int8_t Value(int side, std::size_t index) {
        return std::atomic_ref(side_[static_cast<std::size_t>(side)].value[index]).load(kRelaxed);
    }

    /// False when the position was decided already.
    bool Decide(int side, std::size_t index, std::int8_t value) {
        std::int8_t open = 0;
        return std::atomic_ref(side_[static_cast<std::size_t>(side)].value[index])
            .compare_exchange_strong(open, value, kRelaxed);
    }

    std::size_t IndexIn(const SmallBoard& board) const {
        ClassPosition position;
        for (std::size_t of = 0; of < 2; ++of) {
            position.king[of] = board.side[of].king;
            position.men[of] = board.side[of].square;
        }
        position.en_passant = board.en_passant;
        const auto index = IndexOf(id_, board.to_move, position);
        if (!index) throw std::logic_error("a legal position has no index");
        return static_cast<std::size_t>(*index);
    }

    /// One index for a position and all its images; moves then lead from and to the same ones.
    std::size_t NodeOf(const SmallBoard& board) const {
        const std::size_t index = IndexIn(board);
        if (has_pawns_ || !KingsOnLongDiagonal(board)) return index;
        return std::min(index, IndexIn(InDiagonal(board)));
    }

    void Prepare(int side, std::size_t index) {
        Side& s = side_[FileSide(id_, side)];
        const auto position = PositionAt(id_, side, index);
        if (!position || !IsLegal(id_, side, *position)) {
            s.value[index] = kBrokenEntry;
            return;
        }
        const SmallBoard board = SmallBoard::Of(id_, side, *position);
        // Its other index stands for it; this one takes the value over in the end.
        if (NodeOf(board) != index) {
            s.moves[index] = kNeverLost;
            return;
        }
        std::array<std::size_t, 256> successors;
        std::size_t count = 0;
        bool any = false;
        bool never_lost = false;
        int change = 0;
        ForEachMove(board, [&](const SmallMove& move, const SmallBoard& after) {
            any = true;
            if (!move.changes_men) {
                successors[count++] = NodeOf(after);
                return;
            }
            const TablebaseValue value = tables_.ValueOf(after);
            if (value == kDrawValue) {
                never_lost = true;
            } else if (value < 0) {
                const int wins_in = 32766 + value + 1;
                if (change <= 0 || wins_in < change) change = wins_in;
            } else if (change <= 0) {
                change = std::min(change, -(32767 - value + 1));
            }
        });
        std::sort(successors.begin(), successors.begin() + static_cast<std::ptrdiff_t>(count));
        const auto end = std::unique(successors.begin(),
                                     successors.begin() + static_cast<std::ptrdiff_t>(count));
        s.moves[index] = static_cast<std::uint8_t>(end - successors.begin());
        s.change[index] = static_cast<std::int8_t>(change);
        if (never_lost || (!any && !board.InCheck(board.to_move))) s.moves[index] = kNeverLost;
        if (!any && board.InCheck(board.to_move)) s.value[index] = NarrowValue(MatedIn(0));
        const int depth = std::abs(change);
        int longest = longest_change_.load(kRelaxed);
        while (depth > longest && !longest_change_.compare_exchange_weak(longest, depth)) {
        }
    }

    /// An index that does not stand for its position gets the value of the one that does.
    void TakeOver(int side, std::size_t index) {
        const auto position = PositionAt(id_, side, index);
        if (!position || Value(side, index) == kBrokenEntry) return;
        const SmallBoard board = SmallBoard::Of(id_, side, *position);
        if (!KingsOnLongDiagonal(board)) return;
        const std::size_t node = NodeOf(board);
        if (node != index) Decide(side, index, Value(side, node));
    }

    /// From what is lost in `moves` to what is lost in one more. Whether there was anything.
    bool Spread(int moves) {
        const std::int8_t lost = NarrowValue(MatedIn(moves));
        const std::int8_t won = NarrowValue(MatesIn(moves + 1));
        const std::int8_t lost_next = NarrowValue(MatedIn(moves + 1));
        std::atomic<bool> any = false;
        ForAll([&](int side, std::size_t index) {
            const Side& s = side_[static_cast<std::size_t>(side)];
            if (Value(side, index) == lost) {
                any.store(true, kRelaxed);
                ForEachBefore(side, index, [&](int other, std::size_t before) {
                    Decide(other, before, won);
                });
            }
            if (s.change[index] == moves + 1) Decide(side, index, won);
        });
        ForAll([&](int side, std::size_t index) {
            if (Value(side, index) != won) return;
            any.store(true, kRelaxed);
            ForEachBefore(side, index, [&](int other, std::size_t before) {
                std::uint8_t& left = side_[FileSide(id_, other)].moves[before];
                const std::atomic_ref<std::uint8_t> count(left);
                if (count.load(kRelaxed) != kNeverLost) count.fetch_sub(1, kRelaxed);
            });
        });
        ForAll([&](int side, std::size_t index) {
            const Side& s = side_[static_cast<std::size_t>(side)];
            // All moves lose, the slowest of those that change the men within these moves too.
            const int change = s.change[index];
            if (s.moves[index] == 0 && change <= 0 && -change - 1 <= moves + 1) {
                Decide(side, index, lost_next);
            }
        });
        return any;
    }

    /// Calls visit(side, index) once for each position that has a move to this one.
    template <typename Visit>
    void ForEachBefore(int side, std::size_t index, Visit visit) {
        const SmallBoard board = SmallBoard::Of(id_, side, *PositionAt(id_, side, index));
        std::array<std::size_t, 512> found;
        std::size_t count = 0;
        ForEachPredecessor(board,
                           [&](const SmallBoard& before) { found[count++] = NodeOf(before); });
        std::sort(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(count));
        const auto end =
            std::unique(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(count));
        const int other = static_cast<int>(FileSide(id_, 1 - side));
        for (auto before = found.begin(); before != end; ++before) visit(other, *before);
    }

    int id_;
    const TableSet& tables_;
    int sides_ = 2;
    bool has_pawns_ = false;
    std::array<Side, 2> side_;
    std::atomic<int> longest_change_ = 0;
};

}  // namespace

void TableSet::Put(int class_id, ClassEntries entries) {
    tables_[static_cast<std::size_t>(class_id)] =
        std::make_unique<ClassEntries>(std::move(entries));
}

TablebaseValue TableSet::ValueOf(const SmallBoard& board) const {
    ClassPosition position;
    int side = 0;
    const int id = std::abs(board.Classify(&position, &side));
    if (id == 0) return kDrawValue;
    const auto index = IndexOf(id, side, position);
    if (!index) return kUnknownValue;
    return WidenEntry(Of(id).side[FileSide(id, side)][static_cast<std::size_t>(*index)]);
}

std::vector<int> ClassesBelow(int class_id) {
    const auto& men = kTablebaseClasses[static_cast<std::size_t>(class_id)].men;
    std::set<int> below;
    const auto add = [&below](const std::array<MenCounts, 2>& counts) {
        if (const int id = std::abs(ClassFor(counts[0], counts[1]))) below.insert(id);
    };
    for (std::size_t us = 0; us < 2; ++us) {
        for (unsigned taken = NoType; taken <= Queen; ++taken) {
            std::array<MenCounts, 2> counts = men;
            if (taken != NoType) {
                if (counts[1 - us][taken] == 0) continue;
                --counts[1 - us][taken];
                add(counts);
            }
            if (counts[us][Pawn] == 0) continue;
            --counts[us][Pawn];
            for (const PieceType type : {Knight, Bishop, Rook, Queen}) {
                ++counts[us][type];
                add(counts);
                --counts[us][type];
            }
        }
    }
    return {below.begin(), below.end()};
}

std::vector<int> InOrderOfNeed(std::span<const int> class_ids) {
    std::vector<int> order;
    const std::function<void(int)> visit = [&](int id) {
        if (std::ranges::find(order, id) != order.end()) return;
        for (const int below : ClassesBelow(id)) visit(below);
        order.push_back(id);
    };
    for (const int id : class_ids) visit(id);
    return order;
}

ClassEntries Generate(int class_id,
                      const TableSet& tables,
                      const std::function<void(double)>& tell) {
    return Generation(class_id, tables).Run(tell);
}

}  // namespace torval
