// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The end of a program that asks for what the adapter cannot serve.

#include "adapters/gnu/refuse.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#include "core/failure.h"

namespace {

constexpr u32 kSevereDiagnostic = 4u << 26;  // the bits above the low 26 choose the severity
constexpr size_t kTextBytes = 1024;

}  // namespace

void refuse(const char* format, ...) {
  char text[kTextBytes];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  (void)for_emit_diagnostic(kSevereDiagnostic, "%s", text);
  exit(EXIT_FAILURE);  // a handler of the program has taken the diagnostic
}

void refuse_statement(const Gfc_Common& block, const char* name) {
  refuse("%s is not served on unit %d (%s, line %d)", name, block.unit, block.source_name, block.source_line);
}
