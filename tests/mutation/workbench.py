# SPDX-License-Identifier: MIT
"""Builds a tree without optimisation, and with one of its sources changed; runs its test programs."""

import collections
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import threading
import time

# What a change makes endless must not take the machine along: 6 GiB of memory, 2 GiB to a file, nothing for a crash.
LIMITS = "ulimit -v 6291456; ulimit -f 4194304; ulimit -c 0; "
LINKER = "mold"

Program = collections.namedtuple("Program", "name path folder seconds")
Verdict = collections.namedtuple("Verdict", "word program")

KILLED = "killed"
TIMED_OUT = "timed out"
SURVIVED = "survived"
NOT_COMPILED = "not compiled"


class BrokenBench(Exception):
    """The tree itself does not build, or its tests fail unchanged."""


class Workbench:
    """The build that all workers share. Nothing of it changes behind prepare(); workers write into folders of their
    own."""

    def __init__(self, root, folder):
        self.root = pathlib.Path(root)
        self.folder = pathlib.Path(folder)
        self.build = self.folder / "build"
        self.commands = {}
        self.programs = {}
        self.links = {}
        self.headers = set()
        self.lock = threading.Lock()
        self.environment = dict(
            os.environ,
            QT_QPA_PLATFORM="offscreen",
            LC_ALL="C.UTF-8",
            LD_LIBRARY_PATH=str(self.build / "lib"),
            # A tenth of the random runs tells as much about one small change.
            PLAIT_SEEDS=os.environ.get("PLAIT_SEEDS", "1:30"),
        )

    def prepare(self, rooms, longest):
        """Builds the test programs of the rooms: those that are named, or all."""
        self.configure()
        tests = {room: self.tests_of(room, names) for room, names in rooms.items()}
        run(["ninja", "-C", self.build, *(test["name"] for each in tests.values() for test in each)])
        database = json.loads((self.build / "compile_commands.json").read_text())
        self.commands = {os.path.relpath(entry["file"], self.root): entry for entry in database}
        # What was not built yet had no command to run.
        for room, names in rooms.items():
            self.programs[room] = self.timed_programs(self.tests_of(room, names), longest)

    def configure(self):
        if (self.build / "build.ninja").exists():
            run(["ninja", "-C", self.build, "build.ninja"])
            return
        options = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -g0", "-DPLAIT_WERROR=OFF"]
        if shutil.which("ccache"):
            options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        if shutil.which(LINKER):
            options += [f"-DCMAKE_{kind}_LINKER_FLAGS=-fuse-ld={LINKER}" for kind in ("EXE", "SHARED", "MODULE")]
        run(["cmake", "-S", self.root, "-B", self.build, "-G", "Ninja", *options])

    def tests_of(self, room, names):
        folder = self.build / "tests/unit" / room
        tests = json.loads(run(["ctest", "--test-dir", folder, "--show-only=json-v1"]))["tests"]
        unknown = set(names or ()) - {test["name"] for test in tests}
        if unknown:
            raise BrokenBench(f"there is no test program {', '.join(sorted(unknown))} in tests/unit/{room}")
        return [test for test in tests if not names or test["name"] in names]

    def timed_programs(self, tests, longest):
        """The fastest first; those that take too long unchanged are left out."""
        programs = []
        for test in tests:
            properties = {entry["name"]: entry["value"] for entry in test["properties"]}
            program = Program(test["name"], test["command"][0], properties["WORKING_DIRECTORY"], longest)
            begin = time.monotonic()
            verdict = run_program(program, self.environment, longest)
            if verdict == KILLED:
                raise BrokenBench(f"{program.name} fails before anything is changed")
            if verdict == TIMED_OUT:
                print(f"  {program.name} takes more than {longest} s, and is left out", flush=True)
                continue
            programs.append(program._replace(seconds=time.monotonic() - begin))
        return sorted(programs, key=lambda program: program.seconds)

    def link_of(self, target):
        """The command that links it, as words."""
        if target not in self.links:
            lines = run(["ninja", "-C", self.build, "-t", "commands", target]).splitlines()
            last = next(line for line in reversed(lines) if line.startswith(": && ") and " -o " in line)
            self.links[target] = shlex.split(next(part for part in last.split(" && ") if " -o " in part))
        return list(self.links[target])

    def object_of(self, file):
        words = shlex.split(self.commands[file]["command"])
        return words[words.index("-o") + 1]

    def target_of(self, file):
        return re.search(r"/CMakeFiles/(\w+)\.dir/", self.object_of(file)).group(1)

    def shared_library(self, name):
        found = self.build / "lib" / f"lib{name}.so"
        return found if found.exists() else None

    def programs_reaching(self, file, room):
        """Those into which the file's object is linked; all that load its library, if that is a shared one."""
        if self.shared_library(self.target_of(file)):
            return list(self.programs[room])
        own = defined_names(self.build / self.object_of(file), "TBDR")
        # Hidden names become local ones when a program is linked.
        return [program for program in self.programs[room] if own & defined_names(program.path, "TtBbDdRr")]


    def compiler_words(self, file):
        """The compiler and its options, without input and output."""
        words = shlex.split(self.commands[file]["command"])
        if os.path.basename(words[0]) == "ccache":
            del words[0]
        for option in ("-o", "-c"):
            at = words.index(option)
            del words[at : at + 2]
        return words + ["-w"]

    def precompiled(self, file, text):
        """All that the file includes, read once: most of a compiler's time goes there."""
        header = self.folder / "headers" / (file.replace("/", "_") + ".h")
        with self.lock:
            if header not in self.headers:
                header.parent.mkdir(parents=True, exist_ok=True)
                header.write_text("\n".join(re.findall(r"^#include <.*", text, re.MULTILINE)) + "\n")
                words = [*self.compiler_words(file), "-x", "c++-header", "-o", f"{header}.gch", "-c", header]
                run(words, self.build)
                self.headers.add(header)
        return header


class Worker:
    """One change at a time, in a folder of its own."""

    def __init__(self, bench, number):
        self.bench = bench
        self.folder = bench.folder / f"worker{number}"
        self.temporary = self.folder / "tmp"
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)
        self.environment = dict(bench.environment, TMPDIR=str(self.temporary))

    def judge(self, file, text, programs):
        """What the programs, in that order, make of the file with that text."""
        made = self.compile(file, text)
        if not made:
            return Verdict(NOT_COMPILED, "")
        library = self.bench.target_of(file)
        if self.bench.shared_library(library):
            loaded = self.link_library(library, file, made)
            return self.run_all(programs, lambda program: program.path, {"LD_PRELOAD": loaded})
        return self.run_all(programs, lambda program: self.link_program(program, made), {})

    def compile(self, file, text):
        source = self.folder / file
        source.parent.mkdir(parents=True, exist_ok=True)
        source.write_text(text)
        made = self.folder / "changed.o"
        words = self.bench.compiler_words(file) + ["-include", self.bench.precompiled(file, text)]
        # Places in the source are told as ever.
        words += [f"-fmacro-prefix-map={self.folder}/=", "-o", made, "-c", source]
        return made if succeeds(words, self.bench.build) else None

    def link_library(self, library, file, made):
        words = self.bench.link_of(library)
        words[words.index(self.bench.object_of(file))] = str(made)
        linked = self.folder / "changed.so"
        words[words.index("-o") + 1] = str(linked)
        run(words, self.bench.build)
        return str(linked)

    def link_program(self, program, made):
        """The changed object stands before the archives, so that the unchanged one is not looked for in them."""
        words = self.bench.link_of(program.name)
        at = words.index("-o")
        linked = self.folder / program.name
        words[at : at + 2] = ["-o", str(linked), str(made)]
        run(words, self.bench.build)
        return str(linked)

    def run_all(self, programs, path_of, more_environment):
        environment = dict(self.environment, **more_environment)
        for program in programs:
            shutil.rmtree(self.temporary, ignore_errors=True)
            self.temporary.mkdir()
            try:
                path = path_of(program)
            except subprocess.CalledProcessError:
                return Verdict(NOT_COMPILED, program.name)
            word = run_program(program._replace(path=path), environment, 20 + 6 * program.seconds)
            if word != SURVIVED:
                return Verdict(word, program.name)
        return Verdict(SURVIVED, "")


def run(words, folder=None):
    words = [str(word) for word in words]
    done = subprocess.run(words, cwd=folder, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise subprocess.CalledProcessError(done.returncode, words, done.stdout, done.stderr)
    return done.stdout


def succeeds(words, folder):
    words = [str(word) for word in words]
    return subprocess.run(words, cwd=folder, capture_output=True, check=False).returncode == 0


def defined_names(path, kinds):
    fields = (line.split() for line in run(["nm", "--defined-only", path]).splitlines())
    return {words[2] for words in fields if len(words) == 3 and words[1] in kinds}


def run_program(program, environment, limit):
    """Ends with the first red test: its other tests could tell no more."""
    process = subprocess.Popen(
        ["/bin/sh", "-c", LIMITS + 'exec "$0"', program.path],
        cwd=program.folder,
        env=environment,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        start_new_session=True,
    )
    late = threading.Event()
    timer = threading.Timer(limit, lambda: (late.set(), end_group(process)))
    timer.start()
    red = False
    for line in process.stdout:
        if line.startswith((b"FAIL!", b"XPASS", b"QFATAL")):
            red = True
            break
    end_group(process, only_if=red)
    process.stdout.close()
    process.wait()
    timer.cancel()
    end_group(process)
    if late.is_set():
        return TIMED_OUT
    return KILLED if red or process.returncode != 0 else SURVIVED


def end_group(process, only_if=True):
    """The program and what it started; it leads a session of its own."""
    if not only_if:
        return
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
