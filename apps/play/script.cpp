#include <iterator>
#include <string>

#include "apps/host/line_io.h"
#include "apps/play/front_ends.h"

namespace torval {

namespace {

/// One script on its way through a player.
class Script {
public:
    Script(Player& player, Console& console, int input)
        : player_(player), console_(console), reader_(input) {
        if (input >= 0) return;
        reader_.Take(std::string(std::istreambuf_iterator<char>(console.in), {}));
        reader_.End();
    }

    int Run();

private:
    bool NextLine(std::string* line, bool* too_long);
    void Execute(const std::string& line, bool too_long);
    void TellNews();
    void Tell(const std::vector<std::string>& lines) {
        for (const std::string& line : lines) console_.out << line << '\n';
        console_.out << std::flush;
    }

    Player& player_;
    Console& console_;
    LineReader reader_;
    const Opening* told_ = nullptr;
    int number_ = 0;  ///< of the line
    int refused_ = 0;
};

int Script::Run() {
    std::string line;
    bool too_long = false;
    while (!player_.HasQuit() && NextLine(&line, &too_long)) {
        ++number_;
        Execute(line, too_long);
        while (player_.IsMoveDue()) player_.Wait(-1, -1);
        TellNews();
    }
    return refused_;
}

/// False at the end of the input. The engine proceeds only while no input is pending, so that a
/// complete script gets the same answers each time.
bool Script::NextLine(std::string* line, bool* too_long) {
    while (!reader_.Next(line, too_long)) {
        if (reader_.ended()) return false;
        if (!reader_.CanFill() && !player_.Wait(reader_.descriptor(), -1)) {
            TellNews();
            continue;
        }
        reader_.Fill();
    }
    return true;
}

void Script::Execute(const std::string& line, bool too_long) {
    Reply reply = too_long ? Reply{false, {"the line is too long"}} : player_.Execute(line);
    if (reply.accepted) {
        Tell(reply.lines);
        return;
    }
    ++refused_;
    for (const std::string& reason : reply.lines) {
        console_.err << "line " << number_ << ": " << reason << '\n';
    }
    console_.err << std::flush;
}

void Script::TellNews() {
    Tell(player_.TakeNews());
    const Opening* const opening = player_.GameOpening();
    if (opening && opening != told_) Tell({"Opening: " + opening->Text()});
    told_ = opening;
}

}  // namespace

int PlayScript(Player& player, Console& console, int input) {
    return Script(player, console, input).Run();
}

}  // namespace torval
