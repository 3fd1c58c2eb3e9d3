#include "support/made_tables.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>

#include "apps/tablebase/tb_commands.h"

namespace torval {

MadeTables::MadeTables(const std::vector<std::string>& classes)
    : folder_(std::filesystem::path(testing::TempDir()) /
              ("torval_tables_" + std::to_string(getpid()))) {
    std::istringstream in;
    std::ostringstream out;
    Console console{in, out, out, false};
    MakeTables({.classes = classes, .men = classes.empty() ? 3 : 0, .out = Folder()}, console);
}

MadeTables::~MadeTables() { std::filesystem::remove_all(folder_); }

}  // namespace torval
