// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The end of a program that asks for what the adapter cannot serve.
#ifndef TAMGNU_REFUSE_H
#define TAMGNU_REFUSE_H

#include "adapters/gnu/gfortran_abi.h"

/// Prints a severe diagnostic and ends the process.
[[noreturn]] void refuse(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The same for a statement that the owner of its unit does not serve.
[[noreturn]] void refuse_statement(const Gfc_Common& block, const char* name);

#endif
