// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The one road by which every failure leaves the library.
#ifndef TAMRUN_CORE_FAILURE_H
#define TAMRUN_CORE_FAILURE_H

#include "tamrun/hooks.h"
#include "tamrun/lub.h"
#include "tamrun/messages.h"

/// What for__io_return does with the unit.
enum For_Io_Disposition : int {
  FOR_IOR_NONE = 0,     ///< nothing: the LUB is not the statement's own or has been released
  FOR_IOR_RELEASE = 1,  ///< for__release_lun
  FOR_IOR_ABANDON = 2,  ///< give up a connection that OPEN could not finish
  FOR_IOR_CLOSE = 3,    ///< for__close_default(lub, 1)
};

/// A user handler: not 0 when it has dealt with the diagnostic.
typedef int (*For_User_Error_Handler)(int* message, int* continuable, char* text, void* context, size_t length);

/// Exception record, made by for_rtl_init_; null before and after the run.
TAMRUN_ENTRY For_Excpt_Info* for__l_excpt_info;

extern "C" {

/// IOMSG= buffer of the statement whose diagnostic is being issued; length 0: none.
extern char* for__user_iomsg_buf;
extern i64 for__user_iomsg_len;

/// End of a failing I/O statement: returns the value for compiled code, or issues the diagnostic. `user_code` is the
/// value that IOSTAT= receives when it differs from `message`.
int for__io_return(int disposition, int message, int user_code, For_Lub* lub);

/// Formats and prints a diagnostic; ends the process if it is severe. `nargs` counts the arguments behind it.
void for__issue_diagnostic(int message, int nargs, ...);

/// Formatted text of a message in a static buffer of 264 bytes; "" for an unknown number.
char* for__get_msg(int message, int nargs, ...);

void for__dump_msg_buff(const char* text);
void redirect_stderr(void);

/// Always 1. Either output may be null.
int for__establish_user_error_handler(For_User_Error_Handler handler, void* context,
                                      For_User_Error_Handler* old_handler, void** old_context);

/// Looks for the IOMSG= pair in the rest of a keyword list. The outputs are left alone when there is none.
void for__find_iomsg(const u8** keys, void** values, char** buffer, i64* length);

}  // extern "C"

/// Issues a diagnostic for another run-time library; the severity is `code` / 2^26.
TAMRUN_ENTRY int for_emit_diagnostic(u32 code, const char* format, ...);

/// Reports MSG_INTERNAL_CONSISTENCY at this place and ends the process.
#define TAMRUN_INTERNAL_ERROR(source) for__issue_diagnostic(MSG_INTERNAL_CONSISTENCY, 2, source, __LINE__)

/// Copies text into a user's buffer, cut or padded with blanks to `length` bytes.
void fill_blank_padded(char* to, i64 length, const char* text, size_t text_length);

/// A statement's failure: for__io_return, or the asynchronous road when the unit has one.
int report_failure(int disposition, int message, int user_code, For_Lub* lub);

#endif
