#include "pellion/payload/link_problems.h"

#include "host/phone/ui_application.h"
#include "pellion/payload/button_problems.h"
#include "pellion/payload/link_text.h"
#include "pellion/text/similar_name.h"
#include "pellion/text/text_width.h"
#include "platform/ui_application.h"
#include "platform/url.h"
#include "services/url_components.h"

namespace pellion {
namespace {

using platform::Value;

std::size_t escapedPercents(std::string_view text) {
  std::size_t count = 0;
  for (auto at = text.find("%25"); at != std::string_view::npos; at = text.find("%25", at + 1)) ++count;
  return count;
}

/// What the releases of the platform make of a link outside RFC 3986.
std::string releaseText(std::string_view link, const std::optional<platform::URL>& url) {
  if (!url) return ", and no URL is formed of it";
  if (url->absoluteString() == link) return {};
  const bool escapesMore = escapedPercents(url->absoluteString()) > escapedPercents(link);
  return ": applications linked before release 17 get no URL; later ones get " +
         shortened(inQuotes(url->absoluteString()), 120) + (escapesMore ? ", in which \"%\" has become \"%25\"" : "");
}

std::optional<Problem> faultProblem(const Value& link, const Spot& spot) {
  const auto fault =
      linkFault(link.text(), [](const std::string& scheme) { return host::UIApplication::isInstalled(scheme); });
  if (!fault) return std::nullopt;
  const auto url = platform::URL::URLWithString(link.text());
  const bool isEncodingAlone = fault->code == "link-not-encoded";
  Problem problem{
      fault->code, spot,
      shortened(inQuotes(link.text())) + ": " + fault->text + (isEncodingAlone ? releaseText(link.text(), url) : ""),
      fault->corrected ? "write " + inQuotes(*fault->corrected)
                       : "write an absolute URL such as https://example.com/sale, with %20 for a space"};
  if (fault->code == "link-port") problem.remedy = "give it a number from 1 to 65535, or leave the port out";
  if (fault->code == "link-template") problem.remedy = "fill in the value before the payload is sent";
  problem.spot.inString = Position{1, static_cast<int>(columns(link.text().substr(0, fault->offset))) + 1};
  if (fault->corrected) problem.correction = {{spot.inAddInfo, spot.path, Value(*fault->corrected)}};
  // Later releases repair such a link by themselves.
  const bool isRepaired = isEncodingAlone && url && fault->corrected && url->absoluteString() == *fault->corrected;
  if (isRepaired) problem.level = Level::warning;
  return problem;
}

/// What to do if the scheme is not misspelt.
std::string declaring(const Payload& payload, const std::string& scheme) {
  if (payload.isForPage) return "add " + scheme + " to the URL schemes of the application";
  return "pass --scheme " + scheme + " if the application declares it";
}

Problem undeclaredProblem(const Payload& payload, const Value& link, const std::string& scheme, const Spot& spot) {
  const std::vector<std::string_view> declared(payload.schemes.begin(), payload.schemes.end());
  if (const auto meant = similarName(scheme, declared)) {
    const std::string corrected = std::string(*meant) + std::string(link.text().substr(scheme.size()));
    return {"link-scheme-misspelt",
            spot,
            shortened(inQuotes(link.text())) + ": the application does not declare the scheme " + inQuotes(scheme) +
                ", which looks like " + inQuotes(*meant),
            "write " + inQuotes(corrected) + ", or " + declaring(payload, scheme),
            {},
            Level::error,
            {{spot.inAddInfo, spot.path, Value(corrected)}}};
  }
  const bool isInstalled = host::UIApplication::isInstalled(scheme);
  const std::string opens = isInstalled ? "only the notification handler opens it" : "nothing opens it";
  if (payload.knowsSchemes) {
    return {"link-scheme-undeclared", spot,
            shortened(inQuotes(link.text())) + " needs the scheme " + inQuotes(scheme) +
                ", which is not among those that the application declares, so " + opens,
            payload.isForPage ? declaring(payload, scheme) + ", or use https"
                              : "add it to --scheme or to the scenario if it is missing there only; otherwise let the "
                                "application declare it, or use https"};
  }
  return {"link-scheme-undeclared",
          spot,
          shortened(inQuotes(link.text())) + " needs the scheme " + inQuotes(scheme) +
              ", and it is not known that the application declares it; if it does not, " + opens,
          declaring(payload, scheme) + ", otherwise use https",
          {},
          Level::warning};
}

}  // namespace

std::optional<Problem> linkProblem(const Payload& payload, const Value& link, const Spot& spot) {
  if (!link.ifString()) {
    return Problem{"link-not-text", spot, "\"clickAction\" " + beingOf(link) + ", and opening it raises",
                   "give it a URL as text, or leave it out"};
  }
  const auto url = platform::URL::URLWithString(link.text());
  if (url && platform::UIApplication::canOpenURL(*url)) return std::nullopt;
  auto fault = faultProblem(link, spot);
  const auto scheme = url ? services::urlScheme(url->absoluteString()) : std::nullopt;
  if (fault && scheme && fault->code == "link-not-encoded") {  // the platform gets a URL, and the scheme stops it
    Problem undeclared = undeclaredProblem(payload, link, *scheme, spot);
    const std::string name = shortened(inQuotes(link.text())) + ": ";
    undeclared.text += ". The URL also needs encoding: " +
                       (fault->text.starts_with(name) ? fault->text.substr(name.size()) : fault->text);
    return undeclared;
  }
  if (fault) return fault;
  if (!scheme) {
    return Problem{"link-not-a-url", spot, shortened(inQuotes(link.text())) + " forms no URL",
                   "write an absolute URL such as https://example.com/sale"};
  }
  return undeclaredProblem(payload, link, *scheme, spot);
}

Problems linkProblems(const Payload& payload) {
  Problems problems;
  const auto add = [&](const JSONPath& path) {
    const Value& link = nodeAt(*payload.content, path).value;
    const Spot spot{true, path};
    auto fault = link.ifString() ? faultProblem(link, spot) : std::nullopt;
    const auto url = link.ifString() ? platform::URL::URLWithString(link.text()) : std::nullopt;
    const auto scheme = url ? services::urlScheme(url->absoluteString()) : std::nullopt;
    const bool isUndeclared = scheme && !platform::UIApplication::canOpenURL(*url);
    if (fault && fault->code == "link-not-encoded" && isUndeclared) {
      problems.push_back(std::move(*fault));
      fault = undeclaredProblem(payload, link, *scheme, spot);
    } else if (!fault) {
      fault = linkProblem(payload, link, spot);
    }
    if (fault) problems.push_back(std::move(*fault));
  };
  if (payload.info()->find("clickAction") != nullptr) add({"clickAction"});
  const std::size_t count = payload.buttons() != nullptr ? payload.buttons()->elements().size() : 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (const auto path = buttonLinkPath(payload, i)) add(*path);
  }
  return problems;
}

}  // namespace pellion
