#include "objc_app/day/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

extern char** environ;  // NOLINT(readability-redundant-declaration): POSIX lets the program declare it

namespace {

std::array<int, 2> makePipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  return ends;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// This program's, with changes.
std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes) {
  std::vector<std::string> entries;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (!changes.contains(text.substr(0, text.find('=')))) entries.push_back(text);
  }
  for (const auto& [name, value] : changes) entries.push_back(name + '=' + value);
  return entries;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::map<std::string, std::string>& environment,
                           std::function<void(const std::string& line)> receive) {
  std::signal(SIGPIPE, SIG_IGN);  // a write to a program that has ended fails instead
  const auto [childReads, weWrite] = makePipe();
  const auto [weRead, childWrites] = makePipe();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, childReads, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, childWrites, STDOUT_FILENO);
  std::vector<std::string> arguments = command;
  std::vector<std::string> entries = environmentWith(environment);
  const int problem = ::posix_spawn(&process_, command.front().c_str(), &actions, nullptr, pointersTo(arguments).data(),
                                    pointersTo(entries).data());
  posix_spawn_file_actions_destroy(&actions);
  ::close(childReads);
  ::close(childWrites);
  input_ = weWrite;
  output_ = weRead;
  if (problem != 0) {
    ::close(input_);
    ::close(output_);
    throw std::system_error(problem, std::generic_category(), command.front());
  }
  reader_ = std::thread([this, receive = std::move(receive)] { read(receive); });
}

ChildProcess::~ChildProcess() {
  if (process_ > 0) {
    ::kill(process_, SIGKILL);
    wait();
  }
}

void ChildProcess::write(const std::string& line) const {
  const std::string text = line + '\n';
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = ::write(input_, text.data() + written, text.size() - written);
    if (count < 0 && errno != EINTR) return;
    if (count > 0) written += static_cast<std::size_t>(count);
  }
}

int ChildProcess::wait() {
  ::close(input_);
  reader_.join();
  ::close(output_);
  int status = 0;
  while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void ChildProcess::read(const std::function<void(const std::string& line)>& receive) const {
  std::string unread;
  std::array<char, 4096> part{};
  while (true) {
    const ssize_t count = ::read(output_, part.data(), part.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    unread.append(part.data(), static_cast<std::size_t>(count));
    for (std::size_t end = unread.find('\n'); end != std::string::npos; end = unread.find('\n')) {
      receive(unread.substr(0, end));
      unread.erase(0, end + 1);
    }
  }
}
