// Whatever bytes a Thompson database file contains, opening, reading and verifying end cleanly, and
// a value does not depend on how it is read.
//
// Input    the first byte chooses. Even: the rest is a file. Odd: small numbers for the header, a byte
//          each, then the blocks; the header's lengths always fit the file.

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "apps/cli/thompson_command.h"
#include "egtb/thompson/thompson_file.h"

namespace {

using namespace torval;

using Bytes = std::vector<std::uint8_t>;

void Require(bool holds) {
    if (!holds) std::abort();
}

const std::string& FileName() {
    static const std::string name = [] {
        const char* const directory = std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp";
        return std::string(directory) + "/torval-thompson-fuzz-" + std::to_string(getpid());
    }();
    return name;
}

/// Input bytes one by one, zeros after the end.
class Input {
public:
    explicit Input(Bytes bytes) : bytes_(std::move(bytes)) {}

    std::uint32_t Take() { return next_ < bytes_.size() ? bytes_[next_++] : 0; }
    Bytes Rest() const {
        return {bytes_.begin() + static_cast<std::ptrdiff_t>(next_), bytes_.end()};
    }

private:
    Bytes bytes_;
    std::size_t next_ = 0;
};

Bytes WithHeader(Input input) {
    Bytes file;
    const auto put = [&file](std::uint32_t number) {
        for (int shift = 24; shift >= 0; shift -= 8) {
            file.push_back(static_cast<std::uint8_t>(number >> shift));
        }
    };
    const auto put_tree = [&](std::uint32_t size) {
        put(size);
        for (std::uint32_t i = 0; i < size; ++i) {
            const std::uint32_t byte = input.Take();
            put(byte < 128 ? byte % (size + 1) : kThompsonLeaf | (byte - 128));
        }
    };
    constexpr std::uint32_t kMostEntries = 24;
    put(input.Take() % (kMostThompsonDigits + 2));
    const std::uint32_t common = input.Take() % 4;
    put(common);
    for (std::uint32_t i = 0; i < common; ++i) put(input.Take());
    put_tree(input.Take() % kMostEntries);
    put_tree(input.Take() % kMostEntries);
    put(input.Take());
    const std::uint32_t blocks = input.Take() % 4;
    put(blocks);
    for (std::uint32_t i = 0; i < blocks; ++i) put(input.Take());
    const Bytes rest = input.Rest();
    file.insert(file.end(), rest.begin(), rest.end());
    return file;
}

/// Whether the tool finds no fault.
bool IsSound() {
    std::istringstream in;
    std::ostringstream out;
    std::ostringstream err;
    Console console{in, out, err, false};
    try {
        VerifyThompsonFile(FileName(), console);
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    Bytes bytes(data + 1, data + size);
    if (data[0] % 2 == 1) bytes = WithHeader(Input(std::move(bytes)));
    std::ofstream(FileName(), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    const bool sound = IsSound();
    ThompsonFile file;
    if (!file.Open(FileName())) {
        Require(!sound && !file.IsOpen());
        return 0;
    }
    const std::uint32_t per_block = file.Header().positions_per_block;
    const std::size_t blocks = file.Header().block_starts.size();
    constexpr std::size_t kMostValues = 40;
    Bytes values(std::min<std::size_t>(per_block, kMostValues));
    for (std::uint32_t block = 0; block < blocks && block < 4; ++block) {
        const std::size_t read = file.ReadBlock(block, values);
        if (sound && block + 1 < blocks) Require(read == values.size());
        for (std::uint32_t i = 0; i < values.size(); i += 1 + i / 4) {
            const std::uint64_t position = std::uint64_t{block} * per_block + i;
            if (position > UINT32_MAX) break;
            const auto value = file.ReadValue(static_cast<std::uint32_t>(position));
            Require(value.has_value() == (i < read));
            if (value) Require(*value == values[i]);
        }
    }
    return 0;
}
