#include "platform/drives.h"

namespace torval {

const DriveSource kSystemDrives = {.mask = [] { return std::uint32_t{0}; },
                                   .is_ready = [](char) { return true; }};

DriveSource drive_source = kSystemDrives;

}  // namespace torval
