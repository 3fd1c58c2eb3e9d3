#include "egtb/nalimov/tablebase_files.h"

namespace torval {

// Never destroyed: a host may leave its program while the engine's thread probes.
TablebaseFilesOfClasses& tablebase_files = *new TablebaseFilesOfClasses;

void CloseTablebaseFiles() {
    for (auto& sides : tablebase_files) {
        for (TablebaseFiles& files : sides) files.file.Close();
    }
}

}  // namespace torval
