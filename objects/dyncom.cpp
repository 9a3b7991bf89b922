// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Dynamic COMMON. Blocks are found by name and live until the process ends.

#include "objects/dyncom.h"

#include <stdio.h>
#include <string.h>

#include "core/failure.h"
#include "core/heap.h"
#include "core/locks.h"
#include "tamrun/messages.h"

extern "C" {
/// A program's own block allocator, weak: null unless it has one.
__attribute__((weak)) int _FTN_ALLOC(void** address, i64* size, const char* name);
}

namespace {

constexpr size_t kHashChains = 128;
constexpr i64 kBlockUnit = 8;
constexpr int kFillByte = 0x81;
constexpr size_t kNameBuffer = 256;
constexpr size_t kTextBuffer = 264;
constexpr size_t kNumberBuffer = 24;

struct For_Dyncom_Node {
  For_Dyncom_Node* dcn_next;
  const char* dcn_name;
  i64 dcn_size;
  void* dcn_address;
};

For_Dyncom_Node* HashTable[kHashChains];
u32 for__protect_dyncom;
For_Ftn_Alloc the_ftn_alloc_routine;

/// Where a node of this name stands or will be appended.
For_Dyncom_Node** find_node(const char* name) {
  const size_t length = strlen(name);
  const auto byte = [name](size_t i) { return static_cast<size_t>(static_cast<u8>(name[i])); };
  For_Dyncom_Node** link = &HashTable[(length + byte(0) + byte(length == 0 ? 0 : length - 1)) % kHashChains];
  while (*link != nullptr && strcmp((*link)->dcn_name, name) != 0) link = &(*link)->dcn_next;
  return link;
}

void do_ftn_alloc(void** address, i64* size, const char* name) {
  char copy[kNameBuffer];
  snprintf(copy, sizeof copy, "%s", name);
  if (the_ftn_alloc_routine != nullptr) {
    the_ftn_alloc_routine(address, size, copy);
  } else if (_FTN_ALLOC != nullptr) {
    _FTN_ALLOC(address, size, copy);
  } else {
    default_FTN_ALLOC(address, size);
  }
}

struct Message_Text {
  char text[kTextBuffer];
};
/// A message's text, kept while others are made.
template <class... Args>
Message_Text message_text(int message, Args... args) {
  Message_Text copy;
  snprintf(copy.text, sizeof copy.text, "%s", for__get_msg(message, sizeof...(args), args...));
  return copy;
}

struct Number_Text {
  explicit Number_Text(i64 value) { snprintf(text, sizeof text, "%lld", static_cast<long long>(value)); }
  char text[kNumberBuffer];
};

void report_title(int cause) {
  const Message_Text prefix = message_text(MSG_PREFIX_SUCCESS);
  const Message_Text text = message_text(cause);
  fprintf(stderr, "\n%s\n", message_text(MSG_DYNCOM_ERROR, prefix.text, text.text).text);
}

[[nodiscard]] int allocation_failed(const For_Dyncom_Block& block, const char* procedure) {
  report_title(MSG_DYNCOM_FAILURE);
  const Message_Text text =
      message_text(MSG_DYNCOM_ALLOCATION_FAILED, block.dcb_name, Number_Text(block.dcb_size).text, procedure);
  fprintf(stderr, "%s\n", text.text);
  return MSG_ARRAY_NOT_ALLOCATED;
}

[[nodiscard]] int size_grew(const For_Dyncom_Block& block, i64 current, const char* procedure) {
  report_title(MSG_DYNCOM_INCONSISTENT);
  const Message_Text now = message_text(MSG_DYNCOM_CURRENT_SIZE, block.dcb_name, Number_Text(current).text);
  const Message_Text declared = message_text(MSG_DYNCOM_DECLARED_SIZE, procedure, Number_Text(block.dcb_size).text);
  fprintf(stderr, "%s\n%s\n", now.text, declared.text);
  return MSG_ARRAY_NOT_ALLOCATED;
}

/// 0, or what ends the request; the cause is on standard error then.
[[nodiscard]] int place_block(const For_Dyncom_Block& block, const For_Dyncom_Request& request) {
  For_Dyncom_Node** const link = find_node(block.dcb_name);
  if (*link != nullptr) {
    if (block.dcb_size > (*link)->dcn_size) return size_grew(block, (*link)->dcn_size, request.dcr_procedure);
    *block.dcb_where = (*link)->dcn_address;
    return 0;
  }
  void* address = nullptr;
  i64 size;
  if (__builtin_add_overflow(block.dcb_size, kBlockUnit - 1, &size))
    return allocation_failed(block, request.dcr_procedure);
  size &= -kBlockUnit;
  // The node comes first: a block cannot be given back.
  Vm_Block<For_Dyncom_Node> node;
  if (node.allocate(sizeof(For_Dyncom_Node)) != 0) return allocation_failed(block, request.dcr_procedure);
  do_ftn_alloc(&address, &size, block.dcb_name);
  if (address == nullptr || size < block.dcb_size) return allocation_failed(block, request.dcr_procedure);
  *node.get() = {nullptr, block.dcb_name, size, address};
  *link = node.release();
  if ((request.dcr_flags & DCR_FILL) != 0) memset(address, kFillByte, static_cast<size_t>(size));
  *block.dcb_where = address;
  return 0;
}

}  // namespace

extern "C" {

void f90_dyncom(const For_Dyncom_Request* request) {
  int failure = 0;
  {
    Semaphore_Guard guard(for__protect_dyncom);
    for (i64 i = 0; i < request->dcr_count && failure == 0; ++i) failure = place_block(request->dcr_block[i], *request);
  }
  if (failure != 0) for__issue_diagnostic(failure, 0);
}

For_Ftn_Alloc for__set_ftn_alloc(For_Ftn_Alloc routine) {
  const For_Ftn_Alloc before = the_ftn_alloc_routine;
  the_ftn_alloc_routine = routine;
  return before;
}

int default_FTN_ALLOC(void** address, i64* size) {
  const int code = for__get_vm(*size, 0, address);
  if (code != 0) *size = 0;
  return code;
}

}  // extern "C"
