// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What the keywords of OPEN make of a connection, each held against those that are settled already.

#include "units/opening.h"

#include <sys/stat.h>

namespace {

/// BLANK= on an unformatted file, where the program asked for the check.
bool refuses_blank(const Opening& o) {
  return o[OPENW_BLANK] != 0 && o.lub.lub_f_check_blank_unformatted && !o.lub.lub_f_blank_unformatted_ok;
}

int refuse_on_unformatted(const Opening& o) {
  return o.refuse(MSG_PAD_SPECIFIER_NOT_ALLOWED_UNFORMATTED, MSG_INCONSISTENT_OPEN_CLOSE);
}

int settle_mode_value(Opening& o, u64 value, int illegal) {
  For_Lub& lub = o.lub;
  switch (value) {
    case 0:
      return 0;
    case MODE_READ:
      lub.lub_f_readonly = 1;
      o.open_flags = O_RDONLY;
      return 0;
    case MODE_READWRITE:
      if (lub.lub_f_readonly) return o.contradiction();
      o.open_flags = O_RDWR;
      return 0;
    case MODE_WRITE:
      if (lub.lub_f_readonly) return o.contradiction();
      lub.lub_f_writeonly = 1;
      o.open_flags = O_WRONLY;
      return 0;
    default:
      return o.refuse(illegal, MSG_INVALID_ARGUMENT);
  }
}

/// READONLY, ACTION= and MODE=.
int settle_open_mode(Opening& o) {
  if (o[OPENW_READONLY] != 0) {
    o.lub.lub_f_readonly = o.lub.lub_f_readonly_keyword = 1;
    o.open_flags = O_RDONLY;
  }
  if (const int status = settle_mode_value(o, o[OPENW_ACTION], MSG_ILLEGAL_ACTION_VALUE)) return status;
  return settle_mode_value(o, o[OPENW_MODE], MSG_ILLEGAL_MODE_VALUE);
}

int settle_access(Opening& o) {
  For_Lub& lub = o.lub;
  switch (o[OPENW_ACCESS]) {
    case 0:
    case ACCESS_SEQUENTIAL:
      lub.lub_f_sequential = 1;
      return 0;
    case ACCESS_DIRECT:
      lub.lub_f_direct = 1;
      return 0;
    case ACCESS_APPEND:
      if (lub.lub_f_readonly) return o.contradiction();
      lub.lub_f_sequential = lub.lub_f_access_append = 1;
      return 0;
    case ACCESS_KEYED:
      lub.lub_f_keyed = 1;
      return 0;
    case ACCESS_STREAM:
      lub.lub_f_compat_io = lub.lub_f_ms_unformatted_default = 0;
      lub.lub_f_stream = lub.lub_f_sequential = 1;
      return 0;
    default:
      return o.refuse(MSG_ILLEGAL_ACCESS_VALUE, MSG_INVALID_ARGUMENT);
  }
}

void may_create(Opening& o) {
  constexpr mode_t kFileMode = 0666;
  o.open_flags |= O_CREAT;
  o.mode = kFileMode;
}

int settle_status(Opening& o) {
  For_Lub& lub = o.lub;
  const bool append = lub.lub_f_access_append && !lub.lub_f_compat_io;
  switch (o[OPENW_STATUS]) {
    case 0:
    case STATUS_NEW: {
      if (append) return o.contradiction();
      may_create(o);
      struct stat st;
      if (o.needs_open && stat(lub.lub_a_file_name, &st) == 0) o.open_flags |= O_EXCL;
      return 0;
    }
    case STATUS_OLD:
      lub.lub_f_status_old = 1;
      return 0;
    case STATUS_SCRATCH:
      if (append) return o.contradiction();
      may_create(o);
      lub.lub_f_scratch = 1;
      return 0;
    case STATUS_UNKNOWN:
      if (lub.lub_f_readonly && !lub.lub_f_compat_io)
        lub.lub_f_status_old = 1;
      else
        may_create(o);
      return 0;
    case STATUS_REPLACE:
      may_create(o);
      return 0;
    default:
      return o.refuse(MSG_ILLEGAL_STATUS_VALUE, MSG_INVALID_ARGUMENT);
  }
}

int settle_disposition(Opening& o) { return set_disposition(o.lub, o[OPENW_DISPOSE], !o.lub.lub_f_readonly); }

int settle_form(Opening& o) {
  For_Lub& lub = o.lub;
  const bool text = !lub.lub_f_stream && !lub.lub_f_direct && !lub.lub_f_keyed;
  u64 form = o[OPENW_FORM];
  if (form == 0) form = text ? u64{FORM_FORMATTED} : u64{FORM_UNFORMATTED};
  switch (form) {
    case FORM_FORMATTED:
      lub.lub_f_formatted = 1;
      return 0;
    case FORM_UNFORMATTED:
      if (lub.lub_f_ms_unformatted_default) {
        lub.lub_f_ms_unformatted = 1;
      } else {
        lub.lub_f_unformatted = 1;
      }
      break;
    case FORM_BINARY_ALT:
    case FORM_BINARY:
      lub.lub_f_binary = 1;
      return 0;
    default:
      return o.refuse(MSG_ILLEGAL_FORM_VALUE, MSG_INVALID_ARGUMENT);
  }
  if (refuses_blank(o) || o[OPENW_DELIM] != 0 || o[OPENW_PAD] != 0) return refuse_on_unformatted(o);
  return 0;
}

int settle_record_type(Opening& o) {
  For_Lub& lub = o.lub;
  const u64 type = o[OPENW_RECORDTYPE];
  if (type >= kRecordTypes) return MSG_INVALID_ARGUMENT;
  lub.lub_rectype = static_cast<u8>(type == RECTYPE_VARIABLE_KEYWORD ? u64{RECTYPE_VARIABLE} : type);
  if (type == RECTYPE_FIXED && lub.lub_f_stream) return o.contradiction();
  const bool sequential_only = type == RECTYPE_SEGMENTED || type == RECTYPE_VARIABLE;
  if (sequential_only && (lub.lub_f_formatted || lub.lub_f_stream || lub.lub_f_direct || lub.lub_f_keyed)) {
    return o.contradiction();
  }
  return 0;
}

bool is_text_stream(u8 rectype) { return rectype >= RECTYPE_STREAM && rectype <= RECTYPE_STREAM_CRLF; }

/// Carriage control as far as it is known before the descriptor is.
int settle_carriage_control(Opening& o) {
  For_Lub& lub = o.lub;
  const u64 given = o[OPENW_CARRIAGECONTROL];
  if (given > CC_NONE) return o.refuse(MSG_ILLEGAL_CARRIAGECONTROL_VALUE, MSG_INVALID_ARGUMENT);
  lub.lub_cc = static_cast<u8>(given);
  if (lub.lub_f_stream && (given == CC_FORTRAN || given == CC_LIST)) return o.contradiction();
  if (given == CC_UNSET) {
    if (lub.lub_f_direct && lub.lub_f_formatted && lub.lub_f_compat_io)
      lub.lub_cc = CC_LIST;
    else if (lub.lub_rectype == RECTYPE_FIXED || lub.lub_rectype == RECTYPE_VARIABLE || !lub.lub_f_formatted)
      lub.lub_cc = CC_NONE;
  }
  if (lub.lub_f_formatted && given != CC_FORTRAN && is_text_stream(lub.lub_rectype)) lub.lub_cc = CC_NONE;
  return 0;
}

int settle_organization(Opening& o) {
  For_Lub& lub = o.lub;
  u64 org = o[OPENW_ORGANIZATION];
  if (org > ORG_INDEXED) return MSG_INVALID_ARGUMENT;
  if (org == 0) org = lub.lub_f_keyed ? ORG_INDEXED : ORG_SEQUENTIAL;
  lub.lub_org = static_cast<u8>(org);
  bool refused = false;
  if (org == ORG_SEQUENTIAL) refused = lub.lub_f_keyed || (lub.lub_f_direct && lub.lub_rectype > RECTYPE_FIXED);
  if (org == ORG_RELATIVE) refused = lub.lub_f_keyed;
  if (org == ORG_INDEXED) refused = lub.lub_f_access_append || lub.lub_f_stream || lub.lub_f_direct;
  return refused ? o.contradiction() : 0;
}

u8 default_record_type(const For_Lub& lub) {
  if (lub.lub_f_binary || lub.lub_f_ms_unformatted) return RECTYPE_STREAM;
  if (lub.lub_f_unformatted) return lub.lub_f_stream ? RECTYPE_STREAM : RECTYPE_VARIABLE;
  return lub.lub_cc == CC_NONE ? RECTYPE_STREAM : RECTYPE_STREAM_LF;
}

int settle_default_record_type(Opening& o) {
  For_Lub& lub = o.lub;
  const bool plain = lub.lub_org == ORG_SEQUENTIAL && lub.lub_f_sequential;
  if (lub.lub_rectype == RECTYPE_NONE)
    lub.lub_rectype = plain ? default_record_type(lub) : static_cast<u8>(RECTYPE_FIXED);
  else if (!plain && lub.lub_rectype != RECTYPE_FIXED)
    return o.contradiction();

  if (lub.lub_f_ms_unformatted && lub.lub_f_sequential) {
    if (lub.lub_rectype != RECTYPE_STREAM) return o.contradiction();
  } else if (lub.lub_rectype == RECTYPE_VARIABLE && lub.lub_cc != CC_NONE) {
    return o.contradiction();
  }
  return lub.lub_f_unformatted && refuses_blank(o) ? refuse_on_unformatted(o) : 0;
}

int settle_blank(Opening& o) {
  if (o[OPENW_BLANK] > BLANK_NULL) return o.refuse(MSG_ILLEGAL_BLANK_VALUE, MSG_INVALID_ARGUMENT);
  if (o[OPENW_BLANK] == 0)
    o.lub.lub_f_blank_null = !o.lub.lub_f_legacy_defaults || o[OPENW_FILE] != 0;
  else
    o.lub.lub_f_blank_null = o[OPENW_BLANK] == BLANK_NULL;
  return 0;
}

int settle_delim(Opening& o) {
  const u64 delim = o[OPENW_DELIM];
  if (delim == 0) {
    o.lub.lub_delim = 0;
    return 0;
  }
  if (o.lub.lub_f_unformatted)
    return o.refuse(MSG_DELIM_SPECIFIER_NOT_ALLOWED_UNFORMATTED, MSG_INCONSISTENT_OPEN_CLOSE);
  if (delim > DELIM_QUOTE) return o.refuse(MSG_ILLEGAL_DELIM_VALUE, MSG_INVALID_ARGUMENT);
  o.lub.lub_delim = delimiter_character(delim);
  return 0;
}

int settle_pad(Opening& o) {
  const u64 pad = o[OPENW_PAD];
  if (pad != 0 && o.lub.lub_f_unformatted) return refuse_on_unformatted(o);
  if (pad > ANSWER_YES) return o.refuse(MSG_ILLEGAL_PAD_VALUE, MSG_INVALID_ARGUMENT);
  o.lub.lub_f_pad = pad == ANSWER_NO ? 0 : o.lub.lub_f_f90_rtl;
  return 0;
}

int settle_position(Opening& o) {
  const u64 position = o[OPENW_POSITION];
  if (position > POSITION_REWIND) return o.refuse(MSG_ILLEGAL_POSITION_VALUE, MSG_INVALID_ARGUMENT);
  return position != 0 && (o.lub.lub_f_direct || o.lub.lub_f_keyed) ? o.contradiction() : 0;
}

void want_read_lock(For_Lub& lub) {
  if (lub.lub_f_writeonly) return;
  lub.lub_f_file_locked = lub.lub_f_share_denynone = 1;
}

void want_write_lock(For_Lub& lub) { lub.lub_f_file_locked = lub.lub_f_share_denyrw = 1; }

int settle_share(Opening& o) {
  For_Lub& lub = o.lub;
  const bool shared = o[OPENW_SHARED] != 0, noshared = o[OPENW_NOSHARED] != 0;
  switch (o[OPENW_SHARE]) {
    case 0:
      if (shared)
        want_read_lock(lub);
      else if (noshared && !lub.lub_f_readonly)
        want_write_lock(lub);
      return 0;
    case SHARE_DENYNONE:
      if (noshared) return MSG_SHARE_INCOMPATIBLE;
      want_read_lock(lub);
      return 0;
    case SHARE_DENYRW:
      if (shared) return MSG_SHARE_INCOMPATIBLE;
      if (!lub.lub_f_readonly)
        want_write_lock(lub);
      else if (noshared)
        lub.lub_f_share_denynone = 1;
      else
        want_read_lock(lub);
      return 0;
    default:
      return MSG_INVALID_ARGUMENT;
  }
}

int settle_editing_modes(Opening& o) {
  For_Lub& lub = o.lub;
  const bool given = o[OPENW_ROUND] != 0 || o[OPENW_DECIMAL] != 0 || o[OPENW_SIGN] != 0;
  if (given && lub.lub_f_unformatted) return refuse_on_unformatted(o);
  lub.lub_round = static_cast<u8>(o[OPENW_ROUND]);
  lub.lub_decimal = static_cast<u8>(o[OPENW_DECIMAL]);
  lub.lub_sign = static_cast<u8>(o[OPENW_SIGN]);
  if (o[OPENW_ENCODING] != 0 && !lub.lub_f_formatted) return refuse_on_unformatted(o);
  lub.lub_encoding = static_cast<u8>(o[OPENW_ENCODING]);
  return 0;
}

using Step = int (*)(Opening&);

constexpr Step kConnectionSteps[] = {
    settle_open_mode,   settle_access,           settle_status,       settle_disposition,         settle_form,
    settle_record_type, settle_carriage_control, settle_organization, settle_default_record_type, settle_blank};
constexpr Step kModeSteps[] = {settle_delim, settle_pad, settle_position, settle_share, settle_editing_modes};

template <size_t n>
int run_steps(const Step (&steps)[n], Opening& o) {
  for (const Step step : steps) {
    if (const int status = step(o)) return status;
  }
  return 0;
}

}  // namespace

int settle_connection_keywords(Opening& o) { return run_steps(kConnectionSteps, o); }

int settle_mode_keywords(Opening& o) { return run_steps(kModeSteps, o); }

i64 stream_kind_of(const For_Lub& lub) {
  if (lub.lub_f_formatted) {
    if (lub.lub_f_keyed) return STREAM_FMT_KEYED;
    return lub.lub_f_direct ? STREAM_FMT_DIRECT : STREAM_FMT_SEQUENTIAL;
  }
  if (lub.lub_f_binary) {
    if (lub.lub_f_keyed) return STREAM_BIN_KEYED;
    return lub.lub_f_direct ? STREAM_BIN_DIRECT : STREAM_BIN_SEQUENTIAL;
  }
  if (lub.lub_f_keyed) return STREAM_UNF_KEYED;
  if (lub.lub_f_direct) return STREAM_UNF_DIRECT;
  return lub.lub_f_ms_unformatted ? STREAM_MS_UNF_SEQUENTIAL : STREAM_UNF_SEQUENTIAL;
}
