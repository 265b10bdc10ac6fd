#include "pellion/lab_server/browser.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace pellion {
namespace {

constexpr const char* opener = "xdg-open";

void report(std::ostream& err, const std::string& why) {
  err << "pellion: the browser could not be opened: " << why << "; open the address yourself\n" << std::flush;
}

/// Starts the program without a shell, with all signals and out of the way of Ctrl-C. Returns 0 and sets errno when it
/// cannot be started.
pid_t start(std::string address) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDWR, 0);
  posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDERR_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSID);
  std::string program = opener;
  const std::array<char*, 3> arguments{program.data(), address.data(), nullptr};
  pid_t process = 0;
  const int error = posix_spawnp(&process, opener, &files, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  errno = error;
  return error == 0 ? process : 0;
}

}  // namespace

Browser::Browser(const std::string& address, std::ostream& err) {
  const pid_t process = start(address);
  if (process == 0) {
    report(err, std::string(opener) + ": " + std::strerror(errno));
  } else {
    thread_ = std::thread([this, process, &err] { waitFor(process, err); });
  }
}

Browser::~Browser() {
  ending_.set();
  if (thread_.joinable()) thread_.join();
}

void Browser::waitFor(int process, std::ostream& err) const {
  // glibc 2.36 declares pidfd_open() for C alone.
  const Descriptor exit(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
  std::array<pollfd, 2> events{{{exit.get(), POLLIN, 0}, {ending_.descriptor(), POLLIN, 0}}};
  while (poll(events.data(), events.size(), -1) < 0 && errno == EINTR) {
  }
  int status = 0;
  if (waitpid(process, &status, WNOHANG) != process || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) return;
  const std::string how = WIFEXITED(status) ? "has ended with status " + std::to_string(WEXITSTATUS(status))
                                            : "was ended by signal " + std::to_string(WTERMSIG(status));
  report(err, std::string(opener) + " " + how);
}

}  // namespace pellion
