// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Opening and locking the file of a connection.

#include "units/opening.h"

#include <errno.h>

namespace {

typedef int (*User_Open)(char* path, int* flags, int* mode, int* unit, size_t path_length);

/// Bytes that programs of this library lock by agreement, to say who else may have the file.
constexpr off_t kLockStart = 1;
constexpr off_t kReadLockLength = 1, kWriteLockLength = 4;

int open_message(const Opening& o, int error) {
  switch (error) {
    case ENOENT:
      return o.refuse(MSG_FILE_NOT_FOUND_NAMED, MSG_FILE_NOT_FOUND);
    case ENXIO:
      return MSG_NO_SUCH_DEVICE;
    case EACCES:
    case EROFS:
      return o.refuse(MSG_ACCESS_NOT_ALLOWED, MSG_PERMISSION_DENIED);
    case EEXIST:
      return o.refuse(MSG_FILE_EXISTS, MSG_CANNOT_OVERWRITE);
    case ENOTDIR:
    case ENAMETOOLONG:
      return MSG_FILE_NAME;
    case EMFILE:
      return MSG_TOO_MANY_OPEN_FILES;
    default:
      return MSG_OPEN_FAILURE;
  }
}

bool is_permission_failure(int error) { return error == EPERM || error == EACCES || error == EROFS; }

/// Opens by name; where reading and writing is not allowed and was not asked for, with what is allowed.
int open_by_name(Opening& o) {
  For_Lub& lub = o.lub;
  const char* path = lub.lub_a_file_name;
  const int fd = open(path, o.open_flags | O_LARGEFILE, o.mode);
  if (fd >= 0 || !is_permission_failure(errno)) return fd;
  if (lub.lub_f_legacy_defaults || lub.lub_f_readonly || lub.lub_f_writeonly) return fd;

  o.open_flags &= ~O_ACCMODE;
  const int readable = open(path, o.open_flags | O_RDONLY | O_LARGEFILE, o.mode);
  if (readable >= 0) {
    lub.lub_f_readonly = lub.lub_f_readonly_keyword = 1;
    return readable;
  }
  if (!lub.lub_f_compat_io) return readable;
  const int writable = open(path, o.open_flags | O_WRONLY | O_LARGEFILE, o.mode);
  if (writable >= 0) lub.lub_f_writeonly = 1;
  return writable;
}

int open_by_program(Opening& o) {
  For_Lub& lub = o.lub;
  int flags = o.open_flags, mode = static_cast<int>(o.mode), unit = lub.lub_unit;
  const User_Open routine = reinterpret_cast<User_Open>(o[OPENW_USEROPEN]);
  return routine(lub.lub_a_file_name, &flags, &mode, &unit, static_cast<size_t>(lub.lub_name_len));
}

/// The lock that the unit's kind of sharing stands for.
struct flock lock_of(const For_Lub& lub, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = kLockStart;
  lock.l_len = lub.lub_f_share_denyrw ? kWriteLockLength : kReadLockLength;
  lock.l_pid = getpid();
  return lock;
}

}  // namespace

int open_file(Opening& o) {
  For_Lub& lub = o.lub;
  if (has_descriptor(o[OPENW_DESCRIPTOR]))
    lub.lub_fd = descriptor_of(o[OPENW_DESCRIPTOR]);
  else if (o.needs_open)
    lub.lub_fd = o[OPENW_USEROPEN] != 0 ? open_by_program(o) : open_by_name(o);
  if (lub.lub_fd >= 0) return 0;
  lub.lub_errno = errno;
  return open_message(o, errno);
}

int lock_file(For_Lub& lub) {
  if (!lub.lub_f_file_locked) return 0;
  struct flock lock = lock_of(lub, lub.lub_f_share_denyrw ? F_WRLCK : F_RDLCK);
  if (fcntl(lub.lub_fd, F_SETLK, &lock) == 0) return 0;
  lub.lub_errno = errno;
  switch (errno) {
    case EBADF:
      return MSG_SHARE_INCOMPATIBLE;
    case EAGAIN:
    case EACCES:
      return MSG_FILE_LOCKED;
    default:
      return MSG_OPEN_FAILURE;
  }
}

int unlock_file(For_Lub& lub) {
  if (!lub.lub_f_file_locked) return 0;
  if (!lub.lub_f_share_denynone && !lub.lub_f_share_denyrw) return MSG_INVALID_ARGUMENT;
  struct flock lock = lock_of(lub, F_UNLCK);
  if (fcntl(lub.lub_fd, F_SETLK, &lock) == 0) return 0;
  lub.lub_errno = errno;
  return MSG_CLOSE_ERROR;
}
