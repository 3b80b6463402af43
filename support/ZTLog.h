#pragma once

// The program's diagnostic log: class functions in front of the process's one LogWriter. The file
// is "Logs/Zantrel/NAME.1.log" in the user's Library, NAME being that of the executable; older
// runs' files are numbered up to 5. Any thread may log.

#include <array>
#include <optional>
#include <string_view>

#include "support/LogWriter.h"

namespace cutstack {

class ZTLog {
public:
    /// The one instance, made at the first call and never destroyed.
    [[nodiscard]] static LogWriter& sharedController();

    /// Starts a new log file for this run; LogWriter::createNewLog().
    static void createNewLog(std::optional<std::string_view> name = std::nullopt) {
        sharedController().createNewLog(name);
    }

    /// Logs one line: `format` with its placeholders (see Format.h) filled in.
    template <typename... Arguments>
    static void appendLog(std::optional<std::string_view> format, const Arguments&... arguments) {
        sharedController().appendLog(format, arguments...);
    }

    /// The same, also to the system log; LogWriter::appendLogAndPrint().
    template <typename... Arguments>
    static void appendLogAndPrint(std::optional<std::string_view> format,
                                  const Arguments&... arguments) {
        sharedController().appendLogAndPrint(
            format, std::array<FormatArgument, sizeof...(arguments)>{FormatArgument(arguments)...});
    }

    /// Returns when every line is written. main calls it last.
    static void finishWriting() { sharedController().finishWriting(); }
};

} // namespace cutstack
