#!/usr/bin/env python3
# Plays terminal sessions against the program, and compares its output with the text in the file.
#
#     run.py [--update] PROGRAM FILE...
#
# A FILE is a text, or a Markdown page whose ```console blocks (or <!-- console --> comments) count:
#
#     $ command        run by the shell in a folder of the file's own, which is $HOME there; lines up
#                      to the word after << belong to it; data/ leads to tests/data
#     > line           typed to the program that runs ("torval> line" is the same)
#     anything else    what is answered: standard output, then the lines of standard error. Those begin
#                      with "torval: ", any other is shown behind "2> ". While lines are typed the two
#                      come as a terminal mixes them.
#     ... [N]          at the end of its last line: the exit code, when it is not 0
#     # text           a remark, which ends what is answered; blank lines before it or a prompt are free
#
#     ...              any number of lines; "... line": any up to this one; "start ...": those that
#                      begin so
#     {word}           any word, {...} any text: what differs from run to run; {move} a move as e7e8q
#     \line            a line that would otherwise be read as one of these
#
# The folder's name reads /home/me in answers. A typed line is sent when what was expected before it has
# come. --update writes what is answered into the files; lines with {word} that still fit are kept.
import os
import re
import select
import subprocess
import sys
import tempfile

PATIENCE_S = 60  # far longer than any step; only a fault takes this long
HOME = "/home/me"
TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TYPED = re.compile(r"(torval)?> ?")
SYNTAX = re.compile(r"\$ |(torval)?> |#|\.\.\.( |$)|\\")


def line_fits(expected, line):
    parts = re.split(r"(\{[a-z_]+\}|\{\.\.\.\})", expected.removeprefix("\\"))
    wild = {"{...}": ".*", "{move}": "[a-h][1-8][a-h][1-8][nbrq]?"}
    pattern = (wild.get(p, r"\S+") if i % 2 else re.escape(p) for i, p in enumerate(parts))
    return re.fullmatch("".join(pattern), line.removeprefix("\\"))


def with_code(answer, code):
    return [*answer[:-1], " ".join([*answer[-1:], f"[{code}]"])] if code else answer


class Step:
    """A prompt's line with the answer expected to it, lines[begin:end] of the file."""

    def __init__(self, text, typed, begin):
        self.text, self.typed, self.begin, self.end = text, typed, begin, begin
        self.expected = []

    def places(self, answer):
        """Where in what is expected one can be after these lines; at its end all of it has come."""
        def with_skips(place):
            yield place
            while place < len(self.expected) and re.search(r"^\.\.\.$| \.\.\.$", self.expected[place]):
                place += 1
                yield place

        places = set(with_skips(0))
        for line in answer:
            after = set()
            for place in places - {len(self.expected)}:
                expected = self.expected[place]
                start = expected.removesuffix("...")
                if expected.startswith("... ") or (start != expected and line.startswith(start)):
                    after |= set(with_skips(place))
                if start == expected and line_fits(expected.removeprefix("... "), line):
                    after |= set(with_skips(place + 1))
            places = after
        return places

    def fits(self, answer):
        return len(self.expected) in self.places(answer)

    def shown(self, answer):
        """The answer as --update writes it."""
        kept = [e for e in self.expected if re.search(r"\{[a-z_.]+\}", e)]
        return [next((e for e in kept if line_fits(e, a)), a) for a in answer]


def read_steps(lines, markdown):
    steps, inside, ended, word = [], not markdown, False, None
    for at, line in enumerate(lines):
        if markdown and line in ("```console", "<!-- console"):
            inside, ended = True, True
        elif markdown and line in ("```", "-->"):
            inside = False
        elif not inside:
            continue
        elif word:
            steps[-1].text += "\n" + line
            steps[-1].begin = steps[-1].end = at + 1
            word = None if line == word else word
        elif line.startswith("$ ") or TYPED.match(line):
            typed = not line.startswith("$ ")
            steps.append(Step(TYPED.sub("", line, 1) if typed else line[2:], typed, at + 1))
            ended = False
            heredoc = None if typed else re.search(r"<<-?'?(\w+)", line)
            word = heredoc and heredoc[1]
        elif line.startswith("#"):
            ended = True
        elif not ended and line:
            steps[-1].end = at + 1
    for step in steps:
        step.expected = lines[step.begin : step.end]
    return steps


class Player:
    def __init__(self, program, folder, update):
        self.folder, self.update = folder, update
        keep = {k: v for k, v in os.environ.items() if k.endswith("SAN_OPTIONS")}
        path = os.path.dirname(os.path.abspath(program)) + ":" + os.environ["PATH"]
        self.env = keep | {"PATH": path, "HOME": folder, "LC_ALL": "C.UTF-8"}
        os.symlink(os.path.join(TESTS, "data"), os.path.join(folder, "data"))

    def lines(self, data, start="torval: "):
        """What is written of these bytes; a line that begins so must not be taken for an error's."""
        if not data:
            return []
        text = data.decode(errors="backslashreplace").replace(self.folder, HOME).rstrip("\n")
        return [("\\" + x if SYNTAX.match(x) or x.startswith(start) else x) for x in text.split("\n")]

    def run(self, command):
        done = subprocess.run(["sh", "-c", command], cwd=self.folder, env=self.env, timeout=PATIENCE_S,
                              stdin=subprocess.DEVNULL, capture_output=True, check=False)
        errors = [e if e.startswith("torval: ") else "2> " + e for e in self.lines(done.stderr, "2> ")]
        return with_code(self.lines(done.stdout) + errors, done.returncode)

    def talk(self, command, typed):
        """Yields each typed step with its answer; the last one has all up to the end."""
        child = subprocess.Popen(["sh", "-c", "exec " + command], cwd=self.folder, env=self.env,
                                 stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        waiting = b""

        def read(patience):
            nonlocal waiting
            if not select.select([child.stdout], [], [], patience)[0]:
                return False
            more = os.read(child.stdout.fileno(), 65536)
            waiting += more
            return bool(more)

        try:
            for step in typed:
                if step.typed:
                    try:
                        os.write(child.stdin.fileno(), step.text.encode() + b"\n")
                    except BrokenPipeError:
                        pass  # it has ended; what is missing in its answer tells
                answer = []
                if step is typed[-1]:
                    child.stdin.close()
                    while read(PATIENCE_S):
                        pass
                    answer = self.lines(waiting, "2> ")
                    code = child.wait(PATIENCE_S)
                    yield step, with_code(answer, code)
                    return
                while not (step.fits(answer) and (step.expected or not self.update)) and (
                        self.update or step.places(answer)):
                    if b"\n" not in waiting and not read(1 if self.update else PATIENCE_S):
                        break
                    if b"\n" in waiting:
                        line, waiting = waiting.split(b"\n", 1)
                        answer += self.lines(line + b"\n", "2> ")
                yield step, answer
        finally:
            child.kill()
            child.wait()


def play(program, name, update):
    """Plays one file; the number of answers that differ."""
    with open(name, encoding="utf-8") as file:
        lines = file.read().split("\n")
    steps = read_steps(lines, name.endswith(".md"))
    changes = []
    with tempfile.TemporaryDirectory(prefix="torval-") as folder:
        player = Player(program, folder, update)
        at = 0
        while at < len(steps):
            end = at + 1
            while end < len(steps) and steps[end].typed:
                end += 1
            session = steps[at:end]
            if end > at + 1:
                answers = player.talk(steps[at].text, session)
            else:
                answers = [(steps[at], player.run(steps[at].text))]
            for step, answer in answers:
                if not step.fits(answer):
                    changes.append((step, step.shown(answer)))
                    if not update:
                        break  # what follows in the same session would differ for this reason
            at = end
    for step, answer in changes if not update else ():
        print(f"{name}:{step.begin}: {step.text}", *("  expected: " + e for e in step.expected),
              *("  answered: " + a for a in answer), sep="\n")
    if update:
        for step, answer in reversed(changes):
            lines[step.begin : step.end] = answer
        with open(name, "w", encoding="utf-8") as file:
            file.write("\n".join(lines))
    if not steps:
        print(f"{name}: there is no session in it")
    return len(changes) if steps else 1


def main():
    words = sys.argv[1:]
    update = "--update" in words
    program, *names = (w for w in words if w != "--update")
    changed = sum(play(program, name, update) for name in names)
    return 1 if changed and not update else 0


sys.exit(main())
