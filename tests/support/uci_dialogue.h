// A chess program's side of the protocol, or the user's of another host: the loop runs on a thread of
// its own, between two pipes.
//
// Errors   a line that does not come within a generous limit fails the test and ends the dialogue,
//          so that nothing waits for ever.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "apps/uci/uci_loop.h"

namespace torval {

class UciDialogue {
public:
    explicit UciDialogue(std::function<void(int input, int output)> loop = RunUci);
    /// Ends the input, reads what is left and joins the loop.
    ~UciDialogue();
    UciDialogue(const UciDialogue&) = delete;
    UciDialogue& operator=(const UciDialogue&) = delete;

    /// Sends a line with its end.
    void Send(std::string_view line);
    /// Sends bytes as they are.
    void SendRaw(std::string_view bytes);

    /// Reads up to the first line that begins so and answers it; empty when none comes. What was
    /// read on the way, that line included, is in lines().
    std::string Until(std::string_view beginning);

    /// Sends `isready` and reads up to the answer: what was read is what came before it.
    void Ready();

    /// Ends the input and reads all that comes until the loop is done.
    void End();

    /// Stops reading: the loop writes into a closed pipe from now on. Waits for its end.
    void CloseOutput();

    /// Everything read since the last Forget.
    const std::vector<std::string>& lines() const { return lines_; }
    void Forget() { lines_.clear(); }

    /// How many of these begin so.
    long Count(std::string_view beginning) const;

private:
    bool ReadLine(std::string* line);

    int to_loop_ = -1;
    int from_loop_ = -1;
    std::string buffer_;
    std::vector<std::string> lines_;
    std::thread loop_;
};

}  // namespace torval
