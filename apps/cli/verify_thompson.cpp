#include <algorithm>
#include <array>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <vector>

#include "apps/cli/thompson_command.h"
#include "apps/text/progress.h"
#include "apps/text/text.h"
#include "egtb/thompson/thompson_file.h"
#include "egtb/thompson/thompson_materials.h"

namespace torval {

namespace {

constexpr std::uint32_t kMostByte = 255;

/// Says what is wrong; empty for nothing.
using Fault = std::string;

/// Names what is wrong with a header that cannot be read.
class HeaderCheck {
public:
    explicit HeaderCheck(DiskFile* file) : file_(*file), left_(file->Size()) {}

    Fault First() {
        Number("K", kMostThompsonDigits);
        for (const char* const table : {"A", "B", "C"}) Table(table);
        Number("P", UINT32_MAX);
        Table("D");
        return fault_;
    }

private:
    /// 1 to `most`.
    void Number(const std::string& name, std::uint32_t most) {
        const std::uint32_t number = Read(name);
        if (!fault_.empty() || (number != 0 && number <= most)) return;
        fault_ = name + " is " + std::to_string(number);
    }

    void Table(const std::string& name) {
        const std::uint32_t count = Read("the length of table " + name);
        if (!fault_.empty()) return;
        const std::uint64_t bytes = std::uint64_t{count} * sizeof count;
        if (bytes > left_) {
            fault_ = "table " + name + " has " + std::to_string(count) +
                     " entries, which is more than the file";
            return;
        }
        left_ -= bytes;
        file_.Seek(file_.Size() - left_);
    }

    std::uint32_t Read(const std::string& name) {
        std::array<std::uint8_t, 4> bytes = {};
        if (!fault_.empty()) return 0;
        if (left_ < bytes.size() || file_.Read(bytes) != bytes.size()) {
            fault_ = "it ends before " + name;
            return 0;
        }
        left_ -= bytes.size();
        std::uint32_t number = 0;
        for (const std::uint8_t byte : bytes) number = number << 8 | byte;
        return number;
    }

    DiskFile& file_;
    std::uint64_t left_;
    Fault fault_;
};

/// One past the largest leaf whose digits all fit.
std::uint64_t LeavesOf(const ThompsonHeader& header) {
    std::uint64_t leaves = 1;
    for (std::uint32_t i = 0; i < header.values_per_leaf && leaves <= kThompsonLeaf; ++i) {
        leaves *= header.common_values.size() + 1;
    }
    return leaves;
}

/// Follows every branch of a tree once.
Fault TreeFault(std::span<const std::uint32_t> tree, std::uint64_t leaves) {
    struct Node {
        std::uint32_t entry;  ///< the first of its two
        int bits;             ///< taken on the way there
    };
    if (tree.empty()) return {};
    std::vector<bool> reached(tree.size());
    std::vector<Node> open = {{0, 0}};
    while (!open.empty()) {
        const Node node = open.back();
        open.pop_back();
        if (node.bits == kLongestThompsonCode) {
            return "a code is longer than " + std::to_string(kLongestThompsonCode) + " bits";
        }
        for (const std::uint64_t at : {std::uint64_t{node.entry}, std::uint64_t{node.entry} + 1}) {
            if (at >= tree.size()) return "there is no entry " + std::to_string(at);
            if (reached[at]) return "two ways lead to entry " + std::to_string(at);
            reached[at] = true;
            const std::uint32_t entry = tree[at];
            if (!(entry & kThompsonLeaf)) {
                open.push_back({entry, node.bits + 1});
            } else if (const std::uint32_t leaf = entry & ~kThompsonLeaf; leaf >= leaves) {
                return "the leaf " + std::to_string(leaf) + " has too many digits";
            }
        }
    }
    const auto lost = std::ranges::find(reached, false);
    if (lost == reached.end()) return {};
    return "no way leads to entry " + std::to_string(lost - reached.begin());
}

Fault TablesFault(const ThompsonHeader& header) {
    for (const std::uint32_t value : header.common_values) {
        if (value > kMostByte) return "table A: " + std::to_string(value) + " is more than a byte";
    }
    if (const Fault fault = TreeFault(header.value_tree, LeavesOf(header)); !fault.empty()) {
        return "tree B: " + fault;
    }
    // Only the low byte of a leaf of tree C is used; higher bits are ignored.
    if (const Fault fault = TreeFault(header.rare_tree, kThompsonLeaf); !fault.empty()) {
        return "tree C: " + fault;
    }
    return {};
}

/// How many values the blocks hold together; 0 when only the data can tell.
std::uint64_t ValuesOf(const std::string& name) {
    const ThompsonMaterial* const material = FindThompsonMaterial(name);
    return material ? ThompsonPositions(material->type) : 0;
}

/// Reads all blocks. *values becomes the number of their values.
Fault BlocksFault(ThompsonFile* file, std::uint64_t* values, Console& console) {
    const ThompsonHeader& header = file->Header();
    const std::uint64_t per_block = header.positions_per_block;
    const std::size_t blocks = header.block_starts.size();
    const std::uint64_t expected = ValuesOf(file->Name());
    if (expected != 0 && (expected + per_block - 1) / per_block != blocks) {
        return std::to_string(blocks) + " blocks of " + std::to_string(per_block) +
               " positions are not what " + std::to_string(expected) + " positions take";
    }
    constexpr std::size_t kSteps = 100;
    ProgressBar bar(console, kSteps);
    // Every leaf, with its K values, takes at least one bit.
    const std::uint64_t most =
        std::min(per_block, std::filesystem::file_size(file->Name()) * 8 * header.values_per_leaf);
    std::vector<std::uint8_t> buffer(expected != 0 ? std::min(most, expected) : most);
    for (std::size_t block = 0; block < blocks; ++block) {
        const bool last = block + 1 == blocks;
        const std::uint64_t wanted = last && expected != 0 ? expected - *values : per_block;
        const auto fitting =
            static_cast<std::size_t>(std::min<std::uint64_t>(wanted, buffer.size()));
        const std::size_t read = file->ReadBlock(block, std::span(buffer).first(fitting));
        *values += read;
        const bool whole = last && expected == 0 ? read != 0 : read == wanted;
        if (!whole) {
            return "block " + std::to_string(block) + ": value " + std::to_string(read) +
                   " cannot be read";
        }
        if ((block + 1) * kSteps / blocks != block * kSteps / blocks) bar.Step();
    }
    return {};
}

Fault FirstFault(const std::string& name, std::uint64_t* values, Console& console) {
    ThompsonFile file;
    if (!file.Open(name)) {
        DiskFile raw;
        if (!raw.Open(name, DiskAccess::ReadOnly))
            throw InputError("cannot read " + QuoteName(name));
        return "header: " + HeaderCheck(&raw).First();
    }
    Fault fault = TablesFault(file.Header());
    return fault.empty() ? BlocksFault(&file, values, console) : fault;
}

}  // namespace

void VerifyThompsonFile(const std::string& file, Console& console) {
    std::uint64_t values = 0;
    const Fault fault = FirstFault(file, &values, console);
    if (fault.empty()) {
        console.out << file << ": " << values << " values, all right\n";
        return;
    }
    console.out << file << ": " << fault << '\n';
    throw std::runtime_error("the file is faulty");
}

}  // namespace torval
