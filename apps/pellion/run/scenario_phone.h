#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "pellion/document/scenario.h"
#include "platform/value.h"

namespace host {
class Phone;
}

namespace pellion {

/// The phone on which the steps of a scenario act: that of one run, or one of a fleet. Belongs to one thread.
class ScenarioPhone {
 public:
  /// The scenario outlives this object.
  explicit ScenarioPhone(const Scenario& scenario) : scenario_(scenario) {}
  ScenarioPhone(const ScenarioPhone&) = delete;
  ScenarioPhone& operator=(const ScenarioPhone&) = delete;

  [[nodiscard]] const Scenario& scenario() const { return scenario_; }
  [[nodiscard]] virtual host::Phone& device() = 0;
  /// "file:line:column"
  [[nodiscard]] std::string place(const JSONNode& node) const { return placeText(scenario_.file, node.position); }

  virtual void report(std::string_view actor, std::string_view what, platform::Value details) = 0;
  /// Entries replace those of the same name; null removes an entry.
  virtual void configure(std::span<const platform::Value::Entry> overrides) = 0;
  /// The App Group of the configuration, if it has one.
  [[nodiscard]] virtual std::optional<std::string> appGroup() const = 0;
  /// The bytes of a token that a step names.
  [[nodiscard]] virtual platform::Value token(const platform::Value& bytes) { return bytes; }
  /// Whether this is the first event for a notification of that name.
  virtual bool isNews(std::string_view name) = 0;
  /// The present step hands this notification over to the application.
  virtual void handsOver(std::string_view name, const platform::Value& payload, bool isWhole) = 0;
  /// Runs `work` inside the process and turns the main queue.
  virtual void inProcess(const std::function<void()>& work) = 0;
  /// Runs `work` and keeps what it raises.
  virtual void attempt(std::string_view actor, const std::function<void()>& work) = 0;

 protected:
  ~ScenarioPhone() = default;

 private:
  const Scenario& scenario_;
};

}  // namespace pellion
