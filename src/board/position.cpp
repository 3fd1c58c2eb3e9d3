#include "board/position.h"

#include <cstring>

#include "state/flags.h"

namespace torval {

Position position;
std::array<std::array<std::array<std::int8_t, 128>, 8>, 2> PieceSquareTable;
GameRecord game_record;
CommittedState committed;
std::atomic<std::uint8_t> GameSide = White;
std::atomic<std::uint16_t> GamePly = 0;

namespace {

constexpr int kRows = 8;
constexpr int kSnapshotColumn = 8;

constexpr std::array<PieceType, 8> kBackRank = {
    Rook, Knight, Bishop, Queen, King, Bishop, Knight, Rook};

/// A castling right: while `bit` is clear, `code` must stand on the square with this index.
struct HomeMan {
    std::uint8_t bit;
    std::uint8_t index;
    PieceCode code;
};
constexpr HomeMan kHomeMen[] = {
    {CastleA1Moved, 0, CodeOf(White, Rook)},
    {CastleE1Moved, 4, CodeOf(White, King)},
    {CastleH1Moved, 7, CodeOf(White, Rook)},
    {CastleA8Moved, 56, CodeOf(Black, Rook)},
    {CastleE8Moved, 60, CodeOf(Black, King)},
    {CastleH8Moved, 63, CodeOf(Black, Rook)},
};

/// The full code for a host's byte, whose low five bits count; 0 when it is no piece.
PieceCode FullCode(std::uint8_t byte) {
    const int low = byte & 31;
    const int type = low & 7;
    if (type < Pawn || type > King) return 0;
    const int colour = low & kColourBits;
    if (colour != kWhiteBit && colour != kBlackBit) return 0;
    return CodeOf(colour == kWhiteBit ? White : Black, type);
}

void ClearState() {
    const std::uint8_t castle = position.CastleState;
    const std::uint8_t side = position.SideToMove;
    const std::uint8_t fifty = position.FiftyCounter;
    const std::uint8_t phase = position.GamePhase;
    const auto board = position.Board;
    position = {};
    position.Board = board;
    position.CastleState = castle;
    position.SideToMove = side;
    position.FiftyCounter = fifty;
    position.GamePhase = phase;
}

}  // namespace

void SetGameBits(unsigned game_bit) {
    ClearFlags((FlagHostToMove | FlagEngineToMove) & ~game_bit);
    if (game_bit != 0) SetFlag(static_cast<EngineFlag>(game_bit));
    // The game's side to move, not that of a line that a search is in the middle of.
    const auto side = static_cast<std::uint8_t>(
        game_bit == FlagEngineToMove ? committed.SideToMove ^ 1 : committed.SideToMove);
    GameSide.store(side, std::memory_order_relaxed);
}

void ClearGameRecord() {
    game_record.PlyStack[0] = {};
    game_record.top = game_record.game_end = game_record.PlyStack.data();
    game_record.start = {};
    game_record.start_from_host = false;
}

void SetInitialPosition() {
    position = {};
    for (unsigned file = 0; file < 8; ++file) {
        position.Board[0x00 + file] = CodeOf(White, kBackRank[file]);
        position.Board[0x10 + file] = CodeOf(White, Pawn);
        position.Board[0x60 + file] = CodeOf(Black, Pawn);
        position.Board[0x70 + file] = CodeOf(Black, kBackRank[file]);
    }
    GameSide.store(White, std::memory_order_relaxed);
    GamePly.store(1, std::memory_order_relaxed);
    CommitSnapshot();
    RecomputeState();
}

Status ValidatePosition(CHSBRD* board) {
    std::array<int, 2> kings{};
    std::array<int, 2> men{};
    for (std::uint8_t& byte : board->board) {
        if (byte == 0) continue;
        const PieceCode code = FullCode(byte);
        if (code == 0) return StatusBadPosition;
        byte = code;
        ++men[SideOf(code)];
        if (TypeOf(code) == King) ++kings[SideOf(code)];
    }
    for (const Side side : {White, Black}) {
        if (kings[side] != 1 || men[side] > kListCapacity) return StatusBadPosition;
    }
    for (const HomeMan& man : kHomeMen) {
        if (!(board->castle & man.bit) && board->board[man.index] != man.code) {
            return StatusBadPosition;
        }
    }
    if (board->color > Black) return StatusBadPosition;
    return StatusOk;
}

Status LoadPosition(const CHSBRD& board) {
    CHSBRD checked = board;
    if (const Status status = ValidatePosition(&checked); status != StatusOk) return status;
    ClearGameRecord();
    game_record.start = board;
    game_record.start_from_host = true;
    position = {};
    for (int index = 0; index < 64; ++index) {
        position.Board[SquareAt(index)] = checked.board[index];
    }
    position.SideToMove = checked.color;
    position.CastleState = checked.castle;
    GameSide.store(checked.color, std::memory_order_relaxed);
    GamePly.store(checked.color == Black ? 2 : 1, std::memory_order_relaxed);
    CommitSnapshot();
    RecomputeState();
    return StatusOk;
}

void StorePosition(CHSBRD* board) {
    *board = {};
    for (int index = 0; index < 64; ++index) {
        board->board[index] = position.Board[SquareAt(index) + kSnapshotColumn];
    }
    board->castle = committed.CastleState;
    board->fifty_moves = committed.FiftyCounter;
    board->color = committed.SideToMove;
    board->ply_no = static_cast<std::uint16_t>(GamePly.load(std::memory_order_relaxed) - 1);
}

void RecomputeState() {
    ClearState();
    for (int index = 0; index < 64; ++index) {
        const Square square = SquareAt(index);
        const PieceCode code = position.Board[square];
        if (code == 0) continue;
        const Side side = SideOf(code);
        const PieceType type = TypeOf(code);
        auto& list = position.PieceList[side];
        const int place = type == King ? 0 : ++list.count;
        list.squares[static_cast<unsigned>(place)] = square;
        position.PieceIndex[square] = static_cast<std::uint8_t>(place);
        position.pieces[side][type] |= Bit(square);
        position.pieces[side][0] |= Bit(square);
        position.MaterialWord[side] += kValueWords[type];
        position.PositionalSum[side] += PieceSquareTable[side][type][square];
        position.key ^= PieceKey(side, type, square);
    }
    position.key ^= CastleKeyTable[position.CastleState];
    if (position.SideToMove == Black) position.key ^= kSideKey;
    StoreGamePositionKey();
}

void CommitSnapshot() {
    for (int row = 0; row < kRows; ++row) {
        PieceCode* const squares = position.Board.data() + 16 * row;
        std::memcpy(squares + kSnapshotColumn, squares, kSnapshotColumn);
    }
    committed = {position.CastleState, position.FiftyCounter, position.SideToMove};
}

void StoreGamePositionKey() {
    position.GamePositionKey = position.key;
    if (SecondaryKey(position.key) == 0) position.GamePositionKey |= HashKey{1} << 32;
}

bool PositionIsSound() {
    std::array<std::array<Bitboard, 8>, 2> pieces{};
    std::array<std::uint32_t, 2> material{};
    std::array<std::int32_t, 2> positional{};
    HashKey key = CastleKeyTable[position.CastleState];
    if (position.SideToMove == Black) key ^= kSideKey;
    std::array<int, 2> men{};
    for (int index = 0; index < 64; ++index) {
        const Square square = SquareAt(index);
        const PieceCode code = position.Board[square];
        if (code == 0) continue;
        const Side side = SideOf(code);
        const PieceType type = TypeOf(code);
        const unsigned place = position.PieceIndex[square];
        ++men[side];
        if ((type == King) != (place == 0)) return false;
        if (static_cast<int>(place) > position.PieceList[side].count) return false;
        if (position.PieceList[side].squares[place] != square) return false;
        pieces[side][type] |= Bit(square);
        pieces[side][0] |= Bit(square);
        material[side] += kValueWords[type];
        positional[side] += PieceSquareTable[side][type][square];
        key ^= PieceKey(side, type, square);
    }
    for (const Side side : {White, Black}) {
        if (men[side] != position.PieceList[side].count + 1) return false;
    }
    return pieces == position.pieces && material == position.MaterialWord &&
           positional == position.PositionalSum && key == position.key;
}

}  // namespace torval
