#include "state/flags.h"

namespace torval {

std::atomic<std::uint16_t> EngineFlags = 0;

}  // namespace torval
