#include <algorithm>
#include <iomanip>
#include <sstream>
#include <unordered_set>

#include "apps/cli/book_command.h"
#include "apps/cli/notation.h"
#include "apps/makers/books/book_check.h"
#include "apps/text/moves.h"
#include "apps/text/pgn.h"
#include "apps/text/text.h"
#include "board/make.h"
#include "book/books.h"
#include "game/game.h"
#include "state/settings.h"

namespace torval {

namespace {

void OpenToRead(BookFile* book, const std::string& path) {
    switch (book->Open(path, DiskAccess::ReadOnly)) {
        case BookOpened: return;
        case BookNotABook: throw InputError(QuoteName(path) + " is no opening book");
        case BookNoMemory: throw std::bad_alloc();
        default: throw InputError("cannot read " + QuoteName(path));
    }
}

/// What the book holds for the position on the board, as the engine reads it.
BookEntries Entries(BookFile* book) {
    const auto entries = book->GetEntries16(ReadSetting(settings_block.ScoreConfidence));
    if (entries.HasFailed() || book->TakeEndlessChains() > 0) {
        throw std::runtime_error("the book is damaged (torval book verify tells where)");
    }
    return entries.value;
}

std::string FlagText(const BookEntry& entry) {
    std::string text = entry.flags & kExcluded ? "excluded" : "";
    const int others = entry.flags & ~(kExcluded | kLastEntry);
    if (others == 0) return text;
    std::ostringstream mark;
    mark << "mark " << std::hex << std::setw(2) << std::setfill('0') << others;
    return text.empty() ? mark.str() : text + ", " + mark.str();
}

std::string MoveText(const BookEntry& entry, bool* legal) {
    const MoveEntry* const found = FindBookMove(legal_moves->quiet_head, entry);
    *legal = found != nullptr;
    return found ? Algebraic(found->move) : CoordinateText(DecodeBookMove(entry.move));
}

void PrintMoves(const BookEntries& entries, bool has_statistics, std::ostream& out) {
    if (entries.count == 0) {
        out << "no moves\n";
        return;
    }
    out << std::left << std::setw(9) << "Move" << std::right << std::setw(5) << "Score";
    if (has_statistics) {
        out << std::setw(9) << "Games" << std::setw(9) << "White" << std::setw(9) << "Drawn"
            << std::setw(9) << "Black";
    }
    out << '\n';
    for (std::size_t i = 0; i < entries.count; ++i) {
        const BookEntry& entry = entries.list[i];
        bool legal = true;
        out << std::left << std::setw(9) << MoveText(entry, &legal) << std::right << std::showpos
            << std::setw(5) << int{entry.score} << std::noshowpos;
        if (has_statistics) {
            const std::int64_t won = std::int64_t{entry.white} + entry.black;
            out << std::setw(9) << entry.games << std::setw(9) << entry.white << std::setw(9)
                << std::max<std::int64_t>(entry.games - won, 0) << std::setw(9) << entry.black;
        }
        if (const std::string flags = FlagText(entry); !flags.empty()) out << "  " << flags;
        if (!legal) out << "  not legal here";
        out << '\n';
    }
}

const char* VariantName(const BookHeader& header) { return header.HasStatistics() ? "BX" : "BK"; }

std::string VersionText(const BookHeader& header) {
    return {static_cast<char>(header.bytes[2]), static_cast<char>(header.bytes[3])};
}

/// Walks the moves of a book, starting at the position on the board.
class Exporter {
public:
    Exporter(BookFile* book, ExportForm form, int plies, std::ostream& out)
        : book_(*book), form_(form), most_plies_(static_cast<std::size_t>(plies)), out_(out) {}

    void Export() {
        visited_.insert(book_.Key());
        Visit();
    }

private:
    struct Step {
        Move move;
        bool excluded;
    };

    /// The book's legal moves; an excluded one appears only in a tree.
    std::vector<Step> Steps() {
        std::vector<Step> steps;
        const BookEntries entries = Entries(&book_);
        if (entries.count == 0) return steps;
        const MoveList& legal = GenerateLegal();
        for (std::size_t i = 0; i < entries.count; ++i) {
            const bool excluded = (entries.list[i].flags & kExcluded) != 0;
            const MoveEntry* const found = FindBookMove(legal.quiet_head, entries.list[i]);
            if (found && (!excluded || form_ == ExportForm::Tree)) {
                steps.push_back({Plain(found->move), excluded});
            }
        }
        ReleaseMoves(legal);
        return steps;
    }

    void Visit() {
        const std::vector<Step> steps = line_.size() < most_plies_ ? Steps() : std::vector<Step>();
        if (steps.empty()) EndLine("");
        const std::size_t printed = printed_;
        const bool indents = steps.size() > 1 && !line_.empty();
        if (indents) {
            if (form_ == ExportForm::Tree) PrintSegment("");
            ++depth_;
            printed_ = line_.size();
        }
        for (const Step& step : steps) {
            line_.push_back(Algebraic(step.move));
            if (step.excluded) line_.back() += " (excluded)";
            MakeMove(step.move);
            StoreGamePositionKey();
            if (visited_.insert(book_.Key()).second) {
                Visit();
            } else {
                EndLine(" (as above)");
            }
            UnmakeMove();
            StoreGamePositionKey();
            line_.pop_back();
        }
        if (indents) --depth_;
        printed_ = printed;
    }

    /// Prints the moves since the last branching, with their numbers.
    void PrintSegment(const char* mark) {
        out_ << std::string(2 * depth_, ' ');
        for (std::size_t ply = printed_; ply < line_.size(); ++ply) {
            if (ply > printed_) out_ << ' ';
            if (ply % 2 == 0 || ply == printed_) {
                out_ << ply / 2 + 1 << (ply % 2 == 0 ? ". " : "... ");
            }
            out_ << line_[ply];
        }
        out_ << mark << '\n';
    }

    void EndLine(const char* mark) {
        if (line_.empty()) return;
        if (form_ == ExportForm::Lines) {
            out_ << JoinWords(line_) << '\n';
        } else if (form_ == ExportForm::Pgn) {
            out_ << WritePgn({.tags = {{"Event", "Opening book"}}, .fen = {}, .moves = line_});
        } else {
            PrintSegment(mark);
        }
    }

    BookFile& book_;
    const ExportForm form_;
    const std::size_t most_plies_;
    std::ostream& out_;
    std::unordered_set<HashKey> visited_;
    std::vector<std::string> line_;
    std::size_t printed_ = 0;  ///< moves of the line that are already printed
    std::size_t depth_ = 0;    ///< of indentation
};

}  // namespace

void ListBook(const std::string& file, Console& console) {
    StartEngine(0);
    BookFile book;
    OpenToRead(&book, file);
    const BookHeader& header = book.Header();
    console.out << file << ": " << VariantName(header) << " book, " << header.Positions()
                << " positions, " << header.Entries() << " moves, "
                << std::size_t{header.Blocks()} * header.BlockSize() << " bytes\n";
    PrintMoves(Entries(&book), book.HasStatistics(), console.out);
}

void ShowBookMoves(const std::string& file, const PositionOptions& place, Console& console) {
    StartEngine(0);
    SetUp(place);
    BookFile book;
    OpenToRead(&book, file);
    PrintMoves(Entries(&book), book.HasStatistics(), console.out);
}

void ShowBookInfo(const std::string& file, Console& console) {
    const BookReport report = CheckBook(file);
    const BookHeader& header = report.header;
    const auto line = [&](const char* name) -> std::ostream& {
        return console.out << std::left << std::setw(14) << name << ": ";
    };
    line("Variant") << VariantName(header)
                    << (header.HasStatistics() ? ", counts games" : ", scores alone") << '\n';
    line("Version") << VersionText(header)
                    << (header.VersionMajor() < kVersion3 ? ", game position keys"
                                                          : ", version 3 keys")
                    << '\n';
    line("Comment") << report.comment << '\n';
    line("Size") << report.file_size << " bytes, " << header.Blocks() << " blocks of "
                 << header.BlockSize() << '\n';
    line("Index") << header.Slots() << " slots from block " << header.IndexBlock() << ", "
                  << report.chains << " of them used\n";
    line("Data blocks") << report.data_blocks << ", the longest chain has " << report.longest_chain
                        << '\n';
    const std::size_t room = report.data_blocks * (header.BlockSize() - kBlockLinks);
    line("Filled") << (room == 0 ? 0 : 100 * report.data_bytes / room) << " %\n";
    line("Positions") << report.positions << '\n';
    line("Moves") << report.entries << ", at most " << report.most_entries << " in one position\n";
    line("Faults") << report.fault_count
                   << (report.IsWhole() ? "\n" : " (torval book verify tells them)\n");
}

void VerifyBook(const std::string& file, Console& console) {
    const BookReport report = CheckBook(file);
    for (const std::string& fault : report.faults) console.out << fault << '\n';
    if (report.fault_count > report.faults.size()) {
        console.out << "and " << report.fault_count - report.faults.size() << " more\n";
    }
    if (!report.IsWhole()) {
        throw std::runtime_error(QuoteName(file) + " has " + std::to_string(report.fault_count) +
                                 (report.fault_count == 1 ? " fault" : " faults"));
    }
    console.out << file << ": whole, " << report.positions << " positions, " << report.entries
                << " moves in " << report.data_blocks << " blocks\n";
}

void ExportBook(const std::string& file, ExportForm form, int plies, Console& console) {
    StartEngine(0);
    BookFile book;
    OpenToRead(&book, file);
    Exporter(&book, form, plies, console.out).Export();
}

}  // namespace torval
