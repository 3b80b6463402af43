#include "support/ZTException.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <system_error>

#include "tests/TemporaryFolder.h"
#include "tests/platform/Fakes.h"

namespace cutstack {
namespace {

class ZTExceptionTest : public testing::Test {
protected:
    ZTExceptionTest() {
        environment_.home = home_.path();
        log_.createNewLog(std::nullopt);
    }
    [[nodiscard]] std::string logged() const {
        return contentOf(home_ / "Library/Logs/Zantrel/Cutstack.1.log");
    }

    TemporaryFolder home_;
    FakeEnvironment environment_;
    FakeConsole screen_;
    Locations locations_{environment_, screen_};
    FakeClock clock_;
    FakeSystemLog console_;
    LogWriter log_{{locations_, clock_, console_, [] { return LogHeader(); }}};
};

TEST_F(ZTExceptionTest, LogsPrintsAndReturnsOneText) {
    const Exception exception("NSGenericException", "boom");
    const std::string text = "Exception in -[A b]. NSGenericException - boom.";
    EXPECT_EQ(ZTException::logException(exception, "-[A b]", log_), text);
    EXPECT_TRUE(logged().ends_with("2010-03-14 17:05:09 +0100 - " + text + "\n"));
    EXPECT_EQ(console_.messages(), std::vector<std::string>{text});
}

TEST_F(ZTExceptionTest, APerCentSignCountsInTheLogOnly) {
    const Exception exception("NSGenericException", "50% of %@ done");
    EXPECT_EQ(ZTException::logException(exception, "-[A b]", log_),
              "Exception in -[A b]. NSGenericException - 50% of %@ done.");
    EXPECT_TRUE(logged().ends_with("NSGenericException - 50% of  done.\n"));
}

TEST_F(ZTExceptionTest, GuardedOperationsEndQuietly) {
    EXPECT_TRUE(guarded(
        "-[A b]", [] {}, log_));
    EXPECT_EQ(guarded(
                  "-[A b]", [] { return 7; }, log_),
              7);
    EXPECT_TRUE(console_.messages().empty());

    EXPECT_FALSE(guarded(
        "-[A b]", [] { throw std::out_of_range("index 5"); }, log_));
    EXPECT_EQ(guarded(
                  "-[A c]", []() -> int { throw std::runtime_error("no"); }, log_),
              std::nullopt);
    EXPECT_FALSE(guarded(
        "-[A d]", [] { throw 1; }, log_)); // NOLINT: what nobody should throw
    EXPECT_EQ(console_.messages(), (std::vector<std::string>{
                                       "Exception in -[A b]. NSRangeException - index 5.",
                                       "Exception in -[A c]. NSGenericException - no.",
                                       "Exception in -[A d]. NSGenericException - no reason given.",
                                   }));
}

TEST(ZTException, NamesExceptionsAndKnowsTimeouts) {
    const auto check = [](const std::exception& exception, const char* name, bool didTimeout) {
        EXPECT_EQ(ZTException::nameOf(exception), name);
        EXPECT_EQ(ZTException::didTimeout(exception), didTimeout);
    };
    check(Exception("NSPortTimeoutException", "late"), "NSPortTimeoutException", true);
    check(Exception("NSPortTimeoutException2", "late"), "NSPortTimeoutException2", false);
    check(std::runtime_error("NSPortTimeoutException"), "NSGenericException", false);
    check(std::bad_alloc(), "NSMallocException", false);
    check(std::out_of_range(""), "NSRangeException", false);
    check(std::length_error(""), "NSRangeException", false);
    check(std::invalid_argument(""), "NSInvalidArgumentException", false);
    check(std::system_error(std::error_code()), "NSGenericException", false);
}

} // namespace
} // namespace cutstack
