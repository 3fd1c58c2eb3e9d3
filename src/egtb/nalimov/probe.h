// The endgame databases as the evaluation asks them.
//
// Method   one class covers the material on the board or none does; the answer is looked up when the
//          material changes, and only near the root, so that asking costs next to nothing.
// Units    scores as the search has them: 10000 less the plies to mate, counted from the root.
// Thread   the thread that computes.
#pragma once

#include <cstdint>

#include "egtb/nalimov/container.h"
#include "egtb/nalimov/values.h"
#include "state/eval_result.h"

namespace torval {

struct EndgameProbe {
    bool found = false;  ///< the last probe gave a value

    /// The value of the position on the board for the side to move; it means something when `found`
    /// is true. The three numbers are the evaluation's and change nothing.
    EvalResult ProbeTablebase(int depth, int alpha, int beta);
};

/// Finds the databases anew by the settings, and how many men they cover. Nobody may compute. Throws
/// std::bad_alloc, and there are none then.
void InitialiseDatabases();

/// The same for the host's thread at any time: a computation that runs keeps its databases, and the
/// next one begins with the new ones. Before InitialiseDatabases there is nothing to renew.
void RenewDatabases();

/// Does what RenewDatabases had to leave undone; a computation begins with it.
void TakeUpRenewal();

/// The probe for the material on the board; null when no database covers it, the databases are off,
/// or the search has come too deep for their cost.
EndgameProbe* CheckTablebaseAvailable();

/// An entry of a class file, widened; kUnknownValue when it cannot be read.
TablebaseValue ReadTablebaseValue(int class_id, int side, std::uint64_t index);

/// The same through bytes from elsewhere. read_byte(block, offset) answers byte `offset` (0 to 8191)
/// of a block of the class's file of `file_side`, -128 to 127, or kUnknownValue.
template <typename ReadByte>
TablebaseValue TablebaseValueFrom(int class_id,
                                  int file_side,
                                  std::uint64_t index,
                                  ReadByte read_byte);

/// A value as the search scores it `ply` plies below the root.
EvalResult ToEngineScore(TablebaseValue value, int ply);

// ---- Templates -----------------------------------------------------------------------------------

namespace tablebase_entry {

/// Whether the index is past the file's last entry.
bool IsBehindEnd(int class_id, int file_side, std::uint64_t index);
bool HasWideEntries(int class_id);
/// Places of three pawns whose entries are wrong in the files that exist: Black is mated in 127.
bool IsKnownBad(int class_id, int file_side, std::uint64_t index);

}  // namespace tablebase_entry

template <typename ReadByte>
TablebaseValue TablebaseValueFrom(int class_id,
                                  int file_side,
                                  std::uint64_t index,
                                  ReadByte read_byte) {
    if (tablebase_entry::IsBehindEnd(class_id, file_side, index)) return kUnknownValue;
    if (tablebase_entry::HasWideEntries(class_id)) {
        constexpr std::uint64_t kWideInBlock = kBlockBytes / 2;
        const auto block = static_cast<std::uint32_t>(index / kWideInBlock);
        const auto offset = static_cast<std::uint32_t>(index % kWideInBlock * 2);
        const int low = read_byte(block, offset);
        const int high = read_byte(block, offset + 1);
        if (low == kUnknownValue || high == kUnknownValue) return kUnknownValue;
        return Checked(static_cast<TablebaseValue>(high * 256 + (low & 0xFF)));
    }
    if (tablebase_entry::IsKnownBad(class_id, file_side, index)) return MatedIn(127);
    const int entry = read_byte(static_cast<std::uint32_t>(index / kBlockBytes),
                                static_cast<std::uint32_t>(index % kBlockBytes));
    return entry == kUnknownValue ? kUnknownValue : WidenEntry(static_cast<std::int8_t>(entry));
}

}  // namespace torval
