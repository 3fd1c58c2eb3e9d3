#include "egtb/thompson/thompson_materials.h"

#include "platform/files.h"

namespace torval {

namespace {

constexpr PieceCode kWQ = CodeOf(White, Queen);
constexpr PieceCode kWR = CodeOf(White, Rook);
constexpr PieceCode kWB = CodeOf(White, Bishop);
constexpr PieceCode kWN = CodeOf(White, Knight);
constexpr PieceCode kWP = CodeOf(White, Pawn);
constexpr PieceCode kBQ = CodeOf(Black, Queen);
constexpr PieceCode kBR = CodeOf(Black, Rook);
constexpr PieceCode kBB = CodeOf(Black, Bishop);
constexpr PieceCode kBN = CodeOf(Black, Knight);
constexpr PieceCode kBP = CodeOf(Black, Pawn);

constexpr ThompsonType kPieces = ThompsonType::WithoutPawns;
constexpr ThompsonType kPawn = ThompsonType::WithPawn;

constexpr ThompsonMaterial kMaterials[] = {
    {{kWQ, kWQ, kBQ}, kPieces, 0}, {{kWQ, kWR, kBQ}, kPieces, 0}, {{kWQ, kWR, kBR}, kPieces, 0},
    {{kWQ, kBR, kBR}, kPieces, 0}, {{kWQ, kWB, kBQ}, kPieces, 0}, {{kWQ, kWN, kBN}, kPieces, 0},
    {{kWQ, kWN, kBQ}, kPieces, 0}, {{kWR, kWR, kBR}, kPieces, 0}, {{kWR, kWB, kBR}, kPieces, 0},
    {{kWR, kWN, kBN}, kPieces, 0}, {{kWR, kWN, kBR}, kPieces, 0}, {{kWB, kWB, kBN}, kPieces, 0},
    {{kWB, kWN, kBN}, kPieces, 0}, {{kWN, kWN, kBN}, kPieces, 0}, {{kWQ, kBR, kBB}, kPieces, 0},
    {{kWQ, kBR, kBN}, kPieces, 0}, {{kWQ, kBB, kBB}, kPieces, 0}, {{kWQ, kBB, kBN}, kPieces, 0},
    {{kWQ, kBN, kBN}, kPieces, 0}, {{kWP, kWQ, kBQ}, kPawn, 0},   {{kWP, kWR, kBR}, kPawn, 0},
    {{kWP, kWN, kBN}, kPawn, 0},

    {{kWN, kWN, kWN}, kPieces, 1}, {{kWQ, kWB, kBB}, kPieces, 1}, {{kWQ, kWB, kBN}, kPieces, 1},
    {{kWQ, kWN, kBB}, kPieces, 1}, {{kWQ, kWR, kBQ}, kPieces, 1}, {{kWR, kWB, kBB}, kPieces, 1},
    {{kWR, kWB, kBN}, kPieces, 1}, {{kWR, kWB, kBQ}, kPieces, 1}, {{kWR, kWN, kBB}, kPieces, 1},
    {{kWR, kWN, kBQ}, kPieces, 1}, {{kWR, kWR, kBQ}, kPieces, 1}, {{kWB, kWB, kBB}, kPieces, 1},
    {{kWB, kWB, kBN}, kPieces, 1}, {{kWB, kWN, kBB}, kPieces, 1}, {{kWB, kWN, kBN}, kPieces, 1},
    {{kWN, kWN, kBB}, kPieces, 1}, {{kWP, kWB, kBB}, kPawn, 1},   {{kWP, kWB, kBN}, kPawn, 1},
    {{kWP, kWN, kBB}, kPawn, 1},   {{kWP, kWR, kBQ}, kPawn, 1},

    {{kWN, kWN, kBB}, kPieces, 2}, {{kWN, kWN, kBN}, kPieces, 2}, {{kWN, kWN, kBQ}, kPieces, 2},
    {{kWN, kWN, kBR}, kPieces, 2}, {{kWQ, kBQ, kBR}, kPieces, 2}, {{kWQ, kBR, kBB}, kPieces, 2},
    {{kWQ, kBR, kBN}, kPieces, 2}, {{kWQ, kBR, kBR}, kPieces, 2}, {{kWR, kBB, kBB}, kPieces, 2},
    {{kWR, kBB, kBN}, kPieces, 2}, {{kWR, kBN, kBN}, kPieces, 2}, {{kWR, kBQ, kBB}, kPieces, 2},
    {{kWR, kBQ, kBN}, kPieces, 2}, {{kWR, kBR, kBB}, kPieces, 2}, {{kWR, kBR, kBN}, kPieces, 2},
    {{kWQ, kWR, kBB}, kPieces, 2}, {{kWR, kWB, kBB}, kPieces, 2}, {{kWR, kWN, kBB}, kPieces, 2},
    {{kWR, kWR, kBB}, kPieces, 2}, {{kWP, kWR, kBB}, kPawn, 2},   {{kBP, kWN, kWN}, kPawn, 2},
    {{kBP, kWQ, kBR}, kPawn, 2},   {{kBP, kWR, kBB}, kPawn, 2},   {{kBP, kWR, kWN}, kPawn, 2},
};

}  // namespace

std::span<const ThompsonMaterial> ThompsonMaterials() { return kMaterials; }

std::array<PieceCode, kThompsonMen> PlacesOf(const ThompsonMaterial& material) {
    const auto& men = material.men;
    return {CodeOf(White, King), CodeOf(Black, King), men[0], men[1], men[2]};
}

std::string ThompsonFileName(const ThompsonMaterial& material) {
    constexpr const char* kLetters = "-PNBRQK-";
    std::string white;
    std::string black;
    for (const PieceCode man : material.men) {
        (SideOf(man) == White ? white : black) += kLetters[TypeOf(man)];
    }
    return white.append("_").append(black).append(".G");
}

const ThompsonMaterial* FindThompsonMaterial(const std::string& file_name) {
    const std::string name = file_name.substr(DirectoryOf(file_name).size());
    for (const ThompsonMaterial& material : kMaterials) {
        if (ThompsonFileName(material) == name) return &material;
    }
    return nullptr;
}

}  // namespace torval
