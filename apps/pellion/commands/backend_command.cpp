#include "pellion/commands/backend_command.h"

#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <map>
#include <mutex>
#include <ostream>

#include "pellion/backend/backend.h"
#include "pellion/backend/strictness.h"
#include "pellion/commands/server_identity.h"
#include "pellion/steps/backend_step.h"
#include "pellion/text/input_file.h"
#include "pellion/text/json_writer.h"
#include "pellion/text/redaction.h"
#include "pellion/timeline/timeline.h"

namespace pellion {
namespace {

using platform::Value;
using std::chrono::nanoseconds;

nanoseconds timeOfDay() { return std::chrono::system_clock::now().time_since_epoch(); }

/// "2026-01-31T12:00:00.000Z"
std::string timeStamp(nanoseconds sinceEpoch) {
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count();
  const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text.data() + size, text.size() - size, ".%03dZ", static_cast<int>(milliseconds % 1000));
  return text.data();
}

/// Shows the backend's events, as text or as a line of JSON for each request with its answer.
class Output {
 public:
  Output(const Surroundings& surroundings, const BackendArguments& arguments)
      : out_(surroundings.out),
        asJSON_(arguments.asJSON),
        redaction_({arguments.secret.value_or(""), arguments.bearer.value_or("")}),
        timeline_(surroundings.out, {.inColour = surroundings.inColour, .withTimeOfDay = true}) {}

  void operator()(std::string_view what, const Value& details) {
    const std::lock_guard lock(mutex_);
    const Value shown = redaction_.value(details);
    if (!asJSON_) return timeline_({timeOfDay(), "backend", what, shown});
    const std::int64_t number = shown.find("number")->integer();
    if (what == "request") {
      unanswered_.emplace(number, Request{timeStamp(timeOfDay()), shown});
    } else if (const auto found = unanswered_.extract(number)) {
      write(found.mapped(), shown);
    }
  }

  /// Writes the requests that the end of the backend has left without an answer.
  void end() {
    for (const auto& [number, request] : unanswered_) write(request, {});
  }

  void say(std::ostream& to, const std::string& text) {
    const std::lock_guard lock(mutex_);
    to << text << '\n' << std::flush;
  }

 private:
  struct Request {
    std::string time;
    Value details;
  };

  void write(const Request& request, const Value& answer) {
    out_ << compactJSON(Value::dictionary({{"time", request.time}, {"request", request.details}, {"answer", answer}}))
         << '\n'
         << std::flush;
  }

  std::mutex mutex_;
  std::ostream& out_;
  const bool asJSON_;
  const Redaction redaction_;
  Timeline timeline_;
  std::map<std::int64_t, Request> unanswered_;
};

/// Sets what the backend answers: as the script says, or always the same.
void setAnswers(Backend::Options& options, const BackendArguments& arguments) {
  if (arguments.script) {
    constexpr FileKind kind{"a script, a JSON list", "a script is a few pages of JSON"};
    const std::string text = readInputFile(*arguments.script, kind);
    const std::vector<ScriptedAnswer> script = readScript(inputName(*arguments.script), text);
    for (const auto& [answer, times] : script) options.next.insert(options.next.end(), times, answer);
    options.answer = script.back().answer;
    return;
  }
  options.answer.status = arguments.status;
  options.answer.delay = std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(arguments.delay));
  if (arguments.drops) options.answer.sends = Answer::Part::nothing;
}

}  // namespace

void defineBackend(CLI::App& app, BackendArguments& arguments) {
  CLI::App& command = *app.add_subcommand("backend", "Run the local backend alone and show each request decoded");
  command.add_option("--port", arguments.port, "Port on loopback; any free one if it is left out")
      ->check(CLI::Range(0, 65535))
      ->type_name("PORT");
  CLI::Option* secret =
      command.add_option("--secret", arguments.secret, "Check the signatures of request bodies with this JWT secret");
  CLI::Option* status = command.add_option("--status", arguments.status, "Answer with this status, 200 if left out")
                            ->check(CLI::Range(200, 599))
                            ->type_name("N");
  const double longestDelay = std::chrono::duration<double>(Answer::longestDelay).count();
  CLI::Option* delay = command.add_option("--delay", arguments.delay, "Wait before each answer, at most 60 seconds")
                           ->check(CLI::Range(0.0, longestDelay))
                           ->type_name("SECONDS");
  CLI::Option* drop =
      command.add_flag("--drop", arguments.drops, "Close each connection without an answer")->excludes(status);
  command
      .add_option("--script", arguments.script,
                  "Answer request by request as this list says; the last answer stays. docs/backend.md")
      ->excludes(status)
      ->excludes(delay)
      ->excludes(drop)
      ->type_name("FILE");
  CLI::Option* strict =
      command
          .add_flag("--strict", arguments.isStrict, "Refuse what the module would not send: 400, 401, 404, 405, 415")
          ->needs(secret);
  command.add_option("--bearer", arguments.bearer, "The one bearer token that --strict accepts")
      ->needs(strict)
      ->type_name("TOKEN");
  command.add_flag("--json", arguments.asJSON, "Write a line of JSON for each request with its answer");
  command.add_option("--tls", arguments.tls, "Serve https with this certificate and its key, files in PEM")
      ->expected(2)
      ->type_name("CERT KEY");
  command.footer("Example: pellion backend --port 8080 --secret not-a-real-secret");
}

void runBackend(const BackendArguments& arguments, const Surroundings& surroundings) {
  std::vector<std::string> inputs = arguments.tls;
  inputs.push_back(arguments.script.value_or(""));
  refuseStandardInputTwice(inputs);
  Backend::Options options{.port = arguments.port, .secret = arguments.secret, .keepsRequests = false};
  setAnswers(options, arguments);
  if (!arguments.tls.empty()) options.identity = readServerIdentity(arguments.tls.at(0), arguments.tls.at(1));
  if (arguments.isStrict) {
    options.refuses = [&](const ReceivedRequest& request) { return refusal(request, arguments.bearer); };
  }
  Output output(surroundings, arguments);
  options.notify = std::ref(output);
  std::optional<Backend> backend;
  surroundings.runUntilEnd([&] {
    backend.emplace(std::move(options));
    output.say(arguments.asJSON ? surroundings.err : surroundings.out,
               "Listening on " + backend->url() + "; Ctrl-C ends it.");
  });
  backend.reset();
  output.end();
}

}  // namespace pellion
