// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Keys at a terminal: what the routines take, and the settings while they wait and afterwards.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "port/for_portlib.h"
#include "support/child.h"
#include "support/terminal.h"

namespace {

using namespace tamrun_test;

constexpr tcflag_t kLooked = ICANON | ECHO;

/// Runs `body` with the terminal as standard input; it must leave the terminal's settings as they were.
void at_terminal(const char* typed, const std::function<void(Terminal&)>& body) {
  Terminal terminal;
  const tcflag_t before = terminal.modes();
  const Child_Result child = run_child(
      [&] {
        terminal.become(STDIN_FILENO);
        termios settings;
        EXPECT_EQ(tcgetattr(STDIN_FILENO, &settings), 0);
        // Keys that were typed for a line stay with the line: they come once line editing is off.
        const tcflag_t line = settings.c_lflag;
        settings.c_lflag &= ~ICANON;
        EXPECT_EQ(tcsetattr(STDIN_FILENO, TCSANOW, &settings), 0);
        terminal.type(typed);
        terminal.settle(typed);
        settings.c_lflag = line;
        EXPECT_EQ(tcsetattr(STDIN_FILENO, TCSANOW, &settings), 0);
        body(terminal);
      },
      Capture::kPipe, 10);
  EXPECT_EQ(child.status, 0) << child.out << child.err;
  EXPECT_EQ(terminal.modes(), before);
}

TEST(Console, GetstrEndsAtTheLengthOrAtAKeyThatIsNoCharacter) {
  const struct {
    const char* typed;
    i64 length;
    i64 count;
    const char* text;
  } kRows[] = {{"abcdef", 4, 4, "abcd"},     {"ab\n", 4, 2, "ab  "}, {"a\tb", 4, 1, "a   "},
               {"ab\xc3\xa4", 4, 2, "ab  "}, {"\n", 4, 0, "    "},   {"", 0, 0, "####"}};
  for (const auto& row : kRows) {
    at_terminal(row.typed, [&](Terminal&) {
      char text[5] = "####";
      EXPECT_EQ(getstrqq_(text, row.length), row.count) << row.typed;
      EXPECT_STREQ(text, row.text) << row.typed;
    });
  }
}

TEST(Console, KeysAreReadAndSeenOneByOne) {
  at_terminal("xy", [](Terminal& terminal) {
    char key = '#';
    EXPECT_EQ(peekcharqq_(), 1);
    EXPECT_EQ(getcharqq_(&key), &key);
    EXPECT_EQ(key, 'x');
    EXPECT_EQ(peekcharqq_(), 1);  // what the C library has taken already
    (void)getcharqq_(&key);
    EXPECT_EQ(key, 'y');
    EXPECT_EQ(peekcharqq_(), 0);
    EXPECT_EQ(terminal.modes() & kLooked, kLooked);
  });
}

TEST(Console, KeypressModeLastsUntilItIsTakenBack) {
  for (i32 echo_off : {0, 1}) {
    at_terminal("", [&](Terminal& terminal) {
      set_keypress(echo_off);
      EXPECT_EQ(terminal.modes() & kLooked, echo_off ? 0u : tcflag_t{ECHO});
      EXPECT_EQ(reset_keypress(), 0);
      EXPECT_EQ(terminal.modes() & kLooked, kLooked);
    });
  }
}

TAMRUN_CHILD_TEST(Console, ReadsWhatIsNoTerminalToo) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
  alarm(10);
  EXPECT_EQ(peekcharqq_(), 0);
  ASSERT_EQ(write(ends[1], "ab\n", 3), 3);
  EXPECT_EQ(peekcharqq_(), 1);
  char text[3];
  EXPECT_EQ(getstrqq_(text, sizeof text), 2);
  EXPECT_EQ(std::string(text, 3), "ab ");
  close(ends[1]);
  EXPECT_EQ(getstrqq_(text, sizeof text), 0);
  EXPECT_EQ(reset_keypress(), -1);
}

}  // namespace
