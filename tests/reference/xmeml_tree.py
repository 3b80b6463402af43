"""Export documents as trees of objects, and what can be asked of their elements.

A missing node is None, and every way onward from None leads to None again. Two names are equal
only when both are there. Numbers are 32-bit and wrap.
"""

import re
from xml.parsers import expat

# ---- Documents ----------------------------------------------------------------------------------


class Node:
    """An element, a text (no name), or the document itself (no name, no parent)."""

    def __init__(self, name=None, attributes=None, text=""):
        self.name = name
        self.attributes = attributes or {}
        self.text = text
        self.parent = None
        self.children = []
        self.position = 0  # among the children of its parent

    def append(self, child):
        child.parent = self
        child.position = len(self.children)
        self.children.append(child)


class TreeBuilder:
    """Builds the tree from parser events; comments and instructions do not part a text."""

    def __init__(self):
        self.document = Node()
        self.open = self.document
        self.pending = ""

    def flush(self):
        if self.pending.strip(" \t\r\n"):
            self.open.append(Node(text=self.pending))
        self.pending = ""

    def start(self, name, attributes):
        self.flush()
        element = Node(name, attributes)
        self.open.append(element)
        self.open = element

    def end(self, _name):
        self.flush()
        self.open = self.open.parent

    def characters(self, data):
        self.pending += data


def refuse_entity(name, *_):
    raise ValueError("the entity %s is not allowed" % name)


def parse(data):
    """The document node of the bytes of one export."""
    builder = TreeBuilder()
    parser = expat.ParserCreate()
    parser.buffer_text = True
    parser.StartElementHandler = builder.start
    parser.EndElementHandler = builder.end
    parser.CharacterDataHandler = builder.characters
    parser.EntityDeclHandler = refuse_entity
    parser.SkippedEntityHandler = refuse_entity
    parser.Parse(data, True)
    return builder.document

# ---- Ways through a document --------------------------------------------------------------------


def name_of(node):
    return node.name if node else None


def same_name(one, other):
    return name_of(one) is not None and name_of(one) == name_of(other)


def parent_of(node, times=1):
    for _ in range(times):
        node = node.parent if node else None
    return node


def own_sibling(node, distance):
    if node is None or node.parent is None:
        return None
    place = node.position + distance
    siblings = node.parent.children
    return siblings[place] if 0 <= place < len(siblings) else None


def next_sibling_for_node(node):
    """The first node after the whole of this one: its sibling, or that of an ancestor."""
    while node:
        sibling = own_sibling(node, 1)
        if sibling:
            return sibling
        node = node.parent
    return None


def next_node(node):
    if node and node.children:
        return node.children[0]
    return next_sibling_for_node(node)


def previous_node(node):
    sibling = own_sibling(node, -1)
    if sibling is None:
        return parent_of(node)
    while sibling.children:
        sibling = sibling.children[-1]
    return sibling


def below(node):
    """Every node under this one, in document order."""
    end = next_sibling_for_node(node)
    current = next_node(node)
    while current is not end:
        yield current
        current = next_node(current)


def elements_below(node, name):
    return [each for each in below(node) if each.name == name]


def first_below(node, name):
    return next((each for each in below(node) if each.name == name), None)


def child(node, *names):
    """The first child of the first name, of that the first child of the second, and so on."""
    for name in names:
        children = node.children if node else []
        node = next((each for each in children if each.name == name), None)
    return node


def string_value(node):
    if node is None:
        return None
    return node.text + "".join(each.text for each in below(node))


def path_of(node):
    """The way from the root with the place among the siblings of the same name."""
    path = ""
    while name_of(node):
        siblings = [each for each in node.parent.children if each.name == node.name]
        path = "/%s[%i]%s" % (node.name, siblings.index(node) + 1, path)
        node = node.parent
    return path


def path_has(node, name):
    return "/%s[" % name in path_of(node)


def same_documents(one, other):
    while one and other:
        same = (one.name == other.name and one.attributes == other.attributes
                and one.text == other.text and len(one.children) == len(other.children))
        if not same:
            return False
        one, other = next_node(one), next_node(other)
    return one is None and other is None

# ---- Numbers and texts --------------------------------------------------------------------------

INT_MIN, INT_MAX = -2**31, 2**31 - 1


def wrap(number):
    return (number - INT_MIN) % 2**32 + INT_MIN


def divide(number, by):
    quotient = abs(number) // abs(by)
    return wrap(quotient if (number < 0) == (by < 0) else -quotient)


def remainder(number, by):
    return wrap(number - divide(number, by) * by)


def integer_value(text):
    match = re.match(r"[ \t\r\n]*([+-]?)0*([0-9]+)", text)
    if match is None:
        return 0
    number = int(match[2][:11])  # eleven digits are beyond the range already
    return max(INT_MIN, -number) if match[1] == "-" else min(INT_MAX, number)


def integer_of(node, otherwise):
    return integer_value(string_value(node)) if node else otherwise


def unescaped(text):
    """Percent escapes replaced: all of them, or, where one cannot be, none."""
    if text is None or not text.isascii() or re.search("%(?![0-9A-Fa-f]{2})", text):
        return text
    plain = re.sub("%(..)", lambda escape: chr(int(escape[1], 16)), text)
    return plain if plain.isascii() else text


def last_path_component(path):
    if not path:
        return path
    return path.rstrip("/").rpartition("/")[2] or "/"


def capitalize_first_letter(text):
    return text[:1].upper() + text[1:] if text else text


def filled(template, arguments):
    """The template with its placeholders filled in order; a missing argument shows as nothing."""
    pieces = re.split("%@|%i", template)
    assert len(pieces) == len(arguments) + 1, template
    shown = ["" if each is None else str(each) for each in arguments]
    return "".join(piece + value for piece, value in zip(pieces, shown + [""]))

# ---- What an element is -------------------------------------------------------------------------


def type_of_node(node):
    word = (name_of(node) or "").replace("clipitem", "clip")
    return word[:1].upper() + word[1:].lower()


def name_for_node(node):
    if node is None:
        return None
    name = child(node, "name") or first_below(node, "name")
    return unescaped(string_value(name) if name else node.attributes.get("id"))


def id_for_node(node):
    for holder in (node, child(node, "file")):
        if holder and "id" in holder.attributes:
            return unescaped(holder.attributes["id"])
    return None


def uuid_for_node(node):
    return unescaped(string_value(child(node, "uuid") or first_below(node, "uuid")))


def uuid_history_for_node(node):
    uuids = [child(node, "itemhistory", "uuid")]
    if uuids == [None]:
        histories = elements_below(node, "itemhistory")
        firsts = [each for each in histories if each is child(each.parent, "itemhistory")]
        uuids = [child(each, "uuid") for each in firsts]
    return [string_value(each) for each in uuids if each and string_value(each)]


def node_parent_with_name(node, name):
    if not path_has(node, name):
        return None
    node = parent_of(node)
    while node and node.name != name:
        node = node.parent
    return node


def next_base_node(old, new):
    if same_name(old, new):
        return previous_node(old)
    for candidate in (next_sibling_for_node(old), next_sibling_for_node(parent_of(old))):
        if same_name(candidate, new):
            return candidate
    return previous_node(old)


def start_time_for_node(node):
    start = (child(node, "start") or child(node, "in")
             or first_below(node, "start") or first_below(node, "in"))
    return timecode_from_frames(string_value(start), node) if start else None


def timecode_from_frames(frames, node):
    sequence = node_parent_with_name(node, "sequence")
    timebase = integer_of(child(sequence or node, "rate", "timebase"), 30)
    start, drop = 0, True
    if sequence:
        start = integer_of(child(sequence, "timecode", "frame"), 107892)
        drop = string_value(child(sequence, "timecode", "displayformat")) != "NDF"
    shape = "%02i:%02i:%02i;%02i" if drop else "%02i:%02i:%02i:%02i"

    count = integer_value(frames)
    unadjusted = total = wrap(count + start)
    if timebase <= 0 or count < 0 or unadjusted < 0:
        return shape % (0, 0, 0, 0)
    if drop:
        minutes = divide(divide(unadjusted, timebase), 60)
        total = wrap(unadjusted + wrap(2 * (minutes - divide(minutes, 10))))
    if total < 0:
        return shape % (0, 0, 0, 0)
    seconds = divide(total, timebase)
    return shape % (remainder(divide(seconds, 3600), 24), remainder(divide(seconds, 60), 60),
                    remainder(seconds, 60), remainder(total, timebase))


def track_word(node):
    return next((word + " " for word in ("video", "audio") if path_has(node, word)), "")


def clip_word(node, find):
    if find(node, "subclipinfo"):
        return "subclip"
    return "freeze frame" if find(node, "stillframeoffset") else "clip"


# ---- What a document holds ----------------------------------------------------------------------


def document_of(node):
    """The document that a node stands in."""
    while node.parent:
        node = node.parent
    return node


def marker_names(document):
    names = [child(marker, "name") for marker in elements_below(document, "marker")]
    return [string_value(each) for each in names if each]


def uuid_values(document):
    return [string_value(each) for each in elements_below(document, "uuid")]


def id_values(document):
    return [each.attributes["id"] for each in below(document) if "id" in each.attributes]
