// What a database path may say about drives.
//
// Shape    a name may begin with a drive letter and a colon. This platform has no such drives: which
//          there are is not known, and asking for one finds it ready, so that its names are tried
//          as they are.
// Thread   any. A replacement is put in place before anything asks.
#pragma once

#include <cstdint>

namespace torval {

struct DriveSource {
    /// One bit for each drive letter there is, a first; 0 when that is not known.
    std::uint32_t (*mask)();
    /// False when the drive is there but has no medium. `letter` is as it was written.
    bool (*is_ready)(char letter);
};

/// The drives of this machine.
extern const DriveSource kSystemDrives;

/// The source in use; tests put one of their own here.
extern DriveSource drive_source;

}  // namespace torval
