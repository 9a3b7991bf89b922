// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Position editing. Formats may name any column, so that all sums are made on columns within bounds and no pointer
// ever stands before the record or beyond kFarColumn.
#include "format/position.h"

#include "records/buffer.h"

namespace {

/// No record reaches this far: a position here fails when a value is put there.
constexpr i64 kFarColumn = i64{1} << 40;
/// A record that a position passes grows by at least this.
constexpr i64 kLeastGrowth = 512;

constexpr i64 bounded(i64 column) { return column < 0 ? 0 : column > kFarColumn ? kFarColumn : column; }

/// Columns counted from 0 at the first data byte.
i64 cursor_column(const For_Lub& lub) { return lub.lub_a_cursor - lub.lub_a_data_start; }
i64 end_column(const For_Lub& lub) { return lub.lub_a_rec_end - lub.lub_a_data_start; }
void set_cursor(For_Lub& lub, i64 column) { lub.lub_a_cursor = lub.lub_a_data_start + bounded(column); }

/// The cursor goes to `column`; what lies beyond the record becomes padding.
void set_padded(For_Lub& lub, i64 column) {
  const i64 end = end_column(lub);
  lub.lub_pad_count = column > end ? bounded(column - end) : 0;
  set_cursor(lub, column > end ? end : column);
}

bool grows_at(const For_Lub& lub, i64 column) {
  const i64 end = end_column(lub);
  if (column < end || lub.lub_unit < 0) return false;
  if (lub.lub_statement != STMT_WRITE && lub.lub_statement != STMT_WRITE_SEQ) return false;
  return lub.lub_rectype != RECTYPE_FIXED || column != end;
}

}  // namespace

int position_right(For_Lub& lub, i64 columns) {
  columns = bounded(columns);
  if (lub.lub_f_pad_in_force) {
    if (lub.lub_pad_count != 0) {
      lub.lub_pad_count = bounded(lub.lub_pad_count + columns);
    } else {
      set_padded(lub, cursor_column(lub) + columns);
    }
    return 0;
  }
  if (grows_at(lub, cursor_column(lub) + columns)) {
    if (const int failure = for__adjust_buffer(&lub, columns, columns > kLeastGrowth ? columns : kLeastGrowth)) {
      return failure;
    }
  }
  set_cursor(lub, cursor_column(lub) + columns);
  return 0;
}

void position_to(For_Lub& lub, i64 column) {
  column = bounded(bounded(column) - 1);
  const bool beyond = column > end_column(lub);
  if (lub.lub_f_pad_in_force && (beyond || lub.lub_pad_count != 0)) {
    if (beyond && lub.lub_pad_count != 0) {
      lub.lub_pad_count = column - end_column(lub);
    } else {
      set_padded(lub, column);
    }
    return;
  }
  set_cursor(lub, column);
}

void position_left(For_Lub& lub, i64 columns) {
  columns = bounded(columns);
  if (lub.lub_f_pad_in_force && lub.lub_pad_count != 0) {
    const i64 left = lub.lub_pad_count - columns;
    if (left > 0) {
      lub.lub_pad_count = left;
    } else {
      set_padded(lub, bounded(end_column(lub) + left));
    }
    return;
  }
  set_cursor(lub, cursor_column(lub) - columns);
}
