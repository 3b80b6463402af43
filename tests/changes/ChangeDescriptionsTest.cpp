// The wording of changed values. A case is one export in which [old|new] is the leaf that changed
// and {old|new} is whatever else differs between the two documents.

#include "changes/ChangeDescriptions.h"
#include "tests/changes/Documents.h"

#include <set>

namespace cutstack {
namespace {

struct WordingCase {
    std::string_view xml;
    std::string_view sentence; ///< empty for none
};

constexpr std::string_view kLeaf = "LEAF"; // marks the changed leaf while the case is split up

/// One of the two documents of a case. The changed leaf is put in place of its [old|new].
std::string side(std::string_view xml, bool isNew) {
    std::string text;
    for (std::size_t at = 0; at < xml.size(); ++at) {
        if (xml[at] != '[' && xml[at] != '{') {
            text += xml[at];
            continue;
        }
        const char close = xml[at] == '[' ? ']' : '}';
        const std::size_t bar = xml.find('|', at);
        const std::size_t end = xml.find(close, at);
        text += isNew ? xml.substr(bar + 1, end - bar - 1) : xml.substr(at + 1, bar - at - 1);
        at = end;
    }
    return text;
}

/// The leaf is found by its place: the same case with a mark instead of the values.
NodeIndex placeOfLeaf(std::string_view xml) {
    const std::string marked = std::string(xml.substr(0, xml.find('['))) + std::string(kLeaf) +
                               std::string(xml.substr(xml.find(']') + 1));
    const auto document = parsed(side(marked, true));
    for (Node node = document->root(); node.exists(); node = node.next())
        if (node.name() != XmemlName::none && node.firstChild().name() == XmemlName::none &&
            node.stringValue() == kLeaf)
            return node.index();
    ADD_FAILURE() << "no changed leaf in " << xml;
    return 1;
}

/// Describes the change of a case.
class Described {
public:
    explicit Described(std::string_view xml)
        : newDocument_(parsed(side(xml, true))), baseDocument_(parsed(side(xml, false))) {
        const NodeIdentity identity(*newDocument_);
        const auto markers = NodeIdentity(*baseDocument_).markerNames();
        const TextSet markerNames(markers.begin(), markers.end());
        const IdentityList uuids(baseDocument_->uuidList());
        const Node leaf(*newDocument_, placeOfLeaf(xml));
        const Node oldLeaf(*baseDocument_, placeOfLeaf(xml));
        description = ChangeDescriptions(identity, markerNames, uuids, host, budget)
                          .describe({leaf, leaf.stringValue(), oldLeaf, oldLeaf.stringValue()});
    }

    Description description;
    RecordingHost host;
    SentenceBudget budget;

private:
    std::unique_ptr<const XmemlDocument> newDocument_;
    std::unique_ptr<const XmemlDocument> baseDocument_;
};

constexpr WordingCase kCases[] = {
    // Containers and bookkeeping
    {"<bin><children>[a|b]</children></bin>", ""},
    {"<project>[a|b]</project>", ""},
    {"<media><video>[a|b]</video></media>", ""},
    {"<media><audio>[a|b]</audio></media>", ""},
    {"<sequence><media>[a|b]</media></sequence>", ""},
    {"<video><track>[a|b]</track></video>", ""},
    {"<clipitem><filter>[a|b]</filter></clipitem>", ""},
    {"<effect><effectid>[a|b]</effectid></effect>", ""},
    {"<effect><effectcategory>[a|b]</effectcategory></effect>", ""},
    {"<effect><effecttype>[a|b]</effecttype></effect>", ""},
    {"<clipitem><masterclipid>[a|b]</masterclipid></clipitem>", ""},
    {"<clip><ismasterclip>[FALSE|TRUE]</ismasterclip></clip>", ""},
    {"<effect><privatestate>[a|b]</privatestate></effect>", ""},
    {"<track><outputchannelindex>[1|2]</outputchannelindex></track>", ""},
    {"<codec><data>[a|b]</data></codec>", ""},

    // Names
    {"<project><name>[A|B]</name></project>", "Project name changed to B"},
    {"<sequence><name>[A|B]</name></sequence>", "Name changed to B"},
    {"<sequence><uuid>{1|2}</uuid><name>[A|B]</name></sequence>", "Sequence added: B"},
    {"<sequence><uuid>1</uuid><name>[A|B]</name></sequence>", "Sequence name changed to B"},
    {"<clipitem><name>[A|B]</name></clipitem>", "Name changed to B"},
    {"<clip><uuid>{1|2}</uuid><name>[A|B]</name></clip>", "New clip added: B"},
    {"<sequence><name>S</name><video><clipitem><name>M</name><multiclip><name>MC</name><angle>"
     "<clip><name>[A|B]</name><uuid>{1|2}</uuid></clip></angle></multiclip></clipitem></video>"
     "</sequence>",
     "New video clip added for sequence S to multiclip MC: B"},
    {"<audio><clipitem><uuid>{1|2}</uuid><name>[A|B]</name><subclipinfo/><stillframeoffset/>"
     "</clipitem></audio>",
     "New audio subclip added: B"},
    {"<clip><uuid>1</uuid><name>[A|B]</name></clip>", ""},
    {"<clip><uuid>1</uuid><name>[A|My%20Clip]</name></clip>",
     "My Clip clip name changed to My%20Clip"},
    {"<bin><name>[A|B]</name></bin>", "Name changed to B"},
    {"<bin><uuid>{1|2}</uuid><name>[A|B]</name></bin>", "New bin added: B"},
    {"<bin><uuid>1</uuid><name>[A|B]</name></bin>", "A bin name changed to B"},
    {"<clipitem><file><codec><name>[A|B]</name></codec></file></clipitem>",
     "Clip codec changed to B"},
    {"<sequence><codec><name>[A|B]</name></codec></sequence>", "Sequence codec changed to B"},
    {"<project><codec><name>[A|B]</name></codec></project>", ""},
    // The name asked for is that of the name element, which only an id can give it.
    {"<sequence><name>S</name><clipitem><name>C</name><marker><name id='M'>[M|N]</name></marker>"
     "</clipitem></sequence>",
     "Marker M name changed to N in sequence S for clip C"},
    {"<sequence><name>S</name><clipitem><name>C</name><marker><name>[M|N]</name></marker>"
     "</clipitem></sequence>",
     "Marker N added for sequence S to clip C"},
    {"<parameter><name>[A|B]</name></parameter>", ""},

    // Values
    {"<effect><name>Blur</name><parameter><name>radius</name><value>[1|2]</value></parameter>"
     "</effect>",
     "Radius set to 2 for Blur Filter"},
    {"<effect><name>Blur</name><parameter><name>éclat</name><value>[1|2]</value></parameter>"
     "</effect>",
     "Éclat set to 2 for Blur Filter"},
    {"<clipitem><name>C</name><effect><name>Blur</name><parameter><name>radius</name><keyframe>"
     "<when>48</when><value>[1|2]</value></keyframe></parameter></effect></clipitem>",
     "Keyframe at 48 set to 2 for filter Blur on clip C"},
    {"<keyframe><when>48</when><value>[1|2]</value></keyframe>", "Keyframe at 48 set to 2"},
    {"<param><value>[1|2]</value></param>", "Value changed to 2"},

    // Durations
    {"<sequence><name>S</name><duration>[0|30]</duration></sequence>",
     "S sequence duration changed from 01:00:00;00 to 01:00:01;00 (+30)"},
    {"<clip><name>C</name><duration>[30|0]</duration></clip>",
     "C clip duration changed from 00:00:01;00 to 00:00:00;00 (-30)"},
    {"<generatoritem><name>G</name><duration>[0|30]</duration></generatoritem>",
     "Duration changed to 00:00:01;00 for G generator"},
    {"<transitionitem><duration>[0|30]</duration></transitionitem>", "Duration changed to 30"},

    // In points
    {"<sequence><name>S</name><in>[0|-1]</in></sequence>", "In Point of sequence S removed"},
    {"<sequence><name>S</name><in>[0|0x]</in></sequence>",
     "In Point of sequence S changed from 01:00:00;00 to 01:00:00;00 (0)"},
    {"<clip><name>C</name><in>[0|-1]</in></clip>", "In Point of clip C removed"},
    {"<clipitem><name>C</name><in>[100|110]</in><stillframeoffset>0</stillframeoffset></clipitem>",
     "In Point of freeze frame C changed from 00:00:03;10 to 00:00:03;20 (+10)"},
    {"<clipitem><name>C</name><in>[100|90]</in></clipitem>",
     "In Point of clip C changed from 00:00:03;10 to 00:00:03;00 (-10)"},
    {"<generatoritem><name>G</name><in>[0|-1]</in></generatoritem>",
     "In Point of generator G removed"},
    {"<effect><name>F</name><in>[0|30]</in></effect>",
     "In Point of filter F changed to 00:00:01;00"},
    {"<transitionitem><name>T</name><in>[0|30]</in></transitionitem>",
     "In Point of transition T changed to 00:00:01;00"},
    {"<marker><name>M</name><in>[0|-1]</in></marker>", "In Point of marker M removed"},
    {"<clip><name>C</name><video><in>[0|-1]</in></video></clip>",
     "In Point of video clip C removed"},
    {"<clipitem><name>C</name><audio><in>[0|30]</in></audio></clipitem>",
     "In Point of audio clip C changed from 00:00:00;00 to 00:00:01;00 (+30)"},
    {"<sequence><name>S</name><video><in>[0|-1]</in></video></sequence>",
     "In Point of video track in sequence S removed"},
    {"<sequence><name>S</name><audio><in>[0|30]</in></audio></sequence>",
     "In Point of audio track in sequence S changed from 01:00:00;00 to 01:00:01;00 (+30)"},
    {"<media><in>[0|30]</in></media>", "In changed to 30"},

    // Out points
    {"<sequence><name>S</name><out>[0|-1]</out></sequence>", "Out Point of sequence S removed"},
    {"<sequence><name>S</name><out>[0|30]</out></sequence>",
     "Out Point of sequence S changed from 01:00:00;00 to 01:00:01;00 (+30)"},
    {"<clip><name>C</name><subclipinfo/><out>[0|-1]</out></clip>",
     "Out Point of subclip C removed"},
    {"<clipitem><name>C</name><out>[0|30]</out></clipitem>",
     "Out Point of clip C changed from 00:00:00;00 to 00:00:01;00 (+30)"},
    {"<generatoritem><name>G</name><out>[0|30]</out></generatoritem>",
     "Out Point of generator G changed to 00:00:01;00"},
    {"<effect><name>F</name><out>[0|30]</out></effect>",
     "In Point of filter F changed to 00:00:01;00"},
    {"<transitionitem><name>T</name><out>[0|-1]</out></transitionitem>",
     "Out Point of transition T removed"},
    {"<marker><name>M</name><out>[0|30]</out></marker>",
     "Out Point of marker M changed to 00:00:01;00"},
    {"<clip><name>C</name><audio><out>[0|-1]</out></audio></clip>",
     "Out Point of audio clip C removed"},
    {"<clip><name>C</name><audio><out>[0|30]</out></audio></clip>",
     "Out Point of audio clip C changed from 00:00:00;00 to 00:00:01;00 (+30)"},
    {"<sequence><name>S</name><audio><out>[0|-1]</out></audio></sequence>",
     "Out Point of audio track in sequence S removed"},
    {"<sequence><name>S</name><audio><out>[0|30]</out></audio></sequence>",
     "Out Point of audio track in sequence S changed from 01:00:00;00 to 01:00:01;00 (+30)"},
    {"<clip><name>C</name><video><out>[0|30]</out></video></clip>", "Out changed to 30"},

    // Starts
    {"<sequence><name>S</name><start>[0|30]</start></sequence>",
     "S sequence Start changed from 01:00:00;00 to 01:00:01;00 (+30)"},
    {"<video><clipitem><name>C</name><start>[0|-1]</start></clipitem></video>",
     "Transition added at beginning of video clip C"},
    {"<audio><clip><name>C</name><start>[0|30]</start></clip></audio>",
     "Start point of audio clip C changed from 00:00:00;00 to 00:00:01;00 (+30)"},
    {"<generatoritem><name>G</name><start>[0|-1]</start></generatoritem>",
     "Transition added at beginning of generator G"},
    {"<generatoritem><name>G</name><start>[0|30]</start></generatoritem>",
     "Start point of generator G changed from 00:00:00;00 to 00:00:01;00 (+30)"},
    {"<transitionitem><name>T</name><start>[0|-1]</start></transitionitem>",
     "Start point of transition T removed"},
    {"<filter><effect><name>F</name></effect><start>[0|30]</start></filter>",
     "Start point of filter F changed to 00:00:01;00"},
    {"<clip><name>C</name><audio><start>[0|-1]</start></audio></clip>",
     "Transition added at beginning of audio clip C"},
    {"<clipitem><name>C</name><audio><start>[0|30]</start></audio></clipitem>",
     "Start of audio clip C changed from 00:00:00;00 to 00:00:01;00 (+30)"},
    {"<media><start>[0|30]</start></media>", "Start changed to 30"},

    // Ends
    {"<sequence><name>S</name><end>[0|30]</end></sequence>",
     "S sequence End changed from 01:00:00;00 to 01:00:01;00 (+30)"},
    {"<video><clipitem><name>C</name><end>[0|-1]</end></clipitem></video>",
     "Transition added at end of video clip C"},
    {"<clip><name>C</name><end>[0|30]</end></clip>",
     "End point of clip C changed from 00:00:00;00 to 00:00:01;00 (+30)"},
    {"<generatoritem><name>G</name><end>[0|-1]</end></generatoritem>",
     "Transition added at end of generator G"},
    {"<generatoritem><name>G</name><end>[0|30]</end></generatoritem>",
     "End point of generator G changed from 00:00:00;00 to 00:00:01;00 (+30)"},
    {"<transitionitem><name>T</name><end>[0|-1]</end></transitionitem>",
     "End point of transition T removed"},
    {"<filter><effect><name>F</name></effect><end>[0|30]</end></filter>",
     "End point of filter F changed to 00:00:01;00"},
    {"<clip><name>C</name><audio><end>[0|-1]</end></audio></clip>",
     "Transition added at end of audio clip C"},
    {"<clip><name>C</name><audio><end>[0|30]</end></audio></clip>",
     "End of audio clip C changed from 00:00:00;00 to 00:00:01;00 (+30)"},
    {"<media><end>[0|30]</end></media>", "End changed to 30"},

    // Subclips
    {"<clipitem><name>C</name><subclipinfo><startoffset>[0|30]</startoffset></subclipinfo>"
     "</clipitem>",
     "Start point of subclip C changed from 00:00:00;00 to 00:00:01;00 (+30)"},
    {"<clipitem><startoffset>[0|30]</startoffset></clipitem>", "Startoffset changed to 30"},
    {"<clip><name>C</name><subclipinfo><mediadelay>[0|30]</mediadelay></subclipinfo></clip>",
     "Start point of subclip C changed from 00:00:00;00 to 00:00:01;00 (+30)"},
    {"<clip><mediadelay>[0|30]</mediadelay></clip>", "Mediadelay changed to 30"},
    {"<clip><name>C</name><subclipinfo><endoffset>[0|30]</endoffset></subclipinfo></clip>",
     "End point of subclip C changed to 00:00:01;00"},
    {"<bin><subclipinfo><endoffset>[0|30]</endoffset></subclipinfo></bin>",
     "Endoffset changed to 30"},

    // Format
    {"<sequence><name>S</name><a><b><c><d><width>[1|2]</width></d></c></b></a></sequence>",
     "S sequence width changed to 2"},
    {"<clipitem><name>C</name><subclipinfo/><a><b><c><d><width>[1|2]</width></d></c></b></a>"
     "</clipitem>",
     "Subclip C width changed to 2"},
    {"<clip><a><b><c><d><width>[1|2]</width></d></c></b></a></clip>", "Width changed to 2"},
    {"<sequence><name>S</name><a><b><c><d><height>[1|2]</height></d></c></b></a></sequence>",
     "S sequence height changed to 2"},
    {"<clipitem><name>C</name><a><b><c><d><height>[1|2]</height></d></c></b></a></clipitem>",
     "Clip C height changed to 2"},
    {"<a><height>[1|2]</height></a>", "Height changed to 2"},
    {"<sequence><name>S</name><a><b><c><d><pixelaspectratio>[1|2]</pixelaspectratio></d></c></b>"
     "</a></sequence>",
     "S sequence pixel aspect ratio changed to 2"},
    // What makes it a freeze frame must be its own child here ...
    {"<clipitem><name>C</name><a><b><c><d><stillframeoffset/><pixelaspectratio>[1|2]"
     "</pixelaspectratio></d></c></b></a></clipitem>",
     "Clip C pixel aspect ratio changed to 2"},
    {"<a><pixelaspectratio>[1|2]</pixelaspectratio></a>", "Pixelaspectratio changed to 2"},
    {"<sequence><name>S</name><a><b><c><d><fielddominance>[1|2]</fielddominance></d></c></b></a>"
     "</sequence>",
     "S sequence field dominance changed to 2"},
    // ... and may lie anywhere below here.
    {"<clip><name>C</name><a><b><c><d><stillframeoffset/><fielddominance>[1|2]</fielddominance>"
     "</d></c></b></a></clip>",
     "Freeze frame C field dominance changed to 2"},
    {"<a><fielddominance>[1|2]</fielddominance></a>", "Fielddominance changed to 2"},
    {"<sequence><name>S</name><rate><timebase>[25|30]</timebase></rate></sequence>",
     "S sequence timebase changed to 30"},
    {"<clip><name>C</name><rate><timebase>[25|30]</timebase></rate></clip>",
     "Clip C timebase changed to 30"},
    {"<file><rate><timebase>[25|30]</timebase></rate></file>", "Timebase changed to 30"},
    {"<sequence><name>S</name><rate><ntsc>[FALSE|TRUE]</ntsc></rate></sequence>",
     "S sequence is NTSC"},
    {"<clipitem><name>C</name><rate><ntsc>[TRUE|FALSE]</ntsc></rate></clipitem>",
     "Clip C is not NTSC"},
    {"<file><rate><ntsc>[FALSE|TRUE]</ntsc></rate></file>", "Ntsc changed to TRUE"},

    // Switches
    {"<sequence><name>S</name><enabled>[TRUE|FALSE]</enabled></sequence>", "S sequence disabled"},
    {"<clipitem><name>C</name><enabled>[FALSE|TRUE]</enabled></clipitem>", "Clip C enabled"},
    {"<clipitem><name>C</name><filter><effect><name>F</name></effect><enabled>[TRUE|FALSE]"
     "</enabled></filter></clipitem>",
     "F filter for clip C disabled"},
    {"<track><enabled>[TRUE|FALSE]</enabled></track>", "Enabled changed to FALSE"},
    {"<generatoritem><name>G</name><alphatype>[none|black]</alphatype></generatoritem>",
     "Alpha type for generator G set to black"},
    {"<effect><name>F</name><alphatype>[none|black]</alphatype></effect>",
     "Alpha type for filter F set to black"},
    {"<clipitem><name>C</name><alphatype>[none|black]</alphatype></clipitem>",
     "Alpha type for clip C set to black"},
    {"<file><alphatype>[none|black]</alphatype></file>", "Alphatype changed to black"},

    // Anything else inside an effect
    {"<effect><name>F</name><wipecode>[0|1]</wipecode></effect>", "Wipecode set to 1 for F Filter"},
    {"<effect><name>F</name><a><b><wipecode>[0|1]</wipecode></b></a></effect>",
     "Wipecode set to 1 for F Filter"},
    {"<effect><name>F</name><a><b><c><alignment>[0|1]</alignment></c></b></a></effect>",
     "Alignment set to 1 for  Filter"},
    {"<effect>[0|1]</effect>", "Effect set to 1 for  Filter"},

    {"<transitionitem><name>T</name><alignment>[start|center]</alignment></transitionitem>",
     "Transition aligment set to center for T"},
    {"<track><alignment>[start|center]</alignment></track>", "Alignment changed to center"},
    {"<marker><name>M</name><comment>[a|b]</comment></marker>",
     "M marker description changed to b"},
    {"<clip><comment>[a|b]</comment></clip>", "Comment changed to b"},
    {"<clip><lösung>[a|b]</lösung></clip>", "Lösung changed to b"},
};

TEST(ChangeDescriptions, EveryRowOfTheTable) {
    std::set<std::size_t> rows;
    for (const WordingCase& row : kCases) {
        const Described described("<xmeml>" + std::string(row.xml) + "</xmeml>");
        EXPECT_EQ(described.description.sentence.value_or(""), row.sentence) << row.xml;
        EXPECT_EQ(described.description.sentence.has_value(), !row.sentence.empty()) << row.xml;
        rows.insert(described.description.row);
    }
    for (std::size_t row = 0; row < ChangeDescriptions::rowCount(); ++row)
        EXPECT_TRUE(rows.contains(row)) << "no case reaches row " << row;
}

TEST(ChangeDescriptions, UnforeseenChangesAreLoggedWithTheirPlace) {
    const Described described("<xmeml><clip/><clip><file/><label2>[a|b]</label2></clip></xmeml>");
    EXPECT_EQ(described.description.sentence, "Label2 changed to b");
    EXPECT_EQ(described.host.log,
              std::vector<std::string>{
                  "Unknown change: Label2 changed to b. XPath: /xmeml[1]/clip[2]/label2[1]"});
}

TEST(ChangeDescriptions, CancellingEndsTheProgressAndSaysNothing) {
    const auto document = parsed("<xmeml><project><name>A</name></project></xmeml>");
    const NodeIdentity identity(*document);
    const IdentityList uuids(document->uuidList());
    RecordingHost host;
    host.cancelAtPoll = 1;
    const TextSet markerNames;
    SentenceBudget budget;
    ChangeDescriptions descriptions(identity, markerNames, uuids, host, budget);
    const Node name = firstNamed(*document, "name");
    EXPECT_EQ(descriptions.changeStringFromNode({name, "B", name, "A"}), std::nullopt);
    EXPECT_EQ(host.ends, 1);
}

} // namespace
} // namespace cutstack
