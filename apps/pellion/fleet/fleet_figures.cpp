#include "pellion/fleet/fleet_figures.h"

#include <algorithm>
#include <numeric>

#include "pellion/backend/jwt_reader.h"
#include "pellion/document/statistics_status.h"
#include "pellion/text/json_writer.h"

namespace pellion {

Ending endingOf(const services::RequestOutcome& outcome) {
  if (outcome.isCancelled) return Ending::lost;
  if (outcome.errorCode || !outcome.status) return Ending::failed;
  return *outcome.status == 200 && outcome.isJSON ? Ending::accepted : Ending::refused;
}

std::uint64_t EndingCounts::total() const { return std::accumulate(byEnding.begin(), byEnding.end(), std::uint64_t{}); }

void EndingCounts::add(const EndingCounts& other) {
  for (std::size_t i = 0; i < byEnding.size(); ++i) byEnding[i] += other.byEnding[i];
}

namespace {

template <class Key>
void addAll(std::map<Key, std::uint64_t>& sum, const std::map<Key, std::uint64_t>& other) {
  for (const auto& [key, count] : other) sum[key] += count;
}

void addFigures(EndpointFigures& sum, const EndpointFigures& other) {
  sum.requests.add(other.requests);
  addAll(sum.refused, other.refused);
  addAll(sum.failed, other.failed);
  sum.connecting.add(other.connecting);
  sum.answering.add(other.answering);
  sum.both.add(other.both);
  sum.receivedBytes += other.receivedBytes;
}

}  // namespace

void EndpointFigures::record(const services::RequestOutcome& outcome) {
  const Ending ending = endingOf(outcome);
  ++requests[ending];
  if (ending == Ending::failed) ++failed[outcome.errorCode.value_or(0)];
  if (ending == Ending::refused) ++refused[outcome.status.value_or(0)];
  if (ending != Ending::accepted && ending != Ending::refused) return;
  connecting.add(outcome.connecting);
  answering.add(outcome.answering);
  both.add(outcome.connecting + outcome.answering);
  receivedBytes += outcome.receivedBytes;
}

void FleetFigures::add(const FleetFigures& other) {
  for (const auto& [name, figures] : other.endpoints) addFigures(endpoints[name], figures);
  for (const auto& [kind, counts] : other.carried) carried[kind].add(counts);
  addAll(raised, other.raised);
  launches += other.launches;
  steps += other.steps;
}

EndpointFigures FleetFigures::total() const {
  EndpointFigures sum;
  for (const auto& [name, figures] : endpoints) addFigures(sum, figures);
  return sum;
}

std::vector<Cargo> cargoOf(const std::string* token, std::string_view body) {
  if (token != nullptr) return {{"token", *token}};
  const DecodedBody decoded = decodeBody(body, std::nullopt);
  std::vector<Cargo> cargo;
  if (!decoded.json) return cargo;
  for (const platform::Value& entry : statisticsIn(*decoded.json)) {
    cargo.push_back({std::string(statusName(entry)), compactJSON(entry)});
  }
  return cargo;
}

std::string endpointOf(const platform::URLRequest& request) {
  if (!request.url) return request.httpMethod + " (no URL)";
  std::string_view text = request.url->absoluteString();
  const std::size_t authority = text.find("://");
  if (authority != std::string_view::npos) text.remove_prefix(authority + 3);
  text = text.substr(0, text.find_first_of("?#"));
  const std::size_t path = text.find('/');
  return request.httpMethod + ' ' + (path == std::string_view::npos ? "/" : std::string(text.substr(path)));
}

std::string_view queryOf(const platform::URLRequest& request) {
  if (!request.url) return {};
  const std::string_view text = request.url->absoluteString();
  const std::size_t mark = text.find('?');
  return mark == std::string_view::npos ? std::string_view() : text.substr(mark + 1, text.find('#', mark) - mark - 1);
}

}  // namespace pellion
