#include "board/draw.h"

namespace torval {

bool CountRepetitions() {
    const std::uint32_t key = PrimaryKey(position.key);
    int found = 0;
    int back = 4;
    for (int left = position.FiftyCounter - 3; left >= 0; left -= 2, back += 2) {
        if (PrimaryKey(game_record.KeyBefore(back)) == key && ++found == 2) return true;
    }
    return false;
}

}  // namespace torval
