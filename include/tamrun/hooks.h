// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Calls that go up: a lower floor names a service that a higher floor, or a part of the library that not every
// program needs, provides. Each line says who provides it and what happens while nobody does.
#ifndef TAMRUN_HOOKS_H
#define TAMRUN_HOOKS_H

#include <pthread.h>

#include "tamrun/item_list.h"
#include "tamrun/lub.h"
#include "tamrun/types.h"

struct For_Close_Args;

/// Exception context of a failure that a signal raised: provided by exceptions/.
struct For_Excpt_Info {
  void* excpt_context;  ///< machine context, handed to the traceback
  u32 excpt_flags;      ///< not 0: an exception is being handled
};

extern "C" {

// Provided by core/, used by convert/.
[[nodiscard]] int for__get_vm(i64 size, int reserved, void** out);
int for__free_vm(void* p);

// Provided by units/, used by the failure road and the shutdown of core/.
[[nodiscard]] int for__acquire_lun(int unit, For_Lub** out, For_Context* ctx, int statement);
int for__release_lun(int unit);
int for__deallocate_lub(int unit);
[[nodiscard]] int for__get_next_lub(For_Lub** lub, int* index, int statement);
void for__preconnected_units_create(void);
/// Provided by units/: makes the locks of all table rows idle. Without it there are no tables.
void for__init_table_locks(void);
/// Provided by units/: resets owner and owned mark of the direct rows.
void for__forget_row_owners(void);
/// Provided by units/: gives up a connection that OPEN could not finish. Frees what the LUB owns, closes a descriptor
/// above 0 and wipes the block but for the unit number and what the running statement holds: lub_thread,
/// lub_a_hash_next, lub_a_backup_scope, lub_a_context, lub_f_busy. A default unit is DEFAULT_UNCONNECTED again.
void for__abandon_connection(For_Lub* lub);

/// Provided by units/: disconnects a unit at CLOSE or exit. `args` is null for no keywords. 0 or a message number; but
/// for a refused disposition the unit is disconnected all the same.
[[nodiscard]] int for__close_proc(const For_Close_Args* args, For_Lub* lub);
/// Provided by units/: closes a unit with its default disposition; `release` not 0 also ends the statement.
int for__close_default(For_Lub* lub, int release);

// Provided by records/, used by units/.
[[nodiscard]] int for__put_sf(For_Lub* lub);
/// Provided by records/, used by core/: moves record bytes towards the file. 1 kept in the buffer, 0 written, -1 the
/// write failed. Length 0 flushes.
int for__write_output(For_Lub* lub, const u8* data, i64 length);

/// Provided by records/: ends the length-byte file that lub_f_ufseq_write_open tells of. 0 or a message number.
[[nodiscard]] int for__finish_ufseq_write(For_Lub* lub);
/// Provided by units/: reads the four size variables at start-up.
void for__default_io_sizes_env_init(void);

/// Provided by exceptions/: appends the call stack to the diagnostic. Without it no trace is printed.
void tbk_stack_trace(const For_Excpt_Info* context, char* buffer, size_t capacity);
/// Provided by exceptions/: alternate stack and signal handlers. Without it the process keeps its dispositions.
void for__install_signal_handlers(void);
/// Provided by exceptions/: takes the alternate stack down again.
void for__disable_signal_stack(void);

/// Provided by statements/: one item of a keyword list and its key. Not 0 when it cannot be decoded, and without it.
[[nodiscard]] int for__key_desc_ret_item(const u8** item_list, void** item_args, For_Value_Info* value,
                                         For_Item_Shape* shape, int* key);

/// Provided by parallel/: asynchronous I/O. Without it no unit has an asynchronous block and these do nothing.
void for__aio_init(void);
void for__aio_release(void);
/// 0 with *out null: the unit is not asynchronous, go on. FOR_AIO_RETRY: release the row if *released is 0 and start
/// over. Otherwise a message number. `resource` is the held row, which the routine may release itself.
int for__aio_acquire_lun(int unit, For_Lub** out, int statement, int* existed, int* released, For_Resource* resource);
/// `mode` 0 ends a statement, 1 closes the unit, 2 ends the run. Always 0.
int for__aio_release_lun(int unit, int mode);
/// Failure road of an asynchronous unit; `id` -1 for a statement. The value for compiled code.
int for__aio_error_handling(For_Lub* lub, int id, u32 disposition, int message, int user_code);
/// What INQUIRE by unit waits for before it asks. Without it there is nothing to wait for.
void for__aio_wait_for_inquire(For_Context* ctx, int unit);
/// The asynchronous unit that is connected to a file: 0, with *out null when there is none, or a message number.
[[nodiscard]] int for__aio_acquire_lun_fname(const char* name, int statement, For_Lub** out);
/// PENDING= of an asynchronous unit, of one request when `id` is not null: 0 or MSG_ID_RANGE.
[[nodiscard]] int for__aio_pending(For_Lub* lub, const i64* id, int* pending);
/// While a worker runs a statement on the unit: keeps the failure in the asynchronous block for WAIT, ends the
/// statement and answers 1. Otherwise 0, and for__aio_error_handling is to be called.
int for__aio_park_failure(For_Lub* lub, int message, int user_code);

/// Provided by objects/: fast-memory policy read at start-up. Without it nothing is set.
void for__hbw_set_policy(u64 policy);
i32 for_set_fastmem_policy(i32 policy);
i32 for_get_hbw_availability(void);

/// Provided by statements/: defined I/O of a derived-type item. Without it MSG_INVALID_ARGUMENT.
[[nodiscard]] int for__udio_lis(For_Lub* lub, For_Value_Info* value, int writing, int internal);
/// Provided by statements/: the same for a DT edit descriptor; without it MSG_INVALID_ARGUMENT is reported. A result
/// that is not 0 has ended the statement.
[[nodiscard]] int for__udio_fmt(For_Lub* lub, For_Value_Info* value, int writing, int internal);
/// Provided by statements/: the same for an item of an unformatted statement. `check` 0 leaves the child's outcome
/// unjudged.
[[nodiscard]] int for__udio_uf(For_Lub* lub, For_Value_Info* value, int check);

// The coarray support library, weak: each is null unless the program links it.
__attribute__((weak)) void for_rtl_PGAS_INIT(int argc, char*** argv, void (*diagnostic)(int, int, ...));
__attribute__((weak)) void for_rtl_PGAS_FINALIZE(int has_value, int value);
__attribute__((weak)) void for_rtl_PGAS_ABORT(const char* text);
__attribute__((weak)) int for_rtl_PGAS_PROBABLY_ABORT(void);
__attribute__((weak)) int for_rtl_PGAS_THIS_IMAGE(void);
__attribute__((weak)) int for_rtl_PGAS_THIS_ORIGINAL_IMAGE(void);
__attribute__((weak)) int for_rtl_PGAS_THIS_TEAM_ID(void);

}  // extern "C"

/// Answer of for__aio_acquire_lun: release the row if it is still held and start over.
inline constexpr int FOR_AIO_RETRY = -3;
/// `id` of for__aio_error_handling for a statement on the unit.
inline constexpr int FOR_AIO_STATEMENT = -1;

#endif
