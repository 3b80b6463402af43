#include "app/WindowModule.h"

#include <gtest/gtest.h>

#include "tests/platform/Fakes.h"

namespace cutstack {
namespace {

int argumentsOf(int argc, char** argv) { return argc + (argv == nullptr ? 100 : 0); }

TEST(WindowModule, RunsTheModuleOfTheOwnBundle) {
    const auto bundle = Bundle::ofExecutable("/opt/Cutstack.app/Contents/MacOS/Cutstack");
    FakeModuleLoader loader;
    FakeSystemLog console;
    loader.function = reinterpret_cast<void*>(&argumentsOf);
    EXPECT_EQ(runWindowModule(&*bundle, loader, console, 3, nullptr), 103);
    EXPECT_EQ(loader.asked, (std::vector<std::pair<std::string, std::string>>{
                                {"/opt/Cutstack.app/Contents/PlugIns/libCutstackWindow.so",
                                 "cutstackRunApplication"}}));
    EXPECT_TRUE(console.messages().empty());
}

TEST(WindowModule, SaysWhyThereIsNoWindow) {
    const auto bundle = Bundle::ofExecutable("/opt/Cutstack.app/Contents/MacOS/Cutstack");
    FakeModuleLoader loader;
    FakeSystemLog console;
    EXPECT_EQ(runWindowModule(&*bundle, loader, console, 1, nullptr), 1);
    EXPECT_EQ(runWindowModule(nullptr, loader, console, 1, nullptr), 1);
    EXPECT_EQ(console.messages(),
              (std::vector<std::string>{
                  "Unable to open the window: no such module",
                  "Unable to open the window: the program does not run from its bundle"}));
}

} // namespace
} // namespace cutstack
