#include "search/search.h"

#include <algorithm>

#include "board/attack.h"
#include "board/draw.h"
#include "board/make.h"
#include "eval/setup.h"
#include "search/move_picker.h"
#include "search/time.h"
#include "state/controller.h"
#include "state/flags.h"

namespace torval {

namespace {

constexpr int kWorst = -kMateUnits;

/// Nodes between two looks at the clock.
constexpr int kNodesPerTick = 1500;
constexpr int kNodesPerTickPondering = 300;

/// A quiet evasion of the capture search may gain this little less than the static score.
constexpr int kEvasionMargin = 25;

/// A futile node's move must bring the balance of material this near to alpha.
constexpr int kFutilityMargin = 100;

/// What a node knows of itself while it searches.
struct Node {
    int depth;
    int alpha;
    int beta;
    int check;
    int best = kWorst;
    std::uint16_t flags = 0;
    bool extended = false;
    bool probed = false;
    TableMove best_move = 0;
    int static_score = 0;
    TableProbe probe;

    EvalResult Result() const { return {static_cast<std::int16_t>(best), flags}; }
};

void PollClock() {
    ClockTick();
    think_controller.NodeCountdown =
        AnyFlag(FlagEngineToMove) ? kNodesPerTick : kNodesPerTickPondering;
}

/// Draws the score towards 0 as a position comes back or the fifty-move rule comes near.
EvalResult Shaped(EvalResult result) {
    constexpr int kFadeFrom = 80;
    const int score = result.score;
    const int fifty = position.FiftyCounter;
    if (fifty < 4 || score <= -kMateThreshold || score >= kMateThreshold) return result;
    if (PrimaryKey(game_record.KeyBefore(4)) == PrimaryKey(position.key)) {
        result.score = static_cast<std::int16_t>(score / 2);
    } else if (fifty > kFadeFrom) {
        result.score = static_cast<std::int16_t>(score * 4 / (fifty - (kFadeFrom - 4)));
    }
    return result;
}

bool IsPawnPush() {
    const auto limit = SearchSetting(settings_block.PawnPushDepth);
    const Move last = game_record.top->move;
    const int rank = last.to & 0xF0;
    return limit != 0 && last.flags == Pawn && (rank == 0x60 || rank == 0x10);
}

void Extend(Node* node, int ply) {
    const auto push_depth = SearchSetting(settings_block.PawnPushDepth);
    const bool check = node->check > 0 && ply >= SearchSetting(settings_block.CheckExtensionPly);
    if (check || (node->depth <= push_depth && IsPawnPush())) {
        ++node->depth;
        node->extended = true;
    }
}

/// The value that a child of the capture search would return before it looks at any move, worked
/// out without making the capture that leads to it. False when the child has more to do, or when
/// the capture is no plain one. `ply` is the child's distance less one, as it would see it.
template <Side Us>
bool AnswersAtOnce(Move move, int depth, int beta, int ply, int* score) {
    constexpr Side kThem = !Us;
    if (move.flags > King || think_controller.NodeCountdown <= 1) return false;
    auto material = position.MaterialWord;
    material[kThem] -= kValueWords[TypeOf(move.capture)];
    if (InsufficientMaterial(material[White], material[Black])) return false;
    *score = LazyScore<kThem>(MaterialBalance(material[White], material[Black]));
    const int floor = settings_block.Level.depth2;
    return *score >= beta || (floor != 0 && depth < floor) || ply >= kMaxSearchPly;
}

/// Material of the mover less the other side's after the move.
template <Side Us>
int BalanceAfter(Move move) {
    int balance = ValueOf(position.MaterialWord[Us]) - ValueOf(position.MaterialWord[!Us]) +
                  ValueOf(kValueWords[TypeOf(move.capture)]);
    if (move.flags & kPromotionBits) {
        balance += ValueOf(kValueWords[PromotionType(move)]) - ValueOf(kValueWords[Pawn]);
    }
    return balance;
}

template <Side Us>
Square CapturedSquare(Move move) {
    return move.flags == kEnPassantFlags ? static_cast<Square>(move.to - Home<Us>::kForward)
                                         : move.to;
}

/// Whether the move, if it is illegal, is found out only after it was made and taken back. In
/// check a move that can neither capture a checker nor block is passed over beforehand.
template <Side Us>
bool WouldBeTried(Move move, bool in_check) {
    if (!in_check || (move.flags & 7) == King || move.flags == kEnPassantFlags) return true;
    const std::uint8_t vector = AttackVectorTable[VectorIndex(move.to, position.KingSquare(Us))];
    return (vector & (VectorKnight | VectorLine)) != 0;
}

template <Side Us>
class NodeSearch {
public:
    explicit NodeSearch(Node* node) : node_(*node) {}

    /// Tries the null move. True when it is good enough to end the node.
    bool TryNullMove();

    /// Steps from the generation of moves on. True when the node's result may be stored.
    bool SearchMoves();

private:
    static constexpr Side kThem = !Us;

    void SearchEach(MovePicker<Us>* picker);
    bool QuietEvasionsAreOver();
    EvalResult SearchChild(Move move, int check, bool first);
    void Keep(Move move, EvalResult child, int score);

    Node& node_;
    KingView view_;
};

template <Side Us>
bool NodeSearch<Us>::TryNullMove() {
    Node& n = node_;
    ThinkController& c = think_controller;
    if (position.GamePhase > PhaseEndgame || n.check != 0 || n.depth <= 1 ||
        n.static_score < n.alpha - PawnValue) {
        return false;
    }
    const int reduction = SearchReduction(settings_block.NullMoveReduction);
    NullMove();
    const EvalResult reply =
        Search<kThem>(std::max(n.depth - reduction, 0), -n.beta, -n.alpha, kNullReply);
    NullMove();
    const int score = -reply.score;
    if (score >= n.beta) {
        n.best = score;
        n.flags = reply.flags;
        n.best_move = 0;
        return true;
    }
    n.alpha = std::max(n.alpha, score);
    // Passing loses much: the opponent threatens something, so look deeper.
    constexpr int kThreatDepth = 3;
    constexpr int kThreatPlies = 5;
    if (n.depth < kThreatDepth && c.ThreatMargin != 0 && n.static_score >= n.beta &&
        score < n.static_score - c.ThreatMargin &&
        c.SearchPly - c.IterationDepth < c.IterationDepth + kThreatPlies) {
        ++n.depth;
        n.extended = true;
    }
    return false;
}

template <Side Us>
bool NodeSearch<Us>::QuietEvasionsAreOver() {
    Node& n = node_;
    if (n.best == kWorst) return false;
    const int enough = n.static_score - kEvasionMargin;
    if (n.best >= enough || n.static_score < n.alpha) return true;
    n.beta = std::min(n.beta, enough);
    return false;
}

template <Side Us>
EvalResult NodeSearch<Us>::SearchChild(Move move, int check, bool first) {
    Node& n = node_;
    MakeMove<Us>(move);
    if (n.depth > 0) PrefetchTT();
    if (check < 0) check = InCheck(kThem) ? 1 : 0;
    EvalResult child;
    if (first) {
        child = Search<kThem>(n.depth - 1, -n.beta, -n.alpha, check);
    } else {
        child = Search<kThem>(n.depth - 1, -n.alpha - 1, -n.alpha, check);
        const int score = -child.score;
        if (n.depth > 1 && score >= n.best && score < n.beta) {
            child = Search<kThem>(n.depth - 1, -n.beta, -score, check);
        }
    }
    UnmakeMove<Us>();
    return child;
}

template <Side Us>
void NodeSearch<Us>::Keep(Move move, EvalResult child, int score) {
    node_.best = score;
    node_.flags = child.flags;
    node_.best_move = PackMove(move);
    UpdateLine(think_controller.SearchPly, move);
}

template <Side Us>
void NodeSearch<Us>::SearchEach(MovePicker<Us>* picker) {
    Node& n = node_;
    ThinkController& c = think_controller;
    const bool in_check = n.check > 0;
    const bool futile = !n.extended && n.depth == 1 && n.static_score <= n.alpha;
    if (futile) {
        n.best = n.static_score;
        n.flags = 0;
        const int balance =
            ValueOf(position.MaterialWord[Us]) - ValueOf(position.MaterialWord[kThem]);
        if (!in_check) picker->PassOverQuiets(&n.alpha, balance + kFutilityMargin);
    }
    bool first = true;
    bool cut_off = false;
    for (Move move; picker->NextMove(&move);) {
        if (n.depth <= 0 && in_check && picker->AtRemaining() && QuietEvasionsAreOver()) break;
        if (!IsLegal<Us>(move, view_, in_check)) {
            if (move.capture && WouldBeTried<Us>(move, in_check)) {
                MoveToListEnd(kThem, CapturedSquare<Us>(move));
            }
            continue;
        }
        // -1: known only once the move is made.
        const bool plain = move.flags <= King;
        int check = plain ? (PlainMoveChecks<Us>(move, view_) ? 1 : 0) : -1;
        CountOne(c.statistics.analize_cnt);
        if (n.depth < 0) CountOne(c.statistics.Qanalized);
        if (futile && kFutilityMargin + BalanceAfter<Us>(move) <= n.alpha) {
            if (check < 0) {
                MakeMove<Us>(move);
                check = InCheck(kThem) ? 1 : 0;
                UnmakeMove<Us>();
                if (check == 0) continue;
            } else if (check == 0) {
                if (move.capture) MoveToListEnd(kThem, move.to);
                continue;
            }
        }
        EmptyRow(c.SearchPly + 1);
        EvalResult child;
        int at_once = 0;
        const int child_beta = -n.alpha;
        if (n.depth <= 0 && check == 0 && move.capture &&
            AnswersAtOnce<Us>(move, n.depth - 1, child_beta, c.SearchPly, &at_once)) {
            --c.NodeCountdown;
            MoveToListEnd(kThem, move.to);
            child = {static_cast<std::int16_t>(at_once), 0};
        } else {
            child = SearchChild(move, check, first);
        }
        first = false;
        const int score = -child.score;
        if (score > n.best) Keep(move, child, score);
        // Being mated at once can reach beta without being better than the start value.
        if (score >= n.beta) {
            UpdateKillers(c.SearchPly, n.best_move);
            cut_off = true;
            break;
        }
        n.alpha = std::max(n.alpha, score);
    }
    if (futile) {
        CountOne(c.statistics.analize_cnt, static_cast<std::uint32_t>(picker->PassedOver(cut_off)));
    }
    CreditHistory<Us>(LineTable[static_cast<unsigned>(c.SearchPly)][0], n.depth);
}

template <Side Us>
bool NodeSearch<Us>::SearchMoves() {
    Node& n = node_;
    ThinkController& c = think_controller;
    const std::size_t arena_mark = MoveArena.next_free;
    if (arena_mark + kArenaReserve > kArenaBudget) {
        n.best = n.static_score;
        n.flags = 0;
        return false;
    }
    NodeMoves& moves = node_moves[static_cast<unsigned>(c.SearchPly)];
    CollectCaptures<Us>(&moves);
    const bool captures_only = n.depth <= 0;
    const bool in_check = n.check > 0;
    const auto check_plies = SearchSetting(settings_block.QuiescenceCheckPlies);
    if (captures_only && !in_check && moves.capture_count == 0 && !moves.has_promotion &&
        c.QuiescencePly >= check_plies) {
        return false;
    }
    const Stage* stages = kFullWidthStages;
    if (captures_only) {
        ++c.QuiescencePly;
        stages = in_check                         ? kEvasionStages
                 : c.QuiescencePly <= check_plies ? kCheckingStages
                                                  : kCaptureStages;
    }
    // The node is charged for its whole list, whichever part of it is ever written down.
    MoveArena.next_free +=
        sizeof(MoveList) + sizeof(MoveEntry) * static_cast<std::size_t>(moves.total);
    view_ = ViewKings<Us>(in_check);
    MovePicker<Us> picker(&moves, view_, stages, n.probe.hash_move, c.SearchPly);
    SearchEach(&picker);
    MoveArena.next_free = arena_mark;
    if (n.depth <= 0) --c.QuiescencePly;
    return true;
}

}  // namespace

template <Side Us>
EvalResult Search(int depth, int alpha, int beta, int check) {
    ThinkController& c = think_controller;
    if (--c.NodeCountdown <= 0) PollClock();
    if (PollFlags(FlagAbort | FlagMoveNow)) return {static_cast<std::int16_t>(alpha), 0};
    const int ply = c.SearchPly;
    if (DrawStatus(ply) != NoDraw) return {0, kExact};

    Node node{.depth = depth, .alpha = alpha, .beta = beta, .check = check, .probe = {}};
    if (depth >= 0) {
        Extend(&node, ply);
        if (TableInUse()) {
            node.probe = ProbeTT(node.depth, &node.alpha, &node.beta, ply);
            if (node.probe.answered) return Shaped({node.probe.score, 0});
            node.probed = true;
            node.best_move = node.probe.hash_move;
        }
    }
    const EvalResult evaluated = Evaluate<Us>(node.depth, node.alpha, node.beta, ply);
    if ((evaluated.flags & kExact) || ply >= kMaxSearchPly) return Shaped(evaluated);
    node.static_score = evaluated.score;

    bool finished = false;
    if (node.depth <= 0) {
        if (check <= 0) {
            node.best = node.static_score;
            const int floor = settings_block.Level.depth2;
            if (floor != 0 && node.depth < floor) return Shaped(evaluated);
        }
        // In check too: against a mate that is already found, being mated is enough.
        finished = node.best >= node.beta;
    }
    if (!finished) {
        NodeSearch<Us> search(&node);
        ++c.SearchPly;
        finished = search.TryNullMove();
        const bool searched = !finished && search.SearchMoves();
        --c.SearchPly;
        if (!finished && !searched) return Shaped(node.Result());
        if (searched && node.best == kWorst) {
            if (check > 0) {
                node.best = c.SearchPly - kMateUnits;
            } else if (node.depth > 0) {
                node.best = 0;
            }
        }
    }
    if (node.probed && node.probe.may_store && !PollFlags(FlagAbort | FlagMoveNow)) {
        StoreTT(node.best, node.best_move, node.beta, ply, node.probe);
    }
    return Shaped(node.Result());
}

template EvalResult Search<White>(int, int, int, int);
template EvalResult Search<Black>(int, int, int, int);

EvalResult Search(int depth, int alpha, int beta, int check) {
    return position.SideToMove == White ? Search<White>(depth, alpha, beta, check)
                                        : Search<Black>(depth, alpha, beta, check);
}

}  // namespace torval
