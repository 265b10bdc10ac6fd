// The transport half of PLTokenManager: it composes the request envelope, sends it and checks the response. The steps
// run as a chain of the core library's callbacks; each starts in the callback of the one before.

#include <utility>

#include "network/PLTokenManager.h"
#include "platform/core_library.h"
#include "platform/json_serialization.h"
#include "platform/log.h"
#include "platform/property_list.h"
#include "platform/text.h"

namespace {

constexpr const char* defaultHostLabel = "push";
constexpr float gzipLevel = 1.0F;

// The full names of the method's blocks: the one that has the bearer token, and the response handler inside it.
constexpr const char* composingBlock =
    "-[PLTokenManager makeRequest:withParameter:headers:payload:completion:]_block_invoke_2";
constexpr const char* responseBlock =
    "-[PLTokenManager makeRequest:withParameter:headers:payload:completion:]_block_invoke_3";

}  // namespace

struct PLTokenManager::Request {
  std::string path;
  std::optional<std::string> parameter;
  std::optional<Headers> headers;
  std::optional<platform::Value> payload;
  Completion completion;
  platform::PLAAAUtil* authentication;
  std::string query;  // only the identity item until the bearer token arrives, then the full query
};

void PLTokenManager::makeRequest(std::string path, std::optional<std::string> parameter, std::optional<Headers> headers,
                                 std::optional<platform::Value> payload, Completion completion) {
  auto request = std::make_shared<Request>(Request{.path = std::move(path),
                                                   .parameter = std::move(parameter),
                                                   .headers = std::move(headers),
                                                   .payload = std::move(payload),
                                                   .completion = std::move(completion),
                                                   .authentication = nullptr,
                                                   .query = {}});
  platform::QVPIIManager::getInstance().newRegisterDevice(
      [this, request](const std::optional<std::string>& deviceID) { chooseIdentity(request, deviceID); });
}

void PLTokenManager::chooseIdentity(const std::shared_ptr<Request>& request,
                                    const std::optional<std::string>& deviceID) {
  request->authentication = &platform::PLAAAUtil::sharedManagerForDevice();
  request->query = platform::format("deviceid=%@", {deviceID});
  auto& personalInformation = platform::QVPIIManager::getInstance();
  if (personalInformation.isAnonymousUser() && platform::Analytics::getInstance().enableAnonymousTracking()) {
    request->authentication = &platform::PLAAAUtil::sharedManagerForAnonymousUser();
    request->query = platform::format("anondeviceid=%@", {personalInformation.anonid()});
  }
  request->authentication->getTokenWithSuccess([this, request](const std::optional<std::string>& bearerToken) {
    if (bearerToken) {
      compose(request, *bearerToken);
    } else {
      request->completion(false);
    }
  });
}

void PLTokenManager::compose(const std::shared_ptr<Request>& request, const std::string& bearerToken) {
  auto& properties = platform::QVSystemProperties::sharedInstance();
  const std::string appVersionID = properties.appversionid().value_or("");
  const std::string frameworkID = properties.frameworkid().value_or("");
  request->query =
      request->parameter
          ? platform::format("%@&appversionid=%@&frameworkid=%@&%@",
                             {request->query, appVersionID, frameworkID, *request->parameter})
          : platform::format("%@&appversionid=%@&frameworkid=%@", {request->query, appVersionID, frameworkID});

  platform::URLRequest urlRequest;
  urlRequest.url =
      platform::URL::URLWithString(platform::format("%@/sdk/v1/%@?%@", {serverUrl(), request->path, request->query}));
  setHTTPHeaderField(urlRequest);
  if (request->headers) {
    for (const auto& [name, value] : *request->headers) urlRequest.headers.set(name, value);
  }
  urlRequest.headers.set("Authorization", platform::format("Bearer %@", {bearerToken}));
  urlRequest.httpMethod = "POST";
  urlRequest.httpShouldHandleCookies = false;
  if (request->payload) encodeBody(*request->payload, urlRequest);

  const auto session = platform::URLSession::sessionWithDefaultConfiguration();
  PL_LOG(platform::pellionLog, composingBlock, "Request made -> %@",
         urlRequest.url ? platform::FormatArgument(urlRequest.url->absoluteString()) : nullptr);
  PL_LOG(platform::pellionLog, composingBlock, "Http headers -> %@", urlRequest.headers.dictionary());
  const auto task = session->dataTaskWithRequest(
      std::move(urlRequest),
      [request](const platform::Value* data, const platform::HTTPURLResponse* response, const platform::Error* error) {
        handleResponse(*request, data, response, error);
      });
  task->setPriority(platform::URLSessionTaskPriorityLow);
  task->resume();
}

void PLTokenManager::encodeBody(const platform::Value& payload, platform::URLRequest& urlRequest) const try {
  PL_LOG(platform::pellionLog, composingBlock, "Request payload - %@", payload);
  // Serialised whether or not the bytes are used: a payload that JSON cannot hold raises here.
  const platform::Value json = platform::JSONSerialization::dataWithJSONObject(payload);
  std::optional<platform::Value> compressed;
  if (platform::QVFileManager::sharedInstance().enableGzip()) {
    compressed = platform::pl_gzippedData(json, gzipLevel);
    // Kept: "Content-Encoding" stays "gzip" although the body is then not compressed.
    if (!compressed) PL_LOG(platform::pellionLog, composingBlock, "Compression failed");
  }
  auto& encoder = platform::PLJWTWrapper::sharedManager();
  std::optional<platform::Value> body =
      compressed ? encoder.encodeDataWithJWT(*compressed) : encoder.encodeWithJWT(payload);
  urlRequest.headers.set("Content-Length", platform::format("%lu", {body ? body->bytes().size() : 0}));
  urlRequest.httpBody = std::move(body);
} catch (const platform::Exception& exception) {
  // The request is still sent, with what was set before the exception.
  PL_LOG(platform::pellionLog, composingBlock, "%@ exception encoding notification data: %@", platform::objectOf(*this),
         exception);
}

void PLTokenManager::handleResponse(const Request& request, const platform::Value* data,
                                    const platform::HTTPURLResponse* response, const platform::Error* error) {
  PL_LOG(platform::pellionLog, responseBlock, "Response received -> %@",
         response != nullptr ? platform::FormatArgument(response->url.absoluteString()) : nullptr);
  if (error != nullptr) {
    PL_LOG(platform::pellionLog, responseBlock, "response error -> %@", *error);
    request.completion(false);
    return;
  }
  const platform::ByteView body = data != nullptr ? data->bytes() : platform::ByteView();
  const std::optional<platform::Value> json = platform::JSONSerialization::JSONObjectWithData(body, nullptr);
  PL_LOG(platform::pellionLog, responseBlock, "Data received-> %@", platform::stringFromASCIIData(body));
  const bool isAccepted = json && response != nullptr && response->statusCode == 200;
  if (json && !isAccepted) platform::QVNetworking::processError(*json, *request.authentication);
  request.completion(isAccepted);
}

void PLTokenManager::setHTTPHeaderField(platform::URLRequest& request) const {
  // Kept: with gzip no Content-Type is sent at all, and the encoding is named even where there will be no body.
  if (platform::QVFileManager::sharedInstance().enableGzip()) {
    request.headers.set("Content-Encoding", "gzip");
  } else {
    request.headers.add("Content-Type", "text/plain");
  }
  auto& properties = platform::QVSystemProperties::sharedInstance();
  request.headers.set("mapid", properties.mapid().value_or(""));
  request.headers.set("apid", properties.apid().value_or(""));
}

std::string PLTokenManager::serverUrl() const {
  const platform::OptionalString name = platform::QVFileManager::sharedInstance().getQvInfoFilePath();
  const platform::OptionalString path = platform::PLBundle::getMainBundle().pathForResource(name, "plist");
  const std::optional<platform::Value> configuration = platform::dictionaryWithContentsOfFile(path);
  const platform::Value* server = configuration ? configuration->find("SERVER_URL") : nullptr;
  if (server != nullptr && !(*server == platform::Value(""))) return server->description();
  return platform::format("https://%@.%@", {defaultHostLabel, platform::Analytics::getInstance().getDCLBD()});
}
