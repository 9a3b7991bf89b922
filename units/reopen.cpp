// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// An OPEN statement on a unit that is connected.

#include "records/buffer.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"
#include "units/conversion_options.h"
#include "units/file_name.h"
#include "units/open.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

namespace {

struct Reopening {
  For_Lub& lub;
  const u64* word;

  int refuse(int specific) const { return lub.lub_f_f90_messages ? specific : int{MSG_INVALID_ARGUMENT}; }
};

int change_blank(const Reopening& r) {
  const u64 blank = r.word[OPENW_BLANK];
  if (blank > BLANK_NULL) return r.refuse(MSG_ILLEGAL_BLANK_VALUE);
  if (blank != 0) r.lub.lub_f_blank_null = blank == BLANK_NULL;
  return 0;
}

int change_carriage_control(const Reopening& r) {
  For_Lub& lub = r.lub;
  const u64 cc = r.word[OPENW_CARRIAGECONTROL];
  if (cc > CC_NONE) return r.refuse(MSG_ILLEGAL_CARRIAGECONTROL_VALUE);
  if (cc == 0) return 0;
  lub.lub_cc = static_cast<u8>(cc);
  const bool text = lub.lub_f_sequential && lub.lub_f_formatted && !lub.lub_f_binary && lub.lub_org == ORG_SEQUENTIAL;
  if (text) lub.lub_rectype = cc == CC_NONE ? RECTYPE_STREAM : RECTYPE_STREAM_LF;
  return 0;
}

int change_delim(const Reopening& r) {
  const u64 delim = r.word[OPENW_DELIM];
  if (delim > DELIM_QUOTE) return r.refuse(MSG_ILLEGAL_DELIM_VALUE);
  r.lub.lub_delim = delimiter_character(delim);
  return 0;
}

int change_pad(const Reopening& r) {
  const u64 pad = r.word[OPENW_PAD];
  if (pad > ANSWER_YES) return r.refuse(MSG_ILLEGAL_PAD_VALUE);
  if (pad != 0) r.lub.lub_f_pad = pad == ANSWER_YES ? r.lub.lub_f_f90_rtl : 0;
  return 0;
}

/// What the environment says of the file's data may have changed too.
int change_data_options(const Reopening& r, For_Open_Args* args) {
  For_Lub& lub = r.lub;
  if (!lub.lub_f_formatted) return for__set_foreign_bits(&lub, args);
  if (r.word[OPENW_RECORDTYPE] != 0 || lub.lub_stream_kind == STREAM_CONSOLE_OUT) return 0;
  if (const int type = CheckStreamRecortType(lub.lub_unit)) {
    lub.lub_rectype = static_cast<u8>(type);
    lub.lub_cc = CC_NONE;
  }
  return 0;
}

int seek_failure(For_Lub& lub) {
  lub.lub_errno = errno;
  return MSG_NEEDS_SEEK;
}

/// Size of the file: 0 or MSG_NEEDS_SEEK. The position stays.
int file_end(For_Lub& lub, off_t* here, off_t* end) {
  *here = lseek(lub.lub_fd, 0, SEEK_CUR);
  *end = *here < 0 ? *here : lseek(lub.lub_fd, 0, SEEK_END);
  if (*end < 0 || lseek(lub.lub_fd, *here, SEEK_SET) < 0) return seek_failure(lub);
  return 0;
}

constexpr int kAgrees = 0;
constexpr int kDiffers = MSG_CONNECTED_SPECIFIER_VALUE;
constexpr int agrees_if(bool condition) { return condition ? kAgrees : kDiffers; }

int check_access(const Reopening& r, u64 value) {
  switch (value) {
    case ACCESS_SEQUENTIAL:
      return agrees_if(r.lub.lub_f_sequential && !r.lub.lub_f_stream);
    case ACCESS_DIRECT:
      return agrees_if(r.lub.lub_f_direct);
    case ACCESS_APPEND: {
      if (!r.lub.lub_f_sequential || !r.lub.lub_f_seekable) return kDiffers;
      off_t here, end;
      if (const int status = file_end(r.lub, &here, &end)) return status;
      return agrees_if(end == 0);
    }
    case ACCESS_KEYED:
      return agrees_if(r.lub.lub_f_keyed);
    default:
      return agrees_if(value == ACCESS_STREAM && r.lub.lub_f_stream);
  }
}

int check_mode(const Reopening& r, u64 value) {
  switch (value) {
    case MODE_READ:
      return agrees_if(r.lub.lub_f_readonly);
    case MODE_READWRITE:
      return agrees_if(!r.lub.lub_f_readonly && !r.lub.lub_f_writeonly);
    default:
      return agrees_if(value == MODE_WRITE && r.lub.lub_f_writeonly);
  }
}

int check_associate_variable(const Reopening& r, u64 value) {
  const bool same_variable = value == reinterpret_cast<u64>(r.lub.lub_a_assoc_var);
  return agrees_if(same_variable && r.word[OPENW_ASSOC_VAR_TYPE] == r.lub.lub_assoc_var_type);
}

int check_asynchronous(const Reopening& r, u64 value) {
  return agrees_if((value == ANSWER_YES) == (r.lub.lub_a_aio != nullptr));
}

int check_buffered(const Reopening& r, u64 value) {
  const bool buffered = r.lub.lub_f_buffered || r.lub.lub_f_user_buffered;
  if (value != ANSWER_YES) return agrees_if(!buffered);
  return agrees_if(buffered || r.lub.lub_stream_kind == STREAM_CONSOLE_OUT ||
                   (r.lub.lub_f_direct && r.lub.lub_f_compat_io));
}

int check_dispose(const Reopening& r, u64 value) {
  switch (value) {
    case DISPOSE_KEEP:
      return agrees_if(!r.lub.lub_f_scratch);
    case DISPOSE_PRINT:
      return agrees_if(r.lub.lub_f_dispose_print);
    case DISPOSE_SUBMIT:
      return agrees_if(r.lub.lub_f_dispose_submit);
    default:
      return agrees_if(value <= DISPOSE_SUBMIT_DELETE && r.lub.lub_f_dispose_delete);
  }
}

int check_form(const Reopening& r, u64 value) {
  switch (value) {
    case FORM_FORMATTED:
      return agrees_if(r.lub.lub_f_formatted);
    case FORM_UNFORMATTED:
      return agrees_if(r.lub.lub_f_unformatted || r.lub.lub_f_ms_unformatted_default);
    default:
      return agrees_if(r.lub.lub_f_binary);
  }
}

int check_maxrec(const Reopening& r, u64 value) { return agrees_if(static_cast<i64>(value) == r.lub.lub_maxrec); }

int check_organization(const Reopening& r, u64 value) { return agrees_if(value == r.lub.lub_org); }

/// The unit must stand where the keyword wants it. What has been read ahead does not count.
int check_position(const Reopening& r, u64 value) {
  if (value == POSITION_ASIS) return kAgrees;
  if (r.lub.lub_f_direct || r.lub.lub_f_keyed) return MSG_INCONSISTENT_OPEN_CLOSE;
  if (value == POSITION_APPEND && !r.lub.lub_f_seekable) return kAgrees;
  off_t here, end;
  if (const int status = file_end(r.lub, &here, &end)) return status;
  if (r.lub.lub_f_read_ahead) here -= read_ahead_bytes(r.lub);
  return agrees_if(here == (value == POSITION_APPEND ? end : 0));
}

int check_readonly(const Reopening& r, u64) { return r.lub.lub_f_readonly ? kAgrees : int{MSG_CONNECTED_SPECIFIER}; }

int check_recl(const Reopening& r, u64 value) { return agrees_if(static_cast<i64>(value) == r.lub.lub_recl); }

int check_record_type(const Reopening& r, u64 value) {
  return agrees_if((value == RECTYPE_VARIABLE_KEYWORD ? u64{RECTYPE_VARIABLE} : value) == r.lub.lub_rectype);
}

int check_share(const Reopening& r, u64 value) {
  switch (value) {
    case SHARE_DENYRD:
      return agrees_if(r.lub.lub_f_share_denyrd);
    case SHARE_DENYRW:
      return agrees_if(r.lub.lub_f_share_denyrw);
    default:
      return agrees_if(value == SHARE_DENYWR && r.lub.lub_f_share_denywr);
  }
}

int refuse_shared(const Reopening&, u64) { return MSG_CONNECTED_SPECIFIER; }

int check_status(const Reopening& r, u64 value) {
  return agrees_if(value == STATUS_OLD || value == STATUS_UNKNOWN || (value == STATUS_SCRATCH && r.lub.lub_f_scratch));
}

/// A keyword that must agree with the connection.
struct Agreement {
  For_Open_Word word;
  const char* text;
  int (*check)(const Reopening& r, u64 value);  ///< 0 or the message
};

constexpr Agreement kAgreements[] = {{OPENW_ACCESS, "ACCESS=", check_access},
                                     {OPENW_ACTION, "ACTION=", check_mode},
                                     {OPENW_ASSOC_VAR, "ASSOCIATEVARIABLE=", check_associate_variable},
                                     {OPENW_ASYNCHRONOUS, "ASYNCHRONOUS=", check_asynchronous},
                                     {OPENW_BUFFERED, "BUFFERED=", check_buffered},
                                     {OPENW_DISPOSE, "DISPOSE=", check_dispose},
                                     {OPENW_FORM, "FORM=", check_form},
                                     {OPENW_MAXREC, "MAXREC=", check_maxrec},
                                     {OPENW_MODE, "MODE=", check_mode},
                                     {OPENW_ORGANIZATION, "ORGANIZATION=", check_organization},
                                     {OPENW_POSITION, "POSITION=", check_position},
                                     {OPENW_READONLY, "READONLY=", check_readonly},
                                     {OPENW_RECL, "RECL=", check_recl},
                                     {OPENW_RECORDTYPE, "RECORDTYPE=", check_record_type},
                                     {OPENW_SHARE, "SHARE=", check_share},
                                     {OPENW_SHARED, "SHARED=", refuse_shared},
                                     {OPENW_STATUS, "STATUS=", check_status}};

int check_agreement(const Reopening& r, const Agreement& rule) {
  const u64 value = r.word[rule.word];
  if (value == 0) return 0;
  const int status = rule.check(r, value);
  if (status == MSG_CONNECTED_SPECIFIER || status == MSG_CONNECTED_SPECIFIER_VALUE) r.lub.lub_a_message_arg = rule.text;
  return status;
}

}  // namespace

extern "C" int for__reopen_file(For_Open_Args* args, For_Lub* lub) {
  if (lub->lub_f_buffer_held && for__write_output(lub, nullptr, 0) < 0) {
    lub->lub_errno = errno;
    return MSG_WRITE_ERROR;
  }
  const u64* word = args->word;
  For_File_Name_Args name = {
      word[OPENW_STATUS], reinterpret_cast<const char*>(word[OPENW_FILE]), static_cast<i64>(word[OPENW_FILE_LEN]),
      reinterpret_cast<const char*>(word[OPENW_DEFAULTFILE]), static_cast<i64>(word[OPENW_DEFAULTFILE_LEN])};
  char path[kMaxFileName + 1];
  int needs_open, positionable;
  // A console name brings its descriptor, which is not that of the present connection.
  const int fd = lub->lub_fd;
  const int status = for__compute_filename(lub, &name, path, &needs_open, &positionable);
  lub->lub_fd = fd;
  if (status != 0) return status;
  if (strcmp(path, lub->lub_a_file_name) == 0) return 0;
  const int closed = for__close_proc(nullptr, lub);
  return closed != 0 ? closed : FOR_REOPEN_CLOSED;
}

extern "C" int for__update_reopen_keywords(For_Open_Args* args, For_Lub* lub) {
  const Reopening r = {*lub, args->word};
  using Change = int (*)(const Reopening&);
  constexpr Change kChanges[] = {change_blank, change_carriage_control, change_delim, change_pad};
  for (const Change change : kChanges) {
    if (const int status = change(r)) return status;
  }
  if (const int status = change_data_options(r, args)) return status;
  for (const Agreement& rule : kAgreements) {
    if (const int status = check_agreement(r, rule)) return status;
  }
  lub->lub_round = static_cast<u8>(r.word[OPENW_ROUND]);
  lub->lub_decimal = static_cast<u8>(r.word[OPENW_DECIMAL]);
  lub->lub_sign = static_cast<u8>(r.word[OPENW_SIGN]);
  lub->lub_encoding = static_cast<u8>(r.word[OPENW_ENCODING]);
  return 0;
}
