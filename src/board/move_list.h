// Move lists and the arena they live in.
//
// Shape    a list is a 48-byte header followed by 12-byte entries in the order of generation. Two
//          chains run through the entries by 32-bit links: captures and quiet moves.
// Units    a link is an offset from the start of the arena in steps of 4 bytes; 0 ends a chain.
// Range    the budget for all live lists is 24000 bytes. Behind it the buffer has room for the
//          longest list a position can have, so that a list begun within it is always whole.
// Owner    generate.cpp. Lists nest like the plies of a search; releasing one frees all later.
// Thread   the thread that works on the position.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "board/position.h"
#include "state/eval_result.h"

namespace torval {

using Link = std::uint32_t;
inline constexpr Link kNoLink = 0;

struct MoveEntry {
    Link next;
    Move move;
    std::int32_t order;  ///< left alone by the generator; search and book keep scores here
};
static_assert(sizeof(MoveEntry) == 12);

struct MoveList {
    std::uint32_t chosen_count;  ///< moves that a computation has chosen, from quiet_head on
    std::uint8_t PromotionFlag;  ///< 1 when any promotion was generated
    std::uint8_t reserved[3];
    std::int32_t count;          ///< entries generated; after FilterLegal the legal moves
    std::int32_t capture_count;  ///< an eight-bit counter, so modulo 256
    Link quiet_head;             ///< after FilterLegal the head of the whole list
    Link capture_head;
    std::uint32_t spare[6];
};
static_assert(sizeof(MoveList) == 48);

inline constexpr std::size_t kArenaBudget = 24000;
/// 31 men that each have a queen's 27 moves, which is more than a pawn's 12, and a king's 10.
inline constexpr std::size_t kLongestList = sizeof(MoveList) + (31 * 27 + 10) * sizeof(MoveEntry);

struct MoveArenaBuffer {
    alignas(64) std::array<std::byte, kArenaBudget + kLongestList> bytes;
    std::size_t next_free;  ///< byte offset of the next list's header

    MoveList& ListAt(std::size_t offset) {
        return *reinterpret_cast<MoveList*>(bytes.data() + offset);
    }
    MoveEntry& At(Link link) { return *reinterpret_cast<MoveEntry*>(bytes.data() + 4 * link); }
    Link LinkTo(const MoveEntry& entry) const {
        return static_cast<Link>((reinterpret_cast<const std::byte*>(&entry) - bytes.data()) / 4);
    }
};

extern MoveArenaBuffer MoveArena;

/// The entry a link leads to, null at the end of a chain.
inline MoveEntry* EntryAt(Link link) { return link == kNoLink ? nullptr : &MoveArena.At(link); }
inline MoveEntry* NextEntry(const MoveEntry& entry) { return EntryAt(entry.next); }

/// What is known of a root move, kept in its entry's `order`.
inline EvalResult RootResult(const MoveEntry& entry) {
    const auto bits = static_cast<std::uint32_t>(entry.order);
    return {static_cast<std::int16_t>(bits & 0xFFFF), static_cast<std::uint16_t>(bits >> 16)};
}
inline void SetRootResult(MoveEntry* entry, EvalResult result) {
    entry->order = static_cast<std::int32_t>(std::uint32_t{result.flags} << 16 |
                                             static_cast<std::uint16_t>(result.score));
}

/// Takes the entry that `*link` leads to out of its chain.
inline void Unlink(Link* link) { *link = MoveArena.At(*link).next; }

}  // namespace torval
