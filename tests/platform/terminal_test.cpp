// Reading a password from standard input: a pipe, and a terminal that shows nothing of it.
#include <gtest/gtest.h>

#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include "platform/terminal.h"

namespace zrtmon::terminal {
namespace {

/// Becomes standard input, to the end of the process or the next one.
void MakeInput(int descriptor)
{
    EXPECT_EQ(STDIN_FILENO, dup2(descriptor, STDIN_FILENO));
    close(descriptor);
}

TEST(SecretFromAPipe, IsALineAtATime)
{
    const std::string longest(CSecret::kCapacity, 'x');
    const std::pair<std::string, std::vector<std::pair<SecretEnd, std::string>>> pipes[] = {
        {"", {{SecretEnd::EndOfInput, ""}, {SecretEnd::EndOfInput, ""}}},
        {"one\ntwo\r\n\nlast",
         {{SecretEnd::Line, "one"},
          {SecretEnd::Line, "two"},
          {SecretEnd::Line, ""},
          {SecretEnd::Line, "last"},
          {SecretEnd::EndOfInput, ""}}},
        {longest + "\n", {{SecretEnd::Line, longest}}},
        {longest + "x\nnext\n", {{SecretEnd::TooLong, ""}, {SecretEnd::Line, "next"}}}};
    for (const auto& [bytes, reads] : pipes) {
        int ends[2];
        ASSERT_EQ(0, pipe(ends));
        MakeInput(ends[0]);
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()), write(ends[1], bytes.data(), bytes.size()));
        close(ends[1]);
        EXPECT_FALSE(IsInputTyped());
        CSecret line;
        for (const auto& [end, text] : reads) {
            EXPECT_EQ(end, ReadSecret(line, [] { return false; }));
            EXPECT_EQ(text, line.Text());
        }
    }
}

bool Echoes()
{
    termios settings{};
    return tcgetattr(STDIN_FILENO, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
}

TEST(SecretFromATerminal, IsNotShownAndCanBeStoppedInTheMiddle)
{
    int master = -1;
    int slave = -1;
    ASSERT_EQ(0, openpty(&master, &slave, nullptr, nullptr, nullptr));
    MakeInput(slave);
    const auto type = [master](const std::string& keys) {
        EXPECT_EQ(static_cast<ssize_t>(keys.size()), write(master, keys.data(), keys.size()));
    };
    EXPECT_TRUE(IsInputTyped());
    CSecret line;
    bool typed = false;
    EXPECT_EQ(SecretEnd::Line, ReadSecret(line, [&] {
                  EXPECT_FALSE(Echoes());
                  type(typed ? "" : "sekrez\x7Ft\n"); // corrected while typing
                  typed = true;
                  return false;
              }));
    EXPECT_EQ("sekret", line.Text());
    EXPECT_TRUE(Echoes());

    int calls = 0;
    EXPECT_EQ(SecretEnd::Stopped, ReadSecret(line, [&] {
                  type(calls == 0 ? "half" : "");
                  return ++calls == 3;
              }));
    EXPECT_EQ("", line.Text());
    EXPECT_TRUE(Echoes());

    const std::string mark = "mark"; // the terminal shows it after what it echoed
    ASSERT_EQ(4, write(STDIN_FILENO, mark.data(), mark.size()));
    std::string shown(64, '\0');
    shown.resize(static_cast<size_t>(std::max<ssize_t>(0, read(master, shown.data(), shown.size()))));
    EXPECT_TRUE(shown.ends_with(mark)) << shown;
    EXPECT_EQ(std::string::npos, shown.find("sekre")) << shown;
    EXPECT_EQ(std::string::npos, shown.find("half")) << shown;
    close(master);
}

} // namespace
} // namespace zrtmon::terminal
