#include "board/generate.h"

#include "board/attack.h"

namespace torval {

MoveArenaBuffer MoveArena;

namespace {

/// Lays entries down behind a list's header and links them in front of their chain.
class Writer {
public:
    explicit Writer(std::size_t header)
        : next_(reinterpret_cast<MoveEntry*>(MoveArena.bytes.data() + header + sizeof(MoveList))),
          link_(static_cast<Link>((header + sizeof(MoveList)) / 4)) {}

    void Quiet(Square from, Square to, std::uint8_t flags) {
        Put({from, to, flags, 0}, &quiet_head_);
    }
    void Capture(Square from, Square to, std::uint8_t flags, PieceCode captured) {
        Put({from, to, flags, captured}, &capture_head_);
        ++captures_;
    }
    /// Knight, bishop, rook, queen, so that the chain reads queen first.
    void Promotions(Square from, Square to, PieceCode captured) {
        for (int type = Knight; type <= Queen; ++type) {
            const auto flags = static_cast<std::uint8_t>(type << 4 | Pawn);
            if (captured) {
                Capture(from, to, flags, captured);
            } else {
                Quiet(from, to, flags);
            }
        }
        promotion_ = 1;
    }
    void Finish(MoveList* list) const {
        const auto bytes = reinterpret_cast<const std::byte*>(next_) - MoveArena.bytes.data();
        *list = {};
        list->PromotionFlag = promotion_;
        list->count = static_cast<std::int32_t>(next_ - reinterpret_cast<MoveEntry*>(list + 1));
        list->capture_count = captures_;
        list->quiet_head = quiet_head_;
        list->capture_head = capture_head_;
        MoveArena.next_free = static_cast<std::size_t>(bytes);
    }

private:
    void Put(Move move, Link* head) {
        next_->next = *head;
        next_->move = move;
        *head = link_;
        ++next_;
        link_ += sizeof(MoveEntry) / 4;
    }

    MoveEntry* next_;
    Link link_;
    Link quiet_head_ = kNoLink;
    Link capture_head_ = kNoLink;
    std::uint8_t captures_ = 0;
    std::uint8_t promotion_ = 0;
};

template <Side Us>
void GenerateEnPassant(Writer& out) {
    const Square taken = DoubleStepSquare<Us>();
    if (!OnBoard(taken)) return;
    for (const int side_step : {1, -1}) {
        const auto from = static_cast<Square>(taken + side_step);
        if (!OnBoard(from) || position.Board[from] != CodeOf(Us, Pawn)) continue;
        out.Capture(from,
                    static_cast<Square>(taken + Home<Us>::kForward),
                    kEnPassantFlags,
                    CodeOf(!Us, Pawn));
    }
}

template <Side Us>
void GeneratePawn(Writer& out, Square from) {
    const auto& board = position.Board;
    const int ahead = from + Home<Us>::kForward;
    if (!OnBoard(ahead)) return;
    const auto to = static_cast<Square>(ahead);
    const bool promotes = RankOf(to) == Home<Us>::kLastRank;
    if (board[to] == 0) {
        if (promotes) {
            out.Promotions(from, to, 0);
        } else {
            out.Quiet(from, to, Pawn);
            const auto beyond = static_cast<Square>(to + Home<Us>::kForward);
            if (RankOf(to) == Home<Us>::kDoubleStepRank && board[beyond] == 0) {
                out.Quiet(from, beyond, Pawn);
            }
        }
    }
    for (const int step : Home<Us>::kPawnCaptures) {
        const auto target = static_cast<Square>(from + step);
        if (!OnBoard(target) || !(board[target] & ColourBit(!Us))) continue;
        if (promotes) {
            out.Promotions(from, target, board[target]);
        } else {
            out.Capture(from, target, Pawn, board[target]);
        }
    }
}

template <Side Us>
void GeneratePiece(Writer& out, Square from, PieceType type) {
    const auto& board = position.Board;
    const bool slides = type == Bishop || type == Rook || type == Queen;
    for (const std::int8_t* step = DirectionTable[type].data(); *step != 0; ++step) {
        auto to = static_cast<Square>(from + *step);
        while (OnBoard(to)) {
            const PieceCode code = board[to];
            if (code & ColourBit(Us)) break;
            if (code != 0) {
                out.Capture(from, to, type, code);
                break;
            }
            out.Quiet(from, to, type);
            if (!slides) break;
            to = static_cast<Square>(to + *step);
        }
    }
}

template <Side Us>
void Generate(Writer& out) {
    using Mine = Home<Us>;
    if (CanCastleShort<Us>()) out.Quiet(Mine::kKing, Mine::kShortKingTo, kCastlingFlags);
    if (CanCastleLong<Us>()) out.Quiet(Mine::kKing, Mine::kLongKingTo, kCastlingFlags);
    GenerateEnPassant<Us>(out);
    const auto& list = position.PieceList[Us];
    for (unsigned i = 0; i <= static_cast<unsigned>(list.count); ++i) {
        const Square from = list.squares[i];
        const PieceType type = TypeOf(position.Board[from]);
        if (type == Pawn) {
            GeneratePawn<Us>(out, from);
        } else {
            GeneratePiece<Us>(out, from, type);
        }
    }
}

}  // namespace

template <Side Us>
bool CanCastleShort() {
    using Mine = Home<Us>;
    const auto& board = position.Board;
    return !(position.CastleState & (Mine::kKingMoved | Mine::kShortMoved)) &&
           board[Mine::kShortRook] == CodeOf(Us, Rook) && board[Mine::kShortRookTo] == 0 &&
           board[Mine::kShortKingTo] == 0 && !IsAttacked<!Us>(Mine::kKing) &&
           !IsAttacked<!Us>(Mine::kShortRookTo) && !IsAttacked<!Us>(Mine::kShortKingTo);
}

template <Side Us>
bool CanCastleLong() {
    using Mine = Home<Us>;
    const auto& board = position.Board;
    return !(position.CastleState & (Mine::kKingMoved | Mine::kLongMoved)) &&
           board[Mine::kLongRook] == CodeOf(Us, Rook) && board[Mine::kLongRook + 1] == 0 &&
           board[Mine::kLongKingTo] == 0 && board[Mine::kLongRookTo] == 0 &&
           !IsAttacked<!Us>(Mine::kKing) && !IsAttacked<!Us>(Mine::kLongKingTo) &&
           !IsAttacked<!Us>(Mine::kLongRookTo);
}

template bool CanCastleShort<White>();
template bool CanCastleShort<Black>();
template bool CanCastleLong<White>();
template bool CanCastleLong<Black>();

MoveList& GenerateMoves() {
    const std::size_t header = MoveArena.next_free;
    Writer out(header);
    if (position.SideToMove == White) {
        Generate<White>(out);
    } else {
        Generate<Black>(out);
    }
    MoveList& list = MoveArena.ListAt(header);
    out.Finish(&list);
    return list;
}

void ReleaseMoves(const MoveList& list) {
    MoveArena.next_free = static_cast<std::size_t>(reinterpret_cast<const std::byte*>(&list) -
                                                   MoveArena.bytes.data());
}

void ClearMoveArena() {
    MoveArena.bytes.fill(std::byte{0});
    MoveArena.next_free = 0;
}

void MarkAmbiguity(const MoveList& legal, MoveEntry* entry) {
    Move& move = entry->move;
    const int type = move.flags & 7;
    if (type != Knight && type != Rook && type != Queen) return;
    for (MoveEntry* other = EntryAt(legal.quiet_head); other; other = NextEntry(*other)) {
        if (other == entry || (other->move.flags & 7) != type) continue;
        if ((other->move.to ^ move.to) & kSquareBits) continue;
        const bool same_file = ((other->move.from ^ move.from) & 7) == 0;
        move.from |= same_file ? kRankNeeded : kFileNeeded;
        return;
    }
}

std::strong_ordering CompareMoves(Move a, Move b) {
    const auto key = [](Move move) {
        return (move.from & kSquareBits) << 16 | (move.to & kSquareBits) << 8 |
               (move.flags & kPromotionBits);
    };
    return key(a) <=> key(b);
}

}  // namespace torval
