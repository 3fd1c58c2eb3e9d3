#include <string>

#include "apps/play/front_ends.h"

namespace torval {

namespace {

void Tell(const std::vector<std::string>& lines, std::ostream& out) {
    for (const std::string& line : lines) out << line << '\n';
    out << std::flush;
}

}  // namespace

int PlayScript(Player& player, Console& console) {
    int refused = 0;
    const Opening* told = nullptr;
    std::string line;
    for (int number = 1; !player.HasQuit() && std::getline(console.in, line); ++number) {
        const Reply reply = player.Execute(line);
        if (reply.accepted) {
            Tell(reply.lines, console.out);
        } else {
            ++refused;
            for (const std::string& reason : reply.lines) {
                console.err << "line " << number << ": " << reason << '\n';
            }
            console.err << std::flush;
        }
        while (player.IsMoveDue()) player.Wait(-1, -1);
        Tell(player.TakeNews(), console.out);
        const Opening* const opening = player.GameOpening();
        if (opening && opening != told) Tell({"Opening: " + opening->Text()}, console.out);
        told = opening;
    }
    return refused;
}

}  // namespace torval
