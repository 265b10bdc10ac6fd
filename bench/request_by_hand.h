#pragma once

#include <optional>
#include <string>
#include <utility>

#include "platform/core_library.h"
#include "platform/property_list.h"
#include "platform/url_session.h"

namespace bench {

/// Hands a request to a session as the envelope does, with the same platform calls and as much text, but written down
/// in one place: no chain of callbacks, no formats, no conditions. The baseline of all cases that send.
inline void sendByHand(std::optional<platform::Value> body = std::nullopt) {
  const auto file = platform::PLBundle::getMainBundle().pathForResource(
      platform::QVFileManager::sharedInstance().getQvInfoFilePath(), "plist");
  const std::optional<platform::Value> configuration = platform::dictionaryWithContentsOfFile(file);
  std::string url(configuration.value().find("SERVER_URL")->text());
  url += "/sdk/v1/portal/project/pushnotification/device?deviceid=D&appversionid=A&frameworkid=F&status=register";
  platform::URLRequest request;
  request.url = platform::URL::URLWithString(url);
  request.headers.add("Content-Type", "text/plain");
  request.headers.set("mapid", "map");
  request.headers.set("apid", "ap");
  request.headers.set("notificationid", "0aff00");
  request.headers.set("Authorization", "Bearer bearer");
  request.httpMethod = "POST";
  request.httpBody = std::move(body);
  const auto session = platform::URLSession::sessionWithDefaultConfiguration();
  session->dataTaskWithRequest(std::move(request), [](auto...) {})->resume();
}

}  // namespace bench
