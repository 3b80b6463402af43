#pragma once

// The rights of an administrator, for single tools. They are asked for once in a run: whoever
// grants them starts one helper process, which runs the tools that it knows, one command for each
// request, until this process ends. Any thread.

#include <optional>
#include <string>
#include <vector>

namespace cutstack {

class Privileges {
public:
    virtual ~Privileges() = default;

    /// Whether the rights could be had at all, with the agreement of those who are asked: 0, or an
    /// error number of the system with the reason in `error`.
    [[nodiscard]] virtual int faultOfMeans(std::string& error) = 0;

    /// Whether the rights are there now.
    [[nodiscard]] virtual bool areObtained() = 0;

    /// Asks for the rights, which may show a person a question. True at once when they are there.
    /// On failure returns false with the reason in `error`.
    [[nodiscard]] virtual bool obtain(std::string& error) = 0;

    /// Asks for the rights of an administrator by name and password, without any question to a
    /// person, also when they are there. On failure those that were there stay, and the reason is
    /// in `error`. The password reaches neither a command line, nor the environment, nor a file. A
    /// system may take only the user of this process for `user`, and not look at the password of
    /// one that it gives the rights without any.
    [[nodiscard]] virtual bool obtainAs(const std::string& user, const std::string& password,
                                        std::string& error) = 0;

    /// Gives the rights up; does nothing without them.
    virtual void giveUp() = 0;

    /// Runs the tool at `tool` with the rights. Waits for its end when `waits` is set, and else
    /// returns when it has been started. REQUIRES: areObtained().
    /// Returns its exit status, 128 plus the number of the signal that ended it, or 0 for a tool
    /// that runs on; nothing, with the reason in `error`, for one that was refused or could not be
    /// started.
    [[nodiscard]] virtual std::optional<int> run(const std::string& tool,
                                                 const std::vector<std::string>& arguments,
                                                 bool waits, std::string& error) = 0;
};

/// Those of this machine. Lives as long as the process.
[[nodiscard]] Privileges& privileges();

} // namespace cutstack
