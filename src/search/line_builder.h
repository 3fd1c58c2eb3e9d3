// The current principal variation, checked move by move and extended from the table.
#pragma once

namespace torval {

/// Writes row 0 of the LineTable, which starts at the working position, into the current line:
/// with check, mate and notation marks, cut at the first move that is not legal, extended with the
/// table's moves up to 16. iCommand, depth and score are left alone, and nothing is published.
/// Generates and filters a legal list at every position of the line, the last one included.
void BuildLine();

}  // namespace torval
