#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <thread>

#include "pellion/backend/backend_connection.h"

namespace pellion {

/// Opens an address in the user's browser, with xdg-open. A failure is written to `err`, where no other thread writes
/// meanwhile.
class Browser {
 public:
  Browser(const std::string& address, std::ostream& err);
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;
  /// Waits no longer; the browser stays open.
  ~Browser();

 private:
  void waitFor(int process, std::ostream& err) const;

  const Signal ending_;
  std::thread thread_;
};

}  // namespace pellion
