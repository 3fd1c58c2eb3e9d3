#include "state/controller.h"

namespace torval {

ThinkController think_controller;

void PublishLine() { think_controller.published_line.Store(think_controller.line); }

void EmptyLine() {
    think_controller.line.vlen = 0;
    think_controller.line.bstvar[0] = {};
    PublishLine();
}

}  // namespace torval
