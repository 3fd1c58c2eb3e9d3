#include "apps/makers/tables/generator.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "apps/text/console.h"
#include "egtb/nalimov/lengths.h"

namespace torval {

namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;
constexpr std::uint8_t kNeverLost = 255;

/// The board mirrored in the diagonal a1-h8.
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

bool IsOnRising(int square) { return (square >> 3) == (square & 7); }
bool IsOnFalling(int square) { return (square >> 3) + (square & 7) == 7; }
bool IsOnLongDiagonal(int square) { return IsOnRising(square) || IsOnFalling(square); }

/// Both kings on one of the long diagonals: the numbering of classes without pawns then
/// distinguishes mirror images.
bool KingsOnLongDiagonal(const SmallBoard& board) {
    const int a = board.side[0].king;
    const int b = board.side[1].king;
    return (IsOnRising(a) && IsOnRising(b)) || (IsOnFalling(a) && IsOnFalling(b));
}

/// Sorts and removes duplicates; returns how many are left.
std::size_t RemoveRepeated(std::span<std::size_t> indices) {
    std::ranges::sort(indices);
    const auto end = std::unique(indices.begin(), indices.end());
    return static_cast<std::size_t>(end - indices.begin());
}

constexpr std::size_t kPiece = 4096;

/// Calls work(begin, end) on pieces of the range from first, a multiple of kPiece, to last, on
/// `threads` threads. Pieces begin at multiples of kPiece, and no two calls get the same one.
template <typename Work>
void InPieces(std::size_t first, std::size_t last, unsigned threads, Work work) {
    std::atomic<std::size_t> next = first;
    const auto share = [&] {
        for (std::size_t begin; (begin = next.fetch_add(kPiece, kRelaxed)) < last;) {
            work(begin, std::min(begin + kPiece, last));
        }
    };
    std::vector<std::jthread> others;
    for (unsigned i = 1; i < threads && first + i * kPiece < last; ++i) others.emplace_back(share);
    share();
}

/// A set of indices to which any thread may add.
class IndexSet {
public:
    void Resize(std::size_t count) { words_.resize((count + kBits - 1) / kBits); }

    void Add(std::size_t index) {
        std::atomic_ref(words_[index / kBits])
            .fetch_or(std::uint64_t{1} << index % kBits, kRelaxed);
    }

    /// Removes the indices from begin, a multiple of kPiece, to end, and calls visit(index) for
    /// each. No thread may add meanwhile.
    template <typename Visit>
    void Take(std::size_t begin, std::size_t end, Visit visit) {
        for (std::size_t word = begin / kBits; word * kBits < end; ++word) {
            for (std::uint64_t left = std::exchange(words_[word], 0); left != 0; left &= left - 1) {
                visit(word * kBits + static_cast<std::size_t>(std::countr_zero(left)));
            }
        }
    }

private:
    static constexpr std::size_t kBits = 64;
    static_assert(kPiece % kBits == 0);

    std::vector<std::uint64_t> words_;
};

/// Calls visit(i) for each of the entries from begin to end that has a value.
template <typename Visit>
void ForEachOf(const std::vector<std::int8_t>& entries,
               std::int8_t value,
               std::size_t begin,
               std::size_t end,
               Visit visit) {
    const std::int8_t* const last = entries.data() + end;
    for (const std::int8_t* at = entries.data() + begin; at < last; ++at) {
        at = static_cast<const std::int8_t*>(
            std::memchr(at, value, static_cast<std::size_t>(last - at)));
        if (at == nullptr) return;
        visit(static_cast<std::size_t>(at - entries.data()));
    }
}

/// Work on one class. Numbers of moves are those of the side that wins.
class Generation {
public:
    Generation(int class_id, const TableSet& tables, unsigned threads)
        : id_(class_id), tables_(tables), threads_(threads) {
        const TablebaseClass& entry = kTablebaseClasses[static_cast<std::size_t>(class_id)];
        sides_ = entry.IsSymmetric() ? 1 : 2;
        has_pawns_ = entry.HasPawns();
        for (int side = 0; side < sides_; ++side) {
            const std::size_t count = IndexCount(class_id, side);
            Side& s = side_[static_cast<std::size_t>(side)];
            s.value.resize(count);
            s.moves.resize(count);
            s.change.resize(count);
            s.lost.Resize(count);
            s.won.Resize(count);
        }
    }

    ClassEntries Run(const std::function<void(double)>& tell) {
        PrepareAll(tell);
        if (damaged_) throw InputError(Name() + " leads to positions that no class below it knows");
        for (int moves = 0; Spread(moves) || moves < longest_change_; ++moves) {
            if (too_long_) {
                throw InputError(Name() + " has mates too long for entries of one byte");
            }
            tell(std::min(0.99, 0.5 + 0.01 * moves));
        }
        if (!has_pawns_) {
            ForAllPieces([this](int side, std::size_t begin, std::size_t end) {
                for (std::size_t i = begin; i < end; ++i) TakeOver(side, i);
            });
        }
        ClassEntries entries;
        for (std::size_t side = 0; side < 2; ++side)
            entries.side[side] = std::move(side_[side].value);
        tell(1);
        return entries;
    }

private:
    struct Side {
        std::vector<std::int8_t> value;   ///< as an entry; 0 also while undecided
        std::vector<std::uint8_t> moves;  ///< moves within the class that are not won yet
        /// The best move that changes the men: k > 0 wins in k, -(k + 1) loses in k, 0 none. With
        /// moves at kNeverLost one of them draws.
        std::vector<std::int8_t> change;
        IndexSet lost;  ///< decided last, and still to be followed backwards
        IndexSet won;
    };

    std::string Name() const {
        return std::string(kTablebaseClasses[static_cast<std::size_t>(id_)].Name());
    }

    Side& SideAt(int side) { return side_[static_cast<std::size_t>(FileSideOf(id_, side))]; }

    template <typename Work>
    void ForAllPieces(Work work) {
        for (int side = 0; side < sides_; ++side) {
            InPieces(
                0, SideAt(side).value.size(), threads_, [&](std::size_t begin, std::size_t end) {
                    work(side, begin, end);
                });
        }
    }

    /// This is half of the work, so it reports its progress in steps.
    void PrepareAll(const std::function<void(double)>& tell) {
        constexpr std::size_t kStep = 512 * kPiece;
        const double total = static_cast<double>(side_[0].value.size() + side_[1].value.size());
        std::size_t done = 0;
        for (int side = 0; side < sides_; ++side) {
            const std::size_t count = SideAt(side).value.size();
            for (std::size_t first = 0; first < count; first += kStep) {
                const std::size_t last = std::min(first + kStep, count);
                InPieces(first, last, threads_, [&](std::size_t begin, std::size_t end) {
                    for (std::size_t i = begin; i < end; ++i) Prepare(side, i);
                });
                done += last - first;
                tell(0.5 * static_cast<double>(done) / total);
            }
        }
    }

    /// False when the position was decided already.
    bool Decide(int side, std::size_t index, std::int8_t value) {
        std::int8_t open = 0;
        const std::atomic_ref entry(SideAt(side).value[index]);
        if (entry.load(kRelaxed) != 0) return false;
        return entry.compare_exchange_strong(open, value, kRelaxed);
    }

    std::size_t IndexIn(const SmallBoard& board) const {
        const auto index = IndexOf(id_, board.to_move, board.Placed());
        if (!index) throw std::logic_error("a legal position has no index");
        return static_cast<std::size_t>(*index);
    }

    /// One index for a position and all its images; moves then lead from and to the same ones.
    std::size_t NodeOf(const SmallBoard& board) const {
        const std::size_t index = IndexIn(board);
        if (!HasTwoIndices(board)) return index;
        return std::min(index, IndexIn(InDiagonal(board)));
    }

    bool HasTwoIndices(const SmallBoard& board) const {
        return !has_pawns_ && KingsOnLongDiagonal(board);
    }

    /// Whether moves of the side whose king this is not can lead to two images of one position. The
    /// king stays where it is, so only a mirror through its square can exchange them.
    bool CanHaveImages(int king) const { return !has_pawns_ && IsOnLongDiagonal(king); }

    void Prepare(int side, std::size_t index) {
        Side& s = SideAt(side);
        const auto position = PositionAt(id_, side, index);
        if (!position || !IsLegal(id_, side, *position)) {
            s.value[index] = kBrokenEntry;
            return;
        }
        const SmallBoard board = SmallBoard::Of(id_, side, *position);
        // Its other index represents it; this one takes over the value at the end.
        if (HasTwoIndices(board) && NodeOf(board) != index) {
            s.moves[index] = kNeverLost;
            return;
        }
        const bool compare = CanHaveImages(board.side[1U - board.to_move].king);
        std::array<std::size_t, 256> successors;
        std::size_t count = 0;
        bool any = false;
        bool never_lost = false;
        int change = 0;
        ForEachMove(board, [&](const SmallMove& move, const SmallBoard& after) {
            any = true;
            if (!move.changes_men) {
                if (compare) successors[count] = NodeOf(after);
                ++count;
                return;
            }
            const TablebaseValue value = tables_.ValueOf(after);
            if (value == kDrawValue) {
                never_lost = true;
            } else if (value == kUnknownValue) {
                damaged_.store(true, kRelaxed);
            } else if (value < 0) {
                const int wins_in = 32766 + value + 1;
                if (change <= 0 || wins_in < change) change = wins_in;
            } else if (change <= 0) {
                change = std::min(change, -(32767 - value + 1));
            }
        });
        if (compare) count = RemoveRepeated(std::span(successors).first(count));
        s.moves[index] = static_cast<std::uint8_t>(count);
        s.change[index] = static_cast<std::int8_t>(change);
        if (never_lost || (!any && !board.InCheck(board.to_move))) s.moves[index] = kNeverLost;
        if (!any && board.InCheck(board.to_move)) {
            s.value[index] = NarrowValue(MatedIn(0));
            s.lost.Add(index);
        }
        const int depth = std::abs(change);
        int longest = longest_change_.load(kRelaxed);
        while (depth > longest &&
               !longest_change_.compare_exchange_weak(longest, depth, kRelaxed)) {
        }
    }

    /// An index that does not represent its position gets the value of the one that does.
    void TakeOver(int side, std::size_t index) {
        Side& s = SideAt(side);
        if (s.moves[index] != kNeverLost) return;
        const auto position = PositionAt(id_, side, index);
        const SmallBoard board = SmallBoard::Of(id_, side, *position);
        if (!KingsOnLongDiagonal(board)) return;
        const std::size_t node = NodeOf(board);
        if (node == index) return;
        Decide(side, index, std::atomic_ref(s.value[node]).load(kRelaxed));
    }

    /// From what is lost in `moves` to what is lost in one more. Whether anything was decided.
    bool Spread(int moves) {
        const std::int8_t won = NarrowValue(MatesIn(moves + 1));
        const std::int8_t lost = NarrowValue(MatedIn(moves + 1));
        std::atomic<bool> any = false;
        ForAllPieces([&](int side, std::size_t begin, std::size_t end) {
            const auto win = [&](int of, std::size_t index) {
                if (!Decide(of, index, won)) return;
                SideAt(of).won.Add(index);
                any.store(true, kRelaxed);
            };
            Side& s = SideAt(side);
            s.lost.Take(begin, end, [&](std::size_t index) { ForEachBefore(side, index, win); });
            if (moves + 1 > longest_change_.load(kRelaxed)) return;
            ForEachOf(
                s.change, static_cast<std::int8_t>(moves + 1), begin, end, [&](std::size_t index) {
                    win(side, index);
                });
        });
        const auto lose = [&](int side, std::size_t index) {
            if (!Decide(side, index, lost)) return;
            if (lost == kBrokenEntry) too_long_.store(true, kRelaxed);
            SideAt(side).lost.Add(index);
            any.store(true, kRelaxed);
        };
        // All moves lose when the last of those within the class does, or else the slowest of those
        // that change the men; whichever comes later decides.
        ForAllPieces([&](int side, std::size_t begin, std::size_t end) {
            SideAt(side).won.Take(begin, end, [&](std::size_t index) {
                ForEachBefore(side, index, [&](int of, std::size_t before) {
                    Side& s = SideAt(of);
                    const std::atomic_ref count(s.moves[before]);
                    if (count.load(kRelaxed) == kNeverLost) return;
                    if (count.fetch_sub(1, kRelaxed) != 1) return;
                    const int change = s.change[before];
                    if (change <= 0 && -change - 1 <= moves + 1) lose(of, before);
                });
            });
        });
        if (moves + 2 > longest_change_) return any;
        ForAllPieces([&](int side, std::size_t begin, std::size_t end) {
            Side& s = SideAt(side);
            ForEachOf(s.change,
                      static_cast<std::int8_t>(-(moves + 2)),
                      begin,
                      end,
                      [&](std::size_t index) {
                          if (s.moves[index] == 0) lose(side, index);
                      });
        });
        return any;
    }

    /// Calls visit(side, index) for each position that has a move to this one, as often as its
    /// moves within the class count this one.
    template <typename Visit>
    void ForEachBefore(int side, std::size_t index, Visit visit) {
        const SmallBoard board = SmallBoard::Of(id_, side, *PositionAt(id_, side, index));
        const int other = FileSideOf(id_, 1 - side);
        if (!CanHaveImages(board.side[board.to_move].king)) {
            ForEachPredecessor(board,
                               [&](const SmallBoard& before) { visit(other, NodeOf(before)); });
            return;
        }
        std::array<std::size_t, 512> found;
        std::size_t count = 0;
        ForEachPredecessor(board,
                           [&](const SmallBoard& before) { found[count++] = NodeOf(before); });
        count = RemoveRepeated(std::span(found).first(count));
        for (std::size_t i = 0; i < count; ++i) visit(other, found[i]);
    }

    int id_;
    const TableSet& tables_;
    unsigned threads_;
    int sides_ = 2;
    bool has_pawns_ = false;
    std::array<Side, 2> side_;
    std::atomic<int> longest_change_ = 0;
    std::atomic<bool> damaged_ = false;   ///< a move leads to an unknown value
    std::atomic<bool> too_long_ = false;  ///< a loss that a byte cannot hold
};

std::uint64_t PositionsOf(int class_id) {
    return IndexCount(class_id, 0) + (SidesOf(class_id) == 2 ? IndexCount(class_id, 1) : 0);
}

}  // namespace

void TableSet::Put(int class_id, ClassEntries entries) {
    tables_[static_cast<std::size_t>(class_id)] =
        std::make_unique<ClassEntries>(std::move(entries));
}

void TableSet::Keep(std::span<const int> class_ids) {
    for (std::size_t id = 0; id < tables_.size(); ++id) {
        if (std::ranges::find(class_ids, static_cast<int>(id)) == class_ids.end()) {
            tables_[id].reset();
        }
    }
}

TablebaseValue TableSet::ValueOf(const SmallBoard& board) const {
    ClassPosition position;
    int side = 0;
    const int id = std::abs(board.Classify(&position, &side));
    return id == 0 ? kDrawValue : ValueAt(id, side, position);
}

TablebaseValue TableSet::ValueAt(int class_id, int side, const ClassPosition& position) const {
    const auto index = IndexOf(class_id, side, position);
    if (!index) return kUnknownValue;
    const auto file_side = static_cast<std::size_t>(FileSideOf(class_id, side));
    const auto& entries = Of(class_id).side[file_side];
    // A file ends after its last legal position.
    return *index < entries.size() ? WidenEntry(entries[static_cast<std::size_t>(*index)])
                                   : kUnknownValue;
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

std::uint64_t MemoryNeeded(int class_id) {
    std::uint64_t bytes = PositionsOf(class_id) * 13 / 4;
    for (const int below : ClassesBelow(class_id)) bytes += PositionsOf(below);
    return bytes;
}

ClassEntries Generate(int class_id,
                      const TableSet& tables,
                      const std::function<void(double)>& tell,
                      unsigned threads) {
    return Generation(class_id, tables, threads).Run(tell);
}

}  // namespace torval
