#pragma once

// One exchange with the editor: a question is put together step by step, sent, and its answer
// waited for.
//
//   target -> event -> project -> further parameters -> send -> reply
//
// The first step that fails ends the exchange with a line on the console. Blocks until the reply
// is there or the default time-out has passed; any thread, several exchanges at once.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fcp/EditorServices.h"

namespace cutstack {

// Result codes of steps, as Macs number these failures.
inline constexpr std::int32_t kMemoryFull = -108;
inline constexpr std::int32_t kCoercionFailed = -1700; ///< bytes that their type does not allow

/// What the console is told of a step that fails; a "%d" becomes the result code.
struct ExchangeMessages {
    std::string_view target = "Error creating app description";
    std::string_view event = "Error creating AppleEvent";
    std::string_view project = "Error adding project file to AppleEvent query";
    std::string_view send = "Error sending AppleEvent";
};

/// A parameter behind the project, and what the console is told when it cannot be added.
struct EventParameter {
    FourCharCode keyword{};
    EventDescriptor value;
    std::string_view failure;
};

struct ExchangeRequest {
    FourCharCode eventID{};
    /// The file of the project; none for a question that is about no project.
    std::optional<std::string> projectPath = std::nullopt;
    std::vector<EventParameter> parameters = {};
    ExchangeMessages messages = {};
    /// Without a file to refer to the project is left out silently, and with it, unless this is
    /// set, all the other parameters.
    bool keepsParametersWithoutProject = false;
};

/// What an editor that does not answer sensibly is reported as.
inline constexpr std::string_view kNoCommunication =
    "Unable to communicate with Final Cut Pro. Please make sure it is running.";

/// Has the exchange and returns the parameters of the reply. Nothing after a failure, of which the
/// console was told.
[[nodiscard]] std::optional<std::vector<EventField>> exchangeEvent(ExchangeRequest request,
                                                                   const EditorServices& at);

/// The XML that a reply brought, without its terminating zero byte, shared with the reply; it may
/// be empty. Nothing when the reply has none, of which the console was told.
[[nodiscard]] std::optional<SharedBytes> xmlOfReply(const std::vector<EventField>& reply,
                                                    const EditorServices& at);

} // namespace cutstack
