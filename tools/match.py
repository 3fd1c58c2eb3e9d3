#!/usr/bin/env python3
"""Plays two UCI programs against each other and reports whether they kept to the rules.

Each opening is played twice with colours changed. Checked are: the legality of every move (by
`torval moves --json`), one answer for every `go` and none out of turn, the clock, and the exit code.
The exit code is 0 when nothing was wrong, 1 when something was.

    tools/match.py build/release/torval build/release/torval --games 4 --depth 3
    tools/match.py old/torval build/release/torval --games 100 --time 1 --increment 0.01
"""

import argparse
import json
import queue
import subprocess
import sys
import threading
import time

OPENINGS = [
    "e2e4 e7e5", "d2d4 d7d5", "c2c4 e7e5", "g1f3 g8f6", "e2e4 c7c5", "d2d4 g8f6", "e2e4 e7e6",
    "e2e4 c7c6", "d2d4 f7f5", "b2b3 d7d5", "e2e4 d7d5", "f2f4 d7d5", "c2c4 c7c5", "g2g3 e7e5",
    "e2e4 g7g6", "d2d4 e7e6", "b1c3 d7d5", "e2e4 g8f6", "d2d4 d7d6", "e2e4 b8c6",
]
PATIENCE_S = 60


class Fault(Exception):
    """A program broke a rule of the protocol, the game or the clock."""


class Player:
    def __init__(self, path, options):
        self.path = path
        self.process = subprocess.Popen(
            [path, "uci"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self.lines = queue.Queue()
        self.score = ""  # what the last line with a score says from there on
        threading.Thread(target=self._read, daemon=True).start()
        self.send("uci")
        self.until("uciok")
        for option in options:
            name, _, value = option.partition("=")
            self.send(f"setoption name {name} value {value}")
        self.ready()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put((time.monotonic(), line.rstrip("\n")))
        self.lines.put((time.monotonic(), None))

    def send(self, line):
        try:
            self.process.stdin.write(line + "\n")
            self.process.stdin.flush()
        except BrokenPipeError as error:
            raise Fault(f"{self.path} does not read any more") from error

    def until(self, beginning, forbidden=None):
        """The moment and text of the next line that begins so."""
        while True:
            try:
                moment, line = self.lines.get(timeout=PATIENCE_S)
            except queue.Empty:
                raise Fault(f"{self.path} says nothing more") from None
            if line is None:
                raise Fault(f"{self.path} ended, code {self.process.wait()}")
            if forbidden and line.startswith(forbidden):
                raise Fault(f"{self.path} says out of turn: {line}")
            if line.startswith("info string"):
                print(f"    {self.path}: {line}", file=sys.stderr)
            if line.startswith("info") and " score " in line:
                self.score = line.partition(" score ")[2]
            if line.startswith(beginning):
                return moment, line

    def ready(self):
        self.send("isready")
        self.until("readyok", forbidden="bestmove")

    def quit(self):
        self.send("quit")
        try:
            code = self.process.wait(timeout=PATIENCE_S)
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise Fault(f"{self.path} does not quit") from None
        if code != 0:
            raise Fault(f"{self.path} ended with code {code}")


class Referee:
    """Knows the legal moves and when a game is drawn, by asking the program's own commands."""

    def __init__(self, path):
        self.path = path

    def ask(self, command, moves):
        answer = subprocess.run(
            [self.path, command, "--json", "--moves", " ".join(moves)],
            capture_output=True, text=True, check=False)
        if answer.returncode != 0:
            raise Fault(f"referee: {answer.stderr.strip()}")
        return json.loads(answer.stdout)

    def legal(self, moves):
        """Coordinates of the legal moves."""
        return {text_of(code) for code in self.ask("moves", moves)["legal"]}

    def drawn(self, moves):
        return self.ask("state", moves)["draw"] != 0


def text_of(code):
    """Coordinates of a move given as its four bytes in hexadecimal."""
    origin, target, flags = (int(code[i:i + 2], 16) for i in (0, 2, 4))
    text = "".join("abcdefgh"[square & 7] + str((square >> 4 & 7) + 1) for square in (origin, target))
    promoted = flags >> 4 & 7
    return text + (" pnbrqk"[promoted] if promoted else "")


class Clock:
    def __init__(self, seconds, increment):
        self.left_ms = [seconds * 1000.0, seconds * 1000.0]
        self.increment_ms = increment * 1000.0

    def go(self):
        times = f"wtime {int(self.left_ms[0])} btime {int(self.left_ms[1])}"
        return f"go {times} winc {int(self.increment_ms)} binc {int(self.increment_ms)}"

    def charge(self, side, ms):
        before = self.left_ms[side]
        self.left_ms[side] -= ms
        if self.left_ms[side] < 0:
            raise Fault(f"time lost: {ms:.0f} ms taken of {before:.0f}")
        self.left_ms[side] += self.increment_ms


def play(players, referee, opening, arguments):
    """The result of a game: '1-0', '0-1' or '1/2'. players[0] has White."""
    moves = opening.split()
    clock = Clock(arguments.time, arguments.increment) if arguments.time else None
    for player in players:
        player.send("ucinewgame")
        player.ready()
    while len(moves) < arguments.plies:
        side = len(moves) % 2
        player = players[side]
        # The referee's work counts on neither clock.
        legal = referee.legal(moves)
        if legal and referee.drawn(moves):
            return "1/2"
        player.send("position startpos moves " + " ".join(moves))
        player.ready()
        begun = time.monotonic()
        player.send(clock.go() if clock else f"go depth {arguments.depth}")
        moment, line = player.until("bestmove")
        ms = (moment - begun) * 1000
        move = line.split()[1]
        where = f"{player.path} after {' '.join(moves)}"
        if not legal:
            if move != "(none)":
                raise Fault(f"{where}: {line} in a finished game")
            if player.score.startswith("cp"):
                return "1/2"
            return "0-1" if side == 0 else "1-0"
        if move not in legal:
            raise Fault(f"{where}: {line} is not legal")
        if clock:
            try:
                clock.charge(side, ms)
            except Fault as fault:
                raise Fault(f"{where}: {fault}") from None
        moves.append(move)
    return "1/2"


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("first")
    parser.add_argument("second")
    parser.add_argument("--games", type=int, default=2)
    parser.add_argument("--depth", type=int, default=4, help="for each move, without a clock")
    parser.add_argument("--time", type=float, default=0, help="seconds for a game")
    parser.add_argument("--increment", type=float, default=0, help="seconds for each move")
    parser.add_argument("--plies", type=int, default=300, help="a longer game counts as a draw")
    parser.add_argument("--option", action="append", default=[], help="NAME=VALUE, for both")
    parser.add_argument("--referee", help="a torval to ask for legal moves; the second unless given")
    arguments = parser.parse_args()

    referee = Referee(arguments.referee or arguments.second)
    points = [0.0, 0.0]
    faults = 0
    players = []
    try:
        players = [Player(path, arguments.option) for path in (arguments.first, arguments.second)]
        for game in range(arguments.games):
            opening = OPENINGS[game // 2 % len(OPENINGS)]
            colours = players if game % 2 == 0 else players[::-1]
            result = play(colours, referee, opening, arguments)
            white = {"1-0": 1.0, "0-1": 0.0, "1/2": 0.5}[result]
            first = white if game % 2 == 0 else 1 - white
            points = [points[0] + first, points[1] + 1 - first]
            print(f"game {game + 1}: {result}  {points[0]:g} : {points[1]:g}", flush=True)
    except Fault as fault:
        faults += 1
        print(f"fault: {fault}")
    for player in players:
        try:
            player.quit()
        except Fault as fault:
            faults += 1
            print(f"fault: {fault}")
    print(f"{points[0]:g} : {points[1]:g}, faults: {faults}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
