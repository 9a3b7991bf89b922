// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The logical unit block: everything the library knows about one unit or internal file.
#ifndef TAMRUN_LUB_H
#define TAMRUN_LUB_H

#include "tamrun/context.h"
#include "tamrun/file_info.h"
#include "tamrun/locks.h"
#include "tamrun/types.h"

struct For_Fmt_Isb;
struct For_Aio_Block;
struct For_Backup_Scope;
struct For_Nml_Target;

/// lub_rectype: how records lie on file.
enum For_Record_Type : u8 {
  RECTYPE_NONE = 0,
  RECTYPE_FIXED = 1,
  RECTYPE_VARIABLE_KEYWORD = 2,  ///< value of the RECORDTYPE= keyword only; stored as RECTYPE_VARIABLE
  RECTYPE_SEGMENTED = 3,
  RECTYPE_VARIABLE = 4,
  RECTYPE_STREAM = 5,
  RECTYPE_STREAM_LF = 6,
  RECTYPE_STREAM_CR = 7,
  RECTYPE_STREAM_CRLF = 8,
};
inline constexpr int kRecordTypes = 9;

/// lub_org.
enum For_Organization : u8 { ORG_SEQUENTIAL = 1, ORG_RELATIVE = 2, ORG_INDEXED = 3 };

/// lub_cc and lub_cc_default.
enum For_Carriage_Control : u8 { CC_UNSET = 0, CC_FORTRAN = 1, CC_LIST = 2, CC_NONE = 3 };

/// lub_convert. CONVERT= for another byte order alone is FOREIGN_NONE.
enum For_Foreign_Format : u8 {
  FOREIGN_NONE = 0,
  FOREIGN_VAXG = 1,
  FOREIGN_VAXD = 2,
  FOREIGN_IBM = 3,
  FOREIGN_CRAY = 4,
  FOREIGN_FDX = 5,
  FOREIGN_FGX = 6,
};

/// lub_round, lub_decimal and lub_sign: values of the keyword tables, 0 unset.
enum For_Round_Mode : u8 {
  ROUND_UNSET = 0,
  ROUND_UP = 1,
  ROUND_DOWN = 2,
  ROUND_ZERO = 3,
  ROUND_NEAREST = 4,
  ROUND_COMPATIBLE = 5,
  ROUND_PROCESSOR_DEFINED = 6
};
enum For_Decimal_Mode : u8 { DECIMAL_UNSET = 0, DECIMAL_POINT = 1, DECIMAL_COMMA = 2 };
enum For_Sign_Mode : u8 { SIGN_UNSET = 0, SIGN_PROCESSOR_DEFINED = 1, SIGN_PLUS = 2, SIGN_SUPPRESS = 3 };

/// lub_stream_kind, set at connection.
enum For_Stream_Kind : i64 {
  STREAM_CONSOLE_OUT = 1,  ///< the descriptor is standard output or standard error
  STREAM_FMT_DIRECT = 2,
  STREAM_FMT_SEQUENTIAL = 3,  ///< formatted sequential or stream
  STREAM_BIN_DIRECT = 4,
  STREAM_BIN_SEQUENTIAL = 5,
  STREAM_UNF_DIRECT = 6,
  STREAM_MS_UNF_SEQUENTIAL = 7,  ///< unformatted with lub_f_ms_unformatted
  STREAM_FMT_KEYED = 8,
  STREAM_UNF_KEYED = 9,
  STREAM_BIN_KEYED = 10,
  STREAM_UNF_SEQUENTIAL = 11,
};

/// lub_default_state.
enum For_Default_State : u32 {
  DEFAULT_ORDINARY = 0,     ///< not a default unit
  DEFAULT_UNCONNECTED = 1,  ///< default unit not yet connected: the console
  DEFAULT_FROM_ENV = 2,     ///< default unit whose file comes from an environment variable
};

/// Statement codes of for__acquire_lun.
enum For_Statement_Code : u8 {
  STMT_READ = 1,       ///< READ formatted or unformatted
  STMT_READ_LIST = 2,  ///< READ list-directed, internal list-directed included
  STMT_READ_NML = 3,
  STMT_WRITE = 4,       ///< WRITE direct, unformatted, internal, namelist
  STMT_WRITE_SEQ = 5,   ///< WRITE sequential formatted or list-directed
  STMT_OPEN_ASYNC = 6,  ///< stored as STMT_OPEN
  STMT_OPEN_ASYNC_NEWUNIT = 7,
  STMT_OPEN = 9,
  STMT_OPEN_NEWUNIT = 10,
  STMT_CLOSE = 11,
  STMT_REWIND = 12,
  STMT_BACKSPACE = 13,
  STMT_ENDFILE = 14,
  STMT_INQUIRE = 15,
  STMT_WAIT = 16,
  STMT_EOF = 18,
  STMT_READ_24 = 24,  ///< 24, 25, 32 and 34 count as reads; no statement of the library runs under them
  STMT_READ_25 = 25,
  STMT_DELETE = 27,
  STMT_DEFINE_FILE = 28,
  STMT_FIND = 29,
  STMT_FLUSH = 30,
  STMT_GERROR = 31,
  STMT_READ_32 = 32,
  STMT_PORT_READ = 33,
  STMT_READ_34 = 34,
  STMT_PAUSE = 36,
  STMT_REWRITE = 39,
  STMT_PORT_SEEK = 40,
  STMT_STOP = 42,
  STMT_PORT_POSITION = 43,
  STMT_UNLOCK = 45,
};

/// Unit numbers with a meaning of their own.
enum For_Unit : i32 {
  UNIT_INTERNAL_TOP = -6,  ///< top of the thread's internal-file stack
  UNIT_INTERNAL = -5,
  UNIT_READ = -4,  ///< READ without a unit
  UNIT_ACCEPT = -3,
  UNIT_TYPE = -2,
  UNIT_PRINT = -1,
  UNIT_STDERR = 0,
  UNIT_STDIN = 5,
  UNIT_STDOUT = 6,
};

/// Guard behind every record buffer, terminating NUL included.
inline constexpr char kBufferGuard[] = "@#3#5#7#9#0#3#5";
static_assert(sizeof kBufferGuard == 16);

/// lub_blocksize 0 stands for this many bytes.
inline constexpr i64 kDefaultBlocksize = 131072;

/// One unit. Zero-filled at creation; heap-allocated but for the seven default units. All times, offsets and sizes
/// are bytes; every pointer into the record buffer is null or within lub_a_buffer .. lub_a_buffer + lub_buffer_size.
/// Owns its buffer, file name, file-info reference and state block.
struct For_Lub {
  For_Resource lub_resource;
  For_Saved_Mask lub_sigmask;

  // A default unit that is closed is zeroed from here on, but for the few fields named at for__deallocate_lub.
  For_Aio_Block* lub_a_aio;              ///< asynchronous state block; not null: open for asynchronous I/O
  i64 lub_unit_copy;                     ///< the unit number a second time
  pthread_t lub_thread;                  ///< thread inside a statement on this unit, 0 none
  u32 lub_f_deallocating;                ///< the LUB is on its way out; read under the row without the LUB
  u32 lub_references;                    ///< the table, and every thread that is about to take the unit
  For_Lub* lub_a_internal_next;          ///< next on the thread's internal-file stack
  For_Lub* lub_a_hash_next;              ///< next on the unit table's chain
  u8* lub_a_buffer;                      ///< record buffer of lub_buffer_size + 16 bytes, the last 16 the guard
  u8* lub_a_cursor;                      ///< current position in the record
  u8* lub_a_rec_start;                   ///< current record when earlier ones are held in front of it, else null
  u8* lub_a_rec_end;                     ///< limit of the current record
  u8* lub_a_data_start;                  ///< first data byte of the record, behind any control bytes
  u8* lub_a_high_water;                  ///< furthest position written before a left tab, null none
  u8* lub_a_read_next;                   ///< next unread byte in the buffer
  u8* lub_a_read_end;                    ///< end of valid data in the buffer
  void* lub_a_assoc_var;                 ///< ASSOCIATEVARIABLE=
  For_Fmt_Isb* lub_a_fmt_isb;            ///< format interpreter state block
  For_Fmt_Isb* lub_a_ldir_isb;           ///< list-directed view of the same block
  char* lub_a_file_name;                 ///< file name, NUL-terminated; for__default_name_str after CLOSE
  For_Context* lub_a_context;            ///< context of the running statement
  const char* lub_a_message_arg;         ///< keyword text of MSG_CONNECTED_SPECIFIER and its _VALUE twin
  For_File_Info* lub_a_file_info;        ///< file-info record of a formatted connection
  char* lub_a_iomsg;                     ///< IOMSG= buffer of the running statement
  For_Backup_Scope* lub_a_backup_scope;  ///< saved parent state of derived-type I/O
  i64 lub_read_ahead;                    ///< bytes read ahead in the buffer
  i64 lub_next_rec;                      ///< next record number, 1 at connection; FOR_K_REC_UNKNOWN at end of file
  i64 lub_file_pos;                      ///< logical file offset
  i64 lub_disk_pos;                      ///< the operating system's file offset
  i64 lub_maxrec;                        ///< MAXREC=, or record count of DEFINE FILE
  i32 lub_fd;                            ///< file descriptor
  i64 lub_errno;                         ///< errno saved at the failure, printed by for__io_return
  i64 lub_buffer_size;                   ///< bytes of the buffer proper
  i64 lub_iomsg_len;                     ///< length of the IOMSG= buffer
  i64 lub_rec_bytes;                     ///< bytes of one record in the buffer, control bytes included
  i64 lub_recl;                          ///< RECL as the program sees it
  i64 lub_recl_limit;                    ///< RECL bound in bytes, 0 none
  i32 lub_unit;                          ///< unit number
  i64 lub_stream_kind;                   ///< For_Stream_Kind
  i64 lub_blocksize;                     ///< largest single read or write, 0 for kDefaultBlocksize
  i64 lub_buffer_threshold;              ///< bytes of output held before writing
  i64 lub_wrap_margin;                   ///< line width of list-directed and namelist output
  i16 lub_name_len;                      ///< length of the file name, 0 when the name is not heap-owned
  u16 lub_udio_depth;                    ///< not 0 while a derived-type I/O child statement runs on the unit
  u8 lub_rectype;                        ///< For_Record_Type
  u8 lub_org;                            ///< For_Organization
  u8 lub_cc;                             ///< For_Carriage_Control
  u8 lub_assoc_var_type;                 ///< item type of ASSOCIATEVARIABLE=
  u8 lub_convert;                        ///< For_Foreign_Format
  u8 lub_delim, lub_delim_saved;         ///< delimiter character, 0 none
  u8 lub_statement;                      ///< For_Statement_Code of the running statement
  u8 lub_round, lub_round_saved;         ///< For_Round_Mode
  u8 lub_decimal, lub_decimal_saved;     ///< For_Decimal_Mode
  u8 lub_sign, lub_sign_saved;           ///< For_Sign_Mode
  u8 lub_encoding;                       ///< ENCODING= value
  u8 lub_rec_overhead;                   ///< control bytes counted in lub_rec_bytes
  For_Nml_Target* lub_a_nml_targets;     ///< namelist input: stack of structure targets
  i64 lub_nml_target_cap, lub_nml_target_top;
  char* lub_a_nml_prefix;  ///< namelist output: component name prefix
  i64 lub_nml_prefix_cap;

  // Statement and record transport.
  i64 lub_ldio_prev_type;                      ///< item type of the last item in a list-directed record, 0 none
  i64 lub_zero_item;                           ///< 1 when the last item was an empty array
  i64 lub_pos_request;                         ///< file offset wanted by POS=, else the logical position
  i64 lub_rec_buffered;                        ///< bytes read and not yet added to lub_disk_pos
  i64 lub_partial_bytes;                       ///< running count of a record that is written in pieces
  u8* lub_a_item_start;                        ///< start of the value being edited, for the namelist writer
  i64 lub_span_bytes;                          ///< bytes from the file since the last re-alignment, for BACKSPACE
  i64 lub_span_left;                           ///< bytes carried over to the buffer's start at the last fill
  i64 lub_cache_first_rec, lub_cache_end_rec;  ///< direct access: records held, first and one past the last
  i64 lub_rec_left;                            ///< input: bytes of the subrecord behind lub_a_rec_end, not yet read
  i64 lub_rec_header_pos;                      ///< file offset of the leading word of the subrecord being written
  i64 lub_rec_written;                         ///< bytes of it that have gone to the file, its leading word counted
  i64 lub_subrecord_left;                      ///< room left in it, -1 when none is begun
  i64 lub_subrecord_index;                     ///< subrecords that the record has before it
  i64 lub_ms_block_left;                       ///< length-byte form, input: bytes of the block not yet taken
  u8 lub_ms_tail;                              ///< length byte of the block in hand, 131 none
  void* lub_a_user_target;                     ///< variable that receives a record directly, null none
  i64 lub_user_target_len;                     ///< its bytes
  u8* lub_a_internal_pos;                      ///< internal file: where the next record goes
  i64 lub_internal_size;                       ///< internal file: bytes of the whole variable
  i64 lub_fmt_record_done;                     ///< a pass of the format has ended and the new record holds nothing yet
  i64 lub_fmt_no_final_record;
  i64 lub_pad_count;     ///< blanks supplied by padding in the current input field
  i64 lub_size_count;    ///< characters counted for SIZE=
  void* lub_a_size_var;  ///< SIZE= variable
  u8 lub_size_type;      ///< its item type

  // Flags. The connection's own come first.
  u32 lub_f_legacy_defaults : 1;         ///< iof_legacy_defaults
  u32 lub_f_f90_rtl : 1;                 ///< iof_f90_rtl; clear gives the 'f77rtl' behaviour
  u32 lub_f_compat_io : 1;               ///< iof_compat_io
  u32 lub_f_f90_messages : 1;            ///< iof_compat_io: OPEN reports the specific messages
  u32 lub_f_ldio_compat : 1;             ///< iof_compat_io: the list-directed compatibility flag
  u32 lub_f_no_char_blank : 1;           ///< iof_no_char_blank
  u32 lub_f_true_is_one : 1;             ///< iof_true_is_one: INQUIRE logicals store 1 for true; clear, -1
  u32 lub_f_logical_nonzero : 1;         ///< iof_true_is_one: any non-zero value is .TRUE. in output
  u32 lub_f_minus_zero : 1;              ///< iof_minus_zero
  u32 lub_f_msf_layout : 1;              ///< iof_msf_layout
  u32 lub_f_ms_unformatted_default : 1;  ///< iof_msf_layout
  u32 lub_cc_default : 2;                ///< iof_cc_default, For_Carriage_Control
  u32 lub_default_state : 2;             ///< For_Default_State
  u32 lub_f_connected : 1;               ///< the unit is connected
  u32 lub_f_readonly : 1;                ///< no writing
  u32 lub_f_writeonly : 1;               ///< no reading
  u32 lub_f_readonly_keyword : 1;        ///< READONLY given, or fallback used: CLOSE may not delete
  u32 lub_f_file_locked : 1;             ///< a SHARE lock is held on the file
  u32 lub_f_share_denynone : 1;
  u32 lub_f_share_denyrd : 1;
  u32 lub_f_share_denyrw : 1;
  u32 lub_f_share_denywr : 1;
  u32 lub_f_status_old : 1;  ///< connected with STATUS='OLD'
  u32 lub_f_scratch : 1;     ///< STATUS='SCRATCH'
  u32 lub_f_dispose_delete : 1;
  u32 lub_f_dispose_print : 1;
  u32 lub_f_dispose_submit : 1;
  u32 lub_f_formatted : 1;
  u32 lub_f_unformatted : 1;
  u32 lub_f_ms_unformatted : 1;
  u32 lub_f_binary : 1;
  u32 lub_f_access_append : 1;
  u32 lub_f_sequential : 1;
  u32 lub_f_stream : 1;
  u32 lub_f_direct : 1;
  u32 lub_f_keyed : 1;
  u32 lub_f_blank_null : 1;  ///< BLANK='NULL'
  u32 lub_f_blank_saved : 1;
  u32 lub_f_pad : 1;  ///< PAD='YES'
  u32 lub_f_pad_saved : 1;
  u32 lub_f_recl_defaulted : 1;  ///< RECL not given: the buffer may grow
  u32 lub_f_recl_in_words : 1;   ///< RECL counts 4-byte units; lub_recl_limit holds bytes
  u32 lub_f_blank_unformatted_ok : 1;
  u32 lub_f_check_blank_unformatted : 1;
  u32 lub_f_seekable : 1;           ///< the descriptor is a regular seekable object
  u32 lub_f_define_file : 1;        ///< DEFINE FILE gave this unit its attributes
  u32 lub_f_at_eof : 1;             ///< the unit stands behind an end-of-file condition
  u32 lub_f_after_endfile : 1;      ///< the last operation was ENDFILE
  u32 lub_f_read_ahead : 1;         ///< the buffer holds input beyond the logical position
  u32 lub_f_buffer_held : 1;        ///< output records wait in the buffer
  u32 lub_f_truncate_on_write : 1;  ///< the next record written ends the file
  u32 lub_f_no_terminator : 1;      ///< the record goes out without its line end
  u32 lub_f_at_end : 1;
  u32 lub_f_check_file_mark : 1;  ///< length-byte form: the file mark has not been read or written yet
  u32 lub_f_write_through : 1;
  u32 lub_f_item_seen : 1;
  u32 lub_f_buffered : 1;          ///< output records collect in the buffer
  u32 lub_f_user_buffered : 1;     ///< the buffering was asked for
  u32 lub_f_threshold_set : 1;     ///< lub_buffer_threshold holds a value
  u32 lub_f_virtual_recl : 1;      ///< the buffer holds less than RECL and grows on demand
  u32 lub_f_convert : 1;           ///< a CONVERT conversion is in force
  u32 lub_f_big_endian_words : 1;  ///< the file is big-endian
  u32 lub_f_rec_continued : 1;     ///< the current subrecord has a successor
  u32 lub_f_large_record : 1;      ///< the record in hand reaches beyond the buffer; its trailing word is still to come
  u32 lub_f_first_item : 1;        ///< no value of the statement has been moved yet
  u32 lub_f_in_field_read : 1;     ///< a record is being read by field, past the buffer
  u32 lub_f_direct_done : 1;       ///< the record has gone between file and lub_a_user_target
  u32 lub_f_ufseq_write_open : 1;  ///< a length-byte file has been written to and wants its end mark
  u32 lub_f_closing : 1;           ///< CLOSE has begun
  u32 lub_f_files_from_cmd : 1;    ///< a blank file name comes from the command line or is asked for
  u32 lub_f_buffered_default : 1;  ///< default of BUFFERED= is 'YES'
  u32 lub_f_buffer_stdout : 1;     ///< console units are buffered
  u32 lub_f_compact_ldio : 1;
  u32 lub_f_no_wrap_margin : 1;
  u32 lub_f_device : 1;          ///< flag of the device table; nothing reads it
  u32 lub_f_after_rewind : 1;    ///< the last positioning statement was REWIND
  u32 lub_f_closed_default : 1;  ///< a default unit has been closed explicitly

  // Flags of the running statement.
  u32 lub_f_err : 1;     ///< ERR= given
  u32 lub_f_end : 1;     ///< END= given
  u32 lub_f_eor : 1;     ///< EOR= given
  u32 lub_f_iostat : 1;  ///< IOSTAT= given
  u32 lub_f_ignore_conv_error : 1;
  u32 lub_f_coerce_types : 1;
  u32 lub_f_strict_ldio : 1;
  u32 lub_f_udio_strict : 1;
  u32 lub_f_pad_option : 1;     ///< iof_pad_option49
  u32 lub_f_advance_given : 1;  ///< ADVANCE= given
  u32 lub_f_size_given : 1;
  u32 lub_f_eor_pending : 1;
  u32 lub_f_pad_in_force : 1;  ///< PAD applies to the record being read
  u32 lub_f_skip_to_marker : 1;
  u32 lub_f_blank_override : 1;  ///< the statement gave that keyword; for__release_lun restores the saved value
  u32 lub_f_decimal_override : 1;
  u32 lub_f_delim_override : 1;
  u32 lub_f_pad_override : 1;
  u32 lub_f_round_override : 1;
  u32 lub_f_sign_override : 1;
  u32 lub_f_nml_position : 1;  ///< namelist read: the diagnostic adds line and position
  u32 lub_f_nml_eof : 1;
  u32 lub_f_nml_blank_name : 1;
  u32 lub_f_ldio_read : 1;       ///< a list-directed READ runs; each acquisition clears it
  u32 lub_f_child_iomsg : 1;     ///< a child has set the IOMSG= text
  u32 lub_f_nested_inquire : 1;  ///< an INQUIRE runs inside a statement of the same thread on this unit
  u32 lub_f_busy : 1;            ///< a statement holds the unit
};
static_assert(offsetof(For_Lub, lub_resource) == 0);

/// True when a child statement of derived-type I/O runs on the unit.
inline bool in_child_statement(const For_Lub& lub) { return lub.lub_udio_depth != 0; }

/// Start of the current record's storage: behind the records held in the buffer, or the buffer itself.
inline u8* record_base(const For_Lub& lub) { return lub.lub_a_rec_start ? lub.lub_a_rec_start : lub.lub_a_buffer; }

#endif
