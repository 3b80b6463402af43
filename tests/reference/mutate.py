#!/usr/bin/env python3
"""Makes pairs of small exports for comparing the engine with its model.

    mutate.py SEED OUT_BASE OUT_NEW

The base is an export such as editors write, with all their habits and some that no editor has; the
new one is the same after up to a dozen edits. The same seed makes the same pair.
"""

import argparse
import copy
import random
import re
from xml.sax.saxutils import escape

NAMES = [
    "Interview", "Interview 1", "interview", "B-Roll%20wide", "Kamera%20A", "100%", "50% grey",
    "caf%C3%A9", "%41bend", "Été à Nice", "übergang", "日本語", "🎬 Szene", "", "Reel/Take 2",
    "Shots/", "\u00a0", "Cut & paste", 'Say "cheese"', "<draft>", "sequence", " leading",
    "trailing ", "Marker 1", "Marker 2", "My%20Marker", "a%2Fb", "%zz", "x",
]
EFFECTS = [
    "Basic Motion", "Audio Levels", "Drop Shadow", "Motion Blur", "Crop", "Distort", "Opacity",
    "Audio Pan", "Basic%20Motion", "opacity", "Gaussian Blur", "Glow/Soft", "Éclat",
    "Cross Dissolve", "Time Remap", "Text", "",
]
PARAMETERS = [
    "scale", "Center", "opacity", "übergang", "éclat", "level", "ñandú", "blur%20radius", "",
]
PATHS = [
    "file://localhost/Volumes/Media/Shot%2001.mov", "file:///media/caf%C3%A9.mov", "bare.mov",
    "file://localhost/C%3a/Takes/A%2FB.mov", "file://localhost/folder/", "/", "",
    "file://localhost/100%/x.mov", "file:///Ärger/b.mov",
]
TIMEBASES = ["30", "25", "24", "25", "30", "0", "", "60", "48000", "1", "-25", "abc", " 24"]
FRAMES = ["0", "107892", "90000", "86400", "-100", "", "2147483000", "1800"]
NUMBERS = [
    "-1", "0", "-5", "", "+7", " 12", "99999999999", "-99999999999", "2147483647", "12abc", "1e3",
    "- 3", "0.5", "-01", "18000",
]
FORMATS = ["NDF", "DF", "NDF ", "ndf", "", "PAL"]
NTSC = ["TRUE", "FALSE", "False", ""]
WORDS = [
    "none", "straight", "black", "16:9", "even", "lower", "square", "PAL", "%20", "note", " ",
]

POINTS = ["in", "out", "start", "end"]

# Where a part of a new kind may go.
PLACES = {
    "clipitem": ("track", "track", "track", "clip", "children"),
    "transitionitem": ("track", "track", "clipitem"),
    "generatoritem": ("track", "track", "clipitem"),
    "marker": ("sequence", "clipitem", "clip", "generatoritem"),
    "filter": ("clipitem", "clip", "generatoritem", "transitionitem"),
    "effect": ("filter", "generatoritem", "transitionitem", "clip"),
    "bin": ("children", "project", "bin"),
    "clip": ("children", "bin", "angle"),
    "sequence": ("children", "clipitem", "project", "bin"),
    "multiclip": ("clipitem", "track", "children", "bin"),
    "track": ("video", "audio"),
    "oddity": ("clipitem", "sequence", "track", "clip", "marker", "effect", "project", "keyframe"),
}


class Element:
    """An element with its attributes and its children, which are elements and strings."""

    def __init__(self, tag, *children, **attributes):
        self.tag = tag
        self.children = [each for each in children if each != ""]
        self.attributes = attributes

    def walk(self):
        yield self
        for each in self.children:
            if isinstance(each, Element):
                yield from each.walk()

    def elements(self):
        return [each for each in self.children if isinstance(each, Element)]

    def first(self, tag):
        return next((each for each in self.elements() if each.tag == tag), None)

    @property
    def is_leaf(self):
        return not self.elements()

    @property
    def text(self):
        return "".join(each for each in self.children if isinstance(each, str))

    @text.setter
    def text(self, value):
        self.children = [value] if value else []


class Author:
    """Writes parts of exports. One author keeps to one editor's habits."""

    def __init__(self, rng):
        self.rng = rng
        self.start_first = self.chance(0.4)
        self.own_uuids = self.chance(0.3)  # on clips in a track
        self.histories = self.chance(0.6)
        self.ids = self.chance(0.7)
        self.odd = self.chance(0.4)  # has what no editor writes
        self.count = rng.randrange(100)
        self.used_uuids = []
        self.files = []

    # Choices and values.

    def chance(self, likelihood):
        return self.rng.random() < likelihood

    def oddly(self, likelihood):
        return self.odd and self.chance(likelihood)

    def maybe(self, likelihood, make, *arguments):
        return [make(*arguments)] if self.chance(likelihood) else []

    def several(self, most, make, *arguments):
        return [make(*arguments) for _ in range(self.rng.randint(0, most))]

    def leaf(self, tag, values):
        return Element(tag, self.rng.choice(values))

    def name_text(self):
        if self.chance(0.5):
            return self.rng.choice(NAMES)
        return "%s %i" % (self.rng.choice(["Clip", "Take", "Shot"]), self.rng.randrange(40))

    def number(self, most=5000):
        return self.rng.choice(NUMBERS) if self.oddly(0.1) else str(self.rng.randrange(most))

    def uuid_text(self):
        if self.oddly(0.06):
            return self.rng.choice(["", 'AB"CD', "AB%2DCD", "no uuid", "\u00a0"])
        if self.used_uuids and self.chance(0.05):
            return self.rng.choice(self.used_uuids)
        self.used_uuids.append("%08X-%04X" % (self.rng.getrandbits(32), self.rng.getrandbits(16)))
        return self.used_uuids[-1]

    def id_attribute(self, tag, likelihood=0.9):
        if not self.ids or not self.chance(likelihood):
            return {}
        self.count += 1
        if self.oddly(0.1):
            return {"id": self.rng.choice(["", "a%20b", "x ", "é1", tag])}
        return {"id": "%s-%i" % (tag, self.count)}

    def name(self, likelihood=0.93):
        return self.maybe(likelihood, lambda: Element("name", self.name_text()))

    def uuid(self, likelihood):
        return self.maybe(likelihood, lambda: Element("uuid", self.uuid_text()))

    # Small parts.

    def rate(self, likelihood=0.9):
        def make():
            return Element("rate", *self.maybe(0.92, self.leaf, "timebase", TIMEBASES),
                           *self.maybe(0.8, self.leaf, "ntsc", NTSC))
        return self.maybe(likelihood, make)

    def point(self, tag):
        return Element(tag, "-1" if self.chance(0.12) else self.number())

    def range_points(self):
        halves = [["in", "out"], ["start", "end"]]
        tags = sum(reversed(halves) if self.start_first else halves, [])
        if self.chance(0.1):
            self.rng.shuffle(tags)
        return [self.point(tag) for tag in tags if not self.chance(0.06)]

    def timecode(self):
        frame = self.maybe(0.8, self.leaf, "frame", FRAMES)
        shown = self.maybe(0.7, self.leaf, "displayformat", ["NDF", "DF"] + FORMATS)
        return Element("timecode", *self.rate(0.5), Element("string", "01:00:00:00"), *frame,
                       Element("source", "source"), *shown)

    def history(self):
        return Element("itemhistory", *(Element("uuid", self.uuid_text())
                                        for _ in range(self.rng.randint(0, 3))))

    def codec(self):
        data = Element("appspecificdata", Element("appname", "Editor"),
                       Element("data", Element("qtcodec", Element("codecname", "Any"))))
        return Element("codec", self.leaf("name", ["ProRes 422", "DV PAL", "XDCAM EX", "%48264"]),
                       *([data] if self.chance(0.5) else []))

    def samplecharacteristics(self):
        return Element("samplecharacteristics", *self.rate(0.6),
                       self.leaf("width", ["1920", "720"]), self.leaf("height", ["1080", "576"]),
                       Element("anamorphic", "FALSE"), self.leaf("pixelaspectratio", WORDS),
                       self.leaf("fielddominance", WORDS), *self.maybe(0.7, self.codec))

    def format(self):
        return Element("format", self.samplecharacteristics())

    def picture_media(self):
        return Element("media", Element("video", *self.maybe(0.8, self.format),
                                        *self.maybe(0.2, self.samplecharacteristics)))

    def file(self):
        if self.files and self.chance(0.4):
            return Element("file", id=self.rng.choice(self.files))
        attributes = self.id_attribute("file")
        self.files += attributes.values()
        path = self.maybe(0.7, self.leaf, "pathurl", PATHS)
        return Element("file", *self.name(0.5), *path, *self.rate(0.4), **attributes)

    def link(self):
        return Element("link", Element("linkclipref", "clipitem-%i" % self.rng.randrange(200)),
                       Element("mediatype", "video"), Element("trackindex", self.number(4)),
                       Element("clipindex", self.number(9)))

    def marker(self):
        name = Element("name", self.rng.choice(NAMES[-6:]))
        if self.oddly(0.25):
            name.attributes["id"] = name.text
        parts = [[name], self.maybe(0.8, self.leaf, "comment", WORDS + [""]), [self.point("in")],
                 [self.point("out")], self.maybe(0.2, self.leaf, "color", WORDS)]
        if self.chance(0.15):
            del parts[0]
        if self.start_first:
            self.rng.shuffle(parts)
        attributes = {"id": "m1"} if self.oddly(0.1) else {}
        return Element("marker", *sum(parts, []), **attributes)

    def points_block(self, tag):
        """In and out points straight under a media kind."""
        return Element(tag, *self.range_points())

    def oddity(self):
        """An element that stands where none of its kind is expected."""
        return self.rng.choice([
            lambda: self.points_block("audio"), lambda: self.points_block("video"),
            lambda: self.leaf("alignment", ["start", "end", "center"]),
            lambda: self.leaf("comment", WORDS), lambda: self.leaf("alphatype", WORDS),
            lambda: self.leaf("enabled", ["TRUE", "FALSE"]), lambda: self.point("mediadelay"),
            lambda: self.point("startoffset"), lambda: self.point("endoffset"),
            lambda: self.leaf("value", WORDS), lambda: self.point("duration"),
            lambda: Element("gamma", "2.2"), lambda: Element("vendor", Element("hint", "1")),
            lambda: Element("note", "some ", Element("b", "mixed"), " text"),
            lambda: self.point(self.rng.choice(POINTS)),
            self.samplecharacteristics, self.codec, self.timecode, lambda: Element("rate"),
            lambda: self.rate(1)[0], lambda: Element("name", Element("name", self.name_text())),
            lambda: Element("name", Element("uuid", self.uuid_text())), lambda: Element("sequence"),
        ])()

    def oddities(self):
        return self.several(2, self.oddity) if self.oddly(0.5) else []

    # Filters, generators, transitions.

    def keyframe(self):
        value = self.leaf("value", ["1", "2.5", "100"])
        if self.chance(0.15):
            value = Element("value", Element("horiz", self.number(9)), Element("vert", "0.5"))
        parts = [Element("when", self.number()), value] + self.maybe(
            0.3, lambda: Element("interpolation", Element("name", "FCPCurve")))
        return Element("keyframe", *parts, *self.maybe(0.1, self.leaf, "inscale", ["0", "1"]))

    def parameter(self):
        value = [self.leaf("value", ["1", "20", "none"])]
        if self.chance(0.25):
            value = [Element("value", Element("horiz", "0"), Element("vert", self.number(9)))]
        if self.chance(0.3):
            value += self.several(2, self.keyframe)
        name = self.maybe(0.9, self.leaf, "name", PARAMETERS)
        return Element("parameter", self.leaf("parameterid", PARAMETERS), *name,
                       *self.maybe(0.3, self.leaf, "valuemin", ["0", "-10"]), *value)

    def effect(self):
        parts = self.maybe(0.92, self.leaf, "name", EFFECTS)
        parts += [self.leaf("effectid", ["basic", "crop"])]
        parts += self.maybe(0.5, self.leaf, "effectcategory", ["motion", "Blur"])
        parts += self.maybe(0.3, self.point, "in") + self.maybe(0.3, self.point, "out")
        parts += self.maybe(0.2, self.leaf, "alphatype", WORDS)
        parts += self.several(3, self.parameter)
        if self.oddly(0.2):
            parts += [self.keyframe(), self.oddity()]
        return Element("effect", *parts)

    def filter(self):
        points = [self.point("start"), self.point("end")] if self.chance(0.5) else []
        parts = self.maybe(0.6, self.leaf, "enabled", ["TRUE", "FALSE"]) + points
        return Element("filter", *parts, self.effect())

    def generatoritem(self):
        parts = self.name() + self.maybe(0.7, self.point, "duration") + self.rate()
        parts += self.range_points() + self.maybe(0.4, self.leaf, "enabled", ["TRUE", "FALSE"])
        parts += self.maybe(0.4, self.leaf, "alphatype", WORDS) + self.maybe(0.85, self.effect)
        parts += self.several(1, self.filter) + self.several(1, self.marker) + self.oddities()
        return Element("generatoritem", *parts, *(self.maybe(0.8, self.history)),
                       **self.id_attribute("generatoritem"))

    def transitionitem(self):
        points = [self.point("start"), self.point("end")]
        points += self.maybe(0.2, self.point, "in") + self.maybe(0.2, self.point, "out")
        parts = self.rate(0.6) + points + [self.leaf("alignment", ["start", "end", "center"])]
        parts += self.name(0.2) + self.maybe(0.8, self.effect)
        return Element("transitionitem", *parts, **self.id_attribute("transition", 0.5))

    # Clips and what holds them.

    def subclipinfo(self):
        parts = [self.point("startoffset"), self.point("endoffset")]
        return Element("subclipinfo", *parts, *self.maybe(0.4, self.point, "mediadelay"))

    def clip_parts(self):
        """What a clip may have wherever it stands."""
        parts = self.maybe(0.85, self.point, "duration") + self.rate() + self.range_points()
        parts += self.maybe(0.15, self.subclipinfo)
        parts += self.maybe(0.12, self.point, "stillframeoffset")
        parts += self.maybe(0.6, self.leaf, "enabled", ["TRUE", "FALSE"])
        parts += self.maybe(0.3, self.leaf, "alphatype", WORDS)
        parts += self.maybe(0.3, lambda: Element("masterclipid", "masterclip-%i" % self.count))
        parts += self.maybe(0.2, lambda: Element("labels", Element("label2", "Good")))
        return parts + self.oddities()

    def clipitem(self, depth=0):
        parts = self.uuid(0.9 if self.own_uuids else 0.04) + self.name() + self.clip_parts()
        parts += self.maybe(0.7, self.file) + self.maybe(0.25, self.picture_media)
        parts += self.maybe(0.3, lambda: Element(
            "sourcetrack", Element("mediatype", "video"), Element("trackindex", "1")))
        if depth < 2:
            parts += self.maybe(0.07, self.multiclip, depth + 1)
            parts += self.maybe(0.04, self.sequence, depth + 2)
        parts += self.several(2, self.filter) + self.several(2, self.marker)
        parts += self.several(2, self.link)
        parts += self.maybe(0.85 if self.histories else 0.05, self.history)
        if self.oddly(0.15):
            parts.append(self.points_block(self.rng.choice(["audio", "video"])))
        return Element("clipitem", *parts, **self.id_attribute("clipitem", 0.8))

    def bare_clipitem(self):
        """A clip that can only be told by its file or its uuid, with no name anywhere."""
        parts = self.uuid(0.4) + [self.point("start"), Element("file", **self.id_attribute("file"))]
        return Element("clipitem", *parts)

    def clip(self, depth=0):
        parts = self.uuid(0.85) + self.name() + self.clip_parts()
        inner = [Element("track", *self.several(1, self.clipitem, depth + 2))]
        parts += self.maybe(0.6, lambda: Element("media", Element(
            "video", *self.maybe(0.4, self.format), *inner)))
        parts += self.several(1, self.filter) + self.several(1, self.marker)
        if self.oddly(0.25):
            parts.append(self.points_block(self.rng.choice(["audio", "video"])))
        return Element("clip", *parts, **self.id_attribute("clip", 0.5))

    def angle(self, depth):
        inside = self.maybe(0.8, self.clip, depth + 2)
        if self.chance(0.3):
            inside += [self.file()]
        return Element("angle", *inside) if inside else self.leaf("angle", ["1", "2", ""])

    def multiclip(self, depth=0):
        if self.chance(0.3):
            parts = self.uuid(0.5) + [Element("file", **self.id_attribute("file"))]
            return Element("multiclip", *parts)
        parts = self.uuid(0.5) + self.name(0.7) + self.several(3, self.angle, depth)
        return Element("multiclip", *parts, **self.id_attribute("multiclip", 0.5))

    def track(self, depth=0):
        kinds = [self.clipitem] * 6 + [self.generatoritem, self.transitionitem, self.bare_clipitem]
        items = [self.rng.choice(kinds)() for _ in range(self.rng.randint(0, 3 - depth))]
        parts = items + self.maybe(0.7, self.leaf, "enabled", ["TRUE", "FALSE"])
        return Element("track", *parts, *self.maybe(0.5, self.leaf, "locked", ["TRUE", "FALSE"]))

    def tracks(self, tag, depth):
        outputs = self.maybe(0.3, lambda: Element("outputs", Element(
            "group", Element("index", "1"), Element("numchannels", "2"))))
        tracks = [self.track(depth) for _ in range(self.rng.randint(1, 2))]
        return Element(tag, *self.maybe(0.7, self.format), *outputs, *tracks)

    def sequence(self, depth=0):
        if depth and self.chance(0.3):
            return Element("sequence", **self.id_attribute("sequence"))
        parts = self.uuid(0.85) + self.name() + self.maybe(0.9, self.point, "duration")
        parts += self.rate() + self.maybe(0.8, self.timecode) + self.oddities()
        parts += self.maybe(0.7, self.point, "in") + self.maybe(0.7, self.point, "out")
        parts += self.maybe(0.1, self.point, "start") + self.maybe(0.1, self.point, "end")
        parts += self.maybe(0.1, self.leaf, "enabled", ["TRUE", "FALSE"])
        if self.oddly(0.25):
            parts.append(self.points_block(self.rng.choice(["audio", "video"])))
        parts.append(Element("media", self.tracks("video", min(depth, 2)),
                             *self.maybe(0.6, self.tracks, "audio", min(depth, 2))))
        parts += self.several(2, self.marker) + self.oddities()
        return Element("sequence", *parts, **self.id_attribute("sequence", 0.5))

    def bin(self, depth=0):
        makers = [self.clip, self.clip, self.sequence, self.multiclip]
        makers += [self.bin] * 2 if depth < 2 else []
        inside = [self.rng.choice(makers)(depth + 1) for _ in range(self.rng.randint(0, 3))]
        parts = self.uuid(0.85) + self.name() + [Element("children", *inside)]
        return Element("bin", *parts)

    def project(self):
        makers = [self.bin, self.bin, self.sequence, self.clip]
        inside = [self.rng.choice(makers)() for _ in range(self.rng.randint(1, 3))]
        return Element("project", *self.name(), *self.maybe(0.3, self.leaf, "ismasterclip", NTSC),
                       Element("children", *inside))

    def export(self):
        tops = [self.project] * 55 + [self.sequence] * 40 + [self.bin] * 3 + [self.clip] * 2
        inside = [self.rng.choice(tops)()]
        if self.chance(0.03):
            inside.append(self.bin())
        return Element("xmeml", *inside, version=self.rng.choice(["1", "4", "5"]))

    def part(self, kind):
        if kind == "clipitem" and self.chance(0.2):
            return self.bare_clipitem()
        return getattr(self, kind)()


class Editor:
    """Makes random edits to one export."""

    def __init__(self, rng, author, root):
        self.rng, self.author, self.root = rng, author, root
        self.values_only = author.chance(0.4)  # then the two walks keep in step

    def pick(self, wanted):
        """A pair of a parent and its child for which `wanted` holds, or nothing."""
        pairs = [(parent, each) for parent in self.root.walk() for each in parent.elements()
                 if wanted(each)]
        return self.rng.choice(pairs) if pairs else (None, None)

    def leaf(self, tags=None):
        """A leaf with its parent. Where it stands is drawn first, so that rare ones come up too."""
        pairs = [(parent, each) for parent in self.root.walk() for each in parent.elements()
                 if each.is_leaf and (tags is None or each.tag in tags)]
        if not pairs:
            return None, None
        place = self.rng.choice(sorted({(parent.tag, each.tag) for parent, each in pairs}))
        return self.rng.choice([pair for pair in pairs if place == (pair[0].tag, pair[1].tag)])

    def another_value(self, leaf, parent_tag=""):
        old, chance = leaf.text, self.author.chance
        if leaf.tag == "name" and parent_tag == "effect":
            return self.rng.choice(EFFECTS)
        if leaf.tag == "name":
            return self.author.name_text()
        if old in ("TRUE", "FALSE"):
            return "FALSE" if old == "TRUE" else "TRUE"
        if leaf.tag == "timebase":
            return self.rng.choice(TIMEBASES)
        if re.fullmatch("-?[0-9]+", old):
            if chance(0.2):
                return "-1"
            if chance(0.1):
                return self.rng.choice(NUMBERS)
            return str(int(old) + self.rng.choice([-10, -1, 1, 10, 250, 1800]))
        return self.rng.choice(WORDS + FORMATS + ["TRUE", "25"])

    # The edits. Each returns nothing and may find nothing to do.

    def change_value(self):
        parent, leaf = self.leaf()
        if leaf:
            leaf.text = self.another_value(leaf, parent.tag)

    def change_range(self):
        parent, _ = self.leaf(POINTS)
        for each in parent.elements() if parent else []:
            if each.tag in POINTS and self.author.chance(0.7):
                each.text = "-1" if self.author.chance(0.2) else self.another_value(each)

    def insert_part(self):
        kind = self.rng.choice([*PLACES, "sequence", "oddity"])
        place = self.rng.choice(PLACES[kind])
        holders = [each for each in self.root.walk() if each.tag == place]
        if holders:
            self.put(self.rng.choice(holders), self.author.part(kind))

    def put(self, holder, part):
        holder.children.insert(self.rng.randint(0, len(holder.children)), part)

    def something(self):
        tags = ("uuid", "name") if self.author.chance(0.05) else tuple(PLACES)
        if self.author.chance(0.35):
            return self.pick(lambda each: True)
        return self.pick(lambda each: each.tag in tags)

    def delete_part(self):
        parent, each = self.something()
        if parent and not (parent is self.root and len(self.root.children) == 1):
            parent.children.remove(each)

    def duplicate_part(self):
        parent, each = self.something()
        if not parent:
            return
        twin = copy.deepcopy(each)
        if self.author.chance(0.5):
            self.give_new_identity(twin)
        parent.children.insert(parent.children.index(each) + self.rng.randint(0, 1), twin)

    def give_new_identity(self, part):
        for each in part.walk():
            if "id" in each.attributes and each.tag != "file":
                each.attributes.update(self.author.id_attribute(each.tag, 1))
            if each.tag == "uuid":
                each.text = self.author.uuid_text()

    def move_part(self):
        parent, part = self.something()
        if not parent or parent is self.root:
            return
        inside = set(map(id, part.walk()))
        holders = [each for each in self.root.walk()
                   if each.tag == parent.tag and id(each) not in inside]
        parent.children.remove(part)
        self.put(self.rng.choice(holders), part)

    def swap_neighbours(self):
        parent, each = self.something()
        if parent and len(parent.children) > 1:
            place = min(parent.children.index(each), len(parent.children) - 2)
            pair = parent.children[place:place + 2]
            parent.children[place:place + 2] = reversed(pair)

    def rename_element(self):
        parent, each = self.something()
        if parent and parent is not self.root:
            tags = sorted({other.tag for other in self.root.walk()} | {"unknown", "clip"})
            each.tag = self.rng.choice(tags)

    def change_uuid(self):
        parent, uuid = self.pick(lambda each: each.tag == "uuid")
        if not parent:
            return
        old = copy.deepcopy(uuid)
        uuid.text = self.author.uuid_text()
        history = parent if parent.tag == "itemhistory" else parent.first("itemhistory")
        if history and self.author.chance(0.7):
            history.children.insert(self.rng.choice([0, 1, len(history.children)]), old)

    def remove_uuid(self):
        parent, uuid = self.pick(lambda each: each.tag == "uuid")
        if parent:
            parent.children.remove(uuid)

    def empty_leaf(self):
        _, leaf = self.leaf()
        if leaf:
            leaf.children = []

    def replace_clip(self):
        """Another clip in the place of one: same structure, other identity, other name."""
        _, clip = self.pick(lambda each: each.tag in ("clipitem", "clip", "bin", "generatoritem"))
        if clip:
            self.give_new_identity(clip)
            if clip.first("name"):
                clip.first("name").text = self.author.name_text()

    def renumber_ids(self):
        shift = self.rng.randint(1, 5)
        for each in self.root.walk():
            if re.search("-[0-9]+$", each.attributes.get("id", "")):
                stem, number = each.attributes["id"].rsplit("-", 1)
                each.attributes["id"] = "%s-%i" % (stem, int(number) + shift)

    def change_attribute(self):
        each = self.rng.choice(list(self.root.walk()))
        each.attributes[self.rng.choice(["id", "version", "TL.SQ"])] = str(self.rng.randrange(300))

    def mix_text(self):
        self.put(self.rng.choice(list(self.root.walk())), self.rng.choice(["stray", "\u00a0", "7"]))

    def nest_leaf(self):
        """The text of a leaf goes into an element of its own."""
        _, leaf = self.leaf()
        if leaf:
            leaf.children = [Element(self.rng.choice(["b", "uuid", "uuid", leaf.tag]), leaf.text)]

    def other_top(self):
        top = self.author.export().elements()[0]
        old = self.root.first("sequence")
        if old and top.tag == "sequence" and self.author.chance(0.5):
            old.children = top.children
        else:
            self.root.children = [top] if self.author.chance(0.9) else []

    VALUE_EDITS = {change_value: 10, change_range: 3, change_uuid: 1, replace_clip: 2}
    EDITS = {
        change_value: 36, change_range: 8, insert_part: 14, delete_part: 9, duplicate_part: 5,
        move_part: 4, swap_neighbours: 4, rename_element: 3, change_uuid: 5, remove_uuid: 2,
        empty_leaf: 2, replace_clip: 6, renumber_ids: 1, change_attribute: 1.5, mix_text: 1,
        nest_leaf: 1, other_top: 0.6,
    }

    def edit(self):
        edits = self.VALUE_EDITS if self.values_only else self.EDITS
        method, = self.rng.choices(list(edits), list(edits.values()))
        method(self)


class Writer:
    """Turns an export into bytes. White space, comments and the like differ and must not matter."""

    def __init__(self, rng):
        self.rng = rng
        self.indents = rng.random() < 0.8
        self.disturbs = rng.random() < 0.3
        self.line_end = rng.choice(["\n", "\n", "\n", "\n", "\r\n", "\r"])

    def document(self, root):
        head = "\ufeff" if self.rng.random() < 0.05 else ""
        head += '<?xml version="1.0" encoding="UTF-8"?>' + self.line_end
        doctype = "<!DOCTYPE xmeml>" + self.line_end if self.rng.random() < 0.7 else ""
        return (head + doctype + self.element(root, 0) + self.line_end).encode()

    def disturbance(self):
        if not self.disturbs or self.rng.random() > 0.05:
            return ""
        return self.rng.choice(["<!-- a comment -->", "<?keep going?>", "<![CDATA[]]>"])

    def text(self, text):
        middle = self.rng.randint(0, len(text))
        if self.disturbs and self.rng.random() < 0.1:
            return "<![CDATA[%s]]>%s" % (text[:middle], escape(text[middle:]))
        return escape(text[:middle]) + self.disturbance() + escape(text[middle:])

    def element(self, element, depth):
        attributes = list(element.attributes.items())
        self.rng.shuffle(attributes)
        tag = element.tag + "".join(
            ' %s="%s"' % (name, escape(value, {'"': "&quot;"})) for name, value in attributes)
        if not element.children:
            return "<%s/>" % tag if self.rng.random() < 0.5 else "<%s></%s>" % (tag, element.tag)
        if any(isinstance(each, str) for each in element.children):
            gap = end = ""
        else:
            gap, end = self.gap(depth + 1), self.gap(depth)
        inside = "".join(
            gap + (self.text(each) if isinstance(each, str) else self.element(each, depth + 1))
            for each in element.children)
        return "<%s>%s%s</%s>" % (tag, inside, end, element.tag)

    def gap(self, depth):
        return (self.line_end + "\t" * depth if self.indents else "") + self.disturbance()


def pair(seed):
    """The bytes of a base and of a new export."""
    rng = random.Random(seed)
    author = Author(rng)
    base = author.export()
    new = copy.deepcopy(base)
    editor = Editor(rng, author, new)
    for _ in range(0 if author.chance(0.01) else rng.randint(1, 12)):
        editor.edit()
    if author.chance(0.5):
        return Writer(rng).document(base), Writer(rng).document(new)
    return Writer(rng).document(new), Writer(rng).document(base)


def main():
    options = argparse.ArgumentParser(description="Make a pair of exports for comparing.")
    options.add_argument("seed", type=int)
    options.add_argument("base")
    options.add_argument("new")
    wanted = options.parse_args()
    for path, data in zip((wanted.base, wanted.new), pair(wanted.seed)):
        with open(path, "wb") as export:
            export.write(data)


if __name__ == "__main__":
    main()
