// Playing a move on the working board and taking it back, every derived field kept in step.
//
// Invariant  after any sequence the position equals what RecomputeState would make of the board,
//          except for the order of the piece lists: a captured man comes back at the end of its
//          list. Move order, and so the tree that is searched, depends on that order.
// Errors   none: only moves generated for the position, or read back from its records with their
//          marks cleared, may be passed.
// Thread   the thread that works on the position.
#pragma once

#include "board/generate.h"
#include "board/position.h"

namespace torval {

namespace making {

inline void Save(PlyRecord* record) {
    record->CastleState = position.CastleState;
    record->FiftyCounter = position.FiftyCounter;
    record->MaterialWord = position.MaterialWord;
    record->PositionalSum = position.PositionalSum;
    record->key = position.key;
}

/// Takes a man off its side's list; later men move down one place.
inline void RemoveFromList(Side side, Square square) {
    auto& list = position.PieceList[side];
    const auto last = static_cast<unsigned>(list.count);
    for (unsigned i = position.PieceIndex[square]; i < last; ++i) {
        const Square moved = list.squares[i + 1];
        list.squares[i] = moved;
        position.PieceIndex[moved] = static_cast<std::uint8_t>(i);
    }
    --list.count;
}

inline void AppendToList(Side side, Square square) {
    auto& list = position.PieceList[side];
    const int place = ++list.count;
    list.squares[static_cast<unsigned>(place)] = square;
    position.PieceIndex[square] = static_cast<std::uint8_t>(place);
}

/// The piece that stood on `from` keeps its place in the list.
inline void MoveInList(Side side, Square from, Square to) {
    const std::uint8_t place = position.PieceIndex[from];
    position.PieceIndex[to] = place;
    position.PieceList[side].squares[place] = to;
}

inline void Toggle(Side side, unsigned type, Bitboard squares) {
    position.pieces[side][type] ^= squares;
    position.pieces[side][0] ^= squares;
}

template <Side Us>
void MakePromotion(Move move) {
    const PieceType type = PromotionType(move);
    Toggle(Us, Pawn, Bit(move.from));
    Toggle(Us, type, Bit(move.to));
    position.key ^= PieceKey(Us, Pawn, move.from) ^ PieceKey(Us, type, move.to);
    position.FiftyCounter = 0;
    position.PositionalSum[Us] += PieceSquareTable[Us][type][move.to];
    position.PositionalSum[Us] -= PieceSquareTable[Us][Pawn][move.from];
    position.MaterialWord[Us] += kValueWords[type] - kValueWords[Pawn];
    position.Board[move.to] = CodeOf(Us, type);
    position.Board[move.from] = 0;
    MoveInList(Us, move.from, move.to);
}

/// Puts king and rook on the squares they castle to, or (Back) home again. Lists and board only.
template <Side Us, bool Back>
void MoveCastlingMen(Move move) {
    using Mine = Home<Us>;
    const bool is_short = move.to == Mine::kShortKingTo;
    const Square rook_home = is_short ? Mine::kShortRook : Mine::kLongRook;
    const Square rook_to = is_short ? Mine::kShortRookTo : Mine::kLongRookTo;
    const Square king_from = Back ? move.to : Mine::kKing;
    const Square king_to = Back ? Mine::kKing : move.to;
    const Square rook_from = Back ? rook_to : rook_home;
    const Square rook_dest = Back ? rook_home : rook_to;
    position.Board[king_from] = 0;
    position.Board[rook_from] = 0;
    position.Board[king_to] = CodeOf(Us, King);
    position.Board[rook_dest] = CodeOf(Us, Rook);
    MoveInList(Us, king_from, king_to);
    MoveInList(Us, rook_from, rook_dest);
    Toggle(Us, King, Bit(king_from) | Bit(king_to));
    Toggle(Us, Rook, Bit(rook_from) | Bit(rook_dest));
}

template <Side Us>
void MakeCastling(Move move) {
    using Mine = Home<Us>;
    const bool is_short = move.to == Mine::kShortKingTo;
    const Square rook_from = is_short ? Mine::kShortRook : Mine::kLongRook;
    const Square rook_to = is_short ? Mine::kShortRookTo : Mine::kLongRookTo;
    const auto& table = PieceSquareTable[Us];
    MoveCastlingMen<Us, false>(move);
    position.key ^= PieceKey(Us, King, Mine::kKing) ^ PieceKey(Us, King, move.to) ^
                    PieceKey(Us, Rook, rook_from) ^ PieceKey(Us, Rook, rook_to);
    position.PositionalSum[Us] += table[King][move.to] - table[King][Mine::kKing] +
                                  table[Rook][rook_to] - table[Rook][rook_from];
    position.CastleState |= static_cast<std::uint8_t>(
        Mine::kKingMoved | Mine::kDone | (is_short ? Mine::kShortMoved : Mine::kLongMoved));
}

template <Side Us>
void MakeEnPassant(Move move) {
    constexpr Side kThem = !Us;
    const auto taken = static_cast<Square>(move.to - Home<Us>::kForward);
    Toggle(Us, Pawn, Bit(move.from) | Bit(move.to));
    Toggle(kThem, Pawn, Bit(taken));
    position.key ^=
        PieceKey(Us, Pawn, move.from) ^ PieceKey(Us, Pawn, move.to) ^ PieceKey(kThem, Pawn, taken);
    position.PositionalSum[Us] += PieceSquareTable[Us][Pawn][move.to];
    position.PositionalSum[Us] -= PieceSquareTable[Us][Pawn][move.from];
    position.PositionalSum[kThem] -= PieceSquareTable[kThem][Pawn][taken];
    position.MaterialWord[kThem] -= kValueWords[Pawn];
    position.FiftyCounter = 0;
    position.Board[move.to] = CodeOf(Us, Pawn);
    position.Board[move.from] = 0;
    position.Board[taken] = 0;
    RemoveFromList(kThem, taken);
    MoveInList(Us, move.from, move.to);
}

/// Takes a man off the destination of a capture that is not en passant.
template <Side Them>
inline void Capture(Move move) {
    const PieceType type = TypeOf(move.capture);
    Toggle(Them, type, Bit(move.to));
    position.key ^= PieceKey(Them, type, move.to);
    position.PositionalSum[Them] -= PieceSquareTable[Them][type][move.to];
    position.MaterialWord[Them] -= kValueWords[type];
    position.FiftyCounter = 0;
    RemoveFromList(Them, move.to);
}

/// Everything but the record.
template <Side Us>
inline void Play(Move move) {
    using Mine = Home<Us>;
    const std::uint8_t castle = position.CastleState;
    ++position.FiftyCounter;
    if (move.flags <= King) [[likely]] {
        const unsigned type = move.flags;
        if (move.capture) Capture<!Us>(move);
        if (type == Pawn) position.FiftyCounter = 0;
        position.PositionalSum[Us] +=
            PieceSquareTable[Us][type][move.to] - PieceSquareTable[Us][type][move.from];
        position.key ^= PieceKey(Us, type, move.from) ^ PieceKey(Us, type, move.to);
        Toggle(Us, type, Bit(move.from) | Bit(move.to));
        position.Board[move.to] = position.Board[move.from];
        position.Board[move.from] = 0;
        MoveInList(Us, move.from, move.to);
        // Only the origin counts: a rook captured at home leaves the bit clear.
        if (move.from == Mine::kKing) position.CastleState |= Mine::kKingMoved;
        if (move.from == Mine::kLongRook) position.CastleState |= Mine::kLongMoved;
        if (move.from == Mine::kShortRook) position.CastleState |= Mine::kShortMoved;
    } else if (move.flags & kPromotionBits) {
        if (move.capture) Capture<!Us>(move);
        MakePromotion<Us>(move);
    } else if (move.flags & kCastlingBit) {
        MakeCastling<Us>(move);
    } else {
        MakeEnPassant<Us>(move);
    }
    if (position.CastleState != castle) {
        position.key ^= CastleKeyTable[castle] ^ CastleKeyTable[position.CastleState];
    }
    position.key ^= kSideKey;
    position.SideToMove = !Us;
}

}  // namespace making

/// Makes a move of `Us`, who is to move, and records it.
template <Side Us>
inline void MakeMove(Move move) {
    PlyRecord* const record = ++game_record.top;
    record->move = move;
    making::Save(record);
    making::Play<Us>(move);
}

/// Takes back the last move, which `Us` made.
template <Side Us>
inline void UnmakeMove() {
    constexpr Side kThem = !Us;
    const PlyRecord& record = *game_record.top;
    const Move move = record.move;
    position.MaterialWord = record.MaterialWord;
    position.PositionalSum = record.PositionalSum;
    position.key = record.key;
    position.CastleState = record.CastleState;
    position.FiftyCounter = record.FiftyCounter;
    position.SideToMove = Us;
    if (move.flags <= King) [[likely]] {
        making::Toggle(Us, move.flags, Bit(move.from) | Bit(move.to));
        position.Board[move.from] = position.Board[move.to];
        position.Board[move.to] = move.capture;
        making::MoveInList(Us, move.to, move.from);
    } else if (move.flags & kPromotionBits) {
        making::Toggle(Us, Pawn, Bit(move.from));
        making::Toggle(Us, PromotionType(move), Bit(move.to));
        position.Board[move.from] = CodeOf(Us, Pawn);
        position.Board[move.to] = move.capture;
        making::MoveInList(Us, move.to, move.from);
    } else if (move.flags & kCastlingBit) {
        making::MoveCastlingMen<Us, true>(move);
    } else {
        const auto taken = static_cast<Square>(move.to - Home<Us>::kForward);
        making::Toggle(Us, Pawn, Bit(move.from) | Bit(move.to));
        making::Toggle(kThem, Pawn, Bit(taken));
        position.Board[move.from] = CodeOf(Us, Pawn);
        position.Board[move.to] = 0;
        position.Board[taken] = CodeOf(kThem, Pawn);
        making::MoveInList(Us, move.to, move.from);
        making::AppendToList(kThem, taken);
        if (game_record.top > game_record.PlyStack.data()) --game_record.top;
        return;
    }
    if (move.capture) {
        making::Toggle(kThem, TypeOf(move.capture), Bit(move.to));
        making::AppendToList(kThem, move.to);
    }
    if (game_record.top > game_record.PlyStack.data()) --game_record.top;
}

/// What making and taking back a capture does to the lists: the captured man goes to the end.
inline void MoveToListEnd(Side side, Square square) {
    making::RemoveFromList(side, square);
    making::AppendToList(side, square);
}

void MakeMove(Move move);
void UnmakeMove();

/// Plays the next kept game move again. False when there is none up to the game-end mark.
bool RedoMove();

/// Passes the turn without a record; twice restores the position.
inline void NullMove() {
    position.key ^= kSideKey;
    position.SideToMove ^= 1;
}

}  // namespace torval
