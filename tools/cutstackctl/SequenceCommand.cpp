#include "tools/cutstackctl/SequenceCommand.h"

#include "fcp/ZTAppleEvents.h"
#include "support/TildePaths.h"
#include "tools/ProgressLine.h"
#include "tools/SentenceOutput.h"
#include "tools/cutstackctl/Messages.h"
#include "tools/cutstackctl/WatchedFiles.h"

#include <algorithm>
#include <iostream>
#include <vector>

namespace cutstack::cutstackctl {

namespace {

using Sequences = std::vector<ProjectSequence>;

/// What the editor finds in the project, each sequence once. Those without an identifier cannot be
/// asked for and are left out.
std::optional<Sequences> sequencesIn(const std::string& path) {
    ProgressLine progress;
    progress.show("Asking the editor for the sequences", std::nullopt);
    const auto found = ZTAppleEvents::sequencesInProject(path);
    if (!found)
        return std::nullopt;
    Sequences sequences;
    for (const EditorSequence& sequence : *found)
        if (!sequence.uuid.empty() &&
            std::ranges::find(sequences, sequence.uuid, &ProjectSequence::uuid) == sequences.end())
            sequences.push_back({sequence.name, sequence.uuid});
    return sequences;
}

void print(const Sequences& sequences, const std::optional<std::string>& chosen) {
    std::cout << (chosen ? "  " : "* ") << "Entire Project\n";
    for (const ProjectSequence& sequence : sequences)
        std::cout << (sequence.uuid == chosen ? "* " : "  ") << onOneLine(sequence.name) << " ["
                  << onOneLine(sequence.uuid) << "]\n";
}

void printAsJson(const Sequences& sequences, const std::optional<std::string>& chosen) {
    for (const ProjectSequence& sequence : sequences)
        printJsonLine(std::cout, {{"name", sequence.name},
                                  {"uuid", sequence.uuid},
                                  {"chosen", sequence.uuid == chosen}});
}

int show(const ZTProject& row, const std::string& path, const Options& options) {
    const auto sequences = sequencesIn(path);
    if (!sequences)
        return complain(path + ": the editor did not tell its sequences");
    (options.json ? printAsJson : print)(*sequences, row.selectedUUID());
    return sequences->empty() ? kNothingDone : kDone;
}

/// The one sequence of that identifier or else of that name; complains when there is not one.
std::optional<ProjectSequence> sequenceCalled(const std::string& given,
                                              const Sequences& sequences) {
    const auto isCalled = [&](const ProjectSequence& s) { return s.name == given; };
    auto found = std::ranges::find(sequences, given, &ProjectSequence::uuid);
    if (found == sequences.end() && std::ranges::count_if(sequences, isCalled) > 1) {
        complain("several sequences are called '" + given + "'; give the identifier of one:");
        for (const ProjectSequence& sequence : sequences)
            if (isCalled(sequence))
                complain(sequence.uuid);
        return std::nullopt;
    }
    if (found == sequences.end())
        found = std::ranges::find_if(sequences, isCalled);
    if (found != sequences.end())
        return *found;
    complain("the project has no sequence '" + given + "'");
    return std::nullopt;
}

int told(Program& program, const std::string& path, const std::string& what) {
    if (const std::string error = program.storeSettings(); !error.empty())
        return complain("the choice could not be stored: " + error);
    std::cout << onOneLine(path) << ": " << onOneLine(what) << '\n';
    return kDone;
}

int choose(Program& program, std::size_t row, const std::string& path, const std::string& given) {
    WatchList& list = program.parts().watchList();
    // One that was chosen before can be so again without the editor.
    const Sequences& known = list.fileArray()[row].sequences();
    const bool isKnown = std::ranges::find(known, given, &ProjectSequence::uuid) != known.end();
    const auto sequences = isKnown ? std::optional(known) : sequencesIn(path);
    if (!sequences)
        return complain(path + ": the editor did not tell its sequences");
    const auto sequence = sequenceCalled(given, *sequences);
    if (!sequence)
        return kNothingDone;
    list.chooseSequence(row, *sequence);
    return told(program, path, "Sequence " + sequence->name);
}

} // namespace

std::optional<ProjectSequence> chosenSequence(const ZTProject& row) {
    const auto& sequences = row.sequences();
    const auto chosen = row.selectedUUID() ? std::ranges::find(sequences, *row.selectedUUID(),
                                                               &ProjectSequence::uuid)
                                           : sequences.end();
    return chosen == sequences.end() ? std::nullopt : std::optional(*chosen);
}

int sequence(Program& program, const Options& options) {
    WatchList& list = program.parts().watchList();
    std::string error;
    const auto row = rowOf(options.operands.front(), list, error);
    if (!row)
        return complain(error, kNothingDone);
    const std::string path = pathsOfRows(list)[*row];
    if (options.operands.size() > 1)
        return choose(program, *row, path, options.operands[1]);
    if (!options.entireProject)
        return show(list.fileArray()[*row], path, options);
    list.changeSequence(*row, std::nullopt);
    return told(program, path, "Entire Project");
}

} // namespace cutstack::cutstackctl
