// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// DOS-style device names.

#include "units/open.h"

#include <string.h>

namespace {

struct Special_Device {
  char name[10];
  i8 value;
  u8 flag;
};

constexpr Special_Device for_special_device_table[] = {
    {"CON", 1, 1},   {"USER", -6, 0}, {"PRN", -2, 0},  {"COM1", -4, 0}, {"COM2", -2, 0},
    {"COM3", -2, 0}, {"COM4", -2, 0}, {"LPT1", -2, 0}, {"LPT2", -2, 0}, {"LPT3", -2, 0},
    {"LPT4", -2, 0}, {"NUL", -3, 0},  {"AUX", -4, 0},  {"ERR", 2, 0},   {"LINE", -4, 0}};

constexpr int kNoDevice = -1;

/// Names of files rather than devices when an extension follows.
bool keeps_extension(char first) { return strchr("ELUelu", first) != nullptr; }

}  // namespace

int for__is_special_device(For_Lub* lub, char* name) {
  constexpr size_t kShortest = 3, kLongest = 4;
  if (!lub->lub_f_compat_io) return kNoDevice;
  char* dot = strrchr(name, '.');
  const size_t length = dot != nullptr ? static_cast<size_t>(dot - name) : strlen(name);
  if (length < kShortest || length > kLongest) return kNoDevice;
  for (const Special_Device& device : for_special_device_table) {
    if (strlen(device.name) != length || memcmp(device.name, name, length) != 0) continue;
    if (dot != nullptr && dot[1] != '\0' && keeps_extension(*name)) return kNoDevice;
    name[length] = '\0';
    lub->lub_f_device = device.flag;
    return device.value;
  }
  return kNoDevice;
}
