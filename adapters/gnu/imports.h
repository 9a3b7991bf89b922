// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What a program refers to, as its dynamic relocations tell.
#ifndef TAMGNU_IMPORTS_H
#define TAMGNU_IMPORTS_H

/// True when the program or a library that it has loaded refers to an entry point that works on a file and that only the
/// peer serves. Whether it is ever called on a file cannot be known; once it is, it is too late to hand the file over.
bool program_needs_peers_files();

#endif
