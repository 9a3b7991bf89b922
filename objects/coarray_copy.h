// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What a deep copy does otherwise when one of its objects may lie on another image: every byte that it moves and every
// block that it takes or gives back for a coarray passes here.
#ifndef TAMRUN_OBJECTS_COARRAY_COPY_H
#define TAMRUN_OBJECTS_COARRAY_COPY_H

#include "tamrun/descriptor.h"

/// Where the two objects of a deep copy across images lie; compiled code fills it but for the last three words.
struct coarray_info_t {
  u64 cai_reserved;
  i64 cai_source_image;  ///< above 0: remote
  u64 cai_source_handle;
  i64 cai_dest_image;  ///< above 0: remote
  u64 cai_dest_handle1;
  u64 cai_dest_handle2;
  u8* cai_dest_base;    ///< local start of the destination object
  u8* cai_dest_remote;  ///< the same on its image, null if unknown
  u64 cai_source_mode;  ///< 0 local, 1 remote, 2 remote through an indirection
  u64 cai_dest_mode;    ///< 0 local, 1 put by offset, 2 put at the address, 3 the same rebased
  u64 cai_locked;
};
static_assert(sizeof(coarray_info_t) == 88 && offsetof(coarray_info_t, cai_dest_base) == 48 &&
              offsetof(coarray_info_t, cai_locked) == 80);

/// Before a deep copy with coarray information, and before any block with FA_COARRAY: 0, or MSG_NO_COARRAY_LIBRARY.
[[nodiscard]] int coarray_ready();
/// Tells the images of a block with FA_COARRAY that has been allocated, or freed.
void coarray_attach(void* base, u64 bytes, For_Alloc_Flags flags);
void coarray_detach(void* base, u64 bytes, For_Alloc_Flags flags);

/// Moves bytes of an object. The word at `source` follows when they had to be fetched. `info` null: both are local.
void do_copy_source_to_dest(u8** source, u8* destination, u64 bytes, coarray_info_t* info);

#endif
