// What the tests of the opening books share: files of their own, opened as the engine's books.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "book/books.h"
#include "book/new_book.h"
#include "search/engine_test.h"

namespace torval {

using Bytes = std::vector<std::uint8_t>;

Bytes ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const Bytes& bytes);

/// A message with its text.
struct TextMessage {
    int id;
    std::string text;
    bool operator==(const TextMessage&) const = default;
};
extern std::vector<TextMessage> text_messages;

class BookTest : public EngineTest {
protected:
    void SetUp() override;
    void TearDown() override;

    /// A path in this test's own directory.
    std::string Path(const std::string& name) const { return (directory_ / name).string(); }
    /// A copy of tests/data/reference/book/NAME.
    std::string CopyOfReference(const std::string& name) const;

    /// Opens files as the main and the user book, none where the path is empty, and enables those.
    /// What OpenBooks answers.
    static int Open(const std::string& main_book, const std::string& user_book = {});

    static BookFile& Main() { return book_manager.books[MainBook]; }

    /// The books' moves in the game position, "e2e4 30 80" (move, score, flags in hexadecimal).
    static std::vector<std::string> Moves();

private:
    std::filesystem::path directory_;
};

}  // namespace torval
