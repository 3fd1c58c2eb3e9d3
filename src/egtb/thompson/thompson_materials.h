// The materials that there are Thompson databases for, by the volumes that hold them.
//
// Shape    a record names the three men besides the kings by their codes in the picture in which the
//          side to move has the black ones, and the type of the file. Some materials stand in two
//          volumes.
// Thread   constant data; any thread.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "board/piece.h"
#include "egtb/thompson/thompson_index.h"

namespace torval {

inline constexpr int kThompsonVolumes = 3;

struct ThompsonMaterial {
    std::array<PieceCode, 3> men;
    ThompsonType type;
    std::uint8_t volume;  ///< 0 to 2
};

/// All records, volume by volume; files are looked for in this order.
std::span<const ThompsonMaterial> ThompsonMaterials();

/// The five places of a database: the white king, the black king, the three men.
std::array<PieceCode, kThompsonMen> PlacesOf(const ThompsonMaterial& material);

/// The men's letters, white ones first, as in "QR_Q.G".
std::string ThompsonFileName(const ThompsonMaterial& material);

/// The first record whose file has this name, a directory before it aside; null for none.
const ThompsonMaterial* FindThompsonMaterial(const std::string& file_name);

}  // namespace torval
