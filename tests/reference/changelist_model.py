#!/usr/bin/env python3
"""A slow, plain model of the comparison of two exports.

The engine keeps its documents flat and indexed, so that a long programme compares in a blink. This
model keeps a tree of objects and does every step the long way round. Both must say the same about
any pair of documents; wherever they differ, one of them is wrong.

    changelist_model.py BASE NEW          the changelist, one sentence a line
    changelist_model.py --log BASE NEW    and what was logged meanwhile
"""

import argparse
import sys
from collections import Counter
from xml.parsers.expat import ExpatError

from wording_rows import ADDITIONS, FALL_BACK, NOTHING, WORDING, Addition, Change
from xmeml_tree import (
    elements_below, filled, id_for_node, id_values, marker_names, name_for_node, name_of,
    next_base_node, next_node, next_sibling_for_node, node_parent_with_name, parent_of, parse,
    path_of, previous_node, same_documents, same_name, string_value, type_of_node, uuid_for_node,
    uuid_history_for_node, uuid_values,
)

IGNORED = "uuid itemhistory link linkclipref trackindex file mediatype".split()
IDENTIFIED = "clip clipitem bin multiclip sequence".split()
BUILT_IN = ["Basic Motion", "Audio Levels", "Drop Shadow", "Motion Blur", "Crop", "Distort",
            "Opacity", "Audio Pan"]
# Containers and bookkeeping that nobody edits.
UNWORDED = """children project video audio media track filter effectid effectcategory effecttype
              masterclipid ismasterclip privatestate outputchannelindex data""".split()


class Comparison:
    """One comparison: `log` and `console` are what it wrote there, `hits` counts what it did."""

    def __init__(self, base, new):
        self.base, self.new = base, new
        self.old_uuids, self.new_uuids = uuid_values(base), uuid_values(new)
        self.old_ids, self.new_ids = id_values(base), id_values(new)
        self.base_markers = marker_names(base)
        self.sentences, self.log, self.console, self.hits = [], [], [], Counter()
        self.last_described = None
        self.n = self.b = None  # where the two walks stand

    def changelist(self):
        if same_documents(self.base, self.new):
            return self.only("No change")
        self.log.append("Getting changelist from XML doc...")
        switch = self.backup_switch()
        if switch:
            return switch
        self.walk()
        self.report_removed_uuids()
        self.report_removed_ids()
        return self.sentences or self.only("No notable changes")

    def only(self, template, *arguments):
        self.hits["alone: " + template] += 1
        return [filled(template, arguments)]

    def add(self, template, *arguments):
        self.hits["walk: " + template] += 1
        self.sentences.append(filled(template, arguments))

    def backup_switch(self):
        new, base = next_node(self.new.children[0]), next_node(self.base.children[0])
        both = name_of(new) == name_of(base)
        if name_of(new) == "sequence" and not (both and uuid_for_node(new) == uuid_for_node(base)):
            return self.only("Backup sequence changed to %@", name_for_node(new))
        return None if both else self.only("Backup type changed to Project")

    # The walk.

    def walk(self):
        self.n, self.b = self.new.children[0], self.base.children[0]
        started = None
        while (self.n, self.b) != started:
            started = (self.n, self.b)
            self.n = next_node(self.n)
            if self.n is None:
                return
            self.b = next_node(self.b)
            self.step()
        self.hits["walk: ended without an end"] += 1

    def step(self):
        if name_of(self.n) is None and name_of(self.b) is None:
            return
        if name_of(self.n) in IGNORED:
            self.skip_subtree()
        elif same_name(self.n, self.b):
            self.same_name_step()
        else:
            self.different_name_step()

    def skip_subtree(self):
        last = previous_node(next_sibling_for_node(self.n))
        if same_name(self.n, self.b):
            self.b = previous_node(next_sibling_for_node(self.b))
        else:
            self.b = next_base_node(self.b, next_node(last))
        self.n = last

    def skip_new_element(self):
        last = previous_node(next_sibling_for_node(self.n))
        self.b = next_base_node(self.b, next_node(last))
        self.n = last

    def pass_ancestor(self, generations):
        """Both walks move past the parent (1) or grandparent (2) of where they stand."""
        self.n = previous_node(next_sibling_for_node(parent_of(self.n, generations)))
        self.b = previous_node(next_sibling_for_node(parent_of(self.b, generations)))

    def advance_one(self):
        self.n, self.b = next_node(self.n), next_node(self.b)

    def never_compared(self):
        parent = name_of(parent_of(self.n))
        return parent == "timecode" or (name_of(self.n) == "angle" and parent == "multiclip")

    def same_name_step(self):
        if len(self.n.children) > 1 or len(self.b.children) > 1:
            return
        value = string_value(self.n)
        if value == string_value(self.b):
            return
        name, parent = self.n.name, name_of(parent_of(self.n))
        if self.never_compared():
            self.skip_subtree()
        elif name == "name" and parent == "effect":
            self.effect_replaced(value)
            self.pass_ancestor(2)
        elif name == "name" and parent == "sequence":
            uuid = uuid_for_node(self.n)
            if uuid is not None and uuid not in self.old_uuids:
                self.add("New sequence added: %@", value)
            self.pass_ancestor(2)
        elif (name, self.last_described) in (("in", "start"), ("out", "end")):
            self.hits["walk: range end left out"] += 1
            self.advance_one()
        else:
            if (name, self.last_described) in (("start", "in"), ("end", "out")):
                self.hits["walk: range end replaced"] += 1
                self.sentences.pop()
            self.describe()
            if name == "name" and parent == "codec":
                self.pass_ancestor(1)
            else:
                self.advance_one()

    def effect_replaced(self, value):
        generator = node_parent_with_name(self.n, "generatoritem")
        if generator:
            self.add("New generator added: %@", name_for_node(generator))
        elif value not in BUILT_IN:
            self.add("New filter added: %@", value)

    def describe(self):
        if self.n.name in UNWORDED:
            self.hits["walk: unworded"] += 1
            return
        change = Change(self.n, self.b, self.old_uuids)
        match = next(each for each in WORDING if each.matches(change))
        self.hits[match] += 1
        if match.template == NOTHING:
            return
        if match.template == FALL_BACK:
            arguments = [change.Element, change.value]
            line = "Unknown change: %@ changed to %@. XPath: %@"
            self.log.append(filled(line, arguments + [path_of(self.n)]))
            sentence = filled(FALL_BACK, arguments)
        else:
            sentence = match.sentence(change)
        if self.sentences and self.sentences[-1] == sentence:
            self.hits["walk: said twice"] += 1
            return
        self.sentences.append(sentence)
        self.last_described = self.n.name

    def different_name_step(self):
        if self.never_compared():
            self.skip_subtree()
            return
        parent, base_parent = parent_of(self.n), parent_of(self.b)
        is_new, code = self.is_new(), self.alignment()
        kind = name_of(self.n)
        if kind in ("multiclip", "clipitem", "generatoritem", "transitionitem"):
            self.report_addition(is_new)
            self.skip_new_element()
        elif kind in ("bin", "marker"):
            unknown = is_new if kind == "bin" else name_for_node(self.n) not in self.base_markers
            self.report_addition(unknown)
            if unknown:
                self.skip_new_element()
        elif kind == "effect":
            self.report_addition(name_for_node(self.n) not in BUILT_IN)
            self.skip_new_element()
        elif kind == "sequence":
            self.report_addition(is_new)
            self.skip_new_element()
            self.realign(code, parent, base_parent)
        else:
            self.realign(code, parent, base_parent)

    def is_new(self):
        item_id = id_for_node(self.n)
        if item_id is not None:
            return item_id not in self.old_ids and item_id in self.new_ids
        if name_of(self.n) not in IDENTIFIED or uuid_for_node(self.n) is None:
            return False
        uuid = uuid_for_node(self.n)
        carried = any(each in self.old_uuids for each in uuid_history_for_node(self.n))
        return uuid not in self.old_uuids and not carried and uuid in self.new_uuids

    def alignment(self):
        if same_name(next_node(self.n), self.b):
            return 0
        if same_name(next_sibling_for_node(parent_of(self.n)), self.b):
            return 1
        if same_name(next_node(self.b), self.n):
            return 2
        if same_name(next_sibling_for_node(parent_of(self.b)), self.n):
            return 3
        return None

    def realign(self, code, parent, base_parent):
        self.hits["walk: %s realigned by %s" % (
            "sequence" if name_of(self.n) == "sequence" else "other", code)] += 1
        if code == 0:
            self.b = previous_node(self.b)
        elif code == 1:
            self.b = previous_node(self.b)
            self.n = previous_node(next_sibling_for_node(parent))
        elif code == 2:
            self.n = previous_node(self.n)
        elif code == 3:
            self.b = previous_node(next_sibling_for_node(base_parent))
            self.n = previous_node(self.n)

    def report_addition(self, is_new):
        if is_new:
            addition = Addition(self.n)
            match = next(each for each in ADDITIONS if each.matches(addition))
            self.hits[match] += 1
            self.sentences.append(match.sentence(addition))

    # After the walk.

    def report_removed_uuids(self):
        for uuid in (each for each in self.old_uuids if each not in self.new_uuids):
            if '"' in uuid:  # cannot be put between quotes
                self.hits["removed: err"] += 1
                self.console.append("err " + uuid)
                continue
            holder = parent_of(self.uuid_with_text(uuid))
            if holder and holder.name != "itemhistory":
                self.hits["removed: %s" % type_of_node(holder)] += 1
                self.sentences.append(filled(
                    "%@ %@ removed", [type_of_node(holder), name_for_node(holder)]))

    def uuid_with_text(self, uuid):
        for each in elements_below(self.base, "uuid"):
            if any(text.name is None and text.text == uuid for text in each.children):
                return each
        return None

    def report_removed_ids(self):
        """An id cannot be looked up by the expression in use, so each only leaves its line."""
        for item_id in (each for each in self.old_ids if each not in self.new_ids):
            self.hits["removed: err2"] += 1
            self.console.append("err2 " + item_id)


def main():
    options = argparse.ArgumentParser(description="Model of the comparison of two XMEML exports.")
    options.add_argument("--log", action="store_true", help="print log and console lines as well")
    options.add_argument("base")
    options.add_argument("new")
    wanted = options.parse_args()
    documents = []
    for path in (wanted.base, wanted.new):
        try:
            with open(path, "rb") as export:
                documents.append(parse(export.read()))
        except (OSError, ValueError, ExpatError) as problem:
            print("%s: %s" % (path, problem), file=sys.stderr)
            return 2
    comparison = Comparison(*documents)
    lines = comparison.changelist()
    if wanted.log:
        lines = lines + ["log: " + line for line in comparison.log]
        lines += ["console: " + line for line in comparison.console]
    sys.stdout.buffer.write("".join(line + "\n" for line in lines).encode())
    return 0


if __name__ == "__main__":
    sys.exit(main())
