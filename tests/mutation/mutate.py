#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Changes the sources of a room one small place at a time, and tells which changes its tests do not notice."""

import argparse
import collections
import concurrent.futures
import hashlib
import json
import pathlib
import queue
import random
import subprocess
import sys
import threading

import checks
import mutants
import workbench

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDER = ROOT / "build/mutate"
SOURCES = "inet/qt/download"
ROOMS = ("records", "response", "sources", "downloadswww", "framework")
USUAL_ROOMS = ROOMS[:4]
COUNTED = (workbench.KILLED, workbench.TIMED_OUT, workbench.SURVIVED)


def parse_arguments():
    parser = argparse.ArgumentParser(prog="./dev mutate", description=__doc__)
    parser.add_argument("what", nargs="*", metavar="ROOM|FILE|checks", help=f"rooms are {', '.join(ROOMS)}")
    parser.add_argument("--sample", type=int, metavar="N", help="only N changes of each room, chosen by the seed")
    parser.add_argument("--seed", type=int, default=1, help="1 without it")
    parser.add_argument("--lines", metavar="FROM-TO", help="only changes of these lines")
    parser.add_argument("--resume", action="store_true", help="do not judge again what was judged and has not changed")
    parser.add_argument("-j", "--jobs", type=int, default=2, metavar="N", help="so many changes at once (2)")
    parser.add_argument("--longest", type=int, default=60, metavar="SECONDS", help="leave out slower programs (60)")
    parser.add_argument("--programs", metavar="NAME,…", help="run these test programs and no others")
    parser.add_argument("--list", action="store_true", help="name the changes and judge none")
    return parser.parse_args()


def room_of(file):
    """The folder of tests that belongs to a source."""
    folder = pathlib.Path(file).parts
    return "host" if folder[0] == "host" else folder[3]


def sources_of(word):
    if word in ROOMS:
        return [str(path.relative_to(ROOT)) for path in sorted((ROOT / SOURCES / word).glob("*.cpp"))]
    path = pathlib.Path(word)
    path = path if path.is_absolute() else pathlib.Path.cwd() / path
    if not path.is_file() or path.suffix != ".cpp":
        sys.exit(f'mutate: "{word}" is neither a room nor a source; rooms are {", ".join(ROOMS)}')
    return [str(path.resolve().relative_to(ROOT))]


def chosen(arguments):
    """What is to be judged, room by room."""
    rooms = collections.defaultdict(list)
    for word in arguments.what or USUAL_ROOMS:
        for file in sources_of(word):
            rooms[room_of(file)] += mutants.mutants_of(file, (ROOT / file).read_text())
    for room, made in rooms.items():
        if arguments.lines:
            first, _, last = arguments.lines.partition("-")
            made = [mutant for mutant in made if int(first) <= mutant.line <= int(last or first)]
        if arguments.sample and arguments.sample < len(made):
            made = sorted(random.Random(arguments.seed).sample(made, arguments.sample), key=lambda m: (m.file, m.start))
        rooms[room] = made
    return dict(rooms)


class Results:
    """What was found so far, a line each; a later run may begin where this one ended."""

    def __init__(self, path):
        self.path = path
        self.known = {}
        if path.exists():
            for line in path.read_text().splitlines():
                entry = json.loads(line)
                self.known[entry["key"]] = entry
        self.lock = threading.Lock()

    @staticmethod
    def key(mutant, text):
        content = hashlib.sha1(text.encode()).hexdigest()[:12]
        return f"{mutant.file} {content} {mutant.start} {mutant.end} {mutant.kind} {mutant.after[:200]}"

    def add(self, key, mutant, verdict):
        entry = {
            "key": key,
            "place": mutant.place(),
            "words": mutant.words(),
            "verdict": verdict.word,
            "by": verdict.program,
        }
        with self.lock, self.path.open("a") as file:
            file.write(json.dumps(entry, ensure_ascii=False) + "\n")


class Run:
    def __init__(self, bench, jobs):
        self.bench = bench
        self.jobs = jobs
        self.results = Results(bench.folder / "results.jsonl")
        self.workers = queue.Queue()
        for number in range(jobs):
            self.workers.put(workbench.Worker(bench, number))
        self.kills = collections.Counter()
        self.reach = {}
        self.named = {check.what: check.programs for check in checks.CHECKS}
        self.lock = threading.Lock()
        self.done = 0

    def programs_for(self, mutant, room):
        """What has noticed most in that file comes first, then the fastest. A check names its own."""
        file = mutant.file
        with self.lock:
            if file not in self.reach:
                self.reach[file] = self.bench.programs_reaching(file, room)
            names = self.named.get(mutant.kind)
            reaching = [program for program in self.reach[file] if not names or program.name in names]
            return sorted(reaching, key=lambda p: (-self.kills[file, p.name], p.seconds))

    def judge(self, mutant, room, text):
        worker = self.workers.get()
        try:
            verdict = worker.judge(mutant.file, mutant.applied(text), self.programs_for(mutant, room))
        finally:
            self.workers.put(worker)
        with self.lock:
            self.kills[mutant.file, verdict.program] += 1
        return verdict

    def judge_all(self, made, room, resume):
        texts = {file: (ROOT / file).read_text() for file in {mutant.file for mutant in made}}
        verdicts = {}

        def work(mutant):
            key = Results.key(mutant, texts[mutant.file])
            known = self.results.known.get(key) if resume else None
            if known:
                return workbench.Verdict(known["verdict"], known["by"])
            verdict = self.judge(mutant, room, texts[mutant.file])
            self.results.add(key, mutant, verdict)
            self.tell(mutant, verdict, len(made))
            return verdict

        self.done = 0
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            for mutant, verdict in zip(made, pool.map(work, made)):
                verdicts[mutant] = verdict
        return verdicts

    def tell(self, mutant, verdict, total):
        with self.lock:
            self.done += 1
            by = f" by {verdict.program}" if verdict.program else ""
            print(f"{self.done}/{total} {mutant.place()}: {mutant.words()}: {verdict.word}{by}", flush=True)


def report(found):
    """The share of each room, and the survivors."""
    survivors = []
    lines = []
    for room, verdicts in found.items():
        words = collections.Counter(verdict.word for verdict in verdicts.values())
        counted = sum(words[word] for word in COUNTED)
        killed = counted - words[workbench.SURVIVED]
        share = f"{100 * killed / counted:.1f} %" if counted else "nothing to judge"
        lines.append(
            f"{room}: {share} ({killed} of {counted} killed, {words[workbench.TIMED_OUT]} of them by time;"
            f" {words[workbench.NOT_COMPILED]} did not compile)"
        )
        survivors += [mutant for mutant, verdict in verdicts.items() if verdict.word == workbench.SURVIVED]
    print("\nsurvivors:" if survivors else "\nno survivors")
    for mutant in survivors:
        print(f"  {mutant.place()}: {mutant.words()}")
    print("\n" + "\n".join(lines))


def changed_checks():
    """The checks that keep data right, each as the change that takes it out."""
    rooms = collections.defaultdict(list)
    for check in checks.CHECKS:
        text = (ROOT / check.file).read_text()
        if text.count(check.before) != 1:
            sys.exit(f"mutate: checks.py is out of date: {check.file} has this not once: {check.before}")
        start = text.index(check.before)
        line = text.count("\n", 0, start) + 1
        end = start + len(check.before)
        rooms[check.room or room_of(check.file)].append(
            mutants.Mutant(check.file, start, end, line, check.what, check.before, check.after)
        )
    return dict(rooms)


def programs_of_checks(made):
    programs = {check.what: check.programs for check in checks.CHECKS}
    return sorted({name for mutant in made for name in programs[mutant.kind]})


def main():
    arguments = parse_arguments()
    only_checks = arguments.what == ["checks"]
    rooms = changed_checks() if only_checks else chosen(arguments)
    named = arguments.programs.split(",") if arguments.programs else None
    programs = {room: programs_of_checks(made) if only_checks else named for room, made in rooms.items()}
    if arguments.list:
        for made in rooms.values():
            for mutant in made:
                print(f"{mutant.place()}: {mutant.words()}")
        return 0
    bench = workbench.Workbench(ROOT, FOLDER)
    print(f"building, without optimisation, what tests {', '.join(rooms)}…", flush=True)
    try:
        bench.prepare(programs, arguments.longest)
    except workbench.BrokenBench as broken:
        sys.exit(f"mutate: {broken}")
    except subprocess.CalledProcessError as failure:
        sys.exit(f"mutate: the tree does not build:\n{failure.stdout[-4000:]}{failure.stderr[-4000:]}")
    run = Run(bench, arguments.jobs)
    found = {room: run.judge_all(made, room, arguments.resume) for room, made in rooms.items()}
    report(found)
    noticed = (workbench.KILLED, workbench.TIMED_OUT)
    all_noticed = all(verdict.word in noticed for verdicts in found.values() for verdict in verdicts.values())
    return 1 if only_checks and not all_noticed else 0


if __name__ == "__main__":
    sys.exit(main())
