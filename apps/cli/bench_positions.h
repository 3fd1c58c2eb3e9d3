// The positions of `torval bench`: what is searched, and from where leaves are counted.
//
// Shape    FEN without counters. Openings, middlegames, endgames with and without pieces or pawns,
//          forced mates, promotions, castling and en passant; each side to move in about half.
// Range    changing anything here changes the search signature.
#pragma once

#include <array>

namespace torval {

inline constexpr auto kBenchPositions = std::to_array<const char*>({
    // Openings.
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -",
    "r1bqk2r/1pp1bppp/p1p2n2/4p3/4P3/3P1N2/PPP2PPP/RNBQ1RK1 b kq -",
    "rnbqk2r/ppp2pp1/4pn1p/3p4/1bPP1B2/2N1P3/PP3PPP/2RQKBNR b Kkq -",
    "rn1qkb1r/pp1bpp1p/3p1np1/8/3NP3/2N2P2/PPP3PP/R1BQKB1R w KQkq -",
    "r1bq1rk1/ppp1ppbp/2np1np1/8/2PPP3/2NB1N2/PP3PPP/R1BQK2R w KQ -",
    "rnb1k1nr/pp3ppp/1q2p3/3pP3/1b1P4/8/PP1B1PPP/RN1QKBNR w KQkq -",
    "rnb1kb1r/ppp2ppp/8/3q4/4p3/5NP1/PP1PPP1P/R1BQKB1R w KQkq -",
    "rn1qkb1r/pp2pppp/2p2nb1/8/3P4/2P2NN1/PP3PPP/R1BQKB1R b KQkq -",
    "r1b1kbnr/pppp1p1p/2n5/8/2BPPppq/8/PPP3PP/RNBQ1KNR b kq -",
    "r1bq1rk1/1ppp1ppp/p1n1pn2/8/1bPP4/2NBPN2/PP1B1PPP/R2QK2R b KQ -",
    // Middlegames.
    "r2r2k1/1pp1bppp/p1pq1n2/4p3/4P1b1/P1NPBN2/1PP1QPPP/R4RK1 b - -",
    "r2r3k/2p1bppp/ppp1qnb1/4p3/4P3/P1NPBN1P/1PP1QPP1/1R1R1K2 w - -",
    "r1bqnrk1/pp2npp1/2p4p/3p4/1Q1P1B2/2PBPP2/P3N1PP/2R2RK1 w - -",
    "r2qr1k1/pp2npp1/2pB1n1p/8/1QPPP1b1/3B2N1/P5PP/2R2RK1 b - -",
    "r2qkb1r/pp2pp2/2b2Ppp/3p4/2B5/2N1BP2/PPP3PP/R2QK2R b KQkq -",
    "r2q1rk1/ppp2pbp/4bnp1/4p3/1PP1P3/2NBB3/P4PPP/R2Q1RK1 b - b3",
    "r2rq1k1/1pp2pbp/4b1p1/pP2p3/P1P1P1n1/2N1B3/2Q1BPPP/R4RK1 w - -",
    "2rq1rk1/pp1b1ppp/2n1p3/3pPn2/N2P4/P4N2/1P1QBPPP/3R1RK1 w - -",
    "2r3k1/pprbqppp/4p3/n2pPn2/3P4/PPN2N2/1Q2BPPP/R1R3K1 b - -",
    "rn2k3/p4pp1/1ppbp1p1/8/3P1Pnq/1QPB4/PP4PN/R1B1K2R w KQq -",
    "r4rk1/pp1bn1pp/1q1p1n2/5pB1/2PPp3/6P1/P1QNPPBP/3R1RK1 w - -",
    "1rb1k2r/p3qp1p/2p4n/3p4/3P4/4NN2/PPP1Q2P/4RKR1 b k -",
    "r3r1k1/1ppq1ppp/3b1nn1/pP1p4/P2P4/4PN2/2QBNPPP/R4RK1 b - -",
    "r3r2k/1pp2ppp/3b2n1/pP1p2q1/P2P4/2B1P3/1Q2NPPP/3R1RK1 w - -",
    "r3k2r/pp1bqppp/2n1pn2/2bp4/8/2NBPN2/PP1BQPPP/R3K2R w KQkq -",
    "rnbqk2r/ppp2pp1/3n3p/3p4/3P1B2/2PBPP2/P5PP/2RQK1NR b Kkq -",
    "r3r1k1/3qnpp1/1ppB3p/p3P2b/2PP4/Q2B4/P5PP/2R2RK1 w - -",
    "r3r1k1/1pp1qppp/p1nb1n2/3p4/3P4/PPNQPN2/3B1PPP/R4RK1 w - -",
    "1r3rk1/ppqb2pp/2np1n2/5pB1/2PP4/5PP1/PQ1N2BP/1R2R1K1 b - -",
    "2r2qk1/pprbnpp1/4p2p/n2pP3/P2P4/1PNB1N2/1Q3PPP/R1R3K1 w - -",
    "r2r3k/4bppp/1ppq1nb1/p1p1p3/4P3/P1NPBN1P/1PPQ1PP1/R2R1K2 b - -",
    "1R3bk1/B2r1n1p/2p1bpp1/p3p3/PqP1P3/2N4P/2Q1BPP1/6K1 b - -",
    "r3k2r/pp1bnppp/2n1p3/3pP3/1q1P4/2N2N2/PP1QBPPP/R3K2R b KQkq -",
    "r3r2k/1p3ppp/1Pp5/p2p2q1/P2Pn3/2B1P1P1/1Q3PP1/1R2R1K1 b - -",
    "r4qk1/6bp/1Bp1bppn/p3p3/P1P1P3/2N4P/4BPP1/R1Q3K1 w - -",
    "4r1k1/1p3ppp/rnpq4/p2p4/P2P4/1RB1P1P1/5PP1/R2Q2K1 w - -",
    // Endgames with pieces.
    "3r2k1/5ppp/1pp3b1/p3R3/2P3P1/P2N3P/1PP2P2/5K2 w - -",
    "1r3k2/5pp1/1p1R2p1/p1p5/P1P3PP/1PP5/5P2/6K1 b - -",
    "2r3kn/4r1p1/4P2p/p3B3/8/8/P5PP/4RR1K w - -",
    "4r3/3b1k2/7p/1p6/2pB1p2/2P2P2/P1P2K1P/4R3 b - -",
    "8/q2r2kp/2Rn2p1/p2Npp2/P3P1B1/7P/2Q2bP1/5K2 w - -",
    "6k1/1p3pp1/pPn1p2p/3pP3/b2P1PP1/8/3R3P/3rNK2 w - -",
    "8/3k1pp1/1pp1b2p/4n2P/5NP1/1P2PP2/2B1K3/8 b - -",
    "8/4R3/5pk1/p2r2pp/1p6/1P3PPK/P6P/8 b - -",
    "8/5pk1/6p1/3Q3p/7P/q5P1/5PK1/8 w - -",
    "1K1k4/1P6/8/8/8/8/r7/2R5 w - -",
    // Pawn endings.
    "8/8/p1p1pk1p/3p4/3P3P/2P5/PP2K3/8 w - -",
    "8/p4p2/1p4p1/3k4/3P3p/1P3K1P/P4PP1/8 b - -",
    "8/1p3k2/p4p2/P1P2Pp1/1P4P1/5K2/8/8 w - -",
    "8/2k5/8/2pP4/2P2p2/5K2/8/8 b - -",
    "8/8/8/1k1pP1K1/8/8/1P6/8 w - d6",
    // Without pawns.
    "8/8/3k4/8/8/8/8/R3K3 w Q -",
    "8/8/4k3/8/8/2BBK3/8/8 w - -",
    "8/5k2/8/2q5/8/3R4/4K3/8 b - -",
    "3k4/8/8/3r4/8/4BN2/4K3/8 w - -",
    // Forced mates.
    "6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - -",
    "6k1/3q3p/3R1Q2/p7/P7/7P/6P1/5K2 b - -",
    "r5rk/5p1p/5R2/4B3/8/8/7P/7K w - -",
    "4r1k1/2R2ppp/2Q5/2Bp1q2/2nP4/4P1P1/5PPK/8 b - -",
    // Promotions.
    "2r1r3/1P1P2kp/8/8/8/8/p2p2PP/1N4K1 w - -",
    "8/1PPk4/8/8/8/8/4Kpp1/8 b - -",
    "4r3/2r1Pn1k/5R1p/p5p1/8/B7/P5PP/5R1K b - -",
});

struct PerftPosition {
    const char* fen;
    int depth;
};

inline constexpr auto kPerftPositions = std::to_array<PerftPosition>({
    {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 5},
    {"r3k2r/pp1bqppp/2n1pn2/2bp4/8/2NBPN2/PP1BQPPP/R3K2R w KQkq -", 4},
    {"2r1r3/1P1P2kp/8/8/8/8/p2p2PP/1N4K1 w - -", 4},
    {"8/4R3/5pk1/p2r2pp/1p6/1P3PPK/P6P/8 b - -", 5},
});

}  // namespace torval
