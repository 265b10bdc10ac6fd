#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace services {

/// libcurl's handles, of which each has buffers. Those of transfers that went well are used again, without anything of
/// the former request: its options are reset, and no connection, cookie or TLS session is ever kept in a handle.
/// Belongs to the network thread.
class EasyHandles {
 public:
  struct Cleanup {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };
  using Handle = std::unique_ptr<CURL, Cleanup>;

  Handle take() {
    if (idle_.empty()) {
      Handle handle(curl_easy_init());
      if (!handle) throw std::bad_alloc();
      return handle;
    }
    Handle handle = std::move(idle_.back());
    idle_.pop_back();
    return handle;
  }
  void giveBack(Handle handle) {
    if (idle_.size() == mostIdle) return;
    curl_easy_reset(handle.get());
    idle_.push_back(std::move(handle));
  }

 private:
  static constexpr std::size_t mostIdle = 64;
  std::vector<Handle> idle_;
};

}  // namespace services
