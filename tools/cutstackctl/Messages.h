#pragma once

// What every command of cutstackctl says in the same way: how it ended, and what went wrong. Main
// thread.

#include <nlohmann/json.hpp>
#include <ostream>
#include <string_view>

namespace cutstack::cutstackctl {

/// A worse end is a greater number.
enum ExitStatus : int { kDone = 0, kNothingDone = 1, kTrouble = 2 };

/// Prints `message` as a line of this program on standard error and returns `status`.
int complain(std::string_view message, ExitStatus status = kTrouble);

/// Prints the object on one line. Bytes that are no UTF-8 become U+FFFD.
void printJsonLine(std::ostream& out, const nlohmann::ordered_json& object);

} // namespace cutstack::cutstackctl
