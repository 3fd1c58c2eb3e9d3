#include "apps/makers/tables/match_choice.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <limits>
#include <numeric>
#include <utility>

#include "apps/makers/tables/prefix_lengths.h"

namespace torval {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kCandidates = 192;
constexpr std::size_t kNearDistances = 16;  // always candidates
constexpr std::uint32_t kShortestUsefulRun = 4;

constexpr std::uint16_t kAbsentPrice = 13;
constexpr std::uint16_t kFirstMatchPrice = 9;

/// What a byte costs is kept in sixteenths of a bit while distances are compared.
constexpr std::uint32_t kFine = 16;

/// Marks each byte of the block that equals the one `distance` before it.
void MarkEqual(Bytes block, std::size_t distance, std::uint8_t* equal) {
    const std::uint8_t* const data = block.data();
    for (std::size_t at = distance; at < block.size(); ++at) {
        equal[at] = data[at] == data[at - distance] ? 1 : 0;
    }
}

/// How many bytes of the sample begin a run of kShortestUsefulRun equal ones.
std::uint32_t RunStarts(std::span<const Bytes> sample, std::size_t distance) {
    static_assert(kShortestUsefulRun == 4);
    std::array<std::uint8_t, kBlockBytes> equal;
    std::uint32_t starts = 0;
    for (const Bytes block : sample) {
        if (block.size() < distance + kShortestUsefulRun) continue;
        MarkEqual(block, distance, equal.data());
        for (std::size_t at = distance; at + 3 < block.size(); ++at) {
            starts += equal[at] & equal[at + 1] & equal[at + 2] & equal[at + 3];
        }
    }
    return starts;
}

/// The distances with most runs, and the nearest ones.
std::vector<std::uint32_t> Candidates(std::span<const Bytes> sample) {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> ranked;
    for (std::uint32_t distance = 1; distance < kBlockBytes; ++distance) {
        const bool near = distance <= kNearDistances;
        const std::uint32_t starts = RunStarts(sample, distance);
        if (!near && starts == 0) continue;
        ranked.emplace_back(near ? 0 : std::numeric_limits<std::uint32_t>::max() - starts,
                            distance);
    }
    const std::size_t count = std::min(kCandidates, ranked.size());
    std::ranges::partial_sort(ranked, ranked.begin() + static_cast<std::ptrdiff_t>(count));
    std::vector<std::uint32_t> candidates(count);
    for (std::size_t at = 0; at < count; ++at) candidates[at] = ranked[at].second;
    return candidates;
}

/// The cost of each byte of the sample when it belongs to the match at this distance around it: a
/// share of the whole match's price, never more than a literal.
std::vector<std::uint8_t> ByteCosts(std::span<const Bytes> sample,
                                    std::size_t distance,
                                    std::uint8_t literal) {
    constexpr std::uint32_t kMatchCost = (kFirstMatchPrice + 1) * kFine;
    std::array<std::uint8_t, kBlockBytes> equal;
    std::vector<std::uint8_t> costs;
    for (const Bytes block : sample) {
        const std::size_t begin = costs.size();
        costs.resize(begin + block.size(), literal);
        if (block.size() <= distance) continue;
        MarkEqual(block, distance, equal.data());
        for (std::size_t at = distance; at < block.size();) {
            std::size_t run = at;
            while (run < block.size() && equal[run] != 0) ++run;
            if (run > at) {
                const auto share = kMatchCost / static_cast<std::uint32_t>(run - at);
                std::fill(costs.begin() + static_cast<std::ptrdiff_t>(begin + at),
                          costs.begin() + static_cast<std::ptrdiff_t>(begin + run),
                          static_cast<std::uint8_t>(std::min<std::uint32_t>(literal, share)));
            }
            at = run + 1;
        }
    }
    return costs;
}

std::array<std::uint64_t, kLiterals> CountBytes(std::span<const Bytes> sample) {
    std::array<std::uint64_t, kLiterals> counts{};
    for (const Bytes block : sample) {
        for (const std::uint8_t byte : block) ++counts[byte];
    }
    return counts;
}

std::uint8_t AverageLiteralCost(std::span<const Bytes> sample) {
    const auto counts = CountBytes(sample);
    const std::vector<std::uint8_t> lengths = CodeLengthsFor(counts, kLongestCode);
    std::uint64_t bits = 0;
    for (std::size_t byte = 0; byte < counts.size(); ++byte) bits += counts[byte] * lengths[byte];
    const std::uint64_t total = std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
    return static_cast<std::uint8_t>(total == 0 ? 1 : bits * kFine / total);
}

}  // namespace

Distances ChooseDistances(std::span<const std::span<const std::uint8_t>> sample) {
    const std::uint8_t literal = AverageLiteralCost(sample);
    std::vector<std::uint32_t> candidates = Candidates(sample);
    std::vector<std::vector<std::uint8_t>> costs;
    costs.reserve(candidates.size());
    for (const std::uint32_t distance : candidates) {
        costs.push_back(ByteCosts(sample, distance, literal));
    }

    Distances chosen{};
    std::vector<std::uint8_t> current(costs.empty() ? 0 : costs[0].size(), literal);
    std::size_t count = 0;
    for (; count < chosen.size(); ++count) {
        std::uint64_t best_gain = 0;
        std::size_t best = 0;
        for (std::size_t at = 0; at < candidates.size(); ++at) {
            std::uint32_t gain = 0;
            const std::uint8_t* const cost = costs[at].data();
            const std::uint8_t* const now = current.data();
            for (std::size_t byte = 0; byte < current.size(); ++byte) {
                gain +=
                    static_cast<std::uint8_t>(now[byte] > cost[byte] ? now[byte] - cost[byte] : 0);
            }
            if (gain > best_gain) {
                best_gain = gain;
                best = at;
            }
        }
        if (best_gain == 0) break;
        chosen[count] = candidates[best];
        for (std::size_t byte = 0; byte < current.size(); ++byte) {
            current[byte] = std::min(current[byte], costs[best][byte]);
        }
    }
    // A distance must not be 0 even if it is unused.
    const auto end = chosen.begin() + static_cast<std::ptrdiff_t>(count);
    for (std::uint32_t distance = 1; count < chosen.size(); ++distance) {
        if (std::find(chosen.begin(), end, distance) == end) chosen[count++] = distance;
    }
    std::ranges::sort(chosen);
    return chosen;
}

Prices FirstPrices(std::span<const std::span<const std::uint8_t>> sample) {
    const std::vector<std::uint8_t> lengths = CodeLengthsFor(CountBytes(sample), kLongestCode);
    Prices prices;
    prices.fill(kFirstMatchPrice);
    for (std::size_t byte = 0; byte < lengths.size(); ++byte) {
        prices[byte] = lengths[byte] == 0 ? kAbsentPrice : lengths[byte];
    }
    return prices;
}

Prices PricesOf(std::span<const std::uint8_t> lengths) {
    Prices prices;
    for (std::size_t symbol = 0; symbol < prices.size(); ++symbol) {
        prices[symbol] = lengths[symbol] == 0 ? kAbsentPrice : lengths[symbol];
    }
    return prices;
}

std::vector<Token> DivideBlock(std::span<const std::uint8_t> block,
                               const Distances& distances,
                               const Prices& prices) {
    assert(block.size() <= kBlockBytes);
    const std::size_t size = block.size();

    // Further bits are part of the price of a length code; the distance is in the bits below, so
    // that the smaller of two words is also the cheaper match.
    constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
    std::array<std::array<std::uint32_t, kLengthCodes>, kDistances> priced;
    for (std::size_t d = 0; d < kDistances; ++d) {
        for (int code = 0; code < kLengthCodes; ++code) {
            const std::size_t symbol =
                kLiterals + d * kLengthCodes + static_cast<std::size_t>(code);
            const auto price = prices[symbol] + static_cast<std::uint32_t>(FurtherBits(code));
            priced[d][static_cast<std::size_t>(code)] = price * 32 + static_cast<std::uint32_t>(d);
        }
    }

    struct Step {
        std::uint32_t cost = 0;  // of everything from here to the end of the block
        std::uint32_t symbol = 0;
        std::uint32_t length = 1;
    };
    std::vector<Step> steps(size + 1);
    std::array<std::uint32_t, kDistances> runs{};  // equal bytes from here on, by distance
    for (std::size_t at = size; at-- > 0;) {
        std::array<std::uint32_t, kLengthCodes> best;
        best.fill(kNone);
        std::uint32_t longest = 0;
        std::size_t longest_by = 0;
        for (std::size_t d = 0; d < kDistances; ++d) {
            const std::uint32_t distance = distances[d];
            runs[d] = at >= distance && block[at] == block[at - distance] ? runs[d] + 1 : 0;
            if (runs[d] == 0) continue;
            if (runs[d] > longest) {
                longest = runs[d];
                longest_by = d;
            }
            // Every length code whose longest match fits; the next one's begins beyond.
            for (std::size_t code = 0; code < kLengthCodes - 1 &&
                                       ShortestMatch(static_cast<int>(code) + 1) - 1 <= runs[d];
                 ++code) {
                best[code] = std::min(best[code], priced[d][code]);
            }
        }

        Step& step = steps[at];
        step = {steps[at + 1].cost + prices[block[at]], block[at], 1};
        const auto consider = [&](std::uint32_t word, std::size_t code, std::uint32_t length) {
            const std::uint32_t cost = steps[at + length].cost + word / 32;
            if (cost < step.cost) {
                const auto symbol = kLiterals + word % 32 * kLengthCodes + code;
                step = {cost, static_cast<std::uint32_t>(symbol), length};
            }
        };
        for (std::size_t code = 0; code < kLengthCodes - 1 && best[code] != kNone; ++code) {
            consider(best[code], code, ShortestMatch(static_cast<int>(code) + 1) - 1);
        }
        // The longest run of all, whose length may lie inside the range of its code.
        if (longest >= ShortestMatch(kSingleLengths)) {
            const int code =
                std::bit_width(longest - (kSingleLengths - 1)) - 1 + (kSingleLengths - 1);
            const auto code_at = static_cast<std::size_t>(code);
            consider(priced[longest_by][code_at], code_at, longest);
        }
    }

    std::vector<Token> tokens;
    for (std::size_t at = 0; at < size; at += steps[at].length) {
        const Step& step = steps[at];
        Token token = {0, 0, step.symbol & 1023};
        if (step.symbol >= kLiterals) {
            const int code = static_cast<int>(step.symbol) % kLengthCodes;
            token.further = (step.length - ShortestMatch(code)) & 0x1FFFF;
            token.further_bits = static_cast<std::uint32_t>(FurtherBits(code)) & 31;
        }
        tokens.push_back(token);
    }
    return tokens;
}

void CountSymbols(std::span<const Token> tokens, SymbolCounts* counts) {
    for (const Token& token : tokens) ++(*counts)[token.symbol];
}

}  // namespace torval
