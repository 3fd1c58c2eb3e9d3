#include "egtb/thompson/thompson.h"

#include <algorithm>
#include <bitset>
#include <new>
#include <span>

#include "board/position.h"
#include "platform/files.h"

namespace torval {

// Neither slots nor search are ever destroyed: a host may leave its program while the engine's
// thread probes.
ThompsonSlots& thompson_slots = *new ThompsonSlots;

namespace {

constexpr std::size_t kMostRecords = 128;

/// What one probe of the root knows about the files.
struct ThompsonSearch {
    std::string path;
    std::bitset<kMostRecords> not_available;  ///< records by their place in the list
    std::array<bool, kThompsonVolumes> wanted = {};
    bool failed = false;  ///< the last position's material has no file
};

ThompsonSearch& search = *new ThompsonSearch;

struct Man {
    PieceCode code;
    std::uint8_t square;
};

struct Men {
    std::array<Man, kThompsonMen> list;
    std::size_t count = 0;

    std::span<const Man> All() const { return std::span(list).first(count); }
};

/// The men in the picture in which the side to move has the black codes and plays up the board, in the
/// order of its squares.
Men PictureOfBoard() {
    constexpr int kMirroredFiles = 7;
    constexpr int kMirroredRanks = 56;
    const bool white = position.SideToMove == White;
    Men men;
    for (int i = 0; i < 64; ++i) {
        const PieceCode code =
            position.Board[SquareAt(i ^ (white ? kMirroredFiles : kMirroredRanks))];
        if (code == 0) continue;
        const auto shown = static_cast<PieceCode>(white ? code ^ kColourBits : code);
        men.list[men.count++] = {shown, static_cast<std::uint8_t>(i)};
    }
    return men;
}

/// The squares of the men in a database's places; none when they do not fit.
std::optional<ThompsonSquares> Match(const Men& men,
                                     const std::array<PieceCode, kThompsonMen>& places) {
    constexpr std::uint8_t kFree = 64;
    constexpr std::size_t kFirstMan = 2;
    ThompsonSquares squares;
    squares.fill(kFree);
    for (const Man& man : men.All()) {
        std::size_t place = 0;
        while (place < places.size() && (places[place] != man.code || squares[place] != kFree)) {
            ++place;
        }
        if (place == places.size()) return std::nullopt;
        squares[place] = man.square;
    }
    if (squares[0] == kFree || squares[1] == kFree) return std::nullopt;
    if (squares[kFirstMan] == kFree && TypeOf(places[kFirstMan]) == Pawn) return std::nullopt;
    std::ranges::replace(squares, kFree, squares[0]);
    return squares;
}

std::string FileNameIn(std::string_view directory, const ThompsonMaterial& material) {
    return NativeName(JoinName(directory, ThompsonFileName(material)));
}

/// Opens the material's file in the first directory that has it. Without memory there is none.
bool OpenInPath(const ThompsonMaterial& material, ThompsonFile* file) {
    std::string_view rest = search.path;
    try {
        for (;;) {
            const std::size_t end = rest.find(';');
            if (file->Open(FileNameIn(rest.substr(0, end), material))) return true;
            if (end == std::string_view::npos) return false;
            rest.remove_prefix(end + 1);
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
}

/// Only one volume can be reached at a time.
void LeaveOnlyVolume(int volume) {
    const auto materials = ThompsonMaterials();
    for (std::size_t i = 0; i < materials.size(); ++i) {
        if (materials[i].volume != volume) search.not_available.set(i);
    }
}

/// The slot for a file that is about to be opened: a free one, else the oldest, its file closed.
ThompsonSlot& SlotForNewFile() {
    ThompsonSlot* oldest = &thompson_slots[0];
    for (ThompsonSlot& slot : thompson_slots) {
        if (!slot.in_use) return slot;
        if (slot.age > oldest->age) oldest = &slot;
    }
    oldest->file.Close();
    return *oldest;
}

/// Fills a slot with the first file for these men; null when there is none. A slot that was to give way
/// then keeps its material.
ThompsonSlot* OpenSlot(const Men& men, ThompsonSquares* squares) {
    const auto materials = ThompsonMaterials();
    ThompsonSlot& slot = SlotForNewFile();
    ThompsonFile file;
    for (std::size_t i = 0; i < materials.size(); ++i) {
        const ThompsonMaterial& material = materials[i];
        if (search.not_available[i]) continue;
        const auto places = PlacesOf(material);
        const auto matched = Match(men, places);
        if (!matched) continue;
        search.wanted[material.volume] = true;
        if (OpenInPath(material, &file)) {
            LeaveOnlyVolume(material.volume);
            *squares = *matched;
            slot = {.in_use = true,
                    .men = places,
                    .type = material.type,
                    .age = 0,
                    .file = std::move(file)};
            return &slot;
        }
        search.not_available.set(i);
    }
    search.failed = true;
    return nullptr;
}

ThompsonSlot* FindSlot(const Men& men, ThompsonSquares* squares) {
    for (ThompsonSlot& slot : thompson_slots) {
        if (!slot.in_use) continue;
        if (const auto matched = Match(men, slot.men)) {
            *squares = *matched;
            return &slot;
        }
    }
    return OpenSlot(men, squares);
}

void Free(ThompsonSlot* slot) {
    slot->file.Forget();
    slot->in_use = false;
}

}  // namespace

void BeginThompsonProbe(std::string_view path) {
    for (ThompsonSlot& slot : thompson_slots) {
        if (slot.in_use && slot.age < ThompsonSlot::kOldest) ++slot.age;
    }
    search = {};
    search.path = path;
}

std::optional<ThompsonSquares> MatchBoard(const std::array<PieceCode, kThompsonMen>& places) {
    if (Count(position.Occupied()) > kThompsonMen) return std::nullopt;
    return Match(PictureOfBoard(), places);
}

int ProbeThompson() {
    constexpr int kWithPawn = 200;
    search.failed = false;
    if (Count(position.Occupied()) > kThompsonMen) return kNoThompsonValue;
    ThompsonSquares squares;
    ThompsonSlot* const slot = FindSlot(PictureOfBoard(), &squares);
    if (!slot) return kNoThompsonValue;
    std::uint8_t value = 0;
    if (const auto index = ThompsonIndex(slot->type, squares)) {
        const auto read = slot->file.ReadValue(*index);
        if (!read) {
            Free(slot);
            return kNoThompsonValue;
        }
        value = *read;
    }
    slot->age = value == 0 ? ThompsonSlot::kOldest : 0;
    if (value == 0) return kNoThompsonValue;
    return slot->type == ThompsonType::WithPawn ? kWithPawn + value : value;
}

bool ThompsonFileIsMissing() { return search.failed; }

std::string ThompsonVolumesWanted() {
    constexpr char kFirstVolume = '2';
    std::string text;
    for (std::size_t i = 0; i < search.wanted.size(); ++i) {
        if (!search.wanted[i]) continue;
        if (!text.empty()) text += " of ";
        text += static_cast<char>(kFirstVolume + i);
    }
    return text;
}

int ThompsonScore(int value) {
    constexpr int kWithPawn = 200;
    constexpr int kFar = 50;
    if (value >= kWithPawn) return (value - kWithPawn >= kFar ? 4750 - value : 4710 - value) * 2;
    if (value >= kFar) return (4550 - value) * 2;
    if (value < kLostNow) return 10001;
    return (5010 - value) * 2;
}

void CloseAgedThompsonFiles() {
    for (ThompsonSlot& slot : thompson_slots) {
        if (slot.in_use && slot.age == ThompsonSlot::kOldest) slot.file.Close();
    }
}

void CloseThompsonFiles() {
    for (ThompsonSlot& slot : thompson_slots) Free(&slot);
}

}  // namespace torval
