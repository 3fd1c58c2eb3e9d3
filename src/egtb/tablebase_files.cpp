#include "egtb/tablebase_files.h"

namespace torval {

std::array<std::array<TablebaseFiles, 2>, kClasses> tablebase_files;

void CloseTablebaseFiles() {
    for (auto& sides : tablebase_files) {
        for (TablebaseFiles& files : sides) files.file.Close();
    }
}

}  // namespace torval
