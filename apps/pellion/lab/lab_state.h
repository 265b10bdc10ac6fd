#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/phone/observed_event.h"
#include "pellion/document/scenario.h"
#include "platform/value.h"

namespace pellion {

/// What a page shows of a phone, as the events of its run tell it. All operations are safe from any thread.
class LabState {
 public:
  explicit LabState(const Scenario& scenario);

  void observe(const host::Event& event);
  /// Name and payload of the notification that came last, if the phone has one.
  [[nodiscard]] std::optional<std::pair<std::string, platform::Value>> latest();
  /// Adds the notification's buttons, which only the module can find.
  void setButtons(const std::string& notification, const std::vector<std::string>& actions);
  /// The user leaves the application.
  void setOpen(bool isOpen);
  [[nodiscard]] bool isOpen() const;

  /// The entries of the document "state" that follow from events; docs/lab.schema.json.
  [[nodiscard]] std::vector<platform::Value::Entry> entries() const;

 private:
  struct Shown {
    std::string name;
    platform::Value payload;
    std::vector<std::string> buttons;
    double time = 0;
    platform::Value presented;
  };
  struct Count {
    std::int64_t delivered = 0;
    std::int64_t responded = 0;
    std::int64_t converted = 0;
    void add(std::string_view status);
    [[nodiscard]] platform::Value document() const;
  };
  using Details = platform::Value;
  struct Row;
  static const Row rows[];

  void onLaunch(const host::Event& event);
  void onEnd(const host::Event& event);
  void onActive(const host::Event& event);
  void onDelivery(const host::Event& event);
  void onPresentation(const host::Event& event);
  void onResponse(const host::Event& event);
  void onConsent(const host::Event& event);
  void onToken(const host::Event& event);
  void onOpenedURL(const host::Event& event);
  void onBadge(const host::Event& event);
  void onStored(const host::Event& event);
  void onStatistics(const host::Event& event);
  void onDelegate(const host::Event& event);
  void onKit(const host::Event& event);
  void onInterceptor(const host::Event& event);
  void onInterceptorGone(const host::Event& event);
  void onDismissal(const host::Event& event);
  void onBackend(const host::Event& event);
  void onAnswer(const host::Event& event);
  void removeLatest(const platform::Value& name);
  [[nodiscard]] platform::Value backend() const;
  void countBadge(const platform::Value& payload);
  Shown* find(const std::string& name);

  mutable std::mutex mutex_;
  const std::optional<std::string> firstDelegate_;
  const std::optional<std::string> firstNotificationDelegate_;
  bool isOpen_ = false;
  std::map<std::string, platform::Value> payloads_;  ///< by name
  std::vector<Shown> notifications_;                 ///< the latest first
  std::vector<platform::Value::Entry> consent_;
  std::optional<std::int64_t> badge_;
  platform::Value sharedBadge_;
  platform::Value token_;
  std::vector<platform::Value> opened_;
  Count total_;
  std::vector<std::pair<std::string, Count>> byNotification_;
  platform::Value delegate_;
  platform::Value notificationDelegate_;
  std::vector<platform::Value> interceptors_;
  std::vector<platform::Value> kits_;
  struct NextAnswers {
    platform::Value step;
    std::int64_t left;
  };
  // As the steps "backend" have said: the connection comes before the next answers, these before the standing one.
  platform::Value connection_;
  std::deque<NextAnswers> nextAnswers_;
  platform::Value standingAnswer_ = platform::Value::dictionary({});
};

}  // namespace pellion
