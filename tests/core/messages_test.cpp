// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The message table, its lookup and its translation through a catalogue.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <string>

#include "core/failure.h"
#include "core/messages.h"
#include "support/child.h"

namespace {

using tamrun_test::read_file;
using tamrun_test::run_child;
using tamrun_test::Temp_Dir;
using tamrun_test::write_file;

// The first lookup of a process decides about the catalogue: each test leaves it to a child.

TAMRUN_CHILD_TEST(Messages, EveryNumberFindsItsRowAndNoOtherDoes) {
  size_t row = 0;
  for (int number = -2; number <= 1000; ++number) {
    const bool present = row < std::size(for_msgtab_velox) && static_cast<int>(for_msgtab_velox[row].number) == number;
    int severity = -1;
    const char* text = nullptr;
    ASSERT_EQ(get_message(number, &severity, &text), present ? 0 : 1) << number;
    if (!present) continue;
    EXPECT_EQ(severity, static_cast<int>(for_msgtab_velox[row].severity)) << number;
    EXPECT_STREQ(text, for_msgtab_velox[row].text) << number;
    EXPECT_LE(severity, SEV_SEVERE) << number;
    ++row;
  }
  EXPECT_EQ(row, 571u);
  EXPECT_EQ(for_msgtab_velox[570].number, 788u);
}

TAMRUN_CHILD_TEST(Messages, GetMsgFormatsOrCopies) {
  EXPECT_STREQ(for__get_msg(MSG_READ_ERROR, 2, 7, "a.dat"), "error during read, unit 7, file a.dat");
  EXPECT_STREQ(for__get_msg(MSG_READ_ERROR, 0), "error during read, unit %d, file %s");
  EXPECT_STREQ(for__get_msg(7, 0), "");
  const std::string name(400, 'n');
  EXPECT_EQ(strlen(for__get_msg(MSG_READ_ERROR, 2, 7, name.c_str())), 263u);
}

// A catalogue of real life: the texts of some messages in another language, the others missing.
TEST(Messages, CatalogueTranslatesTextsAndPrefixesButNotSeverities) {
  if (system("command -v gencat >/dev/null") != 0) GTEST_SKIP() << "no gencat";
  Temp_Dir dir;
  write_file(dir.file("source.msg"),
             "$set 1\n"
             "39 Lesefehler, Einheit %d, Datei %s\n"
             "454 tamrtl: schwer (%i): \n"
             "455 einlangerprogrammname\n"
             "788 Bild %d (%d, %d)\\n\n");
  const std::string catalog = dir.file("tamrun_msg.cat");
  ASSERT_EQ(system(("gencat " + catalog + " " + dir.file("source.msg")).c_str()), 0);

  const auto report = [](const char* lang) {
    setenv("LANG", lang, 1);
    printf("%s\n", for__get_msg(MSG_READ_ERROR, 2, 3, "x"));
    printf("%s\n", for__get_msg(MSG_NO_MEMORY, 0));
    int severity;
    const char* text;
    get_message(MSG_READ_ERROR, &severity, &text);
    printf("%d|%s|%s|%s|%s", severity, severity_table[4], severity_table[1], severity_table[6], tamrtl_header);
    for__message_catalog_close();
    printf("%s|%s|%s\n", severity_table[4], for__get_msg(MSG_READ_ERROR, 0), getenv("LANG"));
    for__message_catalog_close();
  };
  const std::string translated =
      "Lesefehler, Einheit 3, Datei x\ninsufficient virtual memory\n"
      "4|tamrtl: schwer (%i): |tamrtl: info (%i): |Bild %d (%d, %d)\n|einlangerprogra"
      "tamrtl: severe (%i): |error during read, unit %d, file %s|";
  const auto direct = run_child([&] {
    setenv("NLSPATH", (dir.path() + "/%N").c_str(), 1);
    report("C");
  });
  EXPECT_EQ(direct.out, translated + "C\n");
  EXPECT_EQ(direct.err, "");

  // Only the locale's name without its codeset leads to the catalogue.
  const auto retried = run_child([&] {
    setenv("NLSPATH", (dir.path() + "/%L/%N").c_str(), 1);
    mkdir((dir.path() + "/de_DE").c_str(), 0700);
    rename(catalog.c_str(), (dir.path() + "/de_DE/tamrun_msg.cat").c_str());
    report("de_DE.UTF-8");
  });
  EXPECT_EQ(retried.out, translated + "de_DE.UTF-8\n");
}

TEST(Messages, NoCatalogueIsNotWorthAWord) {
  const auto child = run_child([] {
    setenv("NLSPATH", "/nonexistent/%N", 1);
    printf("%s", for__get_msg(MSG_READ_ERROR, 0));
  });
  EXPECT_EQ(child.out, "error during read, unit %d, file %s");
  EXPECT_EQ(child.err, "");
}

}  // namespace
