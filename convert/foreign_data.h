// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Unformatted data of a connection in another byte order or another floating-point format.
#ifndef TAMRUN_CONVERT_FOREIGN_DATA_H
#define TAMRUN_CONVERT_FOREIGN_DATA_H

#include "tamrun/item_list.h"
#include "tamrun/lub.h"
#include "tamrun/types.h"

extern "C" {
/// Converter kind of a real type, by type - ITM_REAL4_VAX: 0 VAX F, 1 VAX D, 2 VAX G, 3 VAX H, 4 IEEE single, 5 IEEE
/// double, 6 IEEE quad; -1: no real type.
extern const i32 forfloat_to_cvtfloat[28];

/// Whether the values of an item differ between variable and file. 0: a plain copy moves them, however many. Asked for
/// each item of a connection with lub_f_convert.
int for__cvt_foreign_check(const For_Value_Info* item, const For_Lub* lub);

/// Turns the file's bytes at val_data, `length` of them, into the variable's value. 0 or MSG_FLOATING_CONVERSION_FAILED,
/// with which the bytes of the file stay there, if need be in the machine's order.
[[nodiscard]] int for__cvt_foreign_read(const For_Value_Info* item, const For_Lub* lub, i64 length);

/// Stores the file's form of the value at val_data, of `length` bytes, at `target`, which has room for 16 or `length`
/// bytes, whatever is more. 0 or MSG_FLOATING_CONVERSION_FAILED, with which `target` holds a special value of the file's
/// format.
[[nodiscard]] int for__cvt_foreign_write(const For_Value_Info* item, i64 length, const For_Lub* lub, u8* target);
}

/// The same for `count` values of `length` bytes, one behind the other, from `from` to `to`, which is the same place or
/// does not overlap it. The number of values that failed, each of which is a MSG_FLOATING_CONVERSION_FAILED. `type` is a
/// For_Item_Type; types that need nothing are copied.
[[nodiscard]] i64 cvt_foreign_read_run(const For_Lub& lub, u32 type, i64 length, i64 count, const u8* from, u8* to);
[[nodiscard]] i64 cvt_foreign_write_run(const For_Lub& lub, u32 type, i64 length, i64 count, const u8* from, u8* to);

#endif
