// The core library as Objective-C classes, which the application brings. Each call looks the class up by its name and
// sends the message; a class that is missing is like nil, and is named once in the log.

#include "platform/core_library.h"

#include <string>
#include <utility>

#include "foundation/system/missing_parts.h"
#include "platform/object_messages.h"
#include "platform/process.h"
#include "platform/reference.h"

namespace foundation {
namespace {

using platform::AutoreleasePool;
using platform::Block;
using platform::BlockPtr;
using platform::OptionalString;
using platform::send;
using platform::Strong;
using platform::Value;

OptionalString textOf(id string) {
  const auto value = platform::unboxed(string);
  return value && value->ifString() ? OptionalString(value->text()) : std::nullopt;
}

/// The class as the receiver of its methods, or null.
id classNamed(const char* name) {
  const Class cls = objc_getClass(name);
  if (cls == nullptr) noteMissing(std::string("class ") + name);
  return platform::classObject(cls);
}

/// An object that a class method of the core library returns. It is asked for again for each call.
struct SharedObject {
  const char* className;
  const char* selector;

  [[nodiscard]] Strong get() const { return send<id()>(classNamed(className), sel_registerName(selector)); }
  template <class Signature, class... Args>
  auto call(const char* method, Args... arguments) const {
    const AutoreleasePool pool;
    return send<Signature>(get().get(), sel_registerName(method), arguments...);
  }
  [[nodiscard]] OptionalString text(const char* method) const {
    const AutoreleasePool pool;
    return textOf(send<id()>(get().get(), sel_registerName(method)));
  }
};

class PIIManager final : public platform::QVPIIManager {
 public:
  void newRegisterDevice(std::function<void(OptionalString)> block) override {
    const Block<void(id)> handler([block = std::move(block)](id deviceID) { block(textOf(deviceID)); });
    object_.call<void(BlockPtr<void(id)>)>("newRegisterDevice:", handler.get());
  }
  bool isAnonymousUser() override { return object_.call<bool()>("isAnonymousUser"); }
  OptionalString anonid() override { return object_.text("anonid"); }

 private:
  SharedObject object_{"QVPIIManager", "getInstance"};
};

class AnalyticsFacade final : public platform::Analytics {
 public:
  bool enableAnonymousTracking() override { return object_.call<bool()>("enableAnonymousTracking"); }
  OptionalString getDCLBD() override { return object_.text("getDCLBD"); }

 private:
  SharedObject object_{"Analytics", "getInstance"};
};

class Authentication : public platform::PLAAAUtil {
 public:
  explicit Authentication(const char* selector) : object_{"PLAAAUtil", selector} {}
  void getTokenWithSuccess(std::function<void(OptionalString)> block) override {
    const Block<void(id)> handler([block = std::move(block)](id token) { block(textOf(token)); });
    object_.call<void(BlockPtr<void(id)>)>("getTokenWithSuccess:", handler.get());
  }
  [[nodiscard]] Strong object() const { return object_.get(); }

 private:
  SharedObject object_;
};
struct DeviceAuthentication final : Authentication {
  DeviceAuthentication() : Authentication("sharedManagerForDevice") {}
};
struct AnonymousAuthentication final : Authentication {
  AnonymousAuthentication() : Authentication("sharedManagerForAnonymousUser") {}
};

class SystemProperties final : public platform::QVSystemProperties {
 public:
  OptionalString appversionid() override { return object_.text("appversionid"); }
  OptionalString frameworkid() override { return object_.text("frameworkid"); }
  OptionalString mapid() override { return object_.text("mapid"); }
  OptionalString apid() override { return object_.text("apid"); }
  OptionalString portalid() override { return object_.text("portalid"); }
  OptionalString projectid() override { return object_.text("projectid"); }

 private:
  SharedObject object_{"QVSystemProperties", "sharedInstance"};
};

class FileManager final : public platform::QVFileManager {
 public:
  bool enableGzip() override { return object_.call<bool()>("enableGzip"); }
  OptionalString getQvInfoFilePath() override { return object_.text("getQvInfoFilePath"); }
  OptionalString extensionAppGroup() override { return object_.text("extensionAppGroup"); }

 private:
  SharedObject object_{"QVFileManager", "sharedInstance"};
};

class MainBundle final : public platform::PLBundle {
 public:
  OptionalString pathForResource(const OptionalString& name, const char* type) override {
    const AutoreleasePool pool;
    const id resource = name ? platform::boxed(Value(*name)) : nullptr;
    return textOf(send<id(id, id)>(object_.get().get(), sel_registerName("pathForResource:ofType:"), resource,
                                   platform::boxed(Value(type))));
  }

 private:
  SharedObject object_{"PLBundle", "getMainBundle"};
};

class JWTWrapper final : public platform::PLJWTWrapper {
 public:
  std::optional<Value> encodeWithJWT(const Value& payload) override { return encoded("encodeWithJWT:", payload); }
  std::optional<Value> encodeDataWithJWT(const Value& bytes) override { return encoded("encodeDataWithJWT:", bytes); }

 private:
  std::optional<Value> encoded(const char* method, const Value& content) {
    const AutoreleasePool pool;
    return platform::unboxed(send<id(id)>(object_.get().get(), sel_registerName(method), platform::boxed(content)));
  }
  SharedObject object_{"PLJWTWrapper", "sharedManager"};
};

platform::Error errorFrom(id error) {
  return {.domain = textOf(platform::property(error, "domain")).value_or(""),
          .code = send<std::int64_t()>(error, sel_registerName("code")),
          .localizedDescription = textOf(platform::property(error, "localizedDescription")).value_or(""),
          .userInfo = platform::unboxed(platform::property(error, "userInfo")).value_or(Value::dictionary({}))};
}

}  // namespace
}  // namespace foundation

namespace platform {

QVPIIManager& QVPIIManager::getInstance() { return Process::shared<foundation::PIIManager>(); }
Analytics& Analytics::getInstance() { return Process::shared<foundation::AnalyticsFacade>(); }
PLAAAUtil& PLAAAUtil::sharedManagerForDevice() { return Process::shared<foundation::DeviceAuthentication>(); }
PLAAAUtil& PLAAAUtil::sharedManagerForAnonymousUser() { return Process::shared<foundation::AnonymousAuthentication>(); }
QVSystemProperties& QVSystemProperties::sharedInstance() { return Process::shared<foundation::SystemProperties>(); }
QVFileManager& QVFileManager::sharedInstance() { return Process::shared<foundation::FileManager>(); }
PLBundle& PLBundle::getMainBundle() { return Process::shared<foundation::MainBundle>(); }
PLJWTWrapper& PLJWTWrapper::sharedManager() { return Process::shared<foundation::JWTWrapper>(); }

void QVSystemProperties::getAppVersionID(const std::function<void(const std::string&)>& success,
                                         const std::function<void(const Error&)>& failure) {
  const Block<void(id)> onSuccess(
      [success](id appVersionID) { success(foundation::textOf(appVersionID).value_or("")); });
  const Block<void(id)> onFailure([failure](id error) { failure(foundation::errorFrom(error)); });
  send<void(BlockPtr<void(id)>, BlockPtr<void(id)>)>(foundation::classNamed("QVSystemProperties"),
                                                     sel_registerName("getAppVersionIDWithSuccess:failure:"),
                                                     onSuccess.get(), onFailure.get());
}

std::optional<Value> QVSystemProperties::appMeta() {
  const AutoreleasePool pool;
  return unboxed(send<id()>(foundation::classNamed("QVSystemProperties"), sel_registerName("appMeta")));
}

void QVNetworking::processError(const Value& json, PLAAAUtil& aaaUtil) {
  const AutoreleasePool pool;
  const Strong manager = static_cast<foundation::Authentication&>(aaaUtil).object();
  send<void(id, id)>(foundation::classNamed("QVNetworking"), sel_registerName("processError:aaaUtil:"), boxed(json),
                     manager.get());
}

std::optional<Value> QVKeyChainWrapper::dataForKey(const char* key) {
  const AutoreleasePool pool;
  return unboxed(
      send<id(id)>(foundation::classNamed("QVKeyChainWrapper"), sel_registerName("dataForKey:"), boxed(Value(key))));
}

void QVKeyChainWrapper::setData(const Value& data, const char* key) {
  const AutoreleasePool pool;
  send<void(id, id)>(foundation::classNamed("QVKeyChainWrapper"), sel_registerName("setData:forKey:"), boxed(data),
                     boxed(Value(key)));
}

std::int64_t QVSystemInfo::getTimeinLong() {
  return send<std::int64_t()>(foundation::classNamed("QVSystemInfo"), sel_registerName("getTimeinLong"));
}

std::optional<Value> pl_gzippedData(const Value& data, float compressionLevel) {
  const AutoreleasePool pool;
  const SEL selector = sel_registerName("pl_gzippedDataWithCompressionLevel:");
  const id bytes = boxed(data);
  if (!respondsToSelector(bytes, selector)) {
    foundation::noteMissing("method -[NSData pl_gzippedDataWithCompressionLevel:]");
    return std::nullopt;
  }
  return unboxed(send<id(float)>(bytes, selector, compressionLevel));
}

}  // namespace platform
