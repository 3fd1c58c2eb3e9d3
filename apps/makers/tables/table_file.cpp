#include "apps/makers/tables/table_file.h"

#include <array>
#include <cctype>
#include <filesystem>
#include <memory>
#include <system_error>

#include "apps/text/console.h"
#include "apps/text/text.h"
#include "egtb/nalimov/container.h"
#include "egtb/nalimov/lengths.h"
#include "egtb/nalimov/registry.h"
#include "platform/files.h"

namespace torval {

namespace {

std::vector<std::uint8_t> ReadAll(const std::string& path) {
    DiskFile file;
    if (!file.Open(path, DiskAccess::ReadOnly)) throw InputError("cannot read " + QuoteName(path));
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(file.Size()));
    if (file.Read(bytes) != bytes.size()) throw InputError("cannot read " + QuoteName(path));
    return bytes;
}

const char* ErrorText(ErrorCode error) {
    switch (ClassOf(error)) {
        case ErrorClass::Read: return "is no compressed database file, or ends too early";
        case ErrorClass::OutOfMemory: return "needs more memory than there is";
        case ErrorClass::FileBroken: return "is damaged";
        default: return "cannot be decompressed";
    }
}

std::vector<std::uint8_t> Decompress(const std::string& path,
                                     const std::vector<std::uint8_t>& bytes) {
    const auto check = [&path](ErrorCode error) {
        if (error != ErrorNone) throw InputError(QuoteName(path) + " " + ErrorText(error));
    };
    std::unique_ptr<CompressedFileInfo> info;
    check(ParseCompressedHeader(bytes, BlockSums::Retain, &info));
    std::vector<std::uint8_t> data(static_cast<std::size_t>(info->DataBytes()) + kSpareBytes);
    const std::span<const std::uint8_t> all = bytes;
    for (std::uint32_t block = 0; block < info->blocks; ++block) {
        const auto begin = static_cast<std::size_t>(info->offsets[block]);
        const std::size_t size = info->CompressedSizeOf(block);
        if (begin > all.size() || size > all.size() - begin) {
            throw InputError(QuoteName(path) + " ends too early");
        }
        const std::size_t at = std::size_t{block} * info->block_size;
        check(DecodeBlock(*info,
                          block,
                          all.subspan(begin, size),
                          std::span(data).subspan(at, info->SizeOf(block) + kSpareBytes)));
    }
    data.resize(data.size() - kSpareBytes);
    return data;
}

}  // namespace

std::string TableFileName(int class_id, int side) {
    const auto name = kTablebaseClasses[static_cast<std::size_t>(class_id)].Name();
    return std::string(name) + (side == 0 ? ".nbw" : ".nbb");
}

int ClassByName(const std::string& name) {
    const int id = FindClass(name);
    if (id == 0) throw InputError("there is no class " + Quote(name));
    if (id >= kFirstSixMen) {
        throw InputError("the classes of six men are too large: " + Quote(name));
    }
    return id;
}

TableFile TableFileByName(const std::string& path) {
    const std::string name = std::filesystem::path(path).filename().string();
    const std::size_t letters = name.find_first_of("._");
    // The form without a dot has its suffix right after the class.
    const std::size_t suffix = letters == std::string::npos ? name.size() : letters + 1;
    TableFile file{.class_id = 0, .side = 0, .path = path};
    const std::string stem = name.substr(0, letters);
    for (int id = 1; id < kClasses; ++id) {
        const std::string class_name(kTablebaseClasses[static_cast<std::size_t>(id)].Name());
        for (int side = 0; side < SidesOf(id); ++side) {
            const std::string letter = side == 0 ? "nbw" : "nbb";
            const std::string rest = suffix < name.size() ? name.substr(suffix) : "";
            const bool plain = stem == class_name && name[letters] == '.' && rest == letter;
            const bool packed =
                (stem == class_name && (rest == letter + ".emd" || rest == letter + "_emd")) ||
                (stem == class_name + letter && rest == "emd");
            if (!plain && !packed) continue;
            file.class_id = ClassByName(class_name);
            file.side = side;
            file.is_compressed = packed;
            return file;
        }
    }
    throw InputError("the name of " + QuoteName(path) + " is none of a database file");
}

std::optional<TableFile> FindTableFile(const std::vector<std::string>& directories,
                                       int class_id,
                                       int side) {
    for (const std::string& directory : directories) {
        const FoundFile found = FindTablebaseFile(directory, class_id, side);
        if (found.name.empty()) continue;
        return TableFile{.class_id = class_id,
                         .side = side,
                         .path = found.name,
                         .is_compressed = found.is_compressed};
    }
    return std::nullopt;
}

std::vector<std::int8_t> ReadTableFile(const TableFile& file) {
    std::vector<std::uint8_t> bytes = ReadAll(file.path);
    if (file.is_compressed) bytes = Decompress(file.path, bytes);
    const std::uint32_t expected =
        kEntryCounts[static_cast<std::size_t>(file.class_id)][static_cast<std::size_t>(file.side)];
    if (bytes.size() != expected) {
        throw InputError(QuoteName(file.path) + " has " + std::to_string(bytes.size()) +
                         " entries in place of " + std::to_string(expected));
    }
    return {bytes.begin(), bytes.end()};
}

std::string ValueText(TablebaseValue value) {
    if (value == kUnknownValue) return "unknown";
    if (value == kDrawValue) return "draw";
    if (value == MatedIn(0)) return "checkmate";
    const int moves = value > 0 ? 32767 - value : 32766 + value;
    return (value > 0 ? "mate in " : "mated in ") + std::to_string(moves);
}

std::string FenOf(const SmallBoard& board) {
    constexpr const char* kLetters[2] = {" PNBRQK", " pnbrqk"};
    std::array<char, 64> squares = {};
    for (std::size_t of = 0; of < 2; ++of) {
        const SmallBoard::Men& men = board.side[of];
        squares[men.king] = kLetters[of][King];
        for (std::uint8_t i = 0; i < men.count; ++i) {
            squares[men.square[i]] = kLetters[of][men.type[i]];
        }
    }
    std::string fen;
    for (std::size_t rank = 8; rank-- > 0;) {
        int empty = 0;
        for (std::size_t file = 0; file < 8; ++file) {
            const char letter = squares[rank * 8 + file];
            if (letter == 0) {
                ++empty;
                continue;
            }
            if (empty > 0) fen += std::to_string(empty);
            empty = 0;
            fen += letter;
        }
        if (empty > 0) fen += std::to_string(empty);
        if (rank > 0) fen += '/';
    }
    fen += board.to_move == 0 ? " w - " : " b - ";
    if (board.en_passant == kNoEnPassant) return fen + "- 0 1";
    fen += static_cast<char>('a' + board.en_passant % 8);
    fen += static_cast<char>('1' + board.en_passant / 8);
    return fen + " 0 1";
}

TablebaseValue ValueBefore(TablebaseValue after) {
    if (after == kDrawValue || after == kUnknownValue) return after;
    return after > 0 ? MatedIn(32767 - after) : MatesIn(32766 + after + 1);
}

}  // namespace torval
