// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What GNU Fortran's code passes: parameter blocks of statements and array descriptors, as gfortran 12 emits them for
// x86-64. Only what the adapter reads has a name.
#ifndef TAMGNU_GFORTRAN_ABI_H
#define TAMGNU_GFORTRAN_ABI_H

#include "tamrun/types.h"

/// First word of a parameter block. The low two bits are the outcome, which compiled code tests behind a statement and
/// before each turn of an implied DO; the other bits tell which specifiers are there.
enum Gfc_Flags : u32 {
  GFC_OUTCOME_MASK = 3,
  GFC_OUTCOME_ERROR = 1,
  GFC_OUTCOME_END = 2,
  GFC_OUTCOME_EOR = 3,
  GFC_ERR = 1u << 2,
  GFC_END = 1u << 3,
  GFC_EOR = 1u << 4,
  GFC_IOSTAT = 1u << 5,
  GFC_IOMSG = 1u << 6,
  GFC_DT_LIST_DIRECTED = 1u << 7,  ///< data transfers
  GFC_DT_REC = 1u << 9,
  GFC_DT_SIZE = 1u << 10,
  GFC_DT_FORMAT = 1u << 12,
  GFC_DT_ADVANCE = 1u << 13,
  GFC_DT_INTERNAL = 1u << 14,
  GFC_DT_POS = 1u << 17,
  GFC_DT_ASYNCHRONOUS = 1u << 18,
  GFC_DT_BLANK = 1u << 19,
  GFC_DT_DECIMAL = 1u << 20,
  GFC_DT_DELIM = 1u << 21,
  GFC_DT_PAD = 1u << 22,
  GFC_DT_ROUND = 1u << 23,
  GFC_DT_SIGN = 1u << 24,
  GFC_DT_DEC_EXTENSIONS = 1u << 27,  ///< compiled with -fdec: no specifier
  GFC_OPEN_RECL = 1u << 7,           ///< OPEN
  GFC_OPEN_FILE = 1u << 8,
  GFC_OPEN_STATUS = 1u << 9,
  GFC_OPEN_ACCESS = 1u << 10,
  GFC_OPEN_FORM = 1u << 11,
  GFC_OPEN_BLANK = 1u << 12,
  GFC_OPEN_POSITION = 1u << 13,
  GFC_OPEN_ACTION = 1u << 14,
  GFC_OPEN_DELIM = 1u << 15,
  GFC_OPEN_PAD = 1u << 16,
  GFC_OPEN_CONVERT = 1u << 17,
  GFC_OPEN_DECIMAL = 1u << 18,
  GFC_OPEN_ENCODING = 1u << 19,
  GFC_OPEN_ROUND = 1u << 20,
  GFC_OPEN_SIGN = 1u << 21,
  GFC_OPEN_ASYNCHRONOUS = 1u << 22,
  GFC_OPEN_NEWUNIT = 1u << 23,
  GFC_OPEN_READONLY = 1u << 24,  ///< the word tells whether READONLY was given
  GFC_OPEN_CARRIAGECONTROL = 1u << 25,
  GFC_OPEN_SHARE = 1u << 26,
  GFC_CLOSE_STATUS = 1u << 7,   ///< CLOSE
  GFC_INQUIRE_EXIST = 1u << 7,  ///< INQUIRE
  GFC_INQUIRE_OPENED = 1u << 8,
  GFC_INQUIRE_NUMBER = 1u << 9,
  GFC_INQUIRE_NAMED = 1u << 10,
  GFC_INQUIRE_NEXTREC = 1u << 11,
  GFC_INQUIRE_RECL = 1u << 12,
  GFC_INQUIRE_POS = 1u << 13,
  GFC_INQUIRE_FILE = 1u << 14,
  GFC_INQUIRE_ACCESS = 1u << 15,
  GFC_INQUIRE_FORM = 1u << 16,
  GFC_INQUIRE_BLANK = 1u << 17,
  GFC_INQUIRE_POSITION = 1u << 18,
  GFC_INQUIRE_ACTION = 1u << 19,
  GFC_INQUIRE_DELIM = 1u << 20,
  GFC_INQUIRE_PAD = 1u << 21,
  GFC_INQUIRE_NAME = 1u << 22,
  GFC_INQUIRE_SEQUENTIAL = 1u << 23,
  GFC_INQUIRE_DIRECT = 1u << 24,
  GFC_INQUIRE_FORMATTED = 1u << 25,
  GFC_INQUIRE_UNFORMATTED = 1u << 26,
  GFC_INQUIRE_READ = 1u << 27,
  GFC_INQUIRE_WRITE = 1u << 28,
  GFC_INQUIRE_READWRITE = 1u << 29,
  GFC_INQUIRE_CONVERT = 1u << 30,
  GFC_INQUIRE_MORE = 1u << 31,  ///< flags2 counts
};

/// flags2 of an INQUIRE.
enum Gfc_Inquire_Flags2 : u32 {
  GFC_INQUIRE2_ASYNCHRONOUS = 1u << 0,
  GFC_INQUIRE2_DECIMAL = 1u << 1,
  GFC_INQUIRE2_ENCODING = 1u << 2,
  GFC_INQUIRE2_ROUND = 1u << 3,
  GFC_INQUIRE2_SIGN = 1u << 4,
  GFC_INQUIRE2_PENDING = 1u << 5,
  GFC_INQUIRE2_SIZE = 1u << 6,
  GFC_INQUIRE2_ID = 1u << 7,
  GFC_INQUIRE2_STREAM = 1u << 8,
  GFC_INQUIRE2_SHARE = 1u << 9,
  GFC_INQUIRE2_CARRIAGECONTROL = 1u << 10,
};

/// Head of every parameter block.
struct Gfc_Common {
  u32 flags;
  i32 unit;
  const char* source_name;  ///< NUL-terminated
  i32 source_line;
  i64 iomsg_len;
  char* iomsg;
  i32* iostat;
};
static_assert(offsetof(Gfc_Common, source_name) == 0x08 && offsetof(Gfc_Common, source_line) == 0x10);
static_assert(offsetof(Gfc_Common, iomsg_len) == 0x18 && offsetof(Gfc_Common, iomsg) == 0x20);
static_assert(offsetof(Gfc_Common, iostat) == 0x28 && sizeof(Gfc_Common) == 0x30);

/// Bytes at the end of a data transfer block that compiled code neither sets nor reads: they belong to whoever serves
/// the statement.
inline constexpr size_t kServerBytes = 0x100;

/// Unit number of internal files. Another one stands for those of CHARACTER(KIND=4).
inline constexpr i32 kGfcInternalUnit = -1;

/// Parameter block of READ and WRITE. A character specifier is a pointer and a length, in either order.
struct Gfc_Dt {
  Gfc_Common common;
  i64 rec;
  i64* size;
  u64 unserved1;
  const struct Gfc_Array* internal_array;  ///< internal file: null for a scalar
  const char* format;  ///< with its parentheses; alive until the statement ends, unlike the other specifiers
  i64 format_len;
  i64 advance_len;
  const char* advance;
  char* internal;    ///< internal file: its first element
  i64 internal_len;  ///< characters of an element
  u64 unserved2[3];
  i64 pos;
  const char* asynchronous;
  i64 asynchronous_len;
  i64 blank_len;
  const char* blank;
  const char* decimal;
  i64 decimal_len;
  i64 delim_len;
  const char* delim;
  const char* pad;
  i64 pad_len;
  i64 round_len;
  const char* round;
  const char* sign;
  i64 sign_len;
  alignas(8) char server[kServerBytes];
};
static_assert(offsetof(Gfc_Dt, size) == 0x38 && offsetof(Gfc_Dt, format) == 0x50);
static_assert(offsetof(Gfc_Dt, internal_array) == 0x48 && offsetof(Gfc_Dt, internal) == 0x70);
static_assert(offsetof(Gfc_Dt, advance) == 0x68 && offsetof(Gfc_Dt, pos) == 0x98 && offsetof(Gfc_Dt, blank) == 0xb8);
static_assert(offsetof(Gfc_Dt, decimal) == 0xc0 && offsetof(Gfc_Dt, delim_len) == 0xd0);
static_assert(offsetof(Gfc_Dt, round_len) == 0xf0 && offsetof(Gfc_Dt, sign) == 0x100);
static_assert(offsetof(Gfc_Dt, server) == 0x110 && sizeof(Gfc_Dt) == 0x210);

/// Parameter block of OPEN.
struct Gfc_Open {
  Gfc_Common common;
  i64 recl;
  i64 file_len;
  const char* file;
  const char* status;
  i64 status_len;
  i64 access_len;
  const char* access;
  const char* form;
  i64 form_len;
  i64 blank_len;
  const char* blank;
  const char* position;
  i64 position_len;
  i64 action_len;
  const char* action;
  const char* delim;
  i64 delim_len;
  i64 pad_len;
  const char* pad;
  const char* convert;
  i64 convert_len;
  i64 decimal_len;
  const char* decimal;
  const char* encoding;
  i64 encoding_len;
  i64 round_len;
  const char* round;
  const char* sign;
  i64 sign_len;
  i64 asynchronous_len;
  const char* asynchronous;
  i32* newunit;
  i32 readonly;
  i64 carriagecontrol_len;
  const char* carriagecontrol;
  const char* share;
  i64 share_len;
};
static_assert(offsetof(Gfc_Open, status) == 0x48 && offsetof(Gfc_Open, form) == 0x68);
static_assert(offsetof(Gfc_Open, action) == 0xa0 && offsetof(Gfc_Open, convert) == 0xc8);
static_assert(offsetof(Gfc_Open, sign) == 0x108 && offsetof(Gfc_Open, newunit) == 0x128);
static_assert(offsetof(Gfc_Open, carriagecontrol) == 0x140 && sizeof(Gfc_Open) == 0x158);

/// Parameter block of CLOSE.
struct Gfc_Close {
  Gfc_Common common;
  const char* status;
  i64 status_len;
};
static_assert(sizeof(Gfc_Close) == 0x40);

/// Parameter block of INQUIRE. Logicals are 32 bits wide, whatever their kind in the source.
struct Gfc_Inquire {
  Gfc_Common common;
  i32* exist;
  i32* opened;
  i32* number;
  i32* named;
  i64* nextrec;
  i64* recl;
  i64* pos;
  const char* file;
  i64 file_len;
  i64 access_len;
  char* access;
  char* form;
  i64 form_len;
  i64 blank_len;
  char* blank;
  char* position;
  i64 position_len;
  i64 action_len;
  char* action;
  char* delim;
  i64 delim_len;
  i64 pad_len;
  char* pad;
  char* name;
  i64 name_len;
  i64 sequential_len;
  char* sequential;
  char* direct;
  i64 direct_len;
  i64 formatted_len;
  char* formatted;
  char* unformatted;
  i64 unformatted_len;
  i64 read_len;
  char* read;
  char* write;
  i64 write_len;
  i64 readwrite_len;
  char* readwrite;
  char* convert;
  i64 convert_len;
  u32 flags2;  ///< Gfc_Inquire_Flags2
  char* asynchronous;
  i64 asynchronous_len;
  i64 decimal_len;
  char* decimal;
  char* encoding;
  i64 encoding_len;
  i64 round_len;
  char* round;
  char* sign;
  i64 sign_len;
  i32* pending;
  i64* size;
  i32* id;
  char* stream;
  i64 stream_len;
  i64 share_len;
  char* share;
  char* carriagecontrol;
  i64 carriagecontrol_len;
};
static_assert(offsetof(Gfc_Inquire, exist) == 0x30 && offsetof(Gfc_Inquire, file) == 0x68);
static_assert(offsetof(Gfc_Inquire, access) == 0x80 && offsetof(Gfc_Inquire, position) == 0xa8);
static_assert(offsetof(Gfc_Inquire, name) == 0xe8 && offsetof(Gfc_Inquire, unformatted) == 0x128);
static_assert(offsetof(Gfc_Inquire, convert) == 0x168 && offsetof(Gfc_Inquire, asynchronous) == 0x180);
static_assert(offsetof(Gfc_Inquire, sign) == 0x1c0 && offsetof(Gfc_Inquire, size) == 0x1d8);
static_assert(offsetof(Gfc_Inquire, stream) == 0x1e8 && offsetof(Gfc_Inquire, carriagecontrol) == 0x208);
static_assert(sizeof(Gfc_Inquire) == 0x218);

enum Gfc_Type : u8 {
  GFC_INTEGER = 1,
  GFC_LOGICAL = 2,
  GFC_REAL = 3,
  GFC_COMPLEX = 4,
  GFC_CHARACTER = 6,
};

struct Gfc_Dim {
  i64 stride;  ///< elements
  i64 lower;
  i64 upper;
};

inline constexpr int kGfcMaxRank = 15;

/// Array descriptor; as many dimensions follow as the rank tells.
struct Gfc_Array {
  char* data;  ///< the element whose index is the lower bound in every dimension
  i64 offset;
  u64 elem_len;  ///< bytes
  i32 version;
  i8 rank;
  i8 type;  ///< Gfc_Type
  i16 attribute;
  i64 span;
  Gfc_Dim dim[kGfcMaxRank];
};
static_assert(offsetof(Gfc_Array, rank) == 0x1c && offsetof(Gfc_Array, type) == 0x1d);
static_assert(offsetof(Gfc_Array, dim) == 0x28);

/// True is 1 in gfortran's code and an odd number in the library's: makes the one of the other.
inline void make_truth(void* logical, size_t bytes) {
  auto* const low = static_cast<u8*>(logical);
  *low &= 1;
  __builtin_memset(low + 1, 0, bytes - 1);
}

/// Word of the array that the main program passes to _gfortran_set_options: keep the sign of a negative zero.
inline constexpr int kOptionSignZero = 4;
/// Word of the same array: the floating-point flags that STOP reports, 0 none.
inline constexpr int kOptionFpeSummary = 6;

#endif
