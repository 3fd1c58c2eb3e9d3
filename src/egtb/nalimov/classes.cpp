#include "egtb/nalimov/classes.h"

#include <algorithm>

namespace torval {

namespace {

constexpr std::string_view kTypeLetters = "?pnbrq";

constexpr std::string_view kSixMen[] = {
    "knnknn", "kbnknn", "kbbknn", "kbbkbn", "kbbkbb", "krnknn", "krnkbb", "krbknn", "krbkbb",
    "krrknn", "krrkbn", "krrkbb", "krrkrn", "krrkrb", "krrkrr", "kqnknn", "kqnkbb", "kqnkrr",
    "kqbknn", "kqbkbb", "kqbkrr", "kqrknn", "kqrkbb", "kqrkrr", "kqqknn", "kqqkbn", "kqqkbb",
    "kqqkrn", "kqqkrb", "kqqkrr", "kqqkqn", "kqqkqb", "kqqkqr", "kqqkqq"};

/// Three men against each of these, in this order: the rest of the six-man classes.
constexpr std::string_view kThreeMen[] = {"nnn",
                                          "bnn",
                                          "bbn",
                                          "bbb",
                                          "rnn",
                                          "rbb",
                                          "rrn",
                                          "rrb",
                                          "rrr",
                                          "qnn",
                                          "qbb",
                                          "qrr",
                                          "qqn",
                                          "qqb",
                                          "qqr",
                                          "qqq"};
constexpr std::string_view kAgainstThree = "nbrq";

constexpr std::string_view kWide[] = {"krnknn", "krnkbb", "krbknn", "kqnkrr"};

struct Builder {
    std::array<TablebaseClass, kClasses> table = {};
    std::size_t next = 0;

    constexpr void Add(std::string_view first, std::string_view second) {
        TablebaseClass& entry = table[next++];
        std::size_t length = 0;
        entry.letters[length++] = 'k';
        for (const char letter : first) entry.letters[length++] = letter;
        entry.letters[length++] = 'k';
        for (const char letter : second) entry.letters[length++] = letter;
        for (const char letter : first) ++entry.men[0][kTypeLetters.find(letter)];
        for (const char letter : second) ++entry.men[1][kTypeLetters.find(letter)];
        if (first == second) entry.flags |= TablebaseClass::Symmetric;
        for (const std::string_view wide : kWide) {
            if (entry.Name() == wide) entry.flags |= TablebaseClass::WideEntries;
        }
    }
};

constexpr std::array<TablebaseClass, kClasses> BuildClasses() {
    Builder builder;
    builder.Add("", "");
    const auto letter = [](int type) { return kTypeLetters[static_cast<std::size_t>(type)]; };
    for (int x = Pawn; x <= Queen; ++x) {
        const char men[] = {letter(x)};
        builder.Add({men, 1}, "");
    }
    for (int x = Pawn; x <= Queen; ++x) {
        for (int y = Pawn; y <= x; ++y) {
            const char men[] = {letter(x), letter(y)};
            builder.Add({men, 1}, {men + 1, 1});
        }
    }
    for (int x = Pawn; x <= Queen; ++x) {
        for (int y = Pawn; y <= x; ++y) {
            const char men[] = {letter(x), letter(y)};
            builder.Add({men, 2}, "");
        }
    }
    for (int x = Pawn; x <= Queen; ++x) {
        for (int y = Pawn; y <= x; ++y) {
            for (int z = Pawn; z <= Queen; ++z) {
                const char men[] = {letter(x), letter(y), letter(z)};
                builder.Add({men, 2}, {men + 2, 1});
            }
        }
    }
    for (int x = Pawn; x <= Queen; ++x) {
        for (int y = Pawn; y <= x; ++y) {
            for (int z = Pawn; z <= y; ++z) {
                const char men[] = {letter(x), letter(y), letter(z)};
                builder.Add({men, 3}, "");
            }
        }
    }
    for (const std::string_view name : kSixMen) builder.Add(name.substr(1, 2), name.substr(4));
    for (std::size_t i = 0; i < kAgainstThree.size(); ++i) {
        for (const std::string_view men : kThreeMen) builder.Add(men, kAgainstThree.substr(i, 1));
    }
    // "kpkp" has one man of a kind on each side, but pawns of the two go different ways.
    for (TablebaseClass& entry : builder.table) {
        if (entry.HasPawns()) entry.flags &= static_cast<std::uint8_t>(~TablebaseClass::Symmetric);
    }
    return builder.table;
}

/// Three bits for each count. More than 7 of a kind are no class's, and must not look like one.
constexpr std::uint32_t Pack(const MenCounts& first, const MenCounts& second) {
    std::uint32_t packed = 0;
    for (const MenCounts& men : {first, second}) {
        for (unsigned type = Pawn; type <= Queen; ++type) {
            packed = packed << 3 | (men[type] < 7U ? men[type] : 7U);
        }
    }
    return packed;
}

}  // namespace

constexpr std::array<TablebaseClass, kClasses> kTablebaseClasses = BuildClasses();

static_assert(kTablebaseClasses[kFirstFourMen].Name() == "kpkp");
static_assert(kTablebaseClasses[kFirstFiveMen].Name() == "kppkp");
static_assert(kTablebaseClasses[kFirstSixMen].Name() == "knnknn");
static_assert(kTablebaseClasses[kClasses - 1].Name() == "kqqqkq");

namespace {

/// A class by the men of both sides; negative when the class names them the other way round.
struct ClassOfMen {
    std::uint32_t men = 0;
    int class_id = 0;
};

/// By men; where both sides have the same men, the class as named comes first.
constexpr auto kClassesByMen = [] {
    std::array<ClassOfMen, 2 * (kClasses - 1)> list;
    for (std::size_t id = 1; id < kTablebaseClasses.size(); ++id) {
        const auto& men = kTablebaseClasses[id].men;
        list[2 * id - 2] = {Pack(men[0], men[1]), static_cast<int>(id)};
        list[2 * id - 1] = {Pack(men[1], men[0]), -static_cast<int>(id)};
    }
    std::ranges::sort(list, [](const ClassOfMen& a, const ClassOfMen& b) {
        return a.men != b.men ? a.men < b.men : a.class_id > b.class_id;
    });
    return list;
}();

}  // namespace

int FindClass(std::string_view name) {
    for (std::size_t id = 1; id < kTablebaseClasses.size(); ++id) {
        if (kTablebaseClasses[id].Name() == name) return static_cast<int>(id);
    }
    return 0;
}

int ClassFor(const MenCounts& white, const MenCounts& black) {
    const std::uint32_t wanted = Pack(white, black);
    const auto found = std::ranges::lower_bound(kClassesByMen, wanted, {}, &ClassOfMen::men);
    return found == kClassesByMen.end() || found->men != wanted ? 0 : found->class_id;
}

}  // namespace torval
