#include "platform/race_points.h"

namespace torval {

std::atomic<void (*)(RacePoint)> race_hook = nullptr;

}  // namespace torval
