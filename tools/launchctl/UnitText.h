#pragma once

// Foreign text in unit names and unit files. A path or a name may hold anything; whatever it is, it
// stays one word and can neither begin a directive nor refer to something. Pure; any thread.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cutstack::launchctl {

/// `text` as a part of a unit's name, as systemd-escape(1) does it: letters, digits, ':', '_' and
/// '.' (but not as the first letter) stay, '/' becomes '-', every other byte a "\xNN". So '-' in a
/// unit's name parts what was escaped from what was added.
[[nodiscard]] std::string escapedForUnitName(std::string_view text);

/// `text` in quotation marks, on one line of printable ASCII.
[[nodiscard]] std::string quotedText(std::string_view text);

/// What quotedText() was given; nothing when `text` is not what it makes.
[[nodiscard]] std::optional<std::string> plainText(std::string_view text);

/// The value of ExecStart= (systemd.service(5)) that runs `program`, an absolute path, with
/// `arguments`, of which the first is the name of the process; nothing in it is a variable or a
/// specifier. systemd runs no program whose path has quotation marks, backslashes or control
/// characters: such a one is run through nice(1), and then is called by its path.
[[nodiscard]] std::string commandLine(std::string_view program,
                                      const std::vector<std::string>& arguments);

} // namespace cutstack::launchctl
