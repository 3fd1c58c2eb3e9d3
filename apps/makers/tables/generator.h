// Endgame databases made from the rules of chess, by working backwards from mate.
//
// Method   retrograde analysis (Stroehlein, 1970): every position counts its moves within the class;
//          positions that are lost in k make those before them won in k + 1, and a position all of
//          whose moves lead to won ones is lost. Moves that change the men are looked up in the
//          classes that they lead to, which are made first.
// Work     the positions decided last are kept as a set, so that each is followed backwards once.
// Memory   three bytes and a quarter for each position of the class at work, one for each of a
//          class that is kept.
// Errors   InputError when a class below knows no value that is needed, or a mate is too long for
//          entries of one byte.
// Thread   the calling thread and others; the result does not depend on how they share the work.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "apps/makers/tables/small_board.h"
#include "egtb/nalimov/values.h"

namespace torval {

/// The entries of a class, one byte each, by side to move; of one side alone where both have the
/// same men. kBrokenEntry where no legal position has the index.
struct ClassEntries {
    std::array<std::vector<std::int8_t>, 2> side;
};

class TableSet {
public:
    bool Has(int class_id) const { return tables_[static_cast<std::size_t>(class_id)] != nullptr; }
    void Put(int class_id, ClassEntries entries);
    const ClassEntries& Of(int class_id) const {
        return *tables_[static_cast<std::size_t>(class_id)];
    }
    /// Drops all classes but these.
    void Keep(std::span<const int> class_ids);

    /// The value of a legal position whose class is in the set. Bare kings are a draw.
    TablebaseValue ValueOf(const SmallBoard& board) const;

    /// The same for a position of a class in the set; unknown where it has no entry.
    TablebaseValue ValueAt(int class_id, int side, const ClassPosition& position) const;

private:
    std::array<std::unique_ptr<ClassEntries>, kClasses> tables_;
};

/// The classes that captures and promotions lead to.
std::vector<int> ClassesBelow(int class_id);

/// These classes and all that they need, each after those that it needs.
std::vector<int> InOrderOfNeed(std::span<const int> class_ids);

/// Bytes for making a class, those of the classes below it included. After BuildIndexTables.
std::uint64_t MemoryNeeded(int class_id);

/// Makes a class whose ClassesBelow are all in the set. `tell` is called with the progress, 0 to 1.
ClassEntries Generate(int class_id,
                      const TableSet& tables,
                      const std::function<void(double)>& tell,
                      unsigned threads = 2);

}  // namespace torval
