#include "book/book_fixture.h"
#include "apps/text/moves.h"

#include <cstring>
#include <fstream>
#include <iterator>

namespace torval {

std::vector<TextMessage> text_messages;

Bytes ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << path;
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteBytes(const std::string& path, const Bytes& bytes) {
    // Some file systems wait for the disk when a file is cut and written again, not for a new one.
    std::filesystem::remove(path);
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(out) << path;
}

void BookTest::SetUp() {
    EngineTest::SetUp();
    std::string pattern = (std::filesystem::temp_directory_path() / "torval-book-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    directory_ = pattern;
    text_messages.clear();
    notification_sink.output_msg = [](int id, int, int, const char* text) {
        text_messages.push_back({id, text});
    };
}

void BookTest::TearDown() {
    CloseBooks();
    std::filesystem::remove_all(directory_);
    EngineTest::TearDown();
}

std::string BookTest::CopyOfReference(const std::string& name) const {
    const std::string path = Path(name);
    WriteBytes(path, ReadBytes(TORVAL_TEST_DATA "/reference/book/" + name));
    return path;
}

int BookTest::Open(const std::string& main_book, const std::string& user_book) {
    CloseBooks();
    SettingsBlock& s = settings_block;
    std::strcpy(s.MainBookName, main_book.c_str());
    std::strcpy(s.UserBookName, user_book.c_str());
    s.BookUse = static_cast<std::uint16_t>((main_book.empty() ? 0 : BookUseMain) |
                                           (user_book.empty() ? 0 : BookUseUser));
    if (!main_book.empty()) return OpenBooks();
    return book_manager.books[UserBook].Open(user_book);
}

std::vector<std::string> BookTest::Moves() {
    W_BOOKMOVES found;
    CollectBookMoves(*legal_moves, &found);
    std::vector<std::string> texts;
    for (int i = 0; i < found.NmbrOfMoves; ++i) {
        const BMOVE& move = found.MOVES[i];
        char flag[8];
        std::snprintf(flag, sizeof flag, " %02x", move.flag);
        texts.push_back(CoordinateText(Plain(move.move)) + " " + std::to_string(move.score) + flag);
    }
    return texts;
}

}  // namespace torval
