#include "pellion/explain/explain_phone.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "host/objc/programming_error.h"
#include "host/phone/phone.h"
#include "messaging/PLMessaging.h"
#include "pellion/backend/jwt_reader.h"
#include "pellion/run/application_objects.h"
#include "pellion/timeline/text_lines.h"
#include "platform/exception.h"

namespace pellion {
namespace {

using platform::Value;

/// Passes every request to a reader instead of sending it. No request is ever answered.
class ReadingSession : public platform::URLSession {
 public:
  using Reader = std::function<void(const platform::URLRequest&)>;
  explicit ReadingSession(Reader reader) : reader_(std::move(reader)) {}

  std::shared_ptr<DataTask> dataTaskWithRequest(platform::URLRequest request, DataTaskHandler /*handler*/) override {
    class Task : public DataTask {
     public:
      Task(platform::URLRequest sent, Reader reader) : request_(std::move(sent)), reader_(std::move(reader)) {}
      void setPriority(float /*priority*/) override {}
      void resume() override { reader_(request_); }

     private:
      platform::URLRequest request_;
      Reader reader_;
    };
    return std::make_shared<Task>(std::move(request), reader_);
  }

 private:
  Reader reader_;
};

/// All entries that a request needs to be made.
Value completeConfiguration() {
  return Value::dictionary({{"SERVER_URL", "http://127.0.0.1"},
                            {"APP_VERSION_ID", "version"},
                            {"DEVICE_ID", "device"},
                            {"BEARER_TOKEN", "token"},
                            {"JWT_SECRET", "secret"},
                            {"APP_META", Value::dictionary({})},
                            {"APP_GROUP", "group"}});
}

/// The caller's configuration, with what the phone needs to start and to be observed.
Value observable(const Value& configuration) {
  if (configuration.isNull()) return completeConfiguration();
  std::vector<Value::Entry> entries{{"SERVER_URL", "http://127.0.0.1"}, {"JWT_SECRET", "secret"}};
  entries.insert(entries.end(), configuration.entries().begin(), configuration.entries().end());
  std::erase_if(entries, [](const Value::Entry& entry) {
    return entry.key == Value("CA_FILE") || entry.value.isNull() || entry.value == Value("");
  });
  entries.push_back({"LOG_LEVEL", "verbose"});
  return Value::dictionary(entries);
}

}  // namespace

bool Observation::hasLogged(std::string_view beginning) const {
  return std::ranges::any_of(log, [&](const std::string& line) { return line.starts_with(beginning); });
}

ExplainPhone::ExplainPhone(Options options)
    : application_(readApplication({}, nullptr, nullptr)),
      whyNothingIsSent_(std::move(options.whyNothingIsSent)),
      phone_(std::make_unique<host::Phone>(
          network_, host::Phone::Options{.storage = storage_.path(),
                                         .urlSchemes = std::move(options.urlSchemes),
                                         .linkedBefore17 = options.linkedBefore17,
                                         .sink = [this](const host::Event& event) { receive(event); },
                                         .listensToLog = true})) {
  TemporaryDirectory::write([&] { phone_->configure(observable(options.configuration)); });
}

ExplainPhone::~ExplainPhone() { phone_->terminate(); }

Observation ExplainPhone::observe(const Work& work, const Work& before) {
  phone_->launch().setSessionFactory([this] {
    return std::make_shared<ReadingSession>([this](const platform::URLRequest& request) { read(request); });
  });
  attempt([this] { startApplication(application_); });
  if (before) attempt(before);
  return observeNext(work);
}

Observation ExplainPhone::observeNext(const Work& work) {
  seen_ = {};
  attempt(work);
  inProcess([this] {
    seen_.id = PLMessaging::shared().pnID();
    seen_.goal = PLMessaging::shared().conversionEvent();
  });
  return std::move(seen_);
}

void ExplainPhone::inProcess(const Work& work) {
  const host::ProcessScope scope(*phone_->process());
  work();
}

void ExplainPhone::attempt(const Work& work) {
  const auto guarded = [this](const Work& guardedWork) {
    try {
      inProcess(guardedWork);
    } catch (const platform::Exception& exception) {
      if (!seen_.raised) seen_.raised = {exception.name(), exception.reason()};
    } catch (const host::ProgrammingError& error) {
      if (!seen_.raised) seen_.raised = {"a fatal error", error.what()};
    }
  };
  guarded(work);
  guarded([this] { phone_->process()->mainQueue().runUntilIdle(); });
}

void ExplainPhone::receive(const host::Event& event) {
  if (event.what == "log") {
    seen_.log.push_back(textAt(event.details, "text"));
  } else if (event.what == "opened URL") {
    seen_.opened.push_back(at(event.details, "url"));
  } else if (event.actor == "shared store" && textAt(event.details, "key") == "pellionBadgeCount") {
    seen_.badges.push_back(at(event.details, "value"));
  }
}

void ExplainPhone::read(const platform::URLRequest& request) {
  if (!request.httpBody) return;
  const platform::ByteView body = request.httpBody->bytes();
  const DecodedBody decoded = decodeBody({reinterpret_cast<const char*>(body.data()), body.size()}, std::nullopt);
  const Value json = decoded.json.value_or(Value());
  const auto entries = at(json, "pnstats").elements();
  seen_.entries.insert(seen_.entries.end(), entries.begin(), entries.end());
}

}  // namespace pellion
