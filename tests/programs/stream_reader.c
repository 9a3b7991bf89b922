// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What the files of stream.f90 hold: 0, or the line of the first difference.
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#define REQUIRE(condition) \
  if (!(condition)) {      \
    fclose(file);          \
    return __LINE__;       \
  }

int check_stream(const char* name) {
  FILE* file = fopen(name, "rb");
  if (file == NULL) return __LINE__;
  int32_t header[2];
  double value;
  char tail[5] = "";
  REQUIRE(fread(header, sizeof header, 1, file) == 1 && header[0] == 0x12345678 && header[1] == 1000);
  for (int i = 1; i <= 1000; i++) {
    REQUIRE(fread(&value, sizeof value, 1, file) == 1 && value == (i == 1 ? 0.5 : i / 8.0));
  }
  REQUIRE(fread(tail, 4, 1, file) == 1 && strcmp(tail, "tail") == 0);
  REQUIRE(fgetc(file) == EOF);
  fclose(file);
  return 0;
}

int check_records(const char* name) {
  FILE* file = fopen(name, "rb");
  if (file == NULL) return __LINE__;
  int32_t words[4];
  double value;
  REQUIRE(fread(words, 4, 2, file) == 2 && words[0] == 12 && words[1] == 1);
  REQUIRE(fread(&value, sizeof value, 1, file) == 1 && value == 2.0);
  REQUIRE(fread(words, 4, 4, file) == 4 && words[0] == 12 && words[1] == 0 && words[2] == 0 && words[3] == 8000);
  for (int i = 1; i <= 1000; i++) {
    REQUIRE(fread(&value, sizeof value, 1, file) == 1 && value == i / 8.0);
  }
  REQUIRE(fread(words, 4, 1, file) == 1 && words[0] == 8000);
  REQUIRE(fgetc(file) == EOF);
  fclose(file);
  return 0;
}
