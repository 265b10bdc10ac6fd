#pragma once

/// A method that the application delegate's subclass gets. It has the platform's selector and the implementation that
/// PLAppDelegateSwizzler has under the donor's selector.
struct DonorMethod {
  const char* target;
  const char* donor;
};

inline constexpr DonorMethod didRegister{"application:didRegisterForRemoteNotificationsWithDeviceToken:",
                                         "application:donor_didRegisterForRemoteNotificationsWithDeviceToken:"};
inline constexpr DonorMethod didFailToRegister{"application:didFailToRegisterForRemoteNotificationsWithError:",
                                               "application:donor_didFailToRegisterForRemoteNotificationsWithError:"};
inline constexpr DonorMethod didReceive{"application:didReceiveRemoteNotification:fetchCompletionHandler:",
                                        "application:donor_didReceiveRemoteNotification:fetchCompletionHandler:"};
inline constexpr DonorMethod donorMethods[] = {didRegister, didFailToRegister, didReceive};
