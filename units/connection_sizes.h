// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Record length, line width and buffer size of a connection.
#ifndef TAMRUN_UNITS_CONNECTION_SIZES_H
#define TAMRUN_UNITS_CONNECTION_SIZES_H

#include "tamrun/lub.h"

/// The steps run in the order of their declaration; between them the connection settles other things.
class Connection_Sizes {
 public:
  explicit Connection_Sizes(For_Lub& lub) : lub_(lub) {}

  /// RECL and bytes of a record, from the environment or the defaults: 0 or the message of a bad variable.
  [[nodiscard]] int settle_record();
  /// Room for the carriage control of lub_cc.
  void add_carriage_control();
  /// Line width, block and buffer sizes: 0 or the message of a bad variable. `file_block` is the file system's block
  /// size in bytes.
  [[nodiscard]] int settle_buffer(i64 file_block);
  /// Keeps a very long record from costing its full length.
  void make_virtual();

 private:
  void take_recl(i64 recl);
  void take_default();
  void settle_wrap_margin();

  For_Lub& lub_;
  bool recl_given_ = false;
};

#endif
