#include "common/programs.h"

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace fcx {
namespace {

/// waitpid(), for a child of this process only.
Result wait_for(pid_t child, int& status, int options) {
  pid_t found = -1;
  do {
    found = waitpid(child, &status, options);
  } while (found < 0 && errno == EINTR);
  return Result::of(found);
}

}  // namespace

Result run_program(LibraryThread program, const char* const* arguments, void (*not_begun)(),
                   int& status) {
  if (const int fault = platform_thread_fault(program); fault != 0) return Result::failed(fault);
  const pid_t child = fork();
  if (child < 0) return Result::of(-1);
  if (child == 0) {
    platform_exec(arguments);
    not_begun();
    _exit(1);
  }
  const Result ended = wait_for(child, status, WUNTRACED);
  if (!ended.ok() || !WIFSTOPPED(status)) return ended;
  if (kill(child, SIGKILL) != 0) return Result::of(-1);
  int killed = 0;
  return wait_for(child, killed, 0);
}

}  // namespace fcx
