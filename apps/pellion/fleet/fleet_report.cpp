#include "pellion/fleet/fleet_report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include "pellion/text/text_width.h"
#include "services/http/url_loading_errors.h"

namespace pellion {
namespace {

using platform::Value;
using std::chrono::microseconds;

std::string padded(const std::string& text, std::size_t width) {
  const std::size_t used = columns(text);
  return used < width ? text + std::string(width - used, ' ') : text;
}
std::string right(const std::string& text, std::size_t width) {
  const std::size_t used = columns(text);
  return used < width ? std::string(width - used, ' ') + text : text;
}

/// 1234567 is "1,234,567".
std::string grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  for (auto at = static_cast<std::ptrdiff_t>(text.size()) - 3; at > 0; at -= 3)
    text.insert(static_cast<std::size_t>(at), 1, ',');
  return text;
}

/// Milliseconds with three digits that matter.
std::string milliseconds(microseconds duration) {
  const double value = static_cast<double>(duration.count()) / 1000;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), value < 10 ? "%.2f" : value < 100 ? "%.1f" : "%.0f", value);
  return text.data();
}

std::string clockTime(std::chrono::nanoseconds duration) {
  const auto seconds =
      std::chrono::round<std::chrono::seconds>(std::max(duration, std::chrono::nanoseconds::zero())).count();
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%lld:%02lld", static_cast<long long>(seconds / 60),
                static_cast<long long>(seconds % 60));
  return text.data();
}

struct Percentile {
  std::string_view name;
  double share;  ///< 1: the greatest
};
constexpr std::array<Percentile, 4> percentiles{{{"50 %", 0.5}, {"95 %", 0.95}, {"99 %", 0.99}, {"greatest", 1}}};
constexpr std::array<std::pair<std::string_view, Histogram EndpointFigures::*>, 3> spans{
    {{"connection", &EndpointFigures::connecting},
     {"answer", &EndpointFigures::answering},
     {"both", &EndpointFigures::both}}};

microseconds timeAt(const Histogram& histogram, const Percentile& percentile) {
  return percentile.share < 1 ? histogram.percentile(percentile.share) : histogram.greatest();
}

/// The endpoints by name, then their total if there are several.
std::vector<std::pair<std::string, EndpointFigures>> rowsOf(const FleetFigures& figures) {
  std::vector<std::pair<std::string, EndpointFigures>> rows(figures.endpoints.begin(), figures.endpoints.end());
  if (rows.size() != 1) rows.emplace_back("total", figures.total());
  return rows;
}

constexpr std::size_t numberWidth = 11;

/// The column for the longest name and an indentation.
std::size_t nameWidth(const FleetFigures& figures) {
  std::size_t width = columns("Time until the answer, in ms");
  for (const auto& [name, endpoint] : figures.endpoints) width = std::max(width, columns(name) + 2);
  return width;
}

void writeCounts(std::ostream& out, std::size_t width, std::string_view heading,
                 const std::vector<std::pair<std::string, EndingCounts>>& rows) {
  out << '\n' << padded(std::string(heading), width) << right("sent", numberWidth);
  for (const std::string_view name : endingNames) out << right(std::string(name), numberWidth);
  out << '\n';
  for (const auto& [name, counts] : rows) {
    out << "  " << padded(name, width - 2) << right(grouped(counts.total()), numberWidth);
    for (const std::uint64_t count : counts.byEnding) out << right(grouped(count), numberWidth);
    out << '\n';
  }
}

void writeTimes(std::ostream& out, std::size_t width, const FleetFigures& figures) {
  out << '\n' << padded("Time until the answer, in ms", width + numberWidth);
  for (const Percentile& each : percentiles) out << right(std::string(each.name), numberWidth);
  out << '\n';
  for (const auto& [name, endpoint] : rowsOf(figures)) {
    std::string shown = "  " + name;
    for (const auto& [span, histogram] : spans) {
      out << padded(std::exchange(shown, ""), width) << right(std::string(span), numberWidth);
      for (const Percentile& each : percentiles)
        out << right(milliseconds(timeAt(endpoint.*histogram, each)), numberWidth);
      out << '\n';
    }
  }
}

/// Why requests were not accepted, the most frequent reason of each endpoint first.
void writeReasons(std::ostream& out, const FleetFigures& figures) {
  std::vector<std::pair<std::uint64_t, std::string>> reasons;
  for (const auto& [name, endpoint] : figures.endpoints) {
    for (const auto& [status, count] : endpoint.refused) {
      reasons.emplace_back(count, name + ": " + refusalText(status));
    }
    for (const auto& [code, count] : endpoint.failed) reasons.emplace_back(count, name + ": " + failureText(code));
  }
  for (const auto& [text, count] : figures.raised) reasons.emplace_back(count, "application ended: " + text);
  if (reasons.empty()) return;
  std::ranges::stable_sort(reasons, std::greater<>(), &std::pair<std::uint64_t, std::string>::first);
  out << "\nNot accepted\n";
  for (const auto& [count, text] : reasons)
    out << "  " << right(grouped(count), numberWidth) << "  " << printable(text) << '\n';
}

void writeAudit(std::ostream& out, const FleetAudit::Verdict& audit) {
  out << "\nAudit: " << grouped(audit.sent) << " tokens and entries sent:";
  for (std::size_t i = 0; i < endingNames.size(); ++i) {
    out << (i == 0 ? " " : ", ") << grouped(audit.endings.byEnding[i]) << ' ' << endingNames[i];
  }
  out << ". The backend received " << grouped(audit.received) << ", " << grouped(audit.receivedInVain)
      << " of them without the phone's knowledge.\n";
  if (audit.differenceCount == 0) {
    out << "  \u2713 The two sides agree on each of them.\n";
    return;
  }
  out << "  \u2717 They disagree on " << grouped(audit.differenceCount) << ":\n";
  for (const std::string& difference : audit.differences) out << "    " << printable(difference) << '\n';
}

/// Rounded.
std::uint64_t perSecond(std::uint64_t count, std::chrono::nanoseconds duration) {
  const double seconds = std::chrono::duration<double>(duration).count();
  return seconds > 0 ? static_cast<std::uint64_t>(std::llround(static_cast<double>(count) / seconds)) : 0;
}

}  // namespace

std::string refusalText(int status) { return status == 200 ? "200, but the body is not JSON" : std::to_string(status); }

std::string failureText(std::int64_t code) {
  return services::urlError(static_cast<services::URLErrorCode>(code), std::nullopt).localizedDescription + " (" +
         std::to_string(code) + ")";
}

std::string progressLine(std::size_t phones, const FleetFigures& lately, const FleetFigures& all,
                         std::chrono::nanoseconds span, std::optional<std::chrono::nanoseconds> left) {
  const EndpointFigures now = lately.total();
  const EndpointFigures total = all.total();
  const std::uint64_t notAccepted = total.requests.total() - total.requests[Ending::accepted];
  std::string line = grouped(phones) + " phones, " + grouped(perSecond(now.requests.total(), span)) + " requests/s, " +
                     grouped(notAccepted) + " not accepted";
  if (now.both.count() > 0) line += ", 99 % within " + milliseconds(now.both.percentile(0.99)) + " ms";
  if (left) line += ", " + clockTime(*left) + " left";
  return line;
}

void writeFleetReport(std::ostream& out, const FleetReport& report) {
  const std::uint64_t requests = report.figures.total().requests.total();
  out << printable(report.name) << ": " << grouped(report.phones) << " phones for " << clockTime(report.duration)
      << " against " << printable(report.server) << (report.isCutShort ? ", ended early" : "") << '\n'
      << grouped(report.figures.launches) << " launches, " << grouped(report.figures.steps) << " steps, "
      << grouped(requests) << " requests, " << grouped(perSecond(requests, report.duration)) << " a second\n";
  std::vector<std::pair<std::string, EndingCounts>> requestRows;
  for (const auto& [name, endpoint] : rowsOf(report.figures)) requestRows.emplace_back(name, endpoint.requests);
  const std::size_t width = nameWidth(report.figures);
  writeCounts(out, width, "Requests", requestRows);
  writeReasons(out, report.figures);
  writeTimes(out, width, report.figures);
  writeCounts(out, width, "Carried", {report.figures.carried.begin(), report.figures.carried.end()});
  if (report.audit) writeAudit(out, *report.audit);
}

void writeFleetCSV(std::ostream& out, const FleetReport& report) {
  out << "endpoint,requests";
  for (const std::string_view name : endingNames) out << ',' << name;
  for (const auto& [span, histogram] : spans) {
    for (const Percentile& each : percentiles) {
      const std::string_view name = each.share < 1 ? each.name.substr(0, 2) : "greatest";
      out << ',' << span << ' ' << name;
    }
  }
  out << "\r\n";
  for (const auto& [name, endpoint] : rowsOf(report.figures)) {
    std::string quoted = name;
    for (std::size_t at = 0; (at = quoted.find('"', at)) != std::string::npos; at += 2) quoted.insert(at, 1, '"');
    out << '"' << quoted << "\"," << endpoint.requests.total();
    for (const std::uint64_t count : endpoint.requests.byEnding) out << ',' << count;
    for (const auto& [span, histogram] : spans) {
      for (const Percentile& each : percentiles) {
        out << ',' << static_cast<double>(timeAt(endpoint.*histogram, each).count()) / 1000;
      }
    }
    out << "\r\n";
  }
}

namespace {

Value countsJSON(const EndingCounts& counts) {
  std::vector<Value::Entry> entries;
  for (std::size_t i = 0; i < endingNames.size(); ++i) {
    entries.push_back({endingNames[i], static_cast<std::int64_t>(counts.byEnding[i])});
  }
  return Value::dictionary(entries);
}

template <class Key>
Value mapJSON(const std::map<Key, std::uint64_t>& counts) {
  std::vector<Value::Entry> entries;
  for (const auto& [key, count] : counts) {
    if constexpr (std::is_same_v<Key, std::string>) {
      entries.push_back({key, static_cast<std::int64_t>(count)});
    } else {
      entries.push_back({std::to_string(key), static_cast<std::int64_t>(count)});
    }
  }
  return Value::dictionary(entries);
}

Value endpointJSON(const std::string& name, const EndpointFigures& endpoint) {
  std::vector<Value::Entry> times;
  for (const auto& [span, histogram] : spans) {
    std::vector<Value::Entry> row;
    row.reserve(percentiles.size());
    for (const Percentile& each : percentiles) {
      row.push_back({each.name, static_cast<double>(timeAt(endpoint.*histogram, each).count()) / 1000});
    }
    times.push_back({span, Value::dictionary(row)});
  }
  return Value::dictionary({{"endpoint", name},
                            {"requests", countsJSON(endpoint.requests)},
                            {"refused", mapJSON(endpoint.refused)},
                            {"failed", mapJSON(endpoint.failed)},
                            {"receivedBytes", static_cast<std::int64_t>(endpoint.receivedBytes)},
                            {"milliseconds", Value::dictionary(times)}});
}

Value auditJSON(const FleetAudit::Verdict& audit) {
  std::vector<Value> differences(audit.differences.begin(), audit.differences.end());
  return Value::dictionary({{"sent", static_cast<std::int64_t>(audit.sent)},
                            {"received", static_cast<std::int64_t>(audit.received)},
                            {"receivedInVain", static_cast<std::int64_t>(audit.receivedInVain)},
                            {"endings", countsJSON(audit.endings)},
                            {"differenceCount", static_cast<std::int64_t>(audit.differenceCount)},
                            {"differences", Value::list(differences)}});
}

}  // namespace

Value fleetJSON(const FleetReport& report) {
  std::vector<Value> endpoints;
  for (const auto& [name, endpoint] : rowsOf(report.figures)) endpoints.push_back(endpointJSON(name, endpoint));
  std::vector<Value::Entry> carried;
  for (const auto& [kind, counts] : report.figures.carried) carried.push_back({kind, countsJSON(counts)});
  std::vector<Value::Entry> entries{{"name", report.name},
                                    {"server", report.server},
                                    {"phones", static_cast<std::int64_t>(report.phones)},
                                    {"seconds", std::chrono::duration<double>(report.duration).count()},
                                    {"isCutShort", report.isCutShort},
                                    {"launches", static_cast<std::int64_t>(report.figures.launches)},
                                    {"steps", static_cast<std::int64_t>(report.figures.steps)},
                                    {"endpoints", Value::list(endpoints)},
                                    {"carried", Value::dictionary(carried)},
                                    {"raised", mapJSON(report.figures.raised)}};
  if (report.audit) entries.push_back({"audit", auditJSON(*report.audit)});
  return Value::dictionary(entries);
}

}  // namespace pellion
