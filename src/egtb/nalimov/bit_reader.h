// Reads bits, the most significant of each byte first, and never touches a byte outside its input.
//
// Method   a 64-bit word holds the next bits at its top. Refill fills it up to at least 56, which is
//          more than any symbol with its further bits takes (31 + 17), so a decoder refills once
//          and then takes without asking.
// Errors   after the last byte the reader supplies zeros and counts them; Overran reports
//          whether one of them was taken. Whoever reads checks it once, at the end.
// Thread   one at a time; the input is not changed.
#pragma once

#include <cassert>
#include <cstdint>
#include <span>

namespace torval {

class BitReader {
public:
    static constexpr int kReadyBits = 56;

    explicit BitReader(std::span<const std::uint8_t> bytes)
        : next_(bytes.data()), end_(bytes.data() + bytes.size()) {}

    /// Makes kReadyBits bits ready for Peek and Skip.
    void Refill() {
        if (end_ - next_ >= 8) [[likely]] {
            // Bits below count_ may stand there already; they are the same ones.
            buffer_ |= Word(next_) >> count_;
            next_ += (63 - count_) >> 3;
            count_ |= kReadyBits;
        } else {
            RefillAtTheEnd();
        }
    }

    /// The next bits, 1 to 32 of them, without taking them.
    std::uint32_t Peek(int bits) const {
        return static_cast<std::uint32_t>(buffer_ >> (64 - bits));
    }

    void Skip(int bits) {
        assert(bits <= count_);
        buffer_ <<= bits;
        count_ -= bits;
    }

    /// Takes 1 to 32 bits that are ready.
    std::uint32_t TakeReady(int bits) {
        const std::uint32_t value = Peek(bits);
        Skip(bits);
        return value;
    }

    /// Takes 0 to 32 bits.
    std::uint32_t Take(int bits) {
        if (bits == 0) return 0;
        Refill();
        return TakeReady(bits);
    }

    bool Overran() const { return count_ < supplied_; }

private:
    static std::uint64_t Word(const std::uint8_t* at) {
        return std::uint64_t{at[0]} << 56 | std::uint64_t{at[1]} << 48 |
               std::uint64_t{at[2]} << 40 | std::uint64_t{at[3]} << 32 |
               std::uint64_t{at[4]} << 24 | std::uint64_t{at[5]} << 16 | std::uint64_t{at[6]} << 8 |
               std::uint64_t{at[7]};
    }

    void RefillAtTheEnd() {
        while (count_ < kReadyBits) {
            if (next_ != end_) {
                buffer_ |= std::uint64_t{*next_++} << (56 - count_);
            } else {
                supplied_ += 8;
            }
            count_ += 8;
        }
    }

    const std::uint8_t* next_;
    const std::uint8_t* end_;
    std::uint64_t buffer_ = 0;
    int count_ = 0;              // bits in the buffer, 0 to 63
    std::int64_t supplied_ = 0;  // zero bits supplied past the end, taken or not
};

}  // namespace torval
