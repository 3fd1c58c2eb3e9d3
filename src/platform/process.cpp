#include "platform/process.h"

#include <cstdlib>

namespace torval {

void (*end_process)(int status) = [](int status) { std::exit(status); };

}  // namespace torval
