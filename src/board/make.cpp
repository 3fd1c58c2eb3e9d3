#include "board/make.h"

namespace torval {

void MakeMove(Move move) {
    if (position.SideToMove == White) {
        MakeMove<White>(move);
    } else {
        MakeMove<Black>(move);
    }
}

void UnmakeMove() {
    if (position.SideToMove == White) {
        UnmakeMove<Black>();
    } else {
        UnmakeMove<White>();
    }
}

bool RedoMove() {
    if (game_record.top >= game_record.game_end) return false;
    PlyRecord* const record = ++game_record.top;
    making::Save(record);
    if (position.SideToMove == White) {
        making::Play<White>(record->move);
    } else {
        making::Play<Black>(record->move);
    }
    return true;
}

}  // namespace torval
