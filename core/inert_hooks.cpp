// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// What happens while nobody provides a service that a lower floor names: the case that needs nothing of it. Whoever
// provides the service removes its lines here.

#include "core/failure.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"

extern "C" {

void tbk_stack_trace(const For_Excpt_Info*, char*, size_t) {}
void for__install_signal_handlers(void) {}
void for__disable_signal_stack(void) {}

void for__aio_init(void) {}
void for__aio_release(void) {}
int for__aio_acquire_lun(int, For_Lub** out, int, int* existed, int* released, For_Resource*) {
  *out = nullptr;
  *existed = 0;
  *released = 0;
  return 0;
}
int for__aio_release_lun(int, int) { return 0; }
int for__aio_error_handling(For_Lub*, int, u32, int, int user_code) { return user_code; }
void for__aio_wait_for_inquire(For_Context*, int) {}
int for__aio_acquire_lun_fname(const char*, int, For_Lub** out) {
  *out = nullptr;
  return 0;
}
int for__aio_pending(For_Lub*, const i64*, int* pending) { return *pending = 0; }
int for__aio_park_failure(For_Lub*, int, int) { return 0; }

int for__udio_lis(For_Lub*, For_Value_Info*, int, int) { return MSG_INVALID_ARGUMENT; }
int for__udio_fmt(For_Lub* lub, For_Value_Info*, int, int) {
  return report_failure(FOR_IOR_RELEASE, MSG_INVALID_ARGUMENT, MSG_INVALID_ARGUMENT, lub);
}
int for__udio_uf(For_Lub* lub, For_Value_Info*, int) {
  return report_failure(FOR_IOR_RELEASE, MSG_INVALID_ARGUMENT, MSG_INVALID_ARGUMENT, lub);
}

}  // extern "C"
