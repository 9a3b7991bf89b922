// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The argument block of OPEN, filled from the keyword list or by a default connection.
#ifndef TAMRUN_OPEN_ARGS_H
#define TAMRUN_OPEN_ARGS_H

#include "tamrun/types.h"

/// Keys of the keyword lists of OPEN, CLOSE, INQUIRE and of the control lists of data transfer statements.
enum For_Key : int {
  KEY_ACCESS = 2,
  KEY_ASSOCIATEVARIABLE = 4,
  KEY_ASSOCIATEVARIABLE_ALT = 5,
  KEY_BLANK = 6,
  KEY_CARRIAGECONTROL = 8,
  KEY_DEFAULTFILE = 10,
  KEY_DISPOSE = 12,
  KEY_FILE = 13,
  KEY_FORM = 15,
  KEY_ORGANIZATION = 18,
  KEY_READONLY = 20,
  KEY_RECL = 21,
  KEY_RECORDTYPE = 23,
  KEY_SHARED = 25,
  KEY_STATUS = 26,
  KEY_EXIST = 27,  ///< 27 to 47, 62 to 64, 70, 73, 74, 76, 77, 80, 85 and 87: INQUIRE alone
  KEY_NAMED = 29,
  KEY_NEXTREC = 31,
  KEY_NUMBER = 33,
  KEY_OPENED = 35,
  KEY_DIRECT = 37,
  KEY_FORMATTED = 39,
  KEY_KEYED = 41,
  KEY_NAME = 43,
  KEY_SEQUENTIAL = 45,
  KEY_UNFORMATTED = 47,
  KEY_MAXREC = 49,
  KEY_BLOCKSIZE = 50,
  KEY_BUFFERCOUNT = 51,
  KEY_CONVERT = 52,
  KEY_UNREAD54 = 54,  ///< 54 to 56, 66 and 69 have no effect
  KEY_UNREAD55 = 55,
  KEY_UNREAD56 = 56,
  KEY_USEROPEN = 57,
  KEY_ACTION = 58,
  KEY_DELIM = 59,
  KEY_PAD = 60,
  KEY_POSITION = 61,
  KEY_READ = 62,
  KEY_READWRITE = 63,
  KEY_WRITE = 64,
  KEY_RECL_BYTES = 65,
  KEY_UNREAD66 = 66,
  KEY_MODE = 67,
  KEY_SHARE = 68,
  KEY_UNREAD69 = 69,
  KEY_BINARY = 70,
  KEY_BUFFERED = 71,
  KEY_NOSHARED = 72,
  KEY_DIRECTORY = 73,  ///< name of a directory to ask about
  KEY_FULL_PATH = 74,  ///< full path of what was found
  KEY_ASYNCHRONOUS = 75,
  KEY_PENDING = 76,
  KEY_ID = 77,
  KEY_IOMSG = 78,
  KEY_POS = 79,
  KEY_STREAM = 80,
  KEY_ROUND = 81,
  KEY_DECIMAL = 82,
  KEY_SIGN = 83,
  KEY_ENCODING = 84,
  KEY_SIZE = 85,
  KEY_NEWUNIT = 86,
  KEY_RECL_LATER = 87,  ///< RECL= that tells unconnected units and streams by negative answers
  KEY_FIRST = 2,
  KEY_LAST = 87,
};

/// Statement kind of for__open_key: selects the message for an unknown word.
enum For_Key_Context : int { KEYCTX_OPEN = 1, KEYCTX_CLOSE = 2, KEYCTX_TRANSFER = 3 };

/// Words of For_Open_Args by keyword. A word of 0 means that the keyword is absent.
enum For_Open_Word : int {
  OPENW_ACCESS = 0,
  OPENW_ASSOC_VAR = 1,
  OPENW_ASSOC_VAR_TYPE = 2,
  OPENW_BLANK = 3,
  OPENW_BLOCKSIZE = 4,
  OPENW_BUFFERCOUNT = 5,
  OPENW_CARRIAGECONTROL = 6,
  OPENW_CONVERT = 7,
  OPENW_DEFAULTFILE = 8,
  OPENW_DEFAULTFILE_LEN = 9,
  OPENW_DISPOSE = 10,
  OPENW_FILE = 11,
  OPENW_FILE_LEN = 12,
  OPENW_FORM = 13,
  OPENW_MAXREC = 15,
  OPENW_ORGANIZATION = 16,
  OPENW_READONLY = 17,
  OPENW_RECL = 18,
  OPENW_RECORDTYPE = 19,
  OPENW_NOSHARED = 20,
  OPENW_SHARED = 21,
  OPENW_STATUS = 22,
  OPENW_UNREAD23 = 23,
  OPENW_UNREAD24 = 24,
  OPENW_UNREAD25 = 25,
  OPENW_USEROPEN = 26,
  OPENW_ACTION = 27,
  OPENW_DELIM = 28,
  OPENW_PAD = 29,
  OPENW_POSITION = 30,
  OPENW_RECL_IN_BYTES = 31,
  OPENW_DEFAULT_CONNECTION = 32,
  OPENW_UNREAD33 = 33,
  OPENW_UNREAD34 = 34,
  OPENW_MODE = 35,
  OPENW_SHARE = 36,
  OPENW_UNREAD37 = 37,
  OPENW_UNREAD38 = 38,
  OPENW_BUFFERED = 39,
  OPENW_ASYNCHRONOUS = 40,
  OPENW_DESCRIPTOR = 41,
  OPENW_IOMSG = 42,
  OPENW_IOMSG_LEN = 43,
  OPENW_ROUND = 44,
  OPENW_DECIMAL = 45,
  OPENW_SIGN = 46,
  OPENW_ENCODING = 47,
  OPENW_NEWUNIT = 48,
  OPENW_NEWUNIT_TYPE = 49,
  OPENW_WORDS = 50,
};

/// 50 words. OPENW_DESCRIPTOR holds 1 in its low half and the descriptor in its high half when one is supplied.
struct For_Open_Args {
  u64 word[OPENW_WORDS];
};
static_assert(sizeof(For_Open_Args) == 400);

/// Values of the keywords' words, which compiled code may also pass as numbers.
enum For_Access_Value : u64 {
  ACCESS_SEQUENTIAL = 1,
  ACCESS_DIRECT = 2,
  ACCESS_APPEND = 3,
  ACCESS_KEYED = 4,
  ACCESS_STREAM = 5
};
enum For_Blank_Value : u64 { BLANK_ZERO = 1, BLANK_NULL = 2 };
enum For_Dispose_Value : u64 {
  DISPOSE_KEEP = 1,
  DISPOSE_DELETE = 2,
  DISPOSE_PRINT = 3,
  DISPOSE_SUBMIT = 4,
  DISPOSE_PRINT_DELETE = 5,
  DISPOSE_SUBMIT_DELETE = 6
};
enum For_Form_Value : u64 { FORM_FORMATTED = 1, FORM_UNFORMATTED = 2, FORM_BINARY_ALT = 3, FORM_BINARY = 4 };
enum For_Status_Value : u64 {
  STATUS_OLD = 1,
  STATUS_NEW = 2,
  STATUS_SCRATCH = 3,
  STATUS_UNKNOWN = 4,
  STATUS_REPLACE = 5
};
enum For_Convert_Value : u64 { CONVERT_NATIVE = 9 };
enum For_Mode_Value : u64 { MODE_READ = 1, MODE_READWRITE = 2, MODE_WRITE = 3 };
enum For_Delim_Value : u64 { DELIM_APOSTROPHE = 1, DELIM_NONE = 2, DELIM_QUOTE = 3 };
/// Character that encloses text: 0 none.
constexpr u8 delimiter_character(u64 delim) {
  return delim == DELIM_APOSTROPHE ? '\'' : delim == DELIM_QUOTE ? '"' : '\0';
}
enum For_Position_Value : u64 { POSITION_APPEND = 1, POSITION_ASIS = 2, POSITION_REWIND = 3 };
enum For_Share_Value : u64 {
  SHARE_COMPAT = 1,
  SHARE_DENYNONE = 2,
  SHARE_DENYRD = 3,
  SHARE_DENYRW = 4,
  SHARE_DENYWR = 5
};
enum For_Answer_Value : u64 { ANSWER_NO = 1, ANSWER_YES = 2 };

/// The argument block of CLOSE: three words.
struct For_Close_Args {
  u64 disposition;  ///< For_Dispose_Value, 0 absent
  char* iomsg;
  i64 iomsg_length;
};
static_assert(sizeof(For_Close_Args) == 24);

#endif
