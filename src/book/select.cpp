#include "book/select.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "board/position.h"
#include "book/books.h"
#include "platform/random.h"
#include "state/settings.h"

namespace torval {

namespace {

constexpr std::uint32_t kEvenWeight = 50;

struct Candidate {
    BookEntry entry;
    std::uint32_t weight;
};

struct Candidates {
    std::array<Candidate, std::size_t{2} * kMostEntries> list;
    std::size_t count = 0;

    std::span<Candidate> All() { return std::span(list).first(count); }
};

void Gather(BookOperation* operation, Candidates* candidates) {
    const std::uint16_t use = ReadSetting(settings_block.BookUse);
    const std::uint32_t confidence = ReadSetting(settings_block.ScoreConfidence);
    for (const BookIndex index : {UserBook, MainBook}) {
        if (!(use & (index == UserBook ? BookUseUser : BookUseMain))) continue;
        if (index == MainBook && candidates->count > 0 && !(use & BookUseBoth)) return;
        const auto entries = book_manager.books[index].GetEntries16(confidence);
        if (entries.HasFailed()) {
            operation->ReportReading(entries.error);
            return;
        }
        for (std::size_t i = 0; i < entries.value.count; ++i) {
            candidates->list[candidates->count++] = {entries.value.list[i], 0};
        }
    }
}

/// Gives every candidate its weight and returns their sum.
std::uint64_t Weigh(std::span<Candidate> candidates) {
    int highest = -20000;
    int lowest = 20000;
    for (const Candidate& candidate : candidates) {
        if (candidate.entry.flags & kExcluded) continue;
        highest = std::max<int>(highest, candidate.entry.score);
        lowest = std::min<int>(lowest, candidate.entry.score);
    }
    const std::uint32_t mode = ReadSetting(settings_block.BookMode);
    const std::int64_t margin = mode == ChooseBest ? 0 : ReadSetting(settings_block.RandMargin);
    std::uint64_t total = 0;
    for (Candidate& candidate : candidates) {
        const BookEntry& entry = candidate.entry;
        if (entry.flags & kExcluded || entry.score < highest - margin) continue;
        if (mode == ChooseByScore) {
            candidate.weight = static_cast<std::uint32_t>(entry.score - lowest + highest - lowest);
        } else if (mode <= ChooseAsPlayed && entry.games != 0) {
            candidate.weight = entry.games;
        } else {
            candidate.weight = kEvenWeight;
        }
        total += candidate.weight;
    }
    return total;
}

Candidate* Draw(std::span<Candidate> candidates, std::uint64_t total) {
    std::uint64_t x = DrawNumber() % total;
    for (Candidate& candidate : candidates) {
        if (x < candidate.weight) return &candidate;
        x -= candidate.weight;
    }
    return nullptr;
}

/// Takes the candidate's move out of the chain at `*head`; null when it is not legal there.
MoveEntry* TakeMove(Link* head, const BookEntry& entry) {
    MoveEntry* const found = FindBookMove(*head, entry);
    if (!found) return nullptr;
    Link* link = head;
    while (EntryAt(*link) != found) link = &EntryAt(*link)->next;
    Unlink(link);
    SetRootResult(found, {entry.score, RootResult(*found).flags});
    return found;
}

}  // namespace

std::uint32_t SelectBookMoves(MoveList* root) {
    root->chosen_count = 0;
    const std::uint32_t limit = ReadSetting(settings_block.BookPlyLimit);
    if (limit >= 2 && GamePly.load(std::memory_order_relaxed) > limit) return 0;
    BookOperation operation;
    Candidates candidates;
    Gather(&operation, &candidates);
    std::uint64_t total = Weigh(candidates.All());
    Link drawn = kNoLink;
    Link* drawn_end = &drawn;
    for (std::size_t draws = 0; draws < candidates.count && total > 0; ++draws) {
        Candidate* const candidate = Draw(candidates.All(), total);
        if (!candidate) break;
        total -= std::exchange(candidate->weight, 0U);
        MoveEntry* const entry = TakeMove(&root->quiet_head, candidate->entry);
        if (!entry) continue;
        *drawn_end = MoveArena.LinkTo(*entry);
        drawn_end = &entry->next;
        ++root->chosen_count;
    }
    *drawn_end = root->quiet_head;
    root->quiet_head = drawn;
    return root->chosen_count;
}

}  // namespace torval
