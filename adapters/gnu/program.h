// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Start and end of a program.
#ifndef TAMGNU_PROGRAM_H
#define TAMGNU_PROGRAM_H

/// Starts the library once per process and arranges its end. A program whose main is not Fortran comes here with its
/// first statement.
void start_library();

/// -fsign-zero, which is GNU Fortran's default: a negative zero is written with its sign.
bool keeps_sign_of_zero();

#endif
