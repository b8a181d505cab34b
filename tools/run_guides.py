#!/usr/bin/env python3
"""Does what the guides say, as a new user would: each page in an empty folder, against an installed library.

    tools/run_guides.py [PAGE...]      pages of docs/guides, by name, or README; all of them without one

What a page says is taken from its Markdown, and from nowhere else:

  **name.cpp** above a block    the block is the file of this name
  a block of `sh`               is run in the page's folder, or in the source tree below `<!-- in the source tree -->`;
                                what it exports stays for the next one; below `<!-- run by ./dev ci -->` its lines
                                are only looked for among what that runs
  a block of `text` below that  is what it writes, to the last character

The first page, start-here.md, installs the library and has the CMakeLists.txt; the other pages begin with that file
beside them and with what its commands have exported. The README's reader is in the clone, which is a folder of links
here. The user's home is made up; in what is written it is /home/you.
A page without a program and a command whose output it shows is an error.
"""

import concurrent.futures
import contextlib
import dataclasses
import os
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

FIRST = "start-here"
SHARED = "CMakeLists.txt"
README = "README"
IN_TREE = "in the source tree"
BY_CI = "run by ./dev ci"
LIMIT_S = 300
# In the source tree it may have to build the library.
LIMIT_IN_TREE_S = 1200
# What a guide shows is without a warning.
FLAGS = "-Wall -Wextra -Wpedantic -Wconversion -Werror"

BLOCK = re.compile(
    r"(?:^(?:\*\*(?P<file>\S+)\*\*|<!-- (?P<where>[^>]+) -->)\n\n?)?^```(?P<kind>\S*)\n(?P<body>.*?)^```$", re.M | re.S)

FUNCTION = re.compile(r"^(?P<name>\w+)\(\) \{(?P<body>[^\n]*\}$|\n.*?^\}$)", re.M | re.S)


@dataclasses.dataclass
class Command:
    line: int
    script: str
    in_tree: bool
    output: str | None = None


@dataclasses.dataclass
class Page:
    name: str
    files: dict
    commands: list
    run_by_ci: list


def read_page(name, text):
    """\\return (the page, what is wrong with it)"""
    page, wrong = Page(name, {}, [], []), []
    end_of_command = None
    for block in BLOCK.finditer(text):
        line = text.count("\n", 0, block.start("body"))
        if block["file"]:
            page.files[block["file"]] = block["body"]
        elif block["kind"] == "sh" and block["where"] == BY_CI:
            page.run_by_ci += [(line, command.split("#")[0].strip()) for command in block["body"].splitlines()]
        elif block["kind"] == "sh":
            page.commands.append(Command(line, block["body"], block["where"] == IN_TREE))
            end_of_command = block.end()
            continue
        elif block["kind"] == "text" and end_of_command is not None and not text[end_of_command:block.start()].strip():
            page.commands[-1].output = block["body"]
        elif not block["where"]:
            wrong.append(f"{name}.md:{line}: neither a file, nor a command, nor what one writes")
        end_of_command = None
    if not any(file.endswith(".cpp") for file in page.files):
        wrong.append(f"{name}.md: has no program")
    if not any(command.output for command in page.commands):
        wrong.append(f"{name}.md: has no command whose output it shows")
    return page, wrong


def read_terminal(arguments, folder, environment, limit_s):
    """Runs a program on a terminal, as a user does, so that what it writes comes in the order in which it writes it.

    \\return its exit status, what it wrote; no status when it takes too long
    """
    ours, theirs = os.openpty()
    with subprocess.Popen(arguments, cwd=folder, env=environment, stdin=subprocess.DEVNULL, stdout=theirs,
                          stderr=theirs, start_new_session=True) as child:
        os.close(theirs)
        # Whatever it has left running goes with it, so that the reading below ends.
        watchdog = threading.Timer(limit_s, os.killpg, (child.pid, signal.SIGKILL))
        watchdog.start()
        written = b""
        with contextlib.suppress(OSError):  # what Linux answers when nobody has the terminal any more
            while piece := os.read(ours, 65536):
                written += piece
        child.wait()
        timely = watchdog.is_alive()
        watchdog.cancel()
    os.close(ours)
    return child.returncode if timely else None, written.replace(b"\r\n", b"\n").decode("utf-8", "backslashreplace")


def run_command(command, folder, tree, environment, scratch):
    """Runs it, and takes over what it exports. \\return what is wrong with it, or None"""
    exported = scratch / "exported"
    script = f"trap 'env -0 >{exported}' EXIT\nset -e\n{command.script}"
    where, limit_s = (tree, LIMIT_IN_TREE_S) if command.in_tree else (folder, LIMIT_S)
    status, written = read_terminal(["sh", "-c", script], where, environment, limit_s)
    written = written.replace(environment["HOME"], "/home/you")
    if status is None:
        return f"takes more than {limit_s} s, and writes\n{written}"
    if status != 0:
        return f"ends with {status}, and writes\n{written}"
    if command.output is not None and written != command.output:
        return f"writes\n{written}and not\n{command.output}"
    values = exported.read_bytes().decode("utf-8", "surrogateescape").split("\0")
    environment.clear()
    environment.update(value.split("=", 1) for value in values if value)
    return None


def run_page(page, tree, shared, environment, scratch):
    """\\return what is wrong with it, the seconds that it took, what it exports"""
    folder = scratch / page.name / "folder"
    environment = dict(environment)
    begun = time.monotonic()
    if page.name == README:
        link_clone(tree, folder)
        shared = {}
    for name, body in {**shared, **page.files}.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(body, encoding="utf-8")
    for command in page.commands:
        if wrong := run_command(command, folder, tree, environment, folder.parent):
            return f"{page.name}.md:{command.line}: {wrong}", time.monotonic() - begun, environment
    return None, time.monotonic() - begun, environment


def clean_environment(home):
    """A new user's: nothing of the caller's but where programs are, and what makes compilers quicker."""
    kept = {name: value for name, value in os.environ.items()
            if name in ("PATH", "USER", "LOGNAME", "CMAKE_CXX_COMPILER_LAUNCHER") or name.startswith("CCACHE_")}
    kept.setdefault("CCACHE_DIR", str(Path.home() / ".cache" / "ccache"))
    return {**kept, "HOME": str(home), "LANG": "C.UTF-8", "CMAKE_BUILD_PARALLEL_LEVEL": "2"}


def check_names(pages):
    """A reader may have all programs in one folder."""
    owners, wrong = {}, []
    for page in pages:
        for name in page.files:
            if owners.setdefault(name, page.name) != page.name:
                wrong.append(f"{page.name}.md: {owners[name]}.md has a file {name} too")
    return wrong


def functions_of(script):
    """\\return the functions of a shell script, by name; each ends with a brace in the first column or on its own line"""
    return {function["name"]: function["body"] for function in FUNCTION.finditer(script)}


def run_by_ci(script):
    """\\return the text of all that the steps of ./dev ci reach: its functions, and other commands of ./dev"""
    functions = functions_of(re.sub(r"(?<!\S)#.*", "", script))
    reached, ahead = {}, re.findall(r"^ *step .*$", functions.get("command_ci", ""), re.M)
    texts = list(ahead)
    while ahead:
        text = ahead.pop()
        words = set(re.findall(r"[\w-]+", text)) | {f"command_{name}" for name in re.findall(r"\./dev (\w+)", text)}
        found = {name: functions[name] for name in words & functions.keys() - reached.keys()}
        reached.update(found)
        ahead += found.values()
        texts += found.values()
    return "\n".join(texts)


def check_commands_of_ci(page, script):
    script = run_by_ci(script)
    return [f"{page.name}.md:{line}: {command} is not run by ./dev ci" for line, command in page.run_by_ci
            if not re.search(rf"(?<!\S){re.escape(command)}(?![\w-])", script)]


def link_clone(tree, folder):
    """Of a clone its folders: what the page writes beside them is written elsewhere."""
    folder.mkdir(parents=True)
    for entry in filter(Path.is_dir, tree.iterdir()):
        (folder / entry.name).symlink_to(entry)


def run(tree, names):
    """\\return what is wrong, a line for each page that was run"""
    paths = sorted((tree / "docs" / "guides").glob("*.md")) + [tree / f"{README}.md"]
    read = [read_page(path.stem, path.read_text(encoding="utf-8")) for path in paths]
    pages = {page.name: page for page, _ in read}
    wrong = [line for _, lines in read for line in lines] + check_names(pages.values())
    wrong += check_commands_of_ci(pages[README], (tree / "dev").read_text(encoding="utf-8"))
    wrong += [f"there is no page {name}" for name in [FIRST, *names] if name not in pages]
    if wrong:
        return wrong, []
    with tempfile.TemporaryDirectory() as scratch_name:
        scratch = Path(scratch_name)
        home = scratch / "home"
        home.mkdir()
        first = pages[FIRST]
        finding, seconds, environment = run_page(first, tree, {}, clean_environment(home), scratch)
        told = [f"{FIRST}: {seconds:.1f} s"]
        if finding:
            return [finding], told
        shared = {SHARED: first.files[SHARED]}
        others = [page for page in pages.values() if page is not first and (not names or page.name in names)]

        def run_apart(page):
            apart = scratch / page.name / "home"
            apart.mkdir(parents=True)
            return run_page(page, tree, shared, {**environment, "HOME": str(apart), "CXXFLAGS": FLAGS}, scratch)

        with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count()) as workers:
            for page, (finding, seconds, _) in zip(others, workers.map(run_apart, others)):
                told.append(f"{page.name}: {seconds:.1f} s")
                wrong += [finding] if finding else []
    return wrong, told


def main(arguments):
    wrong, told = run(Path(__file__).resolve().parent.parent, [Path(name).stem for name in arguments])
    print("\n".join(told + wrong))
    if not wrong:
        print(f"run_guides: {len(told)} pages do what they say")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
