// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Keeps the support library from being empty in builds that select few tests.
