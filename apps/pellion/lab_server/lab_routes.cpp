#include "pellion/lab_server/lab_routes.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "pellion/document/shape.h"
#include "pellion/lab/chosen_files.h"
#include "pellion/lab/random_hex.h"
#include "pellion/text/json_reader.h"
#include "value/ascii.h"

namespace pellion {
namespace {

using platform::Value;

constexpr const char* bodyName = "body";  // in messages
constexpr const char* defaultScenario = R"({"name": "A session of the lab", "steps": []})";

const Shape indexShape{"the index of a finding", [](const Value& value) { return isIntegerIn(value, 0, 1'000'000); }};
const Field newPhoneFields[] = {{"scenario", &shapes::text}, {"server", &shapes::text}};
const Field explainFields[] = {{"payload", &shapes::text, true}, {"schemes", &shapes::schemes}};
const Field fixFields[] = {{"payload", &shapes::text, true}, {"schemes", &shapes::schemes}, {"finding", &indexShape}};
const Shape filesShape{"an object of the files' texts by name", isObject, {}, &shapes::text};
const Field includeFields[] = {{"files", &filesShape, true}};
const Shape newPhoneShape{"an object", isObject, newPhoneFields};
const Shape includeShape{"an object", isObject, includeFields};
const Shape explainShape{"an object", isObject, explainFields};
const Shape fixShape{"an object", isObject, fixFields};

Value documentIn(const LabRequest& request, const Shape& shape) {
  const JSONNode node = readJSON(bodyName, request.body);
  checkShape(bodyName, node, shape, "the body");
  return node.value;
}

std::optional<std::string> fieldOf(const Value& document, std::string_view name) {
  const Value* found = document.find(name);
  return found == nullptr ? std::nullopt : std::optional<std::string>(found->text());
}

std::vector<std::string> schemesIn(const Value& document) {
  std::vector<std::string> schemes;
  const Value* list = document.find("schemes");
  if (list == nullptr) return schemes;
  for (const Value& scheme : list->elements()) schemes.push_back(value::asciiLowercase(scheme.text()));
  return schemes;
}

/// The name in the place of the pattern's asterisk, empty for a pattern without one; nothing if the path is another.
std::optional<std::string> matched(std::string_view pattern, std::string_view path) {
  const std::size_t star = pattern.find('*');
  if (star == std::string_view::npos) return path == pattern ? std::optional<std::string>("") : std::nullopt;
  const std::string_view end = pattern.substr(star + 1);
  if (path.size() <= star + end.size() || !path.starts_with(pattern.substr(0, star)) || !path.ends_with(end)) {
    return std::nullopt;
  }
  const std::string_view name = path.substr(star, path.size() - star - end.size());
  return name.find('/') == std::string_view::npos ? std::optional<std::string>(name) : std::nullopt;
}

LabReply withoutPhone(const std::string& id) {
  return failureReply(404, "there is no phone \"" + id + "\" any more; reload the page to get another");
}

LabReply wrongMethod(const LabRequest& request, const std::string& allowed) {
  LabReply reply = failureReply(405, request.path + " takes no " + request.method + "; it takes " + allowed);
  reply.headers = {{"Allow", allowed}};
  return reply;
}

/// The styles of the page name the nonce that the header permits.
std::string withNonce(std::string page, const std::string& nonce) {
  constexpr std::string_view placeholder = "{nonce}";
  for (std::size_t at = page.find(placeholder); at != std::string::npos; at = page.find(placeholder, at)) {
    page.replace(at, placeholder.size(), nonce);
  }
  return page;
}

LabReply include(const LabRequest& request) {
  const Value document = documentIn(request, includeShape);
  const ChosenScenario scenario = scenarioAmong(*document.find("files"));
  return jsonReply(200, Value::dictionary({{"file", scenario.file}, {"scenario", scenario.text}}));
}

LabReply act(const LabRequest& request, const std::shared_ptr<LabPhone>& phone) {
  phone->perform(readJSON(bodyName, request.body).value);
  return {.status = 202};
}

LabReply replyWithScenario(const LabRequest& /*request*/, const std::shared_ptr<LabPhone>& phone) {
  std::optional<std::string> scenario = phone->scenario();
  if (!scenario) return failureReply(409, "nothing has happened yet that could be kept; do something first");
  return {.type = "application/json",
          .body = std::move(*scenario),
          .headers = {{"Content-Disposition", "attachment; filename=\"scenario.json\""}}};
}

LabReply replyWithEvents(const LabRequest& request, const std::shared_ptr<LabPhone>& phone) {
  // A browser sends the field when it connects again by itself; a page that begins a stream can only use the query.
  const std::string last(request.header("last-event-id").value_or(request.after.value_or("0")));
  LabReply reply{.type = "text/event-stream", .stream = phone};
  const auto [end, error] = std::from_chars(last.data(), last.data() + last.size(), reply.after);
  if (error == std::errc() && end == last.data() + last.size()) return reply;
  return failureReply(400, "Last-Event-ID or \"after\" is not the id of an event; leave it out");
}

}  // namespace

struct LabRoutes::Route {
  const char* method;
  const char* pattern;  ///< an asterisk stands for the id of a phone
  LabReply (*reply)(LabRoutes& self, const LabRequest& request, const std::string& id) = nullptr;
  LabReply (*replyOfPhone)(const LabRequest& request, const std::shared_ptr<LabPhone>& phone) = nullptr;
};

std::span<const LabRoutes::Route> LabRoutes::routes() {
  using ID = const std::string&;
  static constexpr Route table[] = {
      {"POST", "/api/phones", [](LabRoutes& self, const LabRequest& request, ID) { return self.openPhone(request); }},
      {"DELETE", "/api/phones/*",
       [](LabRoutes& self, const LabRequest&, ID id) {
         return self.lab_.close(id) ? LabReply{.status = 204} : withoutPhone(id);
       }},
      {"POST", "/api/phones/*/actions", nullptr, act},
      {"GET", "/api/phones/*/events", nullptr, replyWithEvents},
      {"GET", "/api/phones/*/scenario", nullptr, replyWithScenario},
      {"POST", "/api/include", [](LabRoutes&, const LabRequest& request, ID) { return include(request); }},
      {"POST", "/api/explain", [](LabRoutes& self, const LabRequest& request, ID) { return self.explain(request); }},
      {"POST", "/api/fix", [](LabRoutes& self, const LabRequest& request, ID) { return self.fix(request); }},
  };
  return table;
}

LabRoutes::LabRoutes(std::span<const LabPageFile> page) : files_(page) {
  const auto file = std::ranges::find(files_, "/", &LabPageFile::path);
  if (file != files_.end()) page_ = decompressed(file->gzip);
}

LabReply LabRoutes::reply(const LabRequest& request) {
  if (request.isTooLarge) {
    return failureReply(
        413, "the body has more than " + std::to_string(LabRequest::largestBody >> 20U) + " MiB; send a shorter one");
  }
  try {
    return run(request);
  } catch (const Lab::TooManyPhones& error) {
    return failureReply(503, error.what());
  } catch (const InputError& error) {
    return failureReply(400, error.what());
  } catch (const std::exception& error) {
    return failureReply(500, error.what());
  }
}

LabReply LabRoutes::run(const LabRequest& request) {
  std::string allowed;
  for (const Route& route : routes()) {
    const std::optional<std::string> id = matched(route.pattern, request.path);
    if (!id) continue;
    if (request.method != route.method) {
      allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
      continue;
    }
    if (route.reply != nullptr) return route.reply(*this, request, *id);
    const std::shared_ptr<LabPhone> phone = lab_.phone(*id);
    if (phone == nullptr) return withoutPhone(*id);
    phone->noteUse();
    return route.replyOfPhone(request, phone);
  }
  return allowed.empty() ? replyWithFile(request) : wrongMethod(request, allowed);
}

LabReply LabRoutes::openPhone(const LabRequest& request) {
  const Value document = documentIn(request, newPhoneShape);
  const std::string id =
      lab_.open(fieldOf(document, "scenario").value_or(defaultScenario), fieldOf(document, "server"));
  return jsonReply(201, Value::dictionary({{"phone", id}}));
}

LabReply LabRoutes::explain(const LabRequest& request) {
  const Value document = documentIn(request, explainShape);
  return jsonReply(200, explainer_.explanation(*fieldOf(document, "payload"), schemesIn(document)));
}

LabReply LabRoutes::fix(const LabRequest& request) {
  const Value document = documentIn(request, fixShape);
  const Value* finding = document.find("finding");
  const auto index = finding == nullptr ? std::nullopt : std::optional(static_cast<std::size_t>(finding->integer()));
  return jsonReply(200, explainer_.fixed(*fieldOf(document, "payload"), schemesIn(document), index));
}

LabReply LabRoutes::replyWithFile(const LabRequest& request) const {
  const auto file = std::ranges::find(files_, request.path, &LabPageFile::path);
  if (file == files_.end()) return failureReply(404, "nothing is at " + request.path);
  if (request.method != "GET") return wrongMethod(request, "GET");
  LabReply reply{.type = std::string(file->type)};
  if (file->path == "/") {
    reply.nonce = randomHex(16);
    reply.body = withNonce(page_, reply.nonce);
  } else if (acceptsGzip(request.header("accept-encoding").value_or(""))) {
    reply.body = file->gzip;
    reply.headers = {{"Content-Encoding", "gzip"}};
  } else {
    reply.body = decompressed(file->gzip);
  }
  return reply;
}

}  // namespace pellion
