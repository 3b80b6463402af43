#!/usr/bin/env python3
"""Fails when the code does not keep to the architecture (see docs/architecture.md):

- a file includes only files of its own folder or of folders below it;
- no library links itself in a circle, also where two folders use each other;
- the comparison engine reaches no file, no log, no clock and no setting;
- only platform/linux includes headers that other systems don't have;
- no two headers define different types of the same name: the linker would take one for both.

    check_layers.py ROOT
"""

import re
import sys
from pathlib import Path

# Each folder with those below it that it may use.
BELOW = {
    "platform": [],
    "support": ["platform"],
    # Records and caches stand on the store's names, the backups on records and caches.
    "changes": ["support", "platform", "store"],
    "store": ["support", "platform", "changes"],
    "fcp": ["support", "platform"],
    "app": ["store", "changes", "fcp", "support", "platform"],
    "ui": ["app", "store", "changes", "fcp", "support", "platform"],
    "tools": ["store", "changes", "fcp", "app", "support", "platform"],
}
ENGINE = ["changes_comparison", "changes_filter"]
IMPURE = ["support_files", "support_log", "support_paths", "support_defaults", "platform_linux"]
LINUX_ONLY = re.compile(r"<(systemd/|linux/|sys/(inotify|epoll|eventfd|signalfd|sendfile|xattr|"
                        r"prctl|memfd|vfs|capability|sysinfo)|uuid/)")
INCLUDE = re.compile(r'^\s*#\s*include\s+(["<][^">]+[">])', re.MULTILINE)
NAMESPACE = re.compile(r"^namespace ([\w:]+) \{", re.MULTILINE)
TYPE = re.compile(r"^(?:class|struct) (\w+)[^;{]*\{", re.MULTILINE)
LIBRARY = re.compile(r"cutstack_library\((\w+)([^)]*)\)")


def sources(root):
    for folder in BELOW:
        yield from ((folder, path) for path in sorted((root / folder).rglob("*"))
                    if path.suffix in (".h", ".cpp"))


def wrong_includes(root):
    for folder, path in sources(root):
        shown = path.relative_to(root)
        for include in INCLUDE.findall(path.read_text(encoding="utf-8")):
            owner = include[1:].split("/")[0]
            if include[0] == '"' and owner not in [folder] + BELOW[folder]:
                yield "%s includes %s, which is not below it" % (shown, include)
            if LINUX_ONLY.match(include) and "platform/linux" not in str(shown):
                yield "%s includes %s, which only Linux has" % (shown, include)
            if include.startswith('"platform/linux/') and folder != "platform":
                yield "%s reaches behind the platform interfaces: %s" % (shown, include)


def types_twice(root):
    owners = {}
    for _, path in sources(root):
        text = path.read_text(encoding="utf-8")
        namespace = NAMESPACE.search(text)
        if path.suffix != ".h" or not namespace:
            continue
        for name in TYPE.findall(text):
            full = "%s::%s" % (namespace.group(1), name)
            shown = path.relative_to(root)
            if owners.setdefault(full, shown) != shown:
                yield "%s and %s both define %s" % (owners[full], shown, full)


def wrong_links(root):
    known = {}
    for folder in BELOW:
        lists = root / folder / "CMakeLists.txt"
        if not lists.exists():
            continue
        for name, arguments in LIBRARY.findall(lists.read_text(encoding="utf-8")):
            known[name] = (folder, arguments.partition("LINKS")[2].split())
    for name, (folder, links) in known.items():
        for link in links:
            if link in known and known[link][0] not in [folder] + BELOW[folder]:
                yield "%s links %s, which is not below it" % (name, link)
        if name in reached_from(links, known):
            yield "%s links itself in a circle" % name


    for name in ENGINE:
        for impure in reached_from([name], known) & set(IMPURE):
            yield "%s reaches %s, but the engine is pure" % (name, impure)


def reached_from(links, known):
    reached, waiting = set(), list(links)
    while waiting:
        link = waiting.pop()
        if link in known and link not in reached:
            reached.add(link)
            waiting += known[link][1]
    return reached


def main():
    root = Path(sys.argv[1])
    faults = [*wrong_includes(root), *types_twice(root), *wrong_links(root)]
    print("\n".join(faults))
    sys.exit(bool(faults))


if __name__ == "__main__":
    main()
