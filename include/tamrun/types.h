// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Fixed-width names and the export marker used everywhere in the library. This header and those that tamrun.h
// includes serve GNU C as well as C++.
#ifndef TAMRUN_TYPES_H
#define TAMRUN_TYPES_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

typedef uint8_t u8;
typedef uint16_t u16;
typedef uint32_t u32;
typedef uint64_t u64;
typedef int8_t i8;
typedef int16_t i16;
typedef int32_t i32;
typedef int64_t i64;

/// Marks a function or object that leaves the shared library. Everything else is hidden; the linker version
/// script repeats the list.
#ifdef __cplusplus
#define TAMRUN_ENTRY extern "C" __attribute__((visibility("default")))
#else
#define TAMRUN_ENTRY extern __attribute__((visibility("default")))
#endif

/// Behind the name of an enumeration: its underlying type, which C chooses itself.
#ifdef __cplusplus
#define TAMRUN_BASE_U8 : u8
#define TAMRUN_BASE_U64 : u64
#else
#define TAMRUN_BASE_U8
#define TAMRUN_BASE_U64
#endif

#endif
