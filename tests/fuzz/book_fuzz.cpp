// Whatever bytes an opening book contains, looking up, choosing, editing and checking end cleanly.
//
// Input    the first byte chooses a line of moves and an edit, the next 34 are the header, the rest
//          follows. Half of the inputs get a header that the engine can work with, so that the
//          bytes after it matter.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "apps/makers/books/book_check.h"
#include "apps/text/console.h"
#include "apps/text/fen.h"
#include "book/books.h"
#include "book/learn.h"
#include "book/select.h"
#include "game/game.h"
#include "state/settings.h"

namespace {

using namespace torval;

void Require(bool holds) {
    if (!holds) std::abort();
}

const std::string& BookName() {
    static const std::string name = [] {
        const char* const directory = std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp";
        return std::string(directory) + "/torval-book-fuzz-" + std::to_string(getpid());
    }();
    return name;
}

void Write(const std::vector<std::uint8_t>& bytes) {
    std::ofstream out(BookName(), std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

void Verify() {
    try {
        (void)CheckBook(BookName());
    } catch (const InputError&) {
    }
}

/// A header for small blocks; `choice` says which of its fields keep their input values.
void Mend(std::vector<std::uint8_t>* bytes, unsigned choice) {
    if (bytes->size() < kBookHeaderSize) return;
    std::uint8_t* const header = bytes->data();
    header[0] = 'B';
    header[1] = choice & 2 ? 'X' : 'K';
    header[2] = choice & 4 ? '3' : '2';
    Store16(header + 4, 64);
    Store16(header + 6, static_cast<std::uint32_t>(std::min<std::size_t>(bytes->size() / 64, 99)));
    Store16(header + 14, 1);
    Store16(header + 16, 1);
    Store32(header + 22, 0);
}

void PlayLine(unsigned choice) {
    constexpr std::array<std::array<const char*, 3>, 4> kLines = {
        {{"e4", "e5", "Nf3"}, {"d4", "d5", "c4"}, {"e4", "c5", "Nf3"}, {"c4", "e5", "Nc3"}}};
    NewGame();
    for (const char* move : kLines[choice % kLines.size()]) {
        MOVES made;
        Require(DoMove(move, &made) == StatusOk);
    }
}

void Use(unsigned choice) {
    BookFile& book = book_manager.books[MainBook];
    if (book.Open(BookName()) != BookOpened) return;
    PlayLine(choice);
    const HashKey key = position.GamePositionKey;
    W_BOOKMOVES moves;
    CollectBookMoves(*legal_moves, &moves);
    W_BOOKMOVES2 moves2;
    CollectBookMoves(*legal_moves, &moves2);
    Require(moves.NmbrOfMoves == moves2.NmbrOfMoves && moves.NmbrOfMoves <= 20);
    const std::uint32_t chosen = SelectBookMoves(legal_moves);
    Require(chosen <= 20);
    RebuildLegalMoves();
    if (choice & 8) Require(AddBookMoves(MainBook, kAllPlies, 5, 0x40) == StatusOk);
    if (choice & 16) (void)DelBookMoves(MainBook, 2);
    Require(AddBookMoves(MainBook, 2, -5, 0x1C0) == StatusOk);
    Require(position.GamePositionKey == key && PositionIsSound());
    book.Close();
    Verify();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    SetDefaultSettings();
    settings_block.TranspKB = 16;
    settings_block.BookUse = BookUseMain;
    InitialiseEngine();
    std::atexit([] { unlink(BookName().c_str()); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kMostBytes = 4096;
    if (size < 2 || size > kMostBytes) return 0;
    const unsigned choice = data[0];
    std::vector<std::uint8_t> bytes(data + 1, data + size);
    if (choice & 1) Mend(&bytes, choice);
    Write(bytes);
    Verify();
    Use(choice >> 3);
    return 0;
}
