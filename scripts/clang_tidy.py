"""Runs clang-tidy on the files of a compilation database (scripts/lint).

    clang_tidy.py BUILD-FOLDER [PATH-REGEX]

All files are checked folder by folder: most of the time goes into the headers that
the files of a folder share. Joined text is checked rather than a file that includes
them, because the static analyzer looks at main files only. Before that each file that is
joined with others is read by itself, which tells what it forgot to include. With
PATH-REGEX (from the project's root) every check reads each matching file by itself.
"""
import bisect
import collections
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

CLANG_TIDY = "clang-tidy-14"
# Joined files do repeat their includes, and one's use of a name hides another's unused using.
BY_ITSELF = ["readability-duplicate-include", "misc-unused-using-decls"]
MOST_JOINED = 16  # so that the last ones do not leave the other processors idle

root = pathlib.Path(os.environ["PWD"])  # as CMake has it, also behind a link


def clang_tidy(database, file, checks):
    """What it finds in `file`, or why it failed; empty if neither."""
    run = subprocess.run([CLANG_TIDY, "-quiet", f"--checks={checks}", "-p", database, file],
                         capture_output=True, text=True)
    # It also counts the warnings there that it has left out.
    errors = re.sub(r"(?m)^\d+ (warning|error).* generated\.\n", "", run.stderr)
    if run.returncode:
        return run.stdout or errors or f"{file}: {CLANG_TIDY} ended with {run.returncode}\n"
    return errors


def top_folder(command):
    return pathlib.Path(command["file"]).relative_to(root).parts[0]


def unit_of(command):
    """Equal for files that may be joined: of one target and folder, with the same macros."""
    words = shlex.split(command["command"])
    macros = tuple(word for word in words if word.startswith("-D"))
    alone = command["file"] if top_folder(command) == "feature" else ""  # each has its log tag
    return os.path.dirname(words[words.index("-o") + 1]), macros, alone


class JoinedFile:
    """Sources of one target and folder as one text that keeps their order."""

    def __init__(self, path, commands):
        self.path, self.sources, self.first_lines = path, [c["file"] for c in commands], []
        text = ""
        for source in self.sources:
            self.first_lines.append(text.count("\n") + 1)
            text += pathlib.Path(source).read_text() + "\n"
        path.write_text(text)
        self.command = dict(commands[0], file=str(path))
        self.command["command"] = commands[0]["command"].replace(commands[0]["file"], str(path))

    def in_sources(self, findings):
        """The findings with the sources' own lines."""
        def place(match):
            line = int(match[1])
            source = bisect.bisect_right(self.first_lines, line) - 1
            return f"{self.sources[source]}:{line - self.first_lines[source] + 1}:"
        return re.sub(rf"{re.escape(str(self.path))}:(\d+):", place, findings)


def join_by_folder(commands, folder):
    """Writes the joined files, each below its sources' configuration, and a database of
    them and of `commands`."""
    shutil.rmtree(folder, ignore_errors=True)
    groups = collections.defaultdict(list)
    for command in commands:
        groups[unit_of(command)].append(command)
    joined = []
    for group in groups.values():
        top = top_folder(group[0])
        (folder / top).mkdir(parents=True, exist_ok=True)
        if (root / top / ".clang-tidy").exists():
            shutil.copy(root / top / ".clang-tidy", folder / top)
        for first in range(0, len(group), MOST_JOINED):
            path = folder / top / f"joined-{len(joined)}.cpp"
            joined.append(JoinedFile(path, group[first:first + MOST_JOINED]))
    database = [j.command for j in joined] + commands
    (folder / "compile_commands.json").write_text(json.dumps(database))
    return joined


def check_joined(pool, commands, folder):
    """Findings, in the order of their files."""
    joined = join_by_folder(commands, folder)
    joined.sort(key=lambda j: len(j.sources), reverse=True)
    by_itself = ",".join(["-*", *BY_ITSELF])
    not_joined = ",".join(f"-{check}" for check in BY_ITSELF)
    several = sorted({source for j in joined for source in j.sources if len(j.sources) > 1})
    found = list(pool.map(lambda file: clang_tidy(folder, file, by_itself), several))
    found += pool.map(lambda j: j.in_sources(clang_tidy(
        folder, j.path, not_joined if len(j.sources) > 1 else "")), joined)
    return found


def main():
    build = root / sys.argv[1]
    wanted = re.compile(f"{re.escape(str(root))}/(?:{sys.argv[2] if len(sys.argv) > 2 else ''})")
    commands = [c for c in json.loads((build / "compile_commands.json").read_text())
                if wanted.match(c["file"])]
    if not commands:
        sys.exit(f"lint: no compiled file of {wanted.pattern}")
    # A source of several targets once for each locking, which alone selects code.
    commands = list({(c["file"], "-DORVO_HARDENED_LOCKING" in c["command"]): c
                     for c in commands}.values())
    files = sorted({c["file"] for c in commands})
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        if len(sys.argv) > 2:
            found = list(pool.map(lambda file: clang_tidy(build, file, ""), files))
        else:
            found = check_joined(pool, commands, build / "joined")
    print("".join(found), end="")
    print(f"lint: {len(files)} files, {'FINDINGS' if any(found) else 'no finding'}")
    sys.exit(any(found))


main()
