// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Record length, line width, buffering and buffer size of a connection.
#ifndef TAMRUN_UNITS_CONNECTION_SIZES_H
#define TAMRUN_UNITS_CONNECTION_SIZES_H

#include "units/opening.h"

/// The steps run in the order of their declaration; between them the connection settles other things. Each gives 0 or a
/// message number.
class Connection_Sizes {
 public:
  explicit Connection_Sizes(const Opening& opening) : o_(opening), lub_(opening.lub) {}

  /// RECL and bytes of a record, from RECL=, the environment or the defaults.
  [[nodiscard]] int settle_record();
  /// Whether output records collect in the buffer.
  void settle_buffering();
  /// Room for the carriage control of lub_cc.
  void add_carriage_control();
  /// Line width, block and buffer sizes. `file_block` is the file system's block size in bytes.
  [[nodiscard]] int settle_buffer(i64 file_block);
  /// Keeps a very long record from costing its full length.
  void make_virtual();
  /// The buffer with its guard.
  [[nodiscard]] int allocate_buffer();

 private:
  [[nodiscard]] int check_recl();
  [[nodiscard]] int take_recl(i64 recl);
  [[nodiscard]] int take_default();
  void settle_wrap_margin();
  [[nodiscard]] int settle_block(i64 file_block, i64* working);
  [[nodiscard]] int settle_buffer_size(i64 count, i64 working);

  const Opening& o_;
  For_Lub& lub_;
  bool recl_given_ = false;
};

#endif
