#!/usr/bin/env python3
"""Compares many made pairs of exports with xmemldiff and with the model: both must say the same.

    compare_with_model.py XMEMLDIFF [FIRST [COUNT]]     seeds FIRST, FIRST + 1, ...
    compare_with_model.py XMEMLDIFF BASE NEW            one pair of files

The sentences, the log lines and the identities that the console is told of are compared. Exits
with 1 at the first seeds that differ and says how to see them again.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

from changelist_model import Comparison
from mutate import pair
from xmeml_tree import parse

MOST_DIFFERENCES = 5
ESCAPES = {"\n": "\\n", "\r": "\\r"}


def on_one_line(sentence):
    """A sentence as the tool prints it, with control characters made visible."""
    def escaped(found):
        code = ord(found[0])
        return ESCAPES.get(found[0], ("\\x%02x" if code < 0x80 else "\\u%04x") % code)
    return re.sub("[\x00-\x08\x0a-\x1f\x7f-\x9f\u2028-\u202e\u2066-\u2069]", escaped, sentence)


def said_by_model(base, new):
    comparison = Comparison(parse(base), parse(new))
    sentences = [on_one_line(each) for each in comparison.changelist()]
    console = [each.partition(" ")[::2] for each in comparison.console]
    return sentences, [on_one_line(each) for each in comparison.log], console


def console_line(line):
    """The kind of a console line and the UUID or id that it is about."""
    return re.fullmatch(r'(err2?): .*="(.*)"\]?\[1\]', line, re.DOTALL).groups()


def said_by_tool(xmemldiff, base, new, log):
    run = subprocess.run([xmemldiff, "--log", log, base, new], capture_output=True, check=False)
    if run.returncode not in (0, 1):
        raise SystemExit("xmemldiff failed: " + run.stderr.decode())
    lines = Path(log).read_text(encoding="utf-8", errors="surrogateescape").split("\n")[:-1]
    console = [console_line(each) for each in lines if each.startswith("err")]
    return (run.stdout.decode().split("\n")[:-1],
            [each for each in lines if not each.startswith("err")], console)


def difference(xmemldiff, folder, base, new):
    """What the two say differently about a pair, as lines to print."""
    files = [folder / "base.xml", folder / "new.xml"]
    for file, content in zip(files, (base, new)):
        file.write_bytes(content)
    ours = said_by_tool(xmemldiff, *files, folder / "log")
    model = said_by_model(base, new)
    for what, tool_said, model_said in zip(("sentences", "log", "console"), ours, model):
        if tool_said != model_said:
            for number in range(max(len(tool_said), len(model_said))):
                tool_line, model_line = (
                    side[number] if number < len(side) else None for side in (tool_said, model_said))
                if tool_line != model_line:
                    return [what + ", line %i" % (number + 1), "  tool:  %s" % (tool_line,),
                            "  model: %s" % (model_line,)]
    return []


def pairs(arguments):
    if len(arguments) == 2 and not arguments[0].isdigit():
        yield "the two files", tuple(Path(each).read_bytes() for each in arguments)
        return
    first, count = (int(each) for each in (arguments + ["0", "300"][len(arguments):])[:2])
    for seed in range(first, first + count):
        yield "seed %i" % seed, pair(seed)


def main():
    xmemldiff, *arguments = sys.argv[1:]
    compared = differing = 0
    with tempfile.TemporaryDirectory() as folder:
        for title, (base, new) in pairs(arguments):
            lines = difference(xmemldiff, Path(folder), base, new)
            compared += 1
            differing += bool(lines)
            if lines:
                print("\n".join([title + ": " + lines[0]] + lines[1:]))
            if differing == MOST_DIFFERENCES:
                break
    print("%i pairs compared, %i differ" % (compared, differing))
    sys.exit(differing > 0 or compared == 0)


if __name__ == "__main__":
    main()
