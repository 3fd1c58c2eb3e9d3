// Finding the database files, and which classes they cover.
//
// Names    in each directory of the search list five names are tried for a class and side: kqkr.nbw
//          uncompressed, then kqkr.nbw.emd, kqkr_nbw.emd, kqkr_nbw_emd and kqkrnbw.emd compressed;
//          "nbw" holds the first side to move, "nbb" the second. The first file found stays.
// Errors   a damaged or foreign file ends the process, exit status 1, with a line on the standard
//          output that names it: playing on by wrong values would be worse.
// Thread   that of the engine's first start or of the settings page, while nothing computes, or the
//          computing thread before it begins.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "egtb/nalimov/classes.h"
#include "egtb/nalimov/container.h"

namespace torval {

/// Men of the largest class that has a file, kings included; 0 for none.
extern int MaxTablebaseMen;

/// Forgets all files, searches the component's directory and those of NalimovPath, and lays the
/// block cache out by CacheSizeMB, or as much of that as can be had. False: a request to stop the
/// computation has ended the search early. Throws std::bad_alloc, and nothing is registered then.
bool InitTablebases();

/// A file that was found for a class and side, and whether it can be used.
struct FoundFile {
    std::string name;  ///< empty: there is none
    bool is_compressed = false;
    std::unique_ptr<CompressedFileInfo> info;  ///< of a compressed one
    std::string problem;  ///< one line with its end, as the registration prints it; empty for none
};

/// Examines the file of a class and side in one directory, without registering it.
FoundFile FindTablebaseFile(std::string_view directory, int class_id, int side);

/// Looks in one directory for a file of the class and side to move. True when there is one, also
/// when an earlier directory had it.
bool RegisterTablebaseFile(std::string_view directory, int class_id, int side);

/// The class that covers these men: its number with White as the first side, the negative one with
/// Black, 0 when none that was ever registered does.
int LookupClass(const MenCounts& white, const MenCounts& black);

}  // namespace torval
