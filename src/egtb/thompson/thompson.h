// The Thompson databases: exact values of positions of at most five men, read from the files of the
// Thompson path.
//
// Shape    five slots, each with the open file of one material and an age. The file of the least
//          recently useful slot gives way to that of a sixth material.
// Units    a value is a byte of the database, for the side to move: 10 is lost now, each move that
//          the loss is away adds 1. Values of files with a pawn come 200 higher. kNoThompsonValue:
//          not lost, or not known.
// Owner    thompson.cpp. Slots stay between probes and games until CloseThompsonFiles; what is not
//          available, and which volumes were wanted, is known for one probe of the root.
// Thread   the thread that computes.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "egtb/thompson/thompson_file.h"
#include "egtb/thompson/thompson_materials.h"

namespace torval {

inline constexpr int kNoThompsonValue = 990;
inline constexpr int kLostNow = 10;

struct ThompsonSlot {
    static constexpr int kOldest = 100;

    bool in_use = false;
    std::array<PieceCode, kThompsonMen> men = {};  ///< what stands in the five places
    ThompsonType type = ThompsonType::WithoutPawns;
    int age = 0;  ///< probes of the root since its last value, up to kOldest
    ThompsonFile file;
};

using ThompsonSlots = std::array<ThompsonSlot, 5>;

extern ThompsonSlots& thompson_slots;

/// Begins a probe of the root: files are looked for in the directories of `path`, which semicolons
/// separate, and every slot is one older.
void BeginThompsonProbe(std::string_view path);

/// The squares of the men on the board in the places of a database; none when they do not fit. Of
/// identical men the one that comes first in the picture has the first place.
std::optional<ThompsonSquares> MatchBoard(const std::array<PieceCode, kThompsonMen>& places);

/// The value of the position on the board.
int ProbeThompson();

/// Whether the last ProbeThompson found no file for the material on the board.
bool ThompsonFileIsMissing();

/// The volumes that were wanted since the probe of the root began, each by its digit ("2" is the
/// first one), joined by " of "; empty for none.
std::string ThompsonVolumesWanted();

/// A value as the search scores it, for the side that has moved into the position.
int ThompsonScore(int value);

/// Closes the files of slots that had no value for the last position asked; they are opened again on
/// demand.
void CloseAgedThompsonFiles();

/// Closes all files and frees their slots.
void CloseThompsonFiles();

}  // namespace torval
