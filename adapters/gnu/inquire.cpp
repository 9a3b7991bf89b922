// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// INQUIRE: who is to answer, and the questions as the library takes them.

#include "adapters/gnu/keywords.h"
#include "adapters/gnu/peer.h"
#include "adapters/gnu/program.h"
#include "adapters/gnu/units.h"
#include "tamrun/open_args.h"
#include "tamrun/tamrun.h"

namespace {

constexpr int kMostQuestions = 42;

/// The questions of a block, with a file's name or without.
class Inquire_Keys : public Keyword_List<kMostQuestions> {
 public:
  explicit Inquire_Keys(const Gfc_Inquire& b) {
    const u32 flags = b.common.flags, more = (flags & GFC_INQUIRE_MORE) != 0 ? b.flags2 : 0;
    text(flags & GFC_IOMSG, KEY_IOMSG, b.common.iomsg, b.common.iomsg_len);
    text(flags & GFC_INQUIRE_FILE, KEY_FILE, b.file, b.file_len);
    variable(flags & GFC_INQUIRE_EXIST, KEY_EXIST, b.exist);
    variable(flags & GFC_INQUIRE_OPENED, KEY_OPENED, b.opened);
    variable(flags & GFC_INQUIRE_NUMBER, KEY_NUMBER, b.number);
    variable(flags & GFC_INQUIRE_NAMED, KEY_NAMED, b.named);
    variable(flags & GFC_INQUIRE_NEXTREC, KEY_NEXTREC, b.nextrec);
    variable(flags & GFC_INQUIRE_RECL, KEY_RECL_LATER, b.recl);
    variable(flags & GFC_INQUIRE_POS, KEY_POS, b.pos);
    text(flags & GFC_INQUIRE_ACCESS, KEY_ACCESS, b.access, b.access_len);
    text(flags & GFC_INQUIRE_FORM, KEY_FORM, b.form, b.form_len);
    text(flags & GFC_INQUIRE_BLANK, KEY_BLANK, b.blank, b.blank_len);
    text(flags & GFC_INQUIRE_POSITION, KEY_POSITION, b.position, b.position_len);
    text(flags & GFC_INQUIRE_ACTION, KEY_ACTION, b.action, b.action_len);
    text(flags & GFC_INQUIRE_DELIM, KEY_DELIM, b.delim, b.delim_len);
    text(flags & GFC_INQUIRE_PAD, KEY_PAD, b.pad, b.pad_len);
    text(flags & GFC_INQUIRE_NAME, KEY_NAME, b.name, b.name_len);
    text(flags & GFC_INQUIRE_SEQUENTIAL, KEY_SEQUENTIAL, b.sequential, b.sequential_len);
    text(flags & GFC_INQUIRE_DIRECT, KEY_DIRECT, b.direct, b.direct_len);
    text(flags & GFC_INQUIRE_FORMATTED, KEY_FORMATTED, b.formatted, b.formatted_len);
    text(flags & GFC_INQUIRE_UNFORMATTED, KEY_UNFORMATTED, b.unformatted, b.unformatted_len);
    text(flags & GFC_INQUIRE_READ, KEY_READ, b.read, b.read_len);
    text(flags & GFC_INQUIRE_WRITE, KEY_WRITE, b.write, b.write_len);
    text(flags & GFC_INQUIRE_READWRITE, KEY_READWRITE, b.readwrite, b.readwrite_len);
    text(flags & GFC_INQUIRE_CONVERT, KEY_CONVERT, b.convert, b.convert_len);
    text(more & GFC_INQUIRE2_ASYNCHRONOUS, KEY_ASYNCHRONOUS, b.asynchronous, b.asynchronous_len);
    text(more & GFC_INQUIRE2_DECIMAL, KEY_DECIMAL, b.decimal, b.decimal_len);
    text(more & GFC_INQUIRE2_ENCODING, KEY_ENCODING, b.encoding, b.encoding_len);
    text(more & GFC_INQUIRE2_ROUND, KEY_ROUND, b.round, b.round_len);
    text(more & GFC_INQUIRE2_SIGN, KEY_SIGN, b.sign, b.sign_len);
    variable(more & GFC_INQUIRE2_PENDING, KEY_PENDING, b.pending);
    variable(more & GFC_INQUIRE2_SIZE, KEY_SIZE, b.size);
    if ((more & GFC_INQUIRE2_ID) != 0) number(true, KEY_ID, *b.id);
    text(more & GFC_INQUIRE2_STREAM, KEY_STREAM, b.stream, b.stream_len);
    text(more & GFC_INQUIRE2_SHARE, KEY_SHARE, b.share, b.share_len);
    text(more & GFC_INQUIRE2_CARRIAGECONTROL, KEY_CARRIAGECONTROL, b.carriagecontrol, b.carriagecontrol_len);
  }
};

/// What the library has stored, whatever the flags of the unit's connection say.
void take_truth(bool given, i32* answer) {
  if (given) make_truth(answer, sizeof *answer);
}

void answer_ours(Gfc_Inquire& block) {
  For_Context context{};
  Inquire_Keys keys(block);
  const u32 flags = block.common.flags;
  const For_IO_Flags given = connection_flags(block.common.unit) | specifier_flags(flags);
  (void)store_result(block.common, for_inquire(&context, block.common.unit, given, keys.list(), keys.args()));
  take_truth(flags & GFC_INQUIRE_EXIST, block.exist);
  take_truth(flags & GFC_INQUIRE_OPENED, block.opened);
  take_truth(flags & GFC_INQUIRE_NAMED, block.named);
  take_truth((flags & GFC_INQUIRE_MORE) && (block.flags2 & GFC_INQUIRE2_PENDING), block.pending);
}

/// Whether one of our units is connected to the file.
bool file_is_connected_here(const Gfc_Inquire& block) {
  i32 unit = 0, opened = 0;
  For_Context context{};
  Keyword_List<3> keys;
  keys.text(true, KEY_FILE, block.file, block.file_len);
  keys.variable(true, KEY_OPENED, &opened);
  keys.variable(true, KEY_NUMBER, &unit);
  const int result = for_inquire(&context, 0, connection_flags(0) | iof_iostat, keys.list(), keys.args());
  return result == 0 && opened != 0 && owner_of(unit) == Owner::ours;
}

/// Whether a file exists is the same whoever tells it.
bool asks_for_ours(const Gfc_Inquire& block) {
  constexpr u32 kHarmless = GFC_ERR | GFC_IOSTAT | GFC_IOMSG | GFC_INQUIRE_EXIST | GFC_INQUIRE_FILE;
  if ((block.common.flags & GFC_INQUIRE_FILE) == 0) return owner_of(block.common.unit) == Owner::ours;
  return any_unit_is_ours() && (block.common.flags & ~kHarmless) != 0 && file_is_connected_here(block);
}

}  // namespace

TAMRUN_ENTRY void _gfortran_st_inquire(Gfc_Inquire* block) {
  start_library();
  if (asks_for_ours(*block)) return answer_ours(*block);
  peer().st_inquire(&block->common);
}
