#pragma once

// What script/test-as-user made for the tests that need a real sudo: rules for the user who runs
// them, of which it tells in the environment.

#include <cstdlib>
#include <optional>
#include <string>

#include "tests/TemporaryFolder.h"

namespace cutstack {

struct SudoRule {
    static constexpr const char* kWhyNot =
        "there is no sudo rule for this user; script/test makes one when CI runs it as root";

    std::string helper;            ///< sudo runs it for this user without a password
    std::string helperForPassword; ///< and this one with
    std::string password;
    std::string rootsFolder; ///< may be seen, not changed; "closed" in it not even seen

    static std::optional<SudoRule> ofThisRun() {
        const char* folder = std::getenv("CUTSTACK_TEST_SUDO");
        const char* password = std::getenv("CUTSTACK_TEST_PASSWORD_FILE");
        if (folder == nullptr || password == nullptr)
            return std::nullopt;
        const std::string of = folder;
        return SudoRule{of + "/free/cutstack-privileged", of + "/asking/cutstack-privileged",
                        contentOf(password), of + "/files"};
    }
};

} // namespace cutstack
