"""The wording of a changelist: one row for each sentence, the first row that matches speaks.

A subject (an element that is new, a value that changed) answers all that the rows can ask about it;
its fields are the names that the rows use, both for their conditions and for their placeholders.
"""

from dataclasses import dataclass

from xmeml_tree import (
    capitalize_first_letter, child, clip_word, document_of, filled, first_below, integer_value,
    last_path_component, marker_names, name_for_node, name_of, node_parent_with_name, parent_of,
    path_has, previous_node, start_time_for_node, string_value, timecode_from_frames, track_word,
    unescaped, uuid_for_node, wrap,
)


@dataclass(frozen=True)
class Row:
    """One row of a wording table: whom it is for, what must hold, what is said."""

    element: str
    template: str
    arguments: tuple
    conditions: tuple

    def matches(self, subject):
        if self.element not in ("*", subject.element):
            return False
        return all(self.holds(getattr(subject, what), wanted) for what, wanted in self.conditions)

    @staticmethod
    def holds(actual, wanted):
        return actual is wanted if isinstance(wanted, bool) else actual in wanted.split()

    def sentence(self, subject):
        return filled(self.template, [getattr(subject, each) for each in self.arguments])

    def __str__(self):
        tests = ", ".join("%s=%s" % condition for condition in self.conditions)
        return "%s (%s): %s" % (self.element, tests, self.template)


def row(element, template, arguments="", **conditions):
    return Row(element, template, tuple(arguments.split()), tuple(conditions.items()))


def optional_part(template, node, *words):
    """The part with the node's name in its last place; nothing when there is no such node."""
    return filled(template, [*words, name_for_node(node)]) if node else ""


# ---- New elements -------------------------------------------------------------------------------


class Addition:
    """An element that only the new document has."""

    def __init__(self, node):
        path = first_below(node, "pathurl") if node.name == "multiclip" else child(
            node, "file", "pathurl")
        sequence = node_parent_with_name(node, "sequence")
        clipitem = node_parent_with_name(node, "clipitem")
        multiclip = node_parent_with_name(node, "multiclip") or first_below(node, "multiclip")
        start = start_time_for_node(node)

        self.element = node.name
        self.name = name_for_node(node)
        self.shown_by = "path" if path else "name" if self.name is not None else "nothing"
        self.file_name = unescaped(last_path_component(string_value(path)))
        self.last_name_component = last_path_component(self.name)
        self.track = track_word(node)
        self.kind = clip_word(node, child)
        self.at_start = "" if start is None else filled(" at %@", [start])
        self.to_sequence = optional_part(" to sequence %@", sequence)
        self.for_sequence = optional_part(" for sequence %@", sequence)
        self.to_multiclip = optional_part(" to multiclip %@", multiclip)
        self.to_clip = optional_part(" to clip %@", clipitem)
        self.to_track_clip = optional_part(" to %@clip %@", clipitem, self.track)
        self.for_clip = optional_part(
            " for clip %@", node_parent_with_name(node, "clip") or clipitem)


ADDITIONS = [
    row("multiclip", "New multiclip added%@%@: %@", "at_start to_sequence file_name",
        shown_by="path"),
    row("multiclip", "New multiclip added%@%@: %@", "at_start to_sequence name", shown_by="name"),
    row("multiclip", "New multiclip added%@%@", "at_start to_sequence", shown_by="nothing"),
    row("clipitem", "New %@%@ %@ added%@%@%@",
        "track kind file_name to_multiclip for_sequence at_start", shown_by="path"),
    row("clipitem", "New %@%@ %@ added%@%@%@",
        "track kind name to_multiclip for_sequence at_start", shown_by="name"),
    row("clipitem", "New %@%@ added%@%@%@",
        "track kind to_multiclip for_sequence at_start", shown_by="nothing"),
    row("bin", "New bin added: %@", "name"),
    row("generatoritem", "New generator %@ added%@%@", "name to_sequence at_start"),
    row("transitionitem", "New transition %@ added%@%@%@", "name to_clip for_sequence at_start"),
    row("marker", "New marker %@ added%@%@%@", "name to_track_clip for_sequence at_start"),
    row("effect", "New filter added%@: %@", "for_clip last_name_component"),
    row("sequence", "New sequence added: %@", "name"),
]

# ---- Changed values -----------------------------------------------------------------------------


class Change:
    """A leaf whose text differs between the old document and the new one."""

    def __init__(self, node, old, base_uuids):
        parent, grandparent = parent_of(node), parent_of(node, 2)
        ancestors = [parent_of(node, generations) for generations in (1, 2, 3)]
        near_effect = next((each for each in ancestors if name_of(each) == "effect"), None)
        sequence = node_parent_with_name(node, "sequence")
        clipitem = node_parent_with_name(node, "clipitem")
        # The holder of a rate block, or of a media/video/format/samplecharacteristics block.
        owner = parent_of(parent, 1 if node.name in ("timebase", "ntsc") else 4)

        self.element = node.name
        self.Element = capitalize_first_letter(node.name)
        self.value, self.old_value = string_value(node), string_value(old)
        self.unset = self.value == "-1"
        self.is_or_not = "is" if self.value == "TRUE" else "is not"
        self.state = "disabled" if self.value == "FALSE" else "enabled"
        self.before = timecode_from_frames(self.old_value, node)
        self.after = timecode_from_frames(self.value, node)
        self.removed_or_changed = "removed" if self.unset else "changed to " + self.after
        self.difference = wrap(integer_value(self.value) - integer_value(self.old_value))
        self.sign = "+" if self.difference > 0 else ""
        self.keyframe_time = string_value(previous_node(node))

        self.parent, self.grandparent, self.owner = map(name_of, (parent, grandparent, owner))
        self.parent_name, self.grandparent_name = name_for_node(parent), name_for_node(grandparent)
        self.Parent_name = capitalize_first_letter(self.parent_name)
        self.owner_name = name_for_node(owner)
        self.effect_name = name_for_node(near_effect)
        self.kind = clip_word(parent, first_below)
        self.Kind_of_parent_near = capitalize_first_letter(clip_word(parent, child))
        self.Kind_of_owner_near = capitalize_first_letter(clip_word(owner, child))
        self.Kind_of_owner_deep = capitalize_first_letter(clip_word(owner, first_below))
        self.track = track_word(node)

        uuid = uuid_for_node(parent)
        self.uuid = "none" if uuid is None else "known" if uuid in base_uuids else "unknown"
        self.named_so = self.parent_name == self.value
        self.renamed_marker = (name_of(parent_of(old)) == "marker"
                               and name_for_node(node) in marker_names(document_of(old)))
        self.in_clipitem = path_has(node, "clipitem")
        self.in_sequence = path_has(node, "sequence")
        self.in_effect = path_has(node, "effect")

        self.for_sequence = optional_part(" for sequence %@", sequence)
        self.of_sequence = optional_part(" in sequence %@", sequence)
        self.to_multiclip = optional_part(
            " to multiclip %@", node_parent_with_name(node, "multiclip"))
        self.for_clip = optional_part(" for clip %@", clipitem)
        self.to_clip = optional_part(" to clip %@", clipitem)
        self.on_clip = optional_part(" on clip %@", clipitem)
        self.for_filter = optional_part(" for filter %@", node_parent_with_name(node, "effect"))


SPAN = "before after sign difference"

FALL_BACK = "%@ changed to %@"
NOTHING = ""

WORDING = [
    row("name", "Project name changed to %@", "value", parent="project"),
    row("name", FALL_BACK, parent="sequence", uuid="none"),
    row("name", "Sequence added: %@", "value", parent="sequence", uuid="unknown"),
    row("name", "Sequence name changed to %@", "value", parent="sequence"),
    row("name", FALL_BACK, parent="clipitem clip", uuid="none"),
    row("name", "New %@%@ added%@%@: %@", "track kind for_sequence to_multiclip value",
        parent="clipitem clip", uuid="unknown"),
    row("name", NOTHING, parent="clipitem clip", named_so=True),
    row("name", "%@ %@ name changed to %@", "parent_name kind value", parent="clipitem clip"),
    row("name", FALL_BACK, parent="bin", uuid="none"),
    row("name", "New bin added: %@", "value", parent="bin", uuid="unknown"),
    row("name", "%@ bin name changed to %@", "old_value value", parent="bin"),
    row("name", "Clip codec changed to %@", "value", parent="codec", in_clipitem=True),
    row("name", "Sequence codec changed to %@", "value", parent="codec", in_sequence=True),
    row("name", NOTHING, parent="codec"),
    row("name", "Marker %@ name changed to %@%@%@", "old_value value of_sequence for_clip",
        parent="marker", renamed_marker=True),
    row("name", "Marker %@ added%@%@", "value for_sequence to_clip", parent="marker"),
    row("name", NOTHING),

    row("value", "%@ set to %@ for %@ Filter", "Parent_name value grandparent_name",
        grandparent="effect"),
    row("value", "Keyframe at %@ set to %@%@%@", "keyframe_time value for_filter on_clip",
        parent="keyframe"),
    row("value", FALL_BACK),

    row("duration", "%@ sequence duration changed from %@ to %@ (%@%i)", "parent_name " + SPAN,
        parent="sequence"),
    row("duration", "%@ %@ duration changed from %@ to %@ (%@%i)", "parent_name kind " + SPAN,
        parent="clipitem clip"),
    row("duration", "Duration changed to %@ for %@ generator", "after parent_name",
        parent="generatoritem"),
    row("duration", FALL_BACK),

    row("in", "In Point of sequence %@ removed", "parent_name", parent="sequence", unset=True),
    row("in", "In Point of sequence %@ changed from %@ to %@ (%@%i)", "parent_name " + SPAN,
        parent="sequence"),
    row("in", "In Point of %@ %@ removed", "kind parent_name", parent="clipitem clip", unset=True),
    row("in", "In Point of %@ %@ changed from %@ to %@ (%@%i)", "kind parent_name " + SPAN,
        parent="clipitem clip"),
    row("in", "In Point of generator %@ %@", "parent_name removed_or_changed",
        parent="generatoritem"),
    row("in", "In Point of filter %@ %@", "parent_name removed_or_changed", parent="effect"),
    row("in", "In Point of transition %@ %@", "parent_name removed_or_changed",
        parent="transitionitem"),
    row("in", "In Point of marker %@ %@", "parent_name removed_or_changed", parent="marker"),
    row("in", "In Point of %@ clip %@ removed", "parent grandparent_name",
        parent="audio video", grandparent="clip clipitem", unset=True),
    row("in", "In Point of %@ clip %@ changed from %@ to %@ (%@%i)",
        "parent grandparent_name " + SPAN, parent="audio video", grandparent="clip clipitem"),
    row("in", "In Point of %@ track in sequence %@ removed", "parent grandparent_name",
        parent="audio video", grandparent="sequence", unset=True),
    row("in", "In Point of %@ track in sequence %@ changed from %@ to %@ (%@%i)",
        "parent grandparent_name " + SPAN, parent="audio video", grandparent="sequence"),
    row("in", FALL_BACK),

    row("out", "Out Point of sequence %@ removed", "parent_name", parent="sequence", unset=True),
    row("out", "Out Point of sequence %@ changed from %@ to %@ (%@%i)", "parent_name " + SPAN,
        parent="sequence"),
    row("out", "Out Point of %@ %@ removed", "kind parent_name", parent="clipitem clip",
        unset=True),
    row("out", "Out Point of %@ %@ changed from %@ to %@ (%@%i)", "kind parent_name " + SPAN,
        parent="clipitem clip"),
    row("out", "Out Point of generator %@ %@", "parent_name removed_or_changed",
        parent="generatoritem"),
    row("out", "In Point of filter %@ %@", "parent_name removed_or_changed",  # sic
        parent="effect"),
    row("out", "Out Point of transition %@ %@", "parent_name removed_or_changed",
        parent="transitionitem"),
    row("out", "Out Point of marker %@ %@", "parent_name removed_or_changed", parent="marker"),
    row("out", "Out Point of audio clip %@ removed", "grandparent_name",
        parent="audio", grandparent="clip clipitem", unset=True),
    row("out", "Out Point of audio clip %@ changed from %@ to %@ (%@%i)",
        "grandparent_name " + SPAN, parent="audio", grandparent="clip clipitem"),
    row("out", "Out Point of %@ track in sequence %@ removed", "parent grandparent_name",
        parent="audio", grandparent="sequence", unset=True),
    row("out", "Out Point of %@ track in sequence %@ changed from %@ to %@ (%@%i)",
        "parent grandparent_name " + SPAN, parent="audio", grandparent="sequence"),
    row("out", FALL_BACK),

    row("start", "%@ sequence Start changed from %@ to %@ (%@%i)", "parent_name " + SPAN,
        parent="sequence"),
    row("start", "Transition added at beginning of %@%@ %@", "track kind parent_name",
        parent="clipitem clip", unset=True),
    row("start", "Start point of %@%@ %@ changed from %@ to %@ (%@%i)",
        "track kind parent_name " + SPAN, parent="clipitem clip"),
    row("start", "Transition added at beginning of generator %@", "parent_name",
        parent="generatoritem", unset=True),
    row("start", "Start point of generator %@ changed from %@ to %@ (%@%i)",
        "parent_name " + SPAN, parent="generatoritem"),
    row("start", "Start point of transition %@ %@", "parent_name removed_or_changed",
        parent="transitionitem"),
    row("start", "Start point of filter %@ %@", "parent_name removed_or_changed", parent="filter"),
    row("start", "Transition added at beginning of audio clip %@", "grandparent_name",
        parent="audio", grandparent="clip clipitem", unset=True),
    row("start", "Start of audio clip %@ changed from %@ to %@ (%@%i)", "grandparent_name " + SPAN,
        parent="audio", grandparent="clip clipitem"),
    row("start", FALL_BACK),

    row("end", "%@ sequence End changed from %@ to %@ (%@%i)", "parent_name " + SPAN,
        parent="sequence"),
    row("end", "Transition added at end of %@%@ %@", "track kind parent_name",
        parent="clipitem clip", unset=True),
    row("end", "End point of %@%@ %@ changed from %@ to %@ (%@%i)",
        "track kind parent_name " + SPAN, parent="clipitem clip"),
    row("end", "Transition added at end of generator %@", "parent_name",
        parent="generatoritem", unset=True),
    row("end", "End point of generator %@ changed from %@ to %@ (%@%i)", "parent_name " + SPAN,
        parent="generatoritem"),
    row("end", "End point of transition %@ %@", "parent_name removed_or_changed",
        parent="transitionitem"),
    row("end", "End point of filter %@ %@", "parent_name removed_or_changed", parent="filter"),
    row("end", "Transition added at end of audio clip %@", "grandparent_name",
        parent="audio", grandparent="clip clipitem", unset=True),
    row("end", "End of audio clip %@ changed from %@ to %@ (%@%i)", "grandparent_name " + SPAN,
        parent="audio", grandparent="clip clipitem"),
    row("end", FALL_BACK),

    row("startoffset", "Start point of subclip %@ changed from %@ to %@ (%@%i)",
        "grandparent_name " + SPAN, parent="subclipinfo", grandparent="clipitem clip"),
    row("startoffset", FALL_BACK),
    row("mediadelay", "Start point of subclip %@ changed from %@ to %@ (%@%i)",
        "grandparent_name " + SPAN, parent="subclipinfo", grandparent="clipitem clip"),
    row("mediadelay", FALL_BACK),
    row("endoffset", "End point of subclip %@ changed to %@", "grandparent_name after",
        parent="subclipinfo", grandparent="clipitem clip"),
    row("endoffset", FALL_BACK),

    row("width", "%@ sequence width changed to %@", "owner_name value", owner="sequence"),
    row("width", "%@ %@ width changed to %@", "Kind_of_owner_near owner_name value",
        owner="clipitem"),
    row("width", FALL_BACK),
    row("height", "%@ sequence height changed to %@", "owner_name value", owner="sequence"),
    row("height", "%@ %@ height changed to %@", "Kind_of_owner_near owner_name value",
        owner="clipitem"),
    row("height", FALL_BACK),
    row("pixelaspectratio", "%@ sequence pixel aspect ratio changed to %@", "owner_name value",
        owner="sequence"),
    row("pixelaspectratio", "%@ %@ pixel aspect ratio changed to %@",
        "Kind_of_owner_near owner_name value", owner="clipitem"),
    row("pixelaspectratio", FALL_BACK),
    row("fielddominance", "%@ sequence field dominance changed to %@", "owner_name value",
        owner="sequence"),
    row("fielddominance", "%@ %@ field dominance changed to %@",
        "Kind_of_owner_deep owner_name value", owner="clipitem clip"),
    row("fielddominance", FALL_BACK),
    row("timebase", "%@ sequence timebase changed to %@", "owner_name value", owner="sequence"),
    row("timebase", "%@ %@ timebase changed to %@", "Kind_of_owner_deep owner_name value",
        owner="clipitem clip"),
    row("timebase", FALL_BACK),
    row("ntsc", "%@ sequence %@ NTSC", "owner_name is_or_not", owner="sequence"),
    row("ntsc", "%@ %@ %@ NTSC", "Kind_of_owner_deep owner_name is_or_not", owner="clipitem clip"),
    row("ntsc", FALL_BACK),

    row("enabled", "%@ sequence %@", "parent_name state", parent="sequence"),
    row("enabled", "%@ %@ %@", "Kind_of_parent_near parent_name state", parent="clipitem"),
    row("enabled", "%@ filter for clip %@ %@", "parent_name grandparent_name state",
        parent="filter"),
    row("enabled", FALL_BACK),
    row("alphatype", "Alpha type for generator %@ set to %@", "parent_name value",
        parent="generatoritem"),
    row("alphatype", "Alpha type for filter %@ set to %@", "parent_name value", parent="effect"),
    row("alphatype", "Alpha type for clip %@ set to %@", "parent_name value", parent="clipitem"),
    row("alphatype", FALL_BACK),

    row("*", "%@ set to %@ for %@ Filter", "Element value effect_name", in_effect=True),
    row("alignment", "Transition aligment set to %@ for %@", "value parent_name",  # sic
        parent="transitionitem"),
    row("comment", "%@ marker description changed to %@", "parent_name value", parent="marker"),
    row("*", FALL_BACK),
]
