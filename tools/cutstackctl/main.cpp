// cutstackctl: what Cutstack keeps and does, on a terminal.

#include "platform/ProcessPreparation.h"
#include "tools/cutstackctl/HistoryCommands.h"
#include "tools/cutstackctl/JobCommands.h"
#include "tools/cutstackctl/Messages.h"
#include "tools/cutstackctl/Options.h"
#include "tools/cutstackctl/Program.h"
#include "tools/cutstackctl/PruneCommand.h"
#include "tools/cutstackctl/SequenceCommand.h"
#include "tools/cutstackctl/SnapshotCommand.h"
#include "tools/cutstackctl/StatusCommand.h"
#include "tools/cutstackctl/WatchCommands.h"

#include <algorithm>
#include <array>
#include <exception>
#include <iostream>

namespace cutstack::cutstackctl {

namespace {

int printHelp(const Options& /*options*/) {
    std::cout << helpText();
    return kDone;
}

int printVersion(const Options& /*options*/) {
    std::cout << "cutstackctl (Cutstack) " CUTSTACK_VERSION "\n";
    return kDone;
}

/// What a command does: by itself, or with the program's parts.
struct CommandWork {
    Command command;
    int (*alone)(const Options&);
    int (*withProgram)(Program&, const Options&) = nullptr;
    Access access = Access::looks; ///< where the operands ask for a change
};

constexpr std::array kWork = {
    CommandWork{Command::help, printHelp},
    CommandWork{Command::version, printVersion},
    CommandWork{Command::history, history},
    CommandWork{Command::projects, projects},
    CommandWork{Command::watch, nullptr, watch, Access::changesJobs},
    CommandWork{Command::unwatch, nullptr, unwatch, Access::changesJobs},
    CommandWork{Command::list, nullptr, list},
    CommandWork{Command::sequence, nullptr, sequence, Access::changesSettings},
    CommandWork{Command::snapshot, nullptr, snapshot},
    CommandWork{Command::backups, nullptr, backups, Access::changesJobs},
    CommandWork{Command::autosave, nullptr, autosave, Access::changesJobs},
    CommandWork{Command::prune, nullptr, prune},
    CommandWork{Command::status, nullptr, status},
};

/// Some commands only tell when they are not given a value.
bool isQuestion(const Options& options) {
    switch (options.command) {
    case Command::sequence:
        return options.operands.size() < 2 && !options.entireProject;
    case Command::backups:
    case Command::autosave:
        return !options.isOn;
    default:
        return false;
    }
}

int perform(const Options& options) {
    const auto& work = *std::ranges::find(kWork, options.command, &CommandWork::command);
    if (work.alone != nullptr)
        return work.alone(options);
    std::string error;
    const auto program = Program::open(isQuestion(options) ? Access::looks : work.access, error);
    return program != nullptr ? work.withProgram(*program, options) : complain(error);
}

int run(std::span<const char* const> arguments) {
    std::string error;
    const auto options = parseOptions(arguments, error);
    if (!options) {
        complain(error);
        std::cerr << "Try 'cutstackctl --help'.\n";
        return kTrouble;
    }
    const int status = perform(*options);
    return std::cout.flush() ? status : complain("the output could not be written");
}

} // namespace

} // namespace cutstack::cutstackctl

int main(int argc, char** argv) {
    using namespace cutstack::cutstackctl;
    cutstack::prepareProcess();
    try {
        return run({argv + (argc > 0 ? 1 : 0), argv + argc});
    } catch (const std::bad_alloc&) {
        return complain("out of memory");
    } catch (const std::exception& exception) {
        return complain(exception.what());
    }
}
