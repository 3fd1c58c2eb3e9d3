// A record that one thread writes and another reads whole, without a lock.
//
// The writer makes the sequence number odd while it writes; a reader that meets an odd number or a
// changed one reads again. Words are atomic, so a torn read is thrown away and never undefined.
//
// Thread   one writer at a time, any number of readers.
// Source   a sequence lock; memory orders after Boehm, "Can seqlocks get along with programming
//          language memory models?" (2012).
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace torval {

template <typename Record>
class Published {
    static_assert(std::is_trivially_copyable_v<Record>);

public:
    void Store(const Record& record) {
        std::array<std::uint32_t, kWords> words{};
        std::memcpy(words.data(), &record, sizeof record);
        const std::uint32_t sequence = sequence_.load(std::memory_order_relaxed);
        sequence_.store(sequence + 1, std::memory_order_relaxed);
        // A reader that sees a new word also sees the odd number.
        for (std::size_t i = 0; i < kWords; ++i) {
            words_[i].store(words[i], std::memory_order_release);
        }
        sequence_.store(sequence + 2, std::memory_order_release);
    }

    Record Load() const {
        for (;;) {
            const std::uint32_t before = sequence_.load(std::memory_order_acquire);
            std::array<std::uint32_t, kWords> words;
            for (std::size_t i = 0; i < kWords; ++i) {
                words[i] = words_[i].load(std::memory_order_acquire);
            }
            if (before % 2 != 0 || sequence_.load(std::memory_order_relaxed) != before) continue;
            Record record;
            std::memcpy(static_cast<void*>(&record), words.data(), sizeof record);
            return record;
        }
    }

private:
    static constexpr std::size_t kWords = (sizeof(Record) + 3) / 4;

    std::atomic<std::uint32_t> sequence_ = 0;
    std::array<std::atomic<std::uint32_t>, kWords> words_ = {};
};

}  // namespace torval
