#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/class_face.h"
#include "platform/export.h"
#include "platform/invocation.h"
#include "platform/objc.h"

class ImplementationMap;
class InterceptorRegistry;

/// Notifies interceptors of the application delegate's three remote-notification callbacks. The delegate object becomes
/// an instance of a subclass made at run time; its callbacks go to every interceptor, then to the application's own
/// code.
///
/// Only class methods; there is never an instance. Main thread. Failures are log lines.
class PL_EXPORT PLAppDelegateSwizzler {
 public:
  PLAppDelegateSwizzler() = delete;

  /// Registers an object that declares UIApplicationDelegate. It receives the callbacks that it implements for as long
  /// as it lives; it is not kept alive. Returns its interceptor ID, the same for the same object, or nothing for null
  /// and for an object that does not declare the protocol.
  static std::optional<std::string> registerAppDelegateInterceptor(id interceptor);
  /// Kept: an interceptor that is gone is not removed here but by the next broadcast.
  static void unregisterAppDelegateInterceptorWithIdentifier(const std::string* interceptorID);
  static InterceptorRegistry& interceptors();
  /// Calls `callback`, unless it is empty, with every living interceptor that responds to the selector, in no
  /// particular order.
  static void broadcastToInterceptorsUsingSelector(SEL selector, const std::function<void(id interceptor)>& callback);
  static bool isAppDelegateProxyEnabled() { return true; }

  /// Makes the application's delegate such a proxy. A process tries this once, whether or not it succeeds.
  static void proxyOrigDelegateIncludingAPNSMethods();
  /// The implementation recorded for a delegate object, null when the application has none; nothing without a record.
  static std::optional<IMP> fetchOriginalSelectorImplementation(SEL selector, id object);
  /// The application object, or null where there is none.
  static id sharedApplication();

  /// Makes a message for a selector that UIApplicationDelegate declares as optional; nothing for another selector.
  static std::optional<platform::Invocation> invokeAppDelegateForSelector(SEL selector);

  static constexpr const char* className = "PLAppDelegateSwizzler";
  static constexpr const char* superclassName = "NSProxy";
  static void defineClass(platform::ClassFace<PLAppDelegateSwizzler>& face);

 private:
  // Making the subclass.
  static void proxyOrigDelegate();
  static void proxyAppDelegate(id delegate);
  static Class createSubclassWithObject(id delegate);
  static void reconfigureAppDelegate();
  static void proxyRemoteNotifications();
  static void proxyRemoteNotificationsHandlingWithAppDelegateSubClass(Class subclass, Class realClass, id delegate,
                                                                      ImplementationMap* realImplementations);
  static void targetSelectorForProxy(SEL target, SEL source, Class donor, Class subclass, Class realClass,
                                     ImplementationMap& realImplementations);
  static void registerInstanceMethodWithDestinationSelector(SEL destination, SEL source, Class donor, Class cls);
  /// Kept: no code calls it.
  static void registerInstanceMethodWithSelector(SEL selector, Class donor, Class cls);
  static IMP implMethodSelector(SEL selector, Class cls);
};
