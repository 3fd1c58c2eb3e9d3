// The settings as bytes: the stream they persist in, and the parameter block a host sends.
//
// Shape    stream and parameters as torval/settings.h defines them.
// Thread   the host's, before the first Start.
#pragma once

#include <cstdint>
#include <span>

#include "torval/stream.h"

namespace torval {

/// The longest stream that SaveSettings writes.
std::uint64_t LongestSettingsStream();

/// E_UNEXPECTED when the stream is not one of ours or ends early; what was read by then is kept.
HRESULT LoadSettings(IStream* stream);

/// The result of the first write that fails, else of the last.
HRESULT SaveSettings(IStream* stream);

/// Applies a block of entries: length (with itself and the identifier), identifier, data. False, and
/// nothing applied, when the lengths do not add up. Entries that are unknown, too short for their
/// data or come too late (`initialised`) are skipped.
bool ApplyParameters(std::span<const std::uint8_t> block, bool initialised);

}  // namespace torval
