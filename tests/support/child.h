// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Runs a piece of a test in a forked child: what ends the process, changes the environment or prints.
#ifndef TAMRUN_TESTS_SUPPORT_CHILD_H
#define TAMRUN_TESTS_SUPPORT_CHILD_H

#include <functional>
#include <string>

namespace tamrun_test {

/// What became of a child.
struct Child_Result {
  int status = -1;  ///< exit status, -1 when a signal ended the child
  int signal = 0;   ///< the signal that ended the child, 0 none; SIGALRM: it ran too long
  std::string out;  ///< all that it wrote to descriptor 1
  std::string err;  ///< all that it wrote to descriptor 2
};

/// How the child's standard output and error are collected: through a file, as a redirected program sees them, or
/// through a pipe, which holds 64 KiB.
enum class Capture { kFile, kPipe };

/// Runs `body` in a forked child and waits for it. A body that returns ends the child with status 0, its streams
/// flushed; a failed EXPECT in the child fails the calling test and shows the child's output.
Child_Result run_child(const std::function<void()>& body, Capture capture = Capture::kFile, unsigned seconds = 60);

/// A directory that is made with its name and removed with all its files.
class Temp_Dir {
 public:
  Temp_Dir();
  ~Temp_Dir();
  Temp_Dir(const Temp_Dir&) = delete;
  Temp_Dir& operator=(const Temp_Dir&) = delete;
  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

/// Whole content of a file; empty when it cannot be read.
std::string read_file(const std::string& name);
void write_file(const std::string& name, const std::string& content);

}  // namespace tamrun_test

/// A test whose whole body runs in a child: it meets the library as a fresh process does and leaves no trace in it.
#define TAMRUN_CHILD_TEST(suite, name)                            \
  static void suite##_##name();                                   \
  TEST(suite, name) { ::tamrun_test::run_child(suite##_##name); } \
  static void suite##_##name()

#endif
