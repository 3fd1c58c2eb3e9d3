// Which moves a search leaves out so that only some are searched.
//
// Thread   pure functions.
#pragma once

#include <string>
#include <vector>

#include "torval/records.h"

namespace torval {

/// Every step of every man of the side to move from its square to any other, legal or not, except
/// those given as coordinates: a skip list names moves, it need not know whether they exist. Empty
/// when none are given.
std::vector<EVAR> AllMovesBut(const CHSBRD& board, const std::vector<std::string>& kept);

}  // namespace torval
