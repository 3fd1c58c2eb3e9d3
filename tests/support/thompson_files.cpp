#include "support/thompson_files.h"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "apps/makers/set_up.h"
#include "egtb/thompson/thompson.h"

namespace torval {

namespace {

constexpr std::uint32_t kPerBlock = 4096;

void Append(std::uint32_t number, std::string* bytes) {
    for (int shift = 24; shift >= 0; shift -= 8) *bytes += static_cast<char>(number >> shift);
}

class Bits {
public:
    void Put(std::uint32_t value, int count) {
        while (count-- > 0) {
            if (length_ % 8 == 0) bytes_ += '\0';
            if (count < 32 && (value >> count & 1))
                bytes_.back() |= static_cast<char>(0x80 >> length_ % 8);
            ++length_;
        }
    }
    std::uint32_t Length() const { return length_; }
    const std::string& Bytes() const { return bytes_; }

private:
    std::string bytes_;
    std::uint32_t length_ = 0;
};

}  // namespace

std::string SparseThompsonFile(ThompsonType type, const ThompsonValues& values) {
    Bits data;
    data.Put(0, kPerBlock);
    const std::uint32_t blocks = (ThompsonPositions(type) + kPerBlock - 1) / kPerBlock;
    std::vector<std::uint32_t> starts(blocks, 0);
    for (auto value = values.begin(); value != values.end();) {
        const std::uint32_t block = value->first / kPerBlock;
        starts[block] = data.Length();
        for (std::uint32_t i = 0; i < kPerBlock; ++i) {
            const bool is_here = value != values.end() && value->first == block * kPerBlock + i;
            data.Put(is_here, 1);
            if (is_here) data.Put((value++)->second, 8);
        }
    }
    std::string file;
    Append(1, &file);  // a value to a leaf
    Append(1, &file);  // one common value, 0
    Append(0, &file);
    Append(2, &file);  // the bit is the digit
    Append(kThompsonLeaf | 0, &file);
    Append(kThompsonLeaf | 1, &file);
    constexpr std::uint32_t kInnerNodes = 255;  // the eight bits are the value
    Append(2 * kInnerNodes, &file);
    for (std::uint32_t entry = 0; entry < 2 * kInnerNodes; ++entry) {
        const std::uint32_t child = entry + 1;  // the nodes in the order of a heap
        Append(child < kInnerNodes ? 2 * child : kThompsonLeaf | (child - kInnerNodes), &file);
    }
    Append(kPerBlock, &file);
    Append(blocks, &file);
    for (const std::uint32_t start : starts) Append(start, &file);
    return file + data.Bytes();
}

std::string WriteSparseThompson(const std::string& folder,
                                const std::string& name,
                                const ThompsonValues& values) {
    const std::string path = folder + "/" + name;
    const ThompsonMaterial* const material = FindThompsonMaterial(name);
    std::ofstream out(path, std::ios::binary);
    out << SparseThompsonFile(material->type, values);
    EXPECT_TRUE(out.good()) << path;
    return path;
}

void AddValue(const std::string& fen, const std::string& name, int value, ThompsonValues* values) {
    std::string error;
    ASSERT_TRUE(SetUpFen(fen, &error)) << fen << ": " << error;
    const ThompsonMaterial* const material = FindThompsonMaterial(name);
    const auto squares = MatchBoard(PlacesOf(*material));
    ASSERT_TRUE(squares) << fen;
    const auto index = ThompsonIndex(material->type, *squares);
    ASSERT_TRUE(index) << fen;
    (*values)[*index] = static_cast<std::uint8_t>(value);
}

}  // namespace torval
