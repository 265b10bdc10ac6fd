#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "objc_app/day/child_process.h"
#include "objc_app/day/event_queue.h"
#include "pellion/backend/backend.h"
#include "pellion/document/scenario.h"
#include "pellion/run/temporary_directory.h"
#include "pellion/timeline/timeline.h"

/// An event of the simulated phone, which outlives the call that reported it.
struct PhoneEvent {
  std::chrono::nanoseconds time;
  std::string actor;
  std::string what;
  platform::Value details;
};

/// Plays a day that a simulated phone has played once more, with the shop in Objective-C as a process of its own. What
/// the scenario, the system or the user did is done again; what this led to must come again, with the same details.
class ShopDay {
 public:
  /// `bundle` is the shop's. The scenario outlives this object.
  ShopDay(const pellion::Scenario& scenario, std::filesystem::path bundle, std::ostream& out, bool inColour);

  /// Shows the day as a timeline, and at its end whether it was the same, which is also returned.
  bool play(const std::vector<PhoneEvent>& phoneDay);

 private:
  void configure() const;
  bool repeat(const PhoneEvent& event);
  void launch();
  void runExtension(const PhoneEvent& event);
  void advance(const PhoneEvent& event);
  void send(std::vector<platform::Value::Entry> entries);
  void awaitDone();
  const platform::Value& payloadOf(const PhoneEvent& event);
  void follow(const PhoneEvent& event);
  void show(const PhoneEvent& event, const platform::Value& details);
  void differ(const std::string& text);
  void receive(const std::string& line);
  void end();
  void conclude();

  const pellion::Scenario& scenario_;
  std::filesystem::path bundle_;
  pellion::Timeline timeline_;
  std::ostream& out_;
  pellion::TemporaryDirectory storage_;
  EventQueue events_;
  pellion::Backend backend_;
  std::map<std::string, platform::Value> payloads_;  ///< by the notifications' names
  double time_ = 0;
  int compared_ = 0;
  int differences_ = 0;
  std::unique_ptr<ChildProcess> shop_;  // ends before what it reports to
};
