// The numbering of Thompson databases: against a second implementation made for this project, and
// by its symmetries.

#include "egtb/thompson/thompson_index.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <vector>

#include "egtb/king_pairs.h"
#include "egtb/thompson/thompson.h"
#include "search/engine_test.h"

namespace torval {

namespace {

class ThompsonIndexTest : public EngineTest {};

TEST_F(ThompsonIndexTest, TheNumbersOfAnIndependentImplementation) {
    std::ifstream in(TORVAL_TEST_DATA "/reference/thompson/index.tsv");
    std::string line;
    std::getline(in, line);
    int compared = 0;
    for (; std::getline(in, line); ++compared) {
        std::istringstream fields(line);
        std::string fen, file, type, index;
        std::getline(fields, fen, '\t');
        std::getline(fields, file, '\t');
        std::getline(fields, type, '\t');
        std::getline(fields, index, '\t');
        SetUpPosition(fen);
        const ThompsonMaterial* const material = FindThompsonMaterial(file);
        ASSERT_NE(material, nullptr) << line;
        EXPECT_EQ(static_cast<int>(material->type), std::stoi(type)) << line;
        const auto squares = MatchBoard(PlacesOf(*material));
        ASSERT_TRUE(squares) << line;
        EXPECT_EQ(ThompsonIndex(material->type, *squares), std::stoul(index)) << line;
    }
    EXPECT_EQ(compared, 300);
}

/// The placements that the board's symmetries make of one: all eight, or the mirror of the files.
std::vector<ThompsonSquares> ImagesOf(const ThompsonSquares& squares, ThompsonType type) {
    const unsigned symmetries = type == ThompsonType::WithPawn ? 2 : 8;
    std::vector<ThompsonSquares> images;
    for (unsigned symmetry = 0; symmetry < symmetries; ++symmetry) {
        ThompsonSquares image = squares;
        for (std::uint8_t& square : image) {
            if (symmetry & 4) square = static_cast<std::uint8_t>(square % 8 * 8 + square / 8);
            if (symmetry & 2) square ^= 56;
            if (symmetry & 1) square ^= 7;
        }
        images.push_back(image);
    }
    return images;
}

TEST_F(ThompsonIndexTest, ImagesShareANumberThatOthersDoNotHave) {
    TestRandom random;
    for (const ThompsonType type : {ThompsonType::WithoutPawns, ThompsonType::WithPawn}) {
        for (int round = 0; round < Rounds(20000); ++round) {
            ThompsonSquares squares;
            // A few squares only, so that men share them and stand on the diagonal.
            for (std::uint8_t& square : squares) {
                square = static_cast<std::uint8_t>(random.Below(4) ? random.Below(64)
                                                                   : 9 * random.Below(8));
            }
            const auto index = ThompsonIndex(type, squares);
            const std::uint8_t pawn = squares[2];
            const bool refused = type == ThompsonType::WithPawn
                                     ? pawn != squares[0] && (pawn < 8 || pawn >= 56)
                                     : KingsTouch(squares[0], squares[1]);
            ASSERT_EQ(index.has_value(), !refused);
            if (!index) continue;
            ASSERT_LT(*index, ThompsonPositions(type));
            const auto images = ImagesOf(squares, type);
            for (const ThompsonSquares& image : images)
                EXPECT_EQ(ThompsonIndex(type, image), index);
            if (type == ThompsonType::WithPawn && pawn == squares[0]) {
                EXPECT_EQ(*index, 0U) << "the pawn is absent";
                continue;
            }
            // A number belongs to one placement and its images, so the inverse is one of them.
            EXPECT_NE(std::ranges::find(images, ThompsonSquaresAt(type, *index)), images.end());
        }
    }
}

TEST_F(ThompsonIndexTest, TheListOfMaterials) {
    EXPECT_EQ(ThompsonMaterials().size(), 66U);
    std::array<std::array<int, 2>, kThompsonVolumes> files = {};
    for (const ThompsonMaterial& material : ThompsonMaterials()) {
        ++files[material.volume][material.type == ThompsonType::WithPawn];
        const ThompsonMaterial* const first = FindThompsonMaterial(ThompsonFileName(material));
        ASSERT_NE(first, nullptr);
        EXPECT_EQ(first->men, material.men);
        EXPECT_LE(first->volume, material.volume);
    }
    EXPECT_EQ(files,
              (std::array<std::array<int, 2>, kThompsonVolumes>{{{19, 3}, {16, 4}, {19, 5}}}));
    EXPECT_EQ(FindThompsonMaterial("a\\b/RN_P.G"), &ThompsonMaterials().back());
    EXPECT_EQ(FindThompsonMaterial("rr_r.g"), nullptr);
}

}  // namespace

}  // namespace torval
