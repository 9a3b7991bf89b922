// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Fields of edit descriptors that leave their width open.
#ifndef TAMRUN_STATEMENTS_FMT_WIDTH_H
#define TAMRUN_STATEMENTS_FMT_WIDTH_H

#include "tamrun/fmt_isb.h"
#include "tamrun/types.h"

/// How one descriptor edits values of one type.
struct Fmt_Field {
  int failure;  ///< 0, or the message of a type that the descriptor does not take
  i64 width;    ///< columns; of a minimal field the columns to edit in, from which the text is cut
  u16 d, e;
  u16 flags2;    ///< For_Isb_Flags2 bits of this value
  bool minimal;  ///< the format says w = 0: only the text itself goes into the record
};

/// The bits of isb_flags2 that belong to one value.
inline constexpr u16 kFieldFlags2 = ISB2_MINIMAL | ISB2_G_NO_WIDTH | ISB2_G_IN_PROGRESS | ISB2_D_GIVEN | ISB2_W_ZERO;

/// True when the width that the format gives is the width of the field, of whatever value.
constexpr bool takes_given_width(u8 code) {
  switch (code) {
    case FMT_A_W:
    case FMT_D_WD:
    case FMT_E_WD:
    case FMT_E_WDE:
    case FMT_F_WD:
    case FMT_I_W:
    case FMT_I_WM:
    case FMT_L_W:
    case FMT_ES_WD:
    case FMT_ES_WDE:
      return true;
    default:
      return false;
  }
}

/// The field of the current descriptor for a value of that type and element length. Input has no minimal fields.
Fmt_Field plan_field(const For_Fmt_Isb& isb, u32 type, i64 element, bool writing);

/// Puts a worked-out field into the state block, and the descriptor's own back for its next value.
class Planned_Field {
 public:
  Planned_Field(For_Fmt_Isb& isb, const Fmt_Field& field) : isb_(isb), d_(isb.isb_d), e_(isb.isb_e) {
    isb.isb_width = field.width;
    isb.isb_d = field.d;
    isb.isb_e = field.e;
    isb.isb_flags2 = static_cast<u16>((isb.isb_flags2 & ~kFieldFlags2) | field.flags2);
  }
  ~Planned_Field() {
    isb_.isb_width = isb_.isb_width_saved;
    isb_.isb_d = d_;
    isb_.isb_e = e_;
  }
  Planned_Field(const Planned_Field&) = delete;
  Planned_Field& operator=(const Planned_Field&) = delete;

 private:
  For_Fmt_Isb& isb_;
  const u16 d_, e_;
};

/// Text of a minimal field.
struct Minimal_Text {
  const char* start;
  i64 length;
};

/// Cuts the text out of a field that was edited in `width` columns with the digits `d`.
Minimal_Text minimal_text(const char* field, i64 width, u16 d);

#endif
