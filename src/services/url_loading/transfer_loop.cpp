#include "services/url_loading/transfer_loop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <new>
#include <system_error>

namespace services {
namespace {

CURLM* makeMulti() {
  static const CURLcode done = curl_global_init(CURL_GLOBAL_DEFAULT);
  CURLM* const multi = done == CURLE_OK ? curl_multi_init() : nullptr;
  if (multi == nullptr) throw std::bad_alloc();
  return multi;
}

int checked(int descriptor) {
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "the network needs a descriptor");
  return descriptor;
}

}  // namespace

TransferLoop::TransferLoop()
    : events_(checked(epoll_create1(EPOLL_CLOEXEC))),
      wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      multi_(makeMulti()) {
  epoll_event event{.events = EPOLLIN, .data = {.fd = wakeUp_}};
  if (wakeUp_ < 0 || epoll_ctl(events_, EPOLL_CTL_ADD, wakeUp_, &event) != 0) {
    const int problem = errno;
    close(wakeUp_);
    close(events_);
    throw std::system_error(problem, std::generic_category(), "the network needs a descriptor");
  }
  curl_multi_setopt(multi_.get(), CURLMOPT_SOCKETFUNCTION, &TransferLoop::watch);
  curl_multi_setopt(multi_.get(), CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_.get(), CURLMOPT_TIMERFUNCTION, &TransferLoop::setTimer);
  curl_multi_setopt(multi_.get(), CURLMOPT_TIMERDATA, this);
}

TransferLoop::~TransferLoop() {
  multi_.reset();  // it still calls watch()
  close(wakeUp_);
  close(events_);
}

// A socket that cannot be watched lets its transfer time out; an error returned from here would end all transfers.
int TransferLoop::watch(CURL* handle, curl_socket_t socket, int what, void* self, void* /*noted*/) {
  auto& loop = *static_cast<TransferLoop*>(self);
  if (what == CURL_POLL_REMOVE) {
    // libcurl may report this after it has closed a socket that was connecting, when its number can already be another
    // thread's. A closed one leaves epoll by itself, an open one when it is closed or at its next event.
    loop.watched_.erase(socket);
    return 0;
  }
  epoll_event event{.events = 0, .data = {.fd = socket}};
  if ((what & CURL_POLL_IN) != 0) event.events |= EPOLLIN;
  if ((what & CURL_POLL_OUT) != 0) event.events |= EPOLLOUT;
  loop.watched_[socket] = handle;
  const bool isNew = loop.inEpoll_.insert(socket).second;
  if (epoll_ctl(loop.events_, isNew ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, socket, &event) != 0) {
    epoll_ctl(loop.events_, isNew ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, socket, &event);
  }
  return 0;
}

int TransferLoop::closeSocket(void* self, curl_socket_t socket) {
  auto& loop = *static_cast<TransferLoop*>(self);
  loop.watched_.erase(socket);
  loop.leaveEpoll(socket);
  return close(socket);
}

void TransferLoop::leaveEpoll(curl_socket_t socket) {
  if (inEpoll_.erase(socket) == 0) return;
  epoll_event none{};
  epoll_ctl(events_, EPOLL_CTL_DEL, socket, &none);
}

void TransferLoop::add(CURL* handle) {
  curl_easy_setopt(handle, CURLOPT_CLOSESOCKETFUNCTION, &TransferLoop::closeSocket);
  curl_easy_setopt(handle, CURLOPT_CLOSESOCKETDATA, this);
  curl_multi_add_handle(multi_.get(), handle);
}

int TransferLoop::setTimer(CURLM*, long milliseconds, void* self) {
  auto& timer = static_cast<TransferLoop*>(self)->timer_;
  if (milliseconds < 0) {
    timer.reset();
  } else {
    timer = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  }
  return 0;
}

int TransferLoop::millisecondsUntil(Time deadline) const {
  const Time end = timer_ ? std::min(*timer_, deadline) : deadline;
  if (end == Time::max()) return -1;
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(wait.count(), 0, std::numeric_limits<int>::max()));
}

void TransferLoop::act(curl_socket_t socket, int what) {
  int running = 0;
  curl_multi_socket_action(multi_.get(), socket, what, &running);
}

curl_socket_t TransferLoop::socketOf(const CURL* handle) const {
  const auto found = std::ranges::find(watched_, handle, &decltype(watched_)::value_type::second);
  return found == watched_.end() ? CURL_SOCKET_BAD : found->first;
}

void TransferLoop::turn(Time deadline, const Ended& ended) {
  std::array<epoll_event, 64> events{};
  const int count = epoll_wait(events_, events.data(), static_cast<int>(events.size()), millisecondsUntil(deadline));
  for (int i = 0; i < count; ++i) {
    const auto& event = events[static_cast<std::size_t>(i)];
    if (event.data.fd == wakeUp_) {
      eventfd_t wakes = 0;
      eventfd_read(wakeUp_, &wakes);
      continue;
    }
    if (!watched_.contains(event.data.fd)) {
      leaveEpoll(event.data.fd);
      continue;
    }
    int what = 0;
    if ((event.events & EPOLLIN) != 0) what |= CURL_CSELECT_IN;
    if ((event.events & EPOLLOUT) != 0) what |= CURL_CSELECT_OUT;
    if ((event.events & (EPOLLERR | EPOLLHUP)) != 0) what |= CURL_CSELECT_ERR;
    act(event.data.fd, what);
  }
  if (timer_ && *timer_ <= std::chrono::steady_clock::now()) {
    timer_.reset();
    act(CURL_SOCKET_TIMEOUT, 0);
  }
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg == CURLMSG_DONE) ended(message->easy_handle, message->data.result);
  }
}

void TransferLoop::wake() const { eventfd_write(wakeUp_, 1); }

}  // namespace services
