#include "cli/Console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

namespace bkfd {
namespace {

/// A terminal in the place of the standard input.
class StandInTerminal {
  public:
    StandInTerminal() {
        if (keyboard < 0 || grantpt(keyboard) != 0 || unlockpt(keyboard) != 0)
            throw std::runtime_error("this machine has no pseudo terminals (/dev/pts)");
        const int screen = open(ptsname(keyboard), O_RDWR | O_NOCTTY);
        dup2(screen, STDIN_FILENO);
        close(screen);
    }
    ~StandInTerminal() {
        dup2(before, STDIN_FILENO);
        close(before);
        close(keyboard);
    }
    StandInTerminal(const StandInTerminal&) = delete;
    StandInTerminal& operator=(const StandInTerminal&) = delete;

    void Type(char key) const { ASSERT_EQ(write(keyboard, &key, 1), 1); }
    /// How much of what was typed lies there, in whole lines.
    static int Waiting() {
        int count = 0;
        return ioctl(STDIN_FILENO, FIONREAD, &count) == 0 ? count : -1;
    }
    static bool WaitsForAKey() {
        termios mode{};
        return tcgetattr(STDIN_FILENO, &mode) == 0 && (mode.c_lflag & ICANON) == 0;
    }

  private:
    const int before = dup(STDIN_FILENO);
    const int keyboard = posix_openpt(O_RDWR | O_NOCTTY);
};

TEST(Console, WhatWasTypedBeforeAQuestionIsNoAnswer) {
    const StandInTerminal terminal;
    const Console console = ProcessConsole();
    EXPECT_TRUE(console.isInTerminal);
    for (const char key : {'r', 'o', 'w', '\n'}) terminal.Type(key);
    while (StandInTerminal::Waiting() < 4) std::this_thread::yield();
    console.dropTypedAhead();
    std::thread user([&] {
        while (!StandInTerminal::WaitsForAKey()) std::this_thread::yield();
        terminal.Type('c');
    });
    EXPECT_EQ(console.readKey(), 'c');
    user.join();
    EXPECT_FALSE(StandInTerminal::WaitsForAKey()) << "the terminal is as it was";
}

}  // namespace
}  // namespace bkfd
