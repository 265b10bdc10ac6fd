#pragma once

#include <atomic>
#include <string>

#include "host/phone/core_library.h"
#include "host/phone/phone.h"
#include "host/phone/system_events.h"
#include "pellion/run/temporary_directory.h"
#include "services/url_loading/network.h"

namespace soak {

/// What a notification leads to, without times. Events update it on any thread.
struct Outcome {
  std::atomic<int> requests = 0;
  std::atomic<int> logLines = 0;
  std::atomic<int> answers = 0;  ///< from the application: presents, fetched, completed
  std::atomic<int> opened = 0;   ///< URLs, including refused ones
  std::string raised;            ///< the exception's name and reason; main thread

  void receive(const host::Event& event);
  void clear();
  [[nodiscard]] std::string text() const;
};

/// A phone with the shop on it, which removes its directory with it.
class SoakPhone {
 public:
  SoakPhone(services::Network& network, const std::string& serverURL);

  host::Phone* operator->() { return &phone_; }
  Outcome& outcome() { return outcome_; }
  [[nodiscard]] const std::filesystem::path& storage() const { return storage_.path(); }

  /// Launches the application with its delegates.
  void launch();
  /// Runs `work` and, unless the caller says otherwise, all that it leads to. Records what it raises, as an
  /// application's crash reporter would, and the process continues.
  template <class Work>
  void run(Work work, bool untilIdle = true) {
    const host::ProcessScope scope(*phone_.process());
    try {
      work();
    } catch (const platform::Exception& exception) {
      // Without the address that ends some reasons, because it differs each time.
      outcome_.raised = exception.name() + ": " + exception.reason().substr(0, exception.reason().find(" 0x"));
    }
    if (untilIdle) phone_.process()->mainQueue().runUntilIdle();
  }

 private:
  pellion::TemporaryDirectory storage_;
  Outcome outcome_;
  host::Phone phone_;
};

}  // namespace soak
