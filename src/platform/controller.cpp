#include "platform/controller.h"

namespace torval {

ThinkController think_controller;

void EmptyLine() {
    think_controller.line.vlen = 0;
    think_controller.line.bstvar[0] = {};
    think_controller.line_length.store(0, std::memory_order_relaxed);
}

}  // namespace torval
