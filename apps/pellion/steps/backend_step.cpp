#include "pellion/steps/backend_step.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "pellion/run/scenario_run.h"
#include "pellion/text/json_writer.h"

namespace pellion {
namespace {

using platform::Value;

template <const auto& words>
bool isOneOf(const Value& value) {
  return value.ifString() && std::ranges::find(words, value.text()) != std::end(words);
}

/// The index of a word is the value of its enumerator.
template <class Enumeration, class Words>
Enumeration enumerator(const Words& words, const JSONNode& word) {
  return static_cast<Enumeration>(std::ranges::find(words, word.value.text()) - std::begin(words));
}

constexpr std::array<std::string_view, 3> connectionWords{"accepted", "refused", "closed"};
constexpr std::array endlessParts{endlessWords[1], endlessWords[2]};

const Shape statusShape{"an HTTP status from 200 to 599",
                        [](const Value& value) { return isIntegerIn(value, 200, 599); }};
const Shape delayShape{"milliseconds from 0 to 60000",
                       [](const Value& value) { return isIntegerIn(value, 0, Answer::longestDelay.count()); }};
const Shape sendsShape{R"("nothing", "half the headers", "headers", "half the body" or "everything")",
                       isOneOf<partWords>};
const Shape thenShape{R"("closes", "resets" or "waits")", isOneOf<endWords>};
const Shape endlessShape{R"("headers" or "body")", isOneOf<endlessParts>};
const Shape connectionShape{R"("accepted", "refused" or "closed")", isOneOf<connectionWords>};
const Shape timesShape{"a number of requests from 1 to 1000",
                       [](const Value& value) { return isIntegerIn(value, 1, 1000); }};
const Field backendFields[] = {{"status", &statusShape},   {"body", &shapes::any},
                               {"bytes", &shapes::hex},    {"headers", &shapes::headersToSend},
                               {"raw", &shapes::text},     {"delay", &delayShape},
                               {"sends", &sendsShape},     {"then", &thenShape},
                               {"pace", &shapes::seconds}, {"endless", &endlessShape},
                               {"times", &timesShape},     {"connection", &connectionShape}};

/// Entries that exclude each other.
constexpr std::pair<std::string_view, std::string_view> contradictions[] = {
    {"raw", "status"}, {"raw", "body"},      {"raw", "bytes"},   {"raw", "headers"},
    {"bytes", "body"}, {"endless", "sends"}, {"endless", "then"}};

void checkBehaviour(std::string_view file, const JSONNode& behaviour) {
  for (const auto& [one, other] : contradictions) {
    if (behaviour.find(one) == nullptr || behaviour.find(other) == nullptr) continue;
    throw errorAt(
        file, behaviour.position,
        "\"backend\" has both \"" + std::string(one) + "\" and \"" + std::string(other) + "\"; leave one out");
  }
  if (behaviour.find("connection") != nullptr && behaviour.members.size() > 1) {
    throw errorAt(
        file, behaviour.position,
        "\"connection\" must be the only entry of \"backend\", because it affects connections that get no response; "
        "leave the others out");
  }
}

void readContents(Answer& answer, const JSONNode& behaviour) {
  if (const JSONNode* status = behaviour.find("status")) answer.status = static_cast<int>(status->value.integer());
  if (const JSONNode* body = behaviour.find("body")) {
    answer.body = body->value.ifString() ? std::string(body->value.text()) : compactJSON(body->value);
  }
  if (const JSONNode* digits = behaviour.find("bytes")) {
    const Value bytes = bytesOfHex(digits->value.text());
    answer.body.assign(bytes.bytes().begin(), bytes.bytes().end());
  }
  if (const JSONNode* headers = behaviour.find("headers")) {
    for (const JSONMember& field : headers->members) answer.headers.emplace_back(field.name, field.value.value.text());
  }
  if (const JSONNode* raw = behaviour.find("raw")) answer.raw = raw->value.text();
}

std::size_t timesOf(const JSONNode& behaviour) {
  const JSONNode* times = behaviour.find("times");
  return times == nullptr ? 1 : static_cast<std::size_t>(times->value.integer());
}

}  // namespace

const Shape backendShape{"an object", isObject, backendFields, nullptr, checkBehaviour};

Answer answerOf(const JSONNode& behaviour) {
  Answer answer;
  readContents(answer, behaviour);
  if (const JSONNode* delay = behaviour.find("delay")) answer.delay = std::chrono::milliseconds(delay->value.integer());
  if (const JSONNode* part = behaviour.find("sends")) answer.sends = enumerator<Answer::Part>(partWords, *part);
  if (const JSONNode* end = behaviour.find("then")) answer.then = enumerator<Answer::End>(endWords, *end);
  if (const JSONNode* part = behaviour.find("endless")) {
    answer.endless = enumerator<Answer::Endless>(endlessWords, *part);
  }
  if (const JSONNode* pace = behaviour.find("pace")) answer.pace = durationOf(pace->value);
  return answer;
}

std::vector<ScriptedAnswer> readScript(std::string_view file, std::string_view text) {
  static const Shape scriptShape{R"(a list of answers such as {"status": 503, "times": 2})", isList, {}, &backendShape};
  const JSONNode script = readJSON(file, text);
  checkShape(file, script, scriptShape, "a script");
  if (script.elements.empty()) throw errorAt(file, script.position, "a script needs an answer; put {} into the list");
  std::vector<ScriptedAnswer> answers;
  for (const JSONNode& behaviour : script.elements) {
    if (const JSONNode* connection = behaviour.find("connection")) {
      throw errorAt(file, connection->position,
                    "a script answers requests, and has no \"connection\"; {\"sends\": \"nothing\"} closes one");
    }
    answers.push_back({answerOf(behaviour), timesOf(behaviour)});
  }
  const JSONNode* times = script.elements.back().find("times");
  if (times != nullptr) throw errorAt(file, times->position, "the last answer stays; leave its \"times\" out");
  return answers;
}

void backend(ScenarioRun& run, const JSONNode& behaviour) {
  run.report("backend", "configured", behaviour.value);
  const JSONNode* connection = behaviour.find("connection");
  run.backend().setConnections(connection == nullptr ? Backend::Connections::accepted
                                                     : enumerator<Backend::Connections>(connectionWords, *connection));
  if (connection != nullptr) return;
  const Answer answer = answerOf(behaviour);
  if (behaviour.find("times") != nullptr) {
    run.backend().answerNext(timesOf(behaviour), answer);
  } else {
    run.backend().answerWith(answer);
  }
}

}  // namespace pellion
